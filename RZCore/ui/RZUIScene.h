#pragma once
// The skeleton of the host's user interface: scenes (modes of the application), views (a tree of
// nodes in a scene, each with an optional presenter) and the scene manager. No widgets live here.
//
// A message sent from a view goes to its scene: the scene's filters first, then the scene's own
// dispatchMessage, then each view depth first, a view before its children. The first accept() or
// the first filter that consumes the message ends the walk. An inactive scene or view drops it.
//
// Nothing here owns what it is handed (scenes, views, filters, presenters, the undo-redo service)
// except through the explicit releaseAllView / releaseChildView. A view does not leave its scene's
// list when destroyed: call removeView first. Everything belongs to the user-interface thread.

#include <RZCore/RZCoreExport.h>
#include <RZCore/app/RZSingleton.h>

#include <memory>

class RZMessage;
class RZPresenter;
class RZUIScene;
class IRZMessageFilter;
class RZUISceneManagerPrivate;
class RZUIScenePrivate;
class RZUIViewPrivate;

// The host's undo-redo stack; the scaffolding only stores and hands out the pointer.
class RZCORE_EXPORT IRZUndoRedoService
{
public:
    virtual ~IRZUndoRedoService();
};

class RZCORE_EXPORT RZUIView
{
public:
    // The host's own entry point for building the view; the scaffolding never calls it.
    virtual void initUI() = 0;
    // False when the view's scene is inactive, else the view's own flag; a parent's flag doesn't
    // count here (the walk just doesn't descend through an inactive view).
    virtual bool isActive() const;
    // Calls activeStateChanged() when the flag changes; children aren't touched.
    virtual void setActive(bool active);
    virtual void resetUI();
    virtual void showTips(int tips);
    virtual void updateData();
    virtual ~RZUIView();

protected:
    virtual void activeStateChanged();
    // True lets the walk go on to the children. The base asks the view's own presenter (not an
    // inherited one), and an RZPresenter that doesn't override dispatchMessage says false: a view
    // with a presenter hides its children unless the presenter lets them through.
    virtual bool dispatchMessage(RZMessage* message);
    virtual void presenterChanged();

public:
    RZUIView(const RZUIView&) = delete;
    RZUIView& operator=(const RZUIView&) = delete;

    RZUIView* parentView() const;
    // Moves this view under `parent` (appended to its children) and takes the parent's scene; a
    // null parent detaches and keeps the scene. A parent that is this view or one of its
    // descendants is refused.
    void setParentView(RZUIView* parent);
    // The last ancestor; null for a view without a parent.
    RZUIView* topLevelView() const;

    // The view's own presenter, or the nearest ancestor's.
    RZPresenter* presenter();
    void setPresenter(RZPresenter* presenter);

    // The first scene found walking up from this view.
    RZUIScene* scene() const;
    void setScene(RZUIScene* scene);

    int type() const;
    void setType(int type);

    int childViewCount() const;
    RZUIView* childViews(int index);
    // The first direct child of that type; grandchildren aren't searched.
    RZUIView* findChildView(int type);

    // Found through the parent, or else the scene, and then kept: a service set on the scene later
    // doesn't reach a view that already has one.
    IRZUndoRedoService* undoRedoService();
    void setUndoRedoService(IRZUndoRedoService* service);

    // Walk this view and its subtree only: no filters, no scene.
    void sendMessage(RZMessage* message);
    void sendMessage(int type);
    // The whole walk of this view's scene; dropped when this view (its own flag) or the scene is
    // inactive, or there is no scene.
    void sendMessageToScene(RZMessage* message);
    void sendMessageToScene(int type);

protected:
    explicit RZUIView(RZUIView* parent = nullptr);
    // The child's parent field is left as it is.
    void removeChildView(RZUIView* child);
    // Deletes every child; for the host's destructors.
    void releaseChildView();

private:
    void addChildView(RZUIView* child);

    std::unique_ptr<RZUIViewPrivate> d_ptr;
};

class RZCORE_EXPORT RZUIScene
{
public:
    RZUIScene();
    virtual ~RZUIScene();
    // For the host's scenes; the scaffolding never calls them.
    virtual bool run();
    virtual void stop();

protected:
    virtual void dispatchMessage(RZMessage* message);

public:
    RZUIScene(const RZUIScene&) = delete;
    RZUIScene& operator=(const RZUIScene&) = delete;

    // Appends without a test for duplicates (a view added twice hears each message twice) and sets
    // the view's scene. Null is ignored.
    void addView(RZUIView* view);
    // Takes out the first occurrence and clears the view's scene.
    void removeView(RZUIView* view);
    void clearView();
    int viewCount() const;
    RZUIView* views(int index);

    // A plain flag, no notification. The manager skips an inactive scene; a direct sendMessage
    // still runs the filters and dispatchMessage, and the views refuse it.
    void setActive(bool active);
    bool isActive() const;

    void setUndoRedoService(IRZUndoRedoService* service);
    IRZUndoRedoService* undoRdoService();

    void installEventFilter(IRZMessageFilter* filter);
    void removeEventFilter(IRZMessageFilter* filter);

    void sendMessage(RZMessage* message);
    // Switches every other view of this scene off and `view` on. A view not in this scene: nothing.
    void watchOne(RZUIView* view);

protected:
    // Deletes every view in the list (each once) and empties it; for the host's destructors.
    void releaseAllView();

private:
    std::unique_ptr<RZUIScenePrivate> d_ptr;
};

// The entry for a message to all scenes, in the order they were added. Its filters reach a scene
// only when the scene is added or removed: install them before adding scenes.
class RZCORE_EXPORT RZUISceneManager : public RZSingleton<RZUISceneManager>
{
    friend class RZSingleton<RZUISceneManager>;

public:
    void addScene(RZUIScene* scene);
    void removeScene(RZUIScene* scene);
    void installEventFilter(IRZMessageFilter* filter);
    void removeEventFilter(IRZMessageFilter* filter);
    // Each active scene in turn, until one accepts. A filter that consumes the message ends it for
    // that scene only.
    void sendMessage(RZMessage* message);

private:
    RZUISceneManager();
    ~RZUISceneManager() override;

    std::unique_ptr<RZUISceneManagerPrivate> d_ptr;
};

RZCORE_EXTERN_SINGLETON(RZUISceneManager)
