#pragma once

#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Topology/SegmentTestsInternal.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

#include <QList>

#include <cstddef>
#include <memory>
#include <optional>

namespace Cartolith::Core::Topology::Internal {

/// The parts of a line or an area, where they are stored; null for every other shape.
const QList<QList<Shapes::GisShapePoint>>* partsOf(const Shapes::GisShape& shape);

struct Box {
    double xMin;
    double yMin;
    double xMax;
    double yMax;

    bool meets(const Box& other) const noexcept {
        return xMin <= other.xMax && other.xMin <= xMax && yMin <= other.yMax && other.yMin <= yMax;
    }
    bool holds(Position p) const noexcept { return xMin <= p.x && p.x <= xMax && yMin <= p.y && p.y <= yMax; }
};

/// Whether both coordinates are 0 or of a size from 1e-100 to 1e100, so that products of them, and of their
/// differences, neither overflow nor underflow. What boxes say holds for such positions only.
bool isRegularPosition(Position p) noexcept;

/// Outside of this box, the shape contains no regular position. Nothing if there is no such box to be had
/// from the extent alone: derived classes, numbers out of the range that Boundary asks for.
std::optional<Box> reach(const Shapes::GisShape& shape, const Shapes::GisExtent& extent, double tolerance);

enum class Place { Outside, Inside, OnBoundary };

/// The boundary of a shape made ready for searches with one tolerance: the vertices in plain arrays, cut into
/// runs of up to eight consecutive segments, and boxes around the runs, around eight of those, and so on. One
/// pass over the vertices builds it, without sorting: neighbours along a boundary are neighbours in the
/// plane. Small shapes fit into the object, so that a pair of them costs no allocation.
///
/// Boxes only ever leave out what provably fails the plain test. They are wider than what they hold by
///
///     X = (1/16 + 2 tol) w + (1 + 2^-40) tol + 2^-50 M
///
/// on each side, w the width (or height) of the run and M the largest coordinate.
///
/// docs/topology.md has the proof, case by case: points on segments, distances of lines, parallel segments,
/// crossing ones, parity of crossings. One case is not covered, collinear segments far apart that meet by
/// rounding: see noiseMeets().
///
/// That needs products that neither overflow nor underflow: coordinates must be 0 or between 1e-100 and
/// 1e100 in size, the tolerance likewise. Otherwise (NaN and infinity too) all boxes are the whole plane,
/// which makes every search the plain, quadratic one.
class Boundary {
public:
    /// Room for a boundary of some 150 vertices.
    struct Scratch {
        alignas(double) std::byte bytes[5120];
    };

    /// Bare boxes are the extents of what they hold, of any finite coordinates: not for the tests, only to
    /// measure how far apart things are.
    enum class Boxes { ForTests, Bare };

    /// `extent` is the shape's. The scratch memory is used if it is enough, and must then live as long as
    /// this.
    Boundary(const Shapes::GisShape& shape, const Shapes::GisExtent& extent, double tolerance,
             Scratch* scratch = nullptr, Boxes boxes = Boxes::ForTests);
    Q_DISABLE_COPY_MOVE(Boundary)

    double tolerance() const noexcept { return m_tolerance; }
    /// The shape itself if it is of a derived class, which may have its own contains().
    const Shapes::GisShape* custom() const noexcept { return m_custom; }
    /// Whether boxes say anything.
    bool isRegular() const noexcept { return m_regular; }

    // The vertices as stored, part by part.
    struct Part {
        qsizetype begin;
        qsizetype size;
    };
    qsizetype partCount() const noexcept { return m_partCount; }
    const Part& part(qsizetype i) const noexcept { return m_parts[i]; }
    Position vertex(qsizetype i) const noexcept { return {m_x[i], m_y[i]}; }

    // Nodes: level 0 are the runs, node i of the next level has the children 8i .. 8i + 7. The topmost level
    // has one.
    int topLevel() const noexcept { return m_topLevel; }
    qsizetype count(int level) const noexcept { return m_count[level]; }
    const Box& box(int level, qsizetype i) const noexcept { return m_boxes[m_first[level] + i]; }
    bool hasRuns() const noexcept { return m_count[0] > 0; }
    /// Around everything; only if there are runs.
    const Box& box() const noexcept { return m_boxes[m_first[m_topLevel]]; }

    /// As the function of that name.
    std::optional<Box> reach() const noexcept {
        return m_regular && m_custom == nullptr && hasRuns() ? std::optional<Box>(box()) : std::nullopt;
    }

    struct Run {
        qsizetype start; ///< of its vertices
        quint32 part;    ///< distinct for neighbours
        quint8 segments; ///< 0 for a part of one vertex
        quint8 edges;    ///< those of `segments` that count for parity, and the one that closes an open ring
        quint8 vertices; ///< those that no other run has
    };
    const Run& run(qsizetype i) const noexcept { return m_runs[i]; }
    /// Around one segment, wide enough to be compared with any box of another boundary of the same tolerance.
    Box segmentBox(qsizetype start) const noexcept;

    /// Where p is, as ContainsPoint and PointOnBoundary say: on the boundary; else inside if the shape
    /// contains it; else outside. \throws Stopped, and whatever contains() of a derived class throws
    Place locate(Position p, Work& work) const;
    /// The answer of PointOnBoundary.
    bool holds(Position p, Work& work) const;
    /// The answer of ContainsPoint: the place is not outside. Cheaper.
    bool contains(Position p, Work& work) const;

    /// Whether each vertex of `other` is contained, and there is one.
    bool containsAll(const Boundary& other, Work& work) const;
    /// Whether a vertex of `other` is inside, and not on the boundary.
    bool hasInside(const Boundary& other, Work& work) const;

    /// Visits the nodes in the order of the boundary: after Down the children of a node (none for a run),
    /// after Skip what follows it. Stackless: a node is found from its first run.
    enum class Step { Down, Skip, Stop };
    template <typename Enter>
    void walk(Enter enter) const {
        int level = m_topLevel;
        for (qsizetype first = 0; first < m_count[0];) {
            const Step step = enter(level, first >> (3 * level));
            if (step == Step::Stop) {
                return;
            }
            if (step == Step::Down && level > 0) {
                --level;
                continue;
            }
            first += qsizetype(1) << (3 * level);
            while (level < m_topLevel && (first & ((qsizetype(8) << (3 * level)) - 1)) == 0) {
                ++level;
            }
        }
    }

private:
    enum class Kind { Nothing, Point, Line, Area };

    void build(const QList<QList<Shapes::GisShapePoint>>& parts, Scratch* scratch);
    void build(const Shapes::GisShapePoint& point, Scratch* scratch);
    void allocate(qsizetype vertices, qsizetype parts, qsizetype runs, Scratch* scratch);
    void addRuns(bool closing);
    void addBoxes();
    void widenBoxes();
    Box boxOf(qsizetype start, int segments) const noexcept;
    Box widened(const Box& box) const noexcept;
    bool meetsRun(const Box& box, Work& work) const;
    enum class Question { Where, Contains, OnBoundary };
    template <Question question>
    Place place(Position p, Work& work) const;

    double m_tolerance;
    double m_margin = 0.0; ///< of X, the part that does not depend on the size
    bool m_regular = true;
    Boxes m_kindOfBoxes;
    Kind m_kind = Kind::Nothing;
    const Shapes::GisShape* m_custom = nullptr;
    Shapes::GisExtent m_extent;
    static constexpr int maxLevels = 22; // eight to the power of 21 is more than qsizetype counts
    qsizetype m_first[maxLevels] = {};
    qsizetype m_count[maxLevels] = {};
    qsizetype m_partCount = 0;
    // All in one block, which is the scratch memory or that of m_memory.
    double* m_x = nullptr;
    double* m_y = nullptr;
    Box* m_boxes = nullptr;
    Run* m_runs = nullptr;
    Part* m_parts = nullptr;
    std::unique_ptr<std::byte[]> m_memory;
    int m_topLevel = 0;
};

} // namespace Cartolith::Core::Topology::Internal
