#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Serialization/GisGeoJsonFeature.h>

class QByteArray;
class QIODevice;

namespace Cartolith::Core::Serialization::GeoJson {

struct GisGeoJsonWriteOptions {
    enum class Layout {
        FeatureCollection, ///< one object with all features, each on a line of its own
        NewlineDelimited,  ///< an object on each line
        TextSequence,      ///< as RFC 8142 has it: RS, the object, a line end
    };
    Layout layout = Layout::FeatureCollection;

    enum class Polygons {
        AsStored,      ///< one Polygon of all rings as they are, as GisGeoJsonWriter does
        RightHandRule, ///< as RFC 7946 has it: see GisGeoJsonFeatureWriter
    };
    Polygons polygons = Polygons::AsStored;
};

/// Writes features to a device one after another.
///
/// The shapes do not tell shells from holes. By the right-hand rule they are told apart by nesting: a ring
/// that lies in an even number of the other rings is a shell and is written counterclockwise, one in an odd
/// number a hole of the smallest ring around it and is written clockwise. More than one shell makes a
/// MultiPolygon. Rings of no area stay as they are, those without a vertex are left out; open ones are closed
/// in either case. That takes n log n time for n vertices, as a rule no longer than the writing; more
/// where many rings overlap.
///
/// Values: numbers (whole ones beyond 64 bits with a sign are rounded), bool, text, lists and maps as JSON
/// has them; dates and times as ISO 8601 text; bytes as Base64 text; other types as the text that QVariant
/// makes of them. What JSON cannot hold is null: numbers that are not finite, null and invalid values, types
/// without text. Numbers are written as GisGeoJsonWriter does. Members come in Qt's order, so equal features
/// give equal bytes.
///
/// Errors are std::runtime_error: "GeoJSON cannot be written: %1" with the device's reason, or "A coordinate
/// that is not finite cannot be written as GeoJSON.", in which case nothing of that feature was written.
class CARTOLITH_CORE_EXPORT GisGeoJsonFeatureWriter {
public:
    /// The device must be open for writing and outlive the writer. It is not closed or flushed.
    explicit GisGeoJsonFeatureWriter(QIODevice& device, const GisGeoJsonWriteOptions& options = {});

    /// Once before and once after all features. Without end() a collection is incomplete.
    /// \throws std::logic_error, as write() does, when called out of turn
    void begin();
    void end();

    /// A null shape and the empty point give a feature with no geometry. An id that is neither a text nor a
    /// finite number, once it is JSON, is left out.
    void write(const GisGeoJsonFeature& feature);

    /// A feature with the shape's attributes and, unless it is 0, its id.
    void write(const Shapes::GisShape& shape);

private:
    enum class State { Before, Within, After };

    void write(const QVariant& id, const Shapes::GisShape* shape, const QHash<QString, QVariant>& attributes);
    void require(State state) const;
    void put(const QByteArray& bytes);

    QIODevice& m_device;
    GisGeoJsonWriteOptions m_options;
    State m_state = State::Before;
    bool m_first = true;
};

} // namespace Cartolith::Core::Serialization::GeoJson
