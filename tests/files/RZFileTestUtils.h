#pragma once
// Helpers shared by the file, folder and zip tests: writing and reading files, a snapshot of a
// whole tree, and running the command-line tools the archives are checked against.

#include <QByteArray>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QStandardPaths>
#include <QString>
#include <QStringList>

namespace RZFileTest {

inline bool writeFile(const QString& path, const QByteArray& data = QByteArray())
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size();
}

inline QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
}

// Every entry below `root` by relative path: a file maps to its bytes, a folder (with a trailing
// "/") and a link (with " ->" and its target) to nothing.
inline QMap<QString, QByteArray> snapshot(const QString& root)
{
    QMap<QString, QByteArray> entries;
    const QDir base(root);
    QDirIterator it(root, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo info(it.next());
        const QString name = base.relativeFilePath(info.filePath());
        if (info.isSymLink())
            entries.insert(name + QStringLiteral(" ->") + info.symLinkTarget(), QByteArray());
        else if (info.isDir())
            entries.insert(name + QLatin1Char('/'), QByteArray());
        else
            entries.insert(name, readFile(info.filePath()));
    }
    return entries;
}

// The files below `root` (folders left out), by relative path.
inline QStringList filesBelow(const QString& root)
{
    QStringList files;
    const QMap<QString, QByteArray> entries = snapshot(root);
    for (auto it = entries.cbegin(); it != entries.cend(); ++it) {
        if (!it.key().endsWith(QLatin1Char('/')))
            files.append(it.key());
    }
    return files;
}

// Runs a tool to its end in `workDir`; its exit code, or -1 when it could not be run.
inline int run(const QString& program, const QStringList& arguments, const QString& workDir = QString(),
               const QByteArray& input = QByteArray(), QByteArray* output = nullptr)
{
    QProcess process;
    process.setWorkingDirectory(workDir);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (!process.waitForStarted())
        return -1;
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(120000))
        return -1;
    if (output)
        *output = process.readAll();
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

inline bool haveTool(const QString& name)
{
    return !QStandardPaths::findExecutable(name).isEmpty();
}

} // namespace RZFileTest
