#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Map/GroundScale.h>
#include <Cartolith/Map/Output/PageSetup.h>
#include <Cartolith/Map/Output/PdfGeoreference.h>

#include <QFile>
#include <QPainter>
#include <QPdfWriter>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <gdal_priv.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace Cartolith::Core;
using namespace Cartolith::Map;
using namespace Cartolith::Map::Output;

namespace {

QByteArray read(const QString& path) {
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    return file.readAll();
}

/// A sheet with its frame and a line of 5 km through the middle.
void draw(const QString& path, const PageSetup& setup, const MapView& view) {
    QPdfWriter writer(path);
    setup.apply(writer);
    QPainter painter(&writer);
    painter.drawRect(view.frame());
    const QPointF half(2500, 0);
    painter.drawLine(view.toPixel(view.center() - half), view.toPixel(view.center() + half));
}

TEST(PdfGeoreference, IsReadBackByGdalToATenthOfAMillimetre) {
    GDALAllRegister();
    if (GDALGetDriverByName("PDF") == nullptr) {
        GTEST_SKIP() << "this GDAL reads no PDF";
    }
    struct Row {
        const char* name;
        const char* system;
        QPointF center;
        double scale;
        double rotation;
        const char* paper;
        bool isLandscape;
        const char* contains = "/Measure";
    };
    const std::vector<Row> rows = {
        {"UTM", "EPSG:32632", {600'000, 6'400'000}, 50'000, 0, "A4", false},
        {"turned", "EPSG:32632", {600'000, 6'400'000}, 1'000, 30, "A4", true},
        {"large sheet", "EPSG:3857", {1'330'000, 7'900'000}, 50'000, -100, "A0", true},
        {"degrees", "EPSG:4326", {12, 57.7}, 500'000, 0, "a5", false},
        {"without a code",
         "+proj=laea +lat_0=52 +lon_0=10 +x_0=4321000 +y_0=3210000 +ellps=GRS80",
         {4e6, 3e6},
         1e6,
         10,
         "Letter",
         true},
        {"a code that another has replaced",
         "EPSG:2192",
         {600'000, 2'200'000},
         100'000,
         0,
         "Ledger",
         true,
         "/GPTS [46."},
        {"grads", "EPSG:27572", {600'000, 2'200'000}, 100'000, 0, "A4", false},
        {"corners beyond the earth", "EPSG:8857", {0, 0}, 150e6, 0, "A4", true},
    };
    const QTemporaryDir folder;
    for (const Row& row : rows) {
        std::shared_ptr<CoordinateSystems::CoordinateSystem> system =
            CoordinateSystems::CoordinateSystemFactory::fromUserInput(row.system);
        const PageSetup setup = PageSetup::named(row.paper, row.isLandscape).value();
        const MapView view =
            setup.view(row.center, row.scale, GroundScale(system)).rotated(row.rotation, setup.frame().center());
        const QString path = folder.filePath("map.pdf");
        draw(path, setup, view);
        const QByteArray before = read(path);
        PdfGeoreference::addTo(path, view, *system);
        EXPECT_TRUE(read(path).startsWith(before)) << row.name;
        EXPECT_TRUE(read(path).contains(row.contains)) << row.name;

        const char* const options[] = {"DPI=150", nullptr};
        const std::unique_ptr<GDALDataset> pdf(
            GDALDataset::Open(path.toUtf8().constData(), GDAL_OF_RASTER, nullptr, options));
        ASSERT_NE(pdf, nullptr) << row.name;
        double place[6];
        ASSERT_EQ(pdf->GetGeoTransform(place), CE_None) << row.name;
        ASSERT_NE(pdf->GetSpatialRef(), nullptr) << row.name;
        OGRSpatialReference expected;
        expected.SetFromUserInput(row.system);
        EXPECT_EQ(pdf->GetSpatialRef()->IsProjected(), expected.IsProjected()) << row.name;
        // Sheets are whole points, and GDAL's whole pixels: counted from the top as it does.
        const auto media = QRegularExpression(R"(/MediaBox \[0 0 (\S+) (\S+)\])").match(QString::fromLatin1(before));
        const double pixelsPerPointX = pdf->GetRasterXSize() / media.captured(1).toDouble();
        const double pixelsPerPointY = pdf->GetRasterYSize() / media.captured(2).toDouble();
        for (const QPointF corner : {view.frame().topLeft(), view.frame().topRight(), view.frame().bottomLeft()}) {
            const QPointF points = corner * (72.0 / setup.dotsPerInch);
            const QPointF at(points.x() * pixelsPerPointX, points.y() * pixelsPerPointY);
            const QPointF found(place[0] + at.x() * place[1] + at.y() * place[2],
                                place[3] + at.x() * place[4] + at.y() * place[5]);
            const QPointF off = (found - view.toMap(corner)) / view.unitsPerPixel() / setup.dotsPerInch * 25.4;
            EXPECT_LT(std::hypot(off.x(), off.y()), 0.1) << row.name << " mm " << off.x() << ' ' << off.y();
        }
    }
}

TEST(PageSetup, ALineOfFiveKilometresIsAHundredMillimetresAtOneToFiftyThousand) {
    std::shared_ptr<CoordinateSystems::CoordinateSystem> system =
        CoordinateSystems::CoordinateSystemFactory::fromUserInput("EPSG:32632");
    const PageSetup setup = PageSetup::named("A3", true).value();
    EXPECT_FALSE(PageSetup::named("A99").has_value());
    EXPECT_LT(PageSetup::named("Ledger")->size.width(), PageSetup::named("Ledger", true)->size.width());
    EXPECT_NEAR(setup.frame().width() / setup.dotsPerInch * 25.4, 400, 1e-9);
    const MapView view = setup.view(QPointF(500'000, 6'400'000), 50'000, GroundScale(system));
    const QTemporaryDir folder;
    const QString path = folder.filePath("map.pdf");
    {
        QPdfWriter writer(path);
        setup.apply(writer);
        QPainter painter(&writer);
        const double onGrid = 2500 * 0.9996; // the scale factor in the middle of the zone
        painter.drawLine(view.toPixel(500'000 - onGrid, 6'400'000), view.toPixel(500'000 + onGrid, 6'400'000));
    }
    const QByteArray pdf = read(path);
    const QByteArray content = QByteArray::fromRawData("\0\1\0\0", 4) + pdf.mid(pdf.indexOf("stream\n") + 7);
    const QString operators = QString::fromLatin1(qUncompress(content));
    const auto matrix = QRegularExpression(R"((\S+) 0 0 -\1 0 \S+ cm)").match(operators);
    ASSERT_TRUE(matrix.hasMatch()) << operators.toStdString();
    double left = 1e9;
    double right = -1e9;
    for (const auto& vertex : QRegularExpression(R"((\S+) \S+ [ml]\n)").globalMatch(operators)) {
        left = std::min(left, vertex.captured(1).toDouble());
        right = std::max(right, vertex.captured(1).toDouble());
    }
    EXPECT_NEAR((right - left) * matrix.captured(1).toDouble() / 72 * 25.4, 100.0, 0.1);
}

TEST(PdfGeoreference, RefusesWhatItCannotExtend) {
    const QTemporaryDir folder;
    const QString path = folder.filePath("map.pdf");
    const auto system = CoordinateSystems::CoordinateSystemFactory::fromUserInput("EPSG:32632");
    const PageSetup setup;
    const MapView view = setup.view(Shapes::GisExtent(6e5, 6.4e6, 6.1e5, 6.41e6));
    draw(path, setup, view);
    const QByteArray good = read(path);
    const QByteArray twice = good + PdfGeoreference::update(good, view, *system);
    const auto changed = [&good](const char* from, const char* to) { return QByteArray(good).replace(from, to); };
    const QByteArray table = good.mid(good.lastIndexOf("startxref") + 10).split('\n').front();
    /// The tree of pages anew, with something that the page inherits.
    const auto withPages = [&](const QByteArray& entry) {
        const QByteArray pages = "\n3 0 obj\n<</Type /Pages /Kids [6 0 R] /Count 1 " + entry + ">>\nendobj\n";
        return good + pages + "xref\n3 1\n" + QByteArray::number(good.size() + 1).rightJustified(10, '0') +
               " 00000 n \ntrailer\n<</Size 20 /Root 2 0 R /Prev " + table + ">>\nstartxref\n" +
               QByteArray::number(good.size() + pages.size()) + "\n%%EOF\n";
    };
    struct Row {
        const char* name;
        QByteArray bytes;
        const char* message;
    };
    const std::vector<Row> rows = {
        {"picture", "\x89PNG", "it is no PDF"},
        {"empty", "", "it is no PDF"},
        {"cut off", good.first(good.size() - 60), "end is missing"},
        {"done already", twice, "viewport already"},
        {"encrypted", changed("/Root", "/Encrypt 1 0 R /Root"), "encrypted"},
        {"compressed table", good.first(good.size() - 30) + "\nstartxref\n9\n%%EOF", "no plain cross-reference"},
        {"turned by its parent", withPages("/Rotate 90"), "no plain size"},
        {"cropped by its parent", withPages("/CropBox [9 9 99 99]"), "no plain size"},
        {"a bracket for a value", changed("/Root", "/A ] /Root"), "a bracket is missing"},
        {"circle", changed("/Root", ("/Prev " + table + " /Root").constData()), "in a circle"},
        {"pages in a circle", changed("/Kids \n[\n6 0 R", "/Kids \n[\n3 0 R"), "no tree"},
        {"endless brackets",
         good + "\nxref\ntrailer\n" + QByteArray(100'000, '[') + "\nstartxref\n" + QByteArray::number(good.size()) +
             "\n",
         "dictionary is missing"},
    };
    for (const Row& row : rows) {
        EXPECT_THAT([&] { PdfGeoreference::update(row.bytes, view, *system); },
                    testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr(row.message)))
            << row.name;
    }
    EXPECT_THROW(PdfGeoreference::update(good, view, *system, 1), std::runtime_error);
    EXPECT_THROW(PdfGeoreference::update(good, MapView(), *system), std::invalid_argument);
    EXPECT_THROW(PdfGeoreference::update(good, view.inFrame({0, 0, 9000, 10}), *system), std::invalid_argument);
    // Whatever is cut off or changed, the answer is a clear one.
    for (qsizetype i = 0; i < good.size(); i += 41) {
        QByteArray bytes = good;
        bytes[i] = static_cast<char>(bytes[i] ^ (1 << i % 8));
        for (const QByteArray& hostile : {good.first(i), bytes}) {
            try {
                PdfGeoreference::update(hostile, view, *system);
            } catch (const std::runtime_error&) {
            } catch (const std::invalid_argument&) {
            }
        }
    }
}

} // namespace
