#pragma once
// Presenters: the logic behind a view. RZPresenter pairs with one RZUIView, hears the view's
// messages and can send messages to the view's scene. RZActionPresenter stands for one user action
// (a menu item, a button): visible, enabled and executable unless a callback vetoes it.

#include <RZCore/RZCoreExport.h>
#include <RZCore/app/RZObject.h>

#include <QObject>
#include <QString>

#include <memory>

class RZMessage;
class RZUIView;
class RZPresenterPrivate;
class RZActionPresenterPrivate;

class RZCORE_EXPORT RZPresenter : public QObject
{
    Q_OBJECT

public:
    explicit RZPresenter(QObject* parent = nullptr);
    // Takes itself off its view, so that a view never points at a dead presenter.
    ~RZPresenter() override;

    virtual void init();
    // resetUI() on the view, if there is one.
    virtual void reset();
    virtual RZUIView* view();
    virtual void clearView();

protected:
    // True lets the walk go on to the view's children. The base says false: a view whose presenter
    // doesn't override this hides its children from messages.
    virtual bool dispatchMessage(RZMessage* message);

public:
    // Stores the pointer only; RZUIView::setPresenter calls it.
    void setView(RZUIView* view);
    // Through the view, with the view's tests; nothing without a view.
    void sendMessageToScene(RZMessage* message);
    void sendMessageToScene(int type);

private:
    friend class RZUIView;
    std::unique_ptr<RZPresenterPrivate> d_ptr;
};

// Asked by an RZActionPresenter; any false vetoes. Implemented by the host and not owned: detach a
// callback before it dies (a callback that is also an RZObject or QObject is skipped once dead).
class RZCORE_EXPORT IRZActionPresenterCallback
{
public:
    virtual bool isVisible() = 0;
    virtual bool isEnable() = 0;
    virtual bool canExec() = 0;

protected:
    ~IRZActionPresenterCallback() = default;
};

// Five texts whose meaning belongs to the host.
struct RZRichToolTips
{
    QString title;
    QString description;
    QString shortcut;
    QString iconPath;
    QString link;
};

class RZCORE_EXPORT RZActionPresenter : public RZPresenter
{
    Q_OBJECT

public:
    explicit RZActionPresenter(QObject* parent = nullptr);
    ~RZActionPresenter() override;

    // True unless a callback says false; the first false ends the questioning.
    virtual bool isVisible();
    virtual bool isEnable();
    virtual QString tooltips();
    virtual RZRichToolTips richToolTips();

protected:
    // The action itself; run through slotExec, which honours the callbacks' veto.
    virtual bool exec() = 0;

public:
    // Callbacks may be added and removed from any thread, and from inside a callback: one removed
    // while being asked still counts with its answer, the later ones are still asked.
    void addCallback(IRZActionPresenterCallback* callback);
    void removeCallback(IRZActionPresenterCallback* callback);

signals:
    // For derived classes to emit; the base never does.
    void sigVisibleChanged();
    void sigEnableChanged();
    void sigToolTipsChanged();
    void sigExec(bool result);

public slots:
    // canExec(), then exec() and sigExec(result); nothing at all when vetoed.
    void slotExec();

protected:
    bool canExec();

private:
    std::unique_ptr<RZActionPresenterPrivate> d_ptr;
};
