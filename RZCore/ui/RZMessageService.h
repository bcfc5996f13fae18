#pragma once
// The broadcast route for messages: observers subscribe to message types, or to everything, and
// all of them hear each message; nothing stops a broadcast. It has no link to the walk through
// scenes and views (RZUIScene.h). The service belongs to the user-interface thread and has no lock.
//
// Also here: RZMessageHandler, which takes over Qt's own message output and hands each line to
// subscribers.

#include <RZCore/RZCoreExport.h>

#include <QSet>
#include <QString>

class RZMessage;

// A filter in front of a scene. True consumes the message. Not owned by whoever holds it.
class RZCORE_EXPORT IRZMessageFilter
{
public:
    virtual bool filterMessage(RZMessage* message) = 0;

protected:
    ~IRZMessageFilter() = default;
};

class RZCORE_EXPORT IRZMessageEventObserver
{
public:
    virtual void onMessage(RZMessage* message) = 0;

protected:
    ~IRZMessageEventObserver() = default;
};

// Observers are registered by pointer, not owned, and remove themselves before they die. An
// observer may add or remove observers from inside onMessage; the change counts from the next
// message. The order among the observers of one set is unspecified.
class RZCORE_EXPORT IRZMessageService
{
public:
    virtual ~IRZMessageService();
    virtual void sendMessage(RZMessage* message) = 0;
    // No types: the observer hears everything. Later calls add to the earlier types. An observer
    // that is both global and typed hears a message of a subscribed type twice.
    virtual void addObserver(IRZMessageEventObserver* observer, const QSet<int>& types) = 0;
    virtual void removeObserver(IRZMessageEventObserver* observer) = 0;

    // A new, empty service, owned by the caller.
    static IRZMessageService* createMessageService();
    // Deletes it; null is ignored.
    static void releaseMessageService(IRZMessageService* service);
};

// Replaces Qt's message handler with one that builds "<prefix><hh:mm:ss>: <text>" (prefix
// "Debug:", "Warning:", "Critical:", "Fatal:", or nothing for info) and calls every callback in
// ascending order of its owner pointer. The line goes nowhere else: with no callback, Qt's text is
// dropped. The callback map has no lock; change it before other threads start or after they stop.
class RZCORE_EXPORT RZMessageHandler
{
public:
    using Callback = void (*)(void* owner, const QString& line);

    static void install();
    // Adds the callback of `owner`, or replaces it.
    static void addCallback(void* owner, Callback callback);
    static void removeCallback(void* owner);
};
