#pragma once

#include <Cartolith/Map/MapView.h>

#include <QPointF>
#include <QRectF>

#include <span>
#include <vector>

namespace Cartolith::Map::Output::Internal {

/// A feature in pixels of the sheet, as an output of vectors wants it: cut a little outside of what is shown,
/// on a fine grid, without the vertices that say nothing there. What two features have in common stays the
/// same in both.
class VectorPath {
public:
    /// Keeps what lies in the rectangle (pixels); `step` is that of the grid.
    VectorPath(const MapView& view, const QRectF& keep, double step)
        : m_view(view), m_keep(keep), m_step(step) {}

    /// Map units. False when nothing is left. Parts with a coordinate that is not finite are left out.
    bool read(std::span<const double> coordinates, std::span<const qsizetype> ends, bool areClosed);

    std::span<const double> coordinates() const { return m_coordinates; }
    std::span<const qsizetype> ends() const { return m_ends; }
    /// How far from the beginning of its line each part begins, in pixels: from there, dashes count. 0 of
    /// rings.
    std::span<const double> begins() const { return m_begins; }

private:
    bool readPart(std::span<const double> part, bool isClosed);
    void cutRing();
    void cutLine();
    void add(std::span<const QPointF> part, bool isClosed, double begin = 0.0);

    const MapView m_view;
    const QRectF m_keep;
    const double m_step;
    std::vector<QPointF> m_part;
    std::vector<QPointF> m_cut;
    std::vector<double> m_coordinates;
    std::vector<qsizetype> m_ends;
    std::vector<double> m_begins;
};

} // namespace Cartolith::Map::Output::Internal
