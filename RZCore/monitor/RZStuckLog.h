#pragma once
// Stuck statistics: RZStuckLog appends one line per stuck event to a comma-separated file of the day
// ("<IRZAppInfo path 13>/eventStuckLog_yyyy_MM_dd.csv") without slowing the recording thread, which only
// posts the record; the worker's own thread opens, writes and closes the file for every record, so a
// crash loses nothing that was written. RZLogRunTime logs how long a scope ran.
//
//     RZStuckLog log;
//     log.setFileType(RZStuckFileExcel);                // before records flow
//     log.record({time, "MouseButtonPress", 1500, 1200, 300, 0, "MainWindow<"});
//
//     void Importer::run() { RZLogRunTime scope(__FILE__, "Importer::run"); ... }

#include <RZCore/RZCoreExport.h>
#include <RZCore/monitor/RZMonitorTimer.h>

#include <QMetaType>
#include <QObject>
#include <QString>
#include <QThread>

#include <mutex>

// One record; the fields in the order of the file's columns.
struct RZCORE_EXPORT RZStuckInfo
{
    QString recordTime;
    QString eventType;
    int nonexclusive = 0;    // ms
    int exclusive = 0;       // ms
    int subNonexclusive = 0; // ms
    int suspendTime = 0;     // ms
    QString parentClassNames;
};
Q_DECLARE_METATYPE(RZStuckInfo)

// The kind of file: 1 is the comma-separated file; no other kind is defined, and any other value
// writes nothing.
using RZStuckFileType = int;
constexpr RZStuckFileType RZStuckFileExcel = 1;

class RZCORE_EXPORT IRZStuckInfoWriter
{
public:
    // Prepares the file (the header of a new one).
    virtual bool open(const QString& path) = 0;
    // Appends one record.
    virtual bool write(const QString& path, const RZStuckInfo& info) = 0;
    virtual ~IRZStuckInfoWriter();
};

class RZCORE_EXPORT RZStuckInfoWriterExcel : public IRZStuckInfoWriter
{
public:
    // A new or empty file gets the header line; a file with content is left as it is, so a second
    // run on one day goes on under the same header.
    bool open(const QString& path) override;
    // One row, the fields joined by "," without quoting, in the local 8-bit encoding.
    bool write(const QString& path, const RZStuckInfo& info) override;
};

// Writes records on a thread of its own. Records are dropped while it is disabled, while it has no
// writer and while its file path is empty.
class RZCORE_EXPORT RZStuckInfoWorker : public QObject
{
    Q_OBJECT

public:
    // Moves itself to its thread and starts it, disabled.
    RZStuckInfoWorker();
    // Stops the thread (records still queued are dropped) and deletes the writer.
    ~RZStuckInfoWorker() override;

    // Takes the writer (deleting the old one) and opens the file path with it.
    void setWriter(IRZStuckInfoWriter* writer);
    void setFilePath(const QString& path);
    QString filePath() const;
    void setEnabled(bool enabled);
    bool isEnabled() const;

public slots:
    void writeInfo(RZStuckInfo info);

protected:
    // Takes the records RZStuckLog::record posts.
    bool event(QEvent* event) override;

private:
    QThread m_oThread;
    mutable std::mutex m_oMutex; // guards the three below
    bool m_bEnabled = false;
    QString m_strFilePath;
    IRZStuckInfoWriter* m_pWriter = nullptr;
};

class RZCORE_EXPORT RZStuckLog : public QObject
{
    Q_OBJECT

public:
    explicit RZStuckLog(QObject* parent = nullptr);
    ~RZStuckLog() override;

    // Names the file of today and, for RZStuckFileExcel, installs its writer. Call it before records
    // flow: a process that runs past midnight keeps the file of the day it was called on.
    void setFileType(const RZStuckFileType& type);
    void setEnabled(bool enabled);
    // Any thread; the caller never waits for the disk.
    void record(const RZStuckInfo& info);

    RZStuckInfoWorker* worker() const { return m_pWorker; }

private:
    RZStuckInfoWorker* m_pWorker;
};

// Logs "start run <source> <text>" when made and "end run <source> <text>, time = <ms>" when
// destroyed. A Windows source path shrinks to its file name.
class RZCORE_EXPORT RZLogRunTime
{
public:
    RZLogRunTime(QString source, QString text);
    RZLogRunTime(const RZLogRunTime& other);
    RZLogRunTime& operator=(const RZLogRunTime& other);
    ~RZLogRunTime();

private:
    QString m_strSource;
    QString m_strText;
    RZMonitorTimer m_oTimer;
};
