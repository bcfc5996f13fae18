#pragma once
// The application object: a thin QApplication with two ordered action lists that run at start
// (init) and at quit (unInit). The library's static initialisers fill the lists before main; a
// host appends its own actions, derives its application class from RZApplication and calls init()
// and unInit() itself. The constructor and destructor start and stop nothing.

#include <RZCore/RZCoreExport.h>

#include <QApplication>
#include <QList>
#include <QMap>
#include <QString>

#include <functional>

class QWidget;

class RZCORE_EXPORT RZApplication : public QApplication
{
    Q_OBJECT

public:
    using Action = std::function<void(QApplication*)>;

    RZApplication(int& argc, char** argv);
    ~RZApplication() override;

    // Start-up requests found on the command line, keyed by "-nccparam:", "cvapplaunch://",
    // "-open:" and "-import:". A value is the whole trimmed argument, prefix included; an argument
    // that matches no key is an open request.
    static QMap<QString, QString> extractStartupArgs();

    static QList<Action>& getAppStartActions();
    static QList<Action>& getAppQuitActions();

    static void setTopLevelWidget(QWidget* widget);
    // Null when no widget was set or it has been destroyed.
    static QWidget* topLevelWidget();

    // High-DPI start-up (RZApplicationHighDpi.cpp). Call before the application object is built:
    // Qt reads "QT_ENABLE_HIGHDPI_SCALING" and the rounding policy when it is. Sets the variable to
    // "1", picks the policy from what the system says about the screen, and asks Windows 8.1 and
    // later for the process DPI awareness (0..2; anything else means 1).
    static void initHighDPI(int awareness);

protected:
    // Run every start (quit) action in list order with this application. The lists are kept, so
    // a second call runs them all again.
    virtual void init();
    virtual void unInit();

    // Round on a 3840x2160 screen whose system ratio has a fraction above 0.4, PassThrough otherwise.
    static Qt::HighDpiScaleFactorRoundingPolicy calculateHighDpiScaleFactorRoundingPolicy();
    // "Screen Info:", the application's ratio, each screen's name, ratio and geometry, then the
    // process DPI awareness, at INFO through the default logger.
    void logScreenInfo();

private:
    static void getProcessDpiAwareness();
    static void setProcessDpiAwareness(int value);
};
