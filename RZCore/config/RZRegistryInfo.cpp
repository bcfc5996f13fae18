#include <RZCore/config/RZRegistryInfo.h>

#include <RZCore/platform/RZPlatform.h>

#include <QVariant>

RZCORE_INSTANTIATE_SINGLETON(RZRegistryInfo)

namespace {

QString entryName(int key)
{
    return QStringLiteral("RegistryInfo/%1").arg(key);
}

} // namespace

IRZRegistryInfo::~IRZRegistryInfo() = default;

IRZRegistryInfo* IRZRegistryInfo::getInstance()
{
    return RZRegistryInfo::instance();
}

RZRegistryInfo::RZRegistryInfo() = default;
RZRegistryInfo::~RZRegistryInfo() = default;

QString RZRegistryInfo::value(int key)
{
    return RZPlatform::machineValue(entryName(key)).toString();
}

void RZRegistryInfo::setValue(int key, const QString& text)
{
    RZPlatform::setMachineValue(entryName(key), text);
}
