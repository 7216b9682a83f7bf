#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/GisArrowOptions.h>
#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/GisFeatureRequest.h>

#include <QHash>
#include <QList>
#include <QString>
#include <QVariant>

#include <memory>

struct ArrowArrayStream; // of Arrow's C stream interface: Arrow's own headers have it, and GDAL's
                         // ogr_recordbatch.h

namespace Cartolith::Core::Shapes {
class AttributeSlot;
class GisShape;
} // namespace Cartolith::Core::Shapes

namespace Cartolith::Core::Layers {

namespace Internal {
class ArrowBatches;
class FeatureSource;
struct FieldType;
} // namespace Internal

/// The answer to a request, one feature after the other:
///
///     const auto reader = GisFeatureReader::fromSource(path, {}, request);
///     while (reader->next()) {
///         use(reader->featureId(), reader->attributeValue("name"), reader->takeShape());
///     }
///
/// It is the same from a file and from a layer that was read from it whole (GisLayerVector::read()): what is
/// a feature here is what is a shape there, so that a multipoint gives one for each of its points, all with
/// its id, and a row without geometry gives none. Features come in the order of the request, else in that of
/// the layer.
///
/// Used by one thread at a time; one that reads a source may be made and used in a thread of its own, and has
/// its own connection to the source. Only cancel() and state() may be called by others meanwhile. A reader of
/// a layer belongs to the layer's thread and is used while the layer lives.
class CARTOLITH_CORE_EXPORT GisFeatureReader {
public:
    enum class State { Reading, AtEnd, Cancelled, Failed };

    /// Of a layer of a file or database that OGR opens, read only; of its first without a name. Features are
    /// read as they are asked for. docs/large-data.md says what of a request the source itself answers.
    /// \throws std::invalid_argument for a negative limit, a tolerance that is negative or NaN, a picture
    /// that wants no feature;
    /// std::runtime_error with the path and the reason when the source cannot be read, has no such layer, and
    /// when another coordinate system is asked for and its own is not known or leads nowhere
    static std::unique_ptr<GisFeatureReader> fromSource(const QString& path, const QString& layerName,
                                                        const GisFeatureRequest& request);
    /// For layers of this library, as GisLayerVector::read(). Throws as above.
    GisFeatureReader(std::unique_ptr<Internal::FeatureSource> source, const GisFeatureRequest& request);
    ~GisFeatureReader();
    GisFeatureReader(const GisFeatureReader&) = delete;
    GisFeatureReader& operator=(const GisFeatureReader&) = delete;

    /// Goes to the next feature; false when there is none, and when it was cancelled. \throws
    /// std::runtime_error with the reason when the source breaks off, when a feature on a server is in
    /// another coordinate system than the layer, and where the layer was changed since the reader was made;
    /// later calls are false then
    bool next();

    /// \name The feature
    /// After next() was true. @{

    /// The source's own id, -1 for a shape that is not in it (yet); in a layer without a source, the shape's.
    qint64 featureId() const;
    /// Invalid when there is none, and of a field that was not asked for.
    QVariant attributeValue(const QString& field) const;
    /// Of the fields that were asked for.
    QHash<QString, QVariant> attributes() const;
    /// As GisLayerVector::exactText(), of the fields that were asked for.
    QString exactText(const QString& field) const;
    /// Until next() or takeShape(); its own attributes may be more, or others, than were asked for. Null when
    /// no geometry was.
    const Shapes::GisShape* shape() const;
    /// With the attributes that were asked for; null when no geometry was, and the second time.
    std::unique_ptr<Shapes::GisShape> takeShape();
    /// @}

    /// The fields of the answer that the layer declares, and its coordinate system; null where the layer has
    /// none.
    const QList<Defs::GisAttributeDefinition>& fields() const;
    std::shared_ptr<const CoordinateSystems::CoordinateSystem> coordinateSystem() const;
    /// Of a request for a picture.
    enum class Detail {
        Everything, ///< nothing was left out for being too much
        Overview,   ///< features are those of a vector overview
        Sample,     ///< features are some of many
    };
    Detail detail() const noexcept;
    /// How many features the source has, whatever was asked for: known for a picture, where the source says
    /// so without being read; else -1. \see shownText()
    qint64 sourceCount() const noexcept;
    /// "1052 of 5000000 features shown"; of an unknown number "1052 features shown".
    static QString shownText(qint64 shown, qint64 all);
    /// How many features were left out so far, because they have no place in that coordinate system.
    qint64 untransformedCount() const;

    /// Ends the reading as soon as it can, from any thread: a statement of GeoPackage, SQLite or PostgreSQL
    /// is broken off, also the simplification of a long line; other sources give their current feature first.
    /// next() is false then.
    void cancel() noexcept;
    State state() const noexcept;
    /// Of the one that failed, what next() threw; else empty.
    QString reason() const;

    /// The features from the next one on as an Arrow stream: what is in `stream` is not looked at, and its
    /// release() is the caller's.
    ///
    /// Columns are the ids when the options name such a column, the fields in their order (those of fields(),
    /// then what shapes of a layer in memory have besides, by name; of several of one name, the last), and
    /// the geometries. A field's type follows from that of its definition:
    ///  - bool; int32 for whole numbers of up to 32 bits, else int64; float64; utf8; binary; date32;
    ///    time32 of milliseconds; timestamps as GisArrowOptions::DateTimes says;
    ///  - a list of int32, int64, float64 or utf8.
    /// A value that is nothing, or a date or time that is none, is null. A number of another type goes into a
    /// column that has exactly that number. Any other value that is not of the column's type is an error that
    /// names field and feature, and so is a text with half a surrogate pair.
    /// Geometries are binary with the extension name "geoarrow.wkb" and the coordinate system in the
    /// extension metadata: little-endian ISO WKB of a point, a line string, a polygon with its holes, or the
    /// multi geometry; of a shape without vertices the empty one. What is no line and no ring is left out as
    /// when a layer is saved.
    ///
    /// Buffers begin at multiples of 64 bytes and are padded to such. A batch may have more bytes than the
    /// options say by its last row; in memory there is one batch beside those that the consumer has.
    ///
    /// get_schema() reads the first batch where there are dates with times: it decides whether they have
    /// zones. get_next() gives EINVAL for a value that does not fit, ECANCELED after cancel(), ENOMEM, and
    /// EIO for all else that next() throws, with the reason in get_last_error(); after a failure the same
    /// again.
    ///
    /// The stream shares the reader, and by that keeps the source open, until it is released; it is used by
    /// one thread at a time as the reader is, and not together with next(). A layer in memory is not kept: it
    /// lives, unchanged, as long as get_next() is called. Schemas and batches hang on nothing: they may
    /// outlive the stream, the reader and the layer, be moved, and be released by any thread; so may their
    /// children. \throws std::invalid_argument for no reader, options out of range, a field of a type that
    /// there is no column for, two columns of one name, a name with U+0000 or half a surrogate pair
    static void toArrow(std::shared_ptr<GisFeatureReader> reader, ArrowArrayStream& stream,
                        const GisArrowOptions& options = {});

private:
    friend class Internal::ArrowBatches;
    QList<Internal::FieldType> fieldTypes() const;
    bool hasGeometry() const;
    const Shapes::AttributeSlot& attributeSlot() const;

    class Private;
    std::unique_ptr<Private> d;
};

} // namespace Cartolith::Core::Layers
