#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>

#include <QString>

#include <optional>

namespace Cartolith::Core::Layers::Internal {

/// Two geometries as they are shown beside each other: well-known text, only what is around the first
/// difference where it is long; "none" for none.
struct GeometryTexts {
    QString held;
    QString asked;
};

/// How a geometry that a source holds differs from the one that it was given; null is one. Unset where both
/// are of one type and have the same vertices, to the 15 digits that a double keeps for certain; in most
/// cases that takes one look at their bytes.
std::optional<GeometryTexts> geometryChange(const OGRGeometry* held, const OGRGeometry* asked);

} // namespace Cartolith::Core::Layers::Internal
