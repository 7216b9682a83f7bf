#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/GisFeatureFilter.h>
#include <Cartolith/Core/Shapes/GisExtent.h>

#include <QList>
#include <QString>
#include <QStringList>

#include <chrono>
#include <memory>
#include <optional>

namespace Cartolith::Core::CoordinateSystems {
class CoordinateSystem;
}

namespace Cartolith::Core::Layers {

/// What is asked of a layer or a data source: which features, what of them, and in which order. As it is made
/// it asks for everything. A value; GisFeatureReader gives the answer.
struct CARTOLITH_CORE_EXPORT GisFeatureRequest {
    enum class Geometry { Wanted, NotWanted };
    struct Order {
        QString field;
        Qt::SortOrder direction = Qt::AscendingOrder;
    };
    /// How long a server may take, for sources that are servers; zero is as long as it likes. What the
    /// source's own text says of these stands.
    struct ServerLimits {
        std::chrono::milliseconds connect{};   ///< to answer at all; in whole seconds, at least two
        std::chrono::milliseconds statement{}; ///< for one statement
        std::chrono::milliseconds silence{};   ///< to acknowledge what was sent
    };

    /// What a picture needs of a large source. \see picture
    struct Picture {
        double unitsPerPixel = 0.0; ///< in units of the layer's own coordinate system
        qint64 most = 50'000;       ///< features that are wanted at most, as far as they can be spared
    };

    /// Features whose box meets this one: they may just touch. In the coordinate system of the answer. An
    /// empty one is met by none.
    std::optional<Shapes::GisExtent> extent;
    /// Features of these ids; none where the list is empty. In whatever order, and however often each.
    std::optional<QList<qint64>> featureIds;
    /// Of the features that the extent and the ids leave, those that the filter wants.
    GisFeatureFilter filter;

    /// The fields that the answer has: all of the layer's, or these. Names of no field are passed over.
    std::optional<QStringList> fields;
    /// Without it, features are the same ones, and GisFeatureReader::shape() is null.
    Geometry geometry = Geometry::Wanted;
    /// Shapes are simplified as by GisShape::simplify(), with this tolerance in units of the answer; one of
    /// which nothing would remain stays as it is.
    double tolerance = 0.0;
    /// The coordinate system of the answer; null for that of the layer.
    ///
    /// Where it is another, the layer is asked for what meets the box, in its own system, around 21 by 21
    /// points of the extent, made larger by a twentieth on each side; of that, the answer has those shapes
    /// that meet the extent when they are transformed. Where one of the points has no place there, the extent
    /// asks for everything. Features that cannot be transformed are left out, and counted.
    std::shared_ptr<const CoordinateSystems::CoordinateSystem> coordinateSystem;

    /// By the first field, what is equal by the next..., at last by the order in the layer. Numbers come
    /// before dates, these before times and texts (by code point); what has no value comes last, in either
    /// direction. The answer is in memory until it is ordered; with a limit, no more features than that.
    QList<Order> order;
    /// At most so many features. \see order
    std::optional<qint64> limit;

    /// When set, features may be left out where more are to be expected in the extent than it wants, and
    /// GisFeatureReader::detail() says how. With overviews of the source as it is now (GisVectorOverviews),
    /// the answer is what they have at that scale, coarsened; a filter sees it as it is there. Without, it is
    /// a sample, evenly spread over the source: where features are found by their ids at once (GeoPackage,
    /// SQLite, FlatGeobuf with an index, Shapefile; ids without many gaps), so many are read of the whole and
    /// those in the extent given; other sources are read through, twice for an extent where they do not
    /// know their own, and one that does not know how many features it has gives the first. A layer
    /// (GisLayerVector::read()) and a request with ids give everything.
    std::optional<Picture> picture;

    ServerLimits limits;

    /// The tolerance for a picture at 1:denominator with so many pixels to the inch: half a pixel, in units
    /// of the system, where a degree is as long as on the equator. Zero when the scale makes no sense.
    static double toleranceForScale(double denominator, const CoordinateSystems::CoordinateSystem& system,
                                    double pixelsPerInch = 96.0);
};

} // namespace Cartolith::Core::Layers
