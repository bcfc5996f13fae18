// A host whose controller has static storage duration and subscribes to events only once main() runs,
// so the event bus is first used after the controller was built: the controller, and its listeners
// with it, are destroyed at exit after everything made later. Exits 0 when its own checks held; a
// fault at exit shows as a signal or a sanitizer report, which the test reads.
#include <RZCore/events/RZCustomEvent.h>

#include <QCoreApplication>

#include <cstdio>

RZ_CUSTOM_EVENT(ExitProbe, int);

namespace {

class Controller : public QObject
{
public:
    void start()
    {
        RZCustomEventDispatcher::listen<ExitProbe>(this, &Controller::onProbe);
        RZCustomEventDispatcher::listen<ExitProbe>(this, [this](int value) { m_nLast = value; }, 1);
    }
    // A controller that says goodbye on the bus, as hosts do.
    ~Controller() override { RZCustomEventDispatcher::send<ExitProbe>(-1); }

    void onProbe(int value) { m_nSum += value; }

    int m_nSum = 0;
    int m_nLast = 0;
};

Controller g_oController;

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    g_oController.start();
    RZCustomEventDispatcher::send<ExitProbe>(20);
    RZCustomEventDispatcher::send<ExitProbe>(22);
    if (g_oController.m_nSum != 42 || g_oController.m_nLast != 22) {
        std::fprintf(stderr, "events not delivered: %d %d\n", g_oController.m_nSum, g_oController.m_nLast);
        return 1;
    }
    return 0;
}
