#include "UiRecorders.h"

#include <QtTest>

#include <map>
#include <memory>

// Scene S1 (filter f1): A { A1 { A1a }, A2 }, B { B1 }. Scene S2 (filter f2): C. Both in the manager.
class tst_Scene : public QObject
{
    Q_OBJECT

    std::map<QString, std::unique_ptr<RecScene>> scenes;
    std::map<QString, std::unique_ptr<RecFilter>> filters;
    std::map<QString, std::unique_ptr<RecView>> views; // cleared in any order: parents may go first
    std::vector<std::unique_ptr<RZPresenter>> presenters;

    RecView* view(const QString& name) { return views.count(name) ? views[name].get() : nullptr; }

private slots:
    void init()
    {
        for (const char* scene : {"S1", "S2"}) {
            scenes[scene] = std::make_unique<RecScene>(scene);
            filters[scene] = std::make_unique<RecFilter>(scene[1] == '1' ? "f1" : "f2");
            scenes[scene]->installEventFilter(filters[scene].get());
            RZUISceneManager::instance()->addScene(scenes[scene].get());
        }
        for (const QString entry : {"S1/A", "A/A1", "A1/A1a", "A/A2", "S1/B", "B/B1", "S2/C"}) {
            const QString parent = entry.section('/', 0, 0), name = entry.section('/', 1);
            views[name] = std::make_unique<RecView>(name, view(parent));
            if (scenes.count(parent))
                scenes[parent]->addView(view(name));
        }
        g_visits.clear();
    }
    void cleanup()
    {
        for (auto& scene : scenes)
            RZUISceneManager::instance()->removeScene(scene.second.get());
        presenters.clear();
        views.clear();
        scenes.clear();
        filters.clear();
    }

    // Setup steps: "off:X" switches a scene or view off, "accept:X" makes it accept, "consume:f1"
    // makes a filter consume, "twice:X"/"remove:X"/"watch:X" call addView/removeView/watchOne on S1,
    // "base:X" gives X a plain RZPresenter and "pass:X" one that records "p:X" and lets through.
    void walk_data()
    {
        QTest::addColumn<QString>("entry");
        QTest::addColumn<QString>("setup");
        QTest::addColumn<QString>("visits");
        auto row = [](const char* name, const char* entry, const char* setup, const char* visits) {
            QTest::newRow(name) << QString(entry) << QString(setup) << QString(visits);
        };
        row("manager: scenes in order, views depth first", "manager", "", "f1 S1 A A1 A1a A2 B B1 f2 S2 C");
        row("consuming filter: next scene still", "manager", "consume:f1", "f1 f2 S2 C");
        row("inactive scene skipped", "manager", "off:S1", "f2 S2 C");
        row("inactive scene, direct: views refuse", "scene:S1", "off:S1", "f1 S1");
        row("inactive view hides its subtree", "manager", "off:A", "f1 S1 B B1 f2 S2 C");
        row("base presenter: children hidden, sibling not", "manager", "base:A", "f1 S1 A B B1 f2 S2 C");
        row("inherited presenter isn't asked", "manager", "pass:A", "f1 S1 A p:A A1 A1a A2 B B1 f2 S2 C");
        row("accept deep ends everything", "manager", "accept:A1a", "f1 S1 A A1 A1a");
        row("accept in the scene", "manager", "accept:S1", "f1 S1");
        row("view added twice hears twice", "manager", "twice:B", "f1 S1 A A1 A1a A2 B B1 B B1 f2 S2 C");
        row("removeView takes one entry out", "scene:S1", "twice:B remove:B", "f1 S1 A A1 A1a A2 B B1");
        row("watchOne: the others off, the view on", "manager", "off:A watch:A", "f1 S1 A A1 A1a A2 f2 S2 C");
        row("watchOne: a view of another scene", "manager", "watch:C", "f1 S1 A A1 A1a A2 B B1 f2 S2 C");
        row("toScene: own scene only", "toScene:A1a", "", "f1 S1 A A1 A1a A2 B B1");
        row("toScene: parent's flag doesn't count", "toScene:A1a", "off:A1", "f1 S1 A A2 B B1");
        row("toScene: inactive sender", "toScene:A1a", "off:A1a", "");
        row("toScene: inactive scene", "toScene:A1a", "off:S1", "");
        row("view: its subtree only", "view:A", "", "A A1 A1a A2");
        row("view: inactive scene", "view:A", "off:S1", "");
    }
    void walk()
    {
        QFETCH(QString, entry);
        QFETCH(QString, setup);
        QFETCH(QString, visits);
        for (const QString& step : setup.split(' ', Qt::SkipEmptyParts)) {
            const QString what = step.section(':', 0, 0), who = step.section(':', 1);
            RecScene* scene = scenes.count(who) ? scenes[who].get() : nullptr;
            if (what == "consume")
                filters[who == "f1" ? "S1" : "S2"]->consume = true;
            else if (what == "off")
                scene ? scene->setActive(false) : view(who)->setActive(false);
            else if (what == "accept")
                (scene ? scene->accept : view(who)->accept) = true;
            else if (what == "twice")
                scenes["S1"]->addView(view(who));
            else if (what == "remove")
                scenes["S1"]->removeView(view(who));
            else if (what == "watch")
                scenes["S1"]->watchOne(view(who));
            else {
                presenters.push_back(what == "base" ? std::make_unique<RZPresenter>()
                                                    : std::make_unique<RecPresenter>(who));
                view(who)->setPresenter(presenters.back().get());
            }
        }
        g_visits.clear();
        const QString target = entry.section(':', 1);
        RZMessage message(5);
        if (entry == "manager")
            RZUISceneManager::instance()->sendMessage(&message);
        else if (entry.startsWith("scene"))
            scenes[target]->sendMessage(&message);
        else if (entry.startsWith("toScene"))
            view(target)->sendMessageToScene(5);
        else
            view(target)->sendMessage(5);
        QCOMPARE(g_visits, visits.split(' ', Qt::SkipEmptyParts));
    }

    void managerFiltersReachScenesOnlyOnAddAndRemove()
    {
        RecFilter early("early"), late("late");
        RecScene scene("S3");
        RZUISceneManager* manager = RZUISceneManager::instance();
        manager->installEventFilter(&early);
        manager->addScene(&scene);
        manager->addScene(&scene); // no second copy of the filters
        manager->installEventFilter(&late);
        RZMessage message(1);
        scene.sendMessage(&message);
        manager->removeScene(&scene);
        scene.sendMessage(&message);
        manager->removeEventFilter(&early);
        manager->removeEventFilter(&late);
        QCOMPARE(g_visits, QStringList({"early", "S3", "S3"}));
    }

    void activeAndUndoRedoLookups()
    {
        view("A")->setActive(false);
        view("A")->setActive(false);    // no change, no call
        scenes["S2"]->setActive(false); // a plain flag: C isn't told
        QCOMPARE(g_visits, QStringList({"off:A"}));
        QVERIFY(view("A1")->isActive()); // a parent's flag doesn't count
        QVERIFY(!view("C")->isActive());

        IRZUndoRedoService first, second;
        QCOMPARE(view("A1a")->undoRedoService(), nullptr); // nothing found, nothing kept
        scenes["S1"]->setUndoRedoService(&first);
        QCOMPARE(view("A1a")->undoRedoService(), &first);
        scenes["S1"]->setUndoRedoService(&second);
        QCOMPARE(view("A1a")->undoRedoService(), &first);
        QCOMPARE(view("A")->undoRedoService(), &first); // kept on the way up too
        QCOMPARE(view("B1")->undoRedoService(), &second);
    }

    void treeLinks()
    {
        QCOMPARE(view("A")->topLevelView(), nullptr);
        QCOMPARE(view("A1a")->topLevelView(), view("A"));

        RecView parent("P"), child("P1", &parent);
        scenes["S2"]->addView(&parent);
        QCOMPARE(child.scene(), scenes["S2"].get()); // by walking up: its own field stayed null
        scenes["S2"]->removeView(&parent);
        QCOMPARE(child.scene(), nullptr);

        view("B1")->setParentView(view("A"));
        view("A")->setParentView(view("A1a")); // a cycle is refused
        QCOMPARE(view("B")->childViewCount(), 0);
        QCOMPARE(view("A")->childViews(2), view("B1"));
        QCOMPARE(view("A")->parentView(), nullptr);

        views.erase("A1"); // before its child: the child lives on, detached, with its scene
        QCOMPARE(view("A1a")->parentView(), nullptr);
        QCOMPARE(view("A1a")->scene(), scenes["S1"].get());
        QCOMPARE(view("A")->childViewCount(), 2);
    }

    void releaseAndReset()
    {
        view("A")->resetUI();
        RecScene scene("S3");
        RecView* x = new RecView("X");
        new RecView("X1", x);
        scene.addView(x);
        scene.addView(new RecView("Y"));
        scene.addView(x);
        x->releaseChildView();
        scene.releaseAllView(); // x is in twice and deleted once
        QCOMPARE(scene.viewCount(), 0);
        QCOMPARE(g_visits, QStringList({"r:A", "r:A1", "r:A1a", "r:A2", "~X1", "~X", "~Y"}));
    }
};

QTEST_GUILESS_MAIN(tst_Scene)
#include "tst_scene.moc"
