// All indexes against the linear one, and the search of the R-tree against a plain traversal of its nodes.

#include "TestData.h"
#include "TestSeed.h"

#include <Cartolith/Core/Spatial/LinearSpatialIndex.h>
#include <Cartolith/Core/Spatial/QuadTreeSpatialIndex.h>
#include <Cartolith/Core/Spatial/RTreeNode.h>
#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <stdexcept>

namespace {

using namespace Cartolith::Core::Spatial;
using Cartolith::Core::Shapes::GisExtent;
using Cartolith::Core::Shapes::GisShape;
using Linear::LinearSpatialIndex;
using QuadTree::QuadTreeSpatialIndex;
using RTree::RTreeBuildStrategy;
using RTree::RTreeNode;
using RTree::RTreeSpatialIndex;

struct Kind {
    const char* name;
    std::function<std::unique_ptr<ISpatialIndex>()> make;
};

const std::vector<Kind>& kinds() {
    const auto tree = [](int size, RTreeBuildStrategy strategy) {
        return [=]() -> std::unique_ptr<ISpatialIndex> { return std::make_unique<RTreeSpatialIndex>(size, strategy); };
    };
    static const std::vector<Kind> kinds{
        {"SortAxis64", tree(64, RTreeBuildStrategy::SortAxis)},
        {"Hilbert64", tree(64, RTreeBuildStrategy::Hilbert)},
        {"SortAxis5", tree(5, RTreeBuildStrategy::SortAxis)},
        {"Hilbert5", tree(5, RTreeBuildStrategy::Hilbert)},
        {"SortAxis1500", tree(1500, RTreeBuildStrategy::SortAxis)},
        {"QuadTree", [] { return std::make_unique<QuadTreeSpatialIndex>(64, 16); }},
        {"QuadTree1", [] { return std::make_unique<QuadTreeSpatialIndex>(1, 1); }},
        {"DeepQuadTree", [] { return std::make_unique<QuadTreeSpatialIndex>(1, 3000); }},
    };
    return kinds;
}

void traverse(const RTreeNode& node, const GisExtent& query, QList<GisShape*>& found) {
    if (!RTreeSpatialIndex::intersects(node.extent(), query)) {
        return;
    }
    for (const SpatialIndexItem& item : node.items()) {
        if (RTreeSpatialIndex::intersects(item.extent(), query)) {
            found.append(item.shape());
        }
    }
    for (const RTreeNode& child : node.children()) {
        traverse(child, query, found);
    }
}

std::vector<int> idsOf(const QList<GisShape*>& shapes) {
    std::vector<int> ids(static_cast<std::size_t>(shapes.size()));
    std::transform(shapes.begin(), shapes.end(), ids.begin(), [](auto* shape) { return shape->id(); });
    return ids;
}

std::vector<int> sorted(std::vector<int> ids) {
    std::sort(ids.begin(), ids.end());
    return ids;
}

void compare(const ISpatialIndex& index, const LinearSpatialIndex& reference, const test::DataSet& data,
             int windowCount, std::mt19937& random) {
    const auto* tree = dynamic_cast<const RTreeSpatialIndex*>(&index);
    for (const GisExtent& window : test::windows(data, windowCount, random)) {
        SCOPED_TRACE(QStringLiteral("window %1 %2 %3 %4")
                         .arg(window.xMin(), 0, 'g', 17)
                         .arg(window.yMin(), 0, 'g', 17)
                         .arg(window.xMax(), 0, 'g', 17)
                         .arg(window.yMax(), 0, 'g', 17)
                         .toStdString());
        QList<GisShape*> results = index.search(window);
        const std::vector<int> found = idsOf(results);
        ASSERT_EQ(sorted(found), sorted(idsOf(reference.search(window))));
        ASSERT_EQ(index.search(window, results), static_cast<int>(found.size()));
        std::vector<int> twice = found;
        twice.insert(twice.end(), found.begin(), found.end());
        ASSERT_EQ(idsOf(results), twice);
        if (tree) {
            QList<GisShape*> plain;
            traverse(*tree->root(), window, plain);
            ASSERT_EQ(found, window.isEmpty() ? std::vector<int>{} : idsOf(plain));
            const QList<int> ids = tree->searchShapeIds(window);
            ASSERT_EQ(found, std::vector<int>(ids.begin(), ids.end()));
        }
    }
}

class EveryIndexAndData : public testing::TestWithParam<std::tuple<std::size_t, std::size_t>> {};

TEST_P(EveryIndexAndData, FindsWhatTheLinearIndexFinds) {
    const Kind& kind = kinds()[std::get<0>(GetParam())];
    const test::DataSet& data = test::dataSets()[std::get<1>(GetParam())];
    SCOPED_TRACE("CARTOLITH_TEST_SEED=" + std::to_string(test::seed()));
    std::mt19937 random(test::seed());
    const test::Boxes boxes(data.extents);
    const auto index = kind.make();
    LinearSpatialIndex reference;

    index->build(boxes.pointers());
    reference.build(boxes.pointers());
    EXPECT_TRUE(index->isBuilt());
    ASSERT_NO_FATAL_FAILURE(compare(*index, reference, data, 150, random));

    // One insertion, some, and as many as make the tree's proportions change.
    const auto half = static_cast<qsizetype>(data.extents.size() / 2);
    for (const qsizetype count : {qsizetype{1}, qsizetype{40}, 2 * half + 50}) {
        SCOPED_TRACE("inserted " + std::to_string(count));
        for (qsizetype i = 0; i < count; ++i) {
            GisShape* const shape = boxes.pointers()[(i + half) % boxes.pointers().size()];
            index->insert(shape);
            reference.insert(shape);
        }
        ASSERT_NO_FATAL_FAILURE(compare(*index, reference, data, 60, random));
    }

    // From nothing, by insertion alone.
    index->clear();
    reference.clear();
    EXPECT_FALSE(index->isBuilt());
    EXPECT_TRUE(index->search({-1e9, -1e9, 1e9, 1e9}).isEmpty());
    for (GisShape* shape : boxes.pointers()) {
        index->insert(shape);
        reference.insert(shape);
    }
    ASSERT_NO_FATAL_FAILURE(compare(*index, reference, data, 60, random));
}

INSTANTIATE_TEST_SUITE_P(Spatial, EveryIndexAndData,
                         testing::Combine(testing::Range<std::size_t>(0, kinds().size()),
                                          testing::Range<std::size_t>(0, 11)),
                         [](const auto& row) {
                             return kinds()[std::get<0>(row.param)].name +
                                    test::dataSets()[std::get<1>(row.param)].name;
                         });

TEST(SpatialIndex, BuildLeavesOutNullAndEmptyShapesAndForgetsWhatWasThere) {
    test::Boxes boxes({{0, 0, 1, 1}, {}, {2, 2, 3, 3}});
    const GisExtent everything(-9, -9, 9, 9);
    auto all = kinds();
    all.push_back({"Linear", [] { return std::make_unique<LinearSpatialIndex>(); }});
    for (const Kind& kind : all) {
        SCOPED_TRACE(kind.name);
        const auto index = kind.make();
        EXPECT_FALSE(index->isBuilt());
        EXPECT_EQ(index->search(everything).size(), 0);
        for (int i = 0; i < 2; ++i) {
            index->build({boxes.pointers()[0], nullptr, boxes.pointers()[1], boxes.pointers()[2]});
            EXPECT_EQ(index->search(everything).size(), 2);
        }
        index->build({});
        EXPECT_TRUE(index->isBuilt());
        EXPECT_EQ(index->search(everything).size(), 0);
    }
}

TEST(SpatialIndex, ErrorsNameTheirCause) {
    LinearSpatialIndex linear;
    QuadTreeSpatialIndex quadTree(1, 1);
    RTreeSpatialIndex rTree(4, RTreeBuildStrategy::Hilbert);
    struct Row {
        std::function<void()> act;
        const char* message;
        bool isRange;
    };
    const std::vector<Row> rows{
        {[] { SpatialIndexItem(nullptr, {}); }, "SpatialIndexItem shape cannot be null.", false},
        {[&] { linear.insert(nullptr); }, "LinearSpatialIndex::insert shape cannot be null.", false},
        {[&] { quadTree.insert(nullptr); }, "QuadTreeSpatialIndex::insert shape cannot be null.", false},
        {[&] { rTree.insert(nullptr); }, "RTreeSpatialIndex::insert shape cannot be null.", false},
        {[] { QuadTreeSpatialIndex(0, 0); }, "QuadTreeSpatialIndex maxItemsPerNode must be at least 1.", true},
        {[] { QuadTreeSpatialIndex(64, 0); }, "QuadTreeSpatialIndex maxDepth must be at least 1.", true},
        {[] { RTreeSpatialIndex(3, RTreeBuildStrategy::SortAxis); },
         "RTreeSpatialIndex maxItemsPerNode must be at least 4.", true},
    };
    for (const Row& row : rows) {
        try {
            row.act();
            ADD_FAILURE() << "nothing thrown: " << row.message;
        } catch (const std::logic_error& error) {
            EXPECT_STREQ(error.what(), row.message);
            EXPECT_EQ(dynamic_cast<const std::out_of_range*>(&error) != nullptr, row.isRange);
            EXPECT_EQ(dynamic_cast<const std::invalid_argument*>(&error) != nullptr, !row.isRange);
        }
    }
    EXPECT_FALSE(linear.isBuilt() || quadTree.isBuilt() || rTree.isBuilt());
}

} // namespace
