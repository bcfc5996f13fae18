#include <RZCore/ui/RZDragService.h>

#include <RZTestLogSink.h>

#include <QDrag>
#include <QMimeData>
#include <QPixmap>
#include <QPointer>
#include <QtTest>

namespace {

// Reads what the drag held as it is destroyed: QDrag deletes its mime data in its own destructor,
// while it is still a whole QDrag. Records "pixmap width, hot spot, copy-cursor width".
struct ProbeData : QMimeData
{
    ProbeData(QObject* source, QString* seen) : m_pSource(source), m_pSeen(seen) {}
    ~ProbeData() override
    {
        if (QDrag* drag = m_pSource->findChild<QDrag*>(QString(), Qt::FindDirectChildrenOnly))
            *m_pSeen = QString("%1 %2,%3 %4")
                           .arg(drag->pixmap().width())
                           .arg(drag->hotSpot().x())
                           .arg(drag->hotSpot().y())
                           .arg(drag->dragCursor(Qt::CopyAction).width());
    }
    QObject* m_pSource;
    QString* m_pSeen;
};

// Where the platform runs a real drag loop (minimal), a zero timer looks from inside it, tries a
// nested drag and ends the drag with Escape. Offscreen returns at once; the timer dies unfired.
Qt::DropAction runDrag(QObject* source, QString* inLoop = nullptr)
{
    QObject guard;
    QTimer::singleShot(0, &guard, [source, inLoop] {
        RZDragService* service = RZDragService::instance();
        const bool before = service->isDraging();
        const Qt::DropAction nested = service->exec(source, Qt::CopyAction, Qt::CopyAction);
        if (inLoop)
            *inLoop = QString("%1 %2 %3").arg(before).arg(nested).arg(service->isDraging());
        QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
        QCoreApplication::sendEvent(source, &escape);
    });
    return RZDragService::instance()->exec(source, Qt::CopyAction, Qt::CopyAction);
}

} // namespace

class tst_DragService : public QObject
{
    Q_OBJECT

private slots:
    // The default hot spot of a QDrag is (-10, -10).
    void dragTakesWhatWasSetAndNothingCarriesOver_data()
    {
        QTest::addColumn<QPoint>("hotSpot");
        QTest::addColumn<QString>("seen");
        QTest::newRow("everything") << QPoint(3, 4) << "8 3,4 8";
        QTest::newRow("hot spot (0, 0) isn't passed") << QPoint(0, 0) << "8 -10,-10 8";
    }
    void dragTakesWhatWasSetAndNothingCarriesOver()
    {
        QFETCH(QPoint, hotSpot);
        QFETCH(QString, seen);
        RZDragService* service = RZDragService::instance();
        QObject source;
        QString first, second, inLoop;
        QPointer<QMimeData> replaced = new QMimeData;
        service->setMimeData(replaced);
        service->setMimeData(new ProbeData(&source, &first));
        QVERIFY(!replaced); // replaced data is deleted
        service->setPixmap(QPixmap(8, 8));
        service->setDragCursor({{Qt::CopyAction, QPixmap(8, 8)}});
        service->setDragCursor({}); // ignored: the cursors stay
        service->setHotSpot(hotSpot);
        RZScopedTestLogger logger;
        QCOMPARE(runDrag(&source, &inLoop), Qt::IgnoreAction);
        if (QGuiApplication::platformName() == "minimal") { // draging, nested refused and logged
            QCOMPARE(inLoop, QString("1 0 1"));
            QCOMPARE(logger.sink->messages().size(), size_t(1));
        }
        QCOMPARE(first, seen);
        service->setMimeData(new ProbeData(&source, &second));
        runDrag(&source);
        QCOMPARE(second, QString("0 -10,-10 0"));
        QVERIFY(!service->isDraging());
    }
};

QTEST_MAIN(tst_DragService)
#include "tst_dragservice.moc"
