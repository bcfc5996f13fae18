#pragma once
// A private X server for a test: Xvfb on a display number it picks itself (-displayfd), one screen
// of the size a case needs, optionally "Xft.dpi" in the root window's resources (through xrdb, the
// way a desktop sets it), stopped by its pid when the object goes.

#include <QProcess>
#include <QProcessEnvironment>
#include <QSize>
#include <QStandardPaths>
#include <QString>

class RZXvfb
{
public:
    RZXvfb() = default;
    RZXvfb(const RZXvfb&) = delete;
    RZXvfb& operator=(const RZXvfb&) = delete;
    ~RZXvfb() { stop(); }

    // Whether the tools are installed (scripts/setup installs them).
    static bool available()
    {
        return !QStandardPaths::findExecutable(QStringLiteral("Xvfb")).isEmpty()
               && !QStandardPaths::findExecutable(QStringLiteral("xrdb")).isEmpty();
    }

    // Starts the server; `dpi` empty leaves "Xft.dpi" unset. False, with error(), when it failed.
    bool start(const QSize& size, const QString& dpi = QString())
    {
        stop();
        // -noreset: without it the server resets, resources and all, when its last client leaves.
        m_oServer.start(QStringLiteral("Xvfb"),
                        {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"), QStringLiteral("0"),
                         QStringLiteral("%1x%2x24").arg(size.width()).arg(size.height()), QStringLiteral("-nolisten"),
                         QStringLiteral("tcp"), QStringLiteral("-noreset")});
        if (!m_oServer.waitForStarted(10000))
            return fail(QStringLiteral("Xvfb did not start: ") + m_oServer.errorString());
        QByteArray number;
        while (!number.contains('\n')) {
            if (!m_oServer.waitForReadyRead(20000))
                return fail(QStringLiteral("Xvfb gave no display number: ") + QString::fromLocal8Bit(m_oServer.readAllStandardError()));
            number += m_oServer.readAllStandardOutput();
        }
        m_strDisplay = QLatin1Char(':') + QString::fromLatin1(number.trimmed());
        return dpi.isEmpty() || mergeResources(QStringLiteral("Xft.dpi:\t%1\n").arg(dpi));
    }

    // Adds resource lines ("name:\tvalue\n") to the root window's RESOURCE_MANAGER property.
    bool mergeResources(const QString& lines)
    {
        QProcess xrdb;
        xrdb.setProcessEnvironment(environment());
        xrdb.start(QStringLiteral("xrdb"), {QStringLiteral("-nocpp"), QStringLiteral("-merge"), QStringLiteral("-")});
        xrdb.write(lines.toLatin1());
        xrdb.closeWriteChannel();
        if (!xrdb.waitForFinished(20000) || xrdb.exitStatus() != QProcess::NormalExit || xrdb.exitCode() != 0)
            return fail(QStringLiteral("xrdb failed: ") + QString::fromLocal8Bit(xrdb.readAllStandardError()));
        return true;
    }

    void stop()
    {
        if (m_oServer.state() == QProcess::NotRunning)
            return;
        m_oServer.terminate(); // SIGTERM to its pid: the server removes its lock file and socket
        if (!m_oServer.waitForFinished(10000)) {
            m_oServer.kill();
            m_oServer.waitForFinished(10000);
        }
        m_strDisplay.clear();
    }

    QString display() const { return m_strDisplay; }
    QString error() const { return m_strError; }

    // This process's environment with DISPLAY naming the server and the xcb platform.
    QProcessEnvironment environment() const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("DISPLAY"), m_strDisplay);
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        env.remove(QStringLiteral("WAYLAND_DISPLAY"));
        // libxkbcommon-x11 (under Qt's xcb plugin) strndup()s keymap names straight out of xcb reply
        // buffers that hold no terminating zero; strndup stops at its length, but AddressSanitizer's
        // strict string checks read to the zero. Not ours to fix: the checks stay on everywhere else.
        if (env.contains(QStringLiteral("ASAN_OPTIONS")))
            env.insert(QStringLiteral("ASAN_OPTIONS"), env.value(QStringLiteral("ASAN_OPTIONS")) + QStringLiteral(":strict_string_checks=0"));
        return env;
    }

private:
    bool fail(const QString& text)
    {
        m_strError = text;
        stop();
        return false;
    }

    QProcess m_oServer;
    QString m_strDisplay;
    QString m_strError;
};
