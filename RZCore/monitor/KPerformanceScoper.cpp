#include <RZCore/monitor/KPerformanceScoper.h>

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/events/RZCustomEvents.h>
#include <RZCore/platform/RZPlatform.h>

#include <QCoreApplication>
#include <QFile>

#include <limits>
#include <memory>

namespace {

// A region this short is reported as one event, without its details.
constexpr qint64 kShortRegionTicks = 2000;

struct PerformanceContext
{
    int regionDepth = 0;
    std::map<QString, PerformanceRecord> records;
    std::unique_ptr<KRegionPerformanceScoper> globalRegion;
};

void createGlobalListener(PerformanceContext& context);

// Lives to the end of the process: never destroyed, so that no scoper outlives it.
PerformanceContext& context()
{
    static PerformanceContext* s_pContext = [] {
        auto* made = new PerformanceContext;
        made->globalRegion = std::make_unique<KRegionPerformanceScoper>(QString(), KRegionPerformanceScoper::WriteFile);
        createGlobalListener(*made);
        return made;
    }();
    return *s_pContext;
}

// The listener of the global region exists once the application's event loop has run.
void createGlobalListener(PerformanceContext& made)
{
    QCoreApplication* app = QCoreApplication::instance();
    if (!app)
        return;
    KRegionPerformanceScoper* region = made.globalRegion.get();
    QMetaObject::invokeMethod(
        app,
        [app, region] {
            RZCustomEventDispatcher::listen<NotifyOpenPerfomanceEvent>(app, [region](bool open) {
                if (open)
                    region->beginRecord(QStringLiteral("QSpy_Perfomance"));
                else
                    region->forceEnd();
            });
        },
        Qt::QueuedConnection);
}

int ticksAsInt(qint64 ticks)
{
    return ticks > std::numeric_limits<int>::max() ? std::numeric_limits<int>::max() : static_cast<int>(ticks);
}

} // namespace

// ---- KPerformanceScoper -----------------------------------------------------------------------------

KPerformanceScoper::KPerformanceScoper(const QString& name)
{
    beginRecord(name);
}

KPerformanceScoper::~KPerformanceScoper()
{
    endRecord();
}

void KPerformanceScoper::beginRecord(const QString& name)
{
    if (name.isEmpty())
        return;
    endRecord();
    m_strName = name;
    PerformanceContext& performance = context();
    if (performance.regionDepth == 0)
        return; // nothing is measured outside a region
    PerformanceRecord& record = performance.records[m_strName];
    // Another scoper measures this name already: a recursive call is counted once.
    if (record.open)
        return;
    record.open = true;
    m_nStartTicks = RZPlatform::performanceCounter();
    ++m_nOpenCount;
}

void KPerformanceScoper::endRecord()
{
    if (m_nOpenCount == 0)
        return;
    const qint64 now = RZPlatform::performanceCounter();
    PerformanceContext& performance = context();
    if (performance.regionDepth != 0) {
        const auto found = performance.records.find(m_strName);
        if (found != performance.records.end() && found->second.open) {
            ++found->second.count;
            found->second.ticks += now - m_nStartTicks;
            found->second.open = false;
        }
    }
    --m_nOpenCount;
}

void KPerformanceScoper::forceEnd()
{
    if (m_nOpenCount != 0)
        --m_nOpenCount;
}

int KPerformanceScoper::regionDepth()
{
    return context().regionDepth;
}

const std::map<QString, PerformanceRecord>& KPerformanceScoper::records()
{
    return context().records;
}

// ---- KRegionPerformanceScoper -----------------------------------------------------------------------

KRegionPerformanceScoper::KRegionPerformanceScoper(const QString& name, OutputType type) : m_eOutputType(type)
{
    if (!name.isEmpty())
        beginRecord(name);
}

KRegionPerformanceScoper::~KRegionPerformanceScoper()
{
    endRecord();
}

void KRegionPerformanceScoper::beginRecord(const QString& name)
{
    // The depth rises first, so the region measures itself.
    ++context().regionDepth;
    m_oScoper.beginRecord(QStringLiteral("Region-") + name);
}

void KRegionPerformanceScoper::endRecord()
{
    m_oScoper.endRecord();
    endRegion();
}

void KRegionPerformanceScoper::forceEnd()
{
    m_oScoper.forceEnd();
    endRegion();
}

QString KRegionPerformanceScoper::detailsFilePath()
{
#ifdef Q_OS_WIN
    return QStringLiteral("D:\\permormance_details.txt");
#else
    const QString dir = IRZAppInfo::getInstance()->value(13);
    return dir.isEmpty() ? QString() : dir + QStringLiteral("/permormance_details.txt");
#endif
}

void KRegionPerformanceScoper::endRegion()
{
    PerformanceContext& performance = context();
    if (--performance.regionDepth != 0)
        return;
    // Taken out first: a listener may open scopes of its own.
    std::map<QString, PerformanceRecord> records;
    records.swap(performance.records);
    const QString regionName = m_oScoper.m_strName;
    const auto region = records.find(regionName);
    const qint64 regionTicks = region != records.end() ? region->second.ticks : 0;
    if (m_eOutputType == WriteFile) {
        QFile file(detailsFilePath());
        // The user's alone, like the log files.
        if (regionTicks > 0 && !file.fileName().isEmpty())
            RZPlatform::restrictSettingsFile(QFile::encodeName(file.fileName()).toStdString());
        if (regionTicks > 0 && !file.fileName().isEmpty() && file.open(QIODevice::WriteOnly | QIODevice::Append)) {
            QByteArray text("---------------------------------------------------\n");
            for (const auto& entry : records) {
                const PerformanceRecord& record = entry.second;
                // A name opened and never ended has no runs: its average is 0.
                const qint64 average = record.count != 0 ? record.ticks / record.count : 0;
                text += entry.first.toLocal8Bit() + ':' + QByteArray::number(record.count) + '-'
                        + QByteArray::number(record.ticks) + '-' + QByteArray::number(average) + '\n';
            }
            file.write(text);
        }
    } else if (regionTicks < kShortRegionTicks) {
        RZCustomEventDispatcher::send<NotifyPerfomanceTrackEvent>(regionName, regionName, ticksAsInt(regionTicks), 1);
    } else {
        for (const auto& entry : records)
            RZCustomEventDispatcher::send<NotifyPerfomanceTrackEvent>(regionName, entry.first,
                                                                     ticksAsInt(entry.second.ticks), entry.second.count);
    }
}
