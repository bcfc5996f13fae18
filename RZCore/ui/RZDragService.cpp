#include <RZCore/ui/RZDragService.h>

#include <RZCore/log/RZBaseLog.h>
#include <RZCore/ui/RZDragService_p.h>

#include <QDrag>
#include <QMimeData>
#include <QPixmap>
#include <QPointer>

RZCORE_INSTANTIATE_SINGLETON(RZDragService)

void RZDragServicePrivate::reset()
{
    delete m_pMimeData;
    m_pMimeData = nullptr;
    m_oPixmap.reset();
    m_ptHotSpot = QPoint();
    m_mapDragCursors.clear();
}

RZDragService::RZDragService() : d_ptr(std::make_unique<RZDragServicePrivate>()) {}

RZDragService::~RZDragService()
{
    d_ptr->reset();
}

void RZDragService::setMimeData(QMimeData* data)
{
    if (data == d_ptr->m_pMimeData)
        return;
    delete d_ptr->m_pMimeData;
    d_ptr->m_pMimeData = data;
}

void RZDragService::setPixmap(const QPixmap& pixmap)
{
    d_ptr->m_oPixmap = pixmap;
}

void RZDragService::setHotSpot(const QPoint& hotSpot)
{
    d_ptr->m_ptHotSpot = hotSpot;
}

void RZDragService::setDragCursor(const QMap<Qt::DropAction, QPixmap>& cursors)
{
    if (cursors.isEmpty())
        return;
    d_ptr->m_mapDragCursors = cursors;
}

bool RZDragService::isDraging()
{
    return d_ptr->m_bDraging;
}

Qt::DropAction RZDragService::exec(QObject* source, Qt::DropActions supported, Qt::DropAction defaultAction)
{
    if (d_ptr->m_bDraging) {
        RZLOG_WARN("a drag is already under way; the nested one is not started");
        return Qt::IgnoreAction;
    }
    // On the heap and watched: the source (the drag's parent) may die in the drag's event loop.
    QPointer<QDrag> drag = new QDrag(source);
    if (d_ptr->m_pMimeData) {
        drag->setMimeData(d_ptr->m_pMimeData);
        d_ptr->m_pMimeData = nullptr;
    }
    if (d_ptr->m_oPixmap && !d_ptr->m_oPixmap->isNull())
        drag->setPixmap(*d_ptr->m_oPixmap);
    if (!d_ptr->m_ptHotSpot.isNull())
        drag->setHotSpot(d_ptr->m_ptHotSpot);
    for (auto it = d_ptr->m_mapDragCursors.cbegin(); it != d_ptr->m_mapDragCursors.cend(); ++it)
        drag->setDragCursor(it.value(), it.key());

    d_ptr->m_bDraging = true;
    const Qt::DropAction result = drag->exec(supported, defaultAction);
    d_ptr->m_bDraging = false;
    d_ptr->reset();
    delete drag.data();
    return result;
}
