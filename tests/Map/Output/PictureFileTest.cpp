#include "Layers/Faults.h"
#include "Map/Output/LimitedDevice.h"

#include <Cartolith/Map/Output/OutputFile.h>
#include <Cartolith/Map/Output/PictureFile.h>

#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QTemporaryDir>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <sys/stat.h>

using namespace Cartolith::Map::Output;

namespace {

enum class Content { Flat, Smooth, Noise };

/// The same in every format as far as that has room for it.
QImage pictureOf(QSize size, QImage::Format format, Content content) {
    QImage image(size, QImage::Format_ARGB32);
    std::mt19937 random(7);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            const int alpha = y % 3 == 0 ? 255 : (y * 5) % 256;
            image.setPixel(x, y,
                           content == Content::Flat     ? qRgba(x / 8 % 2 * 200, 80, 10, y < 5 ? 0 : 255)
                           : content == Content::Smooth ? qRgba(x % 256, y % 256, (x + y) / 2 % 256, alpha)
                                                        : static_cast<QRgb>(random()));
        }
    }
    return image.convertToFormat(format);
}

TEST(PictureFile, PngIsReadBackTheSame) {
    struct Row {
        const char* name;
        QSize size;
        QImage::Format format;
        Content content;
    };
    const std::vector<Row> rows = {
        {"palette", {40, 30}, QImage::Format_RGB32, Content::Flat},
        {"palette with transparency", {41, 30}, QImage::Format_ARGB32, Content::Flat},
        {"palette, premultiplied", {41, 30}, QImage::Format_ARGB32_Premultiplied, Content::Flat},
        {"256 colours", {256, 1}, QImage::Format_RGB32, Content::Smooth},
        {"257 colours", {257, 2}, QImage::Format_RGB32, Content::Smooth},
        {"filtered rows", {300, 200}, QImage::Format_RGB32, Content::Smooth},
        {"transparency", {300, 200}, QImage::Format_ARGB32, Content::Smooth},
        {"premultiplied", {300, 200}, QImage::Format_ARGB32_Premultiplied, Content::Noise},
        {"several chunks", {301, 200}, QImage::Format_ARGB32, Content::Noise},
        {"another format", {300, 20}, QImage::Format_RGB16, Content::Smooth},
        {"grey", {256, 3}, QImage::Format_Grayscale8, Content::Smooth},
        {"a pixel", {1, 1}, QImage::Format_ARGB32, Content::Noise},
    };
    for (const Row& row : rows) {
        const QImage image = pictureOf(row.size, row.format, row.content);
        for (const int compression : {1, 2, 9}) {
            PictureOptions options;
            options.compression = compression;
            options.dotsPerInch = 300;
            QImage read;
            ASSERT_TRUE(read.loadFromData(PictureFile::encoded(image, "png", options), "png")) << row.name;
            EXPECT_EQ(read.convertToFormat(row.format), image) << row.name << ' ' << compression;
            EXPECT_EQ(read.dotsPerMeterX(), 11811) << row.name;
        }
    }
}

TEST(PictureFile, OtherFormatsCarryTheirDensityAndTransparentBecomesWhite) {
    QImage image(20, 10, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    PictureOptions options;
    options.dotsPerInch = 300;
    QImage read;
    ASSERT_TRUE(read.loadFromData(PictureFile::encoded(image, "jpg", options), "jpg"));
    EXPECT_EQ(read.pixel(3, 3), qRgb(255, 255, 255));
    EXPECT_NEAR(read.dotsPerMeterX(), 11811, 20); // whole dots in an inch or a centimetre
    if (!QImageReader::supportedImageFormats().contains("webp")) {
        EXPECT_THAT([&] { PictureFile::requireFormat("map.webp"); },
                    testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr("qt6-image-formats-plugins")));
    }
}

TEST(PictureFile, AFailureIsToldAndTheOldFileStays) {
    const QImage image = pictureOf({300, 200}, QImage::Format_ARGB32, Content::Noise);
    const qint64 size = PictureFile::encoded(image, "png").size();
    for (qint64 room = 0; room < size; room += room < 100 ? 7 : 30'011) {
        test::LimitedDevice disk(room);
        EXPECT_THAT([&] { PictureFile::write(image, disk, "png"); },
                    testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr("disk is full")))
            << room;
    }
    const QTemporaryDir folder;
    const QString path = folder.filePath("map.png");
    PictureFile::save(image, path);
    EXPECT_THROW(PictureFile::save(QImage(), path), std::runtime_error);
    EXPECT_THROW(OutputFile::write(path,
                                   [](QIODevice& file) {
                                       file.write("half");
                                       throw std::runtime_error("the host had enough");
                                   }),
                 std::runtime_error);
    EXPECT_EQ(QImage(path), image);
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"map.png"});
    EXPECT_THAT([&] { PictureFile::save(image, folder.filePath("no/map.png")); },
                testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr("no/map.png' could not be written")));
    // Also when the disk fails as it is asked to keep what it has.
    const auto isWritten = [&path] {
        try {
            OutputFile::write(path, [](QIODevice& file) { file.write("new"); });
        } catch (const std::runtime_error&) {
            return 0;
        }
        return 1;
    };
    int expected = 1; // without a fault
    const auto prepare = [&] { PictureFile::save(image, path); };
    if (!test::withFaults(test::Fault::NoSync, 1, prepare, isWritten, [&](int code) {
            EXPECT_EQ(code, expected);
            EXPECT_EQ(QImage(path) == image, expected == 0);
            expected = 0;
        })) {
        std::puts("processes cannot be traced here");
    }
    const QString pipe = folder.filePath("pipe");
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    for (const auto& write : {std::function<void()>([&] { OutputFile::requireWritable(pipe); }),
                              std::function<void()>([&] { OutputFile::write(pipe, [](QIODevice&) {}); })}) {
        EXPECT_THAT(write, testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr("a pipe")));
    }
}

} // namespace
