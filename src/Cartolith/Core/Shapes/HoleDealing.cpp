#include <Cartolith/Core/Shapes/HoleDealingInternal.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

namespace Cartolith::Core::Shapes::Internal {

namespace {

bool runAgainst(const DirectedRing& a, const DirectedRing& b) {
    return a.direction * b.direction < 0;
}

/// Those of the shells that have no hole yet.
class FreeShells {
public:
    explicit FreeShells(const std::vector<DirectedRing>& shells)
        : m_shells(shells), m_isFree(shells.size(), true) {}

    std::optional<int> takeOpposite(const DirectedRing& hole) {
        const int direction = hole.direction + 1;
        return take(hole, m_next[static_cast<std::size_t>(direction)],
                    [&](std::size_t shell) { return runAgainst(hole, m_shells[shell]); });
    }
    std::optional<int> takeAny(const DirectedRing& hole) {
        return take(hole, m_next.back(), [](std::size_t /*shell*/) { return true; });
    }
    /// The last one stored before the hole, free or not; the first where none is.
    int before(const DirectedRing& hole) const { return m_shells[placeBefore(hole)].number; }

private:
    std::size_t placeBefore(const DirectedRing& hole) const {
        const auto behind =
            std::partition_point(m_shells.begin(), m_shells.end(),
                                 [&hole](const DirectedRing& shell) { return shell.number < hole.number; });
        return behind == m_shells.begin() ? 0 : static_cast<std::size_t>(behind - m_shells.begin() - 1);
    }

    /// Up to `next` there is none that fits and is free.
    template <typename Fits>
    std::optional<int> take(const DirectedRing& hole, std::size_t& next, Fits fits) {
        std::size_t shell = placeBefore(hole);
        if (!m_isFree[shell] || !fits(shell)) {
            while (next < m_shells.size() && (!m_isFree[next] || !fits(next))) {
                ++next;
            }
            shell = next;
        }
        if (shell == m_shells.size()) {
            return std::nullopt;
        }
        m_isFree[shell] = false;
        return m_shells[shell].number;
    }

    const std::vector<DirectedRing>& m_shells;
    std::vector<bool> m_isFree;
    std::array<std::size_t, 4> m_next{}; ///< for holes of each direction, and of any
};

} // namespace

std::vector<int> dealHoles(const std::vector<DirectedRing>& rings, const std::vector<DirectedRing>& shells) {
    constexpr int none = -1;
    std::vector<int> shellOf;
    shellOf.reserve(rings.size());
    FreeShells free(shells);
    for (const DirectedRing& ring : rings) {
        shellOf.push_back(free.takeOpposite(ring).value_or(none));
    }
    const auto dealt = std::find_if(shellOf.begin(), shellOf.end(), [](int shell) { return shell != none; });
    const DirectedRing& hole =
        rings[dealt == shellOf.end() ? 0 : static_cast<std::size_t>(dealt - shellOf.begin())];
    for (std::size_t i = 0; i < rings.size(); ++i) {
        if (shellOf[i] == none && !runAgainst(rings[i], hole)) {
            const std::optional<int> shell = free.takeAny(rings[i]);
            shellOf[i] = shell ? *shell : free.before(rings[i]);
        }
    }
    return shellOf;
}

} // namespace Cartolith::Core::Shapes::Internal
