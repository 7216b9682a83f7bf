#include <Cartolith/Core/Spatial/RTreeOrderInternal.h>
#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <utility>

namespace Cartolith::Core::Spatial::RTree {

using Shapes::GisExtent;

namespace {

// The curve's mirrorings and swaps leave four orientations: bit 0 says that x and y are swapped, bit 1 that
// both are complemented. A step of the table takes four bits of x and of y at once.
struct HilbertStep {
    quint8 distance;
    quint8 orientation;
};

constexpr std::array<HilbertStep, 1024> makeHilbertSteps() {
    std::array<HilbertStep, 1024> steps{};
    for (unsigned int entry = 0; entry < 1024; ++entry) {
        unsigned int orientation = entry >> 8U;
        unsigned int distance = 0;
        for (unsigned int bit = 4; bit-- > 0;) {
            const unsigned int flip = orientation >> 1U;
            unsigned int rx = ((entry >> (4U + bit)) & 1U) ^ flip;
            unsigned int ry = ((entry >> bit) & 1U) ^ flip;
            if ((orientation & 1U) != 0) {
                std::swap(rx, ry);
            }
            distance = distance << 2U | ((3U * rx) ^ ry);
            if (ry == 0) {
                orientation ^= 1U | rx << 1U;
            }
        }
        steps[entry] = {static_cast<quint8>(distance), static_cast<quint8>(orientation)};
    }
    return steps;
}

constexpr std::array<HilbertStep, 1024> hilbertSteps = makeHilbertSteps();

// A 32-bit key above the 32-bit position of its item.
using Entry = quint64;

constexpr unsigned int digitBits = 11;
constexpr std::size_t digitCount = std::size_t{1} << digitBits;

void sortByKey(std::vector<Entry>& entries) {
    constexpr std::array<unsigned int, 3> shifts{32, 32 + digitBits, 32 + 2 * digitBits};
    std::array<std::array<quint32, digitCount>, 3> starts{};
    for (const Entry entry : entries) {
        for (std::size_t pass = 0; pass < shifts.size(); ++pass) {
            ++starts[pass][entry >> shifts[pass] & (digitCount - 1)];
        }
    }
    std::vector<Entry> other(entries.size());
    for (std::size_t pass = 0; pass < shifts.size(); ++pass) {
        quint32 total = 0;
        for (quint32& start : starts[pass]) {
            total += std::exchange(start, total);
        }
        for (const Entry entry : entries) {
            other[starts[pass][entry >> shifts[pass] & (digitCount - 1)]++] = entry;
        }
        entries.swap(other);
    }
}

std::vector<quint32> positions(const std::vector<Entry>& entries) {
    std::vector<quint32> result(entries.size());
    std::transform(entries.begin(), entries.end(), result.begin(),
                   [](Entry entry) { return static_cast<quint32>(entry); });
    return result;
}

// Maps a double to an integer of the same order, NaN to the largest.
quint64 sortableBits(double value) noexcept {
    if (std::isnan(value)) {
        return std::numeric_limits<quint64>::max();
    }
    const auto bits = std::bit_cast<quint64>(value + 0.0);
    return (bits >> 63U) != 0 ? ~bits : bits | quint64{1} << 63U;
}

} // namespace

quint32 hilbertKey(quint16 x, quint16 y) noexcept {
    quint32 key = 0;
    unsigned int orientation = 0;
    for (unsigned int shift = 16; shift > 0;) {
        shift -= 4;
        const unsigned int cell = (unsigned{x} >> shift & 15U) << 4U | (unsigned{y} >> shift & 15U);
        const HilbertStep step = hilbertSteps[orientation << 8U | cell];
        key = key << 8U | step.distance;
        orientation = step.orientation;
    }
    return key;
}

quint32 hilbertKey(const GisExtent& extent, const GisExtent& frame) noexcept {
    return hilbertKey(gridCoordinate((extent.xMin() + extent.xMax()) * 0.5, frame.xMin(), frame.xMax()),
                      gridCoordinate((extent.yMin() + extent.yMax()) * 0.5, frame.yMin(), frame.yMax()));
}

quint64 axisKey(const GisExtent& extent, bool alongX) noexcept {
    return sortableBits(alongX ? (extent.xMin() + extent.xMax()) * 0.5
                               : (extent.yMin() + extent.yMax()) * 0.5);
}

std::vector<quint32> hilbertOrder(const QList<SpatialIndexItem>& items, const GisExtent& extent) {
    std::vector<Entry> entries(static_cast<std::size_t>(items.size()));
    const SpatialIndexItem* item = items.constData();
    for (std::size_t i = 0; i < entries.size(); ++i, ++item) {
        entries[i] = Entry{hilbertKey(item->extent(), extent)} << 32U | i;
    }
    sortByKey(entries);
    return positions(entries);
}

std::vector<quint32> axisOrder(const QList<SpatialIndexItem>& items, bool alongX) {
    const auto key = [data = items.constData(), alongX](std::size_t i) {
        return axisKey(data[i].extent(), alongX);
    };
    const auto count = static_cast<std::size_t>(items.size());
    quint64 least = std::numeric_limits<quint64>::max();
    quint64 greatest = 0;
    std::vector<Entry> entries(count);
    for (std::size_t i = 0; i < count; ++i) {
        const quint64 full = key(i);
        least = std::min(least, full);
        greatest = std::max(greatest, full);
        entries[i] = full;
    }
    const int usedBits = greatest > least ? 64 - std::countl_zero(greatest - least) : 0;
    const int dropped = std::max(usedBits - 32, 0);
    for (std::size_t i = 0; i < count; ++i) {
        entries[i] = (entries[i] - least) >> dropped << 32U | i;
    }
    sortByKey(entries);
    // Entries that agree in the kept bits are put in order by the whole key.
    for (std::size_t first = 0; dropped > 0 && first < count;) {
        std::size_t last = first + 1;
        while (last < count && entries[last] >> 32U == entries[first] >> 32U) {
            ++last;
        }
        if (last - first > 1) {
            std::stable_sort(entries.begin() + static_cast<std::ptrdiff_t>(first),
                             entries.begin() + static_cast<std::ptrdiff_t>(last), [&key](Entry a, Entry b) {
                                 return key(static_cast<quint32>(a)) < key(static_cast<quint32>(b));
                             });
        }
        first = last;
    }
    return positions(entries);
}

} // namespace Cartolith::Core::Spatial::RTree
