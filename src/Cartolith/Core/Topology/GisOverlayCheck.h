#pragma once

#include <QString>

#include <limits>

namespace Cartolith::Core::Topology {

/// What GisTopology::CheckOverlay() found. Areas are in square coordinate units, NaN where they were not
/// measured: those of a and b when one of them crosses or overlaps itself.
struct GisOverlayCheck {
    bool plausible = true;
    QString problem; ///< what failed, in English; empty when plausible
    double areaOfA = std::numeric_limits<double>::quiet_NaN();
    double areaOfB = std::numeric_limits<double>::quiet_NaN();
    double areaOfResult = std::numeric_limits<double>::quiet_NaN();
};

} // namespace Cartolith::Core::Topology
