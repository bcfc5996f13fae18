#include "DemoHost.h"

#include <RZCore/files/RZDir.h>
#include <RZCore/files/RZFile.h>
#include <RZCore/files/ZipOperate.h>

#include <QDir>
#include <QFile>

namespace {

struct ProgressPrinter
{
    qint64 total = 0;
    int lastTenth = -1;
};

void printProgress(qint64 done, void* user)
{
    auto* printer = static_cast<ProgressPrinter*>(user);
    const int tenth = static_cast<int>(done * 10 / printer->total);
    if (tenth == printer->lastTenth)
        return;
    printer->lastTenth = tenth;
    demoSay(QStringLiteral("  extracted %1 of %2 bytes (%3%)").arg(done).arg(printer->total).arg(tenth * 10));
}

void writeDemoFile(const QString& path, const QByteArray& data)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(data);
}

} // namespace

void demoFiles(DemoContext& context)
{
    demoSection("files, folders and zip archives");
    const QString source = context.runDir.filePath("project");
    writeDemoFile(source + "/timeline.xml", "<timeline fps=\"30\"/>\n");
    writeDemoFile(source + "/clip.mp4", QByteArray(300000, 'v'));
    writeDemoFile(source + "/Grüße 日本語.txt", "UTF-8 names survive the round trip\n");
    writeDemoFile(source + "/empty.dat", QByteArray());
    writeDemoFile(source + "/audio/track 1.wav", QByteArray(120000, 'a'));
    QDir().mkpath(source + "/renders");
    demoSay(QStringLiteral("a project folder of %1 files, %2 bytes")
                .arg(RZDir::getFileNumber(source))
                .arg(RZDir::getFolderSize(source)));
    demoSay(QStringLiteral("a copy of clip.mp4 would be named \"%1\"")
                .arg(RZFile::fileName(RZFile::makeValidDuplicationFilePath(source + "/clip.mp4"))));

    const QString zip = context.runDir.filePath("archives/project.zip");
    const bool packed = RZQuaZip::CompressDirWithUTF8(zip, source, nullptr);
    demoSay(QStringLiteral("CompressDirWithUTF8: %1, %2 bytes, entries:")
                .arg(packed ? "done" : "FAILED")
                .arg(QFileInfo(zip).size()));
    for (const QString& name : RZQuaZip::GetFileList(zip))
        demoSay(QStringLiteral("  %1").arg(name));

    ProgressPrinter printer;
    printer.total = ZipOperate::uncompressedSize(zip);
    ZipOperate::setTotalSize(printer.total);
    ZipOperate::setProgressFunction(printProgress, &printer);
    const QString copy = context.runDir.filePath("unpacked");
    const QStringList extracted = RZQuaZip::ExtractDir(zip, copy);
    ZipOperate::setProgressFunction(nullptr, nullptr);
    ZipOperate::setTotalSize(0);
    demoSay(QStringLiteral("ExtractDir wrote %1 entries into %2").arg(extracted.size()).arg(copy));

    const QString sourceDigest = RZDir::calculateDirectoryMD5(source);
    const QString copyDigest = RZDir::calculateDirectoryMD5(copy);
    demoSay(QStringLiteral("calculateDirectoryMD5 source %1").arg(sourceDigest));
    demoSay(QStringLiteral("calculateDirectoryMD5 copy   %1 (%2)")
                .arg(copyDigest, sourceDigest == copyDigest ? "equal" : "DIFFERENT"));
    demoSay(QStringLiteral("sub-folder audio: %1")
                .arg(RZDir::hasSameMD5(source + "/audio", copy + "/audio") ? "equal" : "DIFFERENT"));

    // An archive that is no archive: nothing is written, the result is empty.
    writeDemoFile(context.runDir.filePath("archives/not-a.zip"), "plain text");
    demoSay(QStringLiteral("ExtractDir of a text file gives %1 entries")
                .arg(RZQuaZip::ExtractDir(context.runDir.filePath("archives/not-a.zip"),
                                          context.runDir.filePath("nothing"))
                         .size()));
    demoSay(QStringLiteral("free space where the demo runs: %1 MiB")
                .arg(RZDir::getDiskFreeSpace(context.runDir.path())));
}
