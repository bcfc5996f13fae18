#include <RZCore/util/RZDomDocument.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

bool RZDomDocument::loadFromFile(const QString& path, QString* errorText)
{
    clear();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (errorText)
            *errorText = file.errorString();
        return false;
    }
    QString message;
    int line = 0;
    int column = 0;
    if (!setContent(&file, &message, &line, &column)) {
        if (errorText)
            *errorText = QStringLiteral("%1 (line %2, column %3)").arg(message).arg(line).arg(column);
        clear();
        return false;
    }
    return true;
}

bool RZDomDocument::saveToFile(const QString& path, int indent) const
{
    if (path.isEmpty())
        return false;
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    const QByteArray data = toByteArray(indent);
    if (file.write(data) != data.size()) {
        file.cancelWriting();
        return false;
    }
    return file.commit();
}
