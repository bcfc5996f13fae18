#include "UiRecorders.h"

#include <QtTest>

#include <list>

namespace {

// Answers are three letters, t or f, for isVisible, isEnable and canExec; each question is
// recorded as "<name>.<v|e|c>". With `leaveFrom` set, it removes itself when asked isEnable.
struct Callback : IRZActionPresenterCallback
{
    Callback(QString id, QString answers) : name(std::move(id)), answer(std::move(answers)) {}
    bool ask(int index)
    {
        visit(name + '.' + "vec"[index]);
        if (leaveFrom && index == 1)
            leaveFrom->removeCallback(this);
        return answer.at(index) == 't';
    }
    bool isVisible() override { return ask(0); }
    bool isEnable() override { return ask(1); }
    bool canExec() override { return ask(2); }
    QString name, answer;
    RZActionPresenter* leaveFrom = nullptr;
};

struct Action : RZActionPresenter
{
    bool exec() override { return visit("exec", result); }
    bool result = true;
};

} // namespace

class tst_Presenter : public QObject
{
    Q_OBJECT

private slots:
    void init() { g_visits.clear(); }

    // Callback "a" leaves while asked when `leaves` is set. sigExec is recorded as "sig:<result>",
    // and exec() returns false where "sig:0" is expected.
    void callbacksVeto_data()
    {
        QTest::addColumn<QString>("answers");
        QTest::addColumn<bool>("leaves");
        QTest::addColumn<QString>("visits");
        auto row = [](const char* name, const char* answers, bool leaves, const char* visits) {
            QTest::newRow(name) << QString(answers) << leaves << QString(visits);
        };
        row("no callbacks", "", false, "exec sig:1");
        row("all agree", "ttt ttt", false, "a.v b.v a.e b.e a.c b.c exec sig:0");
        row("first false ends questions", "fff ttt", false, "a.v a.e a.c");
        row("last one vetoes exec", "ttt ttf", false, "a.v b.v a.e b.e a.c b.c");
        row("leaving: next still asked", "ttt ttt", true, "a.v b.v a.e b.e b.c exec sig:1");
    }
    void callbacksVeto()
    {
        QFETCH(QString, answers);
        QFETCH(bool, leaves);
        QFETCH(QString, visits);
        Action action;
        action.result = !visits.endsWith("sig:0");
        connect(&action, &RZActionPresenter::sigExec,
                [](bool result) { visit(QString("sig:%1").arg(result)); });
        std::list<Callback> callbacks;
        for (const QString& answer : answers.split(' ', Qt::SkipEmptyParts)) {
            callbacks.emplace_back(QString(QChar('a' + int(callbacks.size()))), answer);
            action.addCallback(&callbacks.back());
            action.addCallback(&callbacks.back()); // once only
        }
        if (leaves)
            callbacks.front().leaveFrom = &action;
        QCOMPARE(action.isVisible(), !answers.startsWith('f'));
        QCOMPARE(action.isEnable(), answers.isEmpty() || answers.at(1) == 't');
        action.slotExec();
        QCOMPARE(g_visits, visits.split(' '));
    }

    void lifetimes()
    {
        RecView root("R"), first("1"), second("2");
        auto child = std::make_unique<RecView>("C", &root);
        RZPresenter rootPresenter, other;
        auto presenter = std::make_unique<RZPresenter>();
        presenter->reset(); // no view: nothing
        root.setPresenter(&rootPresenter);
        child->setPresenter(presenter.get());
        presenter->reset();
        presenter.reset(); // the presenter dies before its view
        QCOMPARE(child->presenter(), &rootPresenter);
        child->setPresenter(&other);
        child.reset(); // the view dies before its presenter
        QCOMPARE(other.view(), nullptr);
        first.setPresenter(&other);
        second.setPresenter(&other); // moves: the first view lets go
        QCOMPARE(first.presenter(), nullptr);
        second.setPresenter(nullptr);
        root.setPresenter(nullptr);
        QCOMPARE(g_visits, QString("pc:R pc:C r:C pc:C pc:C ~C pc:1 pc:1 pc:2 pc:2 pc:R").split(' '));
    }
};

QTEST_GUILESS_MAIN(tst_Presenter)
#include "tst_presenter.moc"
