#pragma once
// The fixture of the network suites: nginx with a throwaway CA, the misbehaving in-test server, a
// folder for every file, a log sink, and the offline probe in the test's hands.

#include "NetTestServer.h"
#include "RZNetPeers.h"
#include "RZTestLogSink.h"

#include <RZCore/net/RZNetwork.h>

#include <QDir>
#include <QRandomGenerator>
#include <QSslConfiguration>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

struct NetFixture
{
    QTemporaryDir dir;
    RZNetPeers::Certificates certificates;
    RZNetPeers::Nginx nginx;
    NetTestServer rude;
    std::unique_ptr<RZScopedTestLogger> log;
    bool online = true;
    QByteArray small; // nginx's /small.bin

    // Everything up; the reason when something is not.
    QString start()
    {
        QStandardPaths::setTestModeEnabled(true);
        log = std::make_unique<RZScopedTestLogger>();
        RZNetwork::setNetworkProbe([this] { return online; });
        if (!dir.isValid() || !rude.isListening())
            return QStringLiteral("no temporary folder or no in-test server");
        QDir().mkpath(path(QStringLiteral("www")));
        QDir().mkpath(path(QStringLiteral("nginx")));
        QDir().mkpath(path(QStringLiteral("out")));
        small.resize(64 * 1024);
        for (char& byte : small)
            byte = static_cast<char>(QRandomGenerator::global()->bounded(256));
        RZNetPeers::writeFile(path(QStringLiteral("www/small.bin")), small);
        QString error;
        if (!certificates.make(path(QStringLiteral("nginx")), &error) ||
            !nginx.start(path(QStringLiteral("nginx")), path(QStringLiteral("www")), &certificates, &error))
            return error;
        // The throwaway CA is trusted the way a deployment's own CA would be: in the default configuration.
        QSslConfiguration ssl = QSslConfiguration::defaultConfiguration();
        if (!ssl.addCaCertificates(certificates.caCert))
            return QStringLiteral("the test CA could not be read");
        QSslConfiguration::setDefaultConfiguration(ssl);
        return QString();
    }

    void stop()
    {
        nginx.stop();
        RZNetwork::setNetworkProbe(nullptr);
        RZNetwork::ReleaseManeger();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        log.reset();
    }

    QString path(const QString& name) const { return dir.path() + QLatin1Char('/') + name; }
    QString https(const QString& file, bool selfSigned = false) const
    {
        return QStringLiteral("https://127.0.0.1:%1%2")
            .arg(selfSigned ? nginx.selfSignedPort : nginx.httpsPort)
            .arg(file);
    }

    // Temporary download files left in a folder.
    static QStringList leftovers(const QString& folder)
    {
        return QDir(folder).entryList({QStringLiteral("*.temp*")}, QDir::Files);
    }

    bool logged(const QString& text) const
    {
        for (const std::string& message : log->sink->messages())
            if (QString::fromStdString(message).contains(text))
                return true;
        return false;
    }
};

// Waits for the first emission of a spy's signal (at once when it was raised inside the call).
inline bool caught(QSignalSpy& spy, int ms = 15000)
{
    return !spy.isEmpty() || spy.wait(ms);
}
