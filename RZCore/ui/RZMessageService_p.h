#pragma once
// The message service behind IRZMessageService::createMessageService. Not installed.

#include <RZCore/ui/RZMessageService.h>

#include <QMap>
#include <QSet>

class FMessageService final : public IRZMessageService
{
public:
    FMessageService();
    ~FMessageService() override;

    void sendMessage(RZMessage* message) override;
    void addObserver(IRZMessageEventObserver* observer, const QSet<int>& types) override;
    void removeObserver(IRZMessageEventObserver* observer) override;

private:
    QMap<int, QSet<IRZMessageEventObserver*>> typeObservers;
    // The reverse index: removal costs the observer's subscriptions, not all types.
    QMap<IRZMessageEventObserver*, QSet<int>> observerTypes;
    QSet<IRZMessageEventObserver*> globalObservers;
};
