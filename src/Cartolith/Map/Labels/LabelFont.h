#pragma once

#include <QString>

namespace Cartolith::Map::Labels {

/// The letters of a label. A family that is not installed is replaced by what the system has for it.
struct LabelFont {
    QString family = QStringLiteral("DejaVu Sans");
    double size = 12.0; ///< of an em, in pixels of the device; up to 1,000
    bool bold = false;
    bool italic = false;

    friend bool operator==(const LabelFont&, const LabelFont&) = default;
};

} // namespace Cartolith::Map::Labels
