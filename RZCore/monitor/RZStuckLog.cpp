#include <RZCore/monitor/RZStuckLog.h>

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/files/RZDir.h>
#include <RZCore/log/RZBaseLog.h>
#include <RZCore/util/RZHappensBefore_p.h>

#include <RZCore/platform/RZPlatform.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>

#include <algorithm>
#include <limits>

namespace {

// One record on its way to the worker. Made, record and all, before the hand-over is marked, so that
// ThreadSanitizer sees the worker's reads ordered after the copy.
class RZStuckInfoPost : public QEvent
{
public:
    static QEvent::Type postType()
    {
        static const QEvent::Type type = static_cast<QEvent::Type>(QEvent::registerEventType());
        return type;
    }

    explicit RZStuckInfoPost(const RZStuckInfo& record) : QEvent(postType()), info(record) {}
    // Also deleted unread, by Qt, when the worker goes first.
    ~RZStuckInfoPost() override { RZHappensBefore::received(this); }

    const RZStuckInfo info;
};

QString stuckFilePath(const RZStuckFileType& type)
{
    if (type != RZStuckFileExcel)
        return QString();
    // Without path 13 there is no place for the file: never the root of the file system.
    const QString dir = IRZAppInfo::getInstance()->value(13);
    if (dir.isEmpty())
        return QString();
    RZDir::makeSureDirExist(dir);
    return dir + QStringLiteral("/eventStuckLog_")
           + QDateTime::currentDateTime().toString(QStringLiteral("yyyy_MM_dd")) + QStringLiteral(".csv");
}

} // namespace

IRZStuckInfoWriter::~IRZStuckInfoWriter() = default;

// ---- the comma-separated file ---------------------------------------------------------------------

bool RZStuckInfoWriterExcel::open(const QString& path)
{
    // Statistics name the user's objects and folders: made the user's alone before anything is written.
    RZPlatform::restrictSettingsFile(QFile::encodeName(path).toStdString());
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite))
        return false;
    if (file.size() == 0) {
        file.write("recordTime, eventType, nonexclusive, exclusive, subNonexclusive, suspendTime, parentClassNames \n");
        file.flush();
    }
    file.close();
    return true;
}

bool RZStuckInfoWriterExcel::write(const QString& path, const RZStuckInfo& info)
{
    RZPlatform::restrictSettingsFile(QFile::encodeName(path).toStdString()); // removed since open()
    QFile file(path);
    if (!file.open(QIODevice::Append))
        return false;
    const QString row = info.recordTime + QLatin1Char(',') + info.eventType + QLatin1Char(',')
                        + QString::number(info.nonexclusive) + QLatin1Char(',') + QString::number(info.exclusive)
                        + QLatin1Char(',') + QString::number(info.subNonexclusive) + QLatin1Char(',')
                        + QString::number(info.suspendTime) + QLatin1Char(',') + info.parentClassNames
                        + QLatin1Char('\n');
    file.write(row.toLocal8Bit());
    file.flush();
    file.close();
    return true;
}

// ---- worker ---------------------------------------------------------------------------------------

RZStuckInfoWorker::RZStuckInfoWorker()
{
    moveToThread(&m_oThread);
    // Qt's thread start and join are invisible to ThreadSanitizer: mark them.
    connect(&m_oThread, &QThread::started, &m_oThread, [this] { RZHappensBefore::received(this); },
            Qt::DirectConnection);
    connect(&m_oThread, &QThread::finished, &m_oThread, [this] { RZHappensBefore::handedOver(this); },
            Qt::DirectConnection);
    RZHappensBefore::handedOver(this);
    m_oThread.start(QThread::InheritPriority);
}

RZStuckInfoWorker::~RZStuckInfoWorker()
{
    setEnabled(false);
    m_oThread.quit();
    m_oThread.wait();
    RZHappensBefore::received(this);
    std::lock_guard<std::mutex> lock(m_oMutex);
    delete m_pWriter;
    m_pWriter = nullptr;
}

void RZStuckInfoWorker::setWriter(IRZStuckInfoWriter* writer)
{
    std::lock_guard<std::mutex> lock(m_oMutex);
    if (writer != m_pWriter)
        delete m_pWriter;
    m_pWriter = writer;
    if (m_pWriter)
        m_pWriter->open(m_strFilePath);
}

void RZStuckInfoWorker::setFilePath(const QString& path)
{
    std::lock_guard<std::mutex> lock(m_oMutex);
    m_strFilePath = path;
}

QString RZStuckInfoWorker::filePath() const
{
    std::lock_guard<std::mutex> lock(m_oMutex);
    return m_strFilePath;
}

void RZStuckInfoWorker::setEnabled(bool enabled)
{
    std::lock_guard<std::mutex> lock(m_oMutex);
    m_bEnabled = enabled;
}

bool RZStuckInfoWorker::isEnabled() const
{
    std::lock_guard<std::mutex> lock(m_oMutex);
    return m_bEnabled;
}

bool RZStuckInfoWorker::event(QEvent* event)
{
    RZHappensBefore::received(event); // before anything of an event from another thread is read
    if (event->type() != RZStuckInfoPost::postType())
        return QObject::event(event);
    writeInfo(static_cast<RZStuckInfoPost*>(event)->info);
    return true;
}

void RZStuckInfoWorker::writeInfo(RZStuckInfo info)
{
    std::lock_guard<std::mutex> lock(m_oMutex);
    if (!m_pWriter || m_strFilePath.isEmpty() || !m_bEnabled)
        return;
    m_pWriter->write(m_strFilePath, info); // a file that cannot be opened loses the record
}

// ---- RZStuckLog -----------------------------------------------------------------------------------

RZStuckLog::RZStuckLog(QObject* parent) : QObject(parent)
{
    qRegisterMetaType<RZStuckInfo>("RZStuckInfo&");
    qRegisterMetaType<RZStuckInfo>("RZStuckInfo");
    m_pWorker = new RZStuckInfoWorker;
    m_pWorker->setEnabled(true);
}

RZStuckLog::~RZStuckLog()
{
    m_pWorker->setEnabled(false);
    delete m_pWorker;
}

void RZStuckLog::setFileType(const RZStuckFileType& type)
{
    m_pWorker->setFilePath(stuckFilePath(type));
    if (type == RZStuckFileExcel)
        m_pWorker->setWriter(new RZStuckInfoWriterExcel);
}

void RZStuckLog::setEnabled(bool enabled)
{
    m_pWorker->setEnabled(enabled);
}

void RZStuckLog::record(const RZStuckInfo& info)
{
    // A queued call of writeInfo on the worker's thread.
    auto* post = new RZStuckInfoPost(info);
    RZHappensBefore::handedOver(post);
    QCoreApplication::postEvent(m_pWorker, post);
}

// ---- RZLogRunTime ---------------------------------------------------------------------------------

RZLogRunTime::RZLogRunTime(QString source, QString text) : m_strText(std::move(text))
{
    const int backslash = source.lastIndexOf(QLatin1Char('\\'));
    m_strSource = backslash >= 0 ? source.mid(backslash + 1) : std::move(source);
    m_oTimer.start();
    RZLOG_INFO("start run %s %s", qUtf8Printable(m_strSource), qUtf8Printable(m_strText));
}

RZLogRunTime::RZLogRunTime(const RZLogRunTime& other) = default;
RZLogRunTime& RZLogRunTime::operator=(const RZLogRunTime& other) = default;

RZLogRunTime::~RZLogRunTime()
{
    const qint64 elapsed = std::min<qint64>(m_oTimer.elapsed(), std::numeric_limits<int>::max());
    RZLOG_INFO("end run %s %s, time = %d", qUtf8Printable(m_strSource), qUtf8Printable(m_strText),
               static_cast<int>(elapsed));
}
