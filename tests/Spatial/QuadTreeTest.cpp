// The structure of the quadtree.

#include "TestData.h"

#include <Cartolith/Core/Spatial/QuadTreeSpatialIndex.h>

#include <QString>
#include <gtest/gtest.h>

namespace {

using Cartolith::Core::Shapes::GisExtent;
using Cartolith::Core::Spatial::QuadTree::QuadTreeSpatialIndex;
using Node = QuadTreeSpatialIndex::Node;

// The quadrants from the root down to the deepest node of a tree that is a chain, and how many items it
// holds.
std::pair<QString, qsizetype> chain(const QuadTreeSpatialIndex& index) {
    QString path;
    const Node* node = index.root();
    for (bool found = true; found;) {
        found = false;
        for (std::size_t i = 0; i < 4 && !found; ++i) {
            if (node->children[i]) {
                path += QString::number(i);
                node = node->children[i].get();
                found = true;
            }
        }
    }
    return {path, node->items.size()};
}

TEST(QuadTree, BulkBuildSplitsOnlyFullNodes) {
    test::Boxes boxes;
    QuadTreeSpatialIndex index(64, 16);
    for (int i = 0; i < 64; ++i) {
        boxes.add(i % 2 == 0 ? GisExtent(0, 0, 1, 1) : GisExtent(8, 8, 9, 9));
    }
    index.build(boxes.pointers());
    EXPECT_EQ(index.root()->items.size(), 64);

    // One more, across the middle: it stays where the others leave.
    boxes.add({4, 4, 5, 5});
    index.build(boxes.pointers());
    EXPECT_EQ(index.root()->items.size(), 1);
    EXPECT_EQ(index.root()->children[0]->items.size(), 32);
    EXPECT_EQ(index.root()->children[3]->items.size(), 32);
    EXPECT_FALSE(index.root()->children[1] || index.root()->children[2]);

    // More than fit, but all across the middle.
    test::Boxes crossing(std::vector<GisExtent>(70, GisExtent(0, 0, 9, 9)));
    index.build(crossing.pointers());
    EXPECT_EQ(chain(index), std::pair(QString(), qsizetype{70}));
}

TEST(QuadTree, ResultsComeByNodeThenByQuadrant) {
    const test::Boxes boxes({GisExtent(8, 8, 9, 9), GisExtent(1, 8, 2, 9), GisExtent(4, 4, 6, 6), GisExtent(8, 1, 9, 2),
                             GisExtent(1, 1, 2, 2)});
    QuadTreeSpatialIndex index(1, 4);
    index.build(boxes.pointers());
    std::vector<int> ids;
    for (const auto* shape : index.search(GisExtent(0, 0, 10, 10))) {
        ids.push_back(shape->id());
    }
    EXPECT_EQ(ids, (std::vector<int>{2, 4, 3, 1, 0}));
}

TEST(QuadTree, IdenticalPointsSinkUntilTheCellIsTooSmall) {
    test::Boxes boxes(std::vector<GisExtent>(100, GisExtent(0, 0, 0, 0)));
    QuadTreeSpatialIndex index(64, 16);
    index.build(boxes.pointers());
    // 2e-9 halved eleven times is the first side not above 1e-12.
    EXPECT_EQ(chain(index), std::pair(QString("00000000000").replace(1, 10, "3333333333"), qsizetype{100}));
}

TEST(QuadTree, InsertionSinksAsDeepAsItFitsAndOutsideRebuilds) {
    test::Boxes boxes;
    QuadTreeSpatialIndex index(64, 4);
    index.insert(boxes.add(GisExtent()));
    EXPECT_FALSE(index.isBuilt());
    EXPECT_EQ(index.root(), nullptr);

    index.insert(boxes.add({0, 0, 16, 16}));
    index.insert(boxes.add({0.5, 15.25, 0.75, 15.5}));
    EXPECT_EQ(chain(index), std::pair(QString("2222"), qsizetype{1}));
    EXPECT_EQ(index.root()->items.size(), 1);

    index.insert(boxes.add({100, 100, 101, 101}));
    EXPECT_EQ(chain(index), std::pair(QString(), qsizetype{3}));
    EXPECT_EQ(index.root()->extent.xMax(), 101 + 1e-9 * 101);
    EXPECT_EQ(index.search({0, 0, 200, 200}).size(), 3);
}

TEST(QuadTree, QuadrantsShareTheirEdgesAndTheLowerLeftOneWins) {
    const GisExtent square(0, 0, 4, 4);
    struct Row {
        GisExtent item;
        int quadrant;
    };
    for (const Row& row : {Row{{2, 2, 2, 2}, 0},
                           {{2, 0, 2, 1}, 0},
                           {{2, 0, 3, 2}, 1},
                           {{0, 2, 2, 4}, 2},
                           {{2, 2.5, 2.5, 4}, 3},
                           {{1, 1, 3, 1}, -1},
                           {{3, 3, 4.5, 4}, -1},
                           {{}, -1}}) {
        EXPECT_EQ(QuadTreeSpatialIndex::childIndexContaining(square, row.item), row.quadrant)
            << row.item.toString().toStdString();
    }
}

} // namespace
