#include <RZCore/ui/RZMessage.h>
#include <RZCore/ui/RZMessageService.h>

#include <QTime>
#include <QtTest>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>

namespace {

QStringList g_heard;

struct Observer : IRZMessageEventObserver
{
    explicit Observer(QString id) : name(std::move(id)) {}
    void onMessage(RZMessage* message) override
    {
        g_heard << name + ':' + QString::number(message->msgType());
        if (reaction)
            reaction(message);
    }
    QString name;
    std::function<void(RZMessage*)> reaction;
};

// Observers of one set are called in hash order: compare what one message reached, sorted.
QStringList heardSorted()
{
    QStringList heard = g_heard;
    std::sort(heard.begin(), heard.end());
    g_heard.clear();
    return heard;
}

std::vector<std::pair<void*, QString>> g_lines;
void recordLine(void* owner, const QString& line)
{
    g_lines.emplace_back(owner, line);
}
void recordReplaced(void* owner, const QString& line)
{
    g_lines.emplace_back(owner, "replaced " + line);
}

} // namespace

Q_DECLARE_METATYPE(QtMsgType)

class tst_MessageService : public QObject
{
    Q_OBJECT

private slots:
    // Each subscription is "name" (everything) or "name:1,2"; removals come after all of them.
    void routing_data()
    {
        QTest::addColumn<QStringList>("subscriptions");
        QTest::addColumn<QStringList>("removals");
        QTest::addColumn<int>("type");
        QTest::addColumn<QStringList>("heard");
        QTest::newRow("global hears every type") << QStringList{"a"} << QStringList() << 3 << QStringList{"a:3"};
        QTest::newRow("typed, other type") << QStringList{"b:1,2"} << QStringList() << 3 << QStringList();
        QTest::newRow("typed, own type") << QStringList{"b:1,2"} << QStringList() << 2 << QStringList{"b:2"};
        QTest::newRow("removed typed") << QStringList{"b:1,2"} << QStringList{"b"} << 1 << QStringList();
        QTest::newRow("later call adds") << QStringList{"b:1", "b:2"} << QStringList() << 1 << QStringList{"b:1"};
        QTest::newRow("global and typed twice") << QStringList{"a", "a:2"} << QStringList() << 2
                                                << QStringList{"a:2", "a:2"};
        QTest::newRow("removal ends both") << QStringList{"a", "a:2", "b:2"} << QStringList{"a"} << 2
                                           << QStringList{"b:2"};
        QTest::newRow("unknown removal") << QStringList{"b:1"} << QStringList{"c"} << 1 << QStringList{"b:1"};
        QTest::newRow("accepting doesn't stop") << QStringList{"accept", "b:1", "c:1"} << QStringList() << 1
                                                << QStringList{"accept:1", "b:1", "c:1"};
    }
    void routing()
    {
        QFETCH(QStringList, subscriptions);
        QFETCH(QStringList, removals);
        QFETCH(int, type);
        QFETCH(QStringList, heard);
        std::unique_ptr<IRZMessageService, void (*)(IRZMessageService*)> service(
            IRZMessageService::createMessageService(), &IRZMessageService::releaseMessageService);
        std::map<QString, std::unique_ptr<Observer>> observers;
        for (const char* name : {"a", "b", "c", "accept"})
            observers[name] = std::make_unique<Observer>(name);
        observers["accept"]->reaction = [](RZMessage* message) { message->accept(); };
        for (const QString& subscription : qAsConst(subscriptions)) {
            QSet<int> types;
            for (const QString& t : subscription.section(':', 1).split(',', Qt::SkipEmptyParts))
                types.insert(t.toInt());
            service->addObserver(observers[subscription.section(':', 0, 0)].get(), types);
        }
        for (const QString& name : qAsConst(removals))
            service->removeObserver(observers[name].get());
        g_heard.clear();
        RZMessage message(type);
        service->sendMessage(&message);
        QCOMPARE(heardSorted(), heard);
    }

    void globalBeforeTypedAndChangesCountFromNextMessage()
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
        QCOMPARE(g_heard, QStringList({"g:1", "t:1", "g:1", "l:1"}));
        IRZMessageService::releaseMessageService(service);
        IRZMessageService::releaseMessageService(nullptr);
    }

    void handlerLines_data()
    {
        QTest::addColumn<QtMsgType>("type");
        QTest::addColumn<QString>("prefix");
        QTest::newRow("debug") << QtDebugMsg << "Debug:";
        QTest::newRow("info has no prefix") << QtInfoMsg << "";
        QTest::newRow("warning") << QtWarningMsg << "Warning:";
        QTest::newRow("critical") << QtCriticalMsg << "Critical:";
        QTest::newRow("fatal") << QtFatalMsg << "Fatal:";
    }
    void handlerLines()
    {
        QFETCH(QtMsgType, type);
        QFETCH(QString, prefix);
        char owners[2];
        RZMessageHandler::addCallback(&owners[1], &recordLine);
        RZMessageHandler::addCallback(&owners[0], &recordReplaced);
        RZMessageHandler::addCallback(&owners[0], &recordLine);
        g_lines.clear();

        const QtMessageHandler testHandler = qInstallMessageHandler(nullptr);
        RZMessageHandler::install();
        const QString before = QTime::currentTime().toString("hh:mm:ss");
        switch (type) {
        case QtDebugMsg: qDebug("x %s", "%1"); break;
        case QtInfoMsg: qInfo("x %s", "%1"); break;
        case QtWarningMsg: qWarning("x %s", "%1"); break;
        case QtCriticalMsg: qCritical("x %s", "%1"); break;
        default: // qFatal would abort: call the installed handler the way Qt does
            qInstallMessageHandler(nullptr)(type, QMessageLogContext(), "x %1");
        }
        const QString after = QTime::currentTime().toString("hh:mm:ss");
        qInstallMessageHandler(testHandler);
        RZMessageHandler::removeCallback(&owners[0]);
        RZMessageHandler::removeCallback(&owners[1]);
        RZMessageHandler::removeCallback(&owners[1]);

        QCOMPARE(g_lines.size(), size_t(2));
        QCOMPARE(g_lines[0].first, static_cast<void*>(&owners[0]));
        QCOMPARE(g_lines[1].first, static_cast<void*>(&owners[1]));
        QCOMPARE(g_lines[0].second, g_lines[1].second);
        const QString line = g_lines[0].second;
        QVERIFY2(line == prefix + before + ": x %1" || line == prefix + after + ": x %1", qPrintable(line));
    }
};

QTEST_GUILESS_MAIN(tst_MessageService)
#include "tst_messageservice.moc"
