#pragma once

#include <Cartolith/Core/Spatial/RTreeResultWriterInternal.h>

#include <QtGlobal>

#include <array>
#include <bit>
#include <cstddef>
#include <emmintrin.h>
#include <utility>

namespace Cartolith::Core::Spatial::RTree {

/// Brings hits that are found in one order into another: they are marked by their place and read from front
/// to back. For one slice at a time; empty again after every read.
class HitMarks {
public:
    /// Places are below this number.
    static constexpr std::size_t capacity = 8192;

    // Not defaulted: an object made by {} would have all of m_shapes filled first.
    HitMarks() noexcept {} // NOLINT(modernize-use-equals-default,cppcoreguidelines-pro-type-member-init)

    /// Few hits: the shape is kept with the mark, so that reading touches nothing of the slice.
    void mark(std::size_t place, Shapes::GisShape* shape) noexcept {
        const std::size_t word = place / 64;
        m_words[word] |= quint64{1} << (place % 64);
        m_used[word / 64] |= quint64{1} << (word % 64);
        m_shapes[place] = shape;
        ++m_count;
    }

    /// Many hits: marks every place whose rank lies in [first, last). The ranks are padded to a multiple
    /// of 64.
    void markRanks(const quint16* ranks, std::size_t words, std::size_t first, std::size_t last) noexcept {
        // A rank is in the range when the difference to its begin, taken as unsigned, is below its length;
        // the ranks are below 2^15, so that a signed comparison does it.
        const __m128i begin = _mm_set1_epi16(static_cast<short>(first));
        const __m128i length = _mm_set1_epi16(static_cast<short>(last - first));
        const __m128i minusOne = _mm_set1_epi16(-1);
        const auto eight = [&](const quint16* at) {
            const __m128i offset =
                _mm_sub_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(at)), begin);
            return _mm_and_si128(_mm_cmpgt_epi16(length, offset), _mm_cmpgt_epi16(offset, minusOne));
        };
        for (std::size_t word = 0; word < words; ++word, ranks += 64) {
            quint64 bits = 0;
            for (unsigned int i = 0; i < 64; i += 16) {
                const int mask = _mm_movemask_epi8(_mm_packs_epi16(eight(ranks + i), eight(ranks + i + 8)));
                bits |= quint64{static_cast<unsigned int>(mask)} << i;
            }
            m_words[word] |= bits;
        }
        m_count += last - first;
        m_byRank = true;
    }

    /// Writes the marked shapes in order of their places. `shapes[ranks[place]]` is the one at a place.
    template <typename Result>
    void read(Shapes::GisShape* const* shapes, const quint16* ranks, std::size_t words,
              ResultWriter<Result>& writer) noexcept {
        if (m_count == 0) {
            return;
        }
        Result* out = writer.room(static_cast<qsizetype>(m_count));
        if (m_byRank) {
            for (std::size_t word = 0; word < words; ++word) {
                for (quint64 bits = std::exchange(m_words[word], 0); bits != 0; bits &= bits - 1) {
                    const std::size_t place = word * 64 + static_cast<std::size_t>(std::countr_zero(bits));
                    *out++ = ResultWriter<Result>::convert(shapes[ranks[place]]);
                }
            }
            m_used = {};
        } else {
            for (std::size_t i = 0; i < m_used.size(); ++i) {
                for (quint64 used = std::exchange(m_used[i], 0); used != 0; used &= used - 1) {
                    const std::size_t word = i * 64 + static_cast<std::size_t>(std::countr_zero(used));
                    for (quint64 bits = std::exchange(m_words[word], 0); bits != 0; bits &= bits - 1) {
                        const std::size_t place =
                            word * 64 + static_cast<std::size_t>(std::countr_zero(bits));
                        *out++ = ResultWriter<Result>::convert(m_shapes[place]);
                    }
                }
            }
        }
        writer.commit(out);
        m_count = 0;
        m_byRank = false;
    }

private:
    std::array<quint64, capacity / 64> m_words{};
    // Which words are not zero.
    std::array<quint64, capacity / 4096> m_used{};
    std::size_t m_count = 0;
    bool m_byRank = false;
    // Only those marked are ever written or read.
    std::array<Shapes::GisShape*, capacity> m_shapes;
};

} // namespace Cartolith::Core::Spatial::RTree
