#pragma once
// The asynchronous HTTP layer: one RZNetwork per piece of work, all of them on one process-wide
// QNetworkAccessManager, every outcome a signal.
//
//     RZNetwork* net = new RZNetwork(this);
//     connect(net, &RZNetwork::HttpGetRequestFinishedWithId, this, &Page::onAnswer);
//     QNetworkRequest request(QUrl(QStringLiteral("https://api.example.com/v1/items")));
//     net->HttpGetRequest(request, QStringLiteral("items"), 5000);   // 5 s in all
//
//     // a file: written as "<path>.temp<digits>", moved over <path> only when complete
//     connect(net, &RZNetwork::HttpGetRequestFinished, this, &Page::onSaved);   // (ok, path)
//     net->HttpGetRequest(url, path, RZDataIO::FileData, true, 10000);           // 10 s idle
//
// Rules worth knowing before the first call:
//  - A download that ends short of the length its server announced fails (Qt itself reports no error
//    for a connection reset mid-body).
//  - Nothing is retried. A text request that ends with a network error gives "error:status:body"
//    ("error:status" for the CBS and plain POST forms); an HTTP error status that Qt does not report
//    as an error (say, a 3xx on a text route) counts as success.
//  - Time limits: `ms` above 0 sets one (at least 5 ms; a download at least 3000 ms, and counted as
//    idle time: each arrival of data restarts it). On expiry the reply is aborted, the finished
//    signal comes with false, then the time-out signal.
//  - Offline (IsNetworkDeviceValid false): the finished signal is raised at once, inside the call.
//  - Certificates are verified with the system's CA store unless the host calls
//    setPeerVerifyDisabled(true); the download route always verifies.
//  - Objects and the manager belong to the main thread (a call from another thread is logged).
//  - WaitForNetworkFinished waits for the next HttpGetRequestFinished or HttpPostRequestFinished,
//    serving other events meanwhile; connect it before an answer can arrive.

#include <RZCore/RZCoreExport.h>

#include <QByteArray>
#include <QIODevice>
#include <QMap>
#include <QNetworkRequest>
#include <QObject>
#include <QString>
#include <QUrl>

#include <functional>

class QFile;
class QHttpMultiPart;
class QNetworkAccessManager;
class QNetworkReply;
class QTimer;

// A download's target file. Opening it for WriteOnly moves it to a temporary name beside the target
// ("<target>.temp<digits>"); Close() replaces the target with it. A temporary file that never
// reached Close() is deleted with the object.
class RZCORE_EXPORT RZDataIO : public QObject
{
    Q_OBJECT

public:
    // Part of the download's signature; no behaviour depends on it.
    enum FDataType
    {
        FileData = 0,
        TextData = 1,
        ImageData = 2
    };
    Q_ENUM(FDataType)

    explicit RZDataIO(const QString& fileName, QObject* parent = nullptr);
    ~RZDataIO() override;

    // False for an empty name. WriteOnly opens the temporary name; any other mode the target itself.
    bool Open(QIODevice::OpenModeFlag mode);
    void Write(const QByteArray& data);
    // Opened for WriteOnly: the target is removed and the temporary file takes its name. Then closed.
    // A file that could not be written whole (a full disk) is removed instead and the target stays.
    void Close();
    // Deletes the file under its present name (the temporary one while downloading).
    bool Remove();
    // The target's name, whatever the file is called at the moment.
    QString FileName() const;
    // The target exists with at least one byte.
    bool IsFileExists() const;

    // Copies `source` over `target` through a temporary name (the bytes are not transformed).
    static void Encrypt(const QString& source, const QString& target);

private:
    friend class RZNetwork;
    // The temporary name for the target, in the target's folder.
    void moveToTemporaryName();

    QFile* m_pFile = nullptr;
    QString m_strFileName;
    QByteArray m_oBuffer; // kept for the interface's sake; unused
    int m_nValue = 0;     // likewise
    bool m_bWriting = false;
    bool m_bWriteFailed = false; // a write or the final flush fell short
    bool m_bReplaced = false;    // the last Close() put the file in the target's place
    qint64 m_nReplyBytes = 0;    // body bytes of the current reply (the download's last, after redirects)
};

// The time limit of one reply; a child of the reply, so it dies with it.
class RZCORE_EXPORT FReplyTimeOut : public QObject
{
    Q_OBJECT

public:
    FReplyTimeOut(QNetworkReply* reply, int ms);
    FReplyTimeOut(QNetworkReply* reply, QString id, int ms);

    void Start();
    // True (the default): the reply is aborted when the limit passes.
    void SetAbortAfterTimeout(bool abort);
    // True: each arrival of data restarts the limit (idle time, for downloads).
    void SetDownLoadFileState(bool download);

signals:
    void sigTimeOut();
    void sigTimeOutWithId(QString id);

private slots:
    void onTimeout();
    void onReadReady();

private:
    QTimer* m_pTimer = nullptr;
    int m_nInterval = 0;
    bool m_bAbortAfterTimeout = true;
    QString m_strId;
};

class RZCORE_EXPORT RZNetwork : public QObject
{
    Q_OBJECT

public:
    explicit RZNetwork(QObject* parent = nullptr);
    // Cancels this object's downloads; its text requests run on without it.
    ~RZNetwork() override;

    // ---- the shared manager and the host's switches ------------------------------------------------

    static QNetworkAccessManager* GetNetManager();
    static void ReleaseManeger();
    // The host's probe when one is set, otherwise the system's answer.
    static bool IsNetworkDeviceValid();
    // A host (or a test) decides whether the network is there; an empty function gives the decision
    // back to the system.
    static void setNetworkProbe(std::function<bool()> probe);
    // Off by default: "https" requests verify the peer with the system's CA store. On: the text
    // forms accept any certificate (a host that turns it on answers for what that lets through).
    static void setPeerVerifyDisabled(bool disabled);
    static bool isPeerVerifyDisabled();

    // 0 when the request succeeded, -1 when it failed, -2 when `ms` passed first (then this object's
    // downloads are cancelled, which turns a download's -2 into -1).
    static int WaitForNetworkFinished(RZNetwork& net, bool& ok, QString& result, int ms);

    // ---- requests ----------------------------------------------------------------------------------

    // GET for a text. An empty id answers with HttpGetRequestFinished, another with
    // HttpGetRequestFinishedWithId.
    void HttpGetRequest(QNetworkRequest& request, QString id = QString(), int ms = 0);
    // GET into the file `path`. With `overwrite` false a non-empty file at `path` is the answer.
    void HttpGetRequest(const QUrl& url, const QString& path, RZDataIO::FDataType type, bool overwrite = true,
                        int ms = 0);
    // GET that answers with the "Location" header, for redirect services.
    void HttpCBSGetRequest(QNetworkRequest& request, QString id = QString(), int ms = 0);
    // Null when offline.
    QNetworkReply* HttpPostRequest(QNetworkRequest& request, const QString& body, int ms = 0,
                                   bool abortOnTimeout = true);
    // The reply takes ownership of `multiPart` (offline, it is deleted at once). A null one sends an
    // empty body.
    void HttpPostRequest(const QString& url, QHttpMultiPart* multiPart, int ms = 0);
    // Null when offline. A limit always aborts; the last argument is not used.
    QNetworkReply* HttpPostRequestWithId(QNetworkRequest& request, const QString& body, QString id,
                                         int ms = 0, bool abortOnTimeout = true);
    // The caller keeps ownership of `multiPart`, and keeps it alive until the request ends.
    QNetworkReply* HttpPostRequestWithId(QNetworkRequest& request, QHttpMultiPart* multiPart, QString id,
                                         int ms = 0, bool abortOnTimeout = true);

    // Aborts this object's downloads (text requests are not cancelled).
    void CancelAllRequest();

signals:
    void HttpGetRequestFinished(bool ok, const QString& text);
    void HttpGetRequestFinishedWithId(bool ok, const QString& text, const QString& id);
    void HttpCBSGetRequestFinished(bool ok, const QString& text, const QString& id);
    void HttpPostRequestFinished(bool ok, const QString& first, const QString& second);
    void HttpPostRequestFinishedWithId(bool ok, const QString& text, QString id);
    void DownLoadProgress(qint64 received, qint64 total);
    void sigTimeOut();
    void sigTimeOutWithId(QString id);
    // Declared for hosts; never raised.
    void UpLoadProgress(qint64 sent, qint64 total);
    void HttpRequestError(int error);

private slots:
    void OnGetFinished();
    void OnPostFinished();
    void OnReadyRead();

private:
    enum class Form
    {
        Get,
        CbsGet,
        Post,
        PostWithId
    };

    void CheckNetworkAccessible();
    // Steps shared by the text forms: content type, SSL settings, accessibility.
    void prepare(QNetworkRequest& request);
    // The time limit and the signals of a sent text request.
    void watch(QNetworkReply* reply, Form form, const QString& id, int ms, bool abortOnTimeout);
    void watchDownload(QNetworkReply* reply, RZDataIO* dataIO, int ms);
    void onTextGetFinished(QNetworkReply* reply);
    void onCbsGetFinished(QNetworkReply* reply);
    void onPostWithIdFinished(QNetworkReply* reply);

    QMap<QNetworkReply*, RZDataIO*> mDataIOMap;
};
