#include <Cartolith/Map/Output/TileWriter.h>

#include <QDir>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <gdal_priv.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace Cartolith::Map::Output;
using Cartolith::Core::Shapes::GisExtent;

namespace {

constexpr double half = TileScheme::halfWorld;

TEST(TileScheme, FindsTheTilesOfAnExtent) {
    struct Row {
        const char* name;
        GisExtent extent;
        int zoom;
        std::optional<TileRange> expected;
    };
    const double eighth = half / 4;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<Row> rows = {
        {"world", {-half, -half, half, half}, 3, TileRange{3, 0, 0, 7, 7}},
        {"beyond the world", {-3 * half, -9 * half, 3 * half, 9 * half}, 1, TileRange{1, 0, 0, 1, 1}},
        {"a tile to its edges", {eighth, eighth, 2 * eighth, 2 * eighth}, 3, TileRange{3, 5, 2, 5, 2}},
        {"a little more", {eighth, eighth, 2 * eighth + 1, 2 * eighth}, 3, TileRange{3, 5, 2, 6, 2}},
        {"a place on an edge", {eighth, eighth, eighth, eighth}, 3, TileRange{3, 5, 3, 5, 3}},
        {"the last corner", {half, -half, half, -half}, 24, TileRange{24, 16777215, 16777215, 16777215, 16777215}},
        {"empty", GisExtent(), 3, std::nullopt},
        {"not a number", {nan, 0, 1, 1}, 3, std::nullopt},
        {"outside", {2 * half, 0, 3 * half, 1}, 3, std::nullopt},
        {"too deep", {0, 0, 1, 1}, 25, std::nullopt},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(TileScheme::tilesOf(row.extent, row.zoom), row.expected) << row.name;
    }
    EXPECT_DOUBLE_EQ(TileScheme::extentOf(TileId{1, 1, 0}).yMax(), half);
}

/// The west is blue; in the east each pixel tells its place. Each is drawn the same in any picture.
QImage drawn(const GisExtent& extent, QSize size) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            const double mapX = extent.xMin() + (x + 0.5) * extent.width() / size.width();
            const double mapY = extent.yMax() - (y + 0.5) * extent.height() / size.height();
            const auto shade = [](double place) { return static_cast<int>(std::lround(place / half * 1e4)) & 0xFF; };
            image.setPixel(x, y, mapX < 0 ? qRgb(0, 0, 255) : qRgb(shade(mapX), shade(mapY), 0));
        }
    }
    return image;
}

class TileContainers : public testing::TestWithParam<const char*> {
protected:
    /// The tile, by a reader of its own.
    QImage tile(int zoom, int x, int y) const {
        QImage image;
        if (path().endsWith("/tiles")) {
            image.load(path() + QString("/%1/%2/%3.png").arg(zoom).arg(x).arg(y));
            return image;
        }
        const std::unique_ptr<GDALDataset> file(
            GDALDataset::Open(path().toUtf8().constData(), GDAL_OF_RASTER, nullptr));
        if (file == nullptr) {
            return {};
        }
        // All of the world in the file's highest zoom; smaller ones are its overviews.
        const int full = file->GetRasterXSize();
        const int span = full >> zoom;
        image = QImage(256, 256, QImage::Format_ARGB32);
        image.fill(Qt::black);
        for (int band = 1; band <= 3; ++band) {
            std::vector<GByte> values(256 * 256);
            EXPECT_EQ(file->GetRasterBand(band)->RasterIO(GF_Read, x * span, y * span, span, span, values.data(), 256,
                                                          256, GDT_Byte, 0, 0),
                      CE_None);
            for (int i = 0; i < 256 * 256; ++i) {
                const QRgb before = image.pixel(i % 256, i / 256);
                image.setPixel(i % 256, i / 256, before | QRgb{values[static_cast<std::size_t>(i)]} << (24 - 8 * band));
            }
        }
        return image;
    }
    QString path() const { return m_folder.filePath(GetParam()); }
    QStringList files() const {
        return QDir(m_folder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    QTemporaryDir m_folder;
    TileJob m_job{.extent = {-half, -half, half, half}, .maxZoom = 2, .metatile = 2, .buffer = 10};
};

TEST_P(TileContainers, AreWholeOrNotThereAndGoOnWhereTheyStopped) {
    GDALAllRegister();
    int calls = 0;
    const auto draw = [&calls](const GisExtent& extent, QSize size) {
        ++calls;
        return drawn(extent, size);
    };
    EXPECT_EQ(TileWriter::write(path(), m_job, draw, [](double share) { return share < 0.4; }),
              TileWriter::Result::Cancelled);
    EXPECT_EQ(files(), QStringList{QString(GetParam()) + ".part"});
    EXPECT_EQ(calls, 3);
    EXPECT_THROW(TileWriter::write(path(), m_job,
                                   [](const GisExtent&, QSize) -> QImage { throw std::runtime_error("no more"); }),
                 std::runtime_error);
    TileJob other = m_job;
    other.mark = "another style";
    EXPECT_THAT([&] { TileWriter::write(path(), other, draw); },
                testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr("begun with another map")));

    EXPECT_EQ(TileWriter::write(path(), m_job, draw), TileWriter::Result::Complete);
    EXPECT_EQ(calls, 6) << "each metatile once";
    EXPECT_EQ(files(), QStringList{GetParam()});
    for (const TileId& id : {TileId{2, 3, 1}, TileId{2, 0, 3}, TileId{2, 2, 0}}) {
        EXPECT_EQ(tile(id.zoom, id.x, id.y).convertToFormat(QImage::Format_RGB32),
                  drawn(TileScheme::extentOf(id), {256, 256}).convertToFormat(QImage::Format_RGB32))
            << id.x << ' ' << id.y;
    }
}

TEST_P(TileContainers, RefuseWhatIsNotTheirs) {
    QFile file(m_folder.filePath(QString(GetParam()) + ".part"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("anything");
    file.close();
    EXPECT_THAT([&] { TileWriter::write(path(), m_job, drawn); },
                testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr("could not be written")));
    EXPECT_EQ(file.size(), 8) << "left alone";
    file.remove();
    EXPECT_THROW(
        TileWriter::write(path(), m_job, [](const GisExtent&, QSize) { return QImage(3, 3, QImage::Format_RGB32); }),
        std::runtime_error);
    TileJob bad = m_job;
    bad.extent = GisExtent();
    EXPECT_THROW(TileWriter::write(path(), bad, drawn), std::invalid_argument);
    bad = m_job;
    bad.metatile = 0;
    EXPECT_THROW(TileWriter::write(path(), bad, drawn), std::invalid_argument);
    const QString nowhere = m_folder.filePath(QStringLiteral("no/") + GetParam());
    for (const auto& attempt : {std::function<void()>([&] { TileWriter::requireWritable(nowhere); }),
                                std::function<void()>([&] { TileWriter::write(nowhere, m_job, drawn); })}) {
        EXPECT_THAT(attempt,
                    testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr("folder cannot be written")));
    }
    const QStringList before = files();
    TileWriter::requireWritable(path());
    EXPECT_EQ(files(), before) << "nothing left behind";
    ASSERT_TRUE(QDir().mkdir(path()));
    EXPECT_THROW(TileWriter::requireWritable(path()), std::runtime_error);
    EXPECT_THAT([&] { TileWriter::write(path(), m_job, drawn); },
                testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr("there already")));
}

TEST_P(TileContainers, LoseNothingWhereARunEndsAtAWrongMoment) {
    const bool isFile = path().endsWith(".mbtiles");
    // In its first moment: nothing is there yet.
    QFile empty(path() + ".part");
    ASSERT_TRUE(isFile ? empty.open(QIODevice::WriteOnly) : QDir().mkdir(empty.fileName()));
    empty.close();
    // In its last: all is drawn, and the name is taken.
    int calls = 0;
    const auto draw = [&calls](const GisExtent& extent, QSize size) {
        ++calls;
        return drawn(extent, size);
    };
    m_job.maxZoom = 1;
    const auto takeName = [&](double share) { return share < 1.0 || QDir().mkpath(path() + "/taken"); };
    EXPECT_THROW(TileWriter::write(path(), m_job, draw, takeName), std::runtime_error);
    const int drawnOnce = calls;
    ASSERT_TRUE(QDir(path()).removeRecursively());
    EXPECT_EQ(TileWriter::write(path(), m_job, draw), TileWriter::Result::Complete);
    EXPECT_EQ(calls, drawnOnce) << "nothing is drawn again";
    EXPECT_EQ(files(), QStringList{GetParam()});
    if (isFile) {
        QFile log(path() + "-wal");
        ASSERT_TRUE(log.open(QIODevice::WriteOnly));
        EXPECT_THAT([&] { TileWriter::write(path(), m_job, draw); },
                    testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr("has left")));
    } else {
        EXPECT_FALSE(QFile::exists(path() + "/.job"));
    }
}

TEST_P(TileContainers, TellEveryPixelOfTilesAndEverySetting) {
    m_job.format = "PNG";
    m_job.tileSize = 100;
    m_job.buffer = 0;
    m_job.metatile = 1;
    m_job.maxZoom = 1;
    // Of one colour but for the last pixels of one tile, in a picture of bits.
    const auto draw = [](const GisExtent& extent, QSize size) {
        QImage bits(size, QImage::Format_Mono);
        bits.fill(1);
        if (extent.xMin() < 0 && extent.yMin() < 0) {
            bits.setPixel(99, 5, 0);
        }
        return bits;
    };
    EXPECT_EQ(TileWriter::write(path(), m_job, draw, [](double share) { return share < 0.9; }),
              TileWriter::Result::Cancelled);
    TileJob nearly = m_job;
    nearly.extent = {-half, -half, half, half - 1};
    EXPECT_THAT([&] { TileWriter::write(path(), nearly, draw); },
                testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr("begun with another map")));
    EXPECT_EQ(TileWriter::write(path(), m_job, draw), TileWriter::Result::Complete);
    if (!path().endsWith(".mbtiles")) {
        EXPECT_NE(QImage(path() + "/1/0/1.png").pixel(99, 5), QImage(path() + "/1/1/1.png").pixel(99, 5));
    }
}

INSTANTIATE_TEST_SUITE_P(Output, TileContainers, testing::Values("map.mbtiles", "tiles"), [](const auto& row) {
    return std::string(row.param).substr(0, 3) == "map" ? "MbTiles" : "Folder";
});

} // namespace
