#include "Map/TestLayers.h"

#include <Cartolith/Map/MapPreparation.h>
#include <Cartolith/Map/MapScene.h>
#include <Cartolith/Map/Picking/SelectionSet.h>

#include <gtest/gtest.h>

using namespace Cartolith::Core;
using namespace Cartolith::Map;
using namespace Cartolith::Map::Picking;

namespace {

TEST(SelectionSet, TellsOfWhatChanges) {
    SelectionSet::Layer a = test::layerOf({});
    const SelectionSet::Layer b = test::layerOf({});
    SelectionSet selection;
    int told = 0;
    auto listener = selection.onChanged([&](const SelectionSet::Layer& layer) { told += layer == a ? 1 : 100; });
    const struct {
        const char* name;
        std::function<void()> change;
        SelectionSet::Ids ofA;
        int told;
    } rows[] = {
        {"added",
         [&] {
             selection.add(a, {1, 2});
         },
         {1, 2},
         1},
        {"added again", [&] { selection.add(a, {2}); }, {1, 2}, 1},
        {"of another layer", [&] { selection.add(b, {1}); }, {1, 2}, 101},
        {"turned",
         [&] {
             selection.toggle(a, {2, 3});
         },
         {1, 3},
         102},
        {"taken away",
         [&] {
             selection.remove(a, {3, 4});
         },
         {1},
         103},
        {"none", [&] { selection.set(nullptr, {1}); }, {1}, 103},
        {"cleared", [&] { selection.clear(); }, {}, 204},
        {"nothing left to clear", [&] { selection.clear(); }, {}, 204},
        {"listener gone",
         [&] {
             listener.reset();
             selection.set(a, {7});
         },
         {7},
         204},
    };
    for (const auto& row : rows) {
        row.change();
        EXPECT_EQ(selection.ids(a), row.ofA) << row.name;
        EXPECT_EQ(told, row.told) << row.name;
    }
    EXPECT_TRUE(selection.contains(a, 7) && !selection.contains(b, 7));
    a.reset();
    EXPECT_TRUE(selection.isEmpty()) << "with its layer";
}

/// Counts how often a snapshot was made.
int revisionsOf(const MapScene& scene, LayerSnapshot& last) {
    const bool isSame = scene.snapshot(0) == last;
    last = scene.snapshot(0);
    return isSame ? 0 : 1;
}

TEST(SelectionSet, IsDrawnWithTheSelectedLineFromTheSameSnapshot) {
    const SelectionSet::Layer layer =
        test::layerOf({"POLYGON ((10 10, 40 10, 40 40, 10 40, 10 10))", "LINESTRING (10 70, 40 70)", "POINT (70 70)",
                       "POLYGON ((5 5, 60 5, 60 60, 5 60, 5 5))"});
    layer->style().setSelectedLineColor("#FF0000");
    layer->style().setSelectedLineWidth(6);
    layer->style().setFillOpacity(255);
    layer->style().setPointSize(10);
    layer->style().setLineWidth(1);
    const auto selection = std::make_shared<SelectionSet>();
    MapScene scene;
    scene.append(layer);
    scene.setSelection(selection);
    const MapView view({0, 0, 100, 100}, QRectF(0, 0, 100, 100));
    const QImage before = scene.draw(view);
    LayerSnapshot snapshot;
    EXPECT_EQ(revisionsOf(scene, snapshot), 1);
    const struct {
        const char* name;
        qint64 id;
        QPoint red;
        QPoint other; ///< which stays
    } rows[] = {{"the outline of an area, over what hides it", 1, {10, 75}, {25, 75}},
                {"a line", 2, {25, 28}, {50, 28}},
                {"around a point", 3, {78, 30}, {70, 30}}};
    for (const auto& row : rows) {
        selection->set(layer, {row.id});
        const QImage image = scene.draw(view);
        EXPECT_EQ(image.pixelColor(row.red).name(), "#ff0000") << row.name;
        EXPECT_EQ(image.pixel(row.other), before.pixel(row.other)) << row.name;
    }
    selection->clear();
    EXPECT_EQ(scene.draw(view), before);
    EXPECT_EQ(revisionsOf(scene, snapshot), 0);
}

} // namespace
