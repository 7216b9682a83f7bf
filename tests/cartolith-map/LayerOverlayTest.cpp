#include "LayerOverlay.h"

#include "Map/TestLayers.h"

#include <Cartolith/Core/Layers/GisAttributeDefinition.h>

#include <QMap>
#include <gtest/gtest.h>

using namespace Cartolith::Core;
using Topology::GisTopology;
using Topology::GisTopologyCombineType;

// Two squares side by side against a bar across both: every place keeps the values of what covers it.
TEST(LayerOverlay, EveryPlaceIsCoveredOnceAndKeepsItsValues) {
    const auto squares = test::squaresOf({"left", "right"});
    const auto bar = test::layerOf({"POLYGON ((-5 4, 25 4, 25 6, -5 6, -5 4))"});
    bar->items().front()->attributes().insert("v", "bar");
    for (Layers::GisLayerVector* layer : {squares.get(), bar.get()}) {
        layer->addAttributeDefinition(Layers::Defs::GisAttributeDefinition("v"));
    }
    struct Case {
        GisTopologyCombineType type;
        QMap<QString, double> areas; ///< by the values of both
    };
    const Case cases[] = {
        {GisTopologyCombineType::Intersection, {{"left+bar", 20}, {"right+bar", 20}}},
        {GisTopologyCombineType::Difference, {{"left+", 80}, {"right+", 80}}},
        {GisTopologyCombineType::SymmetricalDifference, {{"left+", 80}, {"right+", 80}, {"+bar", 20}}},
        {GisTopologyCombineType::Union,
         {{"left+bar", 20}, {"right+bar", 20}, {"left+", 80}, {"right+", 80}, {"+bar", 20}}},
    };
    for (const bool robust : {false, true}) {
        for (const Case& c : cases) {
            GisTopology topology;
            topology.SetOverlayEngine(robust ? Topology::GisOverlayEngine::Geos
                                             : Topology::GisOverlayEngine::PainterPath);
            double done = 0.0;
            const auto result =
                LayerOverlay(*squares, *bar, topology).run(c.type, [&done](double fraction) { done = fraction; });
            QMap<QString, double> areas;
            for (const auto& shape : result->items()) {
                const QString values =
                    shape->attributes().value("v").toString() + u'+' + shape->attributes().value("v_2").toString();
                areas[values] += GisTopology::Area(*shape);
            }
            EXPECT_EQ(areas, c.areas) << static_cast<int>(c.type) << robust;
            EXPECT_EQ(done, 1.0);
            EXPECT_NE(result->getAttributeDefinition("v_2"), nullptr);
        }
    }
}
