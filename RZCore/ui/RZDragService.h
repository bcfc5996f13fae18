#pragma once
// One drag at a time, prepared from several places before it starts: mime data, pixmap, hot spot
// and cursors are set on the service, exec() runs the QDrag, and everything is wiped when the drag
// ends, so nothing carries over to the next one. Anybody can ask whether a drag is under way.
// User-interface thread only.

#include <RZCore/RZCoreExport.h>
#include <RZCore/app/RZSingleton.h>

#include <QMap>
#include <QPixmap>
#include <QPoint>
#include <Qt>

#include <memory>

class QMimeData;
class QObject;
class RZDragServicePrivate;

class RZCORE_EXPORT RZDragService : public RZSingleton<RZDragService>
{
    friend class RZSingleton<RZDragService>;

public:
    // The service keeps the data until exec() hands it to the drag. Data replaced before a drag,
    // or set while one runs (and so never used), is deleted.
    void setMimeData(QMimeData* data);
    void setPixmap(const QPixmap& pixmap);
    // (0, 0) means "none": the drag keeps its own default hot spot.
    void setHotSpot(const QPoint& hotSpot);
    // An empty map is ignored and the earlier cursors stay.
    void setDragCursor(const QMap<Qt::DropAction, QPixmap>& cursors);
    bool isDraging();

    // Runs a QDrag from `source` with what was set since the last drag, blocks until it ends, then
    // resets the service. Called while a drag runs, it starts nothing and returns IgnoreAction.
    Qt::DropAction exec(QObject* source, Qt::DropActions supported, Qt::DropAction defaultAction);

private:
    RZDragService();
    ~RZDragService() override;

    std::unique_ptr<RZDragServicePrivate> d_ptr;
};

RZCORE_EXTERN_SINGLETON(RZDragService)
