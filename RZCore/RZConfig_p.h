#pragma once
// Private parts of the settings store; not installed.

#include <QEvent>
#include <QSettings>

// The application settings file as the store's thread uses it. QSettings on its own writes the file
// at the next turn of its thread's event loop after every change, which under a stream of writes
// means a file write per turn; the store syncs on its own schedule instead (at most one sync per
// 100 ms), so the automatic one is switched off.
class RZConfigIniSettings : public QSettings
{
public:
    RZConfigIniSettings(const QString& fileName) : QSettings(fileName, QSettings::IniFormat) {}

protected:
    bool event(QEvent* event) override
    {
        if (event->type() == QEvent::UpdateRequest)
            return true;
        return QSettings::event(event);
    }
};
