#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Topology/BoundaryInternal.h>
#include <Cartolith/Core/Topology/NodingInternal.h>
#include <Cartolith/Core/Topology/RingCrossingsInternal.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>
#include <Cartolith/Core/Topology/SegmentListInternal.h>
#include <Cartolith/Core/Topology/ShapeCheckInternal.h>
#include <Cartolith/Core/Topology/ValidAreaInternal.h>
#include <Cartolith/Core/Topology/WorkInternal.h>
#include <Cartolith/Core/Topology/WorkingScaleInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

namespace Cartolith::Core::Topology {

using Internal::ProblemList;
using Internal::scaledCopy;
using Internal::workingScale;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;
using Shapes::Internal::Ring;

namespace {

/// What check and fix have in common: the problems, and the parts without those that are mended part by part.
class Examination {
public:
    Examination(const GisShape& shape, const GisTopology& topology) : m_topology(topology) {
        if (const auto* point = dynamic_cast<const GisShapePoint*>(&shape)) {
            if (!point->isEmpty() && !Internal::isFinite(*point)) {
                m_problems.add(GisShapeProblemKind::Infinite, *point, 0, 0);
            }
        } else if (const auto* line = dynamic_cast<const GisShapePolyline*>(&shape)) {
            cleanParts(line->parts(), Internal::cleanLine);
        } else if (const auto* polygon = dynamic_cast<const GisShapePolygon*>(&shape)) {
            cleanParts(polygon->parts(), Internal::cleanRing);
            examineArea();
        }
    }

    /// True when the parts are no valid area yet.
    bool needsArea() const { return m_needsArea; }
    const ProblemList& problems() const { return m_problems; }
    const QList<Ring>& parts() const { return m_parts; }
    const QList<int>& partOf() const { return m_partOf; }

private:
    template <typename Clean>
    void cleanParts(const QList<Ring>& parts, Clean clean) {
        for (int i = 0; i < parts.size(); ++i) {
            Ring part = clean(parts[i], i, m_problems);
            if (!part.isEmpty()) {
                m_parts.append(std::move(part));
                m_partOf.append(i);
            }
        }
    }

    void examineArea() {
        const Internal::RingTouches touches =
            Internal::findRingCrossings(m_parts, m_partOf, m_topology, m_problems);
        m_needsArea = m_problems.has(GisShapeProblemKind::SelfCrossing) ||
                      m_problems.has(GisShapeProblemKind::RingsCross);
        if (m_needsArea || m_parts.size() < 2) {
            return;
        }
        const QList<Shapes::Internal::RingNest> nests = Shapes::Internal::ringNests(m_parts);
        Internal::windByNesting(m_parts, nests, m_partOf, m_problems);
        touches.findCuts(nests, m_problems);
        m_needsArea = m_problems.has(GisShapeProblemKind::Invalid);
    }

    const GisTopology& m_topology;
    ProblemList m_problems;
    QList<Ring> m_parts;
    QList<int> m_partOf;
    bool m_needsArea = false;
};

void scalePlaces(QList<GisShapeProblem>& problems, double scale) {
    for (GisShapeProblem& problem : problems) {
        problem.place = GisShapePoint(problem.place.x() * scale, problem.place.y() * scale);
    }
}

} // namespace

GisShapeFix Internal::fixedShape(const GisShape& shape, const GisTopology& topology, const char* failing,
                                 double cell) {
    constexpr int mostRounds = 3 + NodingGrid::lastLevel;
    int round = 0;
    const auto countRound = [failing, &round] {
        if (++round > mostRounds) {
            throw std::runtime_error(std::string(failing) + NodingGrid::failing);
        }
    };
    if (const double scale = workingScale(shape); scale != 1.0) {
        // Where the smallest double is no longer small beside the shape, it is what crossings are rounded to.
        const std::unique_ptr<GisShape> larger = scaledCopy(shape, scale);
        const double smallest = std::numeric_limits<double>::denorm_min() * scale;
        const Shapes::GisExtent extent = larger->extent();
        const double reach =
            std::max(std::max(extent.xMax(), extent.yMax()), -std::min(extent.xMin(), extent.yMin()));
        const double finest = smallest > 0x1p-46 * reach ? smallest : 0.0;
        GisShapeFix fix = fixedShape(*larger, topology, failing, finest);
        scalePlaces(fix.changes, 1 / scale);
        if (fix.changes.isEmpty()) {
            fix.shape = shape.clone();
            return fix;
        }
        for (bool isSound = false; !isSound; countRound()) {
            fix.shape = scaledCopy(*fix.shape, 1 / scale); // rounds what is below 1e-307
            auto scaled = scaledCopy(*fix.shape, scale);
            isSound = Examination(*scaled, topology).problems().problems().isEmpty();
            if (!isSound) {
                fix.shape = fixedShape(*scaled, topology, failing, finest).shape;
            }
        }
        return fix;
    }
    const Examination examination(shape, topology);
    GisShapeFix fix{shape.clone(), examination.problems().problems()};
    if (fix.changes.isEmpty()) {
        return fix;
    }
    for (GisShapeProblem& change : fix.changes) {
        change.text = remedyOf(change.kind);
    }
    auto* const parts = mutablePartsOf(*fix.shape);
    if (parts == nullptr) {
        fix.shape = finiteCopy(shape);
        return fix;
    }
    *parts = examination.parts();
    bool needsArea = examination.needsArea();
    Work work(&topology);
    for (bool isSound = !needsArea; !isSound;) {
        countRound();
        if (needsArea) {
            try {
                *parts = validArea(*parts, {cell, std::max(round - 3, 0)}, work);
            } catch (const NotNoded& failure) {
                throw std::runtime_error(std::string(failing) + failure.reason);
            }
        }
        const Examination again(*fix.shape, topology);
        *parts = again.parts();
        needsArea = again.needsArea();
        isSound = again.problems().problems().isEmpty();
    }
    return fix;
}

QList<GisShapeProblem> GisTopology::CheckShape(const GisShape& shape) const {
    return Internal::unlessStopped([&] {
        if (const double scale = workingScale(shape); scale != 1.0) {
            QList<GisShapeProblem> problems = CheckShape(*scaledCopy(shape, scale));
            scalePlaces(problems, 1 / scale);
            return problems;
        }
        return Examination(shape, *this).problems().problems();
    });
}

GisShapeFix GisTopology::FixShape(const GisShape& shape) const {
    return Internal::unlessStopped(
        [&] { return Internal::fixedShape(shape, *this, "GisTopology::FixShape failed: "); });
}

} // namespace Cartolith::Core::Topology
