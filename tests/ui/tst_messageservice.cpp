#include <RZCore/ui/RZMessage.h>
#include <RZCore/ui/RZMessageService.h>

#include <QTime>
#include <QtTest>

#include <algorithm>
#include <functional>

namespace {

QStringList g_heard;

struct Observer : IRZMessageEventObserver
{
    explicit Observer(QString id) : name(std::move(id)) {}
    void onMessage(RZMessage* message) override
    {
        g_heard << name + QString::number(message->msgType());
        if (reaction)
            reaction(message);
    }
    QString name;
    std::function<void(RZMessage*)> reaction;
};

std::vector<std::pair<void*, QString>> g_lines;
void recordLine(void* owner, const QString& line)
{
    g_lines.emplace_back(owner, line);
}

} // namespace

class tst_MessageService : public QObject
{
    Q_OBJECT

private slots:
    // What each message reached is compared sorted at first: the order inside a set is the hash order.
    void routing()
    {
        IRZMessageService* service = IRZMessageService::createMessageService();
        Observer global("g"), typed("t"), both("b"), gone("x"), late("l");
        both.reaction = [](RZMessage* message) { message->accept(); }; // stops nothing
        service->addObserver(&global, {});
        service->addObserver(&typed, {1});
        service->addObserver(&typed, {2}); // adds to the earlier types
        service->addObserver(&both, {});
        service->addObserver(&both, {2});
        service->addObserver(&gone, {});
        service->addObserver(&gone, {1, 2, 3});
        service->removeObserver(&gone); // from both indexes
        service->removeObserver(&late); // never added
        QStringList heard;
        for (int type : {1, 2, 3}) {
            g_heard.clear();
            RZMessage message(type);
            service->sendMessage(&message);
            std::sort(g_heard.begin(), g_heard.end());
            heard << g_heard.join(' ');
        }
        QCOMPARE(heard, QStringList({"b1 g1 t1", "b2 b2 g2 t2", "b3 g3"}));

        // Global observers first; changes made from onMessage count from the next message.
        service->removeObserver(&both);
        global.reaction = [&](RZMessage*) {
            service->removeObserver(&typed);
            service->addObserver(&late, {1});
        };
        g_heard.clear();
        RZMessage message(1);
        service->sendMessage(&message);
        service->sendMessage(&message);
        QCOMPARE(g_heard, QStringList({"g1", "t1", "g1", "l1"}));
        IRZMessageService::releaseMessageService(service);
    }

    void handlerLines_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("prefix");
        QTest::newRow("debug") << int(QtDebugMsg) << "Debug:";
        QTest::newRow("info: no prefix") << int(QtInfoMsg) << "";
        QTest::newRow("warning") << int(QtWarningMsg) << "Warning:";
        QTest::newRow("critical") << int(QtCriticalMsg) << "Critical:";
        QTest::newRow("fatal") << int(QtFatalMsg) << "Fatal:";
    }
    // Owners are called in ascending address order, whatever the order they were added in.
    void handlerLines()
    {
        QFETCH(int, type);
        QFETCH(QString, prefix);
        char owners[3];
        RZMessageHandler::addCallback(&owners[2], &recordLine);
        RZMessageHandler::addCallback(&owners[1], &recordLine);
        RZMessageHandler::addCallback(&owners[0], [](void*, const QString&) {});
        RZMessageHandler::addCallback(&owners[0], &recordLine); // replaces
        RZMessageHandler::removeCallback(&owners[2]);
        const QtMessageHandler testHandler = qInstallMessageHandler(nullptr);
        RZMessageHandler::install();
        const QString before = QTime::currentTime().toString("hh:mm:ss");
        g_lines.clear();
        if (type == QtFatalMsg) // Qt's own path would abort after the handler: call it as Qt does
            qInstallMessageHandler(nullptr)(QtFatalMsg, QMessageLogContext(), "x %1");
        else
            qt_message_output(QtMsgType(type), QMessageLogContext(), "x %1");
        const QString after = QTime::currentTime().toString("hh:mm:ss");
        qInstallMessageHandler(testHandler);
        RZMessageHandler::removeCallback(&owners[0]);
        RZMessageHandler::removeCallback(&owners[1]);
        const QString line = g_lines.empty() ? QString() : g_lines[0].second;
        QVERIFY2(line == prefix + before + ": x %1" || line == prefix + after + ": x %1", qPrintable(line));
        QCOMPARE(g_lines, (decltype(g_lines){{&owners[0], line}, {&owners[1], line}}));
    }
};

QTEST_GUILESS_MAIN(tst_MessageService)
#include "tst_messageservice.moc"
