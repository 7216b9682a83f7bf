#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Map/Furniture/DegreeFrame.h>
#include <Cartolith/Map/Furniture/NorthArrow.h>
#include <Cartolith/Map/Furniture/ScaleBar.h>
#include <Cartolith/Map/Graticule.h>
#include <Cartolith/Map/GroundScale.h>
#include <Cartolith/Map/Projection.h>

#include <QMap>
#include <QSet>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

using namespace Cartolith::Core;
using namespace Cartolith::Map;
using namespace Cartolith::Map::Furniture;
using CoordinateSystems::CoordinateSystemFactory;
using Shapes::GisExtent;
using Shapes::GisShapePoint;

namespace {

/// A view of so many degrees of latitude around a place, turned.
MapView viewAt(const CoordinateSystems::CoordinateSystem& system, const GisShapePoint& lonLat, double high,
               double turned) {
    const GisShapePoint middle = Projection::fromLonLat(lonLat, &system);
    const GisShapePoint top = Projection::fromLonLat({lonLat.x(), lonLat.y() + high / 2.0}, &system);
    const double reach = std::hypot(top.x() - middle.x(), top.y() - middle.y());
    const QRectF frame(0, 0, 1000, 1000);
    return MapView({middle.x() - reach, middle.y() - reach, middle.x() + reach, middle.y() + reach}, frame)
        .rotated(turned, frame.center());
}

/// On the sphere with the earth's radius there: exact enough for one part in three hundred.
double distance(const GisShapePoint& a, const GisShapePoint& b) {
    constexpr double radian = std::numbers::pi / 180.0;
    const double half =
        std::pow(std::sin((b.y() - a.y()) * radian / 2.0), 2) +
        std::cos(a.y() * radian) * std::cos(b.y() * radian) * std::pow(std::sin((b.x() - a.x()) * radian / 2.0), 2);
    return 2.0 * 6371008.8 * std::asin(std::sqrt(half));
}

TEST(ScaleBar, IsAsLongAsItSaysOnTheGround) {
    const struct {
        const char* crs;
        GisShapePoint lonLat;
        double turned;
    } rows[] = {
        {"EPSG:4326", {10, 0}, 0},    {"EPSG:4326", {10, 60}, 0},   {"EPSG:4326", {10, 60}, 90},
        {"EPSG:4326", {10, 60}, -30}, {"EPSG:3857", {10, 60}, 0},   {"EPSG:3857", {-170, -70}, 45},
        {"EPSG:32633", {15, 50}, 0},  {"EPSG:8857", {100, 40}, 20}, {"EPSG:2263", {-74, 40.7}, 0},
        {"EPSG:4326", {180, 30}, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.crs << " at " << row.lonLat.y() << ", turned " << row.turned);
        const auto system = CoordinateSystemFactory::fromUserInput(row.crs);
        const MapView view = viewAt(*system, row.lonLat, 0.1, row.turned);
        const double perPixel = ScaleBar::metersPerPixel(view, GroundScale(system));
        const ScaleBar bar(perPixel, ScaleUnits::Metric, 400, 12);
        ASSERT_FALSE(bar.ticks().isEmpty());
        const QPointF half(bar.length() / 2.0, 0);
        const QPointF middle = view.frame().center();
        const auto onEarth = [&](QPointF pixel) {
            const QPointF place = view.toMap(pixel);
            return Projection::toLonLat({place.x(), place.y()}, *system);
        };
        const QString last = bar.ticks().constLast().label;
        const double said = last.section(QChar(0xA0), 0, 0).remove(',').toDouble() * (last.endsWith("km") ? 1000 : 1);
        EXPECT_NEAR(distance(onEarth(middle - half), onEarth(middle + half)) / said, 1.0, 0.006);
    }
}

TEST(ScaleBar, TakesARoundNumberOfTheUnit) {
    const struct {
        double groundPerPixel;
        ScaleUnits units;
        double longest;
        QString labels; // and the length
    } rows[] = {
        {1, ScaleUnits::Metric, 199.9, "0 50 100 m: 100"},
        {1, ScaleUnits::Metric, 200, "0 100 200 m: 200"},
        {10, ScaleUnits::Metric, 199, "0 0.5 1.0 km: 100"},
        {1000, ScaleUnits::Metric, 60, "0 50 km: 50"},
        {0.001, ScaleUnits::Metric, 150, "0 5 10 cm: 100"},
        {1609.344, ScaleUnits::Imperial, 150, "0 50 100 mi: 100"},
        {3.048, ScaleUnits::Imperial, 150, "0 500 1,000 ft: 100"},
        {0.01, ScaleUnits::Degrees, 150, "0 0.5 1.0°: 100"},
        {1.0 / 600, ScaleUnits::Degrees, 150, "0 5 10′: 100"},
        {0, ScaleUnits::Metric, 200, ": 0"},
        {-1, ScaleUnits::Metric, 200, ": 0"},
        {std::nan(""), ScaleUnits::Metric, 200, ": 0"},
        {1e308, ScaleUnits::Metric, 200, ": 0"},
        {1, ScaleUnits::Metric, 0.5, ": 0"},
    };
    for (const auto& row : rows) {
        const ScaleBar bar(row.groundPerPixel, row.units, row.longest, 10);
        QStringList labels;
        for (const ScaleBar::Tick& tick : bar.ticks()) {
            labels.append(tick.label);
        }
        EXPECT_EQ(labels.join(' ').replace(QChar(0xA0), ' ') + ": " + QString::number(bar.length()), row.labels);
    }
}

TEST(NorthArrow, PointsToTheNorthOrSaysWhyNot) {
    const struct {
        const char* what;
        const char* crs;
        GisShapePoint lonLat;
        double turned;
        double angle; // NaN for none
    } rows[] = {
        {"degrees", "EPSG:4326", {10, 50}, 0, 0},
        {"turned", "EPSG:4326", {10, 50}, 30, 30},
        // The convergence of meridians: the tangent of the angle is that of the longitude's difference times the
        // sine of the latitude.
        {"UTM, west of its meridian", "EPSG:32633", {12, 50}, 0, 2.2988},
        {"UTM, south", "EPSG:32733", {12, -50}, 0, -2.2988},
        {"polar, along its meridian", "EPSG:3413", {-45, 70}, 0, 0},
        {"polar, the other side", "EPSG:3413", {135, 70}, 0, 180},
        {"a pole", "EPSG:3413", {0, 90}, 0, std::nan("")},
    };
    for (const auto& row : rows) {
        const auto system = CoordinateSystemFactory::fromUserInput(row.crs);
        const MapView view = row.lonLat.y() == 90 ? MapView({-1, -1, 1, 1}, QRectF(0, 0, 100, 100))
                                                  : viewAt(*system, row.lonLat, 0.1, row.turned);
        const NorthArrow arrow(system.get(), view);
        EXPECT_EQ(arrow.angle().has_value(), !std::isnan(row.angle)) << row.what;
        EXPECT_EQ(arrow.problem().isEmpty(), arrow.angle().has_value()) << row.what;
        if (arrow.angle()) {
            EXPECT_NEAR(std::remainder(*arrow.angle() - row.angle, 360.0), 0, 0.005) << row.what;
        }
    }
    const MapView view({0, 0, 1, 1}, QRectF(0, 0, 100, 100));
    EXPECT_FALSE(NorthArrow(nullptr, view).problem().isEmpty());
    const auto outside = CoordinateSystemFactory::fromUserInput("+proj=ortho +lat_0=40 +lon_0=10");
    EXPECT_FALSE(NorthArrow(outside.get(), MapView({1e7, 1e7, 2e7, 2e7}, QRectF(0, 0, 9, 9))).angle());
}

TEST(Graticule, IsWholeAndNotTornAcrossTheMap) {
    const struct {
        const char* what;
        const char* crs;
        GisExtent extent;
        bool hasOutline;
        double off = 1.0; // pixels
    } rows[] = {
        {"the world in degrees", "EPSG:4326", {-180, -90, 180, 90}, true},
        {"the world from its other side", "+proj=robin +lon_0=150", {-17e6, -8e6, 17e6, 8e6}, true},
        {"half the world",
         "+proj=ortho +lat_0=40 +lon_0=100",
         {-6.4e6, -6.4e6, 6.4e6, 6.4e6},
         true,
         10}, // seen edge-on at the horizon
        {"over the antimeridian", "EPSG:3832", {2.5e6, -3e6, 4.5e6, -1.5e6}, false},
        {"around a pole", "EPSG:3413", {-3e6, -3e6, 3e6, 3e6}, true},
        {"a town", "EPSG:32633", {400000, 5500000, 404000, 5504000}, false},
        {"a metre", "EPSG:32633", {400000, 5500000, 400001, 5500001}, false},
        {"nowhere", "EPSG:32633", {}, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const auto system = CoordinateSystemFactory::fromUserInput(row.crs);
        const MapView view(row.extent, QRectF(0, 0, 1000, 600));
        const Graticule graticule(*system, view);
        EXPECT_EQ(!graticule.worldOutline().isEmpty(), row.hasOutline);
        QSet<double> seen[2];
        for (const Graticule::Line& line : graticule.degreeLines()) {
            for (qsizetype i = 1; i < line.pixels.size(); ++i) {
                const QPointF from = line.pixels.at(i - 1);
                const QPointF middle = (from + line.pixels.at(i)) / 2.0;
                if (!QRectF(0, 0, 1000, 600).contains(middle)) {
                    continue;
                }
                seen[line.isMeridian ? 0 : 1].insert(line.degrees);
                // Half way along a piece, its longitude or latitude is what the line says, to a pixel.
                const QPointF place = view.toMap(middle);
                const GisShapePoint there = Projection::toLonLat({place.x(), place.y()}, *system);
                const GisShapePoint meant =
                    line.isMeridian ? GisShapePoint(line.degrees, there.y()) : GisShapePoint(there.x(), line.degrees);
                const GisShapePoint on = Projection::fromLonLat(meant, system.get());
                const QPointF off = view.toPixel(on.x(), on.y()) - middle;
                const bool isSeam = std::abs(line.degrees) == 180.0; // drawn at one end of the map
                ASSERT_TRUE(isSeam || std::hypot(off.x(), off.y()) < row.off)
                    << line.degrees << " at " << middle.x() << ", " << middle.y();
            }
        }
        for (const QSet<double>& lines : seen) {
            EXPECT_GE(lines.size(), view.isUsable() ? 3 : 0) << "close enough";
            EXPECT_LE(lines.size(), view.isUsable() ? 13 : 0) << "not too close";
        }
    }
}

TEST(DegreeFrame, LabelsWhatMeetsItsSides) {
    EXPECT_EQ(degreeText(-12.5, true, 0.5), "12°30′W");
    EXPECT_EQ(degreeText(59.99999999999, false, 1), "60°N") << "no 59°59′60″";
    EXPECT_EQ(degreeText(-0.00833333333333, false, 30.0 / 3600), "0°00′30″S");
    EXPECT_EQ(degreeText(1, true, 0.5 / 3600), "1°00′00.000″E");
    EXPECT_EQ(degreeText(180, true, 30) + degreeText(0, false, 30), "180°0°");

    const auto system = CoordinateSystemFactory::fromUserInput("EPSG:32633");
    const MapView view({400000, 5500000, 420000, 5510000}, QRectF(100, 50, 1000, 500));
    const Graticule graticule(*system, view);
    for (const int letters : {10, 40}) {
        const DegreeFrame frame(graticule, view.frame(), letters);
        QMap<DegreeFrame::Side, QList<double>> places;
        for (const DegreeFrame::Label& label : frame.labels()) {
            const bool isLevel = label.side == DegreeFrame::Side::Top || label.side == DegreeFrame::Side::Bottom;
            places[label.side].append(isLevel ? label.place.x() : label.place.y());
            // The label says where its tick is.
            const QPointF place = view.toMap(label.place);
            const GisShapePoint there = Projection::toLonLat({place.x(), place.y()}, *system);
            const double said = label.text.section(QChar(0xB0), 0, 0).toDouble() +
                                label.text.section(QChar(0xB0), 1).section(QChar(0x2032), 0, 0).toDouble() / 60.0;
            EXPECT_NEAR(isLevel ? there.x() : there.y(), said, 2e-5) << qPrintable(label.text);
            EXPECT_EQ(label.text.endsWith(isLevel ? 'E' : 'N'), true) << qPrintable(label.text);
        }
        EXPECT_EQ(places.size(), 4) << "all four sides";
        for (const QList<double>& side : std::as_const(places)) {
            for (qsizetype i = 2; i < side.size(); ++i) {
                EXPECT_NEAR(side[i] - side[i - 1], side[i - 1] - side[i - 2], 2) << "evenly";
            }
        }
        EXPECT_GE(places[DegreeFrame::Side::Top].size(), letters == 10 ? 6 : 2);
    }
}

} // namespace
