#pragma once

#include <QPointF>
#include <QTypeInfo>

#include <cmath>
#include <optional>

namespace Cartolith::Core::Layers::Defs {

/// Where the pixels of a raster lie on the map. Whole column and row numbers are the *centres* of pixels; the
/// first one is (0, 0), so a raster reaches from -0.5 to its width - 0.5. Any affine transform: rows that go
/// up or down, rotation, shear.
struct GisRasterWorldTransform {
    double xPerColumn = 0.0;
    double yPerColumn = 0.0;
    double xPerRow = 0.0;
    double yPerRow = 0.0;
    double xOffset = 0.0;
    double yOffset = 0.0;

    bool operator==(const GisRasterWorldTransform& other) const = default;

    /// Map units.
    QPointF toMap(double column, double row) const noexcept {
        return {xPerColumn * column + xPerRow * row + xOffset, yPerColumn * column + yPerRow * row + yOffset};
    }

    /// The transform from map x and y to column and row, in place of column and row to x and y. None when the
    /// pixels lie on one line or in one place, and when a number is not finite.
    std::optional<GisRasterWorldTransform> inverted() const noexcept {
        const double area = xPerColumn * yPerRow - xPerRow * yPerColumn;
        GisRasterWorldTransform inverse{yPerRow / area, -yPerColumn / area, -xPerRow / area,
                                        xPerColumn / area};
        const QPointF origin = inverse.toMap(xOffset, yOffset);
        inverse.xOffset = -origin.x();
        inverse.yOffset = -origin.y();
        for (const double number : {inverse.xPerColumn, inverse.yPerColumn, inverse.xPerRow, inverse.yPerRow,
                                    inverse.xOffset, inverse.yOffset}) {
            if (!std::isfinite(number)) {
                return std::nullopt;
            }
        }
        return inverse;
    }
};

} // namespace Cartolith::Core::Layers::Defs

Q_DECLARE_TYPEINFO(Cartolith::Core::Layers::Defs::GisRasterWorldTransform, Q_PRIMITIVE_TYPE);
