#include <RZCore/net/RZNetwork.h>

#include <RZCore/log/RZBaseLog.h>
#include <RZCore/platform/RZPlatform.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QHttpMultiPart>
#include <QMutex>
#include <QNetworkAccessManager>
#include <QNetworkConfigurationManager>
#include <QNetworkReply>
#include <QRandomGenerator64>
#include <QThread>
#include <QTimer>
#if QT_CONFIG(ssl)
#include <QSslConfiguration>
#include <QSslError>
#include <QSslSocket>
#endif

#include <algorithm>
#include <atomic>

namespace {

constexpr int kMinimumInterval = 5;
constexpr int kMinimumDownloadLimit = 3000;
// What a download may hold in memory before Qt stops reading the socket: the body streams to disk.
constexpr qint64 kDownloadReadBuffer = 1024 * 1024;
const char* const kRequestIdProperty = "requestId";
const char* const kTimeOutProperty = "timeOut";

QMutex g_oManagerMutex;
QNetworkAccessManager* g_pManager = nullptr;

QMutex g_oProbeMutex;
std::function<bool()> g_fnProbe;

std::atomic<bool> g_bPeerVerifyDisabled{false};

// An aborted reply is closed and has nothing more to read.
QString bodyOf(QNetworkReply* reply)
{
    return reply->isOpen() ? QString::fromUtf8(reply->readAll()) : QString();
}

int statusOf(const QNetworkReply* reply)
{
    return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

// "%1:%2" and "%1:%2:%3" of the failure texts: the error, the status and maybe the body.
QString failureText(const QNetworkReply* reply)
{
    return QStringLiteral("%1:%2").arg(QString::number(reply->error()), QString::number(statusOf(reply)));
}

QString failureText(const QNetworkReply* reply, const QString& body)
{
    return QStringLiteral("%1:%2:%3")
        .arg(QString::number(reply->error()), QString::number(statusOf(reply)), body);
}

#if QT_CONFIG(ssl)
// Logged only: a failed verification ends the request with its handshake error.
void logSslErrors(const QList<QSslError>& errors)
{
    RZLOG_INFO("******sslErrors******");
    for (const QSslError& error : errors)
        RZLOG_INFO("sslErrcoed:%d,sslErrStr:%s", static_cast<int>(error.error()),
                   qUtf8Printable(error.errorString()));
}
#endif

void connectSslLog(QNetworkReply* reply, QObject* context)
{
#if QT_CONFIG(ssl)
    QObject::connect(reply, &QNetworkReply::sslErrors, context, &logSslErrors);
#else
    Q_UNUSED(reply)
    Q_UNUSED(context)
#endif
}

} // namespace

// ---- RZDataIO ------------------------------------------------------------------------------------

RZDataIO::RZDataIO(const QString& fileName, QObject* parent)
    : QObject(parent), m_pFile(new QFile(fileName, this)), m_strFileName(fileName)
{
}

// A download that never reached Close() leaves no temporary file behind.
RZDataIO::~RZDataIO()
{
    if (m_pFile && m_bWriting && m_pFile->isOpen() && m_pFile->exists())
        m_pFile->remove();
}

void RZDataIO::moveToTemporaryName()
{
    // Two 32-bit draws multiplied modulo 2^32: up to ten digits after ".temp".
    const quint32 first = static_cast<quint32>(QRandomGenerator64::global()->generate());
    const quint32 second = static_cast<quint32>(QRandomGenerator64::global()->generate());
    m_pFile->setFileName(m_strFileName + QStringLiteral(".temp") + QString::number(first * second));
}

bool RZDataIO::Open(QIODevice::OpenModeFlag mode)
{
    if (m_strFileName.isEmpty() || !m_pFile)
        return false;
    if (mode == QIODevice::WriteOnly)
        moveToTemporaryName();
    const bool opened = m_pFile->open(mode);
    m_bWriting = opened && mode == QIODevice::WriteOnly;
    m_bWriteFailed = false;
    m_bReplaced = false;
    return opened;
}

void RZDataIO::Write(const QByteArray& data)
{
    if (m_pFile && m_pFile->write(data) != data.size())
        m_bWriteFailed = true;
}

void RZDataIO::Close()
{
    if (!m_pFile)
        return;
    if (!m_bWriting) {
        m_pFile->close();
        return;
    }
    m_bWriting = false;
    if (!m_pFile->flush())
        m_bWriteFailed = true;
    m_pFile->close();
    // A file that could not be written whole (a full disk) never takes the target's place.
    if (!m_bWriteFailed) {
        QFile::remove(m_strFileName);
        m_bReplaced = m_pFile->rename(m_strFileName);
    }
    if (!m_bReplaced) {
        RZLOG_WARN("could not put %s in place of %s", qUtf8Printable(m_pFile->fileName()),
                   qUtf8Printable(m_strFileName));
        m_pFile->remove();
    }
}

bool RZDataIO::Remove()
{
    if (!m_pFile)
        return false;
    m_bWriting = false;
    return m_pFile->remove();
}

QString RZDataIO::FileName() const
{
    return m_strFileName;
}

bool RZDataIO::IsFileExists() const
{
    if (m_strFileName.isEmpty())
        return false;
    const QFileInfo info(m_strFileName);
    return info.isFile() && info.size() > 0;
}

void RZDataIO::Encrypt(const QString& source, const QString& target)
{
    QFile input(source);
    if (!input.open(QIODevice::ReadOnly))
        return;
    if (target.isEmpty())
        return;
    RZDataIO output(target);
    if (!output.Open(QIODevice::WriteOnly))
        return;
    char buffer[1024];
    for (;;) {
        const qint64 read = input.read(buffer, sizeof buffer);
        if (read < 0)
            return; // a read error: the destructor removes the partial copy
        if (read == 0)
            break;
        output.Write(QByteArray(buffer, static_cast<int>(read)));
    }
    output.Close();
}

// ---- FReplyTimeOut -------------------------------------------------------------------------------

FReplyTimeOut::FReplyTimeOut(QNetworkReply* reply, int ms) : FReplyTimeOut(reply, QString(), ms) {}

FReplyTimeOut::FReplyTimeOut(QNetworkReply* reply, QString id, int ms)
    : QObject(reply), m_nInterval(std::max(ms, kMinimumInterval)), m_strId(std::move(id))
{
    m_pTimer = new QTimer(this);
    m_pTimer->setInterval(m_nInterval);
    m_pTimer->setSingleShot(true);
    if (reply && reply->isRunning())
        connect(m_pTimer, &QTimer::timeout, this, &FReplyTimeOut::onTimeout);
}

void FReplyTimeOut::Start()
{
    m_pTimer->start();
}

void FReplyTimeOut::SetAbortAfterTimeout(bool abort)
{
    m_bAbortAfterTimeout = abort;
}

void FReplyTimeOut::SetDownLoadFileState(bool download)
{
    QNetworkReply* reply = qobject_cast<QNetworkReply*>(parent());
    if (!reply)
        return;
    if (download)
        connect(reply, &QIODevice::readyRead, this, &FReplyTimeOut::onReadReady, Qt::UniqueConnection);
    else
        disconnect(reply, &QIODevice::readyRead, this, &FReplyTimeOut::onReadReady);
}

void FReplyTimeOut::onReadReady()
{
    if (m_pTimer->isActive())
        m_pTimer->stop();
    m_pTimer->setInterval(m_nInterval);
    m_pTimer->start();
}

void FReplyTimeOut::onTimeout()
{
    RZLOG_INFO("timeout");
    QNetworkReply* reply = qobject_cast<QNetworkReply*>(parent());
    if (!reply || !reply->isRunning())
        return;
    RZLOG_INFO("code:%d", static_cast<int>(reply->error()));
    if (m_bAbortAfterTimeout) {
        RZLOG_INFO("abort");
        reply->abort();
    }
    if (!m_strId.isEmpty())
        emit sigTimeOutWithId(m_strId);
    else
        emit sigTimeOut();
}

// ---- RZNetwork: the shared manager and the host's switches --------------------------------------------

RZNetwork::RZNetwork(QObject* parent) : QObject(parent) {}

RZNetwork::~RZNetwork()
{
    CancelAllRequest();
}

QNetworkAccessManager* RZNetwork::GetNetManager()
{
    // A warning, not a guard: the manager may only be used safely from the main thread.
    const QCoreApplication* app = QCoreApplication::instance();
    if (app && QThread::currentThread() != app->thread())
        RZLOG_ERROR("*********run in other thread**********");
    QMutexLocker lock(&g_oManagerMutex);
    if (!g_pManager)
        g_pManager = new QNetworkAccessManager();
    return g_pManager;
}

void RZNetwork::ReleaseManeger()
{
    QMutexLocker lock(&g_oManagerMutex);
    if (!g_pManager)
        return;
    RZLOG_INFO("RZNetwork::ReleaseManeger begin");
    g_pManager->clearConnectionCache();
    g_pManager->deleteLater();
    g_pManager = nullptr;
}

void RZNetwork::setNetworkProbe(std::function<bool()> probe)
{
    QMutexLocker lock(&g_oProbeMutex);
    g_fnProbe = std::move(probe);
}

void RZNetwork::setPeerVerifyDisabled(bool disabled)
{
    if (g_bPeerVerifyDisabled.exchange(disabled) == disabled)
        return;
    // A pooled connection keeps the verification it was opened with; none may outlive the switch.
    QMutexLocker lock(&g_oManagerMutex);
    if (g_pManager)
        g_pManager->clearConnectionCache();
}

bool RZNetwork::isPeerVerifyDisabled()
{
    return g_bPeerVerifyDisabled.load();
}

bool RZNetwork::IsNetworkDeviceValid()
{
    std::function<bool()> probe;
    {
        QMutexLocker lock(&g_oProbeMutex);
        probe = g_fnProbe;
    }
    if (probe)
        return probe();

    std::uint32_t flags = 7;
    std::uint32_t lastError = 0;
    if (RZPlatform::internetConnectedState(&flags, &lastError))
        return true;
    RZLOG_INFO("InternetGetConnectedState lasterror code = %d type = %d", static_cast<int>(lastError),
               static_cast<int>(flags));
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    QNetworkConfigurationManager configurations;
    return configurations.isOnline();
    QT_WARNING_POP
}

int RZNetwork::WaitForNetworkFinished(RZNetwork& net, bool& ok, QString& result, int ms)
{
    QEventLoop loop;
    int value = 0;
    const auto onFinished = [&](bool success, const QString& text) {
        ok = success;
        result = text;
        if (!success)
            value = -1;
        loop.quit();
    };
    const QMetaObject::Connection postConnection = connect(
        &net, &RZNetwork::HttpPostRequestFinished, &loop,
        [&onFinished](bool success, const QString& first, const QString&) { onFinished(success, first); });
    const QMetaObject::Connection getConnection =
        connect(&net, &RZNetwork::HttpGetRequestFinished, &loop, onFinished);
    QTimer timer;
    timer.setSingleShot(true);
    connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
    timer.start(ms);
    loop.exec();
    if (!timer.isActive()) {
        value = -2;
        // A cancelled download ends at once and reports through the handler above.
        net.CancelAllRequest();
    } else {
        timer.stop();
    }
    disconnect(postConnection);
    disconnect(getConnection);
    return value;
}

// ---- RZNetwork: the text forms -------------------------------------------------------------------

void RZNetwork::CheckNetworkAccessible()
{
    // The reported state is overridden on every request, and the request goes out anyway.
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    QNetworkAccessManager* manager = GetNetManager();
    if (manager->networkAccessible() == QNetworkAccessManager::NotAccessible) {
        RZLOG_INFO("Network No Accessible");
        manager->setNetworkAccessible(QNetworkAccessManager::Accessible);
    }
    QT_WARNING_POP
}

void RZNetwork::prepare(QNetworkRequest& request)
{
    if (request.header(QNetworkRequest::ContentTypeHeader).toString().isEmpty())
        request.setHeader(QNetworkRequest::ContentTypeHeader,
                          QStringLiteral("application/x-www-form-urlencoded"));
#if QT_CONFIG(ssl)
    if (g_bPeerVerifyDisabled.load() && request.url().toString().startsWith(QLatin1String("https"))) {
        QSslConfiguration ssl = request.sslConfiguration();
        ssl.setPeerVerifyMode(QSslSocket::VerifyNone);
        ssl.setProtocol(QSsl::AnyProtocol);
        request.setSslConfiguration(ssl);
    }
#endif
    CheckNetworkAccessible();
}

void RZNetwork::watch(QNetworkReply* reply, Form form, const QString& id, int ms, bool abortOnTimeout)
{
    const bool withId = form == Form::Get || form == Form::PostWithId;
    if (form != Form::Post)
        reply->setProperty(kRequestIdProperty, id);
    if (ms > 0) {
        FReplyTimeOut* timeOut = withId ? new FReplyTimeOut(reply, id, ms) : new FReplyTimeOut(reply, ms);
        // Queued, so that no receiver runs inside the reply's abort.
        connect(timeOut, &FReplyTimeOut::sigTimeOut, this, &RZNetwork::sigTimeOut, Qt::QueuedConnection);
        if (form == Form::Get) {
            connect(
                timeOut, &FReplyTimeOut::sigTimeOutWithId, this,
                [this](const QString& requestId) {
                    emit sigTimeOut();
                    emit sigTimeOutWithId(requestId);
                },
                Qt::QueuedConnection);
        } else if (form == Form::PostWithId) {
            connect(timeOut, &FReplyTimeOut::sigTimeOutWithId, this, &RZNetwork::sigTimeOutWithId,
                    Qt::QueuedConnection);
        } else if (form == Form::Post) {
            timeOut->SetAbortAfterTimeout(abortOnTimeout);
        }
        timeOut->Start();
    }
    switch (form) {
    case Form::Get:
        connect(reply, &QNetworkReply::finished, this, [this, reply] { onTextGetFinished(reply); });
        break;
    case Form::CbsGet:
        connect(reply, &QNetworkReply::finished, this, [this, reply] { onCbsGetFinished(reply); });
        break;
    case Form::Post:
        connect(reply, &QNetworkReply::finished, this, &RZNetwork::OnPostFinished);
        break;
    case Form::PostWithId:
        connect(reply, &QNetworkReply::finished, this, [this, reply] { onPostWithIdFinished(reply); });
        break;
    }
    connectSslLog(reply, this);
}

void RZNetwork::HttpGetRequest(QNetworkRequest& request, QString id, int ms)
{
    if (!IsNetworkDeviceValid()) {
        emit HttpGetRequestFinished(false, QStringLiteral("offLine"));
        return;
    }
    prepare(request);
    watch(GetNetManager()->get(request), Form::Get, id, ms, true);
}

void RZNetwork::HttpCBSGetRequest(QNetworkRequest& request, QString id, int ms)
{
    if (!IsNetworkDeviceValid()) {
        emit HttpCBSGetRequestFinished(false,
                                       tr("You computer seems to be offline,causing a connection "
                                          "error.Please check your connection and try "
                                          "again."),
                                       id);
        return;
    }
    prepare(request);
    watch(GetNetManager()->get(request), Form::CbsGet, id, ms, true);
}

QNetworkReply* RZNetwork::HttpPostRequest(QNetworkRequest& request, const QString& body, int ms,
                                          bool abortOnTimeout)
{
    if (!IsNetworkDeviceValid()) {
        emit HttpPostRequestFinished(false, QStringLiteral("offLine"), QString());
        return nullptr;
    }
    prepare(request);
    QNetworkReply* reply = GetNetManager()->post(request, body.toUtf8());
    watch(reply, Form::Post, QString(), ms, abortOnTimeout);
    return reply;
}

void RZNetwork::HttpPostRequest(const QString& url, QHttpMultiPart* multiPart, int ms)
{
    QNetworkRequest request{QUrl(url)};
    if (!IsNetworkDeviceValid()) {
        delete multiPart; // ours by contract, and no reply will take it
        emit HttpPostRequestFinished(false, QStringLiteral("offLine"), QString());
        return;
    }
    prepare(request);
    QNetworkReply* reply =
        multiPart ? GetNetManager()->post(request, multiPart) : GetNetManager()->post(request, QByteArray());
    if (multiPart)
        multiPart->setParent(reply);
    watch(reply, Form::Post, QString(), ms, true);
}

QNetworkReply* RZNetwork::HttpPostRequestWithId(QNetworkRequest& request, const QString& body, QString id,
                                                int ms, bool /*abortOnTimeout*/)
{
    if (!IsNetworkDeviceValid()) {
        emit HttpPostRequestFinishedWithId(false, QStringLiteral("offLine"), id);
        return nullptr;
    }
    prepare(request);
    QNetworkReply* reply = GetNetManager()->post(request, body.toUtf8());
    watch(reply, Form::PostWithId, id, ms, true);
    return reply;
}

QNetworkReply* RZNetwork::HttpPostRequestWithId(QNetworkRequest& request, QHttpMultiPart* multiPart,
                                                QString id, int ms, bool /*abortOnTimeout*/)
{
    if (!IsNetworkDeviceValid()) {
        emit HttpPostRequestFinishedWithId(false, QStringLiteral("offLine"), id);
        return nullptr;
    }
    prepare(request);
    QNetworkReply* reply =
        multiPart ? GetNetManager()->post(request, multiPart) : GetNetManager()->post(request, QByteArray());
    watch(reply, Form::PostWithId, id, ms, true);
    return reply;
}

void RZNetwork::onTextGetFinished(QNetworkReply* reply)
{
    const QString body = bodyOf(reply);
    RZLOG_INFO("%s", qUtf8Printable(QStringLiteral("OnGetFinishedCode:%1").arg(statusOf(reply))));
    RZLOG_INFO("%s",
               qUtf8Printable(QStringLiteral("OnGetFinishedErr:%1").arg(static_cast<int>(reply->error()))));
    const QString id = reply->property(kRequestIdProperty).toString();
    const bool ok = reply->error() == QNetworkReply::NoError;
    const QString text = ok ? body : failureText(reply, body);
    reply->deleteLater();
    if (id.isEmpty())
        emit HttpGetRequestFinished(ok, text);
    else
        emit HttpGetRequestFinishedWithId(ok, text, id);
}

void RZNetwork::onCbsGetFinished(QNetworkReply* reply)
{
    const QString id = reply->property(kRequestIdProperty).toString();
    const bool ok = reply->error() == QNetworkReply::NoError;
    const QString text = ok ? QString::fromUtf8(reply->rawHeader("Location")) : failureText(reply);
    reply->deleteLater();
    emit HttpCBSGetRequestFinished(ok, text, id);
}

void RZNetwork::OnPostFinished()
{
    QNetworkReply* reply = qobject_cast<QNetworkReply*>(sender());
    if (!reply)
        return;
    const QString body = bodyOf(reply);
    RZLOG_INFO("OnPostFinisheResult:%s,HttpCode:%d", qUtf8Printable(body), statusOf(reply));
    RZLOG_INFO("%s",
               qUtf8Printable(QStringLiteral("OnPostFinishedErr:%1").arg(static_cast<int>(reply->error()))));
    const bool ok = reply->error() == QNetworkReply::NoError;
    if (!ok) {
        QT_WARNING_PUSH
        QT_WARNING_DISABLE_DEPRECATED
        RZLOG_INFO("OnPostFinishedErrStr: %s, Accessibility: %d", qUtf8Printable(reply->errorString()),
                   static_cast<int>(GetNetManager()->networkAccessible()));
        QT_WARNING_POP
    }
    const QString first = ok ? body : failureText(reply);
    const QString second = ok ? QString() : body;
    reply->deleteLater();
    emit HttpPostRequestFinished(ok, first, second);
}

void RZNetwork::onPostWithIdFinished(QNetworkReply* reply)
{
    const QString body = bodyOf(reply);
    RZLOG_INFO("OnPostFinisheResult:%s,HttpCode:%d", qUtf8Printable(body), statusOf(reply));
    RZLOG_INFO("%s",
               qUtf8Printable(QStringLiteral("OnPostFinishedErr:%1").arg(static_cast<int>(reply->error()))));
    const QString id = reply->property(kRequestIdProperty).toString();
    const bool ok = reply->error() == QNetworkReply::NoError;
    const QString text = ok ? body : failureText(reply, body);
    reply->deleteLater();
    emit HttpPostRequestFinishedWithId(ok, text, id);
}

// ---- RZNetwork: downloads ---------------------------------------------------------------------------

void RZNetwork::HttpGetRequest(const QUrl& url, const QString& path, RZDataIO::FDataType /*type*/,
                               bool overwrite, int ms)
{
    RZLOG_INFO("downloadUrl:%s", qUtf8Printable(url.toString()));
    RZDataIO* dataIO = new RZDataIO(path, this);
    if (!overwrite && dataIO->IsFileExists()) {
        delete dataIO;
        emit HttpGetRequestFinished(true, path);
        return;
    }
    if (url.isEmpty() || !dataIO->Open(QIODevice::WriteOnly)) {
        delete dataIO;
        emit HttpGetRequestFinished(false, path);
        return;
    }
    if (!IsNetworkDeviceValid()) {
        delete dataIO; // removes the new temporary file
        emit HttpGetRequestFinished(false, path);
        return;
    }
    CheckNetworkAccessible();
    QNetworkReply* reply = GetNetManager()->get(QNetworkRequest(url));
    if (ms > 0)
        ms = std::max(ms, kMinimumDownloadLimit);
    watchDownload(reply, dataIO, ms);
}

void RZNetwork::watchDownload(QNetworkReply* reply, RZDataIO* dataIO, int ms)
{
    if (ms > 0) {
        reply->setProperty(kTimeOutProperty, ms);
        FReplyTimeOut* timeOut = new FReplyTimeOut(reply, ms);
        connect(timeOut, &FReplyTimeOut::sigTimeOut, this, &RZNetwork::sigTimeOut, Qt::DirectConnection);
        timeOut->SetDownLoadFileState(true);
        timeOut->Start();
    }
    // Qt's buffer would otherwise grow without bound whenever the disk is slower than the network.
    reply->setReadBufferSize(kDownloadReadBuffer);
    dataIO->m_nReplyBytes = 0;
    mDataIOMap.insert(reply, dataIO);
    connect(reply, &QIODevice::readyRead, this, &RZNetwork::OnReadyRead);
    connect(reply, &QNetworkReply::finished, this, &RZNetwork::OnGetFinished);
    connect(reply, &QNetworkReply::downloadProgress, this, &RZNetwork::DownLoadProgress);
    connectSslLog(reply, this);
    // A reply destroyed unfinished (the manager released under it) ends its download as a failure.
    connect(reply, &QObject::destroyed, this, [this, reply] {
        RZDataIO* orphan = mDataIOMap.take(reply);
        if (!orphan)
            return;
        const QString path = orphan->FileName();
        orphan->Remove();
        orphan->deleteLater();
        emit HttpGetRequestFinished(false, path);
    });
}

void RZNetwork::OnReadyRead()
{
    QNetworkReply* reply = qobject_cast<QNetworkReply*>(sender());
    if (!reply || statusOf(reply) >= 400)
        return;
    if (RZDataIO* dataIO = mDataIOMap.value(reply)) {
        const QByteArray data = reply->read(reply->bytesAvailable());
        dataIO->m_nReplyBytes += data.size();
        dataIO->Write(data);
    }
}

void RZNetwork::OnGetFinished()
{
    QNetworkReply* reply = qobject_cast<QNetworkReply*>(sender());
    if (!reply)
        return;
    RZDataIO* dataIO = mDataIOMap.value(reply);
    if (!dataIO)
        return;
    const int status = statusOf(reply);
    RZLOG_INFO("%s", qUtf8Printable(QStringLiteral("OnGetFinishedCode:%1").arg(status)));
    RZLOG_INFO("%s",
               qUtf8Printable(QStringLiteral("OnGetFinishedErr:%1").arg(static_cast<int>(reply->error()))));

    const QString path = dataIO->FileName();
    // Qt reports a connection that ends before the promised length as no error: that is no success.
    // (Qt drops the length of a body it decompresses itself, so a known length is the body's own.)
    if (status < 400 && reply->bytesAvailable() > 0) {
        const QByteArray rest = reply->readAll();
        dataIO->m_nReplyBytes += rest.size();
        dataIO->Write(rest);
    }
    const QVariant length = reply->header(QNetworkRequest::ContentLengthHeader);
    const bool truncated = length.isValid() && status < 400 && dataIO->m_nReplyBytes < length.toLongLong();
    if (truncated)
        RZLOG_WARN("%s ended after %lld of %lld bytes", qUtf8Printable(reply->url().toString()),
                   dataIO->m_nReplyBytes, length.toLongLong());
    if (reply->error() == QNetworkReply::NoError && status < 400 && !truncated) {
        const QVariant target = reply->attribute(QNetworkRequest::RedirectionTargetAttribute);
        if (target.isNull()) {
            dataIO->Close();
            emit HttpGetRequestFinished(dataIO->m_bReplaced, path);
        } else {
            const QUrl targetUrl = target.toUrl();
            RZLOG_INFO("RelocationUrl %s", qUtf8Printable(reply->url().resolved(targetUrl).toString()));
            mDataIOMap.remove(reply);
            const int ms = reply->property(kTimeOutProperty).toInt();
            reply->deleteLater();
            CheckNetworkAccessible();
            // The target as it stands: a relative one fails.
            QNetworkReply* next = GetNetManager()->get(QNetworkRequest(QUrl(targetUrl.toString())));
            watchDownload(next, dataIO, ms);
            return;
        }
    } else {
        dataIO->Remove();
        emit HttpGetRequestFinished(false, path);
    }
    mDataIOMap.remove(reply);
    dataIO->deleteLater();
    reply->deleteLater();
}

void RZNetwork::CancelAllRequest()
{
    RZLOG_INFO("RZNetwork::CancelAllRequest() mDataIOMap.keys().size()=%d",
               static_cast<int>(mDataIOMap.size()));
    const QList<QNetworkReply*> replies = mDataIOMap.keys();
    for (QNetworkReply* reply : replies) {
        RZLOG_INFO("RZNetwork::CancelAllRequest() reply=%x, ",
                   static_cast<unsigned>(reinterpret_cast<quintptr>(reply)));
        // An abort finishes the reply at once: OnGetFinished removes it and reports the failure.
        if (reply && mDataIOMap.contains(reply) && !reply->isFinished())
            reply->abort();
    }
    for (RZDataIO* dataIO : std::as_const(mDataIOMap))
        if (dataIO)
            dataIO->deleteLater();
    mDataIOMap.clear();
}
