#pragma once

#include <QtGlobal>

#include <array>
#include <cstddef>

namespace Cartolith::Core::Shapes {
class GisShape;
}

namespace Cartolith::Core::Spatial::RTree {

class ResultWriter;

/// Brings hits that are found in one order into another: they are marked by their place and read from front
/// to back. For one slice at a time.
class HitMarks {
public:
    /// Places are below this number.
    static constexpr std::size_t capacity = 8192;

    // Not defaulted: an object made by {} would be filled with zeros first, which takes longer than a search.
    HitMarks() noexcept {} // NOLINT(modernize-use-equals-default,cppcoreguidelines-pro-type-member-init)

    /// Starts on a slice that has places for so many words of 64.
    void begin(std::size_t words) noexcept;

    /// Few hits: the shape is kept with the mark, so that reading touches nothing of the slice.
    void mark(std::size_t place, Shapes::GisShape* shape) noexcept {
        m_words[place / 64] |= quint64{1} << (place % 64);
        m_inUse[place / 64] = 1;
        m_shapes[place] = shape;
    }

    /// Many hits: marks every place whose rank lies in [first, last). There is a rank for every bit of the
    /// words; those of places that do not exist lie in no range.
    void markRanks(const quint16* ranks, std::size_t first, std::size_t last) noexcept;

    /// Writes the marked shapes, which are `count`, in order of their places. `shapes[ranks[place]]` is the
    /// one at a place.
    void read(Shapes::GisShape* const* shapes, const quint16* ranks, std::size_t count,
              ResultWriter& writer) const;

private:
    void readKept(std::size_t count, ResultWriter& writer) const;

    std::size_t m_wordCount;
    // Some hits were marked by rank alone: only the words say which.
    bool m_byRank;
    std::array<quint64, capacity / 64> m_words;
    // Which words are not zero.
    std::array<quint8, capacity / 64> m_inUse;
    std::array<Shapes::GisShape*, capacity> m_shapes;
};

} // namespace Cartolith::Core::Spatial::RTree
