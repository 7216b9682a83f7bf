#pragma once

#include <QSharedData>

#include <vector>

namespace Cartolith::Core::Symbology::Internal {

/// Finds the first of a list of ranges that holds a number: by halving when the ranges ascend without
/// overlap, by walking when they do not. The answer is the same either way.
class RangeSearch : public QSharedData {
public:
    /// The range at that position of the caller's list; positions ascend.
    template <typename Range>
    void append(const Range& range, qsizetype position) {
        append(Bounds{range.lower, range.upper, range.includeLower, range.includeUpper, position});
    }
    /// The position of the range, or -1. The value is finite.
    qsizetype find(double value) const;

private:
    struct Bounds {
        double lower;
        double upper;
        bool includeLower;
        bool includeUpper;
        qsizetype position;

        bool holds(double value) const {
            return (includeLower ? value >= lower : value > lower) && !isBelow(value);
        }
        /// True for NaN bounds too.
        bool isBelow(double value) const { return !(includeUpper ? value <= upper : value < upper); }
    };

    void append(const Bounds& bounds);

    std::vector<Bounds> m_bounds;
    bool m_ascending = true;
};

} // namespace Cartolith::Core::Symbology::Internal
