#include <RZCore/config/RZCBSUrlReader.h>

#include <RZCore/config/RZConfig.h>

#include <QDir>
#include <QFile>
#include <QSettings>

RZCBSUrlReader::RZCBSUrlReader()
    : m_strFilePath(QDir::fromNativeSeparators(QStringLiteral("%1%2%3").arg(
          RZConfig::GetCinveraDirectory(), QDir::separator(), QStringLiteral("CustomProductInfo.ini"))))
{
}

RZCBSUrlReader::RZCBSUrlReader(const QString& filePath) : m_strFilePath(filePath) {}

QString RZCBSUrlReader::ReadCustomerUrl(const QString& language, const QString& key) const
{
    if (key.isEmpty() || !QFile::exists(m_strFilePath))
        return QString();
    const QSettings settings(m_strFilePath, QSettings::IniFormat);
    if (!language.isEmpty()) {
        const QVariant value = settings.value(language + QLatin1Char('/') + key);
        if (value.isValid())
            return value.toString();
    }
    return settings.value(key).toString();
}
