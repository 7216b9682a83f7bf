#pragma once

#include <QByteArray>
#include <QString>
#include <ogrsf_frmts.h>

#include <map>
#include <set>

namespace Cartolith::Core::Layers::Internal {

/// What GeoJSON says in its text and GDAL does not tell.
struct JsonFacts {
    /// Of the fields that are dates or times for GDAL those that hold a text which is none, or of another
    /// type: a date among dates with times.
    std::set<QByteArray> otherTexts;
    /// The file has a "crs" beside its features that is null or names no system: GDAL goes on with WGS 84.
    bool isSystemUnknown = false;
    QByteArray system;         ///< the value of that "crs", empty where there is none
    bool isOneFeature = false; ///< not a collection, nor a geometry
};

/// Reads the text of a file, or of several lines, once, some of it at a time. Only attributes count: members
/// of "properties", and of features without. Where it cannot be read, all of the fields are in doubt.
JsonFacts jsonFactsOf(const QString& path, const std::map<QByteArray, OGRFieldType>& dates);

} // namespace Cartolith::Core::Layers::Internal
