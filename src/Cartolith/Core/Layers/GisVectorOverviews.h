#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Shapes/GisExtent.h>

#include <QList>
#include <QString>

#include <functional>
#include <optional>

namespace Cartolith::Core::Layers {

/// Vector overviews: what a layer looks like from afar, so that a picture of millions of features reads some
/// thousands.
///
/// They are made once, for scales a factor of 2 apart, and kept in a GeoPackage beside the source, or in
/// tables of the server that has it (TABLE_overviews, which describes them, and TABLE_overviews_0...), with a
/// table for each level that any reader opens. A feature in it has the id, the attributes and the simplified
/// geometry of one of the source. A picture of that table, at the level's scale or a smaller one, shows what
/// a picture of the source would show, less what nobody could see:
///  - of features whose boxes have their centres in one cell of 4 by 4 pixels, the one with the longest box
///    is kept, and up to fifteen more that are at least 32 pixels long;
///  - no vertex that was left out is farther than half a pixel from the line that is left, and what is not
///    longer than a pixel is the box around it, or its diagonal.
/// The cells of a level make up those of the next, and what a level has, finer ones have too.
///
/// An overview file is taken for that of a source as long as this keeps its size and its time of writing. It
/// is a cache: whoever changes the source has it made anew. Those of a server's table are taken for good as
/// long as the table has its file and the server counts no row put in, changed or deleted, which it does some
/// seconds late.
///
/// A value; const members may be called by several threads at once.
class CARTOLITH_CORE_EXPORT GisVectorOverviews {
public:
    struct Level {
        double unitsPerPixel; ///< in units of the layer's coordinate system, for which it was made
        qint64 featureCount;
        QString tableName; ///< in the source at path()
    };

    /// Gets the fraction done, or NaN when the source does not know its size; returns false to cancel.
    using ProgressCallback = std::function<bool(double fraction)>;

    /// Where the overviews of a layer of a file are.
    static QString pathFor(const QString& source, const QString& layerName);

    /// Makes them, in place of what was there. An empty layer name means the first layer. Fields with lists
    /// and with bytes are left out. False, and nothing is changed, when the callback cancelled.
    ///
    /// Reads the source twice; takes n log n time and some 50 bytes of memory for each feature. \throws
    /// std::runtime_error when the source cannot be read, is not a single file (a database with a log beside
    /// it is not) nor a table of PostGIS (a view is not), has several features of one id or one of the id -1,
    /// or has changed meanwhile, and when the overviews cannot be written: all or nothing of them
    static bool build(const QString& source, const QString& layerName = {},
                      const ProgressCallback& progress = {});

    /// Those of the source as it is now. Unset where there are none, where they were made of another state of
    /// it or of another layer, and where their file is damaged. The source's file is looked at, not opened.
    static std::optional<GisVectorOverviews> find(const QString& source, const QString& layerName = {});

    /// The GeoPackage, or the server's source, in which the tables are.
    const QString& path() const noexcept { return m_path; }
    /// From the finest to the coarsest; at least one.
    const QList<Level>& levels() const noexcept { return m_levels; }
    /// Of the source.
    qint64 featureCount() const noexcept { return m_featureCount; }
    const Shapes::GisExtent& extent() const noexcept { return m_extent; }
    /// Whether the source says its coordinate system. Where it does not, the tables name an undefined one.
    bool hasCoordinateSystem() const noexcept { return m_hasSystem; }
    /// The coarsest level that is fine enough, as an index; -1 where the source itself is to be read, and
    /// for a scale that is not a positive number.
    int levelFor(double unitsPerPixel) const noexcept;
    /// The same for a picture of a window, but a finer one, or the source, as long as some `most` features
    /// are to be expected there, were they spread evenly: small areas that lie side by side are shown without
    /// gaps for as long as it costs little.
    int levelFor(double unitsPerPixel, const Shapes::GisExtent& window, qint64 most = 50'000) const noexcept;

    /// Which part of the extent is in a window, from 0 to 1. Along a side without length everything is.
    static double shareInSight(const Shapes::GisExtent& window, const Shapes::GisExtent& all) noexcept;

private:
    GisVectorOverviews() = default;
    class Reading;

    QString m_path;
    QList<Level> m_levels;
    qint64 m_featureCount = 0;
    bool m_hasSystem = false;
    Shapes::GisExtent m_extent;
};

} // namespace Cartolith::Core::Layers
