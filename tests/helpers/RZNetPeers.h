#pragma once
// Real peers for the network tests and benchmarks: nginx (HTTP, and HTTPS with certificates made by
// openssl at run time), tinyproxy and microsocks, each on free loopback ports with its own files in a
// folder the caller owns, started and stopped by pid. Nothing here skips: a peer that cannot start
// says why, and the caller fails with that text.

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QHostAddress>
#include <QHostInfo>
#include <QNetworkInterface>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <memory>

namespace RZNetPeers {

// A port nobody listens on at this moment.
inline quint16 freePort(const QHostAddress& address = QHostAddress::LocalHost)
{
    QTcpServer probe;
    if (!probe.listen(address, 0))
        return 0;
    return probe.serverPort();
}

inline void pause(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

inline QString programPath(const QString& name)
{
    QString path = QStandardPaths::findExecutable(name);
    if (path.isEmpty())
        path = QStandardPaths::findExecutable(name, {QStringLiteral("/usr/sbin"), QStringLiteral("/sbin")});
    return path;
}

inline QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline bool writeFile(const QString& path, const QByteArray& contents)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size();
}

// Runs a tool to its end; false with its output when it fails.
inline bool runTool(const QString& program, const QStringList& args, const QString& workDir, QString* error)
{
    QProcess process;
    process.setWorkingDirectory(workDir);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, args);
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        *error = QStringLiteral("%1 %2 failed: %3")
                     .arg(program, args.join(QLatin1Char(' ')), QString::fromLocal8Bit(process.readAll()));
        return false;
    }
    return true;
}

// One server process.
class Peer
{
public:
    Peer() = default;
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    ~Peer() { stop(); }

    // Starts `program` and waits until each endpoint accepts connections.
    bool start(const QString& program, const QStringList& args,
               const QList<QPair<QHostAddress, quint16>>& endpoints, QString* error,
               const QString& workDir = QString())
    {
        if (program.isEmpty()) {
            *error = QStringLiteral("program not installed (run scripts/setup)");
            return false;
        }
        m_oProcess.setProcessChannelMode(QProcess::MergedChannels);
        if (!workDir.isEmpty())
            m_oProcess.setWorkingDirectory(workDir);
        m_oProcess.start(program, args);
        if (!m_oProcess.waitForStarted(10000)) {
            *error = program + QStringLiteral(" did not start: ") + m_oProcess.errorString();
            return false;
        }
        QElapsedTimer clock;
        clock.start();
        for (const auto& endpoint : endpoints) {
            for (;;) {
                if (m_oProcess.state() != QProcess::Running) {
                    *error = QStringLiteral("%1 ended at start: %2").arg(program, output());
                    return false;
                }
                QTcpSocket socket;
                socket.connectToHost(endpoint.first, endpoint.second);
                if (socket.waitForConnected(500))
                    break;
                if (clock.elapsed() > 15000) {
                    *error = QStringLiteral("%1 does not listen on %2:%3: %4")
                                 .arg(program, endpoint.first.toString())
                                 .arg(endpoint.second)
                                 .arg(output());
                    stop();
                    return false;
                }
                pause(20);
            }
        }
        return true;
    }

    void stop()
    {
        if (m_oProcess.state() == QProcess::NotRunning)
            return;
        m_oProcess.terminate();
        if (!m_oProcess.waitForFinished(5000)) {
            m_oProcess.kill();
            m_oProcess.waitForFinished(5000);
        }
    }

    bool isRunning() const { return m_oProcess.state() == QProcess::Running; }

    // Everything the process wrote so far (the event loop, or a wait, brings it in).
    QString output()
    {
        m_oOutput += m_oProcess.readAll();
        return QString::fromLocal8Bit(m_oOutput);
    }

private:
    QProcess m_oProcess;
    QByteArray m_oOutput;
};

// A throwaway CA with a server certificate for localhost and 127.0.0.1, and a self-signed one.
struct Certificates
{
    QString caCert;
    QString serverCert;
    QString serverKey;
    QString selfCert;
    QString selfKey;

    bool make(const QString& dir, QString* error)
    {
        const QString openssl = programPath(QStringLiteral("openssl"));
        if (openssl.isEmpty()) {
            *error = QStringLiteral("openssl not installed (run scripts/setup)");
            return false;
        }
        const QStringList ec{QStringLiteral("-newkey"), QStringLiteral("ec"), QStringLiteral("-pkeyopt"),
                             QStringLiteral("ec_paramgen_curve:prime256v1"), QStringLiteral("-nodes")};
        const QString san = QStringLiteral("subjectAltName=DNS:localhost,IP:127.0.0.1");
        caCert = dir + QStringLiteral("/ca.crt");
        serverCert = dir + QStringLiteral("/server.crt");
        serverKey = dir + QStringLiteral("/server.key");
        selfCert = dir + QStringLiteral("/self.crt");
        selfKey = dir + QStringLiteral("/self.key");
        if (!writeFile(dir + QStringLiteral("/server.ext"),
                       san.toLatin1() + "\nbasicConstraints=CA:FALSE\nextendedKeyUsage=serverAuth\n"))
            return false;
        return runTool(openssl,
                       QStringList{QStringLiteral("req"), QStringLiteral("-x509")} + ec +
                           QStringList{
                               QStringLiteral("-keyout"), QStringLiteral("ca.key"), QStringLiteral("-out"),
                               caCert, QStringLiteral("-days"), QStringLiteral("2"), QStringLiteral("-subj"),
                               QStringLiteral("/CN=RZCore test CA"), QStringLiteral("-addext"),
                               QStringLiteral("basicConstraints=critical,CA:TRUE"), QStringLiteral("-addext"),
                               QStringLiteral("keyUsage=critical,keyCertSign,cRLSign")},
                       dir, error) &&
               runTool(openssl,
                       QStringList{QStringLiteral("req")} + ec +
                           QStringList{QStringLiteral("-keyout"), serverKey, QStringLiteral("-out"),
                                       QStringLiteral("server.csr"), QStringLiteral("-subj"),
                                       QStringLiteral("/CN=localhost")},
                       dir, error) &&
               runTool(openssl,
                       {QStringLiteral("x509"), QStringLiteral("-req"), QStringLiteral("-in"),
                        QStringLiteral("server.csr"), QStringLiteral("-CA"), caCert, QStringLiteral("-CAkey"),
                        QStringLiteral("ca.key"), QStringLiteral("-CAcreateserial"), QStringLiteral("-out"),
                        serverCert, QStringLiteral("-days"), QStringLiteral("2"), QStringLiteral("-extfile"),
                        QStringLiteral("server.ext")},
                       dir, error) &&
               runTool(openssl,
                       QStringList{QStringLiteral("req"), QStringLiteral("-x509")} + ec +
                           QStringList{QStringLiteral("-keyout"), selfKey, QStringLiteral("-out"), selfCert,
                                       QStringLiteral("-days"), QStringLiteral("2"), QStringLiteral("-subj"),
                                       QStringLiteral("/CN=localhost"), QStringLiteral("-addext"), san},
                       dir, error);
    }
};

// The address this machine's host name resolves to, when it is one of this machine's own. Qt sends
// requests for "localhost" and loopback addresses past any proxy, so a request meant to pass through a
// proxy to a local server names the server by the host name instead.
inline QHostAddress hostNameAddress(QString* hostName, QString* error)
{
    *hostName = QHostInfo::localHostName();
    const QHostInfo info = QHostInfo::fromName(*hostName);
    const QList<QHostAddress> own = QNetworkInterface::allAddresses();
    for (const QHostAddress& address : info.addresses())
        if (address.protocol() == QAbstractSocket::IPv4Protocol &&
            (address.isLoopback() || own.contains(address)))
            return address;
    *error =
        QStringLiteral("the host name \"%1\" does not resolve to an address of this machine").arg(*hostName);
    return QHostAddress();
}

// nginx serving `root`: plain HTTP on 127.0.0.1 (and on the host name's address, for proxied
// requests), HTTPS with the CA's certificate, HTTPS with the self-signed one. Access log in `dir`.
class Nginx
{
public:
    quint16 httpPort = 0;
    quint16 hostNamePort = 0;
    quint16 httpsPort = 0;
    quint16 selfSignedPort = 0;
    QString hostName;

    bool start(const QString& dir, const QString& root, const Certificates* certificates, QString* error)
    {
        QString nameError;
        const QHostAddress named = hostNameAddress(&hostName, &nameError);
        if (named.isNull()) {
            *error = nameError;
            return false;
        }
        m_strDir = dir;
        // A port taken between the probe and nginx's bind is a reason to try again, not to fail.
        for (int attempt = 0; attempt < 3; ++attempt) {
            httpPort = freePort();
            hostNamePort = freePort(named);
            httpsPort = certificates ? freePort() : 0;
            selfSignedPort = certificates ? freePort() : 0;
            QByteArray servers = QStringLiteral("  server { listen 127.0.0.1:%1; listen %2:%3; root %4; }\n")
                                     .arg(httpPort)
                                     .arg(named.toString())
                                     .arg(hostNamePort)
                                     .arg(root)
                                     .toUtf8();
            QList<QPair<QHostAddress, quint16>> endpoints{{QHostAddress::LocalHost, httpPort},
                                                          {named, hostNamePort}};
            if (certificates) {
                servers += QStringLiteral("  server { listen 127.0.0.1:%1 ssl; ssl_certificate %2; "
                                          "ssl_certificate_key %3; root %4; }\n")
                               .arg(httpsPort)
                               .arg(certificates->serverCert, certificates->serverKey, root)
                               .toUtf8();
                servers += QStringLiteral("  server { listen 127.0.0.1:%1 ssl; ssl_certificate %2; "
                                          "ssl_certificate_key %3; root %4; }\n")
                               .arg(selfSignedPort)
                               .arg(certificates->selfCert, certificates->selfKey, root)
                               .toUtf8();
                endpoints << qMakePair(QHostAddress(QHostAddress::LocalHost), httpsPort)
                          << qMakePair(QHostAddress(QHostAddress::LocalHost), selfSignedPort);
            }
            const QByteArray d = dir.toUtf8();
            const QByteArray conf = "daemon off;\nmaster_process off;\nworker_processes 1;\npid " + d +
                                    "/nginx.pid;\nerror_log " + d + "/error.log info;\n" +
                                    "events { worker_connections 256; }\nhttp {\n  access_log " + d +
                                    "/access.log;\n  client_body_temp_path " + d +
                                    "/body;\n  proxy_temp_path " + d + "/proxy;\n  fastcgi_temp_path " + d +
                                    "/fastcgi;\n  uwsgi_temp_path " + d + "/uwsgi;\n  scgi_temp_path " + d +
                                    "/scgi;\n  default_type application/octet-stream;\n" +
                                    "  sendfile on;\n  keepalive_requests 100000;\n" + servers + "}\n";
            if (!writeFile(dir + QStringLiteral("/nginx.conf"), conf)) {
                *error = QStringLiteral("cannot write nginx.conf in ") + dir;
                return false;
            }
            m_pPeer = std::make_unique<Peer>();
            if (m_pPeer->start(programPath(QStringLiteral("nginx")),
                               {QStringLiteral("-p"), dir, QStringLiteral("-c"),
                                dir + QStringLiteral("/nginx.conf"), QStringLiteral("-e"),
                                dir + QStringLiteral("/error.log")},
                               endpoints, error))
                return true;
            *error += QString::fromUtf8(readFile(dir + QStringLiteral("/error.log")));
            if (!error->contains(QLatin1String("Address already in use")))
                return false;
        }
        return false;
    }

    void stop()
    {
        if (m_pPeer)
            m_pPeer->stop();
    }
    QString accessLog() const
    {
        return QString::fromUtf8(readFile(m_strDir + QStringLiteral("/access.log")));
    }
    QString url(const QString& path) const
    {
        return QStringLiteral("http://127.0.0.1:%1%2").arg(httpPort).arg(path);
    }
    QString hostNameUrl(const QString& path) const
    {
        return QStringLiteral("http://%1:%2%3").arg(hostName).arg(hostNamePort).arg(path);
    }

private:
    QString m_strDir;
    std::unique_ptr<Peer> m_pPeer;
};

// tinyproxy on 127.0.0.1, with Basic authentication when a user is given. Its log is a file.
class TinyProxy
{
public:
    quint16 port = 0;

    bool start(const QString& dir, const QString& user, const QString& password, QString* error)
    {
        port = freePort();
        m_strLog = dir + QStringLiteral("/tinyproxy-%1.log").arg(port);
        QByteArray conf = "Port " + QByteArray::number(port) + "\nListen 127.0.0.1\nTimeout 30\nLogFile \"" +
                          m_strLog.toUtf8() + "\"\nLogLevel Info\nMaxClients 50\nAllow 127.0.0.1\n";
        if (!user.isEmpty())
            conf += "BasicAuth " + user.toUtf8() + ' ' + password.toUtf8() + '\n';
        const QString confPath = dir + QStringLiteral("/tinyproxy-%1.conf").arg(port);
        if (!writeFile(confPath, conf)) {
            *error = QStringLiteral("cannot write ") + confPath;
            return false;
        }
        return m_oPeer.start(programPath(QStringLiteral("tinyproxy")),
                             {QStringLiteral("-d"), QStringLiteral("-c"), confPath},
                             {{QHostAddress::LocalHost, port}}, error);
    }
    void stop() { m_oPeer.stop(); }
    QString log() const { return QString::fromUtf8(readFile(m_strLog)); }

private:
    QString m_strLog;
    Peer m_oPeer;
};

// microsocks on 127.0.0.1, with user and password when a user is given. It logs to its output.
class MicroSocks
{
public:
    quint16 port = 0;

    bool start(const QString& user, const QString& password, QString* error)
    {
        port = freePort();
        QStringList args{QStringLiteral("-i"), QStringLiteral("127.0.0.1"), QStringLiteral("-p"),
                         QString::number(port)};
        if (!user.isEmpty())
            args << QStringLiteral("-u") << user << QStringLiteral("-P") << password;
        return m_oPeer.start(programPath(QStringLiteral("microsocks")), args,
                             {{QHostAddress::LocalHost, port}}, error);
    }
    void stop() { m_oPeer.stop(); }
    QString log() { return m_oPeer.output(); }

private:
    Peer m_oPeer;
};

} // namespace RZNetPeers
