#include <RZCore/ui/RZObjSeeker.h>

#include <QTimer>
#include <QtTest>

#include <functional>

using Query = std::function<void(RZObjSeeker&)>;
Q_DECLARE_METATYPE(Query)

// root { a: QTimer { a1 [tag=1], a2 { a2x: QTimer } }, b [tag=2] }
class tst_ObjSeeker : public QObject
{
    Q_OBJECT

    QObject root;

    QObject* find(const QString& name) { return name == "root" ? &root : root.findChild<QObject*>(name); }

private slots:
    void initTestCase()
    {
        root.setObjectName("root");
        for (const QString entry : {"root/a/QTimer", "a/a1", "a/a2", "a2/a2x/QTimer", "root/b"}) {
            QObject* parent = find(entry.section('/', 0, 0));
            QObject* object = entry.endsWith("QTimer") ? new QTimer(parent) : new QObject(parent);
            object->setObjectName(entry.section('/', 1, 1));
        }
        find("a1")->setProperty("tag", 1);
        find("b")->setProperty("tag", 2);
    }

    void queries_data()
    {
        QTest::addColumn<QString>("start");
        QTest::addColumn<Query>("query");
        QTest::addColumn<QString>("expected");
        auto row = [](const char* name, const char* start, const char* expected, Query query) {
            QTest::newRow(name) << QString(start) << query << QString(expected);
        };
        row("children", "root", "a b", [](RZObjSeeker& s) { s.children(); });
        row("parent of the root", "root", "", [](RZObjSeeker& s) { s.parent(); });
        row("ancestors with self", "a2x", "a2x a2 a root", [](RZObjSeeker& s) { s.ancestor(true); });
        row("descendants, findChildren order", "root", "a a1 a2 a2x b",
            [](RZObjSeeker& s) { s.descendants(false); });
        row("root of a root", "root", "root", [](RZObjSeeker& s) { s.root(); });
        row("root", "a2x", "root", [](RZObjSeeker& s) { s.root(); });
        row("leafs", "root", "a1 a2x b", [](RZObjSeeker& s) { s.leafs(); });
        row("leaf of a leaf", "a1", "a1", [](RZObjSeeker& s) { s.leafs(); });
        row("inheritFrom", "root", "a a2x",
            [](RZObjSeeker& s) { s.descendants(true).inheritFrom("QTimer"); });
        row("objectName", "root", "a2", [](RZObjSeeker& s) { s.descendants(false).objectName("a2"); });
        row("hasProperty", "root", "a1 b", [](RZObjSeeker& s) { s.descendants(false).hasProperty("tag"); });
        row("property", "root", "b", [](RZObjSeeker& s) { s.descendants(false).property("tag", 2); });
        row("grandchildren once", "root", "a1 a2 a2x",
            [](RZObjSeeker& s) { s.descendants(false).children().unique(); });
        row("parents once", "root", "root a a2",
            [](RZObjSeeker& s) { s.descendants(false).parent().unique(); });
        row("no start", "", "", [](RZObjSeeker& s) { s.children().parent(); });
    }

    void queries()
    {
        QFETCH(QString, start);
        QFETCH(Query, query);
        QFETCH(QString, expected);
        RZObjSeeker seeker = start.isEmpty() ? RZObjSeeker() : RZObjSeeker(find(start));
        query(seeker);
        const auto run = [&seeker] {
            QStringList names;
            for (QObject* object : seeker.results())
                names << (object ? object->objectName() : "null");
            return names.join(' ');
        };
        QCOMPARE(run(), expected);
        QCOMPARE(run(), expected); // each run walks afresh
        // The walk ends at the first hit: one element at most reaches a stage added now.
        int visits = 0;
        QObject* first = seeker.matchPredicate([&visits](QObject* const&) { return ++visits; }).firstResult();
        QCOMPARE(first ? first->objectName() : QString(), expected.section(' ', 0, 0));
        QCOMPARE(visits, expected.isEmpty() ? 0 : 1);
    }
};

QTEST_GUILESS_MAIN(tst_ObjSeeker)
#include "tst_objseeker.moc"
