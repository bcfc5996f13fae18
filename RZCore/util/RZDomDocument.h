#pragma once
// A QDomDocument that loads itself from a file and writes itself back.

#include <RZCore/RZCoreExport.h>

#include <QDomDocument>
#include <QString>

class RZCORE_EXPORT RZDomDocument : public QDomDocument
{
public:
    RZDomDocument() = default;

    // Replaces the content with the XML of the file. False when the file cannot be opened or its
    // content is not well-formed XML; the document is then empty and `errorText`, if given, says why.
    bool loadFromFile(const QString& path, QString* errorText = nullptr);

    // Writes the document as UTF-8, creating its folder if needed. The file is replaced as a whole
    // (written beside it and renamed), so a failed write leaves the old file as it was.
    bool saveToFile(const QString& path, int indent = 4) const;
};
