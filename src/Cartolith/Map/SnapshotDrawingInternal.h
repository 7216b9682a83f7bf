#pragma once

#include <Cartolith/Map/LayerSnapshot.h>
#include <Cartolith/Map/Raster/Canvas.h>
#include <Cartolith/Map/Raster/MarkerStamp.h>
#include <Cartolith/Map/SymbolLookInternal.h>

#include <optional>
#include <vector>

namespace Cartolith::Map::Internal {

/// Draws the shapes of a snapshot on a canvas, in order, as far as somebody lets it.
class SnapshotDrawing {
public:
    /// All of these live as long as this object.
    SnapshotDrawing(const LayerSnapshot& snapshot, const MapView& view, const LineCasing& casing);

    /// Goes on until `isWanted()`, asked after every shape, says no; false when all is drawn.
    template <typename IsWanted>
    bool draw(Raster::Canvas& canvas, IsWanted isWanted) {
        while (m_position < m_snapshot.count() || nextRound()) {
            drawNext(canvas);
            if (!isWanted()) {
                return true;
            }
        }
        return false;
    }

    /// From 0 to 1.
    double progress() const {
        const double all = static_cast<double>(m_snapshot.count()) * m_rounds;
        return all > 0.0
                   ? (static_cast<double>(m_snapshot.count()) * m_round + static_cast<double>(m_position)) /
                         all
                   : 1.0;
    }

private:
    struct Look : SymbolLook {
        std::optional<Raster::MarkerStamp> marker; // made when the first point asks for it
    };

    void drawNext(Raster::Canvas& canvas);
    bool isSeenAlready(qsizetype i, const Look& look);
    bool nextRound();
    const Raster::MarkerStamp& markerOf(qsizetype style);

    /// What was last drawn in a pixel as a mere dot, and since how many larger shapes.
    struct Dot {
        qint32 style = -1;
        quint32 after = 0;
    };

    const LayerSnapshot& m_snapshot;
    const MapView m_view;
    const Core::Shapes::GisExtent m_visible; ///< with what reaches in from outside
    std::vector<Look> m_looks;
    std::vector<Dot> m_dots; // of each pixel, when the first is asked for
    quint32 m_larger = 0;    // shapes drawn
    int m_rounds = 1;        ///< two where lines have casings, which lie below all of them
    int m_round = 0;
    qsizetype m_position = 0;
};

} // namespace Cartolith::Map::Internal
