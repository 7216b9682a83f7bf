#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>

#include <QByteArray>

namespace Cartolith::Core::Layers::Internal {

struct OgrEditTarget;
class OgrTarget;

/// The fields of a source in the file that is to take its place.
/// @{

/// Those of the source. Where a file has no schema, GDAL makes one up from the features that happen to be
/// there; what the layer declares goes before that, unless values that are there would not fit.
void addRewrittenFields(const OgrEditTarget& target, OGRFeatureDefn& from, OgrTarget& written);

/// A feature of one layer as one of the other, which begins with the same fields.
void copyFields(OGRFeature& from, OGRFeature& to);

/// \throws std::runtime_error with the reason for a text that an encoding does not have. GDAL cuts those, and
/// says so once in a process
void requireEncoded(OGRFeature& feature, const QByteArray& encoding);

/// @}

} // namespace Cartolith::Core::Layers::Internal
