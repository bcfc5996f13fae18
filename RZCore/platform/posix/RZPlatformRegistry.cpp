#include <RZCore/platform/RZPlatform.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>
#include <QVariant>

namespace RZPlatform {

QString machineValueStoreLocation()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/Northwillow/Northwillow Cinvera.ini");
}

QVariant machineValue(const QString& name)
{
    const QString path = machineValueStoreLocation();
    if (name.isEmpty() || !QFile::exists(path))
        return QVariant();
    return QSettings(path, QSettings::IniFormat).value(name);
}

bool setMachineValue(const QString& name, const QVariant& value)
{
    if (name.isEmpty())
        return false;
    const QString path = machineValueStoreLocation();
    QDir().mkpath(QFileInfo(path).absolutePath());
    // The values describe the user's use of the product: nobody else reads or changes them, from the
    // file's first moment on.
    restrictSettingsFile(QFile::encodeName(path).toStdString());
    QSettings store(path, QSettings::IniFormat);
    store.setValue(name, value);
    store.sync();
    return store.status() == QSettings::NoError;
}

} // namespace RZPlatform
