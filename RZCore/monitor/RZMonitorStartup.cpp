// The library's own start and quit actions, appended before main by this file's static initialiser:
// the nested-loop helper, then the process's stuck-monitoring manager; the one quit action deletes the
// manager. A host that derives from RZApplication and calls init() and unInit() gets both.

#include <RZCore/app/RZApplication.h>
#include <RZCore/monitor/RZAppStuckMonitoring.h>
#include <RZCore/monitor/RZAppStuckMonitoringManager.h>

#include <QPointer>

namespace {

// One of each per process however often init() runs; the application owns them as their parent.
QPointer<RZUnmonitoredEventHelper> g_pUnmonitoredEventHelper;
RZAppStuckMonitoringManager* g_pStuckMonitoringManager = nullptr;

const bool g_bActionsAppended = [] {
    RZApplication::getAppStartActions().append([](QApplication* app) {
        if (!g_pUnmonitoredEventHelper)
            g_pUnmonitoredEventHelper = new RZUnmonitoredEventHelper(app);
    });
    RZApplication::getAppStartActions().append([](QApplication* app) {
        if (!g_pStuckMonitoringManager)
            g_pStuckMonitoringManager = new RZAppStuckMonitoringManager(app);
    });
    RZApplication::getAppQuitActions().append([](QApplication*) {
        if (g_pStuckMonitoringManager) {
            delete g_pStuckMonitoringManager;
            g_pStuckMonitoringManager = nullptr;
        }
    });
    return true;
}();

} // namespace
