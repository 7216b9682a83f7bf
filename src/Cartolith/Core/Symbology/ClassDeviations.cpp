#include <Cartolith/Core/Symbology/ClassDeviationsInternal.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

namespace Cartolith::Core::Symbology::Internal {

namespace {

constexpr std::size_t blockSize = 16; // values; tables for each of them would take n log n memory

} // namespace

ClassDeviations::Run ClassDeviations::Run::joined(const Run& next) const {
    const double apart = (next.low - low) - above + next.above;
    const double share = next.weight / (weight + next.weight);
    return {low, weight + next.weight, above + apart * share,
            sum + next.sum + apart * apart * weight * share};
}

ClassDeviations::ClassDeviations(std::vector<double> values, std::vector<double> weights)
    : m_values(std::move(values)), m_weights(std::move(weights)) {
    const std::size_t count = m_values.size();
    int exponent = 0;
    (void)std::frexp(std::max(std::abs(m_values.front()), std::abs(m_values.back())), &exponent);
    for (double& value : m_values) {
        value = std::ldexp(value, -exponent);
    }
    m_fromStart.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        m_fromStart.push_back(i % blockSize == 0 ? single(i) : m_fromStart[i - 1].joined(single(i)));
    }
    m_toEnd = m_fromStart; // every element is replaced
    for (std::size_t i = count; i-- > 0;) {
        const bool isLast = i + 1 == count || (i + 1) % blockSize == 0;
        m_toEnd[i] = isLast ? single(i) : single(i).joined(m_toEnd[i + 1]);
    }

    const std::size_t whole = count / blockSize;
    const auto block = [this](std::size_t at) { return m_fromStart[(at + 1) * blockSize - 1]; };
    for (std::size_t half = 1; half < whole; half *= 2) {
        std::vector<Run> level;
        level.reserve(whole);
        for (std::size_t at = 0; at < whole; ++at) {
            level.push_back(block(at));
        }
        for (std::size_t middle = half; middle < whole; middle += 2 * half) {
            for (std::size_t at = middle - 1; at-- > middle - half;) {
                level[at] = level[at].joined(level[at + 1]);
            }
            for (std::size_t at = middle + 1; at < std::min(middle + half, whole); ++at) {
                level[at] = level[at - 1].joined(level[at]);
            }
        }
        m_halving.push_back(std::move(level));
    }
}

ClassDeviations::Run ClassDeviations::blocks(std::size_t first, std::size_t last) const {
    if (first == last) {
        return m_fromStart[(first + 1) * blockSize - 1];
    }
    // Two positions differ first in the bit whose stretch has its middle between them.
    const auto& level = m_halving[static_cast<std::size_t>(std::bit_width(first ^ last)) - 1];
    return level[first].joined(level[last]);
}

double ClassDeviations::of(std::size_t first, std::size_t last) const {
    const std::size_t firstBlock = first / blockSize;
    const std::size_t lastBlock = last / blockSize;
    if (firstBlock == lastBlock) {
        Run run = single(first);
        for (std::size_t i = first + 1; i <= last; ++i) {
            run = run.joined(single(i));
        }
        return run.sum;
    }
    const Run& start = m_toEnd[first];
    const Run& end = m_fromStart[last];
    return lastBlock - firstBlock > 1 ? start.joined(blocks(firstBlock + 1, lastBlock - 1)).joined(end).sum
                                      : start.joined(end).sum;
}

} // namespace Cartolith::Core::Symbology::Internal
