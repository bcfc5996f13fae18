#pragma once
// Helpers shared by the file, folder and zip tests: writing and reading files, making and taking a
// snapshot of a whole tree, and running the command-line tools the archives are checked against.

#include <QByteArray>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QString>
#include <QStringList>

namespace RZFileTest {

// Relative path -> bytes; a trailing "/" makes a folder, " ->target" a link.
using Tree = QMap<QString, QByteArray>;

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

// Makes `root` (even for an empty tree) and everything in `tree` below it.
inline void makeTree(const QString& root, const Tree& tree)
{
    QDir().mkpath(root);
    for (auto it = tree.cbegin(); it != tree.cend(); ++it) {
        if (it.key().endsWith('/'))
            QDir().mkpath(root + '/' + it.key());
        else
            writeFile(root + '/' + it.key(), it.value());
    }
}

inline Tree snapshot(const QString& root)
{
    Tree entries;
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

// Whether any file (not a folder) is left below `root`.
inline bool hasFiles(const QString& root)
{
    return QDirIterator(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories).hasNext();
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

} // namespace RZFileTest
