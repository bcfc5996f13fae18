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
    std::map<QString, RecView*> views; // deleted in cleanup, parents after children
    std::vector<std::unique_ptr<RZPresenter>> presenters;

    void deleteTree(RZUIView* view)
    {
        while (view->childViewCount())
            deleteTree(view->childViews(0));
        delete view;
    }

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
            views[name] = new RecView(name, views.count(parent) ? views[parent] : nullptr);
            if (scenes.count(parent))
                scenes[parent]->addView(views[name]);
        }
        g_visits.clear();
    }
    void cleanup()
    {
        for (auto& scene : scenes)
            RZUISceneManager::instance()->removeScene(scene.second.get());
        presenters.clear();
        std::vector<RZUIView*> roots;
        for (auto& view : views)
            if (!view.second->parentView())
                roots.push_back(view.second);
        for (RZUIView* root : roots)
            deleteTree(root);
        views.clear(), scenes.clear(), filters.clear();
    }

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
        row("presenter false: children hidden, sibling not", "manager", "block:A",
            "f1 S1 A p:A B B1 f2 S2 C");
        row("base presenter hides children", "manager", "base:A", "f1 S1 A B B1 f2 S2 C");
        row("inherited presenter isn't asked", "manager", "pass:A", "f1 S1 A p:A A1 A1a A2 B B1 f2 S2 C");
        row("accept deep ends everything", "manager", "accept:A1a", "f1 S1 A A1 A1a");
        row("accept in the scene", "manager", "accept:S1", "f1 S1");
        row("view added twice hears twice", "manager", "twice:B", "f1 S1 A A1 A1a A2 B B1 B B1 f2 S2 C");
        row("removeView takes one entry out", "scene:S1", "twice:B remove:B", "f1 S1 A A1 A1a A2 B B1");
        row("toScene: own scene only", "toScene:A1a", "", "f1 S1 A A1 A1a A2 B B1");
        row("toScene: parent's flag doesn't count", "toScene:A1a", "off:A1", "f1 S1 A A2 B B1");
        row("toScene: inactive sender", "toScene:A1a", "off:A1a", "");
        row("toScene: inactive scene", "toScene:A1a", "off:S1", "");
        row("presenter toScene", "presenter:A", "pass:A", "f1 S1 A p:A A1 A1a A2 B B1");
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
            RZUIScene* scene = scenes.count(who) ? scenes[who].get() : nullptr;
            if (what == "consume")
                filters[who == "f1" ? "S1" : "S2"]->consume = true;
            else if (what == "off")
                scene ? scene->setActive(false) : views[who]->setActive(false);
            else if (what == "accept")
                (scene ? scenes[who]->accept : views[who]->accept) = true;
            else if (what == "twice" || what == "remove")
                what == "twice" ? scenes["S1"]->addView(views[who]) : scenes["S1"]->removeView(views[who]);
            else {
                presenters.push_back(what == "base" ? std::make_unique<RZPresenter>()
                                                    : std::make_unique<RecPresenter>(who, what == "pass"));
                views[who]->setPresenter(presenters.back().get());
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
            views[target]->sendMessageToScene(5);
        else if (entry.startsWith("presenter"))
            views[target]->presenter()->sendMessageToScene(5);
        else
            views[target]->sendMessage(5);
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

    void watchOne_data()
    {
        QTest::addColumn<QString>("target");
        QTest::addColumn<QStringList>("visits");
        QTest::newRow("view of the scene") << "A" << QStringList{"off:A", "off:B", "on:A"};
        QTest::newRow("view of another scene") << "C" << QStringList();
        QTest::newRow("child, not in the list") << "A1" << QStringList();
    }
    void watchOne()
    {
        QFETCH(QString, target);
        QFETCH(QStringList, visits);
        scenes["S1"]->watchOne(views[target]);
        QCOMPARE(g_visits, visits);
    }

    void activeAndUndoRedoLookups()
    {
        views["A"]->setActive(false);
        QVERIFY(!views["A"]->isActive() && views["A1"]->isActive()); // a parent's flag doesn't count
        scenes["S2"]->setActive(false);
        QVERIFY(!views["C"]->isActive() && views["B"]->isActive());

        UndoRedoService first, second;
        QCOMPARE(views["A1a"]->undoRedoService(), nullptr); // nothing found, nothing kept
        scenes["S1"]->setUndoRedoService(&first);
        QCOMPARE(views["A1a"]->undoRedoService(), &first);
        scenes["S1"]->setUndoRedoService(&second);
        QCOMPARE(views["A1a"]->undoRedoService(), &first);
        QCOMPARE(views["A"]->undoRedoService(), &first); // kept on the way up too
        QCOMPARE(views["B1"]->undoRedoService(), &second);
    }

    void treeLinks()
    {
        QCOMPARE(views["A"]->topLevelView(), nullptr);
        QCOMPARE(views["A1a"]->topLevelView(), views["A"]);
        views["A1"]->setType(3), views["A1a"]->setType(9);
        QCOMPARE(views["A"]->findChildView(3), views["A1"]);
        QCOMPARE(views["A"]->findChildView(9), nullptr); // no grandchildren

        RecView parent("P"), child("P1", &parent);
        scenes["S2"]->addView(&parent);
        QCOMPARE(child.scene(), scenes["S2"].get()); // by walking up: its own field stayed null
        scenes["S2"]->removeView(&parent);
        QCOMPARE(child.scene(), nullptr);

        views["B1"]->setParentView(views["A"]);
        views["A"]->setParentView(views["A1a"]); // a cycle is refused
        QCOMPARE(views["B"]->childViewCount(), 0);
        QCOMPARE(views["A"]->childViews(2), views["B1"]);
        QCOMPARE(views["A"]->parentView(), nullptr);

        delete views["A1"]; // before its child: the child lives on, detached, with its scene
        views.erase("A1");
        QCOMPARE(views["A1a"]->parentView(), nullptr);
        QCOMPARE(views["A1a"]->scene(), scenes["S1"].get());
        QCOMPARE(views["A"]->childViewCount(), 2);
    }

    void releaseAndReset()
    {
        views["A1"]->onReset = [this] { views["A2"]->setParentView(nullptr); };
        views["A"]->resetUI(); // the walk follows the live child list
        RecScene scene("S3");
        RecView* x = new RecView("X");
        new RecView("X1", x);
        scene.addView(x), scene.addView(new RecView("Y")), scene.addView(x);
        x->releaseChildView();
        scene.releaseAllView(); // x is in twice and deleted once
        QCOMPARE(scene.viewCount(), 0);
        QCOMPARE(g_visits, QStringList({"r:A", "r:A1", "r:A1a", "~X1", "~X", "~Y"}));
    }
};

QTEST_GUILESS_MAIN(tst_Scene)
#include "tst_scene.moc"
