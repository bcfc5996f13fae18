#include <RZCore/ui/RZPresenter.h>

#include <RZCore/ui/RZMessage.h>
#include <RZCore/ui/RZPresenter_p.h>
#include <RZCore/ui/RZUIScene.h>

RZPresenter::RZPresenter(QObject* parent) : QObject(parent), d_ptr(std::make_unique<RZPresenterPrivate>()) {}

RZPresenter::~RZPresenter()
{
    // Only a view that still holds this presenter is touched: one that moved on to another
    // presenter keeps it.
    RZUIView* paired = d_ptr->m_pView;
    if (paired && paired->presenter() == this)
        paired->setPresenter(nullptr);
    d_ptr->m_pView = nullptr;
}

void RZPresenter::init() {}

void RZPresenter::reset()
{
    if (RZUIView* paired = view())
        paired->resetUI();
}

RZUIView* RZPresenter::view()
{
    return d_ptr->m_pView;
}

void RZPresenter::clearView()
{
    d_ptr->m_pView = nullptr;
}

bool RZPresenter::dispatchMessage(RZMessage* /*message*/)
{
    return false;
}

void RZPresenter::setView(RZUIView* view)
{
    d_ptr->m_pView = view;
}

void RZPresenter::sendMessageToScene(RZMessage* message)
{
    if (RZUIView* paired = view())
        paired->sendMessageToScene(message);
}

void RZPresenter::sendMessageToScene(int type)
{
    RZMessage message(type);
    sendMessageToScene(&message);
}

// ---- RZActionPresenter ------------------------------------------------------------------------

RZActionPresenter::RZActionPresenter(QObject* parent)
    : RZPresenter(parent), d_ptr(std::make_unique<RZActionPresenterPrivate>())
{
}

RZActionPresenter::~RZActionPresenter() = default;

bool RZActionPresenter::isVisible()
{
    return d_ptr->callbacks.notifyAny(
        [](IRZActionPresenterCallback* callback) { return !callback || callback->isVisible(); });
}

bool RZActionPresenter::isEnable()
{
    return d_ptr->callbacks.notifyAny(
        [](IRZActionPresenterCallback* callback) { return !callback || callback->isEnable(); });
}

QString RZActionPresenter::tooltips()
{
    return QString();
}

RZRichToolTips RZActionPresenter::richToolTips()
{
    return RZRichToolTips();
}

void RZActionPresenter::addCallback(IRZActionPresenterCallback* callback)
{
    d_ptr->callbacks.attach(callback);
}

void RZActionPresenter::removeCallback(IRZActionPresenterCallback* callback)
{
    d_ptr->callbacks.detach(callback);
}

void RZActionPresenter::slotExec()
{
    if (!canExec())
        return;
    const bool result = exec();
    emit sigExec(result);
}

bool RZActionPresenter::canExec()
{
    return d_ptr->callbacks.notifyAny(
        [](IRZActionPresenterCallback* callback) { return !callback || callback->canExec(); });
}
