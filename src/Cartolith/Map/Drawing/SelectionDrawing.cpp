#include <Cartolith/Map/Drawing/SelectionDrawingInternal.h>
#include <Cartolith/Map/Symbols/SaneSizeInternal.h>

#include <algorithm>

using namespace Cartolith::Core;
using Layers::GisLayerStyle;

namespace Cartolith::Map::Internal {

Symbol selectedSymbol(const GisLayerStyle& style, double pixels) {
    Symbol symbol{GisLayerStyle()};
    symbol.fill.color = Qt::transparent;
    symbol.line = {.color = QColor(style.selectedLineColor()),
                   .width = saneSize(style.selectedLineWidth()) * pixels};
    symbol.marker.size =
        (saneSize(style.pointSize()) + saneSize(style.lineWidth())) * pixels + symbol.line.width;
    symbol.marker.color = Qt::transparent;
    symbol.marker.outline = symbol.line;
    return symbol;
}

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
    if (m_style != m_snapshot.styleNumber(i)) {
        m_style = m_snapshot.styleNumber(i);
        m_symbol = selectedSymbol(m_snapshot.style(i), m_view.devicePixelRatio());
        m_stamp.reset();
    }
    const double margin = (m_symbol->reach() + 2.0) * m_view.unitsPerPixel();
    if (!m_snapshot.meets(i, m_view.pictureExtent().inflate(margin, margin))) {
        return;
    }
    if (m_snapshot.kind(i) != LayerSnapshot::Kind::Point) {
        canvas.stroke(m_snapshot.coordinates(i), m_snapshot.partEnds(i), m_symbol->line,
                      m_snapshot.kind(i) == LayerSnapshot::Kind::Area);
        return;
    }
    if (!m_stamp) {
        const Symbol::Marker& marker = m_symbol->marker;
        m_stamp.emplace(marker.size, marker.color, marker.outline.width, marker.outline.color);
    }
    canvas.markers(m_snapshot.coordinates(i), *m_stamp);
}

} // namespace Cartolith::Map::Internal
