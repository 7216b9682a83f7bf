#include <Cartolith/Core/Common/FloatsInternal.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Shapes/SegmentFormulasInternal.h>
#include <Cartolith/Core/Topology/BoundaryInternal.h>

#include <bit>
#include <new>
#include <typeinfo>

namespace Cartolith::Core::Topology::Internal {

using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;

namespace {

constexpr int runLength = 8;
using Common::Internal::infinity;

// Zero, or of a size whose products and squares are normal numbers.
bool isRegularNumber(double value) noexcept {
    constexpr auto low = std::bit_cast<quint64>(1e-100) << 1U;
    constexpr auto high = std::bit_cast<quint64>(1e100) << 1U;
    const quint64 bits = std::bit_cast<quint64>(value) << 1U; // without the sign
    return bits - low <= high - low || bits == 0;
}

bool isRegularTolerance(double tolerance) noexcept {
    return isRegularNumber(tolerance) && tolerance >= 0.0;
}

bool isExactClass(const GisShape& shape) {
    const std::type_info& type = typeid(shape);
    return type == typeid(GisShapePolygon) || type == typeid(GisShapePolyline) ||
           type == typeid(GisShapePoint);
}

bool extentHolds(const Shapes::GisExtent& extent, Position p) noexcept {
    return p.x >= extent.xMin() && extent.xMax() >= p.x && p.y >= extent.yMin() && extent.yMax() >= p.y;
}

} // namespace

bool isRegularPosition(Position p) noexcept {
    return isRegularNumber(p.x) && isRegularNumber(p.y);
}

const QList<QList<GisShapePoint>>* partsOf(const GisShape& shape) {
    // The exact classes first: they are nearly all, and a dynamic cast takes longer than many a search.
    if (typeid(shape) == typeid(GisShapePolygon)) {
        return &static_cast<const GisShapePolygon&>(shape).parts();
    }
    if (typeid(shape) == typeid(GisShapePolyline)) {
        return &static_cast<const GisShapePolyline&>(shape).parts();
    }
    if (typeid(shape) == typeid(GisShapePoint)) {
        return nullptr;
    }
    if (const auto* polyline = dynamic_cast<const GisShapePolyline*>(&shape)) {
        return &polyline->parts();
    }
    const auto* polygon = dynamic_cast<const GisShapePolygon*>(&shape);
    return polygon != nullptr ? &polygon->parts() : nullptr;
}

// The margin of cases 1 and 2 for the whole shape; the largest coordinate is enough to keep clear of
// underflow.
std::optional<Box> reach(const GisShape& shape, const Shapes::GisExtent& extent, double tolerance) {
    const double largest = std::max(
        {std::abs(extent.xMin()), std::abs(extent.yMin()), std::abs(extent.xMax()), std::abs(extent.yMax())});
    if (!isExactClass(shape) || !isRegularTolerance(tolerance) || !isRegularNumber(largest)) {
        return {};
    }
    const double margin = (1.0 + 0x1p-40) * tolerance + 0x1p-48 * largest;
    return Box{extent.xMin() - margin, extent.yMin() - margin, extent.xMax() + margin,
               extent.yMax() + margin};
}

Boundary::Boundary(const GisShape& shape, const Shapes::GisExtent& extent, double tolerance, Scratch* scratch,
                   Boxes boxes)
    : m_tolerance(tolerance), m_regular(isRegularTolerance(tolerance)), m_kindOfBoxes(boxes),
      m_extent(extent) {
    if (!isExactClass(shape)) {
        m_custom = &shape;
    }
    if (const auto* parts = partsOf(shape)) {
        if (m_custom == nullptr) {
            m_kind = typeid(shape) == typeid(GisShapePolygon) ? Kind::Area : Kind::Line;
        }
        build(*parts, scratch);
    } else if (const auto* point = dynamic_cast<const GisShapePoint*>(&shape);
               point != nullptr && !point->isEmpty()) {
        m_kind = m_custom == nullptr ? Kind::Point : Kind::Nothing;
        build(*point, scratch);
    }
}

void Boundary::allocate(qsizetype vertices, qsizetype parts, qsizetype runs, Scratch* scratch) {
    qsizetype boxes = runs;
    for (qsizetype level = runs; level > 1;) {
        level = (level + 7) / 8;
        boxes += level;
    }
    const auto bytes = static_cast<std::size_t>(vertices) * 2 * sizeof(double) +
                       static_cast<std::size_t>(boxes) * sizeof(Box) +
                       static_cast<std::size_t>(runs) * sizeof(Run) +
                       static_cast<std::size_t>(parts) * sizeof(Part);
    if (scratch == nullptr || bytes > sizeof scratch->bytes) {
        m_memory = std::make_unique_for_overwrite<std::byte[]>(bytes);
    }
    std::byte* next = m_memory ? m_memory.get() : scratch->bytes;
    const auto take = [&next]<typename Item>(Item*& items, qsizetype count) {
        items = new (next) Item[static_cast<std::size_t>(count)];
        next += static_cast<std::size_t>(count) * sizeof(Item);
    };
    take(m_x, vertices);
    take(m_y, vertices);
    take(m_boxes, boxes);
    take(m_runs, runs);
    take(m_parts, parts);
}

void Boundary::build(const GisShapePoint& point, Scratch* scratch) {
    allocate(1, 1, 1, scratch);
    m_x[0] = point.x();
    m_y[0] = point.y();
    m_regular = m_regular && isRegularPosition(vertex(0));
    m_parts[m_partCount++] = {0, 1};
    addRuns(false);
    addBoxes();
}

void Boundary::build(const QList<QList<GisShapePoint>>& parts, Scratch* scratch) {
    qsizetype vertices = parts.size(); // one more for each ring that is open
    qsizetype runs = 0;
    for (const QList<GisShapePoint>& part : parts) {
        vertices += part.size();
        runs += part.isEmpty() ? 0 : std::max<qsizetype>(1, (part.size() + runLength - 2) / runLength);
    }
    allocate(vertices, parts.size(), runs, scratch);
    qsizetype next = 0;
    bool regular = true;
    for (const QList<GisShapePoint>& part : parts) {
        if (part.isEmpty()) {
            continue;
        }
        m_parts[m_partCount++] = {next, part.size()};
        for (const GisShapePoint& point : part) {
            const Position position = positionOf(point);
            regular &= isRegularPosition(position);
            m_x[next] = position.x;
            m_y[next] = position.y;
            ++next;
        }
        const Position first = positionOf(part.first());
        const Position last = positionOf(part.last());
        const bool closing =
            m_kind == Kind::Area && part.size() >= 3 && (first.x != last.x || first.y != last.y);
        if (closing) {
            m_x[next] = first.x;
            m_y[next] = first.y;
            ++next;
        }
        addRuns(closing);
    }
    m_regular = m_regular && regular;
    addBoxes();
}

void Boundary::addRuns(bool closing) {
    const Part& part = m_parts[m_partCount - 1];
    const qsizetype segments = part.size - 1;
    qsizetype done = 0;
    do {
        const qsizetype length = std::min<qsizetype>(runLength, segments - done);
        const bool last = done + length == segments;
        const qsizetype edges = part.size < 3 ? 0 : length + (last && closing ? 1 : 0);
        m_runs[m_count[0]++] = {part.begin + done, static_cast<quint32>(m_partCount),
                                static_cast<quint8>(length), static_cast<quint8>(edges),
                                static_cast<quint8>(length + (last ? 1 : 0))};
        done += length;
    } while (done < segments);
}

Box Boundary::boxOf(qsizetype start, int segments) const noexcept {
    Box box{m_x[start], m_y[start], m_x[start], m_y[start]};
    for (qsizetype i = start + 1; i <= start + segments; ++i) {
        box.xMin = std::min(box.xMin, m_x[i]);
        box.yMin = std::min(box.yMin, m_y[i]);
        box.xMax = std::max(box.xMax, m_x[i]);
        box.yMax = std::max(box.yMax, m_y[i]);
    }
    return box;
}

Box Boundary::widened(const Box& box) const noexcept {
    const double share = 0.0625 + 2.0 * m_tolerance;
    const double x = share * (box.xMax - box.xMin) + m_margin;
    const double y = share * (box.yMax - box.yMin) + m_margin;
    return {box.xMin - x, box.yMin - y, box.xMax + x, box.yMax + y};
}

Box Boundary::segmentBox(qsizetype start) const noexcept {
    if (m_kindOfBoxes == Boxes::Bare) {
        return boxOf(start, 1);
    }
    return m_regular ? widened(boxOf(start, 1)) : box();
}

void Boundary::widenBoxes() {
    double largest = 0.0;
    for (qsizetype i = 0; i < m_count[0]; ++i) {
        const Box& box = m_boxes[i];
        largest = std::max(
            {largest, std::abs(box.xMin), std::abs(box.yMin), std::abs(box.xMax), std::abs(box.yMax)});
    }
    m_margin = (1.0 + 0x1p-40) * m_tolerance + 0x1p-50 * largest;
    for (qsizetype i = 0; i < m_count[0]; ++i) {
        m_boxes[i] = m_regular ? widened(m_boxes[i]) : Box{-infinity, -infinity, infinity, infinity};
    }
}

void Boundary::addBoxes() {
    for (qsizetype i = 0; i < m_count[0]; ++i) {
        const Run& run = m_runs[i];
        m_boxes[i] = boxOf(run.start, std::max(run.segments, run.edges));
    }
    if (m_kindOfBoxes == Boxes::ForTests) {
        widenBoxes();
    }
    while (m_count[m_topLevel] > 1) {
        const qsizetype first = m_first[m_topLevel];
        const qsizetype end = first + m_count[m_topLevel];
        Box* next = m_boxes + end;
        for (qsizetype i = first; i < end; i += 8) {
            Box box = m_boxes[i];
            for (qsizetype j = i + 1; j < std::min(i + 8, end); ++j) {
                const Box& other = m_boxes[j];
                box = {std::min(box.xMin, other.xMin), std::min(box.yMin, other.yMin),
                       std::max(box.xMax, other.xMax), std::max(box.yMax, other.yMax)};
            }
            *next++ = box;
        }
        ++m_topLevel;
        m_first[m_topLevel] = end;
        m_count[m_topLevel] = next - (m_boxes + end);
    }
}

template <Boundary::Question question>
Place Boundary::place(Position p, Work& work) const {
    constexpr bool asksInside = question != Question::OnBoundary;
    bool inside =
        asksInside && m_custom != nullptr && m_custom->contains(GisShapePoint(p.x, p.y), m_tolerance);
    if (question == Question::Contains && inside) {
        return Place::Inside;
    }
    const bool areaAround = asksInside && m_kind == Kind::Area && extentHolds(m_extent, p);
    const bool everywhere = !isRegularPosition(p);
    bool onBoundary = false;
    bool odd = false; // crossings with the current ring so far
    quint32 ring = 0; // parts count from 1
    qint64 visited = 0;
    const auto enterRing = [&](quint32 part) {
        if (part != ring) {
            inside = inside || odd;
            odd = false;
            ring = part;
        }
    };
    walk([&](int level, qsizetype node) {
        ++visited;
        const Box& around = box(level, node);
        if (!everywhere) {
            if (p.y < around.yMin || p.y > around.yMax || p.x > around.xMax) {
                return Step::Skip;
            }
            if (p.x < around.xMin) {
                if (!areaAround) {
                    return Step::Skip;
                }
                const Run& firstRun = m_runs[node << (3 * level)];
                const Run& lastRun = m_runs[std::min((node + 1) << (3 * level), m_count[0]) - 1];
                if (firstRun.part != lastRun.part) {
                    return Step::Down;
                }
                enterRing(firstRun.part);
                odd ^= (m_y[firstRun.start] > p.y) != (m_y[lastRun.start + lastRun.edges] > p.y);
                return Step::Skip;
            }
        }
        if (level > 0) {
            return Step::Down;
        }
        const Run& run = m_runs[node];
        visited += run.segments;
        if (run.segments == 0) {
            onBoundary = samePoint(vertex(run.start), p, m_tolerance);
            inside = inside || (asksInside && m_kind == Kind::Point &&
                                m_tolerance >= Shapes::Internal::distance(m_x[0], m_y[0], p.x, p.y));
        }
        enterRing(run.part);
        for (qsizetype i = run.start; i < run.start + run.segments; ++i) {
            onBoundary = onBoundary || onSegment(p, vertex(i), vertex(i + 1), m_tolerance);
            inside = inside || (asksInside && m_kind == Kind::Line &&
                                m_tolerance >= Shapes::Internal::distanceToSegment(p.x, p.y, m_x[i], m_y[i],
                                                                                   m_x[i + 1], m_y[i + 1]));
        }
        if (areaAround) {
            for (qsizetype i = run.start; i < run.start + run.edges; ++i) {
                odd ^= Shapes::Internal::crossesToTheRight(p.x, p.y, m_x[i + 1], m_y[i + 1], m_x[i], m_y[i]);
            }
        }
        return onBoundary || (question == Question::Contains && inside) ? Step::Stop : Step::Skip;
    });
    work.add(visited);
    if (onBoundary) {
        return Place::OnBoundary;
    }
    return inside || odd ? Place::Inside : Place::Outside;
}

Place Boundary::locate(Position p, Work& work) const {
    return place<Question::Where>(p, work);
}

bool Boundary::holds(Position p, Work& work) const {
    return place<Question::OnBoundary>(p, work) == Place::OnBoundary;
}

bool Boundary::contains(Position p, Work& work) const {
    return place<Question::Contains>(p, work) != Place::Outside;
}

bool Boundary::meetsRun(const Box& box, Work& work) const {
    bool found = false;
    qint64 visited = 0;
    walk([&](int level, qsizetype node) {
        ++visited;
        if (!box.meets(this->box(level, node))) {
            return Step::Skip;
        }
        found = level == 0;
        return found ? Step::Stop : Step::Down;
    });
    work.add(visited);
    return found;
}

bool Boundary::containsAll(const Boundary& other, Work& work) const {
    const bool prunes = m_custom == nullptr && m_regular && other.m_regular;
    if (!other.hasRuns() || (m_custom == nullptr && !hasRuns()) ||
        (prunes && !contains(other.vertex(0), work))) {
        return false;
    }
    bool any = false;
    bool all = true;
    other.walk([&](int level, qsizetype node) {
        const Box& around = other.box(level, node);
        if (prunes && (!around.meets(box()) || !meetsRun(around, work))) {
            // Nowhere near the boundary: one vertex speaks for all.
            any = true;
            all = contains(other.vertex(other.run(node << (3 * level)).start), work);
            return all ? Step::Skip : Step::Stop;
        }
        if (level > 0) {
            return Step::Down;
        }
        const Run& run = other.run(node);
        for (qsizetype i = run.start; all && i < run.start + run.vertices; ++i) {
            if (!std::isnan(other.m_x[i]) && !std::isnan(other.m_y[i])) {
                any = true;
                all = contains(other.vertex(i), work);
            }
        }
        return all ? Step::Skip : Step::Stop;
    });
    return any && all;
}

bool Boundary::hasInside(const Boundary& other, Work& work) const {
    if (m_custom == nullptr && !hasRuns()) {
        return false;
    }
    const bool prunes = m_custom == nullptr && m_regular && other.m_regular;
    bool found = false;
    other.walk([&](int level, qsizetype node) {
        const Box& around = other.box(level, node);
        if (prunes) {
            if (!around.meets(box())) {
                return Step::Skip;
            }
            if (!meetsRun(around, work)) {
                found = contains(other.vertex(other.run(node << (3 * level)).start), work);
                return found ? Step::Stop : Step::Skip;
            }
        }
        if (level > 0) {
            return Step::Down;
        }
        const Run& run = other.run(node);
        for (qsizetype i = run.start; !found && i < run.start + run.vertices; ++i) {
            found = !std::isnan(other.m_x[i]) && !std::isnan(other.m_y[i]) &&
                    locate(other.vertex(i), work) == Place::Inside;
        }
        return found ? Step::Stop : Step::Skip;
    });
    return found;
}

} // namespace Cartolith::Core::Topology::Internal
