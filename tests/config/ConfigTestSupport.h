#pragma once
// Shared pieces of the settings-store tests: an isolated home for the machine value store, the
// on-disk state of a settings file, and a driven rz_config_helper process.

#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

// The machine value store lives under the user's configuration location; in test mode that is
// $HOME/.qttest/config, so a per-run HOME keeps parallel runs (and the user's own files) apart.
// Child processes inherit it.
inline void isolateHome(const QTemporaryDir& home)
{
    qputenv("HOME", QFile::encodeName(home.path()));
    QStandardPaths::setTestModeEnabled(true);
}

// What a settings file holds on disk, read from a copy: a QSettings over the file itself would
// share the parsed file, unsynced changes included, with the store's own QSettings in this process.
inline QVariant diskValue(const QString& file, const QString& key)
{
    static int s_nCopy = 0;
    const QString copy = file + QStringLiteral(".snapshot%1").arg(++s_nCopy);
    if (!QFile::copy(file, copy))
        return QVariant();
    QVariant value = QSettings(copy, QSettings::IniFormat).value(key);
    QFile::remove(copy);
    return value;
}

// One rz_config_helper process over a configuration folder.
class ConfigHelper
{
public:
    explicit ConfigHelper(const QString& dir, bool subProcess = false)
    {
        m_oProcess.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_oProcess.start(QStringLiteral(RZ_CONFIG_HELPER),
                         subProcess ? QStringList{dir, QStringLiteral("--sub")} : QStringList{dir});
    }
    ~ConfigHelper()
    {
        if (m_oProcess.state() != QProcess::NotRunning) {
            m_oProcess.kill();
            m_oProcess.waitForFinished(5000);
        }
    }

    // The next reply, without its "@"; empty when none came within the time. Other lines are kept.
    QString next(int timeoutMs = 10000)
    {
        QElapsedTimer timer;
        timer.start();
        for (;;) {
            while (m_oProcess.canReadLine()) {
                const QString line = QString::fromUtf8(m_oProcess.readLine()).trimmed();
                if (line.startsWith(QLatin1Char('@')))
                    return line.mid(1);
                m_oOtherLines << line;
            }
            const qint64 left = timeoutMs - timer.elapsed();
            if (left <= 0 || !m_oProcess.waitForReadyRead(static_cast<int>(left)))
                return QString();
        }
    }
    QString send(const QStringList& fields)
    {
        m_oProcess.write((fields.join(QLatin1Char('\t')) + QLatin1Char('\n')).toUtf8());
        return next();
    }
    bool quit()
    {
        return send({QStringLiteral("quit")}) == QLatin1String("bye") && m_oProcess.waitForFinished(10000) &&
               m_oProcess.exitStatus() == QProcess::NormalExit && m_oProcess.exitCode() == 0;
    }

    QProcess& process() { return m_oProcess; }
    const QStringList& otherLines() const { return m_oOtherLines; }

private:
    QProcess m_oProcess;
    QStringList m_oOtherLines;
};
