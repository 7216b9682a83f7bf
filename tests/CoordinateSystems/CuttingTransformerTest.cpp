#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/CoordinateSystems/CuttingTransformer.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Topology/GisTopology.h>

#include <gdal_priv.h>
#include <gtest/gtest.h>

#include <DataFolder.h>
#include <cmath>
#include <limits>
#include <map>
#include <numbers>

using namespace Cartolith::Core;
using namespace Cartolith::Core::CoordinateSystems;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double radius = 6'370'000.0;

std::shared_ptr<CoordinateSystem> systemOf(const QString& text) {
    return CoordinateSystemFactory::fromUserInput(text);
}

std::unique_ptr<Layers::GisLayerOgrVector> layerOf(const char* name) {
    GDALAllRegister();
    auto layer = std::make_unique<Layers::GisLayerOgrVector>(QString(CARTOLITH_DATA_DIR "/") + name);
    layer->open();
    return layer;
}

const QList<QList<GisShapePoint>>& ringsOf(const GisShape& shape) {
    return dynamic_cast<const GisShapePolygon&>(shape).parts();
}

bool areClosed(const GisShape& shape) {
    return std::all_of(ringsOf(shape).begin(), ringsOf(shape).end(), [](const auto& ring) {
        return ring.size() > 3 && ring.front().x() == ring.back().x() && ring.front().y() == ring.back().y();
    });
}

TEST(CuttingTransformer, CountriesKeepTheirAreasAndArePutTogether) {
    const auto degrees = systemOf("EPSG:4326");
    const auto world = layerOf("world-countries.gpkg");
    struct Row {
        const char* country;
        const char* target;
        int rings; // 0: nothing to be seen
        double kept = 1.0;
    };
    const char* const pacific = "+proj=ortho +lat_0=60 +lon_0=100 +datum=WGS84";
    // Russia has 14 parts, two of them cut in two by the antimeridian; Fiji 3, one of them cut.
    for (const Row& row :
         {Row{"Russian Federation", "EPSG:3035", 12}, Row{"Russian Federation", "EPSG:8857", 14},
          Row{"Russian Federation", "EPSG:3857", 14}, Row{"Russian Federation", "EPSG:3995", 12},
          Row{"Russian Federation", "EPSG:3031", 12}, Row{"Russian Federation", pacific, 12},
          Row{"Russian Federation", "+proj=eqearth +lon_0=100", 12}, Row{"Russian Federation", "EPSG:32633", 12},
          Row{"Fiji", "EPSG:3035", 2}, Row{"Fiji", "EPSG:8857", 3}, Row{"Fiji", "EPSG:3857", 3},
          Row{"Fiji", "EPSG:3995", 2}, Row{"Fiji", "EPSG:3031", 2}, Row{"Fiji", pacific, 0},
          Row{"Antarctica", "EPSG:3035", 8}, Row{"Antarctica", "EPSG:8857", 8},
          // 6.9 % lie south of 85.05 degrees, and the Ross sea comes between two parts there
          Row{"Antarctica", "EPSG:3857", 9, 0.931},
          Row{"Antarctica", "EPSG:3995", 9}, // its own ring, and the end of the map as another
          Row{"Antarctica", "EPSG:3031", 8}, Row{"Antarctica", pacific, 0}}) {
        SCOPED_TRACE(testing::Message() << row.country << " " << row.target);
        const auto target = systemOf(row.target);
        CuttingTransformer cut(*degrees, *target, 1000.0);
        for (const auto& shape : world->items()) {
            if (shape->attributeValue("name_long") != QString(row.country)) {
                continue;
            }
            const auto result = cut.transformShape(*shape);
            ASSERT_EQ(result != nullptr, row.rings > 0);
            if (result == nullptr) {
                continue;
            }
            EXPECT_TRUE(areClosed(*result));
            EXPECT_EQ(ringsOf(*result).size(), row.rings);
            EXPECT_EQ(result->attributeValue("name_long"), QString(row.country));
            const double area = Topology::GisTopology::GeodesicArea(*shape, *degrees);
            EXPECT_NEAR(Topology::GisTopology::GeodesicArea(*result, *target) / area, row.kept, 0.01);
        }
    }
}

TEST(CuttingTransformer, AreasOnASphereAreThoseOfGeometry) {
    const double disc = std::numbers::pi * radius * radius;
    struct Row {
        const char* name;
        const char* wkt;
        const char* projection;
        int rings;
        double area; // of a disc with the radius of the sphere
    };
    const char* const world = "POLYGON ((-180 -90, 180 -90, 180 90, -180 90, -180 -90))";
    const char* const east = "POLYGON ((0 -90, 180 -90, 180 90, 0 90, 0 -90))";
    // From 30 degrees north to the pole it is a quarter of the sphere, one disc: the share of 20 degrees.
    const double box = 20.0 / 360.0;
    for (const Row& row : {
             Row{"world, seen", world, "ortho +lat_0=30 +lon_0=40", 1, 1.0},
             Row{"world, all", world, "laea +lat_0=-20 +lon_0=200", 1, 4.0},
             Row{"world, equal areas", world, "cea +lon_0=77", 1, 4.0},
             Row{"half of it", east, "ortho", 1, 0.5},
             Row{"the other half is beyond", east, "ortho +lon_0=-90", 0, 0.0},
             Row{"half, turned", east, "cea +lon_0=100", 1, 2.0},
             Row{"half, in two", east, "cea +lon_0=-60", 2, 2.0},
             Row{"longitudes go on", "POLYGON ((170 30, 190 30, 190 90, 170 90, 170 30))", "cea", 2, box},
             Row{"the long way", "POLYGON ((170 30, -170 30, -170 90, 170 90))", "laea +lat_0=90", 1, 17.0 * box},
             Row{"over 350 degrees", "POLYGON ((176 30, -176 30, -176 90, 176 90, 176 30))", "cea", 2, 0.4 * box},
             Row{"round a pole", "POLYGON ((-180 30, -60 30, 60 30, 179 30, -180 30))", "laea +lat_0=80", 1, 1.0},
             Row{"round a pole, in a strip", "POLYGON ((-180 30, -60 30, 60 30, 179 30, -180 30))", "cea +lon_0=77", 1,
                 1.0},
             Row{"round the other", "POLYGON ((179 -30, 60 -30, -60 -30, -180 -30, 179 -30))", "cea +lon_0=77", 1, 1.0},
             Row{"belt of two edges", "POLYGON ((-180 0, 180 0, 180 30, -180 30, -180 0))", "cea +lon_0=77", 1, 1.0},
             Row{"world but a box",
                 "POLYGON ((-180 -90, 180 -90, 180 90, -180 90, -180 -90), (0 0, 20 0, 20 30, 0 30, 0 0))",
                 "cea +lon_0=90", 2, 4.0 - box},
             Row{"all but a box",
                 "POLYGON ((-180 -90, 180 -90, 180 90, -180 90, -180 -90), "
                 "(170 30, 179 30, 179 90, 170 90, 170 30))",
                 "laea +lat_0=30 +lon_0=174", 2, 4.0 - 0.45 * box},
             Row{"hole over the end",
                 "POLYGON ((90 -90, 270 -90, 270 90, 90 90, 90 -90), "
                 "(170 30, 190 30, 190 60, 170 60, 170 30))",
                 "cea", 2, 2.0 - 0.73205 * box},
         }) {
        SCOPED_TRACE(row.name);
        const QString sphere = QStringLiteral("+R=6370000 +no_defs");
        const auto target = systemOf("+proj=" + QString(row.projection) + " " + sphere);
        CuttingTransformer cut(*systemOf("+proj=longlat " + sphere), *target, 1000.0);
        GisShapePolygon polygon;
        polygon.fromWkt(row.wkt);
        const auto result = cut.transformShape(polygon);
        ASSERT_EQ(result != nullptr, row.rings > 0);
        if (result != nullptr) {
            EXPECT_EQ(ringsOf(*result).size(), row.rings);
            EXPECT_TRUE(areClosed(*result));
            EXPECT_NEAR(Topology::GisTopology::Area(*result) / disc, row.area, 2e-3);
        }
    }
}

TEST(CuttingTransformer, EdgesStayOnTheImagesOfLines) {
    const auto degrees = systemOf("EPSG:4326");
    constexpr double tolerance = 2000.0;
    for (const char* const name :
         {"EPSG:3035", "EPSG:8857", "EPSG:3857", "EPSG:3995", "EPSG:3031", "EPSG:32633", "EPSG:2154", "EPSG:27700",
          "EPSG:2056", "+proj=ortho +lat_0=40 +lon_0=-170", "+proj=gnom +lat_0=-30 +lon_0=20",
          "+proj=nsper +h=3000000 +lat_0=10 +lon_0=170", "+proj=aeqd +lat_0=51 +lon_0=7"}) {
        SCOPED_TRACE(name);
        const auto target = systemOf(name);
        CuttingTransformer cut(*degrees, *target, tolerance);
        const CoordinateTransformer there(*degrees, *target);
        const CoordinateTransformer back(*target, *degrees);
        int edges = 0;
        for (int degree = -165; degree <= 180; degree += 15) {
            for (const bool isMeridian : {true, false}) {
                if (!isMeridian && std::abs(degree) > 89) {
                    continue;
                }
                const double d = degree;
                const std::vector<double> line =
                    isMeridian ? std::vector<double>{d, -90, d, 0, d, 90} : std::vector<double>{-180, d, 180, d};
                const std::vector<qsizetype> ends{static_cast<qsizetype>(line.size() / 2)};
                CutParts parts;
                cut.lines(line, ends, parts);
                std::size_t at = 0;
                for (const qsizetype end : parts.ends) {
                    for (++at; at < static_cast<std::size_t>(end); ++at, ++edges) {
                        const double* const c = &parts.coordinates[2 * at - 2];
                        const GisShapePoint middle((c[0] + c[2]) / 2, (c[1] + c[3]) / 2);
                        const GisShapePoint place = back.transform(middle);
                        const GisShapePoint onLine(isMeridian ? d : place.x(), isMeridian ? place.y() : d);
                        const GisShapePoint image = there.transform(onLine);
                        // Where the map is drawn out one way, the same longitude is far along the line.
                        const double off = isMeridian
                                               ? std::remainder(place.x() - d, 360.0) * std::cos(place.y() / 57.3)
                                               : place.y() - d;
                        const bool isNear = std::hypot(image.x() - middle.x(), image.y() - middle.y()) < 10 * tolerance;
                        ASSERT_TRUE(isNear || std::abs(off) < 1.5)
                            << degree << (isMeridian ? " east" : " north") << " at " << place.x() << " " << place.y();
                    }
                }
            }
        }
        EXPECT_GT(edges, 0);
    }
}

TEST(CuttingTransformer, AnEdgeMayLeaveTheMapAndComeBackOnOneSide) {
    const auto degrees = systemOf("EPSG:4258");
    const auto source = systemOf("EPSG:3035");
    const auto target = systemOf("+proj=cea +lon_0=-150 +datum=WGS84"); // both have equal areas; it ends at 30 east
    const CoordinateTransformer toSource(*degrees, *source);
    const CoordinateTransformer toTarget(*source, *target);
    constexpr double tolerance = 20.0;
    CuttingTransformer cut(*source, *target, tolerance);
    struct Row {
        const char* name;
        double longitude; // of both ends; the edge is bent to the west
        double south;
        double north;
        std::size_t parts;
    };
    for (const Row& row : {Row{"beside the end", 29.7, 40, 70, 1}, Row{"across and back", 30.3, 40, 70, 3},
                           Row{"between two degrees", 30.0001, 60, 60.5, 3},
                           Row{"a metre across", 30.00036, 60, 60.9, 3}, Row{"not across", 30.003, 60, 61.5, 1}}) {
        SCOPED_TRACE(row.name);
        const GisShapePoint a = toSource.transform({row.longitude, row.south});
        const GisShapePoint b = toSource.transform({row.longitude, row.north});
        CutParts parts;
        cut.lines(std::vector<double>{a.x(), a.y(), b.x(), b.y()}, std::vector<qsizetype>{2}, parts);
        EXPECT_EQ(parts.ends.size(), row.parts);
        GisShapePolyline line;
        std::size_t at = 0;
        for (const qsizetype end : parts.ends) {
            line.parts().emplaceBack();
            for (; at < static_cast<std::size_t>(end); ++at) {
                line.parts().last().emplaceBack(parts.coordinates[2 * at], parts.coordinates[2 * at + 1]);
                const auto& part = line.parts().last();
                EXPECT_LT(std::abs(part.last().x() - part.first().x()), 1e6) << "across the map";
            }
        }
        for (double share = 0.0; share <= 1.0; share += 0.01) {
            const GisShapePoint place(a.x() + (b.x() - a.x()) * share, a.y() + (b.y() - a.y()) * share);
            EXPECT_TRUE(line.contains(toTarget.transform(place), tolerance)) << share;
        }
        const GisShapePoint west((a.x() + b.x()) / 2 - 1e5, (a.y() + b.y()) / 2);
        GisShapePolygon triangle;
        triangle.parts().append({a, b, west, a});
        const double outline = 2.0 * std::hypot(b.x() - a.x(), b.y() - a.y()) + 2e5;
        EXPECT_NEAR(Topology::GisTopology::Area(*cut.transformShape(triangle)), Topology::GisTopology::Area(triangle),
                    tolerance * outline);
    }
}

TEST(CuttingTransformer, AnEdgeMayPassTheOppositePlaceOrAPole) {
    const char* const america = "laea +lat_0=45 +lon_0=-100"; // its opposite place is at 80 east, 45 south
    struct Row {
        const char* name;
        const char* source;
        const char* target;
        const char* wkt;
    };
    for (const Row& row :
         {Row{"through the opposite place", "longlat", america, "POLYGON ((71.3 -45, 91.3 -45, 80 -60, 71.3 -45))"},
          Row{"just below it", "longlat", america, "POLYGON ((71.3 -45.02, 91.3 -45.02, 80 -60, 71.3 -45.02))"},
          Row{"a few km below it", "longlat", america, "POLYGON ((71.3 -45.05, 91.3 -45.05, 80 -60, 71.3 -45.05))"},
          Row{"above it", "longlat", america, "POLYGON ((71.3 -44.92, 91.3 -44.92, 80 -60, 71.3 -44.92))"},
          Row{"from a polar map to the other", "laea +lat_0=-90 +lon_0=-80", "laea +lat_0=90 +lon_0=12.08",
              "POLYGON ((523910.9 -1799572.5, -497293.4 1748991, -1672533.3 -116547.2, 523910.9 -1799572.5))"},
          Row{"over the pole, but for rounding", "laea +lat_0=90 +lon_0=-70", "cea +lon_0=4.06998882517",
              "POLYGON ((-42386.94907541365 220646.03479245183, 34370.731785404772 -178917.46980589782, "
              "-144767.3708411814 -14157.045102652226, -42386.94907541365 220646.03479245183))"},
          Row{"along the end to the pole", "laea +lat_0=90 +lon_0=-150", "sinu +lon_0=120",
              "POLYGON ((2981022.4282882479 0, -2846356.628067086 0, 0 -1165521.3563219497, 2981022.4282882479 0))"}}) {
        SCOPED_TRACE(row.name);
        const auto source = systemOf(QStringLiteral("+datum=WGS84 +proj=") + row.source);
        const auto target = systemOf(QStringLiteral("+datum=WGS84 +proj=") + row.target);
        const auto strip = systemOf("+datum=WGS84 +proj=cea +lon_0=80");
        GisShapePolygon polygon;
        polygon.fromWkt(row.wkt);
        const auto areaIn = [&](const CoordinateSystem& system) {
            return Topology::GisTopology::Area(*CuttingTransformer(*source, system, 100.0).transformShape(polygon));
        };
        const double area = source->isGeographic() ? areaIn(*strip) : Topology::GisTopology::Area(polygon);
        EXPECT_NEAR(areaIn(*target) / area, 1.0, 0.02);
    }
}

/// There a short edge may be long on the map, and bent both ways, so that its middle tells nothing.
TEST(CuttingTransformer, ShortEdgesNearAPoleOrTheEndAreBentAsFarAsTheToleranceAsks) {
    struct Row {
        const char* source;
        const char* target;
        double tolerance;
        std::vector<double> edge;
        double gapFrom = 2.0; // where the edge is beyond the end of the map
        double gapTo = 2.0;
    };
    for (const Row& row : {Row{"laea +lat_0=14.9869367 +lon_0=-164.095261",
                               "eqearth +lon_0=-30",
                               28.3,
                               {28748.433546256765, -10093163.604175422, -15067.717420637588, -10093163.604175422}},
                           Row{"longlat",
                               "laea +lon_0=98.1857821 +lat_0=81.1804254",
                               325.0,
                               {-81.458630481949584, -80.724170129974937, -82.27444720142887, -81.778957954360607},
                               0.366,
                               0.482},
                           Row{"laea +lat_0=-11.0523945 +lon_0=-25.4435273",
                               "moll +lon_0=-159.798477",
                               29.8,
                               {729121.91476654471, 10071385.111550102, -1026469.8913478495, 9468441.9643433839}}}) {
        SCOPED_TRACE(row.target);
        const auto source = systemOf(QStringLiteral("+datum=WGS84 +proj=") + row.source);
        const auto target = systemOf(QStringLiteral("+datum=WGS84 +proj=") + row.target);
        GisShapePolyline line;
        line.parts() = {{{row.edge[0], row.edge[1]}, {row.edge[2], row.edge[3]}}};
        const auto result = CuttingTransformer(*source, *target, row.tolerance).transformShape(line);
        const CoordinateTransformer plain(*source, *target);
        for (int i = 0; i <= 2000; ++i) {
            const double at = i / 2000.0;
            if (at > row.gapFrom && at < row.gapTo) {
                continue;
            }
            const GisShapePoint image = plain.transform(GisShapePoint(row.edge[0] + (row.edge[2] - row.edge[0]) * at,
                                                                      row.edge[1] + (row.edge[3] - row.edge[1]) * at));
            ASSERT_TRUE(result->contains(image, 1.1 * row.tolerance)) << at;
        }
    }
}

/// So near that there are no degrees for some of the edge.
TEST(CuttingTransformer, AnEdgeThatPassesAPoleByAMillimetreMeetsTheSeamThere) {
    const auto degrees = systemOf("EPSG:4326");
    CuttingTransformer transformer(*systemOf("EPSG:3035"), *degrees, 1e-4);
    for (const char* const wkt :
         {"LINESTRING (4391710.6774115479 7440426.9342917418, 4200791.8464911804 7249508.1033713743)",
          "LINESTRING (4224407.4173710933 7395598.1599762328, 4485207.3904691413 7325717.0177985523)",
          "LINESTRING (4407602.5403779438 7419716.2554668467, 4173775.6813561451 7284716.2554668467)"}) {
        SCOPED_TRACE(wkt);
        GisShapePolyline line;
        line.fromWkt(wkt);
        const auto result = transformer.transformShape(line);
        int atSeam = 0;
        for (const auto& part : static_cast<const GisShapePolyline&>(*result).parts()) {
            for (const GisShapePoint& vertex : part) {
                if (std::abs(vertex.x()) == 180.0) {
                    ++atSeam;
                    EXPECT_GT(vertex.y(), 89.999);
                }
            }
        }
        EXPECT_GT(atSeam, 0);
    }
}

TEST(CuttingTransformer, WhatNeedsNoCutIsTransformedPlainly) {
    const auto counties = layerOf("us-counties.gpkg");
    const auto& degrees = *counties->coordinateSystem();
    for (const char* const name : {"EPSG:5070", "EPSG:3857", "EPSG:32614", "EPSG:3035"}) {
        SCOPED_TRACE(name);
        const auto target = systemOf(name);
        const CoordinateTransformer plain(degrees, *target);
        CuttingTransformer asIs(degrees, *target, std::numeric_limits<double>::infinity());
        CuttingTransformer bent(degrees, *target, 5.0);
        CuttingTransformer back(*target, degrees, std::numeric_limits<double>::infinity());
        for (std::size_t i = 0; i < counties->items().size(); i += 40) {
            const GisShape& county = *counties->items()[i];
            const auto expected = plain.transformShape(county);
            EXPECT_EQ(asIs.transformShape(county)->toWkt().toStdString(), expected->toWkt().toStdString());
            const auto result = bent.transformShape(county);
            GisShapePolyline outline;
            outline.parts() = ringsOf(*result);
            for (const auto& ring : ringsOf(county)) {
                for (qsizetype v = 1; v < ring.size(); ++v) {
                    const GisShapePoint middle((ring[v - 1].x() + ring[v].x()) / 2,
                                               (ring[v - 1].y() + ring[v].y()) / 2);
                    const GisShapePoint image = plain.transform(middle);
                    ASSERT_TRUE(outline.contains(image, 5.0)) << i << " " << v;
                }
            }
            const auto returned = back.transformShape(*expected);
            const double area = Topology::GisTopology::Area(county);
            EXPECT_NEAR(Topology::GisTopology::Area(*returned), area, 1e-9 * area);
        }
    }
}

TEST(CuttingTransformer, PointsAndVerticesWithoutImageAreCounted) {
    const auto degrees = systemOf("EPSG:4326");
    CuttingTransformer seen(*degrees, *systemOf("+proj=ortho +lat_0=0 +lon_0=0 +datum=WGS84"), 1000.0);
    CutParts parts;
    const std::vector<double> places{0, 0, 170, 0, nan, 1, 1e300, 0, 0, 89, 350, 1};
    const std::vector<qsizetype> groups{1, 4, 4, 6};
    seen.points(places, groups, parts);
    EXPECT_EQ(parts.ends, (std::vector<qsizetype>{1, 1, 1, 3}));
    EXPECT_EQ(parts.dropped, 3);

    CuttingTransformer mercator(*degrees, *systemOf("EPSG:3857"), 1000.0);
    struct Row {
        const char* name;
        std::vector<double> line;
        std::vector<qsizetype> ends;
        qsizetype dropped;
        bool isCut;
    };
    for (const Row& row :
         {Row{"over the antimeridian", {170, 0, 190, 0}, {2, 4}, 0, true},
          Row{"the short way", {179, 10, -179, 10}, {2, 4}, 0, true},
          Row{"to it and along it", {170, 0, 180, 0, 180, 10, 170, 10}, {4}, 0, false},
          Row{"from it", {-180, 0, -180, 10, -170, 10}, {3}, 0, false},
          Row{"on the other side of it", {190, 10, 180, 10, 180, 0}, {3}, 0, false},
          Row{"a gap", {0, 0, 1, 1, nan, 0, 2, 2, 3, 3}, {2, 4}, 1, false},
          Row{"nothing", {1, 1, nan, 0}, {}, 1, false}, Row{"beyond the end", {0, 88, 50, 89}, {}, 0, true}}) {
        SCOPED_TRACE(row.name);
        mercator.lines(row.line, std::vector<qsizetype>{static_cast<qsizetype>(row.line.size() / 2)}, parts);
        EXPECT_EQ(parts.ends, row.ends);
        EXPECT_EQ(parts.dropped, row.dropped);
        EXPECT_EQ(parts.isCut, row.isCut);
        for (std::size_t i = 2; i < parts.coordinates.size() && !parts.isCut; i += 2) {
            EXPECT_LT(std::abs(parts.coordinates[i] - parts.coordinates[i - 2]), 2e6) << "across the map";
        }
    }
    EXPECT_THROW(mercator.lines(places, std::vector<qsizetype>{5}, parts), std::invalid_argument);
    EXPECT_THROW(mercator.rings(places, std::vector<qsizetype>{6, 5, 6}, parts), std::invalid_argument);
    EXPECT_THROW(mercator.setTolerance(0.0), std::invalid_argument);
    EXPECT_THROW(mercator.setTolerance(nan), std::invalid_argument);
    EXPECT_THROW(mercator.setFinerWithin({0, 0, 1, 1}, nan), std::invalid_argument);
    mercator.rings(std::vector<double>{1, 1, 1, 1, 1, 1, 1, 1}, std::vector<qsizetype>{4}, parts);
    EXPECT_EQ(parts.ends.size(), 0U) << "a ring of one place";
    // A circle, and a ring millions of turns away, which is where it is without the turns.
    std::vector<double> rings;
    for (int i = 0; i < 1000; ++i) {
        rings.insert(rings.end(), {180 + 10 * std::cos(i * 0.0062), 10 * std::sin(i * 0.0062)});
    }
    rings.insert(rings.end(), {3.6e9, -50, 3.6e9 + 10, -50, 3.6e9 + 10, -40});
    mercator.rings(rings, std::vector<qsizetype>{1000, 1003}, parts);
    EXPECT_EQ(parts.ends.size(), 3U);
    EXPECT_EQ(mercator.transformShape(GisShapePolygon()), nullptr);
    const CoordinateSystem unusable(0, "Nowhere", true, " ", std::nullopt);
    EXPECT_THROW(CuttingTransformer(*degrees, unusable, 1.0), std::runtime_error);
}

} // namespace
