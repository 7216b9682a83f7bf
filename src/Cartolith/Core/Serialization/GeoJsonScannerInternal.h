#pragma once

#include <Cartolith/Core/Shapes/GisShape.h>

#include <QByteArrayView>

#include <memory>

/// The hot loop of the GeoJSON reader: a geometry straight from its text.
namespace Cartolith::Core::Serialization::GeoJson::Internal {

/// The geometry, when its text is of the usual form: an object of just "type" and "coordinates", each once
/// and in either order, the arrays nested as the type asks, none of them empty, and plainly written numbers.
/// Null for everything else, errors included: that is for Qt's parser, which decides what JSON is. What comes
/// back is bit for bit what it would have given.
std::unique_ptr<Shapes::GisShape> scanGeometry(QByteArrayView utf8);

} // namespace Cartolith::Core::Serialization::GeoJson::Internal
