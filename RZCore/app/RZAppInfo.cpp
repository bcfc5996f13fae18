#include <RZCore/app/RZAppInfo.h>

#include <RZCore/util/RZDeploymentValues.h>

#include <QCoreApplication>

RZCORE_INSTANTIATE_SINGLETON(FAppInfo)

IRZAppInfo::~IRZAppInfo() = default;

IRZAppInfo* IRZAppInfo::getInstance()
{
    return FAppInfo::instance();
}

FAppInfo::FAppInfo()
{
    m_oValues.insert(67, QStringLiteral("UA-Cinvera-Win"));
    m_oValues.insert(65, QStringLiteral("UA_Cinvera_Win"));
    m_oValues.insert(66, QString(QLatin1String(RZDeployment::kABTestService) + QLatin1String(RZDeployment::kABTestPath))
                             .arg(QLatin1String(RZDeployment::kABTestProjectKey)));
}

FAppInfo::~FAppInfo() = default;

QString FAppInfo::organizationName()
{
    return QCoreApplication::organizationName();
}

QString FAppInfo::organizationDomain()
{
    return QCoreApplication::organizationDomain();
}

QString FAppInfo::applicationName()
{
    return QCoreApplication::applicationName();
}

QString FAppInfo::applicationVersion()
{
    return QCoreApplication::applicationVersion();
}

QString FAppInfo::valueOfKey12()
{
    return value(12);
}

QString FAppInfo::valueOfKey0()
{
    return value(0);
}

QString FAppInfo::value(int key)
{
    return m_oValues.value(key);
}

void FAppInfo::setValue(int key, const QString& text)
{
    m_oValues.insert(key, text);
}
