#pragma once

#include <Cartolith/Core/Shapes/PlaceWindingsInternal.h>
#include <Cartolith/Core/Topology/OrientationInternal.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

namespace Cartolith::Core::Topology::Internal {

/// Decides without rounding where edges pass, and counts what was looked at as work.
class ExactVisitor : public Shapes::Internal::PlaceWindings::Visitor {
protected:
    explicit ExactVisitor(Work& work) : m_work(work) {}

    Work& work() const noexcept { return m_work; }

private:
    /// Of places moved to the left by as little as need be.
    bool isLeft(const Shapes::GisShapePoint& a, const Shapes::GisShapePoint& b,
                const Shapes::Internal::PlaceWindings::Place& place) final {
        const int side = orientation(a.x(), a.y(), b.x(), b.y(), place.x, place.y);
        return b.y() > a.y() ? side < 0 : side > 0;
    }
    /// \throws Stopped
    void look(qint64 edges) final { m_work.add(edges); }

    Work& m_work;
};

} // namespace Cartolith::Core::Topology::Internal
