#pragma once
// Performance scopes for profiling by hand. A region opens a measuring period; within it, scopers add
// up how often and how long each name ran, in ticks of the high-resolution counter
// (RZPlatform::performanceCounter: 100 ns on Linux). When the outermost region ends, the totals go
// out, to a text file or as NotifyPerfomanceTrackEvent (region, name, ticks, count), and are cleared.
// Outside a region a scoper costs a name assignment and one test.
//
//     {
//         KRegionPerformanceScoper region("OpenProject", KRegionPerformanceScoper::SendEvents);
//         for (...) { KPerformanceScoper scope("DecodeThumbnail"); ... }
//     }   // one NotifyPerfomanceTrackEvent per name
//
// A global region is opened and closed by NotifyOpenPerfomanceEvent (true / false), once the
// application's event loop has run. Main thread only; nothing here takes a lock.

#include <RZCore/RZCoreExport.h>

#include <QString>

#include <map>

// The totals of one name within a region.
struct RZCORE_EXPORT PerformanceRecord
{
    int count = 0;      // finished runs
    qint64 ticks = 0;   // summed counter ticks
    bool open = false;  // a run of this name is in progress
};

class RZCORE_EXPORT KPerformanceScoper
{
public:
    explicit KPerformanceScoper(const QString& name);
    KPerformanceScoper(const KPerformanceScoper& other) = default;
    KPerformanceScoper& operator=(const KPerformanceScoper& other) = default;
    ~KPerformanceScoper();

    // Ends a run this object still holds, then starts measuring `name` (nothing outside a region, and
    // nothing while another scoper measures the same name). An empty name does nothing.
    void beginRecord(const QString& name);
    // Adds the run to its name's totals.
    void endRecord();
    // Forgets the run: the name stays open and gains nothing.
    void forceEnd();

    // Open regions, and the totals of the current measuring period.
    static int regionDepth();
    static const std::map<QString, PerformanceRecord>& records();

private:
    friend class KRegionPerformanceScoper;
    KPerformanceScoper() = default;

    QString m_strName;
    qint64 m_nStartTicks = 0;
    int m_nOpenCount = 0;
};

class RZCORE_EXPORT KRegionPerformanceScoper
{
public:
    enum OutputType
    {
        WriteFile = 0, // appends the totals to "permormance_details.txt"
        SendEvents = 1 // any value but 0 sends NotifyPerfomanceTrackEvent
    };

    // Opens the region "Region-<name>"; an empty name opens nothing.
    KRegionPerformanceScoper(const QString& name, OutputType type);
    KRegionPerformanceScoper(const KRegionPerformanceScoper& other) = default;
    KRegionPerformanceScoper& operator=(const KRegionPerformanceScoper& other) = default;
    // Ends the region. Each end lowers the depth by one without a check, so an explicit endRecord()
    // followed by the destructor lowers it twice.
    ~KRegionPerformanceScoper();

    void beginRecord(const QString& name);
    void endRecord();
    void forceEnd();

    // The file of output type 0: "D:\permormance_details.txt" on Windows; on other systems the same
    // name in the folder of IRZAppInfo path 13 (empty while that path is not set).
    static QString detailsFilePath();

private:
    void endRegion();

    KPerformanceScoper m_oScoper;
    OutputType m_eOutputType = WriteFile;
};
