#include "RZLocalHtml_p.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonValue>
#include <QTextCodec>

namespace RZLocalHtml {

namespace {

const QString kDefaultVersion = QStringLiteral("1.0.0");

QString versionOf(const QJsonObject& object)
{
    const QJsonValue version = object.value(QLatin1String("version"));
    return version.isString() ? version.toString() : kDefaultVersion;
}

bool switchOn(const QJsonObject& object, const char* name)
{
    return object.value(QLatin1String(name)).toString().toInt() == 1;
}

} // namespace

const char* outcomeText(LoadOutcome outcome)
{
    switch (outcome) {
    case LoadOutcome::Loaded:
        return "loaded";
    case LoadOutcome::Missing:
        return "missing or unreadable";
    case LoadOutcome::TooLarge:
        return "too large";
    case LoadOutcome::NotUtf8:
        return "not UTF-8";
    case LoadOutcome::NotJson:
        return "not JSON";
    }
    return "";
}

Description parse(const QByteArray& bytes, LoadOutcome* outcome)
{
    LoadOutcome result = LoadOutcome::Loaded;
    Description description;
    // Through text and back, strictly: a byte that is not UTF-8 would otherwise become U+FFFD and
    // the damaged file would still parse.
    QTextCodec::ConverterState state;
    const QString text =
        bytes.size() > kMaxBytes
            ? QString()
            : QTextCodec::codecForName("UTF-8")->toUnicode(bytes.constData(), bytes.size(), &state);
    if (bytes.size() > kMaxBytes) {
        result = LoadOutcome::TooLarge;
    } else if (state.invalidChars != 0 || state.remainingChars != 0) {
        result = LoadOutcome::NotUtf8;
    } else {
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8(), &error);
        if (!document.isNull() || error.error == QJsonParseError::NoError) {
            const QJsonObject data = document.object().value(QLatin1String("data")).toObject();
            description.baseConfig = data.value(QLatin1String("base_config")).toObject();
            description.localHtmlConfig = data.value(QLatin1String("local_html")).toObject();
        } else {
            result = LoadOutcome::NotJson;
        }
    }
    if (outcome)
        *outcome = result;
    return description;
}

Description load(const QString& path, LoadOutcome* outcome)
{
    QFile file(path);
    if (!file.exists() || !file.open(QIODevice::ReadOnly)) {
        if (outcome)
            *outcome = LoadOutcome::Missing;
        return Description();
    }
    // One byte over the limit is enough to know; a file that grows while read is no exception.
    return parse(file.read(kMaxBytes + 1), outcome);
}

QString downloadUrl(const QJsonObject& localHtmlConfig)
{
    return localHtmlConfig.value(QLatin1String("login")).toObject().value(QLatin1String("url")).toString();
}

QString localHtmlVersion(const QJsonObject& localHtmlConfig)
{
    return versionOf(localHtmlConfig.value(QLatin1String("login")).toObject());
}

QString baseConfigVersion(const QJsonObject& baseConfig)
{
    return versionOf(baseConfig);
}

QJsonObject pageEntry(const QJsonObject& baseConfig, const QString& key)
{
    return baseConfig.value(QLatin1String("config")).toObject().value(key).toObject();
}

bool checkoutPopup(const QJsonObject& entry)
{
    return switchOn(entry, "is_checkout_popup");
}

bool localLogin(const QJsonObject& entry)
{
    const QJsonObject link = entry.value(QLatin1String("link")).toObject();
    return switchOn(link.isEmpty() ? entry : link, "is_local_login_enabled");
}

} // namespace RZLocalHtml
