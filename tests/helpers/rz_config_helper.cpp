// A process that uses the settings store as a host would, driven line by line on standard input, so
// that tests can start, stop and kill real main and helper processes on one configuration folder.
//
//   rz_config_helper <configuration folder> [--sub]
//
// Commands (fields separated by tabs), each answered by one line that starts with "@":
//   get <group> <key>            @value <text>  or  @invalid
//   set <group> <key> <value>    @ok
//   loop <group> <key>           writes "<n>|<payload of n>|<n>" every millisecond, with "@wrote <n>"
//                                after each write, until the process is killed
//   quit                         @bye, then a normal exit (the store's final sync)
// "@ready" comes first, once the store is built. Log lines of the library are on standard output
// too and do not start with "@".

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/config/RZConfig.h>

#include <QCoreApplication>
#include <QStandardPaths>
#include <QThread>

#include <cstring>
#include <iostream>
#include <string>

namespace {

void reply(const QString& text)
{
    std::cout << '@' << text.toStdString() << std::endl;
}

QString payload(qint64 n)
{
    const QString number = QString::number(n);
    return number + QLatin1Char('|') + QString(2000, QChar(QLatin1Char('a' + n % 26))) + QLatin1Char('|') +
           number;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QStandardPaths::setTestModeEnabled(true);
    if (argc < 2)
        return 2;
    const QString dir = QString::fromLocal8Bit(argv[1]);
    IRZAppInfo::getInstance()->setValue(14, dir);
    IRZAppInfo::getInstance()->setValue(16, dir + QStringLiteral("/documents"));
    RZFlagUtility::setIsMainAppFlag(!(argc > 2 && std::strcmp(argv[2], "--sub") == 0));

    RZConfig& config = RZConfig::Instance();
    reply(QStringLiteral("ready"));

    std::string line;
    while (std::getline(std::cin, line)) {
        const QStringList fields = QString::fromStdString(line).split(QLatin1Char('\t'));
        const QString& command = fields.at(0);
        if (command == QLatin1String("get") && fields.size() == 3) {
            const QVariant value = config.GetAppValue(fields[1], fields[2]);
            reply(value.isValid() ? QStringLiteral("value ") + value.toString() : QStringLiteral("invalid"));
        } else if (command == QLatin1String("set") && fields.size() == 4) {
            config.SetAppValue(fields[1], fields[2], fields[3]);
            reply(QStringLiteral("ok"));
        } else if (command == QLatin1String("loop") && fields.size() == 3) {
            for (qint64 n = 1;; ++n) {
                config.SetAppValue(fields[1], fields[2], payload(n));
                reply(QStringLiteral("wrote %1").arg(n));
                QThread::msleep(1);
            }
        } else if (command == QLatin1String("quit")) {
            reply(QStringLiteral("bye"));
            return 0;
        } else {
            reply(QStringLiteral("unknown ") + command);
        }
    }
    return 0;
}
