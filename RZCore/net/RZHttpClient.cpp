#include <RZCore/net/RZHttpClient.h>

#include <QEventLoop>
#include <QNetworkReply>
#include <QTimer>

// ---- RZBaseTask ------------------------------------------------------------------------------------

RZBaseTask::RZBaseTask(QNetworkAccessManager* manager, const QNetworkRequest& request)
    : m_pManager(manager), m_oRequest(request)
{
}

RZBaseTask::RZBaseTask(QNetworkAccessManager* manager, const QString& url)
    : RZBaseTask(manager, QNetworkRequest(QUrl(url)))
{
}

RZBaseTask::~RZBaseTask()
{
    if (m_pReply)
        m_pReply->deleteLater();
}

QNetworkReply* RZBaseTask::OnRequest()
{
    return m_pManager->get(m_oRequest);
}

void RZBaseTask::OnAborted() {}
void RZBaseTask::OnError() {}
void RZBaseTask::OnRedirection() {}
void RZBaseTask::OnFinished() {}
void RZBaseTask::OnReadyRead() {}

void RZBaseTask::OnDownloadProgress(qint64 received, qint64 total)
{
    emit progress(received, total);
}

void RZBaseTask::startRequest()
{
    if (!m_pManager)
        return;
    m_pReply = OnRequest();
    connect(m_pReply, SIGNAL(finished()), this, SLOT(httpFinished()));
    connect(m_pReply, SIGNAL(readyRead()), this, SLOT(httpReadyRead()));
    connect(m_pReply, SIGNAL(downloadProgress(qint64, qint64)), this,
            SLOT(updateDataReadProgress(qint64, qint64)));
}

void RZBaseTask::waitForFinished(int ms)
{
    QEventLoop loop;
    connect(this, &RZBaseTask::finished, &loop, &QEventLoop::quit);
    QTimer timer;
    if (ms >= 0) {
        timer.setSingleShot(true);
        connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
        timer.start(ms);
    }
    loop.exec();
    if (ms < 0)
        return;
    if (!timer.isActive()) {
        // The limit passed: the abort finishes the reply at once, as RequestAborted.
        if (m_eResult == RequestNone)
            abort();
    } else {
        timer.stop();
    }
}

void RZBaseTask::abort()
{
    m_bAborted = true;
    if (m_pReply)
        m_pReply->abort();
}

RZBaseTask::RequestResult RZBaseTask::requestResult() const
{
    return m_eResult;
}

QByteArray RZBaseTask::readAll()
{
    return m_pReply ? m_pReply->readAll() : QByteArray();
}

QString RZBaseTask::errorString() const
{
    if (m_bTruncated)
        return QStringLiteral("The connection ended after %1 of %2 bytes").arg(m_nReceived).arg(m_nTotal);
    return m_pReply ? m_pReply->errorString() : QString();
}

QString RZBaseTask::errorReplyStr()
{
    if (!m_pReply)
        return QString();
    return QStringLiteral("%1:%2:%3")
        .arg(QString::number(m_pReply->error()),
             QString::number(m_pReply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt()),
             QString::fromUtf8(readAll()));
}

void RZBaseTask::httpFinished()
{
    if (m_bAborted) {
        OnAborted();
        m_eResult = RequestAborted;
        emit finished();
        return;
    }
    const QVariant target = m_pReply->attribute(QNetworkRequest::RedirectionTargetAttribute);
    // Qt reports a connection that ends before the promised length as no error: a failure all the same.
    m_bTruncated = m_nTotal > 0 && m_nReceived < m_nTotal;
    if (m_pReply->error() != QNetworkReply::NoError || m_bTruncated) {
        OnError();
        m_eResult = RequestFailed;
        emit finished();
        return;
    }
    if (!target.isNull()) {
        OnRedirection();
        // Relative targets resolve against the request; the request's headers stay.
        m_oRequest.setUrl(m_oRequest.url().resolved(target.toUrl()));
        m_pReply->deleteLater();
        m_pReply = nullptr;
        m_nReceived = 0;
        m_nTotal = -1;
        startRequest();
        return;
    }
    OnFinished();
    m_eResult = RequestSucceeded;
    emit finished();
}

void RZBaseTask::httpReadyRead()
{
    OnReadyRead();
}

void RZBaseTask::updateDataReadProgress(qint64 received, qint64 total)
{
    m_nReceived = received;
    m_nTotal = total;
    OnDownloadProgress(received, total);
}

// ---- RZGetFileTask -----------------------------------------------------------------------------------

RZGetFileTask::RZGetFileTask(QNetworkAccessManager* manager, const QNetworkRequest& request)
    : RZBaseTask(manager, request)
{
}

RZGetFileTask::RZGetFileTask(QNetworkAccessManager* manager, const QString& url) : RZBaseTask(manager, url) {}

bool RZGetFileTask::openFile(const QString& path, QString& err)
{
    m_oFile.setFileName(path);
    if (!m_oFile.open(QIODevice::WriteOnly)) {
        err = m_oFile.errorString();
        return false;
    }
    return true;
}

void RZGetFileTask::OnAborted()
{
    m_oFile.close();
    m_oFile.remove();
}

void RZGetFileTask::OnError()
{
    m_oFile.flush();
    m_oFile.close();
    m_oFile.remove();
}

// Only the last response of a chain belongs in the file.
void RZGetFileTask::OnRedirection()
{
    m_oFile.flush();
    m_oFile.close();
    m_oFile.open(QIODevice::WriteOnly);
    m_oFile.resize(0);
}

void RZGetFileTask::OnFinished()
{
    m_oFile.flush();
    m_oFile.close();
}

void RZGetFileTask::OnReadyRead()
{
    if (m_pReply)
        m_oFile.write(m_pReply->readAll());
}

// ---- RZPostTask --------------------------------------------------------------------------------------

RZPostTask::RZPostTask(QNetworkAccessManager* manager, const QNetworkRequest& request, const QByteArray& data)
    : RZBaseTask(manager, request), m_oData(data)
{
}

RZPostTask::RZPostTask(QNetworkAccessManager* manager, const QString& url, const QByteArray& data)
    : RZBaseTask(manager, url), m_oData(data)
{
}

QNetworkReply* RZPostTask::OnRequest()
{
    return m_pManager->post(m_oRequest, m_oData);
}

// ---- RZHttpClient ------------------------------------------------------------------------------------

namespace {

// Steps shared by the memory forms: the body on success, Qt's text on failure.
int finishToMemory(RZBaseTask& task, QByteArray& data, QString& err)
{
    const RZBaseTask::RequestResult result = task.requestResult();
    if (result == RZBaseTask::RequestSucceeded)
        data = task.readAll();
    else if (result == RZBaseTask::RequestFailed)
        err = task.errorString();
    return result;
}

} // namespace

RZHttpClient::RZHttpClient(QObject* parent) : QObject(parent) {}

RZHttpClient::~RZHttpClient() = default;

QNetworkAccessManager& RZHttpClient::accessManager()
{
    return m_oManager;
}

int RZHttpClient::get(const QNetworkRequest& request, QByteArray& data, QString& err, int ms)
{
    RZBaseTask task(&m_oManager, request);
    task.startRequest();
    task.waitForFinished(ms);
    return finishToMemory(task, data, err);
}

int RZHttpClient::get(const QString& url, QByteArray& data, QString& err, int ms)
{
    return get(QNetworkRequest(QUrl(url)), data, err, ms);
}

int RZHttpClient::get(const QNetworkRequest& request, const QString& path, QString& err, int ms)
{
    RZGetFileTask task(&m_oManager, request);
    if (!task.openFile(path, err))
        return RZBaseTask::RequestFailed;
    task.startRequest();
    task.waitForFinished(ms);
    const RZBaseTask::RequestResult result = task.requestResult();
    if (result == RZBaseTask::RequestFailed)
        err = task.errorString();
    return result;
}

int RZHttpClient::get(const QString& url, const QString& path, QString& err, int ms)
{
    return get(QNetworkRequest(QUrl(url)), path, err, ms);
}

int RZHttpClient::post(const QNetworkRequest& request, const QByteArray& body, QByteArray& data, QString& err,
                       int ms)
{
    QNetworkRequest copy(request);
    if (!copy.hasRawHeader("Content-Type"))
        copy.setRawHeader("Content-Type", "application/x-www-form-urlencoded");
    RZPostTask task(&m_oManager, copy, body);
    task.startRequest();
    task.waitForFinished(ms);
    return finishToMemory(task, data, err);
}

int RZHttpClient::post(const QString& url, const QByteArray& body, QByteArray& data, QString& err, int ms)
{
    return post(QNetworkRequest(QUrl(url)), body, data, err, ms);
}
