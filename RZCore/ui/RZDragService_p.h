#pragma once
// State of the drag service. Not installed.

#include <QMap>
#include <QPixmap>
#include <QPoint>
#include <QPointer>

#include <optional>

class QMimeData;

class RZDragServicePrivate
{
public:
    void reset();

    bool m_bDraging = false;
    QMimeData* m_pMimeData = nullptr; // owned until a drag takes it
    // Empty until set: a QPixmap can't be built before the application object, and the service
    // may be.
    std::optional<QPixmap> m_oPixmap;
    QPoint m_ptHotSpot;
    QMap<Qt::DropAction, QPixmap> m_mapDragCursors;
};
