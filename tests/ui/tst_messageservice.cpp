#include <RZCore/ui/RZMessage.h>
#include <RZCore/ui/RZMessageService.h>

#include <QTime>
#include <QtTest>

#include <algorithm>
#include <functional>
#include <map>

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
void recordReplaced(void* owner, const QString&)
{
    g_lines.emplace_back(owner, "replaced");
}

} // namespace

Q_DECLARE_METATYPE(QtMsgType)

class tst_MessageService : public QObject
{
    Q_OBJECT

private slots:
    // Steps: "+a" subscribes a to everything, "+b:1,2" to types, "-a" removes. Observer x accepts.
    // What one message reached is compared sorted: the order inside a set is the hash order.
    void routing_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("heard");
        QTest::newRow("global hears every type") << "+a" << 3 << "a3";
        QTest::newRow("typed, other type") << "+b:1,2" << 3 << "";
        QTest::newRow("typed, own type") << "+b:1,2" << 2 << "b2";
        QTest::newRow("removed") << "+b:1,2 -b" << 1 << "";
        QTest::newRow("later call adds types") << "+b:1 +b:2" << 1 << "b1";
        QTest::newRow("global and typed hears twice") << "+a +a:2" << 2 << "a2 a2";
        QTest::newRow("removal ends both") << "+a +a:2 +b:2 -a" << 2 << "b2";
        QTest::newRow("unknown removal") << "+b:1 -c" << 1 << "b1";
        QTest::newRow("accepting doesn't stop") << "+x +b:1 +c:1" << 1 << "b1 c1 x1";
    }
    void routing()
    {
        QFETCH(QString, steps);
        QFETCH(int, type);
        QFETCH(QString, heard);
        IRZMessageService* service = IRZMessageService::createMessageService();
        std::map<QString, Observer> observers;
        for (const char* name : {"a", "b", "c", "x"})
            observers.emplace(name, name);
        observers.at("x").reaction = [](RZMessage* message) { message->accept(); };
        for (const QString& step : steps.split(' ')) {
            Observer* observer = &observers.at(step.mid(1, 1));
            QSet<int> types;
            for (const QString& t : step.mid(3).split(',', Qt::SkipEmptyParts))
                types.insert(t.toInt());
            step.startsWith('+') ? service->addObserver(observer, types) : service->removeObserver(observer);
        }
        g_heard.clear();
        RZMessage message(type);
        service->sendMessage(&message);
        std::sort(g_heard.begin(), g_heard.end());
        QCOMPARE(g_heard.join(' '), heard);
        IRZMessageService::releaseMessageService(service);
    }

    void globalFirstAndChangesCountFromTheNextMessage()
    {
        IRZMessageService* service = IRZMessageService::createMessageService();
        Observer global("g"), typed("t"), late("l");
        global.reaction = [&](RZMessage*) {
            service->removeObserver(&typed);
            service->addObserver(&late, {1});
        };
        service->addObserver(&typed, {1});
        service->addObserver(&global, {});
        g_heard.clear();
        RZMessage message(1);
        service->sendMessage(&message);
        service->sendMessage(&message);
        QCOMPARE(g_heard, QStringList({"g1", "t1", "g1", "l1"}));
        IRZMessageService::releaseMessageService(service);
    }

    void handlerLines_data()
    {
        QTest::addColumn<QtMsgType>("type");
        QTest::addColumn<QString>("prefix");
        QTest::newRow("debug") << QtDebugMsg << "Debug:";
        QTest::newRow("info: no prefix") << QtInfoMsg << "";
        QTest::newRow("warning") << QtWarningMsg << "Warning:";
        QTest::newRow("critical") << QtCriticalMsg << "Critical:";
        QTest::newRow("fatal") << QtFatalMsg << "Fatal:";
    }
    void handlerLines()
    {
        QFETCH(QtMsgType, type);
        QFETCH(QString, prefix);
        char owners[3];
        for (int i : {2, 1, 0})
            RZMessageHandler::addCallback(&owners[i], i ? &recordLine : &recordReplaced);
        RZMessageHandler::addCallback(&owners[0], &recordLine); // replaces
        RZMessageHandler::removeCallback(&owners[2]);
        const QtMessageHandler testHandler = qInstallMessageHandler(nullptr);
        RZMessageHandler::install();
        const QString before = QTime::currentTime().toString("hh:mm:ss");
        g_lines.clear();
        if (type == QtFatalMsg) // Qt's own path would abort after the handler: call it as Qt does
            qInstallMessageHandler(nullptr)(type, QMessageLogContext(), "x %1");
        else
            qt_message_output(type, QMessageLogContext(), "x %1");
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
