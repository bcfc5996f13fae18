#include <RZCore/ui/RZUIScene.h>

#include <RZCore/ui/RZMessage.h>
#include <RZCore/ui/RZMessageService.h>
#include <RZCore/ui/RZPresenter.h>
#include <RZCore/ui/RZPresenter_p.h>
#include <RZCore/ui/RZUIScene_p.h>

#include <QSet>

RZCORE_INSTANTIATE_SINGLETON(RZUISceneManager)

IRZUndoRedoService::~IRZUndoRedoService() = default;

// ---- RZUIView ---------------------------------------------------------------------------------

RZUIView::RZUIView(RZUIView* parent) : d_ptr(std::make_unique<RZUIViewPrivate>())
{
    setParentView(parent);
}

RZUIView::~RZUIView()
{
    if (RZPresenter* presenter = d_ptr->m_pPresenter) {
        presenter->setView(nullptr);
        d_ptr->m_pPresenter = nullptr;
        presenterChanged();
    }
    // Children outlive their parent, detached.
    const QList<RZUIView*> children = d_ptr->m_lstChildren;
    d_ptr->m_lstChildren.clear();
    for (RZUIView* child : children)
        if (child && child->d_ptr->m_pParent == this)
            child->d_ptr->m_pParent = nullptr;
    if (RZUIView* parent = d_ptr->m_pParent) {
        parent->removeChildView(this);
        d_ptr->m_pParent = nullptr;
    }
}

bool RZUIView::isActive() const
{
    const RZUIScene* owner = scene();
    if (owner && !owner->isActive())
        return false;
    return d_ptr->m_bActive;
}

void RZUIView::setActive(bool active)
{
    if (d_ptr->m_bActive == active)
        return;
    d_ptr->m_bActive = active;
    activeStateChanged();
}

void RZUIView::resetUI()
{
    // By index, reading the count each round: a child may add or remove children meanwhile.
    for (int i = 0; i < d_ptr->m_lstChildren.size(); ++i)
        if (RZUIView* child = d_ptr->m_lstChildren.at(i))
            child->resetUI();
}

void RZUIView::showTips(int /*tips*/) {}

void RZUIView::updateData()
{
    for (int i = 0; i < d_ptr->m_lstChildren.size(); ++i)
        if (RZUIView* child = d_ptr->m_lstChildren.at(i))
            child->updateData();
}

void RZUIView::activeStateChanged() {}

bool RZUIView::dispatchMessage(RZMessage* message)
{
    const RZUIScene* owner = scene();
    if (owner && !owner->isActive())
        return true;
    if (d_ptr->m_bActive && d_ptr->m_pPresenter)
        return d_ptr->m_pPresenter->dispatchMessage(message);
    return true;
}

void RZUIView::presenterChanged() {}

RZUIView* RZUIView::parentView() const
{
    return d_ptr->m_pParent;
}

void RZUIView::setParentView(RZUIView* parent)
{
    if (parent && parent == d_ptr->m_pParent)
        return;
    // A cycle would make every upward walk endless.
    for (const RZUIView* ancestor = parent; ancestor; ancestor = ancestor->d_ptr->m_pParent)
        if (ancestor == this)
            return;
    if (RZUIView* previous = d_ptr->m_pParent)
        previous->removeChildView(this);
    d_ptr->m_pParent = parent;
    if (!parent)
        return;
    parent->addChildView(this);
    // The parent's own scene, or else the one above it; null while the branch has none yet.
    d_ptr->m_pScene = parent->scene();
}

RZUIView* RZUIView::topLevelView() const
{
    RZUIView* top = d_ptr->m_pParent;
    while (top && top->d_ptr->m_pParent)
        top = top->d_ptr->m_pParent;
    return top;
}

RZPresenter* RZUIView::presenter()
{
    for (const RZUIView* view = this; view; view = view->d_ptr->m_pParent)
        if (view->d_ptr->m_pPresenter)
            return view->d_ptr->m_pPresenter;
    return nullptr;
}

void RZUIView::setPresenter(RZPresenter* presenter)
{
    if (presenter == d_ptr->m_pPresenter)
        return;
    // A presenter pairs with one view: take it off the view it served before, or that view would
    // keep a pointer the presenter's destructor no longer clears.
    if (presenter) {
        RZUIView* previousView = presenter->d_ptr->m_pView;
        if (previousView && previousView != this && previousView->d_ptr->m_pPresenter == presenter)
            previousView->setPresenter(nullptr);
    }
    if (RZPresenter* old = d_ptr->m_pPresenter)
        old->setView(nullptr);
    d_ptr->m_pPresenter = presenter;
    if (presenter)
        presenter->setView(this);
    presenterChanged();
}

RZUIScene* RZUIView::scene() const
{
    for (const RZUIView* view = this; view; view = view->d_ptr->m_pParent)
        if (view->d_ptr->m_pScene)
            return view->d_ptr->m_pScene;
    return nullptr;
}

void RZUIView::setScene(RZUIScene* scene)
{
    d_ptr->m_pScene = scene;
}

int RZUIView::type() const
{
    return d_ptr->m_nType;
}

void RZUIView::setType(int type)
{
    d_ptr->m_nType = type;
}

int RZUIView::childViewCount() const
{
    return d_ptr->m_lstChildren.size();
}

RZUIView* RZUIView::childViews(int index)
{
    return d_ptr->m_lstChildren.value(index, nullptr);
}

RZUIView* RZUIView::findChildView(int type)
{
    for (RZUIView* child : qAsConst(d_ptr->m_lstChildren))
        if (child && child->type() == type)
            return child;
    return nullptr;
}

IRZUndoRedoService* RZUIView::undoRedoService()
{
    if (d_ptr->m_pUndoRedoService)
        return d_ptr->m_pUndoRedoService;
    IRZUndoRedoService* found = nullptr;
    if (d_ptr->m_pParent)
        found = d_ptr->m_pParent->undoRedoService();
    else if (d_ptr->m_pScene)
        found = d_ptr->m_pScene->undoRdoService();
    d_ptr->m_pUndoRedoService = found;
    return found;
}

void RZUIView::setUndoRedoService(IRZUndoRedoService* service)
{
    d_ptr->m_pUndoRedoService = service;
}

void RZUIView::sendMessage(RZMessage* message)
{
    if (!message)
        return;
    const RZUIScene* owner = scene();
    if (owner && !owner->isActive())
        return;
    if (!d_ptr->m_bActive)
        return;
    if (!dispatchMessage(message))
        return;
    if (message->isAccepted())
        return;
    // The live list, by index: a handler must not change the children of a view being walked, but
    // if it does, the walk stays within the list.
    for (int i = 0; i < d_ptr->m_lstChildren.size(); ++i) {
        if (RZUIView* child = d_ptr->m_lstChildren.at(i))
            child->sendMessage(message);
        if (message->isAccepted())
            return;
    }
}

void RZUIView::sendMessage(int type)
{
    RZMessage message(type);
    sendMessage(&message);
}

void RZUIView::sendMessageToScene(RZMessage* message)
{
    if (!message)
        return;
    RZUIScene* owner = scene();
    if (owner && !owner->isActive())
        return;
    if (!d_ptr->m_bActive)
        return;
    if (!owner)
        return;
    owner->sendMessage(message);
}

void RZUIView::sendMessageToScene(int type)
{
    RZMessage message(type);
    sendMessageToScene(&message);
}

void RZUIView::removeChildView(RZUIView* child)
{
    if (child)
        d_ptr->m_lstChildren.removeOne(child);
}

void RZUIView::releaseChildView()
{
    while (!d_ptr->m_lstChildren.isEmpty())
        delete d_ptr->m_lstChildren.takeFirst();
}

void RZUIView::addChildView(RZUIView* child)
{
    d_ptr->m_lstChildren.append(child);
}

// ---- RZUIScene --------------------------------------------------------------------------------

RZUIScene::RZUIScene() : d_ptr(std::make_unique<RZUIScenePrivate>()) {}

RZUIScene::~RZUIScene() = default;

bool RZUIScene::run()
{
    return false;
}

void RZUIScene::stop() {}

void RZUIScene::dispatchMessage(RZMessage* /*message*/) {}

void RZUIScene::addView(RZUIView* view)
{
    if (!view)
        return;
    d_ptr->m_lstViews.append(view);
    view->setScene(this);
}

void RZUIScene::removeView(RZUIView* view)
{
    if (view && d_ptr->m_lstViews.removeOne(view))
        view->setScene(nullptr);
}

void RZUIScene::clearView()
{
    const QList<RZUIView*> views = d_ptr->m_lstViews;
    d_ptr->m_lstViews.clear();
    for (RZUIView* view : views)
        view->setScene(nullptr);
}

int RZUIScene::viewCount() const
{
    return d_ptr->m_lstViews.size();
}

RZUIView* RZUIScene::views(int index)
{
    return d_ptr->m_lstViews.value(index, nullptr);
}

void RZUIScene::setActive(bool active)
{
    d_ptr->m_bActive = active;
}

bool RZUIScene::isActive() const
{
    return d_ptr->m_bActive;
}

void RZUIScene::setUndoRedoService(IRZUndoRedoService* service)
{
    d_ptr->m_pUndoRedoService = service;
}

IRZUndoRedoService* RZUIScene::undoRdoService()
{
    return d_ptr->m_pUndoRedoService;
}

void RZUIScene::installEventFilter(IRZMessageFilter* filter)
{
    if (filter)
        d_ptr->m_lstFilters.append(filter);
}

void RZUIScene::removeEventFilter(IRZMessageFilter* filter)
{
    d_ptr->m_lstFilters.removeOne(filter);
}

void RZUIScene::sendMessage(RZMessage* message)
{
    if (!message)
        return;
    // The scene's own flag is the manager's test; here only the views refuse.
    const QList<IRZMessageFilter*> filters = d_ptr->m_lstFilters;
    for (IRZMessageFilter* filter : filters)
        if (filter->filterMessage(message))
            return;
    dispatchMessage(message);
    if (message->isAccepted())
        return;
    // A copy, so that a handler may add or remove views.
    const QList<RZUIView*> views = d_ptr->m_lstViews;
    for (RZUIView* view : views) {
        view->sendMessage(message);
        if (message->isAccepted())
            return;
    }
}

void RZUIScene::watchOne(RZUIView* view)
{
    if (!view || !d_ptr->m_lstViews.contains(view))
        return;
    const QList<RZUIView*> views = d_ptr->m_lstViews;
    for (RZUIView* other : views)
        other->setActive(false);
    view->setActive(true);
}

void RZUIScene::releaseAllView()
{
    QList<RZUIView*> views;
    views.swap(d_ptr->m_lstViews);
    // A view added twice is deleted once.
    QSet<RZUIView*> deleted;
    for (RZUIView* view : qAsConst(views)) {
        if (deleted.contains(view))
            continue;
        deleted.insert(view);
        delete view;
    }
}

// ---- RZUISceneManager -------------------------------------------------------------------------

RZUISceneManager::RZUISceneManager() : d_ptr(std::make_unique<RZUISceneManagerPrivate>()) {}

RZUISceneManager::~RZUISceneManager() = default;

void RZUISceneManager::addScene(RZUIScene* scene)
{
    if (!scene || d_ptr->m_lstScenes.contains(scene))
        return;
    d_ptr->m_lstScenes.append(scene);
    for (IRZMessageFilter* filter : qAsConst(d_ptr->m_lstFilters))
        scene->installEventFilter(filter);
}

void RZUISceneManager::removeScene(RZUIScene* scene)
{
    if (!scene || !d_ptr->m_lstScenes.removeOne(scene))
        return;
    for (IRZMessageFilter* filter : qAsConst(d_ptr->m_lstFilters))
        scene->removeEventFilter(filter);
}

void RZUISceneManager::installEventFilter(IRZMessageFilter* filter)
{
    if (filter)
        d_ptr->m_lstFilters.append(filter);
}

void RZUISceneManager::removeEventFilter(IRZMessageFilter* filter)
{
    d_ptr->m_lstFilters.removeOne(filter);
}

void RZUISceneManager::sendMessage(RZMessage* message)
{
    if (!message)
        return;
    const QList<RZUIScene*> scenes = d_ptr->m_lstScenes;
    for (RZUIScene* scene : scenes) {
        if (!scene->isActive())
            continue;
        scene->sendMessage(message);
        if (message->isAccepted())
            return;
    }
}
