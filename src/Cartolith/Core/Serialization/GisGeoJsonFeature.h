#pragma once

#include <Cartolith/Core/Shapes/GisShape.h>

#include <QHash>
#include <QString>
#include <QVariant>

#include <memory>

namespace Cartolith::Core::Serialization::GeoJson {

/// A GeoJSON feature: a geometry, possibly none, with named values.
struct GisGeoJsonFeature {
    /// A QString, or a number as in the attributes; invalid when the feature has no id.
    QVariant id;

    /// Null for a feature without a place. Its own id and attributes are not used.
    std::unique_ptr<Shapes::GisShape> shape;

    /// The "properties". Read values are bool, qlonglong (every number that is whole and fits), double,
    /// QString, QVariantList and QVariantMap, the last two with a null pointer for null in them; null itself
    /// is an invalid QVariant.
    QHash<QString, QVariant> attributes;
};

} // namespace Cartolith::Core::Serialization::GeoJson
