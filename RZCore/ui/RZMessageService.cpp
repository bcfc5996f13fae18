#include <RZCore/ui/RZMessage.h>
#include <RZCore/ui/RZMessageService.h>
#include <RZCore/ui/RZMessageService_p.h>

#include <QMap>
#include <QTime>
#include <QtGlobal>

IRZMessageService::~IRZMessageService() = default;

IRZMessageService* IRZMessageService::createMessageService()
{
    return new FMessageService();
}

void IRZMessageService::releaseMessageService(IRZMessageService* service)
{
    delete service;
}

FMessageService::FMessageService() = default;
FMessageService::~FMessageService() = default;

void FMessageService::addObserver(IRZMessageEventObserver* observer, const QSet<int>& types)
{
    if (types.isEmpty()) {
        globalObservers.insert(observer);
        return;
    }
    QSet<int>& subscribed = observerTypes[observer];
    for (const int type : types) {
        typeObservers[type].insert(observer);
        subscribed.insert(type);
    }
}

void FMessageService::removeObserver(IRZMessageEventObserver* observer)
{
    globalObservers.remove(observer);
    const auto entry = observerTypes.find(observer);
    if (entry == observerTypes.end())
        return;
    const QSet<int> types = entry.value();
    observerTypes.erase(entry);
    for (const int type : types) {
        const auto it = typeObservers.find(type);
        if (it == typeObservers.end())
            continue;
        it->remove(observer);
        if (it->isEmpty())
            typeObservers.erase(it);
    }
}

void FMessageService::sendMessage(RZMessage* message)
{
    if (!message)
        return;
    // Snapshots of both indexes (cheap: implicitly shared), so that whatever an observer changes
    // from onMessage, global or typed, counts from the next message.
    const QSet<IRZMessageEventObserver*> global = globalObservers;
    const QMap<int, QSet<IRZMessageEventObserver*>> typed = typeObservers;
    for (IRZMessageEventObserver* observer : global)
        observer->onMessage(message);

    // Read after the global observers, which may have changed it.
    const auto it = typed.constFind(message->msgType());
    if (it == typed.constEnd())
        return;
    for (IRZMessageEventObserver* observer : it.value())
        observer->onMessage(message);
}

// ---- RZMessageHandler -------------------------------------------------------------------------

namespace {

QMap<void*, RZMessageHandler::Callback>& handlerCallbacks()
{
    static QMap<void*, RZMessageHandler::Callback> callbacks;
    return callbacks;
}

QString messagePrefix(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return QStringLiteral("Debug:");
    case QtWarningMsg:
        return QStringLiteral("Warning:");
    case QtCriticalMsg:
        return QStringLiteral("Critical:");
    case QtFatalMsg:
        return QStringLiteral("Fatal:");
    default:
        return QString();
    }
}

void handleQtMessage(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text)
{
    const QString line =
        QStringLiteral("%1%2: %3")
            .arg(messagePrefix(type), QTime::currentTime().toString(QStringLiteral("hh:mm:ss")), text);
    // A copy: a callback may add or remove callbacks.
    const QMap<void*, RZMessageHandler::Callback> callbacks = handlerCallbacks();
    for (auto it = callbacks.cbegin(); it != callbacks.cend(); ++it)
        if (it.value())
            it.value()(it.key(), line);
}

} // namespace

void RZMessageHandler::install()
{
    qInstallMessageHandler(&handleQtMessage);
}

void RZMessageHandler::addCallback(void* owner, Callback callback)
{
    handlerCallbacks().insert(owner, callback);
}

void RZMessageHandler::removeCallback(void* owner)
{
    handlerCallbacks().remove(owner);
}
