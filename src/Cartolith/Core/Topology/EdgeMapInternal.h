#pragma once

#include <Cartolith/Core/Shapes/RingNestingInternal.h>
#include <Cartolith/Core/Topology/SegmentTestsInternal.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

struct AreaRing {
    Shapes::Internal::Ring ring;
    int area; ///< on its left
};

/// The edges of rings or lines that meet in vertices only, and how they go round the faces between them:
/// halves of edges, the one from a vertex to another and its twin the other way, each with the face on its
/// left. Edges that a ring takes as often forth as back are left out.
class EdgeMap {
public:
    /// \throws Stopped
    EdgeMap(const QList<Shapes::Internal::Ring>& noded, Work& work);

    std::size_t halves() const noexcept { return m_tails.size(); }
    static std::size_t twin(std::size_t half) noexcept { return half ^ 1U; }
    /// The one behind it around the face on its left.
    std::size_t next(std::size_t half) const { return m_fans.before(twin(half), m_tails[twin(half)]); }

    struct Change {
        int ring;
        int by;
    };
    /// How much more often each ring winds round what is right of the half edge than round what is left, for
    /// those of which it is an edge: `visit(ring, by)`.
    template <typename Visit>
    void visitChanges(std::size_t half, Visit visit) const {
        const std::size_t edge = half / 2;
        for (std::size_t i = m_firstChanges[edge]; i < m_firstChanges[edge + 1]; ++i) {
            visit(m_changes[i].ring, half % 2 == 0 ? m_changes[i].by : -m_changes[i].by);
        }
    }

    /// One for each connected piece: where it is leftmost, and there lowest, with the face around the piece
    /// on the left.
    std::vector<std::size_t> outermostHalves() const;
    Position tailOf(std::size_t half) const { return m_places[m_tails[half]]; }

    static constexpr int noArea = -1;
    /// The face left of each half edge, by a number from 0 on. What goes round a face from within, without a
    /// way over edges to what goes round it from outside, counts as another one.
    std::vector<int> faces() const;

    /// The edges between areas, and between these and what is none, as rings that do not touch themselves,
    /// around each area with it on their left. The area left of each half edge is given. \throws Stopped
    QList<AreaRing> ringsAround(const std::vector<int>& areas, Work& work) const;

private:
    /// Half edges about the vertices that they leave, counterclockwise.
    class Fans {
    public:
        Fans() = default;
        /// Of half edges in that order, fan by fan.
        Fans(std::vector<std::uint32_t> halves, const std::vector<std::uint32_t>& tails,
             std::size_t vertices);

        std::size_t before(std::size_t half, std::size_t vertex) const;
        std::size_t last(std::size_t vertex) const { return m_halves[m_first[vertex + 1] - 1]; }
        const std::vector<std::uint32_t>& halves() const noexcept { return m_halves; }

    private:
        std::vector<std::uint32_t> m_halves;
        std::vector<std::uint32_t> m_first;  ///< of each vertex, and the end
        std::vector<std::uint32_t> m_number; ///< of each half edge in `m_halves`
    };

    void addEdges(const QList<Shapes::Internal::Ring>& rings, Work& work);
    void addFans(Work& work);

    std::vector<Position> m_places;     ///< of the vertices, from left to right
    std::vector<std::uint32_t> m_tails; ///< of the half edges; twins follow each other
    std::vector<Change> m_changes;      ///< of the even half edges
    std::vector<std::uint32_t> m_firstChanges;
    Fans m_fans;
};

} // namespace Cartolith::Core::Topology::Internal
