#include <Cartolith/Core/Spatial/RTreeHitMarksInternal.h>
#include <Cartolith/Core/Spatial/RTreeResultWriterInternal.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <emmintrin.h>

namespace Cartolith::Core::Spatial::RTree {

using Shapes::GisShape;

namespace {

// std::popcount() is a call on the plain instruction set.
std::size_t countBits(quint64 bits) noexcept {
    bits -= bits >> 1U & 0x5555555555555555U;
    bits = (bits & 0x3333333333333333U) + (bits >> 2U & 0x3333333333333333U);
    bits = (bits + (bits >> 4U)) & 0x0f0f0f0f0f0f0f0fU;
    return bits * 0x0101010101010101U >> 56U;
}

} // namespace

void HitMarks::begin(std::size_t words) noexcept {
    m_wordCount = words;
    m_byRank = false;
    std::memset(m_words.data(), 0, words * sizeof m_words[0]);
    // In whole vectors, as readKept() looks at them.
    std::memset(m_inUse.data(), 0, (words + 15) / 16 * 16);
}

void HitMarks::markRanks(const quint16* ranks, std::size_t first, std::size_t last) noexcept {
    // All numbers are below 2^15 but for the ranks of places that do not exist, which are -1 when taken as
    // signed.
    const __m128i beforeFirst = _mm_set1_epi16(static_cast<short>(static_cast<int>(first) - 1));
    const __m128i behindLast = _mm_set1_epi16(static_cast<short>(last));
    const auto eight = [&](const quint16* at) {
        const __m128i rank = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
        return _mm_and_si128(_mm_cmpgt_epi16(rank, beforeFirst), _mm_cmpgt_epi16(behindLast, rank));
    };
    for (std::size_t word = 0; word < m_wordCount; ++word, ranks += 64) {
        quint64 bits = 0;
        for (unsigned int i = 0; i < 64; i += 16) {
            const int mask = _mm_movemask_epi8(_mm_packs_epi16(eight(ranks + i), eight(ranks + i + 8)));
            bits |= quint64{static_cast<unsigned int>(mask)} << i;
        }
        m_words[word] |= bits;
    }
    m_byRank = true;
}

void HitMarks::read(GisShape* const* shapes, const quint16* ranks, std::size_t count,
                    ResultWriter& writer) const {
    if (!m_byRank) {
        readKept(count, writer);
        return;
    }
    GisShape** out = writer.room(count);
    for (std::size_t word = 0; word < m_wordCount; ++word, ranks += 64) {
        for (quint64 bits = m_words[word]; bits != 0; bits &= bits - 1) {
            *out++ = shapes[ranks[std::countr_zero(bits)]];
        }
    }
    writer.commit(out);
}

// With a few hits in a word, a loop over its bits would end in a mispredicted branch almost every time. So a
// fixed number of shapes is written at once, of which those that were not marked are overwritten by the next
// or cut off at the end.
void HitMarks::readKept(std::size_t count, ResultWriter& writer) const {
    constexpr std::size_t batch = 4;
    GisShape** out = writer.room(count + batch);
    for (std::size_t first = 0; first < m_wordCount; first += 16) {
        const __m128i inUse = _mm_loadu_si128(reinterpret_cast<const __m128i*>(&m_inUse[first]));
        auto used = static_cast<unsigned int>(_mm_movemask_epi8(_mm_cmpgt_epi8(inUse, _mm_setzero_si128())));
        for (; used != 0; used &= used - 1) {
            const std::size_t word = first + static_cast<std::size_t>(std::countr_zero(used));
            GisShape* const* const shapes = &m_shapes[word * 64];
            quint64 bits = m_words[word];
            // Stands in when the batch has more room than hits: what was not marked was never written.
            const quint64 highest = std::bit_floor(bits);
            GisShape** const end = out + countBits(bits);
            do {
                for (std::size_t i = 0; i < batch; ++i) {
                    out[i] = shapes[std::countr_zero(bits | highest)];
                    bits &= bits - 1;
                }
                out += batch;
            } while (bits != 0);
            out = end;
        }
    }
    writer.commit(out);
}

} // namespace Cartolith::Core::Spatial::RTree
