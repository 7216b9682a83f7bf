#pragma once

#include <Cartolith/Map/LayerSnapshot.h>
#include <Cartolith/Map/Raster/Canvas.h>
#include <Cartolith/Map/Raster/MarkerStamp.h>
#include <Cartolith/Map/Symbols/LayerSymbolsInternal.h>

#include <optional>
#include <vector>

namespace Cartolith::Map::Internal {

/// Draws the shapes of a snapshot on a canvas, in order, as far as somebody lets it.
class SnapshotDrawing {
public:
    /// All of these live as long as this object. The watch is asked where a shape does not ask: between
    /// styles, and from one picture of a marker to the next.
    SnapshotDrawing(const LayerSnapshot& snapshot, const MapView& view, const LineCasing& casing,
                    Watch watch = {});

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
        const double all =
            static_cast<double>(m_snapshot.count()) * static_cast<double>(m_symbols.rounds().size());
        return all > 0.0 ? (static_cast<double>(m_snapshot.count()) * static_cast<double>(m_round) +
                            static_cast<double>(m_position)) /
                               all
                         : 1.0;
    }

private:
    void drawNext(Raster::Canvas& canvas);
    void drawArea(Raster::Canvas& canvas, qsizetype i, const Symbol& symbol) const;
    bool isSeenAlready(qsizetype i, const Symbol& symbol);
    bool nextRound();
    const Raster::MarkerStamp& markerOf(qsizetype style);
    void drawMarkers(Raster::Canvas& canvas, qsizetype from, qsizetype to, qsizetype style);
    /// Where sizes and rotations are by value, most markers are drawn once, and a stamp for all places
    /// between the pixels is not worth its pictures.
    bool isRare(qsizetype style);

    /// What was last drawn in a pixel as a mere dot, and since how many larger shapes.
    struct Dot {
        qint32 style = -1;
        quint32 after = 0;
    };

    const LayerSnapshot& m_snapshot;
    const MapView m_view;
    const Watch m_watch;
    const LayerSymbols m_symbols;
    const Core::Shapes::GisExtent m_visible;                  ///< with what reaches in from outside
    std::vector<std::optional<Raster::MarkerStamp>> m_stamps; // of styles, made when the first point asks
    std::vector<Dot> m_dots;                                  // of each pixel, when the first is asked for
    quint32 m_larger = 0;                                     // shapes drawn
    std::vector<quint32> m_uses;      // of each style by points; when the first is asked for
    std::vector<qsizetype> m_stamped; // the styles that have one
    qsizetype m_stampBytes = 0;
    qsizetype m_round = 0;
    qsizetype m_position = 0;
};

} // namespace Cartolith::Map::Internal
