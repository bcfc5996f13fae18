#pragma once
// "Config.json", the description of the local HTML package, read apart from the settings store so
// that the parser can be fuzzed on its own. Qt Core only.
//
// The root object's "data" holds "base_config" (a "version" and a "config" object of page entries)
// and "local_html" (a "login" object with the package's "url" and "version"). A file that is not
// strict UTF-8 (a byte-order mark is fine), is not JSON, or is larger than kMaxBytes gives two empty
// objects, as a missing file does.

#include <QByteArray>
#include <QJsonObject>
#include <QString>

namespace RZLocalHtml {

// Far above any real description (a few kilobytes), far below what could hurt to hold in memory.
constexpr qint64 kMaxBytes = 4 * 1024 * 1024;

enum class LoadOutcome
{
    Loaded,
    Missing,
    TooLarge,
    NotUtf8,
    NotJson
};

struct Description
{
    QJsonObject baseConfig;
    QJsonObject localHtmlConfig;
};

Description parse(const QByteArray& bytes, LoadOutcome* outcome = nullptr);
Description load(const QString& path, LoadOutcome* outcome = nullptr);
const char* outcomeText(LoadOutcome outcome);

// "url" of "login"; empty when there is none.
QString downloadUrl(const QJsonObject& localHtmlConfig);
// "version" of "login" / of the base configuration; "1.0.0" unless it is a string.
QString localHtmlVersion(const QJsonObject& localHtmlConfig);
QString baseConfigVersion(const QJsonObject& baseConfig);
// The entry of "config" for a page key; empty when there is none.
QJsonObject pageEntry(const QJsonObject& baseConfig, const QString& key);
// A switch is on only for the text "1" (a JSON number is no text, and is off).
bool checkoutPopup(const QJsonObject& entry);
// "is_local_login_enabled" of the entry's non-empty "link" object, else of the entry itself.
bool localLogin(const QJsonObject& entry);

} // namespace RZLocalHtml
