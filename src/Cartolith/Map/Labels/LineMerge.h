#pragma once

#include <Cartolith/Map/Export.h>

#include <QtGlobal>

#include <functional>
#include <span>
#include <vector>

namespace Cartolith::Map::Labels {

/// Lines that were joined.
struct MergedLines {
    std::vector<double> coordinates;
    std::vector<qsizetype> lineEnds; ///< the number of vertices up to the end of each line
    std::vector<qsizetype> lineOf;   ///< of each part, the number of the line that it went into
};

/// Joins parts of one name where they meet end to end, so that a street drawn in pieces is one line to label.
/// Where two ends of a name meet, they are joined; where 3 to 16 do, those that go on most straightly, bent
/// by 60 degrees at most; where more do, none. Only equal coordinates meet.
///
/// Coordinates are x and y in turn, `partEnds` the numbers of vertices up to the end of each part, `names` a
/// number for the name of each (below 0: has none, stays alone; so do parts with what is not finite). Lines
/// are in the order of their first parts and go their way. O(n log n) in parts, linear in vertices. `watch`
/// is called every few milliseconds, and may throw to end it. \throws std::invalid_argument unless there is a
/// name for each part
CARTOLITH_MAP_EXPORT MergedLines mergeLines(std::span<const double> coordinates,
                                            std::span<const qsizetype> partEnds, std::span<const int> names,
                                            const std::function<void()>& watch = {});

} // namespace Cartolith::Map::Labels
