#pragma once

#include <Cartolith/Core/Shapes/RingNestingInternal.h>

#include <cstddef>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

/// What a ring is to a polygon.
struct RingRole {
    std::size_t polygon;
    bool isHole;
};

/// Polygons of which each covers what its shell goes round and no hole of its does.
struct Cover {
    QList<Shapes::Internal::Ring> rings;
    std::vector<std::vector<RingRole>> roles; ///< of the rings
    std::size_t polygons = 0;
};

/// Of rings told apart by nesting. Each ring once, in whatever polygons it is a shell or a hole: the edges
/// that run along each other would be as many as the square of its copies.
Cover coverOf(const QList<Shapes::Internal::Ring>& rings);

/// Whether one place is covered, told from what changes on the way from the last one. The cover must live as
/// long as this.
class CoverAtPlace {
public:
    explicit CoverAtPlace(const Cover& cover)
        : m_cover(cover), m_windings(cover.roles.size(), 0), m_polygons(cover.polygons) {}

    void change(int ring, int by);
    bool isCovered() const noexcept { return m_covering > 0; }
    std::size_t rings() const noexcept { return m_windings.size(); }

private:
    struct Around {
        int shells = 0;
        int holes = 0;

        bool covers() const noexcept { return shells > 0 && holes == 0; }
    };

    const Cover& m_cover;
    std::vector<int> m_windings;
    std::vector<Around> m_polygons;
    int m_covering = 0; ///< polygons
};

} // namespace Cartolith::Core::Topology::Internal
