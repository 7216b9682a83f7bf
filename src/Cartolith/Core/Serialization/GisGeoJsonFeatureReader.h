#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Serialization/GisGeoJsonFeature.h>

#include <QtGlobal>

#include <functional>

class QIODevice;

namespace Cartolith::Core::Serialization::GeoJson {

struct GisGeoJsonReadOptions {
    /// What to do with a MultiPoint or a GeometryCollection, for which there is no shape.
    enum class Unsupported {
        Fail, ///< throw, naming the feature
        Skip, ///< leave the feature out and count it
    };
    Unsupported unsupported = Unsupported::Fail;

    /// The most bytes that one feature may have, or a collection before its "type" or "features".
    qsizetype maxFeatureSize = qsizetype{256} << 20;
};

struct GisGeoJsonReadCounts {
    qint64 read = 0;    ///< features handed out
    qint64 skipped = 0; ///< features left out because of their geometry type
};

/// Reads the features of GeoJSON text one after another, without the tree of the whole in memory.
///
/// The device may hold a FeatureCollection, a Feature, a geometry (which becomes a feature of nothing else),
/// or any number of these after one another: newline-delimited, separated by RS (RFC 8142), or by white
/// space. The reader finds out which as it reads; an empty device gives no feature. The text is UTF-8, with
/// or without a byte order mark.
///
/// Geometry is read as GisGeoJsonReader does. "bbox" and members that GeoJSON does not define are ignored;
/// such members beside the features of a collection are skipped by matching quotes and brackets, and are not
/// checked any further.
/// "geometry" and "properties" may be null or missing.
///
/// Input is not trusted: memory is bounded by a multiple of the largest feature, that by an option, and
/// nesting to 1024 levels.
class CARTOLITH_CORE_EXPORT GisGeoJsonFeatureReader {
public:
    /// Takes each feature as it is read; false ends the reading. Not null.
    using Use = std::function<bool(GisGeoJsonFeature&& feature)>;

    /// Reads from where the device, open for reading, stands. After an early end it stands somewhere behind
    /// the last feature used. For progress, ask the device for its position from `use`. A sequential device
    /// that has nothing to give is waited for, up to 30 seconds.
    ///
    /// A collection whose "type" follows its features and turns out to be another is reported when that is
    /// seen, after its features were used; so is all that is wrong further on in the text. What `use` throws
    /// passes through.
    ///
    /// \throws std::runtime_error with the byte, counted from the start of reading, and with the number,
    /// counted from 1, if a single feature is at fault: "Invalid GeoJSON at byte 7: ..." or
    /// "GeoJSON feature 3 at byte 420: ..."; for a device that fails or is closed, "GeoJSON cannot be read:
    /// ..."
    static GisGeoJsonReadCounts readFeatures(QIODevice& device, const Use& use,
                                             const GisGeoJsonReadOptions& options = {});
};

} // namespace Cartolith::Core::Serialization::GeoJson
