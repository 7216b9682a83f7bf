#include <Cartolith/Map/Drawing/SnapshotDrawingInternal.h>

#include <QImage>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <utility>

using namespace Cartolith::Core;

namespace Cartolith::Map::Internal {

namespace {

constexpr qsizetype together = 1024; // markers, from one question whether to go on to the next

Raster::MarkerStamp stampOf(const Symbol::Marker& marker, const Watch& watch,
                            std::optional<QPoint> only = std::nullopt) {
    if (marker.isPlain() && marker.size > 0.0) { // its outline alone would be a dot
        return {marker.size, marker.color, marker.outline.width, marker.outline.color};
    }
    const QPainterPath path = marker.path();
    const QPainterPath around = marker.haloPath();
    return {marker.size > 0.0 ? marker.reach() : 0.0,
            [&](QImage& picture, QPointF place) {
                watch();
                QPainter painter(&picture);
                painter.setRenderHint(QPainter::Antialiasing);
                marker.paint(painter, place, path, around);
            },
            only};
}

} // namespace

SnapshotDrawing::SnapshotDrawing(const LayerSnapshot& snapshot, const MapView& view, const LineCasing& casing,
                                 Watch watch)
    : m_snapshot(snapshot), m_view(view), m_watch(std::move(watch)),
      m_symbols(snapshot, view.devicePixelRatio(), casing, m_watch),
      m_visible(around(view, m_symbols.reach())), m_stamps(static_cast<std::size_t>(m_symbols.count())) {}

bool SnapshotDrawing::nextRound() {
    if (m_round + 1 >= m_symbols.rounds().size() || m_snapshot.count() == 0) {
        return false;
    }
    ++m_round;
    m_position = 0;
    return true;
}

const Raster::MarkerStamp& SnapshotDrawing::markerOf(qsizetype style) {
    std::optional<Raster::MarkerStamp>& stamp = m_stamps[static_cast<std::size_t>(style)];
    if (!stamp) {
        constexpr qsizetype most = qsizetype{64} << 20; // bytes, where sizes and rotations are many
        if (m_stampBytes > most) {
            for (const qsizetype stamped : m_stamped) {
                m_stamps[static_cast<std::size_t>(stamped)].reset();
            }
            m_stamped.clear();
            m_stampBytes = 0;
        }
        stamp.emplace(stampOf(m_symbols[style].marker, m_watch));
        m_stamped.push_back(style);
        m_stampBytes += stamp->bytes();
    }
    return *stamp;
}

bool SnapshotDrawing::isRare(qsizetype style) {
    constexpr qsizetype few = 64; // styles, which may have their stamps
    constexpr quint32 seldom = Raster::MarkerStamp::steps * Raster::MarkerStamp::steps;
    if (m_symbols.count() <= few || m_symbols[style].marker.isPlain()) {
        return false;
    }
    if (m_uses.empty()) {
        m_uses.resize(m_stamps.size());
        for (qsizetype i = 0; i < m_snapshot.count(); ++i) {
            m_uses[static_cast<std::size_t>(m_snapshot.styleNumber(i))] +=
                m_snapshot.kind(i) == LayerSnapshot::Kind::Point ? 1U : 0U;
        }
    }
    return m_uses[static_cast<std::size_t>(style)] < seldom;
}

void SnapshotDrawing::drawMarkers(Raster::Canvas& canvas, qsizetype from, qsizetype to, qsizetype style) {
    if (!isRare(style)) {
        canvas.markers(m_snapshot.coordinates(from, to), markerOf(style));
        return;
    }
    const Symbol::Marker& marker = m_symbols[style].marker;
    const QPointF corner = m_view.pictureFrame().topLeft();
    for (qsizetype i = from; i < to; ++i) {
        if (!m_snapshot.meets(i, m_visible)) { // nor what is not finite
            continue;
        }
        const auto at = m_snapshot.coordinates(i);
        const QPointF p = m_view.toPixel(at[0], at[1]) - corner;
        constexpr int steps = Raster::MarkerStamp::steps;
        const QPoint step(static_cast<int>((p.x() - std::floor(p.x())) * steps),
                          static_cast<int>((p.y() - std::floor(p.y())) * steps));
        canvas.markers(at, stampOf(marker, m_watch, step));
    }
}

/// Of many shapes below a pixel, one is seen: a dot of the outline's colour. It is drawn once, unless
/// something larger or of another look came in between. Translucent ones add up, so these are all drawn.
bool SnapshotDrawing::isSeenAlready(qsizetype i, const Symbol& symbol) {
    constexpr qsizetype fewest = 50'000; // before it is worth the memory
    constexpr double thinnest = 0.75;    // pixels: nearly opaque
    const LayerSnapshot::Box box = m_snapshot.box(i);
    const double pixel = m_view.unitsPerPixel();
    const bool isDot = box.right - box.left < pixel && box.top - box.bottom < pixel &&
                       symbol.line.width >= thinnest && symbol.line.color.alpha() == 255;
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
    const LayerSymbols::Round round = m_symbols.rounds().at(m_round);
    if (kind == LayerSnapshot::Kind::Point) {
        const qsizetype most = std::min(m_snapshot.count(), i + together);
        while (m_position < most && m_snapshot.kind(m_position) == kind &&
               m_snapshot.styleNumber(m_position) == style) {
            ++m_position;
        }
        if (round == LayerSymbols::Round::Symbols) {
            drawMarkers(canvas, i, m_position, style);
        }
        return;
    }
    if (!m_snapshot.meets(i, m_visible)) {
        return;
    }
    const Symbol& symbol = m_symbols[style];
    if (round != LayerSymbols::Round::Symbols) {
        const auto& below = round == LayerSymbols::Round::Halos ? symbol.halo : symbol.casing;
        if (kind == LayerSnapshot::Kind::Line && below) {
            canvas.stroke(m_snapshot.coordinates(i), m_snapshot.partEnds(i), *below);
        }
    } else if (isSeenAlready(i, symbol)) {
        return;
    } else if (kind == LayerSnapshot::Kind::Line) {
        canvas.stroke(m_snapshot.coordinates(i), m_snapshot.partEnds(i), symbol.line);
    } else {
        drawArea(canvas, i, symbol);
    }
}

void SnapshotDrawing::drawArea(Raster::Canvas& canvas, qsizetype i, const Symbol& symbol) const {
    canvas.area(m_snapshot.coordinates(i), m_snapshot.partEnds(i), symbol.fill,
                symbol.outlineCasing ? *symbol.outlineCasing : symbol.line);
    if (symbol.outlineCasing) {
        canvas.stroke(m_snapshot.coordinates(i), m_snapshot.partEnds(i), symbol.line, true);
    }
}

} // namespace Cartolith::Map::Internal
