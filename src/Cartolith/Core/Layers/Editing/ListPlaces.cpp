#include <Cartolith/Core/Layers/Editing/ListPlacesInternal.h>

#include <bit>

namespace Cartolith::Core::Layers::Internal {

namespace {

/// How many elements are left up to each position: a tree of partial sums (Fenwick, 1994).
class Left {
public:
    explicit Left(int count) : m_sums(static_cast<std::size_t>(count) + 1) {
        for (std::size_t i = 1; i < m_sums.size(); ++i) {
            m_sums[i] = static_cast<int>(i & (~i + 1));
        }
    }

    /// The position of the element that has so many before it, which is then gone.
    int take(int before) {
        std::size_t at = 0;
        for (std::size_t step = std::bit_floor(m_sums.size() - 1); step > 0; step /= 2) {
            if (at + step < m_sums.size() && m_sums[at + step] <= before) {
                at += step;
                before -= m_sums[at];
            }
        }
        for (std::size_t i = at + 1; i < m_sums.size(); i += i & (~i + 1)) {
            --m_sums[i];
        }
        return static_cast<int>(at);
    }

private:
    std::vector<int> m_sums;
};

} // namespace

std::vector<int> positionsOfTaken(int count, const std::vector<int>& inTurn) {
    Left left(count);
    std::vector<int> positions;
    positions.reserve(inTurn.size());
    for (const int position : inTurn) {
        if (position < 0 || position >= count - static_cast<int>(positions.size())) {
            break;
        }
        positions.push_back(left.take(position));
    }
    return positions;
}

} // namespace Cartolith::Core::Layers::Internal
