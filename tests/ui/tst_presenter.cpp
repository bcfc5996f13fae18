#include "UiRecorders.h"

#include <QSignalSpy>
#include <QtTest>

#include <memory>

namespace {

// Answers are three letters, t or f, for isVisible, isEnable and canExec; each question is
// recorded as "<name>.<v|e|c>".
struct Callback : IRZActionPresenterCallback
{
    Callback(QString id, QString answers) : name(std::move(id)), answer(std::move(answers)) {}
    bool ask(int index)
    {
        visit(name + '.' + "vec"[index]);
        if (onAsk)
            onAsk(index);
        return answer.at(index) == 't';
    }
    bool isVisible() override { return ask(0); }
    bool isEnable() override { return ask(1); }
    bool canExec() override { return ask(2); }
    QString name, answer;
    std::function<void(int)> onAsk;
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

    // Callback "a" removes itself while asked isEnable when `leaves` is set. `signalled` is what
    // sigExec carried, and exec() returns false when that is "false".
    void callbacksVeto_data()
    {
        QTest::addColumn<QStringList>("answers");
        QTest::addColumn<bool>("leaves");
        QTest::addColumn<QString>("visits");
        QTest::addColumn<QString>("signalled");
        auto row = [](const char* name, const char* answers, bool leaves, const char* visits,
                      const char* signalled) {
            QTest::newRow(name) << QString(answers).split(' ', Qt::SkipEmptyParts) << leaves
                                << QString(visits) << QString(signalled);
        };
        row("no callbacks", "", false, "exec", "true");
        row("all agree", "ttt ttt", false, "a.v b.v a.e b.e a.c b.c exec", "false");
        row("first false ends questions", "fff ttt", false, "a.v a.e a.c", "");
        row("last one vetoes exec", "ttt ttf", false, "a.v b.v a.e b.e a.c b.c", "");
        row("leaving: next still asked", "ttt ttt", true, "a.v b.v a.e b.e b.c exec", "true");
        row("leaving: its no counts", "tff ttt", true, "a.v b.v a.e b.c exec", "true");
    }
    void callbacksVeto()
    {
        QFETCH(QStringList, answers);
        QFETCH(bool, leaves);
        QFETCH(QString, visits);
        QFETCH(QString, signalled);
        Action action;
        action.result = signalled != "false";
        std::vector<std::unique_ptr<Callback>> callbacks;
        for (const QString& answer : qAsConst(answers)) {
            callbacks.push_back(
                std::make_unique<Callback>(QString(QChar('a' + int(callbacks.size()))), answer));
            action.addCallback(callbacks.back().get());
            action.addCallback(callbacks.back().get()); // once only
        }
        if (leaves)
            callbacks[0]->onAsk = [&](int question) {
                if (question == 1)
                    action.removeCallback(callbacks[0].get());
            };
        QSignalSpy executed(&action, &RZActionPresenter::sigExec);
        QCOMPARE(action.isVisible(), answers.isEmpty() || answers.first().at(0) == 't');
        QCOMPARE(action.isEnable(), answers.isEmpty() || answers.first().at(1) == 't');
        action.slotExec();
        QCOMPARE(g_visits, visits.split(' '));
        QCOMPARE(executed.isEmpty() ? QString() : executed.at(0).at(0).toString(), signalled);
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
        second.setPresenter(nullptr), root.setPresenter(nullptr);
        QCOMPARE(g_visits, QString("pc:R pc:C r:C pc:C pc:C ~C pc:1 pc:1 pc:2 pc:2 pc:R").split(' '));
    }
};

QTEST_GUILESS_MAIN(tst_Presenter)
#include "tst_presenter.moc"
