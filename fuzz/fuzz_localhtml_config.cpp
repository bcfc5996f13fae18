// Any bytes as "Config.json": the reader must not crash, must describe nothing unless the text is
// strict UTF-8 JSON within the size limit, and every question asked of what it read has an answer.
#include <RZCore/config/RZLocalHtml_p.h>

#include <QJsonObject>
#include <QJsonValue>
#include <QStringList>

#include <sanitizer/lsan_interface.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

void check(bool holds)
{
    if (!holds)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    RZLocalHtml::LoadOutcome outcome = RZLocalHtml::LoadOutcome::Missing;
    RZLocalHtml::Description description;
    {
        // Qt 5.15's own JSON parser leaks when an object repeats a key whose first value is an object
        // or array ({"a":{},"a":1}); that is Qt's to fix, and the reader holds nothing but values.
        __lsan::ScopedDisabler qtParserLeaks;
        description = RZLocalHtml::parse(bytes, &outcome);
    }

    if (outcome != RZLocalHtml::LoadOutcome::Loaded)
        check(description.baseConfig.isEmpty() && description.localHtmlConfig.isEmpty());
    // A version is the text given, or "1.0.0" when there is no text.
    const QJsonValue given =
        description.localHtmlConfig.value(QLatin1String("login")).toObject().value(QLatin1String("version"));
    check(given.isString()
              ? RZLocalHtml::localHtmlVersion(description.localHtmlConfig) == given.toString()
              : RZLocalHtml::localHtmlVersion(description.localHtmlConfig) == QLatin1String("1.0.0"));
    const QJsonValue base = description.baseConfig.value(QLatin1String("version"));
    check(base.isString() ? RZLocalHtml::baseConfigVersion(description.baseConfig) == base.toString()
                          : RZLocalHtml::baseConfigVersion(description.baseConfig) == QLatin1String("1.0.0"));
    (void)RZLocalHtml::downloadUrl(description.localHtmlConfig);

    QStringList keys = description.baseConfig.value(QLatin1String("config")).toObject().keys();
    keys << QString() << QStringLiteral("login");
    for (const QString& key : keys) {
        const QJsonObject entry = RZLocalHtml::pageEntry(description.baseConfig, key);
        const bool popup = RZLocalHtml::checkoutPopup(entry);
        const bool login = RZLocalHtml::localLogin(entry);
        check(!entry.isEmpty() || (!popup && !login));
    }
    return 0;
}
