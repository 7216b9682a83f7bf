#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ogr_spatialref.h>

#include <limits>
#include <stdexcept>

using namespace Cartolith::Core;
using namespace Cartolith::Core::CoordinateSystems;
using Shapes::GisShapePoint;

namespace {

const CoordinateSystem unusable(0, "Nowhere", true, " ", std::nullopt);

/// The message of the runtime_error that the call throws; empty when it throws none.
template <typename Call>
std::string errorOf(Call call) {
    try {
        call();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return {};
}

TEST(CoordinateSystemFactory, GivesNullForWhatIsNoSystemAndPrintsNothing) {
    testing::internal::CaptureStderr();
    for (const int code : {0, -4326, 999999}) {
        EXPECT_EQ(CoordinateSystemFactory::fromEpsg(code), nullptr) << code;
    }
    for (const char* text : {"", "   ", "EPSG:999999", "no such thing", "GEOGCS[", "EPSG:5773" /* heights only */}) {
        EXPECT_EQ(CoordinateSystemFactory::fromUserInput(text), nullptr) << text;
    }
    EXPECT_FALSE(CoordinateSystemFactory::areaOfUse(unusable));
    EXPECT_FALSE(CoordinateSystemFactory::areEquivalent(unusable, unusable));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(CoordinateSystemFactory, DescribesTheSystem) {
    const auto degrees = CoordinateSystemFactory::fromEpsg(4326);
    ASSERT_NE(degrees, nullptr);
    EXPECT_EQ(degrees->epsgCode(), 4326);
    EXPECT_TRUE(degrees->isGeographic());
    EXPECT_EQ(degrees->metersPerUnit(), std::nullopt);
    EXPECT_TRUE(degrees->definition().startsWith("GEOGCS"));

    const auto feet = CoordinateSystemFactory::fromUserInput("  EPSG:2225 ");
    ASSERT_NE(feet, nullptr);
    EXPECT_TRUE(feet->isProjected());
    EXPECT_NEAR(feet->metersPerUnit().value_or(0), 0.3048006, 1e-7);

    const auto area = CoordinateSystemFactory::areaOfUse(*CoordinateSystemFactory::fromEpsg(3006));
    ASSERT_TRUE(area);
    EXPECT_NEAR(area->xMin(), 10.03, 0.2);

    const auto rebuilt = CoordinateSystemFactory::fromUserInput(degrees->definition());
    EXPECT_TRUE(CoordinateSystemFactory::areEquivalent(*degrees, *rebuilt));
    EXPECT_FALSE(CoordinateSystemFactory::areEquivalent(*degrees, *feet));
}

TEST(CoordinateSystemFactory, NamesAndUnitsHaveFallbacks) {
    OGRSpatialReference nameless;
    nameless.importFromProj4("+proj=utm +zone=33 +datum=WGS84");
    nameless.SetProjCS("");
    const auto system = CoordinateSystemFactory::fromSpatialReference(nameless);
    ASSERT_NE(system, nullptr);
    EXPECT_EQ(system->metersPerUnit(), 1.0);
    EXPECT_FALSE(system->name().isEmpty());
}

TEST(CoordinateTransformer, TakesXAsLongitude) {
    const CoordinateTransformer transformer(*CoordinateSystemFactory::fromEpsg(4326),
                                            *CoordinateSystemFactory::fromEpsg(3857));
    const GisShapePoint point = transformer.transform(GisShapePoint(29, 41));
    EXPECT_NEAR(point.x(), 3228265.2, 0.1);
    EXPECT_NEAR(point.y(), 5012341.7, 0.1);
}

TEST(CoordinateTransformer, ListsAndShapesEqualPointByPoint) {
    const CoordinateTransformer transformer(*CoordinateSystemFactory::fromEpsg(4326),
                                            *CoordinateSystemFactory::fromEpsg(3035));
    Shapes::GisShapePolygon polygon;
    polygon.setId(9);
    polygon.attributes().insert("name", "x");
    polygon.parts() = {{{10, 50}, {11, 50}, {11, 51}, {10, 50}}, {{10.5, 50.1}, {10.6, 50.2}, {10.5, 50.1}}};
    const auto moved = transformer.transformShape(polygon);
    EXPECT_EQ(moved->id(), 9);
    EXPECT_EQ(moved->attributes(), polygon.attributes());
    const auto& parts = static_cast<Shapes::GisShapePolygon&>(*moved).parts();
    ASSERT_EQ(parts.size(), 2);
    for (int part = 0; part < 2; ++part) {
        const auto list = transformer.transformPoints(polygon.parts()[part]);
        ASSERT_EQ(parts[part].size(), polygon.parts()[part].size());
        for (int i = 0; i < list.size(); ++i) {
            const GisShapePoint alone = transformer.transform(polygon.parts()[part][i]);
            EXPECT_EQ(alone.x(), list[i].x());
            EXPECT_EQ(alone.x(), parts[part][i].x());
            EXPECT_EQ(alone.y(), parts[part][i].y());
        }
    }
    EXPECT_TRUE(transformer.transformPoints({}).isEmpty());
    EXPECT_TRUE(transformer.transformShape(GisShapePoint())->isEmpty());
    EXPECT_EQ(polygon.parts()[0][0].x(), 10) << "the source is untouched";
}

TEST(CoordinateTransformer, SaysWhatFailed) {
    const auto degrees = CoordinateSystemFactory::fromEpsg(4326);
    testing::internal::CaptureStderr();
    EXPECT_EQ(errorOf([&] { const CoordinateTransformer t(unusable, *degrees); }),
              "Unable to initialize CRS 'Nowhere' (EPSG:0) with GDAL/PROJ.");
    const CoordinateTransformer mercator(*degrees, *CoordinateSystemFactory::fromEpsg(3395));
    const std::string failed = "GDAL/PROJ coordinate transformation failed.";
    EXPECT_EQ(errorOf([&] { mercator.transform(GisShapePoint(0, 100)); }), failed);
    EXPECT_EQ(errorOf([&] { mercator.transformPoints({{0, 0}, {0, 100}, {1, 1}}); }), failed);
    const CoordinateTransformer fromWeb(*CoordinateSystemFactory::fromEpsg(3857), *degrees);
    EXPECT_EQ(errorOf([&] { fromWeb.transform(GisShapePoint(1e300, 0)); }), failed) << "GDAL would not return";
    const CoordinateTransformer same(*degrees, *degrees);
    EXPECT_EQ(errorOf([&] { same.transform(GisShapePoint(0, std::numeric_limits<double>::infinity())); }), failed);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
