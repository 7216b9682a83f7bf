#include <Cartolith/Map/Raster/MarkerStamp.h>
#include <Cartolith/Map/Raster/Stroke.h>
#include <Cartolith/Map/SaneSizeInternal.h>
#include <Cartolith/Map/SelectionDrawingInternal.h>

#include <algorithm>

using namespace Cartolith::Core;
using Layers::GisLayerStyle;

namespace Cartolith::Map::Internal {

SelectionDrawing::SelectionDrawing(const LayerSnapshot& snapshot, const MapView& view,
                                   const QSet<qint64>& ids)
    : m_snapshot(snapshot), m_view(view), m_ids(ids) {}

void SelectionDrawing::drawNext(Raster::Canvas& canvas) {
    constexpr qsizetype together = 1024; // looked at, from one question whether to go on to the next
    const qsizetype end = std::min(m_snapshot.count(), m_position + together);
    while (m_position < end && !m_ids.contains(m_snapshot.id(m_position))) {
        ++m_position;
    }
    if (m_position == end) {
        return;
    }
    const qsizetype i = m_position++;
    const GisLayerStyle& style = m_snapshot.style(i);
    const double pixels = m_view.devicePixelRatio();
    Raster::Stroke line;
    line.color = QColor(style.selectedLineColor());
    line.width = saneSize(style.selectedLineWidth()) * pixels;
    if (m_snapshot.kind(i) == LayerSnapshot::Kind::Point) {
        const double diameter = (saneSize(style.pointSize()) + saneSize(style.lineWidth())) * pixels;
        canvas.markers(m_snapshot.coordinates(i),
                       Raster::MarkerStamp(diameter + line.width, Qt::transparent, line.width, line.color));
        return;
    }
    const double margin = (line.width + 2.0) * m_view.unitsPerPixel();
    if (m_snapshot.meets(i, m_view.pictureExtent().inflate(margin, margin))) {
        canvas.stroke(m_snapshot.coordinates(i), m_snapshot.partEnds(i), line,
                      m_snapshot.kind(i) == LayerSnapshot::Kind::Area);
    }
}

} // namespace Cartolith::Map::Internal
