// Build time, query time and memory of the indexes, beside GEOS and Boost.Geometry on the same boxes.

#include "../../tests/Spatial/PlainInsertion.h"
#include "BoxData.h"

#include <Cartolith/Core/Spatial/QuadTreeSpatialIndex.h>
#include <Cartolith/Core/Spatial/RTreeNode.h>
#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>

#include <QFile>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

// The tree of the C++ API is what the C API wraps, without the call through a function pointer for each hit.
#define USE_UNSTABLE_GEOS_CPP_API
#ifdef __GNUC__
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#pragma GCC diagnostic ignored "-Wshadow"
#pragma GCC diagnostic ignored "-Wold-style-cast"
#pragma GCC diagnostic ignored "-Wpedantic"
#endif
#include <boost/geometry/algorithms/intersects.hpp>
#include <boost/geometry/geometries/box.hpp>
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/index/rtree.hpp>
#include <geos/geom/Envelope.h>
#include <geos/index/strtree/TemplateSTRtree.h>
#ifdef __GNUC__
#pragma GCC diagnostic pop
#endif

#include <cstddef>
#include <cstdlib>
#include <deque>
#include <malloc.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using Cartolith::Core::Shapes::GisExtent;
using Cartolith::Core::Shapes::GisShape;
using Cartolith::Core::Spatial::QuadTree::QuadTreeSpatialIndex;
using Cartolith::Core::Spatial::RTree::RTreeBuildStrategy;
using Cartolith::Core::Spatial::RTree::RTreeIndexHeader;
using Cartolith::Core::Spatial::RTree::RTreeSpatialIndex;

namespace {

// Every contender has build() from the data and query() that replaces what `found` holds.

template <RTreeBuildStrategy strategy>
struct OurRTree {
    using Found = QList<GisShape*>;
    RTreeSpatialIndex index{64, strategy};

    explicit OurRTree(const BoxData& data) { index.build(data.pointers); }
    std::size_t query(const GisExtent& window, Found& found) const {
        found.clear();
        return static_cast<std::size_t>(index.search(window, found));
    }
};

/// The index of the data in a file, saved when it is first asked for. The page cache has it then.
template <RTreeBuildStrategy strategy>
QString savedIndex(const BoxData& data, const RTreeIndexHeader& header) {
    static const QTemporaryDir folder;
    const QString path = folder.filePath(
        QString::fromStdString(data.name + std::to_string(static_cast<int>(strategy)) + ".index"));
    if (!QFile::exists(path)) {
        for (qsizetype i = 0; i < data.pointers.size(); ++i) {
            data.pointers[i]->setId(static_cast<int>(i) + 1); // as a layer numbers its shapes
        }
        RTreeSpatialIndex index(64, strategy);
        index.build(data.pointers);
        index.save(path, header);
    }
    return path;
}

template <RTreeBuildStrategy strategy>
struct OurLoadedRTree {
    RTreeSpatialIndex index{64, strategy};

    explicit OurLoadedRTree(const BoxData& data) {
        RTreeIndexHeader header;
        header.setShapeCount(static_cast<int>(data.pointers.size()));
        if (!index.load(savedIndex<strategy>(data, header), header, data.pointers)) {
            std::abort();
        }
    }
};

// As a layer keeps its index during editing: built once, then inserted into.
template <RTreeBuildStrategy strategy>
struct OurEditedRTree : OurRTree<strategy> {
    explicit OurEditedRTree(const BoxData& data) : OurRTree<strategy>(data) {
        for (qsizetype i = 0; i < 100; ++i) {
            this->index.insert(data.pointers[i * data.pointers.size() / 100]);
        }
    }
};

struct OurInsertion {
    RTreeSpatialIndex index;

    OurInsertion(const BoxData& data, RTreeBuildStrategy strategy) : index(64, strategy) {
        index.build(data.pointers);
    }
    void insert(GisShape* shape) { index.insert(shape); }
};

struct PlainInsertions {
    PlainInsertion tree;

    PlainInsertions(const BoxData& data, RTreeBuildStrategy strategy)
        : tree(OurInsertion(data, strategy).index) {}
    void insert(GisShape* shape) { tree.insert(shape); }
};

/// As an editor does it: a search of the changed place after each insertion.
struct OurInsertionAndSearch : OurInsertion {
    using OurInsertion::OurInsertion;
    void insert(GisShape* shape) {
        OurInsertion::insert(shape);
        QList<GisShape*> found;
        benchmark::DoNotOptimize(index.search(shape->extent(), found));
    }
};

struct OurQuadTree {
    using Found = QList<GisShape*>;
    QuadTreeSpatialIndex index{64, 16};

    explicit OurQuadTree(const BoxData& data) { index.build(data.pointers); }
    std::size_t query(const GisExtent& window, Found& found) const {
        found.clear();
        return static_cast<std::size_t>(index.search(window, found));
    }
};

struct Geos {
    using Found = std::vector<GisShape*>;
    mutable geos::index::strtree::TemplateSTRtree<GisShape*> tree;

    explicit Geos(const BoxData& data) : tree(10, data.boxes.size()) {
        for (std::size_t i = 0; i < data.boxes.size(); ++i) {
            const GisExtent& box = data.boxes[i];
            tree.insert(geos::geom::Envelope(box.xMin(), box.xMax(), box.yMin(), box.yMax()),
                        data.pointers[static_cast<qsizetype>(i)]);
        }
        tree.build();
    }
    std::size_t query(const GisExtent& window, Found& found) const {
        found.clear();
        const geos::geom::Envelope envelope(window.xMin(), window.xMax(), window.yMin(), window.yMax());
        tree.query(envelope, [&found](GisShape* shape) { found.push_back(shape); });
        return found.size();
    }
};

struct Boost {
    using Found = std::vector<
        std::pair<boost::geometry::model::box<boost::geometry::model::d2::point_xy<double>>, GisShape*>>;
    using Value = Found::value_type;
    using Box = Value::first_type;
    using Point = boost::geometry::model::d2::point_xy<double>;
    // The packing constructor is used whatever the insertion algorithm; 16 is the fan-out it packs to.
    std::unique_ptr<boost::geometry::index::rtree<Value, boost::geometry::index::linear<16>>> tree;

    explicit Boost(const BoxData& data) {
        std::vector<Value> values;
        values.reserve(data.boxes.size());
        for (std::size_t i = 0; i < data.boxes.size(); ++i) {
            const GisExtent& box = data.boxes[i];
            values.emplace_back(Box(Point(box.xMin(), box.yMin()), Point(box.xMax(), box.yMax())),
                                data.pointers[static_cast<qsizetype>(i)]);
        }
        tree = std::make_unique<decltype(tree)::element_type>(values);
    }
    // Through the iterator rather than an output iterator: only the pointer is to be copied.
    std::size_t query(const GisExtent& window, std::vector<GisShape*>& found) const {
        found.clear();
        const Box box(Point(window.xMin(), window.yMin()), Point(window.xMax(), window.yMax()));
        struct Sink {
            std::vector<GisShape*>* found;
            Sink& operator*() { return *this; }
            Sink& operator++() { return *this; }
            Sink& operator++(int) { return *this; }
            Sink& operator=(const Value& value) {
                found->push_back(value.second);
                return *this;
            }
        };
        tree->query(boost::geometry::index::intersects(box), Sink{&found});
        return found.size();
    }
};

std::size_t allocatedBytes() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

template <typename Contender>
void measureBuild(benchmark::State& state, const BoxData& data) {
    std::make_unique<Contender>(data); // a first one, whose memory the others find again
    for (auto _ : state) {
        auto contender = std::make_unique<Contender>(data);
        benchmark::DoNotOptimize(contender.get());
        state.PauseTiming();
        contender.reset();
        state.ResumeTiming();
    }
    const std::size_t before = allocatedBytes();
    const auto contender = std::make_unique<Contender>(data);
    const auto items = static_cast<double>(data.boxes.size());
    state.counters["bytes/item"] = static_cast<double>(allocatedBytes() - before) / items;
}

template <typename Contender, typename Found>
void measureQuery(benchmark::State& state, const BoxData& data, const std::vector<GisExtent>& windows) {
    const Contender contender(data);
    Found found;
    std::size_t next = 0;
    std::size_t hits = 0;
    std::size_t queries = 0;
    for (auto _ : state) {
        hits += contender.query(windows[next], found);
        benchmark::DoNotOptimize(found.data());
        next = next + 1 == windows.size() ? 0 : next + 1;
        ++queries;
    }
    state.counters["hits"] = static_cast<double>(hits) / static_cast<double>(queries);
}

struct DataSet {
    BoxData data;
    std::vector<std::pair<std::string, std::vector<GisExtent>>> windows;
};

template <typename Contender>
void addBuild(const DataSet& set, const std::string& name) {
    benchmark::RegisterBenchmark(
        ("Build/" + set.data.name + "/" + name).c_str(),
        [&set](benchmark::State& state) { measureBuild<Contender>(state, set.data); })
        ->MinTime(0.2)
        ->Unit(benchmark::kMicrosecond);
}

/// One insertion into a built index, a tenth as many of them as there are items.
template <typename Contender>
void measureInsert(benchmark::State& state, const BoxData& data, RTreeBuildStrategy strategy) {
    const auto count = data.pointers.size();
    auto contender = std::make_unique<Contender>(data, strategy);
    qsizetype next = 0;
    for (auto _ : state) {
        if (next == count / 10) {
            state.PauseTiming();
            contender = std::make_unique<Contender>(data, strategy);
            next = 0;
            state.ResumeTiming();
        }
        contender->insert(data.pointers[next++ * 7919 % count]);
    }
}

template <typename Contender>
void addInsert(const DataSet& set, const std::string& name) {
    for (const auto strategy : {RTreeBuildStrategy::SortAxis, RTreeBuildStrategy::Hilbert}) {
        const char* const order = strategy == RTreeBuildStrategy::SortAxis ? "SortAxis" : "Hilbert";
        benchmark::RegisterBenchmark(("Insert/" + set.data.name + "/" + name + order).c_str(),
                                     [&set, strategy](benchmark::State& state) {
                                         measureInsert<Contender>(state, set.data, strategy);
                                     })
            ->MinTime(0.2)
            ->Unit(benchmark::kMicrosecond);
    }
}

template <typename Contender, typename Found = QList<GisShape*>>
void add(const DataSet& set, const std::string& name) {
    addBuild<Contender>(set, name);
    for (const auto& entry : set.windows) {
        benchmark::RegisterBenchmark(("Query" + entry.first + "/" + set.data.name + "/" + name).c_str(),
                                     [&set, &entry](benchmark::State& state) {
                                         measureQuery<Contender, Found>(state, set.data, entry.second);
                                     })
            ->MinTime(0.2)
            ->Unit(benchmark::kMicrosecond);
    }
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    std::deque<DataSet> sets;
    const auto addData = [&sets](BoxData data) {
        const auto count = static_cast<double>(data.boxes.size());
        DataSet& set = sets.emplace_back(DataSet{std::move(data), {}});
        set.windows = {{"10", set.data.windows(10)},
                       {"1000", set.data.windows(1000)},
                       {"10%", set.data.windows(count / 10)}};
    };
    for (const int count : {10'000, 100'000, 1'000'000}) {
        addData(BoxData::uniform(count));
        addData(BoxData::clustered(count));
    }
    addData(BoxData::counties());
    for (const DataSet& set : sets) {
        add<OurRTree<RTreeBuildStrategy::SortAxis>>(set, "RTreeSortAxis");
        add<OurRTree<RTreeBuildStrategy::Hilbert>>(set, "RTreeHilbert");
        addBuild<OurLoadedRTree<RTreeBuildStrategy::SortAxis>>(set, "RTreeSortAxisLoaded");
        addBuild<OurLoadedRTree<RTreeBuildStrategy::Hilbert>>(set, "RTreeHilbertLoaded");
        add<OurEditedRTree<RTreeBuildStrategy::SortAxis>>(set, "RTreeSortAxisEdited");
        add<OurEditedRTree<RTreeBuildStrategy::Hilbert>>(set, "RTreeHilbertEdited");
        addInsert<OurInsertion>(set, "RTree");
        addInsert<OurInsertionAndSearch>(set, "RTreeAndSearch");
        addInsert<PlainInsertions>(set, "Plain");
        add<OurQuadTree>(set, "QuadTree");
        add<Geos, std::vector<GisShape*>>(set, "Geos");
        add<Boost, std::vector<GisShape*>>(set, "Boost");
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
