#pragma once
// System helpers of the library that other families build on.

#include <RZCore/RZCoreExport.h>

#include <QString>
#include <QStringList>

class RZCORE_EXPORT RZUtility
{
public:
    RZUtility() = delete;

    // Whether the file is a cloud placeholder whose content is not on this machine.
    static bool isOnlineFile(const QString& path);
    // Shows the file in the desktop's file manager.
    static void findTargetFile(const QString& path);
    // Deletes the stale lock files ("*.ini.lock", "*.rmlock") beside the settings file `path` whose
    // base name (up to the first dot) is one of `baseNames`. Lock files found before the settings
    // are opened belong to a process that is gone.
    static void removeExceptLockIni(const QString& path, const QStringList& baseNames);
};
