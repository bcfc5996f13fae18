// The high-DPI start-up as a host runs it, one process per case (an application object cannot be
// built twice): what the system says before any application exists, then initHighDPI, then the
// application and what Qt decided. Prints "key: value" lines; the library's log lines go to
// standard output too. Usage: rz_highdpi_helper <awareness>
#include <RZCore/app/RZApplication.h>
#include <RZCore/locale/RZScreen.h>

#include <QGuiApplication>

#include <cstdio>
#include <cstdlib>

namespace {

class HelperApplication : public RZApplication
{
public:
    using RZApplication::RZApplication;
    using RZApplication::calculateHighDpiScaleFactorRoundingPolicy;
    using RZApplication::logScreenInfo;
};

void say(const char* key, const QString& value)
{
    std::printf("%s: %s\n", key, qUtf8Printable(value));
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    const int awareness = argc > 1 ? std::atoi(argv[1]) : 1;
    say("application before", QString::number(QCoreApplication::instance() != nullptr));
    RZScreen* screen = RZScreen::instance();
    const QSize size = screen->getScreenResolutionForSystem();
    say("system ratio", QString::number(screen->devicePixelRatioForSystem()));
    say("system size", size.isValid() ? QStringLiteral("%1x%2").arg(size.width()).arg(size.height()) : QStringLiteral("none"));
    say("policy decided", QString::number(int(HelperApplication::calculateHighDpiScaleFactorRoundingPolicy())));

    RZApplication::initHighDPI(awareness);
    say("QT_ENABLE_HIGHDPI_SCALING", QString::fromLocal8Bit(qgetenv("QT_ENABLE_HIGHDPI_SCALING")));

    HelperApplication app(argc, argv);
    say("policy reported", QString::number(int(QGuiApplication::highDpiScaleFactorRoundingPolicy())));
    say("app ratio", QString::number(app.devicePixelRatio()));
    say("pixel ratio type", QString::number(RZScreen::getPixelRatioType()));
    say("ratio 25/75", QString::number(RZScreen::isPixelRatio25_75()));
    app.logScreenInfo();
    return 0;
}
