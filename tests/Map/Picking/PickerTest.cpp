#include "DataFolder.h"
#include "Map/TestLayers.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Layers/GisLayerGdalRaster.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Symbology/GisCategorizedSymbolRenderer.h>
#include <Cartolith/Map/MapScene.h>
#include <Cartolith/Map/Picking/Picker.h>

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <set>

using namespace Cartolith::Core;
using namespace Cartolith::Map;
using namespace Cartolith::Map::Picking;
using CoordinateSystems::CoordinateSystemFactory;
using Shapes::GisExtent;

namespace {

/// "position:id@distance" of each hit.
std::string textOf(const QList<Hit>& hits) {
    QStringList texts;
    for (const Hit& hit : hits) {
        texts.append(QString("%1:%2@%3").arg(hit.position).arg(hit.featureId).arg(qRound(hit.distance * 10) / 10.0));
    }
    return texts.join(' ').toStdString();
}

std::shared_ptr<Layers::GisLayerVector> plain(const QStringList& texts) {
    std::shared_ptr<Layers::GisLayerVector> layer = test::layerOf(texts);
    layer->style().setLineWidth(4);
    layer->style().setPointSize(10);
    return layer;
}

// One unit is one pixel, y upwards: the pixel (x, 100 - y).
TEST(Picker, FindsWhatIsDrawnThereFromTheTop) {
    const auto areas = plain({"POLYGON ((10 10, 90 10, 90 90, 10 90, 10 10), (40 40, 60 40, 60 60, 40 60, 40 40))",
                              "POLYGON ((70 70, 95 70, 95 95, 70 95, 70 70))"});
    const auto lines = plain({"LINESTRING (0 20, 100 20)", "LINESTRING (30 0, 30 100)"});
    const auto points = plain({"POINT (80 80)", "POINT (50 20)"});
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    const MapView view(GisExtent(0, 0, 100, 100), QRectF(0, 0, 100, 100));
    const struct {
        const char* name;
        QPointF place;
        double pixels;
        const char* expected;
        MapView view;
    } rows[] = {
        {"a point above areas, the later one first", {80, 84}, 0, "2:1@0 0:2@0 0:1@0", view},
        {"its outline counts", {80, 86.9}, 0, "2:1@0 0:2@0 0:1@0", view},
        {"beside it", {80, 88}, 0, "0:2@0 0:1@0", view},
        {"by tolerance", {80, 88}, 2, "2:1@1 0:2@0 0:1@0", view},
        {"in a hole", {50, 50}, 3, "", view},
        {"near the hole's edge", {55, 50}, 4, "0:1@3", view},
        {"crossing lines, by distance", {31, 23}, 2, "1:2@0 1:1@1 0:1@0", view},
        {"beside all", {2, 96}, 5, "", view},
        {"a turned view", {80, 88}, 2, "2:1@1 0:2@0 0:1@0", view.rotated(30, {50, 50})},
        {"a fine screen: all is twice as large", {80, 88}, 4, "2:1@2 0:2@0 0:1@0", view.withDevicePixelRatio(2)},
        {"NaN", {nan, 3}, 2, "", view},
        {"no tolerance to speak of", {80, 80}, nan, "", view},
        {"a view that cannot be used", {80, 80}, 2, "", MapView()},
    };
    MapScene scene;
    scene.append(areas);
    scene.append(lines);
    scene.append(points);
    Picker picker;
    for (const auto& row : rows) {
        const QPointF pixel = row.view.isUsable() ? row.view.toPixel(row.place) : row.place;
        EXPECT_EQ(textOf(picker.hitTest(scene, row.view, pixel, row.pixels)), row.expected) << row.name;
        EXPECT_EQ(textOf(picker.hitTest({areas, lines, points}, nullptr, row.view, pixel, row.pixels)), row.expected)
            << row.name;
    }

    const QPointF pixel(80, 20);
    points->setMaxVisibleScale(10); // the map's is 1 to 3780
    EXPECT_EQ(textOf(picker.hitTest(scene, view, pixel, 0)), "0:2@0 0:1@0") << "beyond its scales";
    areas->setVisible(false);
    EXPECT_EQ(textOf(picker.hitTest(scene, view, pixel, 0)), "") << "hidden";
    areas->setVisible(true);
    areas->removeShapeById(1);
    EXPECT_EQ(textOf(picker.hitTest(scene, view, pixel, 0)), "0:1@0") << "edited";
}

TEST(Picker, MeasuresByTheStyleOfEachFeature) {
    const auto layer = plain({"POINT (20 50)", "POINT (80 50)"});
    layer->items()[1]->attributes().insert("kind", "large");
    Layers::GisLayerStyle large;
    large.setPointSize(60);
    auto renderer = std::make_unique<Symbology::GisCategorizedSymbolRenderer>();
    renderer->setFieldName("kind");
    renderer->setDefaultStyle(layer->style());
    renderer->addClass({"large", "large", large});
    layer->setSymbolRenderer(std::move(renderer));
    const MapView view(GisExtent(0, 0, 100, 100), QRectF(0, 0, 100, 100));
    for (const char* const by : {"renderer", "value"}) {
        EXPECT_EQ(textOf(Picker().hitTest({layer}, nullptr, view, {55, 50}, 0)), "0:2@0") << by;
        EXPECT_EQ(textOf(Picker().hitTest({layer}, nullptr, view, {45, 50}, 0)), "") << by;
        layer->clearSymbolRenderer();
        layer->items()[1]->attributes().insert("v", 100);
        layer->style().setSizeField("v");
        layer->style().setSizeToValue(100);
        layer->style().setSizeFrom(10);
        layer->style().setSizeTo(60);
    }
    layer->style().setPointSize(0); // of the one without a value
    EXPECT_EQ(textOf(Picker().hitTest({layer}, nullptr, view, {20, 50}, 5)), "") << "left out";
}

TEST(Picker, LooksIntoLayersOfEveryKindAndSystem) {
    const QString data = QStringLiteral(CARTOLITH_DATA_DIR "/");
    const auto whole = std::make_shared<Layers::GisLayerOgrVector>(data + "world-countries.gpkg");
    const auto asked = std::make_shared<Layers::GisLayerOgrOnDemand>(data + "world-countries.gpkg");
    const auto raster = std::make_shared<Layers::GisLayerGdalRaster>(data + "olinda-dem-utm25s.tif");
    for (Layers::GisLayer* const layer :
         {static_cast<Layers::GisLayer*>(whole.get()), static_cast<Layers::GisLayer*>(asked.get()),
          static_cast<Layers::GisLayer*>(raster.get())}) {
        ASSERT_TRUE(layer->open());
    }
    const auto lost = plain({"POINT (0 0)"});
    const std::shared_ptr<CoordinateSystems::CoordinateSystem> mercator = CoordinateSystemFactory::fromEpsg(3857);
    Picker picker;
    // The middle of the raster, which is in Brazil.
    const Shapes::GisShapePoint middle =
        CoordinateSystems::CoordinateTransformer(*raster->coordinateSystem(), *mercator)
            .transform(raster->extent().center());
    const MapView view(GisExtent(middle.x() - 1e4, middle.y() - 1e4, middle.x() + 1e4, middle.y() + 1e4),
                       QRectF(0, 0, 400, 400));
    const QList<Hit> hits = picker.hitTest({whole, asked, raster, lost}, mercator, view, {200, 200}, 40);
    EXPECT_EQ(textOf(hits), "2:-1@0 1:30@33.7 0:30@33.7") << "these have the coast farther west";
    ASSERT_EQ(hits.size(), 3);
    EXPECT_EQ(hits[0].values, raster->valuesAt(raster->extent().center()));
    EXPECT_EQ(whole->shapeForFeatureId(hits[2].featureId)->attributeValue("name_long").toString(), "Brazil");
    ASSERT_EQ(picker.problems().size(), 1) << "of the layer that does not say its system";
    EXPECT_TRUE(picker.problems()[0].startsWith("test: "));
    // Within Russia, east of the antimeridian; and where a map of the world has no place.
    const MapView world(GisExtent(-18e6, -9e6, 18e6, 9e6), QRectF(0, 0, 1000, 500));
    const auto equalEarth = CoordinateSystemFactory::fromEpsg(8857);
    const QPointF chukotka(-10.45e6, 7.55e6);
    EXPECT_FALSE(picker.hitTest({whole}, equalEarth, world, world.toPixel(chukotka), 3).isEmpty());
    EXPECT_EQ(textOf(picker.hitTest({whole, asked}, equalEarth, world, {1, 1}, 3)), "");
}

// Edges are bent finely near the pixel only; the answers are those of shapes that are so wholly.
TEST(Picker, AnswersAsIfEveryEdgeWereBentFinely) {
    const std::shared_ptr<Layers::GisLayerVector> layer = test::longEdges();
    layer->style().setLineWidth(2);
    const std::shared_ptr<CoordinateSystems::CoordinateSystem> laea = CoordinateSystemFactory::fromEpsg(3035);
    const CoordinateSystems::CoordinateTransformer transformer(*layer->coordinateSystem(), *laea);
    Picker picker;
    std::mt19937 random(7);
    const struct {
        Shapes::GisShapePoint place; // degrees
        double unitsPerPixel;
        int least; // different answers
    } rows[] = {
        {{20.0, 50.0}, 1.0, 40},    {{0.0, 50.0}, 0.1, 20},       {{20.0, 57.9995}, 1.0, 40},
        {{20.5, 55.0}, 1000.0, 20}, {{20.0, 50.0}, 20'000.0, 20},
    };
    for (const auto& row : rows) {
        const std::shared_ptr<Layers::GisLayerVector> fine = test::bentAll(*layer, laea, 0.5 * row.unitsPerPixel);
        const Shapes::GisShapePoint middle = transformer.transform(row.place);
        const double half = 100.0 * row.unitsPerPixel;
        const MapView view(GisExtent(middle.x() - half, middle.y() - half, middle.x() + half, middle.y() + half),
                           QRectF(0, 0, 200, 200));
        std::uniform_real_distribution<double> pixel(0.0, 200.0);
        std::set<std::string> answers;
        for (int i = 0; i < 200; ++i) {
            const QPointF mouse(pixel(random), pixel(random));
            const std::string expected = textOf(picker.hitTest({fine}, laea, view, mouse, 20));
            ASSERT_EQ(textOf(picker.hitTest({layer}, laea, view, mouse, 20)), expected)
                << row.unitsPerPixel << " at " << mouse.x() << ' ' << mouse.y();
            answers.insert(expected);
        }
        EXPECT_GE(static_cast<int>(answers.size()), row.least) << row.unitsPerPixel;
    }
}

} // namespace
