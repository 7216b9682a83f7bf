#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Serialization/GisWktReader.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Spatial/LinearSpatialIndex.h>
#include <Cartolith/Core/Spatial/QuadTreeSpatialIndex.h>
#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>

#include <gtest/gtest.h>

#include <stdexcept>

using namespace Cartolith::Core;
using Layers::GisLayerVector;
using Shapes::GisExtent;
using Shapes::GisShape;
using Shapes::GisShapeType;
using Spatial::SpatialIndexType;

namespace {

std::unique_ptr<GisShape> shape(const char* wkt) {
    return Serialization::Wkt::GisWktReader::read(wkt);
}

std::unique_ptr<GisLayerVector> layerOf(std::initializer_list<const char*> texts) {
    auto layer = GisLayerVector::createInMemory("test", GisShapeType::Null, GisExtent());
    for (const char* text : texts) {
        EXPECT_TRUE(layer->addShape(shape(text))) << text;
    }
    return layer;
}

QList<int> idsOf(const QList<GisShape*>& shapes) {
    QList<int> ids;
    for (const GisShape* found : shapes) {
        ids.append(found->id());
    }
    return ids;
}

const char* const square = "POLYGON ((0 0, 10 0, 10 10, 0 10, 0 0))";
const char* const shifted = "POLYGON ((5 5, 15 5, 15 15, 5 15, 5 5))";

TEST(GisLayerVector, FollowsTheKindOfItsShapes) {
    struct Row {
        const char* name;
        std::initializer_list<const char*> shapes;
        GisShapeType expected;
    };
    for (const Row& row :
         {Row{"none", {}, GisShapeType::Null}, Row{"polygons", {square, shifted}, GisShapeType::Polygon},
          Row{"point, polygon", {"POINT (1 1)", square}, GisShapeType::Null},
          Row{"mixed stays mixed", {"POINT (1 1)", square, square}, GisShapeType::Null}}) {
        EXPECT_EQ(layerOf(row.shapes)->shapeType(), row.expected) << row.name;
    }
}

TEST(GisLayerVector, RefusesNullAndEmptyShapes) {
    const auto layer = layerOf({square});
    const quint64 revision = layer->contentRevision();
    EXPECT_FALSE(layer->addShape(nullptr));
    EXPECT_FALSE(layer->addPoint(Shapes::GisShapePoint()));
    EXPECT_FALSE(layer->insertShapeAt(0, nullptr));
    EXPECT_FALSE(layer->insertShapeAt(-1, shape(square)));
    EXPECT_THROW(layer->removeShape(nullptr), std::invalid_argument);
    Shapes::GisShapePoint stranger(1, 1);
    EXPECT_FALSE(layer->removeShape(&stranger));
    EXPECT_EQ(layer->replaceShapeById(1, shape("POINT (1 1)")), nullptr) << "another kind";
    EXPECT_EQ(layer->replaceShapeById(2, shape(square)), nullptr);
    EXPECT_FALSE(layer->setShapeAttributesById(7, {}));
    EXPECT_EQ(layer->contentRevision(), revision);
    EXPECT_EQ(layer->count(), 1);
}

TEST(GisLayerVector, NumbersShapesByPosition) {
    const auto layer = layerOf({"POINT (1 0)", "POINT (2 0)", "POINT (3 0)"});
    const auto xs = [&layer] {
        QList<double> list;
        for (const auto& item : layer->items()) {
            EXPECT_EQ(layer->getShape(item->id()), item.get());
            EXPECT_EQ(item->id(), list.size() + 1);
            list.append(static_cast<Shapes::GisShapePoint&>(*item).x());
        }
        return list;
    };
    int position = -1;
    auto taken = layer->takeShapeById(1, &position);
    EXPECT_EQ(position, 0);
    EXPECT_EQ(xs(), (QList<double>{2, 3}));
    EXPECT_TRUE(layer->insertShapeAt(1, std::move(taken)));
    EXPECT_EQ(xs(), (QList<double>{2, 1, 3}));
    EXPECT_TRUE(layer->insertShapeAt(99, shape("POINT (4 0)")));
    EXPECT_TRUE(layer->removeShape(layer->getShape(2)));
    EXPECT_EQ(xs(), (QList<double>{2, 3, 4}));
    const auto displaced = layer->replaceShapeById(2, shape("POINT (9 0)"));
    EXPECT_EQ(static_cast<Shapes::GisShapePoint&>(*displaced).x(), 3);
    EXPECT_EQ(xs(), (QList<double>{2, 9, 4}));
    layer->getShape(3)->setId(50); // not for hosts to do, but it must still be found
    EXPECT_EQ(layer->indexOfShapeId(50), 2);
    EXPECT_EQ(layer->getShape(3), nullptr);
}

TEST(GisLayerVector, FindsTheTopmostShapeWithAndWithoutAnIndex) {
    for (const bool useIndex : {true, false}) {
        const auto layer = layerOf({square, shifted, "LINESTRING (20 0, 30 0)"});
        layer->setUseSpatialIndex(useIndex);
        struct Row {
            double x, y, tolerance;
            int id;
        };
        for (const Row& row : {Row{7, 7, 0, 2}, Row{1, 1, 0, 1}, Row{25, 0.5, 0.5, 3}, Row{25, 0.5, 0.4, -1},
                               Row{16, 16, 2, -1}, Row{100, 100, 1, -1}}) {
            const GisShape* found = layer->findShapeAt({row.x, row.y}, row.tolerance);
            EXPECT_EQ(found != nullptr ? found->id() : -1, row.id) << row.x << ", " << row.y;
        }
    }
}

TEST(GisLayerVector, TheTopmostShapeWinsInEveryIndex) {
    // More shapes than a leaf holds, the later ones farther left: the order of packing is not that of
    // drawing.
    const auto layer = layerOf({});
    for (int i = 0; i < 200; ++i) {
        const double x = 50.0 - i * 0.1;
        Shapes::GisShapePolygon box;
        box.parts().append({{x, 0}, {x + 100, 0}, {x + 100, 10}, {x, 10}, {x, 0}});
        layer->addPolygon(box);
    }
    for (const auto type : {SpatialIndexType::Linear, SpatialIndexType::RTree, SpatialIndexType::RTreeHilbert,
                            SpatialIndexType::QuadTree}) {
        layer->setSpatialIndexType(type);
        ASSERT_NE(layer->findShapeAt({60, 5}, 0), nullptr);
        EXPECT_EQ(layer->findShapeAt({60, 5}, 0)->id(), 200) << static_cast<int>(type);
    }
}

TEST(GisLayerVector, QueriesSeeEveryChange) {
    const auto layer = layerOf({square});
    const GisExtent everywhere(-1000, -1000, 1000, 1000);
    EXPECT_EQ(layer->query(everywhere).size(), 1);
    layer->addShape(shape("POINT (50 50)"));
    EXPECT_EQ(layer->query(everywhere).size(), 2);
    EXPECT_EQ(layer->extent().xMax(), 50 + 1e-9);
    static_cast<Shapes::GisShapePoint*>(layer->getShape(2))->setX(500);
    layer->markDirty();
    EXPECT_EQ(layer->query(GisExtent(499, 0, 501, 100)).size(), 1);
    EXPECT_TRUE(layer->query(GisExtent()).isEmpty());
    layer->clearShapes();
    EXPECT_TRUE(layer->query(everywhere).isEmpty());
    EXPECT_TRUE(layer->extent().isEmpty());
}

TEST(GisLayerVector, MakesTheIndexOfItsType) {
    const auto layer = layerOf({"POINT (3 0)", "POINT (1 0)", "POINT (2 0)"});
    const auto is = [&layer]<typename Index>(Index* /*kind*/) {
        return dynamic_cast<const Index*>(layer->spatialIndex()) != nullptr;
    };
    EXPECT_EQ(layer->query(GisExtent(0, -1, 9, 1)).size(), 3);
    EXPECT_TRUE(is(static_cast<Spatial::RTree::RTreeSpatialIndex*>(nullptr)));
    layer->setSpatialIndexType(SpatialIndexType::QuadTree);
    EXPECT_EQ(layer->query(GisExtent(0, -1, 9, 1)).size(), 3);
    EXPECT_TRUE(is(static_cast<Spatial::QuadTree::QuadTreeSpatialIndex*>(nullptr)));
    layer->setSpatialIndexType(static_cast<SpatialIndexType>(77));
    layer->buildSpatialIndex();
    EXPECT_TRUE(is(static_cast<Spatial::RTree::RTreeSpatialIndex*>(nullptr)));
    layer->setSpatialIndex(std::make_unique<Spatial::Linear::LinearSpatialIndex>());
    EXPECT_EQ(idsOf(layer->query(GisExtent(0, -1, 9, 1))), (QList<int>{1, 2, 3}));
    layer->setUseSpatialIndex(false);
    EXPECT_EQ(idsOf(layer->query(GisExtent(0, -1, 2, 1))), (QList<int>{2, 3}));
}

TEST(GisLayerVector, MetadataExtentIsBelieved) {
    auto layer = GisLayerVector::createInMemory("test", GisShapeType::Point, GisExtent(0, 0, 1, 1));
    EXPECT_TRUE(layer->isOpen());
    layer->addShape(shape("POINT (50 50)"));
    EXPECT_EQ(layer->extent().xMax(), 1);
    layer->expandMetadataExtent(GisExtent(0, 0, 2, 2));
    EXPECT_EQ(layer->extent().xMax(), 2);
    layer->clearMetadataExtent();
    EXPECT_EQ(layer->extent().xMax(), 50 + 1e-9);
}

TEST(GisLayerVector, StandInsKeepIdsAndAttributes) {
    const auto layer = layerOf({"LINESTRING (0 0, 5 0.5, 10 0)", "POINT (40 40)",
                                "POLYGON ((0 0, 10 0, 10 2, 2 2, 2 8, 10 8, 10 10, 0 10, 0 0))"});
    layer->getShape(3)->attributes().insert("name", "c");
    const GisExtent all(-100, -100, 100, 100);
    for (const bool useIndex : {true, false}) {
        layer->setUseSpatialIndex(useIndex);
        EXPECT_EQ(layer->queryLod(all, 0), layer->query(all));
        auto simple = layer->queryLod(all, 1);
        std::sort(simple.begin(), simple.end(), [](auto* a, auto* b) { return a->id() < b->id(); });
        ASSERT_EQ(idsOf(simple), (QList<int>{1, 2, 3}));
        EXPECT_EQ(simple[0]->toWkt(), "LINESTRING (0 0, 10 0)");
        EXPECT_EQ(simple[1]->toWkt(), "POINT (40 40)");
        const auto points = layer->queryLod(GisExtent(0.5, 0.5, 1.5, 1.5), 2);
        ASSERT_EQ(idsOf(points), (QList<int>{3})) << "the label point of the C, not its centre";
        EXPECT_EQ(points[0]->attributes().value("name"), "c");
        EXPECT_TRUE(layer->queryOverviewPoints(GisExtent()).isEmpty());
    }
    layer->removeShapeById(1);
    EXPECT_EQ(layer->queryOverviewPoints(all).size(), 2);
}

TEST(GisLayerVector, AttributesByRowAndFromTheCache) {
    const auto layer = layerOf({square});
    EXPECT_TRUE(layer->setShapeAttributesById(1, {{"name", "x"}}));
    EXPECT_EQ(layer->attributeValueForRow(0, "name"), "x");
    EXPECT_EQ(layer->attributesForFeatureId(1).value("name"), "x");
    for (const int row : {-1, 1}) {
        EXPECT_FALSE(layer->attributeValueForRow(row, "name").isValid());
    }
    EXPECT_FALSE(layer->attributeValueForRow(0, "").isValid());

    QVariant value = "untouched";
    EXPECT_FALSE(layer->tryGetCachedAttributeValue("pop", 0, value));
    EXPECT_EQ(value, "untouched");
    layer->setCachedAttributeValues("pop", {1, 2});
    EXPECT_TRUE(layer->tryGetCachedAttributeValue("pop", 1, value));
    EXPECT_EQ(value, 2);
    for (const int row : {-1, 2}) {
        value = 5;
        EXPECT_TRUE(layer->tryGetCachedAttributeValue("pop", row, value)) << "a known field is a hit";
        EXPECT_FALSE(value.isValid());
    }
    EXPECT_FALSE(layer->tryGetCachedAttributeValue("POP", 0, value));

    layer->addAttributeDefinition(Layers::Defs::GisAttributeDefinition("pop", QMetaType::Int));
    EXPECT_TRUE(layer->defaultAttributes().contains("pop"));
    EXPECT_EQ(layer->getAttributeDefinition("Pop"), nullptr);
    layer->resetVectorLayerState();
    EXPECT_FALSE(layer->tryGetCachedAttributeValue("pop", 0, value));
    EXPECT_TRUE(layer->attributeDefinitions().isEmpty() && layer->count() == 0 && !layer->isOpen());
}

} // namespace
