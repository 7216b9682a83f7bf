#pragma once

#include <Cartolith/Core/Serialization/GisGeoJsonFeatureReader.h>

#include <QByteArrayView>

#include <optional>

/// One feature made of its text.
namespace Cartolith::Core::Serialization::GeoJson::Internal {

/// Whether the text has a member "geometry".
enum class Found {
    None,
    One,
    Unsure, ///< several, or a name with an escape in it
};

/// Where the value of the member "geometry" lies in the text of its feature, if there is just one.
struct GeometryText {
    Found found = Found::None;
    qsizetype start = 0;
    qsizetype end = 0;
};

/// The feature that the text, of an object, is; nothing when its geometry is to be skipped. Where the
/// geometry lies serves speed only. Throws std::runtime_error.
std::optional<GisGeoJsonFeature> readFeature(QByteArrayView text, const GeometryText& geometry,
                                             GisGeoJsonReadOptions::Unsupported unsupported);

} // namespace Cartolith::Core::Serialization::GeoJson::Internal
