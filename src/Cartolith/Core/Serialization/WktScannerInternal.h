#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>
#include <QStringView>

#include <optional>

/// The hot loop of the WKT reader: coordinates.
namespace Cartolith::Core::Serialization::Wkt::Internal {

/// The first two ordinates of the text, which ASCII white space separates. Nothing when there are fewer or
/// one is not a number.
std::optional<Shapes::GisShapePoint> scanPoint(QStringView text);

/// Appends the coordinates of a comma-separated list, skipping items of no length. Stops at the first item
/// that is not a coordinate and returns it, trimmed; a null view when there is none.
QStringView scanPoints(QStringView text, QList<Shapes::GisShapePoint>& points);

} // namespace Cartolith::Core::Serialization::Wkt::Internal
