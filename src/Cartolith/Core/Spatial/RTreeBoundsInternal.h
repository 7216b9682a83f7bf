#pragma once

#include <Cartolith/Core/Shapes/GisExtent.h>

#include <QtGlobal>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <emmintrin.h>
#include <vector>

namespace Cartolith::Core::Spatial::RTree {

/// Bounds in single precision, relative to an origin.
///
/// The rounding is monotone, which is all that a comparison needs: where the rounded numbers differ, the
/// exact ones compare the same way; where they are equal, the exact ones have to be asked.
struct RoundedBounds {
    float xMin;
    float yMin;
    float xMax;
    float yMax;
};

/// What all bounds of a table are relative to. Finite.
struct BoundsOrigin {
    double x = 0.0;
    double y = 0.0;

    RoundedBounds round(const Shapes::GisExtent& extent) const noexcept {
        return {static_cast<float>(extent.xMin() - x), static_cast<float>(extent.yMin() - y),
                static_cast<float>(extent.xMax() - x), static_cast<float>(extent.yMax() - y)};
    }
};

/// Sixteen bounds, side by side for the vector unit. Unused places are NaN, which no comparison accepts.
struct alignas(64) BoundsBlock {
    std::array<float, 16> xMin;
    std::array<float, 16> yMin;
    std::array<float, 16> xMax;
    std::array<float, 16> yMax;
};

/// A query's bounds and its comparisons with a block; bit i of a mask stands for place i.
class BlockQuery {
public:
    explicit BlockQuery(const RoundedBounds& query) noexcept
        : m_xMin(_mm_set1_ps(query.xMin)), m_yMin(_mm_set1_ps(query.yMin)), m_xMax(_mm_set1_ps(query.xMax)),
          m_yMax(_mm_set1_ps(query.yMax)) {}

    /// Those that may meet the query: all others do not.
    unsigned int mayMeet(const BoundsBlock& block) const noexcept {
        return mask(block, [this](__m128 xMin, __m128 yMin, __m128 xMax, __m128 yMax) {
            return _mm_and_ps(_mm_and_ps(_mm_cmpge_ps(xMax, m_xMin), _mm_cmple_ps(xMin, m_xMax)),
                              _mm_and_ps(_mm_cmpge_ps(yMax, m_yMin), _mm_cmple_ps(yMin, m_yMax)));
        });
    }
    /// Those that meet it whatever the rounding did.
    unsigned int doMeet(const BoundsBlock& block) const noexcept {
        return mask(block, [this](__m128 xMin, __m128 yMin, __m128 xMax, __m128 yMax) {
            return _mm_and_ps(_mm_and_ps(_mm_cmpgt_ps(xMax, m_xMin), _mm_cmplt_ps(xMin, m_xMax)),
                              _mm_and_ps(_mm_cmpgt_ps(yMax, m_yMin), _mm_cmplt_ps(yMin, m_yMax)));
        });
    }
    /// Those that lie inside it whatever the rounding did.
    unsigned int areInside(const BoundsBlock& block) const noexcept {
        return mask(block, [this](__m128 xMin, __m128 yMin, __m128 xMax, __m128 yMax) {
            return _mm_and_ps(_mm_and_ps(_mm_cmpgt_ps(xMin, m_xMin), _mm_cmplt_ps(xMax, m_xMax)),
                              _mm_and_ps(_mm_cmpgt_ps(yMin, m_yMin), _mm_cmplt_ps(yMax, m_yMax)));
        });
    }

private:
    template <typename Test>
    static unsigned int mask(const BoundsBlock& block, Test test) noexcept {
        const auto four = [&](std::size_t i) {
            return _mm_castps_si128(test(_mm_load_ps(&block.xMin[i]), _mm_load_ps(&block.yMin[i]),
                                         _mm_load_ps(&block.xMax[i]), _mm_load_ps(&block.yMax[i])));
        };
        return static_cast<unsigned int>(_mm_movemask_epi8(
            _mm_packs_epi16(_mm_packs_epi32(four(0), four(4)), _mm_packs_epi32(four(8), four(12)))));
    }

    __m128 m_xMin;
    __m128 m_yMin;
    __m128 m_xMax;
    __m128 m_yMax;
};

/// A sequence of bounds, with the union of every sixteen consecutive ones above it, and so on up.
class BoundsTree {
public:
    /// Room for so many entries, to be set before finish(), and again before another finish() when they
    /// change.
    explicit BoundsTree(std::size_t count = 0);

    std::size_t count() const noexcept { return m_count; }
    void setEntry(std::size_t index, const RoundedBounds& bounds) noexcept { set(0, index, bounds); }
    RoundedBounds entry(std::size_t index) const noexcept {
        const BoundsBlock& source = m_blocks[index / 16];
        return {source.xMin[index % 16], source.yMin[index % 16], source.xMax[index % 16],
                source.yMax[index % 16]};
    }
    /// Fills the levels above the entries.
    void finish() noexcept;
    /// The union of all entries after finish(); NaN when there are none.
    RoundedBounds bounds() const noexcept;

    /// Visits, in ascending order, what may meet the query. The visitor gets
    /// `expect(first)` some time before the entries from `first` on may be asked about,
    /// `inside(first, last)` for consecutive entries that all lie inside the query, and
    /// `tested(first, may, do)` for up to sixteen entries from `first` on, of which bit by bit some may meet
    /// it and some do.
    template <typename Visitor>
    void visit(const BlockQuery& query, Visitor& visitor) const {
        const std::size_t top = m_levelCount - 1;
        for (std::size_t block = 0; block < blockCount(top); ++block) {
            visitBlock(query, visitor, top, block);
        }
    }

private:
    // 16^8 entries under up to two blocks are more than a list can hold.
    static constexpr std::size_t maxLevels = 16;

    std::size_t blockCount(std::size_t level) const noexcept { return m_starts[level + 1] - m_starts[level]; }
    const BoundsBlock& block(std::size_t level, std::size_t index) const noexcept {
        return m_blocks[m_starts[level] + index];
    }
    void set(std::size_t level, std::size_t index, const RoundedBounds& bounds) noexcept {
        BoundsBlock& target = m_blocks[m_starts[level] + index / 16];
        target.xMin[index % 16] = bounds.xMin;
        target.yMin[index % 16] = bounds.yMin;
        target.xMax[index % 16] = bounds.xMax;
        target.yMax[index % 16] = bounds.yMax;
    }

    template <typename Visitor>
    void visitBlock(const BlockQuery& query, Visitor& visitor, std::size_t level, std::size_t index) const {
        const BoundsBlock& bounds = block(level, index);
        unsigned int may = query.mayMeet(bounds);
        if (may == 0) {
            return;
        }
        if (level == 0) {
            visitor.tested(index * 16, may, query.doMeet(bounds));
            return;
        }
        // All of them at once, instead of one after the other as the branches below get there.
        for (unsigned int ahead = may; ahead != 0; ahead &= ahead - 1) {
            const std::size_t child = index * 16 + static_cast<unsigned int>(std::countr_zero(ahead));
            const auto* next = reinterpret_cast<const char*>(&block(level - 1, child));
            for (std::size_t line = 0; line < sizeof(BoundsBlock); line += 64) {
                _mm_prefetch(next + line, _MM_HINT_T0);
            }
            if (level == 1) {
                visitor.expect(child * 16);
            }
        }
        const unsigned int inside = query.areInside(bounds);
        for (; may != 0; may &= may - 1) {
            const auto place = static_cast<unsigned int>(std::countr_zero(may));
            const std::size_t child = index * 16 + place;
            if ((inside >> place & 1U) != 0) {
                visitor.inside(child << (4 * level), std::min((child + 1) << (4 * level), m_count));
            } else {
                visitBlock(query, visitor, level - 1, child);
            }
        }
    }

    std::size_t m_count = 0;
    std::size_t m_levelCount = 0;
    // Where each level begins in m_blocks, and behind the last one the end.
    std::array<quint32, maxLevels + 1> m_starts{};
    std::vector<BoundsBlock> m_blocks;
};

} // namespace Cartolith::Core::Spatial::RTree
