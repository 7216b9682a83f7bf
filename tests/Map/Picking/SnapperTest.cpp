#include "DataFolder.h"
#include "Map/TestLayers.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Map/MapView.h>
#include <Cartolith/Map/Picking/Snapper.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

using namespace Cartolith::Core;
using namespace Cartolith::Map;
using namespace Cartolith::Map::Picking;
using CoordinateSystems::CoordinateSystemFactory;
using Shapes::GisExtent;
using Shapes::GisShapePoint;

namespace {

void finish(Snapper& snapper) {
    while (!snapper.step(std::chrono::milliseconds(1))) {
    }
}

std::string textOf(const std::optional<Snap>& snap) {
    return snap ? QString("%1 %2 %3 of %4")
                      .arg(static_cast<int>(snap->kind))
                      .arg(snap->place.x(), 0, 'f', 1)
                      .arg(snap->place.y(), 0, 'f', 1)
                      .arg(snap->featureId)
                      .toStdString()
                : "";
}

const MapView view(GisExtent(0, 0, 100, 100), QRectF(0, 0, 100, 100));

TEST(Snapper, FindsTheBestKindAndOfThatTheNearest) {
    const std::shared_ptr<Layers::GisLayerVector> lines =
        test::layerOf({"LINESTRING (10 10, 90 10, 90 50)", "LINESTRING (40 0, 40 30)", "LINESTRING (40 30, 40 35)"});
    const std::shared_ptr<Layers::GisLayerVector> areas =
        test::layerOf({"POLYGON ((10 50, 30 50, 30 70, 10 70, 10 50), (12 52, 12 60, 20 60, 20 52, 12 52))",
                       "POLYGON ((60 60, 80 60, 80 80, 60 80, 60 60))", "POINT (41 12)"});
    Snapper snapper({areas, nullptr, lines}, nullptr, view);
    EXPECT_EQ(snapper.state(), Snapper::State::Working);
    EXPECT_EQ(textOf(snapper.snap(view, {10, 90}, 5)), "") << "nothing is ready";
    finish(snapper);
    EXPECT_EQ(snapper.state(), Snapper::State::Ready);
    EXPECT_EQ(snapper.progress(), 1.0);
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        const char* name;
        QPointF place;
        double pixels;
        SnapKinds kinds;
        const char* expected;
        MapView view = ::view;
    } rows[] = {
        {"a vertex before the nearer edge", {87, 10}, 4, Snapper::allKinds, "1 90.0 10.0 of 1"},
        {"the last vertex of a line", {90, 52}, 4, Snapper::allKinds, "1 90.0 50.0 of 1"},
        {"an edge", {84, 11}, 4, Snapper::allKinds, "8 84.0 10.0 of 1"},
        {"a point", {42, 12}, 4, Snapper::allKinds, "1 41.0 12.0 of 3"},
        {"a crossing", {39, 9}, 2, Snapper::allKinds, "2 40.0 10.0 of 1"},
        {"not where lines go on", {41, 31}, 4, SnapKind::Crossing, ""},
        {"that alone, beside a vertex", {39, 9}, 4, SnapKind::Crossing, "2 40.0 10.0 of 1"},
        {"half way along a line", {69, 11}, 2, Snapper::allKinds, "4 70.0 10.0 of 1"},
        {"the centroid, without the hole", {21.5, 61.5}, 2, Snapper::allKinds, "4 20.8 60.8 of 1"},
        {"the edge that closes a ring", {61, 70}, 2, Snapper::allKinds, "8 60.0 70.0 of 2"},
        {"only what is asked for", {89, 10}, 4, SnapKind::Segment, "8 89.0 10.0 of 1"},
        {"too far", {84, 16}, 4, Snapper::allKinds, ""},
        {"a turned view", {87, 10}, 4, Snapper::allKinds, "1 90.0 10.0 of 1", view.rotated(40, {3, 3})},
        {"a nearer view: pixels are less", {87, 10}, 4, Snapper::allKinds, "8 87.0 10.0 of 1", view.zoomed(2, {})},
        {"NaN", {nan, 10}, 4, Snapper::allKinds, ""},
        {"no distance", {90, 10}, nan, Snapper::allKinds, ""},
        {"a view that cannot be used", {90, 10}, 4, Snapper::allKinds, "", MapView()},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(textOf(snapper.snap(row.view, row.view.toPixel(row.place), row.pixels, row.kinds)), row.expected)
            << row.name;
    }
    lines->setVisible(false);
    EXPECT_EQ(textOf(snapper.snap(view, view.toPixel(QPointF(87, 10)), 4)), "") << "hidden";
}

TEST(Snapper, FollowsTheLayersInSteps) {
    const std::shared_ptr<Layers::GisLayerVector> layer = test::layerOf({"POINT (10 90)"});
    const std::shared_ptr<Layers::GisLayerVector> other = test::layerOf({});
    for (int i = 0; i < 3000; ++i) {
        other->addShape(std::make_unique<GisShapePoint>(i / 100.0 + 20, i / 100.0));
    }
    Snapper snapper({layer, other}, nullptr, view);
    finish(snapper);
    layer->style().setLineWidth(3);
    EXPECT_EQ(snapper.state(), Snapper::State::Ready) << "the look does not matter";
    layer->addShape(std::make_unique<GisShapePoint>(60, 90));
    EXPECT_EQ(snapper.state(), Snapper::State::Working);
    EXPECT_EQ(textOf(snapper.snap(view, {10, 10}, 5)), "") << "of a layer that has changed";
    EXPECT_NE(textOf(snapper.snap(view, {30, 90}, 5)), "") << "of one that has not";
    finish(snapper);
    EXPECT_EQ(textOf(snapper.snap(view, {60, 10}, 5)), "1 60.0 90.0 of 2");

    other->markDirty();
    double before = -1.0;
    int steps = 0;
    for (; !snapper.step(std::chrono::milliseconds(0)); ++steps) {
        EXPECT_GE(snapper.progress(), before);
        before = snapper.progress();
        if (steps == 1500) {
            other->removeShapeById(1);
            before = -1.0;
        }
    }
    EXPECT_GT(steps, 4500) << "begun anew";
    EXPECT_EQ(textOf(snapper.snap(view, view.toPixel(QPointF(20, 0)), 0.005)), "");

    for (const int after : {0, 1, 2999, 3002, 3006}) {
        layer->markDirty();
        finish(snapper);
        Snapper stopped({other, layer}, nullptr, view);
        for (int i = 0; i < after; ++i) {
            ASSERT_FALSE(stopped.step(std::chrono::milliseconds(0)));
        }
        stopped.cancel();
        EXPECT_TRUE(stopped.step(std::chrono::milliseconds(100)));
        EXPECT_EQ(stopped.state(), Snapper::State::Cancelled);
        EXPECT_EQ(textOf(stopped.snap(view, view.toPixel(QPointF(30, 10)), 3)), "") << after;
    }
}

// Against a look at each edge.
TEST(Snapper, FindsWhatIsNearestInAnotherSystem) {
    const QString path = QStringLiteral(CARTOLITH_DATA_DIR "/gothenburg-roads.gpkg");
    const auto whole = std::make_shared<Layers::GisLayerOgrVector>(path);
    const auto asked = std::make_shared<Layers::GisLayerOgrOnDemand>(path);
    const std::shared_ptr<Layers::GisLayerVector> lost = test::layerOf({"POINT (0 0)"});
    ASSERT_TRUE(whole->open() && asked->open());
    const std::shared_ptr<CoordinateSystems::CoordinateSystem> mercator = CoordinateSystemFactory::fromEpsg(3857);
    const CoordinateSystems::CoordinateTransformer transformer(*whole->coordinateSystem(), *mercator);
    QList<QList<QPointF>> parts;
    GisExtent all;
    for (const auto& shape : whole->items()) {
        for (const auto& part : dynamic_cast<const Shapes::GisShapePolyline&>(*shape).parts()) {
            QList<QPointF>& moved = parts.emplaceBack();
            for (const GisShapePoint& vertex : transformer.transformPoints(part)) {
                moved.append({vertex.x(), vertex.y()});
                all = all.expand({vertex.x(), vertex.y(), vertex.x(), vertex.y()});
            }
        }
    }
    const MapView map(all, QRectF(0, 0, 800, 800));
    const auto distance = [](QPointF a, QPointF b) { return std::hypot(a.x() - b.x(), a.y() - b.y()); };
    Snapper inMemory({whole, lost}, mercator, map);
    Snapper onDemand({asked}, mercator, map);
    finish(inMemory);
    finish(onDemand);
    ASSERT_EQ(inMemory.problems().size(), 1);
    std::mt19937 random(7);
    std::uniform_real_distribution<double> pixel(0.0, 800.0);
    int found = 0;
    for (int i = 0; i < 100; ++i) {
        const QPointF mouse(pixel(random), pixel(random));
        const QPointF place = map.toMap(mouse);
        double vertex = 20.0;
        double edge = 20.0;
        for (const QList<QPointF>& part : std::as_const(parts)) {
            for (qsizetype k = 0; k < part.size(); ++k) {
                vertex = std::min(vertex, distance(map.toPixel(part[k]), mouse));
                const QPointF a = part[std::max<qsizetype>(k - 1, 0)] - place;
                const QPointF along = part[k] - place - a;
                const double length = QPointF::dotProduct(along, along);
                const double share =
                    length > 0 ? std::min(1.0, std::max(0.0, -QPointF::dotProduct(a, along) / length)) : 0.0;
                edge = std::min(edge, distance(a + along * share, {}) / map.unitsPerPixel());
            }
        }
        for (const Snapper* const snapper : {&inMemory, &onDemand}) {
            const auto nearestVertex = snapper->snap(map, mouse, 20, SnapKind::Vertex);
            const auto nearestEdge = snapper->snap(map, mouse, 20, SnapKind::Segment);
            EXPECT_NEAR(nearestVertex ? nearestVertex->distance : 20.0, vertex, 1e-6) << i;
            EXPECT_NEAR(nearestEdge ? nearestEdge->distance : 20.0, edge, 0.01) << i;
        }
        found += vertex < 20.0 ? 1 : 0;
    }
    EXPECT_GT(found, 50);
    // What reads as asked is read again when the view leaves what was read.
    onDemand.setView(map.zoomed(2.0, {400, 400}));
    EXPECT_EQ(onDemand.state(), Snapper::State::Ready);
    onDemand.setView(map.panned({50, 0}));
    EXPECT_EQ(onDemand.state(), Snapper::State::Working);
}

// A meridian bends on the map; what is put in for that is no vertex, and the mouse is drawn to the bend.
TEST(Snapper, KnowsBentEdgesFromVertices) {
    const std::shared_ptr<Layers::GisLayerVector> layer = test::layerOf({"LINESTRING (-30 60, 50 60)"});
    layer->setCoordinateSystem(CoordinateSystemFactory::fromEpsg(4326));
    const std::shared_ptr<CoordinateSystems::CoordinateSystem> laea = CoordinateSystemFactory::fromEpsg(3035);
    const MapView map(GisExtent(1e6, 1e6, 8e6, 6e6), QRectF(0, 0, 700, 500));
    Snapper snapper({layer}, laea, map);
    finish(snapper);
    const GisShapePoint place =
        CoordinateSystems::CoordinateTransformer(*layer->coordinateSystem(), *laea).transform(GisShapePoint(30, 60));
    const QPointF mouse = map.toPixel(place.x(), place.y());
    const auto snap = snapper.snap(map, mouse, 10);
    ASSERT_TRUE(snap);
    EXPECT_EQ(snap->kind, SnapKind::Segment);
    EXPECT_LT(snap->distance, 0.6);
    snapper.setView(map.zoomed(10, mouse));
    EXPECT_EQ(snapper.state(), Snapper::State::Working) << "half a pixel is less there";
}

// They are bent finely around the view only, and that is begun anew where it matters.
TEST(Snapper, AnswersAsIfEveryEdgeWereBentFinely) {
    const std::shared_ptr<Layers::GisLayerVector> layer = test::longEdges();
    const std::shared_ptr<CoordinateSystems::CoordinateSystem> laea = CoordinateSystemFactory::fromEpsg(3035);
    const std::shared_ptr<Layers::GisLayerVector> fine = test::bentAll(*layer, laea, 0.5);
    const GisShapePoint middle =
        CoordinateSystems::CoordinateTransformer(*layer->coordinateSystem(), *laea).transform(GisShapePoint(20, 50));
    const MapView map(GisExtent(middle.x() - 200, middle.y() - 200, middle.x() + 200, middle.y() + 200),
                      QRectF(0, 0, 400, 400)); // a metre a pixel
    Snapper snapper({layer}, laea, map);
    Snapper plain({fine}, laea, map);
    finish(snapper);
    finish(plain);
    std::mt19937 random(7);
    std::uniform_real_distribution<double> pixel(0.0, 400.0);
    int found = 0;
    for (int i = 0; i < 300; ++i) {
        const QPointF mouse(pixel(random), pixel(random));
        for (const SnapKinds kinds : {SnapKinds(SnapKind::Segment), SnapKinds(SnapKind::Crossing)}) {
            const auto expected = textOf(plain.snap(map, mouse, 10, kinds));
            ASSERT_EQ(textOf(snapper.snap(map, mouse, 10, kinds)), expected) << mouse.x() << ' ' << mouse.y();
            found += expected.empty() ? 0 : 1;
        }
    }
    EXPECT_GT(found, 30);
    snapper.setView(map.panned({300, 0}));
    EXPECT_EQ(snapper.state(), Snapper::State::Ready) << "as much around the view";
    snapper.setView(map.panned({500, 0}));
    EXPECT_EQ(snapper.state(), Snapper::State::Working);

    const std::shared_ptr<Layers::GisLayerVector> street = test::layerOf({"LINESTRING (20 50, 20.001 50.001)"});
    street->setCoordinateSystem(layer->coordinateSystem());
    Snapper shortEdge({street}, laea, map);
    finish(shortEdge);
    shortEdge.setView(map.panned({5000, 0}));
    EXPECT_EQ(shortEdge.state(), Snapper::State::Ready) << "too short to bend";
}

} // namespace
