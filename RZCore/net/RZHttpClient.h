#pragma once
// Blocking HTTP: the answer comes back as a return value, on any thread that runs a client of its own.
//
//     RZHttpClient client;                       // owns its own QNetworkAccessManager
//     QByteArray data;
//     QString err;
//     switch (client.get(QStringLiteral("https://api.example.com/v1/items"), data, err, 5000)) {
//     case RZBaseTask::RequestSucceeded: ...    // data holds the body
//     case RZBaseTask::RequestFailed: ...       // err holds Qt's error text
//     case RZBaseTask::RequestAborted: ...      // 5 s passed; neither is touched
//     }
//
// Each call runs a nested event loop on the calling thread until the request ends or `ms` passes
// (a limit on the whole call, redirects included; a negative `ms` waits for ever; 0 gives the request
// no time at all). Redirects are followed, relative ones too, with no limit on their number. There is
// no offline test and no change to SSL settings: certificates are verified as Qt does by default.
//
// A reply that ends before the length its server announced is a failure, although Qt reports no
// error for it. A get to a file writes straight into that file: an older file there is truncated at
// once and is deleted when the request fails or is aborted.

#include <RZCore/RZCoreExport.h>

#include <QByteArray>
#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QObject>
#include <QString>

class QNetworkReply;

// One request, from start to its outcome. The subclasses decide what happens to the body.
class RZCORE_EXPORT RZBaseTask : public QObject
{
    Q_OBJECT

public:
    enum RequestResult
    {
        RequestNone = 0,
        RequestSucceeded = 1,
        RequestFailed = 2,
        RequestAborted = 3
    };
    Q_ENUM(RequestResult)

    RZBaseTask(QNetworkAccessManager* manager, const QNetworkRequest& request);
    RZBaseTask(QNetworkAccessManager* manager, const QString& url);
    // The reply is released with deleteLater, so its data stays readable until then.
    ~RZBaseTask() override;

    void startRequest();
    // Runs an event loop until `finished` or until `ms` passes (then the request is aborted). Never
    // wait for a task that has already finished.
    void waitForFinished(int ms);
    // Marks the task aborted and aborts the reply (there is none before startRequest).
    void abort();

    RequestResult requestResult() const;
    QByteArray readAll();
    QString errorString() const;
    // "error:status:body".
    QString errorReplyStr();

signals:
    void progress(qint64 received, qint64 total);
    void finished();

protected:
    virtual QNetworkReply* OnRequest();
    virtual void OnAborted();
    virtual void OnError();
    virtual void OnRedirection();
    virtual void OnFinished();
    virtual void OnReadyRead();
    virtual void OnDownloadProgress(qint64 received, qint64 total);

    QNetworkAccessManager* m_pManager = nullptr;
    QNetworkRequest m_oRequest;
    QNetworkReply* m_pReply = nullptr;
    bool m_bAborted = false;
    RequestResult m_eResult = RequestNone;
    // The current reply's progress: a reply that ends short of its length is a failure.
    qint64 m_nReceived = 0;
    qint64 m_nTotal = -1;
    bool m_bTruncated = false;

private slots:
    void httpFinished();
    void httpReadyRead();
    void updateDataReadProgress(qint64 received, qint64 total);
};

// A GET whose body goes to a file; only the last response of a redirect chain stays in it.
class RZCORE_EXPORT RZGetFileTask : public RZBaseTask
{
    Q_OBJECT

public:
    RZGetFileTask(QNetworkAccessManager* manager, const QNetworkRequest& request);
    RZGetFileTask(QNetworkAccessManager* manager, const QString& url);

    // Opens `path` for writing (truncating it). False with the file's error text in `err`.
    bool openFile(const QString& path, QString& err);

protected:
    void OnAborted() override;
    void OnError() override;
    void OnRedirection() override;
    void OnFinished() override;
    void OnReadyRead() override;

private:
    QFile m_oFile;
};

class RZCORE_EXPORT RZPostTask : public RZBaseTask
{
    Q_OBJECT

public:
    RZPostTask(QNetworkAccessManager* manager, const QNetworkRequest& request, const QByteArray& data);
    RZPostTask(QNetworkAccessManager* manager, const QString& url, const QByteArray& data);

protected:
    QNetworkReply* OnRequest() override;

private:
    QByteArray m_oData;
};

class RZCORE_EXPORT RZHttpClient : public QObject
{
    Q_OBJECT

public:
    explicit RZHttpClient(QObject* parent = nullptr);
    ~RZHttpClient() override;

    QNetworkAccessManager& accessManager();

    // Each returns a RZBaseTask::RequestResult. Succeeded: `data` holds the body. Failed: `err` holds
    // the reason. Aborted (the limit passed): neither is touched.
    int get(const QNetworkRequest& request, QByteArray& data, QString& err, int ms);
    int get(const QString& url, QByteArray& data, QString& err, int ms);
    int get(const QNetworkRequest& request, const QString& path, QString& err, int ms);
    int get(const QString& url, const QString& path, QString& err, int ms);
    // Sends "Content-Type: application/x-www-form-urlencoded" unless the request names one.
    int post(const QNetworkRequest& request, const QByteArray& body, QByteArray& data, QString& err, int ms);
    int post(const QString& url, const QByteArray& body, QByteArray& data, QString& err, int ms);

private:
    QNetworkAccessManager m_oManager;
};
