#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/GisFeatureRequest.h>

#include <QHash>
#include <QList>
#include <QString>
#include <QVariant>

#include <memory>

namespace Cartolith::Core::Shapes {
class GisShape;
}

namespace Cartolith::Core::Layers {

namespace Internal {
class FeatureSource;
}

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
    /// std::runtime_error with the reason when the source breaks off, and where the layer was changed since
    /// the reader was made; later calls are false then
    bool next();

    /// \name The feature
    /// After next() was true. @{

    /// The source's own id, -1 for a shape that is not in it (yet); in a layer without a source, the shape's.
    qint64 featureId() const;
    /// Invalid when there is none, and of a field that was not asked for.
    QVariant attributeValue(const QString& field) const;
    /// Of the fields that were asked for.
    QHash<QString, QVariant> attributes() const;
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
    /// is broken off, other sources give their current feature first. next() is false then.
    void cancel() noexcept;
    State state() const noexcept;
    /// Of the one that failed, what next() threw; else empty.
    QString reason() const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace Cartolith::Core::Layers
