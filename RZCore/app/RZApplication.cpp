#include <RZCore/app/RZApplication.h>

#include <QPointer>
#include <QStringList>
#include <QWidget>

namespace {

// Qt 5.15.2, the version the application flags were taken from.
constexpr int kApplicationFlags = 0x50f02;

QPointer<QWidget>& topLevelWidgetGuard()
{
    static QPointer<QWidget> guard;
    return guard;
}

void runActions(const QList<RZApplication::Action>& actions, QApplication* application)
{
    // By index on the live list: an action may append further actions, which then run too.
    for (int i = 0; i < actions.size(); ++i) {
        const RZApplication::Action action = actions.at(i);
        action(application); // an empty action raises std::bad_function_call and stops the loop
    }
}

} // namespace

RZApplication::RZApplication(int& argc, char** argv) : QApplication(argc, argv, kApplicationFlags) {}

RZApplication::~RZApplication() = default;

QMap<QString, QString> RZApplication::extractStartupArgs()
{
    static const char* const kKeys[] = {"-nccparam:", "cvapplaunch://", "-open:", "-import:"};
    QMap<QString, QString> result;
    const QStringList arguments = QCoreApplication::arguments();
    for (int i = 1; i < arguments.size(); ++i) {
        const QString text = arguments.at(i).trimmed();
        bool matched = false;
        for (const char* key : kKeys) {
            if (text.contains(QLatin1String(key))) {
                result.insert(QLatin1String(key), text);
                matched = true;
            }
        }
        if (!matched && !text.isEmpty())
            result.insert(QStringLiteral("-open:"), text);
    }
    return result;
}

QList<RZApplication::Action>& RZApplication::getAppStartActions()
{
    static QList<Action> actions;
    return actions;
}

QList<RZApplication::Action>& RZApplication::getAppQuitActions()
{
    static QList<Action> actions;
    return actions;
}

void RZApplication::setTopLevelWidget(QWidget* widget)
{
    topLevelWidgetGuard() = widget;
}

QWidget* RZApplication::topLevelWidget()
{
    return topLevelWidgetGuard().data();
}

void RZApplication::init()
{
    runActions(getAppStartActions(), this);
}

void RZApplication::unInit()
{
    runActions(getAppQuitActions(), this);
}
