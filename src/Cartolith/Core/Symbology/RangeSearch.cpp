#include <Cartolith/Core/Symbology/RangeSearchInternal.h>

#include <algorithm>

namespace Cartolith::Core::Symbology::Internal {

void RangeSearch::append(const Bounds& bounds) {
    // Ranges that hold no number, NaN bounds among them, are left to the walk.
    const bool holdsSomething = bounds.lower < bounds.upper ||
                                (bounds.lower == bounds.upper && bounds.includeLower && bounds.includeUpper);
    const bool follows =
        m_bounds.empty() || m_bounds.back().upper < bounds.lower ||
        (m_bounds.back().upper == bounds.lower && !(m_bounds.back().includeUpper && bounds.includeLower));
    m_bounds.push_back(bounds);
    m_ascending = m_ascending && holdsSomething && follows;
}

qsizetype RangeSearch::find(double value) const {
    // Of ascending ranges only the first that does not lie below the value can hold it.
    const auto found =
        m_ascending ? std::partition_point(m_bounds.cbegin(), m_bounds.cend(),
                                           [value](const Bounds& bounds) { return bounds.isBelow(value); })
                    : std::find_if(m_bounds.cbegin(), m_bounds.cend(),
                                   [value](const Bounds& bounds) { return bounds.holds(value); });
    return found != m_bounds.cend() && found->holds(value) ? found->position : -1;
}

} // namespace Cartolith::Core::Symbology::Internal
