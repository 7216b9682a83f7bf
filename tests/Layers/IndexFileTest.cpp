#include "DataFolder.h"

#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <functional>

using namespace Cartolith::Core;
using Layers::GisLayerOgrVector;
using Origin = GisLayerOgrVector::IndexOrigin;
using Spatial::SpatialIndexType;

namespace {

class IndexFileTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(QFile::copy(CARTOLITH_DATA_DIR "/world-countries.gpkg", source)); }

    /// Opens the source, asks for Brazil and compares with a layer without an index.
    Origin originAfterAQuery(const std::function<void(GisLayerOgrVector&)>& change = {}) {
        GisLayerOgrVector layer(source);
        layer.setUsesIndexFile(true);
        EXPECT_EQ(layer.indexOrigin(), Origin::None);
        EXPECT_TRUE(layer.open());
        index = layer.indexFilePath();
        if (change) {
            change(layer);
        }
        const Shapes::GisExtent window(-50, -20, 10, 10);
        auto found = layer.query(window);
        const Origin origin = layer.indexOrigin();
        layer.setUseSpatialIndex(false);
        std::sort(found.begin(), found.end(), [](auto* a, auto* b) { return a->id() < b->id(); });
        EXPECT_EQ(found, layer.query(window));
        return origin;
    }

    static void rewrite(const QString& path, const std::function<void(QByteArray&)>& change) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        QByteArray bytes = file.readAll();
        change(bytes);
        file.resize(0);
        file.seek(0);
        file.write(bytes);
    }
    void setTime(const QDateTime& time) const {
        QFile file(source);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite) && file.setFileTime(time, QFileDevice::FileModificationTime));
    }

    QTemporaryDir folder;
    QString source = folder.filePath("world.gpkg");
    QString index;
};

TEST_F(IndexFileTest, IsSavedOnceAndLoadedFromThenOn) {
    EXPECT_EQ(originAfterAQuery(), Origin::BuiltAndSaved);
    EXPECT_EQ(index, source + ".world.rtree");
    EXPECT_TRUE(QFile::exists(index));
    EXPECT_EQ(originAfterAQuery(), Origin::Loaded);
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files).size(), 2) << "nothing else is left behind";
}

TEST_F(IndexFileTest, IsBuiltAnewWhenItIsStaleOrBroken) {
    const QDateTime then = QDateTime(QDate(2026, 1, 1), QTime(12, 0));
    const struct {
        const char* name;
        std::function<void()> spoil;
    } rows[] = {
        {"data edited", [&] { setTime(then.addSecs(1)); }},
        {"data replaced by an older file", [&] { setTime(then.addYears(-1)); }},
        {"data of another size",
         [&] {
             rewrite(source, [](QByteArray& bytes) { bytes += QByteArray(4096, '\0'); });
             setTime(then);
         }},
        {"index cut short", [&] { rewrite(index, [](QByteArray& bytes) { bytes.chop(1); }); }},
        {"index full of zeros",
         [&] {
             rewrite(index, [](QByteArray& bytes) {
                 bytes.replace(50, bytes.size() - 50, QByteArray(bytes.size() - 50, '\0'));
             });
         }},
        {"index empty", [&] { rewrite(index, [](QByteArray& bytes) { bytes.clear(); }); }},
        {"index much too large", [&] { rewrite(index, [](QByteArray& bytes) { bytes += QByteArray(99999, 'x'); }); }},
        {"index of another layer",
         [&] { // the name stands behind the header and three numbers
             rewrite(index, [](QByteArray& bytes) { bytes.replace(36, 5, "wOrld"); });
         }},
        {"index of fewer shapes", [&] { rewrite(index, [](QByteArray& bytes) { --bytes.data()[20]; }); }},
        {"index of the other strategy", [&] { rewrite(index, [](QByteArray& bytes) { ++bytes.data()[28]; }); }},
    };
    for (const auto& row : rows) {
        setTime(then);
        originAfterAQuery();
        ASSERT_EQ(originAfterAQuery(), Origin::Loaded) << "before: " << row.name;
        row.spoil();
        EXPECT_EQ(originAfterAQuery(), Origin::BuiltAndSaved) << row.name;
        EXPECT_EQ(originAfterAQuery(), Origin::Loaded) << "after: " << row.name;
    }
}

TEST_F(IndexFileTest, HasNoPartInOtherIndexesAndChangedContent) {
    EXPECT_EQ(originAfterAQuery([](auto& layer) { layer.setUsesIndexFile(false); }), Origin::Built);
    EXPECT_EQ(originAfterAQuery([](auto& layer) { layer.setSpatialIndexType(SpatialIndexType::QuadTree); }),
              Origin::Built);
    EXPECT_EQ(originAfterAQuery([](auto& layer) { layer.removeShapeById(5); }), Origin::Built);
    EXPECT_FALSE(QFile::exists(index)) << "so far nothing was worth saving";
    EXPECT_EQ(originAfterAQuery([](auto& layer) { layer.setSpatialIndexType(SpatialIndexType::RTreeHilbert); }),
              Origin::BuiltAndSaved);
    EXPECT_EQ(originAfterAQuery([](auto& layer) { layer.removeShapeById(5); }), Origin::Built)
        << "the saved one is of other content";

    GisLayerOgrVector layer(source);
    layer.setUsesIndexFile(true);
    layer.open();
    layer.buildSpatialIndex();
    layer.addPoint({1, 2});
    EXPECT_EQ(layer.indexOrigin(), Origin::None) << "what there was is stale";
}

TEST_F(IndexFileTest, ManagesWithoutWhereNothingCanBeWritten) {
    QDir(folder.path()).mkdir("world.gpkg.world.rtree"); // a folder stands in the way of the file
    EXPECT_EQ(originAfterAQuery(), Origin::Built);
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files).size(), 1);
}

} // namespace
