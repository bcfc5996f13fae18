#pragma once
// Small text helpers shared by the path and file operations.

#include <RZCore/RZCoreExport.h>

#include <QString>

class RZCORE_EXPORT RZStringUtils
{
public:
    RZStringUtils() = delete;

    // The last position of `subStr` in `text`, or -1. An empty `subStr` is found nowhere.
    static int rPos(const QString& subStr, const QString& text);
};

class RZCORE_EXPORT StringOperation
{
public:
    StringOperation() = delete;

    // Equality of two texts, ignoring letter case.
    static bool SameText(const QString& first, const QString& second);
};
