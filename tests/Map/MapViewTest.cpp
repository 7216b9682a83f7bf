#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Map/GroundScale.h>
#include <Cartolith/Map/MapView.h>

#include <gtest/gtest.h>

#include <cmath>

using Cartolith::Core::CoordinateSystems::CoordinateSystemFactory;
using Cartolith::Core::Shapes::GisExtent;
using Cartolith::Map::GroundScale;
using Cartolith::Map::MapView;

namespace {

const QRectF window(0, 0, 800, 600);

double length(QPointF v) {
    return std::hypot(v.x(), v.y());
}

} // namespace

TEST(MapView, RotatesClockwiseOnThePicture) {
    const MapView view = MapView({-4, -3, 4, 3}, window).rotated(90.0, window.center());
    EXPECT_EQ(view.toPixel(0, 1), QPointF(500, 300)); // north is to the right
    EXPECT_EQ(view.toPixel(1, 0), QPointF(400, 400)); // and east below
    EXPECT_EQ(view.rotated(270.0, window.center()).rotation(), 0.0);
    EXPECT_EQ(view.rotated(90.0, window.center()).rotation(), -180.0);
    // All of a wide extent is still there when it is turned.
    const MapView fitted = view.fitted({-4, -1, 4, 1});
    EXPECT_DOUBLE_EQ(fitted.unitsPerPixel(), 8.0 / 600.0);
    EXPECT_DOUBLE_EQ(fitted.fitted({-4, -1, 4, 1}, 0.25).unitsPerPixel(), 12.0 / 600.0);
}

// Whatever moves the view: pixels lead to places and back, and the anchor stays.
TEST(MapView, AnchorsStay) {
    const struct {
        const char* name;
        GisExtent extent;
        QRectF frame;
    } rows[] = {
        {"degrees", {-180, -90, 180, 90}, window},
        {"one metre", {674000.25, 6397000.25, 674001.25, 6397001.25}, window},
        {"the whole world in metres", {-2e7, -2e7, 2e7, 2e7}, window},
        {"part of a sheet", {0, 0, 10, 10}, {120.5, 33.25, 401.5, 77.5}},
        {"one place", {12, 57, 12, 57}, window},
        {"one pixel", {0, 0, 1, 1}, {5, 5, 1, 1}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const MapView start(row.extent, row.frame);
        ASSERT_TRUE(start.isUsable());
        const QPointF anchor = row.frame.topLeft() + QPointF(row.frame.width() * 0.9, row.frame.height() * 0.2);
        const QPointF place = start.toMap(anchor);
        const double tolerance = 1e-6;
        EXPECT_LT(length(start.zoomed(1.7, anchor).toPixel(place) - anchor), tolerance);
        EXPECT_DOUBLE_EQ(start.zoomed(1.7, anchor).unitsPerPixel(), start.unitsPerPixel() / 1.7);
        EXPECT_LT(length(start.rotated(33.0, anchor).toPixel(place) - anchor), tolerance);
        EXPECT_LT(length(start.rotated(33.0, anchor).panned({7, -5}).toPixel(place) - anchor - QPointF(7, -5)),
                  tolerance);
        EXPECT_LT(length(start.rotated(200.0, anchor).zoomed(0.3, {1, 2}).withPlaceAt(place, {3, 4}).toPixel(place) -
                         QPointF(3, 4)),
                  tolerance);
        const MapView fine = start.rotated(-70.0, anchor).withDevicePixelRatio(2.0);
        EXPECT_LT(length(fine.toPixel(place) - 2.0 * anchor), 2 * tolerance);
        EXPECT_EQ(fine.dotsPerInch(), 192.0);
        const GisExtent visible = fine.visibleExtent();
        EXPECT_TRUE(visible.contains(Cartolith::Core::Shapes::GisShapePoint(place.x(), place.y())));
        const QPointF middle = start.inFrame({0, 0, 50, 40}).toMap({25, 20});
        EXPECT_LT(length(middle - start.center()), 1e-9 * (1.0 + length(start.center())));
    }
}

TEST(MapView, WhatCannotBeUsedSaysSo) {
    const double nan = std::nan("");
    const struct {
        const char* name;
        GisExtent extent;
        QRectF frame;
    } rows[] = {
        {"nothing", GisExtent(), window},
        {"half NaN", {0, 0, nan, 1}, window}, // NaN in the second corner is passed over
        {"infinite", {0, 0, INFINITY, 1}, window},
        {"beyond all numbers", {-1e308, 0, 1e308, 1}, window},
        {"no width", {0, 0, 1, 1}, {0, 0, 0, 600}},
        {"no height", {0, 0, 1, 1}, {0, 0, 800, 0}},
        {"a negative size", {0, 0, 1, 1}, {0, 0, -8, 6}},
        {"a frame of no whole numbers", {0, 0, 1, 1}, {0, 0, 1e10, 10}},
        {"a frame far away", {0, 0, 1, 1}, {-4e9, 0, 800, 600}},
        {"a NaN frame", {0, 0, 1, 1}, {0, 0, nan, 6}},
        {"finer than coordinates", {1e15, 0, 1e15 + 1, 1}, window},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const MapView view(row.extent, row.frame);
        EXPECT_EQ(view.isUsable(), std::string_view(row.name) == "half NaN");
        const MapView moved = view.zoomed(2, {1, 1}).panned({3, 4}).rotated(5, {6, 7}).rotated(nan, {6, 7});
        EXPECT_EQ(moved.isUsable(), view.isUsable());
        EXPECT_TRUE(moved.inFrame(window).fitted({0, 0, 1, 1}).isUsable());
    }
    EXPECT_FALSE(MapView().isUsable());
    const MapView view({0, 0, 1, 1}, window);
    for (const double factor : {0.0, -2.0, nan, double(INFINITY), 1e300, 1e-310}) {
        EXPECT_EQ(view.zoomed(factor, {700, 20}), view) << factor;
    }
    EXPECT_EQ(view.withDevicePixelRatio(0.0), view);
    EXPECT_EQ(view.withDevicePixelRatio(nan), view);
}

// A metre of ground at the centre against tables of the ellipsoid: a degree of longitude is 111,319.49 m at the
// equator and 55,800 m at 60 degrees north; Web Mercator doubles lengths there.
TEST(MapView, ScaleIsTrueOnTheGround) {
    const struct {
        const char* name;
        int epsg;
        QPointF center;
        double metersPerUnit;
    } rows[] = {
        {"degrees at the equator", 4326, {0, 0}, 111319.4908},
        {"degrees in the north", 4326, {10, 60}, 55800.0},
        {"degrees at the pole", 4326, {0, 90}, 111694.0},
        {"degrees at the antimeridian", 4326, {180, 0}, 111319.4908},
        {"Web Mercator at the equator", 3857, {0, 0}, 1.0},
        {"Web Mercator in the north", 3857, {1113194.9079, 8399737.8898}, 55800.0 / 111319.4908},
        {"UTM on its meridian", 32633, {500000, 6000000}, 1.0 / 0.9996},
        {"feet of a state plane", 2225, {6561666.667, 1640416.667}, 0.3048006},
        {"no system", 0, {3, 4}, 1.0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const GroundScale ground(row.epsg == 0 ? nullptr : CoordinateSystemFactory::fromEpsg(row.epsg));
        const double tolerance = row.epsg == 2225 ? 3e-4 : 2e-5; // what the plane distorts there
        const MapView view = MapView(
            {row.center.x() - 1e-3, row.center.y() - 1e-3, row.center.x() + 1e-3, row.center.y() + 1e-3}, window);
        const double metersPerUnit = ground.metersPerUnitAt(row.center.x(), row.center.y());
        EXPECT_NEAR(metersPerUnit / row.metersPerUnit, 1.0, tolerance);
        EXPECT_NEAR(view.scaleDenominator(ground) / (view.unitsPerPixel() * row.metersPerUnit / 0.0254 * 96.0), 1.0,
                    tolerance);
        const MapView there = view.rotated(30, window.center()).atScale(50000.0, ground);
        EXPECT_NEAR(there.scaleDenominator(ground), 50000.0, 1e-6);
        EXPECT_NEAR(there.withDevicePixelRatio(3.0).scaleDenominator(ground), 50000.0, 1e-6);
        EXPECT_NEAR(there.withDotsPerInch(300.0).scaleDenominator(ground), 50000.0 * 300.0 / 96.0, 1e-6);
        EXPECT_TRUE(std::isnan(ground.metersPerUnitAt(std::nan(""), 0.0)));
    }
    const GroundScale lambert(CoordinateSystemFactory::fromEpsg(3857));
    const MapView away({1e300, 0, 1.1e300, 1}, window);
    EXPECT_TRUE(std::isnan(away.scaleDenominator(lambert)));
    EXPECT_EQ(away.atScale(1000.0, lambert), away);
}
