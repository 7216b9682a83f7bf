#pragma once

#include <Cartolith/Map/LayerSnapshot.h>
#include <Cartolith/Map/Raster/Canvas.h>
#include <Cartolith/Map/Raster/MarkerStamp.h>
#include <Cartolith/Map/Symbol.h>

#include <QSet>

#include <optional>

namespace Cartolith::Map::Internal {

/// What is drawn over a selected shape, whatever its kind: the style's selected line along lines and
/// outlines, and around points. `pixels` of the device make one of the style's.
Symbol selectedSymbol(const Core::Layers::GisLayerStyle& style, double pixels);

/// Draws the shapes of a snapshot that are selected over the others, with their styles' selected lines.
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
    qsizetype m_style = -1; // of these
    std::optional<Symbol> m_symbol;
    std::optional<Raster::MarkerStamp> m_stamp;
};

} // namespace Cartolith::Map::Internal
