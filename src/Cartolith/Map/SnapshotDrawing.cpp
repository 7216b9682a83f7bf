#include <Cartolith/Map/SnapshotDrawingInternal.h>

#include <algorithm>

using namespace Cartolith::Core;
using Layers::GisLayerStyle;

namespace Cartolith::Map::Internal {

namespace {

constexpr qsizetype together = 1024; // markers, from one question whether to go on to the next

} // namespace

SnapshotDrawing::SnapshotDrawing(const LayerSnapshot& snapshot, const MapView& view, const LineCasing& casing)
    : m_snapshot(snapshot), m_view(view), m_visible(extentWithSymbols(snapshot, view)) {
    m_looks.reserve(static_cast<std::size_t>(snapshot.styles().size()));
    for (const GisLayerStyle& style : snapshot.styles()) {
        m_looks.push_back({symbolLook(style, view.devicePixelRatio(), casing), std::nullopt});
        m_rounds = m_looks.back().casing ? 2 : m_rounds;
    }
}

bool SnapshotDrawing::nextRound() {
    if (m_round + 1 >= m_rounds || m_snapshot.count() == 0) {
        return false;
    }
    ++m_round;
    m_position = 0;
    return true;
}

const Raster::MarkerStamp& SnapshotDrawing::markerOf(qsizetype style) {
    Look& look = m_looks[static_cast<std::size_t>(style)];
    if (!look.marker) {
        look.marker.emplace(look.markerSize, look.markerColor, look.line.width, look.line.color);
    }
    return *look.marker;
}

/// Of many shapes below a pixel, one is seen: a dot of the outline's colour. It is drawn once, unless
/// something larger or of another look came in between. Translucent ones add up, so these are all drawn.
bool SnapshotDrawing::isSeenAlready(qsizetype i, const Look& look) {
    constexpr qsizetype fewest = 50'000; // before it is worth the memory
    constexpr double thinnest = 0.75;    // pixels: nearly opaque
    const LayerSnapshot::Box box = m_snapshot.box(i);
    const double pixel = m_view.unitsPerPixel();
    const bool isDot = box.right - box.left < pixel && box.top - box.bottom < pixel &&
                       look.line.width >= thinnest && look.line.color.alpha() == 255;
    if (!isDot) {
        ++m_larger;
        return false;
    }
    if (m_snapshot.count() < fewest) {
        return false;
    }
    const QRect frame = m_view.pictureFrame();
    const QPointF place =
        m_view.toPixel((box.left + box.right) / 2.0, (box.bottom + box.top) / 2.0) - frame.topLeft();
    if (!(place.x() >= 0.0 && place.y() >= 0.0 && place.x() < frame.width() && place.y() < frame.height())) {
        return false;
    }
    if (m_dots.empty()) {
        m_dots.resize(static_cast<std::size_t>(frame.width()) * static_cast<std::size_t>(frame.height()));
    }
    Dot& dot = m_dots[static_cast<std::size_t>(place.y()) * static_cast<std::size_t>(frame.width()) +
                      static_cast<std::size_t>(place.x())];
    const auto style = static_cast<qint32>(m_snapshot.styleNumber(i));
    if (dot.style == style && dot.after == m_larger) {
        return true;
    }
    dot = {style, m_larger};
    return false;
}

void SnapshotDrawing::drawNext(Raster::Canvas& canvas) {
    const qsizetype i = m_position++;
    const LayerSnapshot::Kind kind = m_snapshot.kind(i);
    const qsizetype style = m_snapshot.styleNumber(i);
    const bool isBelow = m_round + 1 < m_rounds; // only casings are drawn
    if (kind == LayerSnapshot::Kind::Point) {
        const qsizetype most = std::min(m_snapshot.count(), i + together);
        while (m_position < most && m_snapshot.kind(m_position) == kind &&
               m_snapshot.styleNumber(m_position) == style) {
            ++m_position;
        }
        if (!isBelow) {
            canvas.markers(m_snapshot.coordinates(i, m_position), markerOf(style));
        }
        return;
    }
    if (!m_snapshot.meets(i, m_visible)) {
        return;
    }
    const Look& look = m_looks[static_cast<std::size_t>(style)];
    if (!isBelow && isSeenAlready(i, look)) {
        return;
    }
    if (kind == LayerSnapshot::Kind::Line) {
        if (!isBelow) {
            canvas.stroke(m_snapshot.coordinates(i), m_snapshot.partEnds(i), look.line);
        } else if (look.casing) {
            canvas.stroke(m_snapshot.coordinates(i), m_snapshot.partEnds(i), *look.casing);
        }
    } else if (!isBelow) {
        canvas.area(m_snapshot.coordinates(i), m_snapshot.partEnds(i), look.fill, look.line);
    }
}

} // namespace Cartolith::Map::Internal
