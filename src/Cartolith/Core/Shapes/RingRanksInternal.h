#pragma once

#include <Cartolith/Core/Shapes/RingBoxTreeInternal.h>
#include <Cartolith/Core/Shapes/RingNestingInternal.h>

#include <cstddef>
#include <vector>

namespace Cartolith::Core::Shapes::Internal {

struct RankedRing {
    const Ring* ring;
    RingBox box{};
    double area = 0.0; ///< signed: positive when the ring runs counterclockwise; its unit is anybody's
    double size = 0.0; ///< what it goes round, in the same unit; 0 for one that goes round nothing
    int rank = 0;      ///< by size, the smallest first; only equal rings share one
    int first = -1;    ///< of the rings equal to it, itself included

    /// From 0, of a coordinate.
    double largest() const noexcept;
};

/// Those of some rings that have a vertex, in their order, measured and ranked. Of one alone there is the
/// signed area only. The rings must live as long as this. n log n.
class RankedRings {
public:
    explicit RankedRings(const QList<Ring>& rings);

    std::size_t size() const noexcept { return m_rings.size(); }
    const RankedRing& operator[](int number) const { return m_rings[static_cast<std::size_t>(number)]; }
    std::vector<RankedRing>::const_iterator begin() const noexcept { return m_rings.begin(); }
    std::vector<RankedRing>::const_iterator end() const noexcept { return m_rings.end(); }
    int numberOf(const RankedRing& ring) const { return static_cast<int>(&ring - m_rings.data()); }

    /// From 0, of a coordinate of all.
    double largest() const noexcept { return m_largest; }
    /// A power of two that brings the coordinates near 1.
    double scale() const noexcept { return m_scale; }

private:
    double areaOf(const RankedRing& ring) const;
    void measure();
    void findEqual();
    void rank();

    std::vector<RankedRing> m_rings;
    double m_largest = 0.0;
    double m_scale = 1.0;
};

} // namespace Cartolith::Core::Shapes::Internal
