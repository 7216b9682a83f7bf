// The order and the structure of the R-tree.

#include "PlainInsertion.h"
#include "Sanitizers.h"
#include "TestData.h"
#include "TestSeed.h"

#include <Cartolith/Core/Spatial/RTreeNode.h>
#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <thread>

namespace {

using Cartolith::Core::Shapes::GisExtent;
using Cartolith::Core::Shapes::GisShape;
using Cartolith::Core::Spatial::SpatialIndexItem;
using namespace Cartolith::Core::Spatial::RTree;
using testing::ElementsAre;

std::vector<int> leafSizes(const RTreeNode& node) {
    std::vector<int> sizes;
    for (const RTreeNode& child : node.children()) {
        sizes.push_back(child.isLeaf() ? static_cast<int>(child.items().size()) : -1);
    }
    return sizes;
}

QList<SpatialIndexItem> itemsOf(const test::Boxes& boxes) {
    QList<SpatialIndexItem> items;
    for (auto* shape : boxes.pointers()) {
        items.emplaceBack(shape, shape->extent());
    }
    return items;
}

// Everything that a node says about what is below it.
void checkInvariants(const RTreeNode& node) {
    ASSERT_EQ(node.isLeaf(), node.children().isEmpty());
    ASSERT_TRUE(node.isLeaf() || node.items().isEmpty());
    const auto check = [&node](const auto& entries, const auto& xMin, const auto& yMin, const auto& xMax,
                               const auto& yMax) {
        ASSERT_EQ(xMin.size(), entries.size());
        for (qsizetype i = 0; i < entries.size(); ++i) {
            const GisExtent extent = entries[i].extent();
            const GisExtent covering = node.extent().expand(extent);
            if (!extent.isEmpty()) {
                ASSERT_THAT((std::array{xMin[i], yMin[i], xMax[i], yMax[i]}),
                            ElementsAre(extent.xMin(), extent.yMin(), extent.xMax(), extent.yMax()));
                ASSERT_TRUE(covering.xMin() == node.extent().xMin() && covering.yMin() == node.extent().yMin() &&
                            covering.xMax() == node.extent().xMax() && covering.yMax() == node.extent().yMax());
            }
        }
    };
    check(node.children(), node.childXMin(), node.childYMin(), node.childXMax(), node.childYMax());
    check(node.items(), node.itemXMin(), node.itemYMin(), node.itemXMax(), node.itemYMax());
    for (const RTreeNode& child : node.children()) {
        checkInvariants(child);
    }
}

TEST(RTree, BulkBuildMakesTwoLevelsAtMost) {
    struct Row {
        int count;
        int capacity;
        int children;
        int lastLeaf;
    };
    for (const Row& row : {Row{64, 64, 0, 64}, {65, 64, 2, 1}, {1000, 64, 16, 40}, {4097, 4, 1025, 1}}) {
        SCOPED_TRACE(row.count);
        test::Boxes boxes;
        for (int i = 0; i < row.count; ++i) {
            boxes.add({i * 1.0, 0, i + 1.5, 1});
        }
        RTreeSpatialIndex index(row.capacity, RTreeBuildStrategy::SortAxis);
        index.build(boxes.pointers());
        const RTreeNode& root = *index.root();
        EXPECT_EQ(root.children().size(), row.children);
        EXPECT_EQ((row.children == 0 ? root : root.children().last()).items().size(), row.lastLeaf);
        checkInvariants(root);
    }
}

TEST(RTree, InsertionSplitsLeavesInPlaceAndDescendsByLeastEnlargement) {
    RTreeSpatialIndex index(4, RTreeBuildStrategy::SortAxis);
    test::Boxes boxes;
    for (const double x : {40.0, 0.0, 30.0, 10.0, 20.0}) {
        index.insert(boxes.add({x, 0, x + 1, 1}));
    }
    EXPECT_THAT(leafSizes(*index.root()), ElementsAre(4, 1));
    EXPECT_EQ(index.root()->children()[1].extent().xMin(), 40);

    // Half way between both, the growth is the same: the smaller one takes it.
    index.insert(boxes.add({35, 0, 36, 1}));
    EXPECT_THAT(leafSizes(*index.root()), ElementsAre(4, 2));
    // Inside the first, which is full: it becomes a node of its own.
    index.insert(boxes.add({15, 0, 16, 1}));
    EXPECT_THAT(leafSizes(*index.root()), ElementsAre(-1, 2));
    EXPECT_THAT(leafSizes(index.root()->children()[0]), ElementsAre(4, 1));
    checkInvariants(*index.root());
}

// Insertions into the same place nest a leaf in a leaf each time; a recursion of that depth would not fit the
// stack that the sanitizers leave.
TEST(RTree, DeepTreesDoNotExhaustTheStack) {
    test::Boxes boxes;
    RTreeSpatialIndex index(4, RTreeBuildStrategy::Hilbert);
    for (int i = 0; i < 2000; ++i) {
        index.insert(boxes.add({1, 2, 1, 2}));
    }
    EXPECT_EQ(index.search({0, 0, 3, 3}).size(), 2000);

    RTreeNode chain;
    chain.setItems(itemsOf(boxes));
    for (int i = 0; i < test::repetitions(300000); ++i) {
        RTreeNode parent;
        parent.setChildren({std::move(chain)});
        chain = std::move(parent);
    }
    const RTreeNode copy = chain;
    chain = RTreeNode();
    EXPECT_FALSE(copy.isLeaf());
}

// Large enough for slices that a window covers wholly, and for groups of slices.
TEST(RTree, AWideTreeGivesWhatAScanOfItsLeavesGives) {
    std::vector<GisExtent> extents;
    std::mt19937 random(test::seed());
    std::uniform_real_distribution<double> place(0, 1000);
    for (int i = 0; i < 80000; ++i) {
        const double x = place(random);
        const double y = place(random);
        extents.emplace_back(x, y, x + 1, y + 1);
    }
    const test::Boxes boxes(extents);
    for (const auto strategy : {RTreeBuildStrategy::SortAxis, RTreeBuildStrategy::Hilbert}) {
        RTreeSpatialIndex index(64, strategy);
        index.build(boxes.pointers());
        for (const GisExtent& window : {GisExtent(100, 100, 900, 900), GisExtent(-1, -1, 2000, 500)}) {
            QList<int> expected{-1};
            for (const RTreeNode& leaf : index.root()->children()) {
                for (const SpatialIndexItem& item : leaf.items()) {
                    if (item.extent().intersects(window)) {
                        expected.append(item.shape()->id());
                    }
                }
            }
            QList<int> ids{-1}; // what is there already stays
            EXPECT_EQ(index.searchShapeIds(window, ids), expected.size() - 1);
            EXPECT_TRUE(ids == expected) << "seed " << test::seed();
        }
    }
}

// The search that comes after some dozens of others rearranges what an insertion changed, beside searches that go on.
TEST(RTree, SearchesRunSideBySideAfterInsertions) {
    const test::DataSet& data = test::dataSets().front();
    const test::Boxes boxes(data.extents);
    std::mt19937 random(test::seed());
    for (const auto strategy : {RTreeBuildStrategy::SortAxis, RTreeBuildStrategy::Hilbert}) {
        RTreeSpatialIndex index(8, strategy);
        index.build(boxes.pointers());
        for (int round = 0; round < test::repetitions(10); ++round) {
            for (int i = 0; i < 20; ++i) {
                index.insert(boxes.pointers()[static_cast<qsizetype>(random()) % boxes.pointers().size()]);
            }
            const std::vector<GisExtent> windows = test::windows(data, 40, random);
            const auto answers = [&windows](const RTreeSpatialIndex& of) {
                std::vector<QList<int>> all;
                for (int again = 0; again < 3; ++again) {
                    for (const GisExtent& window : windows) {
                        all.push_back(of.searchShapeIds(window));
                    }
                }
                return all;
            };
            std::vector<std::vector<QList<int>>> found(4);
            std::vector<std::thread> threads;
            for (auto& each : found) {
                threads.emplace_back([&] { each = answers(index); });
            }
            for (std::thread& thread : threads) {
                thread.join();
            }
            for (const auto& each : found) {
                ASSERT_TRUE(each == answers(index)) << "seed " << test::seed();
                ASSERT_TRUE(std::equal(each.begin(), each.begin() + 40, each.end() - 40)) << "seed " << test::seed();
            }
        }
    }
}

void expectEqual(const RTreeNode& a, const RTreeNode& b) {
    const auto bounds = [](const GisExtent& e) { return std::array{e.xMin(), e.yMin(), e.xMax(), e.yMax()}; };
    ASSERT_TRUE(bounds(a.extent()) == bounds(b.extent()) || (a.extent().isEmpty() && b.extent().isEmpty()));
    ASSERT_EQ(a.items().size(), b.items().size());
    for (qsizetype i = 0; i < a.items().size(); ++i) {
        ASSERT_EQ(a.items()[i].shape(), b.items()[i].shape());
    }
    ASSERT_EQ(a.children().size(), b.children().size());
    for (qsizetype i = 0; i < a.children().size(); ++i) {
        ASSERT_NO_FATAL_FAILURE(expectEqual(a.children()[i], b.children()[i]));
    }
}

TEST(RTree, InsertionsMakeTheTreeOfThePlainSteps) {
    for (const test::DataSet& data : test::dataSets()) {
        SCOPED_TRACE(data.name);
        const test::Boxes boxes(data.extents);
        const auto half = boxes.pointers().size() / 2;
        for (const auto strategy : {RTreeBuildStrategy::SortAxis, RTreeBuildStrategy::Hilbert}) {
            RTreeSpatialIndex index(6, strategy);
            index.build(boxes.pointers().first(half));
            PlainInsertion plain(index);
            test::Boxes empty({GisExtent()});
            for (GisShape* const shape : boxes.pointers().mid(half, test::repetitions(600)) + empty.pointers()) {
                index.insert(shape);
                plain.insert(shape);
            }
            ASSERT_NO_FATAL_FAILURE(expectEqual(*index.root(), plain.root()));
            ASSERT_NO_FATAL_FAILURE(checkInvariants(*index.root()));
        }
    }
}

TEST(RTree, EmptyExtentsStayOutOfUnions) {
    test::Boxes boxes;
    RTreeSpatialIndex index(4, RTreeBuildStrategy::SortAxis);
    for (const double x : {0.0, 1.0, 2.0, 3.0, std::nan("")}) {
        index.insert(boxes.add(GisExtent(x, 5, x, 5)));
        EXPECT_TRUE(index.isBuilt());
    }
    ASSERT_EQ(leafSizes(*index.root()), (std::vector<int>{4, 1}));
    EXPECT_TRUE(std::isnan(index.root()->children()[1].extent().yMin()));
}

TEST(RTree, CopiesOfTheRootKeepTheirContents) {
    const test::DataSet& data = test::dataSets().front();
    const test::Boxes boxes(data.extents);
    RTreeSpatialIndex index(16, RTreeBuildStrategy::SortAxis);
    index.build(boxes.pointers().first(2000));
    const RTreeNode copy = *index.root();
    for (qsizetype i = 2000; i < 2500; ++i) {
        index.insert(boxes.pointers()[i]);
    }
    EXPECT_EQ(index.search({-9, -9, 9, 9}).size(), 2500);
    EXPECT_THAT(leafSizes(copy), testing::Each(16));
    checkInvariants(*index.root());
}

TEST(RTree, GroupsFollowThePlainOrder) {
    for (const test::DataSet& data : test::dataSets()) {
        SCOPED_TRACE(data.name);
        const test::Boxes boxes(data.extents);
        const QList<SpatialIndexItem> items = itemsOf(boxes);
        const GisExtent all = RTreeSpatialIndex::calculateExtent(items);
        const auto center = all.height() <= all.width() ? &RTreeSpatialIndex::centerX : &RTreeSpatialIndex::centerY;
        const auto axisKey = [&](const SpatialIndexItem& item) {
            const double key = center(item.extent());
            return std::pair(std::isnan(key), std::isnan(key) ? 0.0 : key);
        };
        const auto hilbertKey = [&](const SpatialIndexItem& item) {
            const GisExtent e = item.extent();
            return RTreeSpatialIndex::hilbertIndex(
                RTreeSpatialIndex::normalizeCoordinate(RTreeSpatialIndex::centerX(e), all.xMin(), all.xMax()),
                RTreeSpatialIndex::normalizeCoordinate(RTreeSpatialIndex::centerY(e), all.yMin(), all.yMax()), 16);
        };
        const auto check = [&items](const QList<QList<SpatialIndexItem>>& groups, auto key) {
            QList<SpatialIndexItem> expected = items;
            std::stable_sort(expected.begin(), expected.end(),
                             [&key](const auto& a, const auto& b) { return key(a) < key(b); });
            qsizetype next = 0;
            for (const QList<SpatialIndexItem>& group : groups) {
                ASSERT_EQ(group.size(), std::min(items.size() - next, qsizetype{10}));
                for (const SpatialIndexItem& item : group) {
                    ASSERT_EQ(item.shape(), expected[next++].shape());
                }
            }
            ASSERT_EQ(next, items.size());
        };
        check(RTreeSpatialIndex(10, RTreeBuildStrategy::SortAxis).splitItems(items), axisKey);
        check(RTreeSpatialIndex(10, RTreeBuildStrategy::Hilbert).splitItems(items), hilbertKey);
        check(RTreeSpatialIndex(10, RTreeBuildStrategy(7)).splitItems(items), axisKey);
    }
}

TEST(RTree, TheHilbertCurveVisitsEveryCellAndStepsToANeighbour) {
    std::vector<std::pair<int, int>> cells(16 * 16, {-1, -1});
    for (quint32 x = 0; x < 16; ++x) {
        for (quint32 y = 0; y < 16; ++y) {
            cells.at(RTreeSpatialIndex::hilbertIndex(x, y, 4)) = {x, y};
        }
    }
    EXPECT_EQ(cells.front(), std::pair(0, 0));
    EXPECT_EQ(cells.back(), std::pair(15, 0));
    for (std::size_t i = 1; i < cells.size(); ++i) {
        EXPECT_EQ(std::abs(cells[i].first - cells[i - 1].first) + std::abs(cells[i].second - cells[i - 1].second), 1);
    }
    EXPECT_EQ(RTreeSpatialIndex::hilbertIndex(65535, 0, 16), 4294967295U);
}

TEST(RTree, NormalizeCoordinateClampsAndRoundsHalfUp) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double half = 0.5 / 65535.0;
    struct Row {
        double value;
        double min;
        double max;
        int expected;
    };
    for (const Row& row : {Row{5, 0, 5, 65535},
                           {5, 5, 5, 0},
                           {5, 6, 4, 0},
                           {-1, 0, 5, 0},
                           {6, 0, 5, 65535},
                           {half, 0, 1, 1},
                           {std::nextafter(half, 0.0), 0, 1, 0},
                           {infinity, 0, 5, 65535},
                           {-infinity, 0, 5, 0},
                           {1, 0, infinity, 0},
                           {infinity, 0, infinity, 0},
                           {std::nan(""), 0, 1, 0},
                           {1, std::nan(""), 1, 0}}) {
        EXPECT_EQ(RTreeSpatialIndex::normalizeCoordinate(row.value, row.min, row.max), row.expected)
            << row.value << ' ' << row.min << ' ' << row.max;
    }
}

} // namespace
