#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Layers/GisGdalRasterProvider.h>
#include <Cartolith/Core/Layers/GisLayerGdalRaster.h>
#include <Cartolith/Core/Symbology/GisClassificationEngine.h>
#include <Cartolith/Core/Symbology/GisColorRampRegistry.h>

#include <QDir>
#include <QTemporaryDir>
#include <gdal_priv.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <TestSeed.h>
#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <random>

using namespace Cartolith::Core;
using CoordinateSystems::CoordinateSystemFactory;
using Layers::GisLayerGdalRaster;
using Shapes::GisExtent;
using Symbology::GisRasterStretch;
using Symbology::GisRasterStyle;
using testing::HasSubstr;
using Rendering = GisRasterStyle::Rendering;
using Transform = Layers::Defs::GisRasterWorldTransform;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr QRgb clear = 0;

QRgb grey(int value) {
    return qRgb(value, value, value);
}

/// A raster to be written; the values of each band row after row.
struct Raster {
    int width = 1, height = 1;
    std::vector<std::vector<double>> bands;
    GDALDataType type = GDT_Byte;
    std::array<double, 6> transform{0, 1, 0, 0, 0, -1}; ///< GDAL's, from corners
    std::optional<double> noData = std::nullopt;
    const char* system = "";
    QList<GDALColorInterp> colours = {};
    std::vector<GDALColorEntry> palette = {};
    QByteArray option = "TILED=NO";
};

class RasterLayer : public testing::Test {
protected:
    QString path(const char* name) const { return m_dir.filePath(name); }

    QString write(const Raster& raster, const char* name = "test.tif") const {
        GDALAllRegister();
        char* options[] = {const_cast<char*>(raster.option.constData()), nullptr};
        const std::unique_ptr<GDALDataset> file(GetGDALDriverManager()->GetDriverByName("GTiff")->Create(
            path(name).toUtf8().constData(), raster.width, raster.height, static_cast<int>(raster.bands.size()),
            raster.type, options));
        auto transform = raster.transform;
        EXPECT_EQ(file->SetGeoTransform(transform.data()), CE_None);
        if (*raster.system != '\0') {
            OGRSpatialReference system;
            system.SetFromUserInput(raster.system);
            file->SetSpatialRef(&system);
        }
        for (int i = 0; i < file->GetRasterCount(); ++i) {
            GDALRasterBand& band = *file->GetRasterBand(i + 1);
            if (i < raster.colours.size()) {
                band.SetColorInterpretation(raster.colours[i]);
            }
            if (raster.noData && raster.type == GDT_Int64) {
                band.SetNoDataValueAsInt64(static_cast<std::int64_t>(*raster.noData));
            } else if (raster.noData) {
                band.SetNoDataValue(*raster.noData);
            }
            if (!raster.palette.empty()) {
                GDALColorTable table;
                for (std::size_t entry = 0; entry < raster.palette.size(); ++entry) {
                    table.SetColorEntry(static_cast<int>(entry), &raster.palette[entry]);
                }
                band.SetColorTable(&table);
            }
            auto values = raster.bands[static_cast<std::size_t>(i)];
            EXPECT_EQ(band.RasterIO(GF_Write, 0, 0, raster.width, raster.height, values.data(), raster.width,
                                    raster.height, GDT_Float64, 0, 0, nullptr),
                      CE_None);
        }
        return path(name);
    }

    /// The colours of a raster of one row, a picture pixel for each of its own.
    static std::vector<QRgb> rowOf(GisLayerGdalRaster& layer) {
        const QImage image = layer.readImage(layer.extent(), {layer.width(), 1});
        std::vector<QRgb> row;
        for (int x = 0; x < image.width(); ++x) {
            row.push_back(image.pixel(x, 0));
        }
        return row;
    }

    QString writeText(const char* name, const QByteArray& text) const {
        QFile file(path(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
        return file.fileName();
    }

    QTemporaryDir m_dir;
};

GisRasterStyle asTheyAre() {
    GisRasterStyle style;
    style.setRendering(Rendering::Grey);
    style.setStretch(GisRasterStretch::given(0, 255));
    return style;
}

std::vector<double> randomBytes(int count, std::mt19937_64& random) {
    std::uniform_int_distribution<int> byte(1, 254);
    std::vector<double> values;
    for (int i = 0; i < count; ++i) {
        values.push_back(byte(random));
    }
    return values;
}

TEST_F(RasterLayer, ShowsThePixelUnderEachPointOfAnyWindow) {
    std::mt19937_64 random(test::seed());
    std::uniform_real_distribution<double> real(0.0, 1.0);
    const struct {
        const char* name;
        std::array<double, 6> transform;
    } rows[] = {
        {"north up", {100, 2, 0, 200, 0, -3}},     {"south up", {100, 2, 0, 200, 0, 3}},
        {"mirrored", {100, -2, 0, 200, 0, -3}},    {"rotated", {100, 1.2, 1.6, 200, 1.6, -1.2}},
        {"sheared", {100, 2, 0.7, 200, -0.4, -3}}, {"rows to columns", {100, 0, 2, 200, 3, 0}},
    };
    for (const auto& row : rows) {
        constexpr int width = 41;
        constexpr int height = 30;
        const std::vector<double> values = randomBytes(width * height, random);
        GisLayerGdalRaster layer(write({width, height, {values}, GDT_Byte, row.transform}));
        ASSERT_TRUE(layer.open());
        layer.setRasterStyle(asTheyAre());
        const auto& t = row.transform;
        EXPECT_EQ(layer.worldTransform().toMap(-0.5, -0.5), QPointF(t[0], t[3])) << row.name;
        const double determinant = t[1] * t[5] - t[2] * t[4];
        for (int round = 0; round < 40; ++round) {
            // Some windows far larger than the raster, some beside it. Windows of the raster's own steps an odd
            // number of times over have the middle of their pixels in the middle of the raster's.
            const bool isAligned = t[2] == 0.0 && round % 4 == 0;
            const double scale = std::pow(10.0, -1.5 + real(random) * (t[2] == 0.0 ? 1.4 : 1.1));
            QSize size(7 + static_cast<int>(real(random) * 50), 5 + static_cast<int>(real(random) * 50));
            const GisExtent all = layer.extent();
            double left = all.xMin() + (real(random) * 1.6 - 0.3) * all.width();
            double bottom = all.yMin() + (real(random) * 1.6 - 0.3) * all.height();
            double stepX = scale * 2;
            double stepY = scale * 2 * (0.5 + real(random));
            if (isAligned) {
                const int odd = 1 + 2 * static_cast<int>(real(random) * 4);
                stepX = 2.0 * odd;
                stepY = 3.0 * odd;
                left = all.xMin() - 2.0 * static_cast<int>(real(random) * 30);
                bottom = all.yMin() - 3.0 * static_cast<int>(real(random) * 30);
            }
            const GisExtent window(left, bottom, left + stepX * size.width(), bottom + stepY * size.height());
            const QImage image = layer.readImage(window, size);
            ASSERT_EQ(image.size(), size);
            for (int y = 0; y < size.height(); ++y) {
                for (int x = 0; x < size.width(); ++x) {
                    const double dx = window.xMin() + (x + 0.5) * window.width() / size.width() - t[0];
                    const double dy = window.yMax() - (y + 0.5) * window.height() / size.height() - t[3];
                    const double column = (dx * t[5] - dy * t[2]) / determinant;
                    const double line = (dy * t[1] - dx * t[4]) / determinant;
                    constexpr double edge = 1e-7; // either side is right
                    if (std::abs(column - std::round(column)) < edge || std::abs(line - std::round(line)) < edge) {
                        continue;
                    }
                    const bool isInside = column > 0 && column < width && line > 0 && line < height;
                    const auto i =
                        isInside ? static_cast<std::size_t>(std::floor(line) * width + std::floor(column)) : 0;
                    ASSERT_EQ(image.pixel(x, y), isInside ? grey(static_cast<int>(values[i])) : clear)
                        << row.name << ", " << qPrintable(window.toString()) << " in " << size.width() << " x "
                        << size.height() << " at " << x << ", " << y << ", seed " << test::seed();
                }
            }
        }
    }
}

TEST_F(RasterLayer, ReprojectsSmallerPicturesAndSmoothsThem) {
    // Longitude and latitude in grey: what each pixel must show is known, whatever its size.
    const struct {
        const char* name;
        const char* system;
        GisExtent window;
        std::array<double, 6> transform;
        int columns;
    } rows[] = {
        {"the world", "EPSG:8857", {-17243959, -8392928, 17243959, 8392928}, {-180, 0.5, 0, 90, 0, -0.5}, 720},
        {"web mercator", "EPSG:3857", {-1e7, -1e7, 1.2e7, 1.9e7}, {-180, 0.5, 0, 90, 0, -0.5}, 720},
        {"a small place", "EPSG:32633", {5e5, 5e6, 500300, 5000200}, {14.98, 0.0001, 0, 45.2, 0, -0.0001}, 1200},
        {"its own, smaller", "EPSG:4326", {-180, -90, 180, 90}, {-180, 0.25, 0, 90, 0, -0.25}, 1440},
        {"its own, turned", "EPSG:4326", {-20, -20, 20, 20}, {-30, 0.024, 0.018, 0, 0.018, -0.024}, 1200},
    };
    const auto degrees = CoordinateSystemFactory::fromEpsg(4326);
    for (const auto& row : rows) {
        Raster raster{row.columns, row.columns / 2, {{}, {}, {}}, GDT_Float32, row.transform};
        raster.system = "EPSG:4326";
        raster.colours = {GCI_RedBand, GCI_GreenBand, GCI_BlueBand};
        const auto& t = row.transform;
        for (int y = 0; y < raster.height; ++y) {
            for (int x = 0; x < raster.width; ++x) {
                raster.bands[0].push_back(t[0] + t[1] * (x + 0.5) + t[2] * (y + 0.5));
                raster.bands[1].push_back(t[3] + t[4] * (x + 0.5) + t[5] * (y + 0.5));
                raster.bands[2].push_back(0);
            }
        }
        GisLayerGdalRaster layer(write(raster));
        ASSERT_TRUE(layer.open());
        const auto system = CoordinateSystemFactory::fromUserInput(row.system);
        const CoordinateSystems::CoordinateTransformer back(*system, *degrees);
        const GisExtent whole = layer.extentIn(*system);
        ASSERT_FALSE(whole.isEmpty()) << row.name;
        for (const auto resampling : {GisRasterStyle::Resampling::Nearest, GisRasterStyle::Resampling::Bilinear,
                                      GisRasterStyle::Resampling::Average}) {
            GisRasterStyle style;
            style.setResampling(resampling);
            style.setStretch(GisRasterStretch::given(-180, 180));
            layer.setRasterStyle(style);
            const QSize size(301, 277);
            const QImage image = layer.readImage(row.window, size, system.get());
            int shown = 0;
            for (int y = 3; y < size.height(); y += 13) {
                for (int x = 3; x < size.width(); x += 11) {
                    const Shapes::GisShapePoint place(row.window.xMin() + (x + 0.5) * row.window.width() / size.width(),
                                                      row.window.yMax() -
                                                          (y + 0.5) * row.window.height() / size.height());
                    if (qAlpha(image.pixel(x, y)) == 0) {
                        continue;
                    }
                    ++shown;
                    const Shapes::GisShapePoint there = back.transform(place);
                    const auto values = layer.valuesAt(place, system.get());
                    ASSERT_EQ(values.size(), 3) << row.name;
                    ASSERT_NEAR(values[0], there.x(), std::abs(t[1]) + std::abs(t[2])) << row.name;
                    ASSERT_NEAR(values[1], there.y(), std::abs(t[4]) + std::abs(t[5])) << row.name;
                    const double step = 1.0 + 255.0 / 360.0 * (std::abs(t[1]) + std::abs(t[2])) * 2; // a grey, a pixel
                    ASSERT_NEAR(qRed(image.pixel(x, y)), (there.x() + 180) / 360 * 255, step) << row.name;
                    ASSERT_NEAR(qGreen(image.pixel(x, y)), (there.y() + 180) / 360 * 255, step) << row.name;
                    ASSERT_TRUE(whole.contains(place)) << row.name;
                }
            }
            EXPECT_GT(shown, 150) << row.name;
            EXPECT_EQ(qAlpha(image.pixel(0, 0)), QString(row.name) == "the world" ? 0 : qAlpha(image.pixel(0, 0)))
                << "beyond the edge of the world there is nothing, not the other side";
        }
    }
}

TEST_F(RasterLayer, SaysWhatAPixelHolds) {
    Raster raster{3, 2, {{13, 2, 3, 4, 5, 6}, {1, 2, 3, 4, 5, 6}}, GDT_Int16, {100, 10, 0, 50, 0, -10}, 5};
    CPLSetThreadLocalConfigOption("OSR_USE_NON_DEPRECATED", "NO"); // as the file says
    raster.system = "EPSG:2192";
    const QString file = write(raster);
    CPLSetThreadLocalConfigOption("OSR_USE_NON_DEPRECATED", nullptr);
    GisLayerGdalRaster layer(file);
    EXPECT_TRUE(layer.valuesAt({105, 45}).isEmpty()) << "closed";
    ASSERT_TRUE(layer.open());
    EXPECT_EQ(layer.coordinateSystem()->epsgCode(), 2192) << "a deprecated code means itself";
    const struct {
        double x, y;
        QList<double> expected; ///< 0: no value
    } rows[] = {
        {105, 45, {13, 1}}, {100, 50, {13, 1}}, {130, 30, {6, 6}}, {109.9, 30, {4, 4}},
        {115, 35, {0, 0}},  {99.9, 45, {}},     {130.1, 45, {}},   {std::nan(""), 45, {}},
    };
    for (const auto& row : rows) {
        QList<double> values = layer.valuesAt({row.x, row.y});
        std::replace_if(
            values.begin(), values.end(), [](double value) { return std::isnan(value); }, 0);
        EXPECT_EQ(values, row.expected) << row.x << ' ' << row.y;
    }
    const auto web = CoordinateSystemFactory::fromEpsg(3857);
    EXPECT_TRUE(layer.valuesAt({1e300, 0}, web.get()).isEmpty()) << "no place on the earth";
}

TEST_F(RasterLayer, ReadsEveryTypeAndKnowsWhatHasNoValue) {
    const double lowest = std::numeric_limits<float>::lowest();
    const struct {
        const char* name;
        GDALDataType type;
        std::vector<double> values;
        std::optional<double> noData;
        std::vector<QRgb> expected;
    } rows[] = {
        {"bytes", GDT_Byte, {0, 7, 255}, 7, {grey(0), clear, grey(255)}},
        {"bytes, no-data out of range", GDT_Byte, {0, 7, 255}, -9999, {grey(0), grey(7), grey(255)}},
        {"unsigned, no-data out of range", GDT_UInt16, {0, 65535, 100}, -1, {grey(0), grey(255), grey(100)}},
        {"16 bits", GDT_Int16, {-32768, -5, 100}, -32768, {clear, grey(0), grey(100)}},
        {"32 bits", GDT_Int32, {1 << 30, 10, -9999}, -9999, {grey(255), grey(10), clear}},
        {"unsigned 32 bits", GDT_UInt32, {4294967295.0, 10, 3}, 4294967295.0, {clear, grey(10), grey(3)}},
        {"64 bits", GDT_Int64, {-4.0e18, 10, 3}, -4.0e18, {clear, grey(10), grey(3)}},
        {"float", GDT_Float32, {lowest, 10, 3}, lowest, {clear, grey(10), grey(3)}},
        {"float, no-data with digits lost", GDT_Float32, {0.1F, 10, 3}, 0.1, {clear, grey(10), grey(3)}},
        {"NaN and infinities", GDT_Float32, {nan, infinity, 3}, std::nullopt, {clear, clear, grey(3)}},
        {"NaN for no-data", GDT_Float64, {nan, -infinity, 3}, nan, {clear, clear, grey(3)}},
        {"complex", GDT_CFloat32, {9, 10, 3}, 9, {clear, grey(10), grey(3)}},
    };
    for (const auto& row : rows) {
        Raster raster{3, 1, {row.values}, row.type};
        raster.noData = row.noData;
        GisLayerGdalRaster layer(write(raster));
        ASSERT_TRUE(layer.open()) << row.name;
        for (const auto resampling : {GisRasterStyle::Resampling::Nearest, GisRasterStyle::Resampling::Average}) {
            GisRasterStyle style = asTheyAre();
            style.setResampling(resampling);
            layer.setRasterStyle(style);
            EXPECT_EQ(rowOf(layer), row.expected) << row.name;
        }
        EXPECT_EQ(layer.bands()[0].typeName, GDALGetDataTypeName(row.type));
        EXPECT_EQ(layer.bands()[0].noData.has_value(), row.noData.has_value()) << row.name;
        const auto values = std::count_if(row.expected.begin(), row.expected.end(), [](QRgb c) { return c != clear; });
        EXPECT_EQ(layer.statistics(1).count, values) << row.name;
    }
    EXPECT_EQ(QDir(m_dir.path()).entryList(QDir::Files), QStringList{"test.tif"}) << "nothing is written beside";
}

TEST_F(RasterLayer, DrawsAsTheStyleSays) {
    GisRasterStyle minMax;
    minMax.setStretch(GisRasterStretch::minMax());
    GisRasterStyle percentiles;
    percentiles.setStretch(GisRasterStretch::percentiles(25, 75));
    GisRasterStyle ramp;
    ramp.setRendering(Rendering::Ramp);
    ramp.setRamp(Symbology::makeRamp("test", {"#000000", "#FF0000"}));
    GisRasterStyle reversed = ramp;
    reversed.setReversed(true);
    GisRasterStyle classes = ramp;
    classes.setClasses(Symbology::GisClassificationEngine::manualBreaks({0, 100, 200, 300}));
    GisRasterStyle rgb;
    rgb.setRgbBands(3, 2, 1);
    rgb.setRendering(Rendering::Rgb);
    GisRasterStyle second;
    second.setBand(2);
    const std::vector<double> values{0, 100, 200, 300, 400};
    const Raster one{5, 1, {values}, GDT_Float32};
    const Raster flat{2, 1, {{7, 7}}, GDT_Int16};
    const Raster wide{3, 1, {{-1.7e308, 0, 1.7e308}}, GDT_Float64};
    GisRasterStyle wideRamp = ramp;
    wideRamp.setStretch(GisRasterStretch::minMax());
    Raster bytes{2, 1, {{10, 20}, {30, 40}, {50, 60}}};
    bytes.colours = {GCI_RedBand, GCI_GreenBand, GCI_BlueBand};
    Raster alpha{2, 1, {{200, 200}, {100, 100}, {0, 0}, {255, 51}}};
    alpha.colours = {GCI_RedBand, GCI_GreenBand, GCI_BlueBand, GCI_AlphaBand};
    Raster palette{4, 1, {{0, 1, 2, 9}}};
    palette.palette = {{1, 2, 3, 255}, {200, 100, 50, 255}, {9, 9, 9, 255}};
    palette.noData = 2;
    const struct {
        const char* name;
        Raster raster;
        GisRasterStyle style;
        std::vector<QRgb> expected;
    } rows[] = {
        {"min and max", one, minMax, {grey(0), grey(64), grey(128), grey(191), grey(255)}},
        {"percentiles", one, percentiles, {grey(0), grey(0), grey(128), grey(255), grey(255)}},
        {"percentiles by themselves", one, {}, {grey(0), grey(61), grey(128), grey(194), grey(255)}},
        {"one value", flat, {}, {grey(128), grey(128)}},
        {"ramp", one, ramp, {qRgb(0, 0, 0), qRgb(64, 0, 0), qRgb(128, 0, 0), qRgb(191, 0, 0), qRgb(255, 0, 0)}},
        {"all doubles", wide, wideRamp, {qRgb(0, 0, 0), qRgb(128, 0, 0), qRgb(255, 0, 0)}},
        {"reversed", one, reversed, {qRgb(255, 0, 0), qRgb(191, 0, 0), qRgb(128, 0, 0), qRgb(64, 0, 0), qRgb(0, 0, 0)}},
        {"classes", one, classes, {qRgb(0, 0, 0), qRgb(128, 0, 0), qRgb(255, 0, 0), qRgb(255, 0, 0), clear}},
        {"RGB by itself", bytes, {}, {qRgb(10, 30, 50), qRgb(20, 40, 60)}},
        {"RGB turned round", bytes, rgb, {qRgb(50, 30, 10), qRgb(60, 40, 20)}},
        {"alpha", alpha, {}, {qRgb(200, 100, 0), qRgba(40, 20, 0, 51)}},
        {"palette", palette, {}, {qRgb(1, 2, 3), qRgb(200, 100, 50), clear, grey(0)}},
        {"palette as numbers", palette, asTheyAre(), {grey(0), grey(1), clear, grey(9)}},
        {"no such band", one, second, {}},
    };
    for (const auto& row : rows) {
        GisLayerGdalRaster layer(write(row.raster));
        ASSERT_TRUE(layer.open()) << row.name;
        layer.setRasterStyle(row.style);
        if (row.expected.empty()) {
            EXPECT_THROW(rowOf(layer), std::invalid_argument) << row.name;
            continue;
        }
        const std::vector<QRgb> found = rowOf(layer);
        ASSERT_EQ(found.size(), row.expected.size());
        for (std::size_t i = 0; i < found.size(); ++i) {
            const QRgb a = found[i];
            const QRgb b = row.expected[i];
            EXPECT_EQ(qAlpha(a), qAlpha(b)) << row.name << " " << i;
            EXPECT_NEAR(qRed(a), qRed(b), 1) << row.name << " " << i;
            EXPECT_NEAR(qGreen(a), qGreen(b), 1) << row.name << " " << i;
            EXPECT_NEAR(qBlue(a), qBlue(b), 1) << row.name << " " << i;
        }
    }
    for (const auto& [lower, upper] :
         std::initializer_list<std::pair<double, double>>{{1, 1}, {nan, 1}, {0, infinity}}) {
        EXPECT_THROW(GisRasterStretch::given(lower, upper), std::invalid_argument);
        EXPECT_THROW(GisRasterStretch::percentiles(lower, upper * 200), std::invalid_argument);
        EXPECT_THROW(GisRasterStyle().setHillshade({{0, 45, lower - 1}}), std::invalid_argument);
    }
}

TEST_F(RasterLayer, ColoursRowsAsItColoursEachPixel) {
    // Beside a mask that hides nothing, each pixel is looked up on its own.
    std::mt19937_64 random(test::seed());
    std::uniform_real_distribution<double> real(0.0, 1.0);
    Raster raster{61, 47, {{}, {}, {}}, GDT_Float32};
    raster.transform = {0, 2, 0, 94, 0, -2};
    for (auto& band : raster.bands) {
        std::generate_n(std::back_inserter(band), 61 * 47, [&] { return std::floor(real(random) * 3000 - 500) / 10; });
        band[static_cast<std::size_t>(real(random) * 2000)] = nan;
        band[static_cast<std::size_t>(real(random) * 2000)] = infinity;
    }
    GisLayerGdalRaster plain(write(raster, "plain.tif"));
    const QString masked = write(raster, "masked.tif");
    {
        const std::unique_ptr<GDALDataset> file(GDALDataset::Open(masked.toUtf8().constData(), GDAL_OF_UPDATE));
        ASSERT_EQ(file->CreateMaskBand(GMF_PER_DATASET), CE_None);
        ASSERT_EQ(file->GetRasterBand(1)->GetMaskBand()->Fill(255), CE_None);
    }
    GisLayerGdalRaster each(masked);
    plain.open();
    each.open();
    ASSERT_TRUE(each.bands()[0].hasMask && !plain.bands()[0].hasMask);
    for (int i = 0; i < 200; ++i) {
        const Rendering renderings[] = {Rendering::Grey, Rendering::Ramp, Rendering::Ramp, Rendering::Rgb};
        GisRasterStyle style;
        style.setRendering(renderings[i % 4]);
        if (i % 4 == 2) {
            style.setClasses(Symbology::GisClassificationEngine::manualBreaks({0, 50, 120}));
        }
        style.setStretch(GisRasterStretch::given(real(random) * 100, 100 + real(random) * 200));
        style.setResampling(i % 3 == 0 ? GisRasterStyle::Resampling::Average : GisRasterStyle::Resampling::Nearest);
        plain.setRasterStyle(style);
        each.setRasterStyle(style);
        const double x = real(random) * 150 - 40;
        const double y = real(random) * 120 - 40;
        const GisExtent extent(x, y, x + 1 + real(random) * 90, y + 1 + real(random) * 90);
        const QSize size(1 + static_cast<int>(real(random) * 150), 1 + static_cast<int>(real(random) * 150));
        EXPECT_EQ(plain.readImage(extent, size), each.readImage(extent, size)) << i;
    }
}

TEST_F(RasterLayer, LightFallsFromTheSideItIsSaidToWhateverTheTransform) {
    // A slope of 45 degrees that rises to the east; in degrees, a metre is a small part of one.
    constexpr double degree = 6371000.0 * 3.14159265358979 / 180.0;
    const struct {
        const char* system;
        std::array<double, 6> transform;
        double perUnit; ///< metres of x
    } rows[] = {
        {"EPSG:32633", {5e5, 10, 0, 5e6, 0, -10}, 1},
        {"EPSG:32633", {5e5, 6, 8, 5e6, 8, -6}, 1},
        {"EPSG:32633", {5e5, 0, -10, 5e6, 10, 0}, 1},
        {"EPSG:4326", {14, 0.0001, 0, 60, 0, -0.0001}, degree * 0.5},
    };
    for (const auto& row : rows) {
        Raster raster{60, 60, {{}}, GDT_Float64, row.transform};
        raster.system = row.system;
        const auto& t = row.transform;
        for (int i = 0; i < 3600; ++i) {
            raster.bands[0].push_back((t[1] * (i % 60 + 0.5) + t[2] * (i / 60 + 0.5)) * row.perUnit);
        }
        GisLayerGdalRaster layer(write(raster));
        ASSERT_TRUE(layer.open());
        for (const auto& [azimuth, light] : {std::pair(90.0, 0.0), std::pair(270.0, 1.0), std::pair(0.0, 0.5)}) {
            GisRasterStyle style;
            style.setRendering(Rendering::Relief);
            style.setHillshade({{azimuth, 45, 1}});
            layer.setRasterStyle(style);
            const GisExtent all = layer.extent();
            const GisExtent middle = all.inflate(-0.45 * all.width(), -0.45 * all.height());
            for (const int size : {3, 40}) { // fewer pixels than the raster, and more
                const QImage image = layer.readImage(size == 3 ? all : middle, {size, size});
                EXPECT_NEAR(qRed(image.pixel(size / 2, size / 2)), 255 * light, 2) << row.system << " " << azimuth;
            }
        }
        GisRasterStyle coloured = asTheyAre();
        coloured.setStretch(GisRasterStretch::given(-1e9, 1e9));
        coloured.setHillshade({{315, 45, 1e-9}});
        layer.setRasterStyle(coloured);
        EXPECT_NEAR(qRed(layer.readImage(layer.extent(), {3, 3}).pixel(1, 1)), 128, 1)
            << "level ground keeps its colour";
    }
}

TEST_F(RasterLayer, SaysWhyItCannotBeReadAndStaysAsItWas) {
    std::mt19937_64 random(test::seed());
    Raster raster{256, 256, {randomBytes(256 * 256, random)}};
    raster.option = "COMPRESS=DEFLATE";
    const QString good = write(raster, "good.tif");
    QFile file(good);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    {
        const std::unique_ptr<GDALDataset> one(GDALDataset::Open(good.toUtf8().constData()));
        for (const char* table : {"RASTER_TABLE=a", "RASTER_TABLE=b"}) {
            const char* options[] = {table, "APPEND_SUBDATASET=YES", nullptr};
            GDALClose(GetGDALDriverManager()->GetDriverByName("GPKG")->CreateCopy(
                path("several.gpkg").toUtf8().constData(), one.get(), FALSE, const_cast<char**>(options), nullptr,
                nullptr));
        }
    }
    const auto vrt = [&](const char* name, const QByteArray& inner) {
        return writeText(name, R"(<VRTDataset rasterXSize="9" rasterYSize="9">)" + inner + "</VRTDataset>");
    };
    const QByteArray band = R"(<VRTRasterBand dataType="Byte" band="1"/>)";
    const struct {
        QString path;
        const char* reason;
    } rows[] = {
        {"", "the path is empty"},
        {path("missing.tif"), "No such file"},
        {m_dir.path(), "not recognized"},
        {writeText("text.tif", "not a picture"), "not recognized"},
        {writeText("head.tif", bytes.first(6)), "Cannot read"},
        {writeText("cut.tif", bytes.first(20000)), "Cannot read"},
        {path("several.gpkg"), "several rasters; name one, such as 'GPKG:"},
        {vrt("bandless.vrt", ""), "Cannot read"},
        {vrt("zeros.vrt", "<GeoTransform>0, 0, 0, 0, 0, 0</GeoTransform>" + band), "does not spread"},
        {vrt("line.vrt", "<GeoTransform>5, 1, 2, 5, 2, 4</GeoTransform>" + band), "does not spread"},
        {vrt("nan.vrt", "<GeoTransform>nan, 1, 0, 5, 0, -1</GeoTransform>" + band), "does not spread"},
        {vrt("infinite.vrt", "<GeoTransform>5, inf, 0, 5, 0, -1</GeoTransform>" + band), "does not spread"},
    };
    for (const auto& row : rows) {
        GisLayerGdalRaster layer(row.path);
        try {
            layer.open();
            (void)layer.readImage(layer.extent(), {256, 256}); // a file cut short may be found out later
            ADD_FAILURE() << qPrintable(row.path);
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), HasSubstr(row.reason)) << qPrintable(row.path);
            EXPECT_THAT(error.what(), HasSubstr(row.path.toStdString()));
        }
    }

    GisLayerGdalRaster layer(good);
    ASSERT_TRUE(layer.open());
    EXPECT_EQ(layer.layerProvider()->contents(), QStringList{"Band 1"});
    EXPECT_FALSE(layer.beginEdit());
    const GisExtent all = layer.extent();
    const GisExtent unusable[] = {{}, {0, 0, 0, 5}, {0, 0, infinity, 5}, {-1e308, 0, 1e308, 5}, {nan, 0, 5, 5}};
    for (const GisExtent& extent : unusable) {
        EXPECT_TRUE(layer.readImage(extent, {10, 10}).isNull()) << qPrintable(extent.toString());
    }
    EXPECT_TRUE(layer.readImage(all, {0, 10}).isNull());
    EXPECT_THROW((void)layer.readImage(all, {16385, 1}), std::invalid_argument);
    const auto system = CoordinateSystemFactory::fromEpsg(4326);
    EXPECT_THROW((void)layer.readImage(all, {10, 10}, system.get()), std::runtime_error) << "its own is unknown";
    for (const double farness : {1e12, 1e300}) {
        const QImage far = layer.readImage({-farness, -farness, farness, farness}, {11, 11});
        EXPECT_EQ(far.size(), QSize(11, 11));
        EXPECT_EQ(layer.readImage({farness, farness, farness * 2, farness * 2}, {1, 1}).pixel(0, 0), clear);
    }

    layer.setProgressCallback([](double fraction) { return fraction < 0.5; });
    EXPECT_TRUE(layer.readImage(all, {2000, 2000}).isNull()) << "cancelled";
    layer.setProgressCallback([](double) -> bool { throw std::logic_error("mine"); });
    EXPECT_THROW((void)layer.readImage(all, {20, 20}), std::logic_error);
    layer.setProgressCallback([&layer](double) {
        layer.close();
        return true;
    });
    (void)layer.readImage(all, {2000, 2000});
    EXPECT_FALSE(layer.isOpen());
    layer.setProgressCallback({});
    ASSERT_TRUE(layer.open());
    layer.setWorldTransform({});
    EXPECT_TRUE(layer.readImage(all, {9, 9}).isNull());
    ASSERT_TRUE(layer.open());
    ASSERT_TRUE(QFile::remove(good));
    EXPECT_THROW(layer.open(), std::runtime_error);
    EXPECT_TRUE(layer.isOpen() && !layer.readImage(all, {9, 9}).isNull()) << "what was open stays";
    layer.close();
    EXPECT_TRUE(layer.readImage(all, {9, 9}).isNull());
    EXPECT_TRUE(layer.extent().isEmpty() && layer.bands().isEmpty() && layer.sampleValues(1).isEmpty());
}

TEST_F(RasterLayer, ReadsNoMoreOfALargeRasterThanItShows) {
    // Larger than any memory; whoever read all of it would be noticed.
    GisLayerGdalRaster large(writeText("large.vrt", R"(<VRTDataset rasterXSize="2000000000" rasterYSize="2000000000">
        <GeoTransform>0, 1, 0.5, 0, 0.5, -1</GeoTransform><VRTRasterBand dataType="Float32" band="1"/></VRTDataset>)"));
    ASSERT_TRUE(large.open());
    EXPECT_EQ(large.readImage(large.extent(), {300, 200}).pixel(150, 100), grey(128));
    EXPECT_FALSE(large.statistics(1).isExact);

    // The overview says something else than the raster, so that it shows which one was read.
    constexpr int side = 2048;
    const QString file = write({side, side, {std::vector<double>(side * side, 10)}});
    {
        const std::unique_ptr<GDALDataset> set(GDALDataset::Open(file.toUtf8().constData(), GDAL_OF_UPDATE));
        const int factor = 8;
        ASSERT_EQ(set->BuildOverviews("NEAREST", 1, &factor, 0, nullptr, nullptr, nullptr), CE_None);
        ASSERT_EQ(set->GetRasterBand(1)->GetOverview(0)->Fill(200), CE_None);
    }
    GisLayerGdalRaster layer(file);
    ASSERT_TRUE(layer.open());
    EXPECT_EQ(layer.bands()[0].overviews, QList<QSize>{QSize(256, 256)});
    layer.setRasterStyle(asTheyAre());
    EXPECT_EQ(layer.readImage(layer.extent(), {200, 200}).pixel(50, 50), grey(200));
    EXPECT_EQ(layer.readImage({0, -100, 100, 0}, {200, 200}).pixel(50, 50), grey(10));
    EXPECT_EQ(layer.statistics(1).maximum, 200) << "of an overview";
}

/// Without pixels of its own.
class BlankRaster : public Layers::GisLayerRaster {
public:
    BlankRaster() : GisLayerRaster("blank") {}
    bool open() override { return true; }
    void close() override {}

protected:
    QImage readImageCore(const GisExtent&, const QSize&, const CoordinateSystems::CoordinateSystem*) override {
        return {};
    }
};

TEST(GisLayerRaster, KeepsTheBoxAroundThePixels) {
    const struct {
        int width, height;
        Transform transform;
        GisExtent expected;
    } rows[] = {
        {10, 5, {1, 0, 0, -1, 100, 200}, {99.5, 195.5, 109.5, 200.5}},
        {2, 2, {1, 1, 1, -1, 0, 0}, {-1, -2, 3, 2}},
        {0, 7, {1, 0, 0, -1, 100, 200}, {}},
        {-3, 10, {1, 0, 0, -1, 100, 200}, {}},
        {3, 3, {}, {0, 0, 0, 0}},
    };
    for (const auto& row : rows) {
        BlankRaster layer;
        layer.setWorldTransform(row.transform);
        layer.setRasterExtent({7, 7, 8, 8});
        layer.setRasterSize(row.width, row.height);
        EXPECT_EQ(layer.width(), std::max(row.width, 0));
        EXPECT_EQ(layer.extent().toString(), row.expected.toString()) << row.width;
        layer.setRasterExtent({7, 7, 8, 8});
        EXPECT_EQ(layer.extent().xMin(), 7);
        EXPECT_FALSE(layer.canEdit());
    }
}

} // namespace
