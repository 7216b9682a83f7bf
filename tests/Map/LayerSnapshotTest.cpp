#include "DataFolder.h"
#include "Map/TestLayers.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Layers/GisLayerGdalRaster.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Symbology/GisCategorizedSymbolRenderer.h>
#include <Cartolith/Map/LayerSnapshotBuilder.h>

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <set>

using namespace Cartolith::Core;
using namespace Cartolith::Map;
using CoordinateSystems::CoordinateSystemFactory;
using Layers::GisLayerVector;
using Shapes::GisExtent;

namespace {

const MapView view(GisExtent(-180, -90, 180, 90), QRectF(0, 0, 360, 180));

LayerSnapshot snapshotOf(Layers::GisLayer& layer, const MapView& of = view,
                         std::shared_ptr<CoordinateSystems::CoordinateSystem> system = nullptr) {
    LayerSnapshotBuilder builder(layer, of, std::move(system));
    while (!builder.step(std::chrono::milliseconds(5))) {
    }
    EXPECT_EQ(builder.state(), LayerSnapshotBuilder::State::Done);
    return builder.snapshot();
}

std::unique_ptr<Symbology::GisSymbolRenderer> categories() {
    auto renderer = std::make_unique<Symbology::GisCategorizedSymbolRenderer>("v");
    Layers::GisLayerStyle style;
    style.setFillColor("#FF0000");
    style.setShowLabels(true);
    style.setLabelField("v");
    style.setLabelPriorityField("v");
    renderer->addClass({1234567.5, "one", style, true});
    return renderer;
}

TEST(LayerSnapshot, HoldsShapesPartsLooksAndTexts) {
    const auto layer = test::layerOf({"POINT (1 2)", "MULTILINESTRING ((0 0, 1 1), (5 5, 6 6, 7 9))",
                                      "POLYGON ((0 0, 9 0, 9 9, 0 0), (5 2, 6 2, 6 3, 5 2))", "POINT (3 4)"});
    layer->getShape(3)->attributes().insert("v", 1234567.5);
    layer->setSymbolRenderer(categories());
    const LayerSnapshot snapshot = snapshotOf(*layer);
    layer->clearShapes();

    ASSERT_EQ(snapshot.count(), 4);
    const std::vector<qsizetype> lineEnds{2, 5};
    EXPECT_TRUE(std::ranges::equal(snapshot.partEnds(1), lineEnds));
    EXPECT_EQ(snapshot.kind(1), LayerSnapshot::Kind::Line);
    EXPECT_EQ(snapshot.coordinates(1).back(), 9.0);
    EXPECT_EQ(snapshot.partEnds(2).back(), 8);
    EXPECT_EQ(snapshot.coordinates(3)[1], 4.0);
    EXPECT_EQ(snapshot.id(3), 4);
    EXPECT_EQ(snapshot.styles().size(), 2) << "equal ones are one";
    EXPECT_EQ(snapshot.style(2).fillColor(), "#FF0000");
    EXPECT_EQ(snapshot.labelText(2), "1234567.5") << "no exponent";
    EXPECT_EQ(snapshot.labelPriority(2), 1234567.5);
    EXPECT_EQ(snapshot.labelText(3), QString());
    EXPECT_TRUE(std::isnan(snapshot.labelPriority(3)));
    EXPECT_EQ(snapshot.extent().toString(), GisExtent(0, 0, 9, 9).toString());
    EXPECT_TRUE(snapshot.meets(0, GisExtent(1, 2, 3, 3)));
    EXPECT_FALSE(snapshot.meets(0, GisExtent(1.5, 2, 3, 3)));
}

TEST(LayerSnapshot, BeginsAnewWhenTheLayerChangesBetweenSteps) {
    QStringList texts;
    for (int i = 0; i < 100; ++i) {
        texts.append(QString("POINT (%1 0)").arg(i));
    }
    const auto layer = test::layerOf(texts);
    LayerSnapshotBuilder builder(*layer, view, nullptr);
    ASSERT_FALSE(builder.step(std::chrono::milliseconds(0)));
    EXPECT_GT(builder.progress(), 0.0);
    layer->removeShapeById(1);
    while (!builder.step(std::chrono::milliseconds(0))) {
    }
    EXPECT_EQ(builder.snapshot().count(), 99);
    EXPECT_EQ(builder.snapshot().coordinates(0)[0], 1.0);

    const auto mercator = CoordinateSystemFactory::fromEpsg(3857);
    layer->setCoordinateSystem(CoordinateSystemFactory::fromEpsg(4326));
    layer->setSymbolRenderer(categories());
    LayerSnapshotBuilder other(*layer, view, mercator);
    ASSERT_FALSE(other.step(std::chrono::milliseconds(0)));
    layer->setSymbolRenderer(categories());
    layer->setCoordinateSystem(mercator);
    while (!other.step(std::chrono::milliseconds(0))) {
    }
    EXPECT_EQ(other.snapshot().coordinates(0)[0], 1.0);

    LayerSnapshotBuilder cancelled(*layer, view, nullptr);
    ASSERT_FALSE(cancelled.step(std::chrono::milliseconds(0)));
    cancelled.cancel();
    EXPECT_TRUE(cancelled.step(std::chrono::milliseconds(1000)));
    EXPECT_EQ(cancelled.state(), LayerSnapshotBuilder::State::Cancelled);
    EXPECT_EQ(cancelled.snapshot().count(), 0);
}

TEST(LayerSnapshot, IsOfALayerUntilThatChanges) {
    const MapView other = view.panned({10, 0});
    const struct {
        const char* name;
        std::function<void(GisLayerVector&)> change;
        bool isStill;
    } rows[] = {
        {"nothing", [](GisLayerVector&) {}, true},
        {"name", [](GisLayerVector& layer) { layer.setName("other"); }, true},
        {"content",
         [](GisLayerVector& layer) {
             layer.addPoint({5, 5});
         },
         false},
        {"style", [](GisLayerVector& layer) { layer.style().setLineWidth(7); }, false},
        {"renderer", [](GisLayerVector& layer) { layer.setSymbolRenderer(categories()); }, false},
        {"renderer, in its place", [](GisLayerVector& layer) { layer.markLookChanged(); }, false},
        {"renderer, which waits to be told of",
         [](GisLayerVector& layer) {
             const GisLayerVector::ChangeGroup group(layer);
             layer.setSymbolRenderer(categories());
             layer.clearSymbolRenderer();
         },
         false},
        {"system", [](GisLayerVector& layer) { layer.setCoordinateSystem(CoordinateSystemFactory::fromEpsg(3857)); },
         false},
    };
    for (const auto& row : rows) {
        const auto layer = test::layerOf({"POINT (1 2)"});
        const LayerSnapshot snapshot = snapshotOf(*layer);
        row.change(*layer);
        EXPECT_EQ(snapshot.isOf(*layer, other, nullptr), row.isStill) << row.name;
        EXPECT_FALSE(snapshot.isOf(*layer, other, CoordinateSystemFactory::fromEpsg(4326))) << row.name;
    }
}

TEST(LayerSnapshot, IsInTheMapsSystem) {
    const auto layer = test::layerOf({"POINT (9 0)", "POINT (0 90)", "POINT (10 10)"});
    const auto bent = test::layerOf({"LINESTRING (-60 0, 60 80)"});
    EXPECT_THROW(snapshotOf(*layer, view, CoordinateSystemFactory::fromEpsg(3857)), std::runtime_error);
    layer->setCoordinateSystem(CoordinateSystemFactory::fromEpsg(4326));
    const auto mercator = CoordinateSystemFactory::fromEpsg(3857);
    const LayerSnapshot snapshot = snapshotOf(*layer, view, mercator);
    EXPECT_TRUE(snapshot.isOf(*layer, view.zoomed(1000, {0, 0}), mercator)) << "no edges";
    bent->setCoordinateSystem(layer->coordinateSystem());
    const MapView world(GisExtent(-2e7, -2e7, 2e7, 2e7), QRectF(0, 0, 400, 400));
    const LayerSnapshot bends = snapshotOf(*bent, world, mercator);
    EXPECT_TRUE(bends.isOf(*bent, world.zoomed(3, {200, 200}), mercator));
    EXPECT_FALSE(bends.isOf(*bent, world.zoomed(50, {200, 200}), mercator)) << "bends would show";
    ASSERT_EQ(snapshot.count(), 2);
    EXPECT_EQ(snapshot.leftOutCount(), 1);
    EXPECT_EQ(snapshot.id(1), 3);
    EXPECT_NEAR(snapshot.coordinates(0)[0], 1001875.417, 0.001);
}

// Or each shape would have a look of its own, and stamps of it.
TEST(LayerSnapshot, NoNumberInAStyleIsLikeAnother) {
    const auto layer = test::squaresOf({1, 2, 1, 2, QVariant(), 1});
    layer->style().setLineWidth(std::nanf(""));
    layer->style().setLabelOffsetX(std::nanf(""));
    layer->style().setSizeField("v");
    EXPECT_EQ(snapshotOf(*layer).styles().size(), 1);
    const auto points = test::layerOf({"POINT (0 0)", "POINT (1 1)", "POINT (2 2)"});
    points->items()[1]->attributes().insert("v", 1);
    points->style() = layer->style();
    EXPECT_EQ(snapshotOf(*points).styles().size(), 2);
    Layers::GisLayerStyle other = layer->style();
    other.setLabelOffsetX(3);
    EXPECT_FALSE(other == layer->style());
}

// The rest as for a picture of everything; a pan beyond the surroundings has a snapshot of its own.
TEST(LayerSnapshot, BendsFinelyOnlyNearTheView) {
    QStringList texts{"LINESTRING (-30 50.003, 50 50.003)"};
    for (int i = 0; i < 400; ++i) {
        const int x = i % 20;
        const int y = 40 + i / 20;
        texts.append(QString("POLYGON ((%1 %2, %3 %2, %3 %4, %1 %4, %1 %2))").arg(x).arg(y).arg(x + 1).arg(y + 1));
    }
    const auto layer = test::layerOf(texts);
    const auto degrees = CoordinateSystemFactory::fromEpsg(4326);
    const auto europe = CoordinateSystemFactory::fromEpsg(3035);
    layer->setCoordinateSystem(degrees);
    const CoordinateSystems::CoordinateTransformer plain(*degrees, *europe);
    const Shapes::GisShapePoint middle = plain.transform({15.5, 50.0});
    const MapView near(GisExtent(middle.x() - 500, middle.y() - 500, middle.x() + 500, middle.y() + 500),
                       QRectF(0, 0, 1000, 1000)); // a metre a pixel
    const LayerSnapshot snapshot = snapshotOf(*layer, near, europe);
    EXPECT_LT(snapshot.coordinates(0, snapshot.count()).size(), 10000U);
    const auto line = snapshot.coordinates(0);
    for (const double aside : {0.0, 0.0021, -0.004}) { // degrees
        const Shapes::GisShapePoint image = plain.transform({15.5 + aside, 50.003});
        double nearest = 1e9;
        for (std::size_t i = 0; i + 3 < line.size(); i += 2) {
            const QPointF a(line[i], line[i + 1]);
            const QPointF way = QPointF(line[i + 2], line[i + 3]) - a;
            const QPointF to = QPointF(image.x(), image.y()) - a;
            const double t = QPointF::dotProduct(to, way) / QPointF::dotProduct(way, way);
            const QPointF apart = to - way * std::clamp(t, 0.0, 1.0);
            nearest = std::min(nearest, std::hypot(apart.x(), apart.y()));
        }
        EXPECT_LT(nearest, 0.55) << aside;
    }
    EXPECT_TRUE(snapshot.isOf(*layer, near.panned({900, 0}), europe));
    EXPECT_FALSE(snapshot.isOf(*layer, near.panned({1100, 0}), europe));
    EXPECT_TRUE(snapshot.isOf(*layer, near.zoomed(0.001, {500, 500}), europe));
}

TEST(LayerSnapshot, OfALayerReadOnDemandIsWhatTheViewShows) {
    const QString path = QStringLiteral(CARTOLITH_DATA_DIR "/world-countries.gpkg");
    Layers::GisLayerOgrVector whole(path);
    whole.open();
    Layers::GisLayerOgrOnDemand onDemand(path);
    onDemand.open();
    const auto mercator = CoordinateSystemFactory::fromEpsg(3857);
    const MapView europe(GisExtent(-1e6, 4.5e6, 3e6, 8e6), QRectF(0, 0, 400, 350));
    for (const auto& system : {std::shared_ptr<CoordinateSystems::CoordinateSystem>(), mercator}) {
        const MapView used = system != nullptr ? europe : MapView(GisExtent(-10, 40, 30, 60), QRectF(0, 0, 400, 200));
        const LayerSnapshot all = snapshotOf(whole, used, system);
        const LayerSnapshot some = snapshotOf(onDemand, used, system);
        EXPECT_FALSE(all.isOfView());
        EXPECT_TRUE(some.isOfView());
        EXPECT_FALSE(some.isOf(onDemand, used.panned({1, 0}), system));
        EXPECT_LT(some.count(), 60);
        const LayerSnapshot none = snapshotOf(onDemand, used.panned({1e9, 1e9}), system);
        EXPECT_EQ(none.count() + none.leftOutCount(), 0) << "nothing is read for a view of nothing";
        std::set<qint64> ids;
        for (qsizetype i = 0; i < some.count(); ++i) {
            ids.insert(some.id(i));
        }
        for (qsizetype i = 0; i < all.count(); ++i) {
            EXPECT_TRUE(!all.meets(i, used.visibleExtent()) || ids.contains(all.id(i))) << all.id(i);
        }
    }
}

TEST(LayerSnapshot, OfARasterIsThePictureOfTheView) {
    Layers::GisLayerGdalRaster dem(QStringLiteral(CARTOLITH_DATA_DIR "/olinda-dem-utm25s.tif"));
    dem.open();
    const MapView of(dem.extent(), QRectF(0, 0, 50, 40));
    EXPECT_EQ(snapshotOf(dem, of).picture(), dem.readImage(of.pictureExtent(), {50, 40}));
    EXPECT_TRUE(snapshotOf(dem, MapView()).picture().isNull()) << "a view that shows nothing";
}

} // namespace
