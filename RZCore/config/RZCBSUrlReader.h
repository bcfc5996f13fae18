#pragma once
// The product customisation: values by language and key from "CustomProductInfo.ini" in the
// configuration directory (IRZAppInfo key 14). The file has one group per language, named by the
// language's simple name ("ENG", "JPN", ...); a key outside every group holds for every language
// that does not set it itself:
//
//     EffectStoreDefaultPage=https://store.example.com/
//     [JPN]
//     EffectStoreDefaultPage=https://store.example.com/ja/
//
// The file is read afresh at each call, so a customisation installed while the product runs is
// seen at once. Any thread may call.

#include <RZCore/RZCoreExport.h>

#include <QString>

class RZCORE_EXPORT RZCBSUrlReader
{
public:
    // Over "CustomProductInfo.ini" in the configuration directory.
    RZCBSUrlReader();
    explicit RZCBSUrlReader(const QString& filePath);

    // The value for the language, else the value for every language; empty when neither is there,
    // and when the file is missing.
    QString ReadCustomerUrl(const QString& language, const QString& key) const;
    QString filePath() const { return m_strFilePath; }

private:
    QString m_strFilePath;
};
