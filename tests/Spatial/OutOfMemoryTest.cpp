// Memory that runs out leaves every index as it was; and how much of it there has to be.

#include "FailingAllocations.h"
#include "TestData.h"

#include <Cartolith/Core/Spatial/LinearSpatialIndex.h>
#include <Cartolith/Core/Spatial/QuadTreeSpatialIndex.h>
#include <Cartolith/Core/Spatial/RTreeNode.h>
#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>

#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <sstream>

namespace {

using Cartolith::Core::Shapes::GisExtent;
using Cartolith::Core::Shapes::GisShape;
using namespace Cartolith::Core::Spatial;
using QuadTree::QuadTreeSpatialIndex;
using RTree::RTreeBuildStrategy;
using RTree::RTreeIndexHeader;
using RTree::RTreeNode;
using RTree::RTreeSpatialIndex;

const GisExtent everything(-1e9, -1e9, 1e9, 1e9);

void describe(std::ostream& out, const GisExtent& extent) {
    out << extent.xMin() << ' ' << extent.yMin() << ' ' << extent.xMax() << ' ' << extent.yMax() << ' ';
}
void describe(std::ostream& out, const RTreeNode& node) {
    describe(out, node.extent());
    for (const SpatialIndexItem& item : node.items()) {
        out << item.shape()->id() << ',';
    }
    for (qsizetype i = 0; i < node.children().size(); ++i) {
        out << '(' << node.childXMin()[i] << ' ' << node.childYMax()[i] << ':';
        describe(out, node.children()[i]);
        out << ')';
    }
}
void describe(std::ostream& out, const QuadTreeSpatialIndex::Node& node) {
    describe(out, node.extent);
    for (const SpatialIndexItem& item : node.items) {
        out << item.shape()->id() << ',';
    }
    for (const auto& child : node.children) {
        out << '(';
        if (child) {
            describe(out, *child);
        }
        out << ')';
    }
}

/// Everything there is to see of an index.
std::string describe(const ISpatialIndex& index) {
    std::ostringstream out;
    out << index.isBuilt() << ' ';
    for (const GisShape* shape : index.search(everything)) {
        out << shape->id() << ' ';
    }
    if (const auto* tree = dynamic_cast<const RTreeSpatialIndex*>(&index); tree != nullptr && tree->root() != nullptr) {
        describe(out, *tree->root());
    }
    if (const auto* tree = dynamic_cast<const QuadTreeSpatialIndex*>(&index);
        tree != nullptr && tree->root() != nullptr) {
        describe(out, *tree->root());
    }
    return out.str();
}

TEST(SpatialOutOfMemory, IndexesStayAsTheyWere) {
    test::Boxes boxes;
    for (int i = 0; i < 40; ++i) {
        boxes.add(GisExtent(i % 7, i % 5, i % 7 + 0.4, i % 5 + 0.1 * (i % 3)));
    }
    test::Boxes extra({{3.1, 2.1, 3.2, 2.2}, {90, 90, 91, 91}});
    const QTemporaryDir folder;
    const QString path = folder.filePath("some.index");
    RTreeIndexHeader header;
    header.setShapeCount(static_cast<int>(boxes.pointers().size()));
    RTreeSpatialIndex saved(4, RTreeBuildStrategy::Hilbert);
    saved.build(boxes.pointers());
    saved.save(path, header);

    using Index = std::unique_ptr<ISpatialIndex>;
    const struct {
        const char* name;
        std::function<Index()> make;
    } kinds[] = {
        {"linear", [] { return std::make_unique<Linear::LinearSpatialIndex>(); }},
        {"quadtree", [] { return std::make_unique<QuadTreeSpatialIndex>(2, 9); }},
        {"R-tree", [] { return std::make_unique<RTreeSpatialIndex>(4, RTreeBuildStrategy::SortAxis); }},
        {"R-tree along a curve", [] { return std::make_unique<RTreeSpatialIndex>(5, RTreeBuildStrategy::Hilbert); }},
    };
    const struct {
        const char* name;
        qsizetype built;    ///< so many of the boxes
        qsizetype inserted; ///< and then so many
        std::function<void(ISpatialIndex&)> act;
    } rows[] = {
        {"insert into nothing", 0, 0, [&](auto& index) { index.insert(extra.pointers()[0]); }},
        {"insert into a leaf", 3, 0, [&](auto& index) { index.insert(extra.pointers()[0]); }},
        {"insert and split", 40, 0, [&](auto& index) { index.insert(extra.pointers()[0]); }},
        {"insert deeper", 20, 20, [&](auto& index) { index.insert(extra.pointers()[0]); }},
        {"insert outside", 40, 0, [&](auto& index) { index.insert(extra.pointers()[1]); }},
        {"insert until the table is made anew", 10, 10, [&](auto& index) { index.insert(extra.pointers()[0]); }},
        {"build", 10, 5, [&](auto& index) { index.build(boxes.pointers()); }},
        {"load", 10, 5,
         [&](ISpatialIndex& index) {
             if (auto* tree = dynamic_cast<RTreeSpatialIndex*>(&index)) {
                 tree->load(path, header, boxes.pointers());
             }
         }},
    };
    int failures = 0;
    for (const auto& kind : kinds) {
        for (const auto& row : rows) {
            SCOPED_TRACE(std::string(kind.name) + ", " + row.name);
            RTreeNode copy; // shares the tree's lists
            const auto make = [&] {
                Index index = kind.make();
                if (row.built > 0) {
                    index->build(boxes.pointers().first(row.built));
                }
                for (qsizetype i = 0; i < row.inserted; ++i) {
                    index->insert(boxes.pointers()[i]);
                }
                const auto* tree = dynamic_cast<const RTreeSpatialIndex*>(index.get());
                copy = tree != nullptr && tree->root() != nullptr ? *tree->root() : RTreeNode();
                return index;
            };
            const std::string before = describe(*make());
            const Index whole = make();
            row.act(*whole);
            const std::string after = describe(*whole);
            failures += test::failEachAllocation(
                make, [&](const Index& index) { row.act(*index); },
                [&](const Index& index, int n) {
                    ASSERT_EQ(describe(*index), before) << "allocation " << n;
                    row.act(*index);
                    ASSERT_EQ(describe(*index), after) << "allocation " << n << ", again";
                });
        }
        SCOPED_TRACE(kind.name);
        const Index index = kind.make();
        index->build(boxes.pointers());
        const QList<GisShape*> before = extra.pointers();
        test::failEachAllocation([&] { return before; },
                                 [&](QList<GisShape*>& results) { index->search(everything, results); },
                                 [&](const QList<GisShape*>& results, int n) { ASSERT_EQ(results, before) << n; });
    }
    EXPECT_GT(failures, 200) << "are the allocations seen at all?";
}

// Nothing may be needed to let go of what there is: it happens while something else has failed.
TEST(SpatialOutOfMemory, TakingATreeApartNeedsNoMemory) {
    test::Boxes boxes;
    auto tree = std::make_unique<RTreeSpatialIndex>(4, RTreeBuildStrategy::SortAxis);
    auto quadTree = std::make_unique<QuadTreeSpatialIndex>(1, 5000);
    for (int i = 0; i < 3000; ++i) {
        GisShape* const shape =
            boxes.add(i % 3 == 0 ? GisExtent(1, 1, 1, 1) : GisExtent(i % 50, i / 50, i % 50, i / 50));
        tree->insert(shape);
        quadTree->insert(shape);
    }
    const RTreeNode copy = tree->root()->children().first();
    const test::FailingAllocations failing(1);
    tree.reset();
    quadTree.reset();
    EXPECT_FALSE(failing.hasFailed());
    EXPECT_FALSE(copy.isLeaf() && copy.items().isEmpty());
}

} // namespace
