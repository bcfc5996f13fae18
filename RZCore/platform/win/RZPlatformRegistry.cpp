#include <RZCore/platform/RZPlatform.h>

#include <QSettings>
#include <QString>
#include <QVariant>

namespace RZPlatform {

QString machineValueStoreLocation()
{
    return QStringLiteral("HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node\\Northwillow\\Northwillow Cinvera");
}

QVariant machineValue(const QString& name)
{
    if (name.isEmpty())
        return QVariant();
    return QSettings(machineValueStoreLocation(), QSettings::NativeFormat).value(name);
}

bool setMachineValue(const QString& name, const QVariant& value)
{
    if (name.isEmpty())
        return false;
    QSettings store(machineValueStoreLocation(), QSettings::NativeFormat);
    store.setValue(name, value);
    store.sync();
    return store.status() == QSettings::NoError;
}

} // namespace RZPlatform
