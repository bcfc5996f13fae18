#pragma once
// Filters, scenes, views and presenters that write each visit into one list, so that a test can
// compare the whole order of a walk at once.

#include <RZCore/ui/RZMessage.h>
#include <RZCore/ui/RZMessageService.h>
#include <RZCore/ui/RZPresenter.h>
#include <RZCore/ui/RZUIScene.h>

#include <QStringList>

inline QStringList g_visits;

inline bool visit(const QString& what, bool result = true)
{
    g_visits << what;
    return result;
}

struct RecFilter : IRZMessageFilter
{
    explicit RecFilter(QString id) : name(std::move(id)) {}
    bool filterMessage(RZMessage*) override { return visit(name, consume); }
    QString name;
    bool consume = false;
};

struct RecScene : RZUIScene
{
    explicit RecScene(QString id) : name(std::move(id)) {}
    void dispatchMessage(RZMessage* m) override { m->setAccept(visit(name, accept) || m->isAccepted()); }
    using RZUIScene::releaseAllView;
    QString name;
    bool accept = false;
};

// Records its dispatch ("A"), state changes ("on:A"/"off:A"), presenter changes ("pc:A"), resets
// ("r:A") and its death ("~A").
struct RecView : RZUIView
{
    explicit RecView(QString id, RZUIView* parent = nullptr) : RZUIView(parent), name(std::move(id)) {}
    ~RecView() override { visit("~" + name); }
    void initUI() override {}
    void resetUI() override
    {
        visit("r:" + name);
        RZUIView::resetUI();
    }
    bool dispatchMessage(RZMessage* m) override
    {
        m->setAccept(visit(name, accept) || m->isAccepted());
        return RZUIView::dispatchMessage(m);
    }
    void activeStateChanged() override { visit((RZUIView::isActive() ? "on:" : "off:") + name); }
    void presenterChanged() override { visit("pc:" + name); }
    using RZUIView::releaseChildView;
    QString name;
    bool accept = false;
};

// Records "p:<name>" and lets the walk through to the view's children.
struct RecPresenter : RZPresenter
{
    explicit RecPresenter(QString id) : name(std::move(id)) {}
    bool dispatchMessage(RZMessage*) override { return visit("p:" + name); }
    QString name;
};
