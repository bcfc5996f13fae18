#pragma once
// The catalogue of events that the library sends or listens to. Names and payloads are fixed: a
// listener and a sender meet through the name alone. A host includes this header rather than
// defining these events again; an event defined elsewhere under one of these names must carry the
// same payload, or listeners here refuse it.

#include <RZCore/events/RZCustomEvent.h>

#include <QString>

#include <cstdint>

class QEvent;
class QObject;

// The stuck monitor's summary of a run, sent when the application is about to exit.
struct StuckMoreData
{
    std::int32_t stuckCount = 0;
    std::int32_t stuckDuration = 0; // ms
    std::int32_t runDuration = 0;   // ms, suspends excluded
    std::int32_t suspendCount = 0;
    std::int32_t suspendDuration = 0;       // ms
    std::int32_t suspendDurationCapped = 0; // ms, without suspends above half an hour
};

// What the settings synchronisation works on.
enum AutoSyncType : int
{
    AutoSyncNone = 0,
    AutoSyncSettings = 1,
};

// ---- the application's milestones, sent by the host ----------------------------------------------

// The application begins (ends) delivering a Qt event to the object.
RZ_CUSTOM_EVENT(NotifyBeginNotifyEvent, QObject*, QEvent*);
RZ_CUSTOM_EVENT(NotifyEndNotifyEvent, QObject*, QEvent*);
// Start-up is done.
RZ_CUSTOM_EVENT(NotifyLaunchFinished);
// Shutdown begins.
RZ_CUSTOM_EVENT(NotifyApplicationBeforeExitEvent);
// Background start-up work may begin / must end (the cold-loading pool starts and stops on these).
RZ_CUSTOM_EVENT(NotifyApplicationBegin);
RZ_CUSTOM_EVENT(NotifyApplicationEnd);
// Asks for the stack name of the object now being served; the listener fills the string.
RZ_CUSTOM_EVENT(RequstObjectStack, QString&);
// Opens (true) or closes (false) the global performance region.
RZ_CUSTOM_EVENT(NotifyOpenPerfomanceEvent, bool);

// ---- sent by the library -------------------------------------------------------------------------

// A nested event loop starts (true) or ends (false).
RZ_CUSTOM_EVENT(NotifySecondaryEventLoopEvent, bool);
// A window became blocked (true) or unblocked by a modal; the depth of blocked windows.
RZ_CUSTOM_EVENT(NotifyWindowBlockedEvent, bool, int);
// One stuck delivery: duration ms, level name, object name, event type, short name, run time ms.
RZ_CUSTOM_EVENT(NotifySendPerformanceMoreData, int, QString, QString, int, QString, int);
// The run's summary.
RZ_CUSTOM_EVENT(NotifySendPerformanceMoreDataNew, StuckMoreData);
// One second of a freeze: short name and count of seconds.
RZ_CUSTOM_EVENT(NotifySendPerformanceFreezeData, QString, int);
// The heartbeat ran slow: window ms, beats, average ms.
RZ_CUSTOM_EVENT(NotifySendPerformanceCustomData, int, int, int);
// A system suspend of so many milliseconds.
RZ_CUSTOM_EVENT(NotifySendSuspendTime, int);
// A freeze begins (true, short name) or ends (false, empty).
RZ_CUSTOM_EVENT(NotifyFreezeMonitor, bool, QString);
// A performance scope report: region, record, ticks, count.
RZ_CUSTOM_EVENT(NotifyPerfomanceTrackEvent, QString, QString, int, int);
// Settings synchronisation: a kind changed its state / was checked.
RZ_CUSTOM_EVENT(NotifySyncStateChanged, AutoSyncType, bool);
RZ_CUSTOM_EVENT(NotifyAutoSyncChecked, AutoSyncType);
