#include <Cartolith/Core/Spatial/RTreeBoundsInternal.h>

#include <limits>

namespace Cartolith::Core::Spatial::RTree {

namespace {

constexpr float nan = std::numeric_limits<float>::quiet_NaN();

// A NaN on the right is passed over.
float least(const std::array<float, 16>& values) noexcept {
    float result = values[0];
    for (const float value : values) {
        result = value < result ? value : result;
    }
    return result;
}

float greatest(const std::array<float, 16>& values) noexcept {
    float result = values[0];
    for (const float value : values) {
        result = value > result ? value : result;
    }
    return result;
}

RoundedBounds unite(const BoundsBlock& block) noexcept {
    return {least(block.xMin), least(block.yMin), greatest(block.xMax), greatest(block.yMax)};
}

} // namespace

BoundsTree::BoundsTree(std::size_t count) : m_count(count) {
    // Two blocks side by side are quicker to scan than one above them and then one of them.
    std::size_t blocks = (count + 15) / 16;
    std::size_t total = blocks;
    m_levelCount = 1;
    m_starts[1] = static_cast<quint32>(total);
    for (; blocks > 2; ++m_levelCount) {
        blocks = (blocks + 15) / 16;
        total += blocks;
        m_starts[m_levelCount + 1] = static_cast<quint32>(total);
    }
    m_blocks.resize(total);
    // The places behind the entries; those of the levels above are set by finish().
    for (std::size_t index = count; index < blockCount(0) * 16; ++index) {
        set(0, index, {nan, nan, nan, nan});
    }
}

void BoundsTree::finish() noexcept {
    for (std::size_t level = 1; level < m_levelCount; ++level) {
        const std::size_t below = blockCount(level - 1);
        for (std::size_t index = 0; index < below; ++index) {
            set(level, index, unite(block(level - 1, index)));
        }
        for (std::size_t index = below; index < blockCount(level) * 16; ++index) {
            set(level, index, {nan, nan, nan, nan});
        }
    }
}

RoundedBounds BoundsTree::bounds() const noexcept {
    RoundedBounds result{nan, nan, nan, nan};
    const std::size_t top = m_levelCount - 1;
    for (std::size_t index = 0; index < blockCount(top); ++index) {
        const RoundedBounds more = unite(block(top, index));
        result = {more.xMin < result.xMin || index == 0 ? more.xMin : result.xMin,
                  more.yMin < result.yMin || index == 0 ? more.yMin : result.yMin,
                  more.xMax > result.xMax || index == 0 ? more.xMax : result.xMax,
                  more.yMax > result.yMax || index == 0 ? more.yMax : result.yMax};
    }
    return result;
}

} // namespace Cartolith::Core::Spatial::RTree
