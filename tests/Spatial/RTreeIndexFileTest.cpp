#include "Sanitizers.h"
#include "TestData.h"
#include "TestSeed.h"

#include <Cartolith/Core/Spatial/RTreeNode.h>
#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>

#include <QDataStream>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <limits>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Cartolith::Core;
using namespace Cartolith::Core::Spatial::RTree;
using Shapes::GisExtent;
using Reader = RTreeSpatialIndex::MappedReader;

namespace {

RTreeIndexHeader headerFor(qsizetype shapes) {
    RTreeIndexHeader header;
    header.setVersion(7);
    header.setFileSize(0x1122334455667788);
    header.setLastWriteTicks(-2);
    header.setShapeCount(static_cast<int>(shapes));
    return header;
}

/// Bytes of an index file, written field by field.
class Bytes {
public:
    Bytes() { m_stream.setByteOrder(QDataStream::LittleEndian); }
    Bytes& header(int shapes) { return header(headerFor(shapes)); }
    Bytes& header(const RTreeIndexHeader& header) {
        m_stream << qint32(header.version()) << qint64(header.fileSize()) << qint64(header.lastWriteTicks())
                 << qint32(header.shapeCount());
        return *this;
    }
    Bytes& node(const GisExtent& box, int flag, int count) {
        extent(box);
        m_stream << quint8(flag) << qint32(count);
        return *this;
    }
    Bytes& item(int id, const GisExtent& box) {
        m_stream << qint32(id);
        return extent(box);
    }
    Bytes& extent(const GisExtent& box) {
        m_stream << box.xMin() << box.yMin() << box.xMax() << box.yMax();
        return *this;
    }
    const QByteArray& get() const { return m_bytes; }

private:
    QByteArray m_bytes;
    QDataStream m_stream{&m_bytes, QIODevice::WriteOnly};
};

class RTreeIndexFile : public testing::Test {
protected:
    QString write(const QByteArray& bytes) const {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bytes);
        return path;
    }
    QByteArray read() const {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
    }

    QTemporaryDir folder;
    QString path = folder.filePath("tree.index");
    RTreeSpatialIndex index{4, RTreeBuildStrategy::SortAxis};
};

TEST_F(RTreeIndexFile, BytesOfSmallTrees) {
    index.save(path, headerFor(0));
    EXPECT_EQ(read(), "no file") << "nothing was ever put into the index";
    index.build({});
    index.save(path, headerFor(0));
    EXPECT_EQ(read(), Bytes().header(0).node({}, 1, 0).get()) << "an empty leaf";

    test::Boxes one({{1, 2, 3, 4}});
    one.pointers()[0]->setId(-5);
    index.build(one.pointers());
    index.save(path, headerFor(1));
    EXPECT_EQ(read(), Bytes().header(1).node({1, 2, 3, 4}, 1, 1).item(-5, {1, 2, 3, 4}).get());
    EXPECT_EQ(read().size(), 97);

    test::Boxes five({{0, 0, 1, 1}, {1, 0, 2, 1}, {2, 0, 3, 1}, {3, 0, 4, 1}, {4, 0, 5, 1}});
    index.build(five.pointers());
    index.save(path, headerFor(5), [](QFile& file) { return file.write("mine") == 4; });
    Bytes expected;
    expected.header(5);
    QByteArray bytes = expected.get() + "mine";
    bytes += Bytes().node({0, 0, 5, 1}, 0, 2).node({0, 0, 4, 1}, 1, 4).get();
    for (int i = 0; i < 5; ++i) {
        bytes += i == 4 ? Bytes().node({4, 0, 5, 1}, 1, 1).get() : QByteArray();
        bytes += Bytes().item(i, five.pointers()[i]->extent()).get();
    }
    EXPECT_EQ(read(), bytes);
}

TEST_F(RTreeIndexFile, AnswersAsBeforeAfterLoading) {
    std::mt19937 random(test::seed());
    for (const test::DataSet& data : test::dataSets()) {
        test::Boxes boxes(data.extents);
        for (const auto strategy : {RTreeBuildStrategy::SortAxis, RTreeBuildStrategy::Hilbert}) {
            RTreeSpatialIndex built(16, strategy);
            built.build(boxes.pointers());
            for (qsizetype i = 0; i < std::min<qsizetype>(boxes.pointers().size(), 40); ++i) {
                built.insert(boxes.pointers()[i]); // leaves split in place: a tree of several levels
            }
            const auto header = headerFor(boxes.pointers().size());
            built.save(path, header);
            RTreeSpatialIndex loaded(16, strategy);
            ASSERT_TRUE(loaded.load(path, header, boxes.pointers())) << data.name;
            EXPECT_TRUE(loaded.isBuilt());
            for (const GisExtent& window : test::windows(data, 60, random)) {
                ASSERT_EQ(loaded.search(window), built.search(window)) << data.name << " seed " << test::seed();
            }
            loaded.insert(boxes.pointers()[0]);
            const QByteArray before = read();
            RTreeSpatialIndex again(16, strategy);
            again.load(path, header, boxes.pointers());
            again.save(path, header);
            EXPECT_EQ(read(), before) << "what was loaded is written again byte for byte";
        }
    }
}

TEST_F(RTreeIndexFile, ChecksTheHeader) {
    test::Boxes boxes({{0, 0, 1, 1}, {5, 5, 6, 6}});
    index.build(boxes.pointers());
    const RTreeIndexHeader saved = headerFor(2);
    index.save(path, saved);
    const auto changed = [&](auto change) {
        RTreeIndexHeader header = saved;
        change(header);
        return header;
    };
    const struct {
        const char* name;
        RTreeIndexHeader expected;
        qsizetype shapes;
        bool loads;
    } rows[] = {
        {"the same", saved, 2, true},
        {"version", changed([](auto& h) { h.setVersion(8); }), 2, false},
        {"size", changed([](auto& h) { h.setFileSize(h.fileSize() + (1LL << 40)); }), 2, false},
        {"time, one tick later", changed([](auto& h) { h.setLastWriteTicks(-1); }), 2, false},
        {"count", changed([](auto& h) { h.setShapeCount(3); }), 2, false},
        {"any count", changed([](auto& h) { h.setShapeCount(-1); }), 2, true},
        {"any count, but not that of the shapes", changed([](auto& h) { h.setShapeCount(-1); }), 1, false},
    };
    for (const auto& row : rows) {
        RTreeSpatialIndex other(4, RTreeBuildStrategy::Hilbert);
        EXPECT_EQ(other.load(path, row.expected, boxes.pointers().mid(0, row.shapes)), row.loads) << row.name;
        EXPECT_EQ(other.isBuilt(), row.loads);
    }
}

TEST_F(RTreeIndexFile, CallersBlock) {
    test::Boxes boxes({{0, 0, 1, 1}});
    index.build(boxes.pointers());
    const auto load = [&](const std::function<bool(Reader&)>& readExtra) {
        return index.load(path, headerFor(1), boxes.pointers(), readExtra);
    };
    const qsizetype large = 700'001; // more than a reader over a file holds at once
    const QByteArray sent = QByteArray(large - 1, 'a') + 'z';
    index.save(path, headerFor(1), [&](QFile& file) { return file.write(sent) == large; });
    EXPECT_TRUE(load([&](Reader& reader) {
        QByteArray read(large, ' ');
        return !reader.readBytes(read.data(), reader.remaining() + 1) && reader.readBytes(read.data(), large) &&
               read == sent;
    })) << "a large block";
    index.save(path, headerFor(1), [](QFile& file) {
        return file.write(Bytes().extent({1, 2, 3, 4}).get() + QByteArray("\x07\x01\0\0\0", 5)) > 0;
    });
    EXPECT_TRUE(load([](Reader& reader) {
        double x = 0;
        double y = 0;
        quint8 byte = 0;
        qint32 number = 0;
        qint64 lower = 0;
        return reader.readDouble(x) && reader.readDouble(y) && reader.readInt64(lower) && x == 1 && y == 2 &&
               reader.readDouble(x) && x == 4 && reader.readByte(byte) && byte == 7 && reader.readInt32(number) &&
               number == 1;
    }));
    EXPECT_FALSE(load({})) << "the block is read as a tree";
    EXPECT_FALSE(load([](Reader& /*reader*/) { return false; }));

    const QByteArray bytes = Bytes().extent({1, 2, 3, 4}).get();
    Reader reader(reinterpret_cast<const unsigned char*>(bytes.constData()), 39);
    GisExtent extent;
    double kept = 9;
    EXPECT_TRUE(reader.readExtent(extent) && extent.yMax() == 4);
    EXPECT_FALSE(reader.readDouble(kept)) << "seven bytes left";
    EXPECT_EQ(reader.remaining(), 7);
    EXPECT_EQ(kept, 9);
    EXPECT_FALSE(reader.readBytes(&kept, -1));
    EXPECT_FALSE(Reader(nullptr, 100).readDouble(kept));
}

/// What a loader must refuse, or take as it stands. The index keeps what it had.
TEST_F(RTreeIndexFile, HostileAndBrokenFiles) {
    constexpr int most = std::numeric_limits<int>::max();
    const GisExtent box(0, 0, 1, 1);
    const GisExtent nan;
    QByteArray deep = Bytes().header(2).get();
    const QByteArray level = Bytes().node(box, 0, 1).get();
    for (int i = 0; i < test::repetitions(300000); ++i) {
        deep += level;
    }
    const QByteArray leaf = Bytes().node(box, 1, 1).item(1, box).get();
    QByteArray wide = Bytes().header(2).node(box, 1, 70000).get();
    for (int i = 0; i < 70000; ++i) {
        wide += Bytes().item(i % 2, box).get();
    }
    const struct {
        const char* name;
        QByteArray bytes;
        qsizetype found; ///< -1 when it must not load
    } rows[] = {
        {"zero bytes", {}, -1},
        {"header cut short", Bytes().header(2).get().left(23), -1},
        {"no tree", Bytes().header(2).get(), -1},
        {"depth without an end", deep, -1},
        {"depth with an end", deep + leaf, 1},
        {"negative count", Bytes().header(2).node(box, 1, -1).get(), -1},
        {"2^31 - 1 items", Bytes().header(2).node(box, 1, most).item(1, box).get(), -1},
        {"2^31 - 1 children", Bytes().header(2).node(box, 0, most).get() + leaf, -1},
        {"one item more than there is", Bytes().header(2).node(box, 1, 2).item(1, box).get(), -1},
        {"one child more than there is", Bytes().header(2).node(box, 0, 2).get() + leaf, -1},
        {"last byte missing", (Bytes().header(2).get() + leaf).chopped(1), -1},
        {"flag of 7", Bytes().header(2).node(box, 7, 1).item(1, box).get(), -1},
        {"bytes behind the tree", Bytes().header(2).get() + leaf + "more", 1},
        {"unknown id", Bytes().header(2).node(box, 1, 2).item(99, box).item(0, box).get(), 1},
        {"inner node without children", Bytes().header(2).node(box, 0, 0).get(), 0},
        {"NaN extents", Bytes().header(2).node(nan, 0, 1).node(nan, 1, 1).item(1, nan).get(), 0},
        {"more items than the reader's buffer", wide, 70000},
    };
    test::Boxes boxes({box, box});
    for (const auto& row : rows) {
        index.build({boxes.pointers()[0], boxes.pointers()[0], boxes.pointers()[0]});
        const bool loaded = index.load(write(row.bytes), headerFor(2), boxes.pointers());
        EXPECT_EQ(loaded, row.found >= 0) << row.name;
        EXPECT_EQ(index.search(box).size(), loaded ? row.found : 3) << row.name;
    }
    EXPECT_FALSE(index.load(folder.filePath("missing"), headerFor(2), boxes.pointers()));
    EXPECT_FALSE(index.load(folder.path(), headerFor(2), boxes.pointers())) << "a folder";
    ASSERT_EQ(mkfifo(qPrintable(folder.filePath("pipe")), 0600), 0);
    EXPECT_FALSE(index.load(folder.filePath("pipe"), headerFor(2), boxes.pointers()));
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__clang__) // the sanitizer's own memory breaks every limit
TEST_F(RTreeIndexFile, MemoryToLoadIsBounded) {
    const GisExtent box(0, 0, 1, 1);
    const auto repeated = [](const QByteArray& bytes, int count) { return bytes.repeated(count); };
    const QByteArray leaf = Bytes().node(box, 1, 1).item(1, box).get();
    const QByteArray none = Bytes().node(box, 1, 0).get();
    const QByteArray header = Bytes().header(2).get();
    const struct {
        const char* name;
        QByteArray bytes;
        bool loads;
    } rows[] = {
        {"a chain of one child each", header + repeated(Bytes().node(box, 0, 1).get(), 400'000) + leaf, true},
        {"a chain with a leaf beside each", header + repeated(Bytes().node(box, 0, 2).get() + leaf, 200'000) + leaf,
         true},
        {"a chain with empty leaves behind it",
         header + repeated(Bytes().node(box, 0, 2).get(), 200'000) + leaf + repeated(none, 200'000), true},
        {"empty leaves", header + Bytes().node(box, 0, 400'000).get() + repeated(none, 400'000), true},
        {"leaves of one", header + Bytes().node(box, 0, 200'000).get() + repeated(leaf, 200'000), true},
        {"one leaf", header + Bytes().node(box, 1, 400'000).get() + repeated(Bytes().item(1, box).get(), 400'000),
         true},
        {"counts that each fit, but not together",
         header + repeated(Bytes().node(box, 0, 100'000).get(), 400'000) + leaf, false},
    };
    test::Boxes boxes({box, box});
    for (const auto& row : rows) {
        write(row.bytes);
        const pid_t child = fork();
        if (child == 0) {
            long pages = 0;
            FILE* const file = std::fopen("/proc/self/statm", "r");
            const bool known = file != nullptr && std::fscanf(file, "%ld", &pages) == 1;
            const auto limit = static_cast<rlim_t>(pages * sysconf(_SC_PAGESIZE) + 14 * row.bytes.size() + (4 << 20));
            const rlimit most{limit, limit};
            setrlimit(RLIMIT_AS, &most);
            _exit(known && index.load(path, headerFor(2), boxes.pointers()) == row.loads ? 0 : 1);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0) << row.name;
    }
}
#endif

TEST_F(RTreeIndexFile, ShrinkingWhileItIsRead) {
    test::Boxes boxes(std::vector<GisExtent>(100000, GisExtent(0, 0, 1, 1)));
    RTreeSpatialIndex large(64, RTreeBuildStrategy::Hilbert);
    large.build(boxes.pointers());
    large.save(path, headerFor(100000));
    EXPECT_FALSE(index.load(path, headerFor(100000), boxes.pointers(), [this](Reader& /*reader*/) {
        return QFile::resize(path, 2000000); // half of it is gone when the tree is read
    }));
    EXPECT_FALSE(index.isBuilt());
}

TEST_F(RTreeIndexFile, IdsThatOccurTwiceOrFarApart) {
    const GisExtent box(0, 0, 1, 1);
    test::Boxes boxes({box, box, box});
    boxes.pointers()[0]->setId(1);
    boxes.pointers()[1]->setId(1);
    boxes.pointers()[2]->setId(std::numeric_limits<int>::min());
    write(Bytes().header(3).node(box, 1, 2).item(1, box).item(std::numeric_limits<int>::min(), box).get());
    ASSERT_TRUE(index.load(path, headerFor(3), boxes.pointers()));
    EXPECT_EQ(index.search(box), boxes.pointers().mid(1)) << "the later one, and the far one";
    ASSERT_TRUE(index.load(path, headerFor(3), {nullptr, boxes.pointers()[1], nullptr}));
    EXPECT_EQ(index.search(box), boxes.pointers().mid(1, 1));
}

TEST_F(RTreeIndexFile, SavingFails) {
    test::Boxes boxes(std::vector<GisExtent>(1000, GisExtent(0, 0, 1, 1)));
    index.build(boxes.pointers());
    const char* const cannotOpen = "RTreeSpatialIndex::save could not open file for writing.";
    const char* const cannotWrite = "RTreeSpatialIndex::save failed while writing index data.";
    const struct {
        QString path;
        bool extra;
        const char* message;
    } rows[] = {
        {folder.filePath("no/such/folder"), true, cannotOpen},
        {folder.path(), true, cannotOpen},
        {path, false, cannotWrite},
        {"/dev/full", true, cannotWrite},
    };
    for (const auto& row : rows) {
        try {
            index.save(row.path, headerFor(1000), [&](QFile& /*file*/) { return row.extra; });
            ADD_FAILURE() << qPrintable(row.path);
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), row.message);
        }
    }
}

} // namespace
