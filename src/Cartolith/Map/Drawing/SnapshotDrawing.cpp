#include <Cartolith/Map/Drawing/SnapshotDrawingInternal.h>

#include <QImage>
#include <QPainter>

#include <algorithm>
#include <cmath>

using namespace Cartolith::Core;
using Layers::GisLayerStyle;

namespace Cartolith::Map::Internal {

namespace {

constexpr qsizetype together = 1024; // markers, from one question whether to go on to the next

/// The view, and as much around it as the widest symbol reaches in (pixels of the device).
Shapes::GisExtent visibleWith(const MapView& view, double reach) {
    const double margin = (reach + 2.0) * view.unitsPerPixel();
    return view.pictureExtent().inflate(margin, margin);
}

Raster::MarkerStamp stampOf(const Symbol::Marker& marker, std::optional<QPoint> only = std::nullopt) {
    if (marker.isPlain() && marker.size > 0.0) { // its outline alone would be a dot
        return {marker.size, marker.color, marker.outline.width, marker.outline.color};
    }
    const QPainterPath path = marker.path();
    const QPainterPath around = marker.haloPath();
    return {marker.size > 0.0 ? marker.reach() : 0.0,
            [&](QImage& picture, QPointF place) {
                QPainter painter(&picture);
                painter.setRenderHint(QPainter::Antialiasing);
                marker.paint(painter, place, path, around);
            },
            only};
}

} // namespace

SnapshotDrawing::SnapshotDrawing(const LayerSnapshot& snapshot, const MapView& view, const LineCasing& casing)
    : m_snapshot(snapshot), m_view(view) {
    double reach = 0.0;
    bool hasHalos = false;
    bool hasCasings = false;
    m_looks.reserve(static_cast<std::size_t>(snapshot.styles().size()));
    for (const GisLayerStyle& style : snapshot.styles()) {
        const Symbol& symbol =
            m_looks.emplace_back(Look{Symbol(style, view.devicePixelRatio(), casing), {}}).symbol;
        reach = std::max(reach, symbol.reach());
        hasHalos = hasHalos || symbol.halo;
        hasCasings = hasCasings || symbol.casing;
    }
    m_visible = visibleWith(view, reach);
    if (hasHalos) {
        m_rounds.append(Round::Halos);
    }
    if (hasCasings) {
        m_rounds.append(Round::Casings);
    }
    m_rounds.append(Round::Symbols);
}

bool SnapshotDrawing::nextRound() {
    if (m_round + 1 >= m_rounds.size() || m_snapshot.count() == 0) {
        return false;
    }
    ++m_round;
    m_position = 0;
    return true;
}

const Raster::MarkerStamp& SnapshotDrawing::markerOf(qsizetype style) {
    Look& look = m_looks[static_cast<std::size_t>(style)];
    if (!look.marker) {
        constexpr qsizetype most = qsizetype{64} << 20; // bytes, where sizes and rotations are many
        if (m_stampBytes > most) {
            for (const qsizetype stamped : m_stamped) {
                m_looks[static_cast<std::size_t>(stamped)].marker.reset();
            }
            m_stamped.clear();
            m_stampBytes = 0;
        }
        look.marker.emplace(stampOf(look.symbol.marker));
        m_stamped.push_back(style);
        m_stampBytes += look.marker->bytes();
    }
    return *look.marker;
}

bool SnapshotDrawing::isRare(qsizetype style) {
    constexpr std::size_t few = 64; // looks, which may have their stamps
    constexpr quint32 seldom = Raster::MarkerStamp::steps * Raster::MarkerStamp::steps;
    if (m_looks.size() <= few || m_looks[static_cast<std::size_t>(style)].symbol.marker.isPlain()) {
        return false;
    }
    if (m_uses.empty()) {
        m_uses.resize(m_looks.size());
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
    const Symbol::Marker& marker = m_looks[static_cast<std::size_t>(style)].symbol.marker;
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
        canvas.markers(at, stampOf(marker, step));
    }
}

/// Of many shapes below a pixel, one is seen: a dot of the outline's colour. It is drawn once, unless
/// something larger or of another look came in between. Translucent ones add up, so these are all drawn.
bool SnapshotDrawing::isSeenAlready(qsizetype i, const Look& look) {
    constexpr qsizetype fewest = 50'000; // before it is worth the memory
    constexpr double thinnest = 0.75;    // pixels: nearly opaque
    const LayerSnapshot::Box box = m_snapshot.box(i);
    const double pixel = m_view.unitsPerPixel();
    const bool isDot = box.right - box.left < pixel && box.top - box.bottom < pixel &&
                       look.symbol.line.width >= thinnest && look.symbol.line.color.alpha() == 255;
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
    const Round round = m_rounds.at(m_round);
    if (kind == LayerSnapshot::Kind::Point) {
        const qsizetype most = std::min(m_snapshot.count(), i + together);
        while (m_position < most && m_snapshot.kind(m_position) == kind &&
               m_snapshot.styleNumber(m_position) == style) {
            ++m_position;
        }
        if (round == Round::Symbols) {
            drawMarkers(canvas, i, m_position, style);
        }
        return;
    }
    if (!m_snapshot.meets(i, m_visible)) {
        return;
    }
    const Look& look = m_looks[static_cast<std::size_t>(style)];
    if (round != Round::Symbols) {
        const auto& below = round == Round::Halos ? look.symbol.halo : look.symbol.casing;
        if (kind == LayerSnapshot::Kind::Line && below) {
            canvas.stroke(m_snapshot.coordinates(i), m_snapshot.partEnds(i), *below);
        }
    } else if (isSeenAlready(i, look)) {
        return;
    } else if (kind == LayerSnapshot::Kind::Line) {
        canvas.stroke(m_snapshot.coordinates(i), m_snapshot.partEnds(i), look.symbol.line);
    } else {
        drawArea(canvas, i, look.symbol);
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
