#include "DemoHost.h"

#include <RZCore/ui/RZMessage.h>
#include <RZCore/ui/RZMessageService.h>
#include <RZCore/ui/RZObjSeeker.h>
#include <RZCore/ui/RZPresenter.h>
#include <RZCore/ui/RZUIScene.h>

#include <QStringList>

namespace {

QString yesNo(bool value)
{
    return value ? QStringLiteral("yes") : QStringLiteral("no");
}

enum DemoMessage
{
    MsgRefresh = 100,
    MsgFindClip = 101,
};

QStringList g_walk; // who saw the message, in order

class LoggingFilter : public IRZMessageFilter
{
public:
    bool filterMessage(RZMessage*) override
    {
        g_walk << QStringLiteral("filter");
        return false;
    }
};

class EditorScene : public RZUIScene
{
protected:
    void dispatchMessage(RZMessage*) override { g_walk << QStringLiteral("scene"); }
};

class PanelView : public RZUIView
{
public:
    PanelView(const QString& name, RZUIView* parent) : RZUIView(parent), m_strName(name) {}
    ~PanelView() override { releaseChildView(); }
    void initUI() override {}
    QString m_strName;

protected:
    bool dispatchMessage(RZMessage* message) override
    {
        g_walk << m_strName;
        return RZUIView::dispatchMessage(message);
    }
};

// The timeline's logic: it answers the clip query and stops the walk there.
class TimelinePresenter : public RZPresenter
{
protected:
    bool dispatchMessage(RZMessage* message) override
    {
        g_walk << QStringLiteral("timeline presenter");
        if (message->isType(MsgFindClip)) {
            static_cast<RZQueryMessage*>(message)->setCount(3);
            message->accept();
        }
        return true;
    }
};

class DeleteClipAction : public RZActionPresenter
{
protected:
    bool exec() override
    {
        demoSay(QStringLiteral("  delete-clip action runs"));
        return true;
    }
};

class PlaybackLock : public IRZActionPresenterCallback
{
public:
    bool isVisible() override { return true; }
    bool isEnable() override { return !m_bPlaying; }
    bool canExec() override { return !m_bPlaying; }
    bool m_bPlaying = true;
};

} // namespace

void demoUi(DemoContext& /*context*/)
{
    demoSection("ui scaffolding");
    LoggingFilter filter;
    EditorScene scene;
    scene.installEventFilter(&filter);
    RZUISceneManager::instance()->addScene(&scene);

    auto* library = new PanelView(QStringLiteral("library"), nullptr);
    auto* timeline = new PanelView(QStringLiteral("timeline"), nullptr);
    scene.addView(library);
    scene.addView(timeline);
    new PanelView(QStringLiteral("library/media"), library);
    auto* tracks = new PanelView(QStringLiteral("timeline/tracks"), timeline);
    new PanelView(QStringLiteral("timeline/tracks/video"), tracks);
    TimelinePresenter presenter;
    timeline->setPresenter(&presenter);

    demoSay(QStringLiteral(
        "views: library { media }, timeline { tracks { video } } with a presenter on timeline"));
    RZMessage refresh(MsgRefresh);
    RZUISceneManager::instance()->sendMessage(&refresh);
    demoSay(QStringLiteral("refresh walked: ") + g_walk.join(QStringLiteral(" -> ")));

    g_walk.clear();
    RZQueryMessage query(MsgFindClip);
    library->sendMessageToScene(&query);
    demoSay(QStringLiteral("clip query walked: %1; accepted %2, answer %3")
                .arg(g_walk.join(QStringLiteral(" -> ")))
                .arg(yesNo(query.isAccepted()))
                .arg(query.count()));

    g_walk.clear();
    library->setActive(false);
    RZMessage again(MsgRefresh);
    RZUISceneManager::instance()->sendMessage(&again);
    demoSay(QStringLiteral("library switched off, refresh walked: ") + g_walk.join(QStringLiteral(" -> ")));

    QObject window;
    window.setObjectName(QStringLiteral("window"));
    for (const char* name : {"toolbar", "deleteButton", "statusbar"}) {
        auto* child = new QObject(&window);
        child->setObjectName(QLatin1String(name));
    }
    QObject* button =
        RZObjSeeker(&window).descendants(false).objectName(QStringLiteral("deleteButton")).firstResult();
    demoSay(QStringLiteral("object seeker found: %1")
                .arg(button ? button->objectName() : QStringLiteral("nothing")));

    DeleteClipAction action;
    PlaybackLock lock;
    action.addCallback(&lock);
    QObject::connect(&action, &RZActionPresenter::sigExec,
                     [](bool result) { demoSay(QStringLiteral("  sigExec(%1)").arg(yesNo(result))); });
    demoSay(QStringLiteral("delete-clip while playing: enabled %1, exec:").arg(yesNo(action.isEnable())));
    action.slotExec();
    demoSay(QStringLiteral("  (vetoed by the playback lock: nothing ran)"));
    lock.m_bPlaying = false;
    demoSay(QStringLiteral("delete-clip when stopped: enabled %1, exec:").arg(yesNo(action.isEnable())));
    action.slotExec();
    action.removeCallback(&lock);

    timeline->setPresenter(nullptr);
    RZUISceneManager::instance()->removeScene(&scene);
    scene.clearView();
    delete library;
    delete timeline;
}
