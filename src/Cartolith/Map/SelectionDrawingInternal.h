#pragma once

#include <Cartolith/Map/LayerSnapshot.h>
#include <Cartolith/Map/Raster/Canvas.h>

#include <QSet>

namespace Cartolith::Map::Internal {

/// Draws the shapes of a snapshot that are selected over the others, with their styles' selected lines: along
/// lines and outlines, around points.
class SelectionDrawing {
public:
    /// All of these live as long as this object.
    SelectionDrawing(const LayerSnapshot& snapshot, const MapView& view, const QSet<qint64>& ids);

    /// Goes on until `isWanted()`, asked now and again, says no; false when all is drawn.
    template <typename IsWanted>
    bool draw(Raster::Canvas& canvas, IsWanted isWanted) {
        while (!m_ids.isEmpty() && m_position < m_snapshot.count()) {
            drawNext(canvas);
            if (!isWanted()) {
                return true;
            }
        }
        return false;
    }

private:
    void drawNext(Raster::Canvas& canvas);

    const LayerSnapshot& m_snapshot;
    const MapView& m_view;
    const QSet<qint64>& m_ids;
    qsizetype m_position = 0;
};

} // namespace Cartolith::Map::Internal
