#include "DataFolder.h"
#include "Map/TestLayers.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Layers/GisLayerGdalRaster.h>
#include <Cartolith/Map/GroundScale.h>
#include <Cartolith/Map/MapScene.h>
#include <Cartolith/Map/Output/VectorFile.h>
#include <Cartolith/Map/Picking/SelectionSet.h>

#include <QFile>
#include <QPainter>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QXmlStreamReader>
#include <gdal_priv.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace Cartolith::Core;
using namespace Cartolith::Map;
using namespace Cartolith::Map::Output;
using CoordinateSystems::CoordinateSystemFactory;
using Shapes::GisExtent;
using testing::HasSubstr;

namespace {

QByteArray contentOf(const QString& path) {
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return file.readAll();
}

/// The first page at 96 pixels to the inch, by a reader of its own; null where there is none.
QImage rasterOf(const QString& path) {
    const char* const options[] = {"DPI=96", nullptr};
    const std::unique_ptr<GDALDataset> file(
        GDALDataset::Open(path.toUtf8().constData(), GDAL_OF_RASTER, nullptr, options));
    if (file == nullptr) {
        return {};
    }
    QImage image(file->GetRasterXSize(), file->GetRasterYSize(), QImage::Format_RGB888);
    EXPECT_EQ(file->RasterIO(GF_Read, 0, 0, image.width(), image.height(), image.bits(), image.width(), image.height(),
                             GDT_Byte, 3, nullptr, 3, image.bytesPerLine(), 1, nullptr),
              CE_None);
    return image;
}

/// Squares that overlap, with thick outlines: what is translucent as a whole shows neither.
MapScene squares(double opacity, LayerBlend blend) {
    MapScene scene;
    scene.setBackground("#FFFF80");
    MapScene::Entry entry;
    entry.layer = test::layerOf(
        {"POLYGON ((10 10, 60 10, 60 60, 10 60, 10 10))", "POLYGON ((40 40, 90 40, 90 90, 40 90, 40 40))"});
    entry.layer->style().setFillColor("#FF0000");
    entry.layer->style().setFillOpacity(255);
    entry.layer->style().setLineColor("#0000FF");
    entry.layer->style().setLineWidth(10);
    entry.opacity = opacity;
    entry.blend = blend;
    scene.append(test::layerOf({"POLYGON ((0 0, 50 0, 50 100, 0 100, 0 0))"}));
    scene.insert(1, entry);
    return scene;
}

/// Most are of no shape.
Picking::SelectionSet::Ids everySecond(qint64 first) {
    Picking::SelectionSet::Ids ids;
    for (qint64 id = first; id < 1000; id += 2) {
        ids.insert(id);
    }
    return ids;
}

TEST(VectorFile, APdfLooksLikeThePicture) {
    GDALAllRegister();
    if (GDALGetDriverByName("PDF") == nullptr) {
        GTEST_SKIP() << "this GDAL reads no PDF";
    }
    const struct {
        const char* name;
        double opacity;
        LayerBlend blend;
    } rows[] = {
        {"opaque", 1.0, LayerBlend::Normal},       {"translucent", 0.5, LayerBlend::Normal},
        {"multiplied", 1.0, LayerBlend::Multiply}, {"screened", 0.7, LayerBlend::Screen},
        {"overlaid", 1.0, LayerBlend::Overlay},    {"darkened", 1.0, LayerBlend::Darken},
        {"lightened", 0.3, LayerBlend::Lighten},
    };
    const MapView view(GisExtent(0, 0, 100, 100), QRectF(0, 0, 100, 100));
    const QTemporaryDir folder;
    const QString path = folder.filePath("map.pdf");
    for (const auto& row : rows) {
        MapScene scene = squares(row.opacity, row.blend);
        scene.insert(1, {test::layerOf({"POINT (20 8)", "POINT (80 4)"})});
        const auto selection = std::make_shared<Picking::SelectionSet>();
        selection->set(scene.entry(0).layer, everySecond(1));
        selection->set(scene.entry(1).layer, everySecond(2));
        scene.setSelection(selection);
        const QImage expected = scene.draw(view);
        const VectorReport report = VectorFile::save(scene, view, path);
        EXPECT_TRUE(report.isComplete && report.pictures.isEmpty() && report.problems.isEmpty()) << row.name;
        EXPECT_FALSE(contentOf(path).contains("/Subtype /Image")) << row.name << ": all is vectors";
        const QImage found = rasterOf(path);
        ASSERT_GE(found.width(), 100) << row.name;
        // In fills, on outlines, on what is selected and where the two squares lie on each other; not where edges are
        // smoothed.
        for (const QPoint at :
             {QPoint(5, 50), QPoint(95, 95), QPoint(25, 75), QPoint(55, 70), QPoint(47, 53), QPoint(75, 20),
              QPoint(10, 75), QPoint(60, 80), QPoint(56, 57), QPoint(50, 2), QPoint(86, 95)}) {
            const QColor a = found.pixelColor(at);
            const QColor b = expected.pixelColor(at);
            EXPECT_LE(std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) + std::abs(a.blue() - b.blue()), 6)
                << row.name << ' ' << at.x() << ' ' << at.y() << ' ' << qPrintable(a.name()) << ' '
                << qPrintable(b.name());
        }
    }
}

/// Points in three columns: a star with a halo, a picture with a gradient, a plain circle.
MapScene markers(int rows, double opacity) {
    MapScene scene;
    const char* const gradient =
        R"svg(<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 9 9"><linearGradient id="g"><stop offset="0" stop-color="red"/>
           <stop offset="1" stop-color="blue"/></linearGradient><rect width="9" height="9" fill="url(#g)"/></svg>)svg";
    for (int column = 0; column < 3; ++column) {
        QStringList points;
        for (int i = 0; i < rows; ++i) {
            points.append(QString("POINT (%1 %2)").arg(20 + 30 * column).arg(15 + 70.0 * i / rows));
        }
        MapScene::Entry entry;
        entry.layer = test::layerOf(points);
        Layers::GisLayerStyle& style = entry.layer->style();
        style.setPointSize(20);
        style.setPointColor("#FFD700");
        style.setMarkerShape(column == 0   ? Layers::MarkerShape::Star
                             : column == 1 ? Layers::MarkerShape::Svg
                                           : Layers::MarkerShape::Circle);
        style.setMarkerSvg(gradient);
        style.setHaloWidth(column == 0 ? 4 : 0);
        style.setHaloColor("#00FF00");
        entry.opacity = opacity;
        scene.insert(column, entry);
    }
    return scene;
}

TEST(VectorFile, ManyPointsHaveOneMarker) {
    GDALAllRegister();
    const MapView view(GisExtent(0, 0, 100, 100), QRectF(0, 0, 100, 100));
    const QTemporaryDir folder;
    const QString pdf = folder.filePath("map.pdf");
    const QString svg = folder.filePath("map.svg");
    for (const double opacity : {1.0, 0.5}) {
        for (const int rows : {1, 3, 1000}) { // few places, some, many
            MapScene scene = markers(rows, opacity);
            scene.setBackground("#FFFFFF");
            VectorFile::save(scene, view, svg);
            const QByteArray text = contentOf(svg);
            EXPECT_EQ(text.count("<use "), 3 * rows);
            EXPECT_LT(text.count("<path") + text.count("<image"), 8) << "once, each with its parts";
            VectorFile::save(scene, view, pdf);
            EXPECT_LT(contentOf(pdf).size(), 20'000 + 3 * rows * 12);
            const QImage found = rasterOf(pdf);
            if (found.isNull()) {
                continue; // this GDAL reads no PDF
            }
            const QImage expected = scene.draw(view);
            // In the halo, the star, both ends of the gradient, the circle, and beside them.
            for (const QPoint at : {QPoint(11, 85), QPoint(20, 85), QPoint(43, 85), QPoint(57, 85), QPoint(80, 83),
                                    QPoint(35, 85), QPoint(65, 85)}) {
                const QColor a = found.pixelColor(at);
                const QColor b = expected.pixelColor(at);
                EXPECT_LE(std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) + std::abs(a.blue() - b.blue()),
                          24)
                    << opacity << ' ' << rows << ' ' << at.x() << ' ' << qPrintable(a.name()) << ' '
                    << qPrintable(b.name());
            }
        }
    }
}

TEST(VectorFile, NamesTheGroupsOfAnSvgByLayerAndFeature) {
    MapScene scene;
    std::shared_ptr<Layers::GisLayerVector> shared = test::layerOf({"POINT (5 5)", "LINESTRING (-1000 5, 1000 5)"});
    shared->setName("things");
    shared->style().setLineDashes({8, 4}); // which go on where the line is cut
    shared->items().at(0)->attributes().insert("v", "one <1>");
    shared->style().setShowLabels(true);
    shared->style().setLabelField("v");
    scene.append(shared);
    MapScene::Entry dem;
    dem.layer = std::make_shared<Layers::GisLayerGdalRaster>(CARTOLITH_DATA_DIR "/olinda-dem-utm25s.tif");
    dem.layer->open();
    dem.blend = LayerBlend::Multiply;
    scene.insert(0, dem);
    const MapView view(GisExtent(0, 0, 10, 10), QRectF(20, 20, 100, 100));
    const QTemporaryDir folder;
    const QString path = folder.filePath("map.svg");
    VectorOptions options;
    options.title = "A & B";
    options.above = [](QPainter& painter) {
        painter.setClipRect(QRect(0, 0, 60, 20));
        painter.setPen(Qt::red);
        painter.drawText(QPointF(3, 15), "Title");
        painter.fillRect(QRectF(1, 2, 3, 4), Qt::blue);
        QPen pen(Qt::green, 2.0, Qt::DashLine, Qt::SquareCap, Qt::BevelJoin);
        pen.setDashOffset(1.5);
        painter.setPen(pen);
        painter.drawLine(QPointF(0, 18), QPointF(60, 18));
    };
    const VectorReport report = VectorFile::save(scene, view, path, options);
    EXPECT_EQ(report.pictures, QStringList{dem.layer->name()});
    const QByteArray svg = contentOf(path);
    for (const char* part :
         {"<title>A &#38; B</title>", "<g id=\"things.", "mix-blend-mode:multiply", ">one &#60;1&#62;</text>",
          "fill=\"#ff0000\"", ">Title</text>", "\"square\" stroke-linejoin=\"bevel\"", "stroke-dashoffset=\"3\"",
          "<rect x=\"0\" y=\"0\" width=\"60\" height=\"20\"/>", "<image"}) {
        EXPECT_THAT(svg.toStdString(), HasSubstr(part));
    }
    EXPECT_FALSE(svg.contains("10000")) << "lines are cut a little outside of the frame";
    QXmlStreamReader reader(svg);
    while (!reader.atEnd()) {
        reader.readNext();
    }
    EXPECT_EQ(reader.errorString(), QString());
}

TEST(VectorFile, ANameOnACurveStandsInAnSvgOnce) {
    MapScene scene;
    std::shared_ptr<Layers::GisLayerVector> layer =
        test::layerOf({"LINESTRING (5 40, 20 52, 40 60, 60 60, 80 52, 95 40)", "LINESTRING (10 20, 90 20)"});
    layer->items().at(0)->attributes().insert("n", "Ringvägen");
    layer->items().at(1)->attributes().insert("n", "Allén");
    layer->style().setShowLabels(true);
    layer->style().setLabelField("n");
    layer->style().setLabelHaloEnabled(true);
    scene.append(layer);
    const QTemporaryDir folder;
    const QString path = folder.filePath("map.svg");
    VectorFile::save(scene, MapView(GisExtent(0, 0, 100, 100), QRectF(0, 0, 200, 200)), path);
    const QString svg = QString::fromUtf8(contentOf(path));
    EXPECT_EQ(svg.count("Ringvägen"), 1);
    EXPECT_EQ(svg.count("Allén"), 1);
    EXPECT_EQ(svg.count(">v</text>"), 1) << "letters, each in its place, not copied";
    EXPECT_LT(svg.indexOf("user-select:none"), svg.indexOf(">R</text>"));
    EXPECT_EQ(svg.count("<use "), 1) << "one halo for all, below all letters";
    EXPECT_LT(svg.indexOf("<use "), svg.indexOf("<text"));
}

/// What a PDF's streams say, unpacked.
QByteArray streamsOf(const QByteArray& pdf) {
    const QByteArray start = "/FlateDecode\n>>\nstream\n";
    const QByteArray largest("\0\x10\0\0", 4); // what qUncompress() reads first
    QByteArray all;
    for (qsizetype at = pdf.indexOf(start); at >= 0; at = pdf.indexOf(start, at + 1)) {
        all += qUncompress(largest + pdf.sliced(at + start.size()));
    }
    return all;
}

// For who searches or copies.
TEST(VectorFile, ANameOnACurveStandsInAPdfAsAWhole) {
    MapScene scene = markers(5, 0.5); // which become forms
    std::shared_ptr<Layers::GisLayerVector> layer =
        test::layerOf({"LINESTRING (5 40, 20 52, 40 60, 60 60, 80 52, 95 40)", "LINESTRING (10 20, 90 20)",
                       "LINESTRING (10 80, 90 80)", "LINESTRING (5 25, 95 35)"});
    layer->items().at(0)->attributes().insert("n", "Ringvägen");
    layer->items().at(1)->attributes().insert("n", "Allén");
    layer->items().at(2)->attributes().insert("n", "मुख्य");
    layer->items().at(3)->attributes().insert("n", "Up");
    layer->style().setShowLabels(true);
    layer->style().setLabelField("n");
    layer->style().setLabelHaloEnabled(true);
    scene.insert(1, {layer});
    const QTemporaryDir folder;
    const QString path = folder.filePath("map.pdf");
    VectorFile::save(scene, MapView(GisExtent(0, 0, 100, 100), QRectF(0, 0, 200, 200)), path);
    const QByteArray content = streamsOf(contentOf(path));
    const QRegularExpression marked("BT\n/Span << /ActualText <(\\w+)> >> BDC\n(.*?)EMC\nET\n",
                                    QRegularExpression::DotMatchesEverythingOption);
    QStringList found;
    for (const QRegularExpressionMatch& match : marked.globalMatch(QString::fromLatin1(content))) {
        found.append(match.captured(1) + QString(" of %1").arg(match.captured(2).count(" Tm\n")));
    }
    found.sort();
    EXPECT_EQ(found, QStringList({"FEFF00520069006e0067007600e400670065006e of 9", "FEFF00550070 of 1",
                                  "FEFF092e09410916094d092f of 1"}))
        << "not the level one, whose letters say it";
    EXPECT_EQ(content.count("BT\n"), 4);
    EXPECT_FALSE(content.contains("-7654")) << "a mark is left";
}

TEST(VectorFile, DashesGoOnWhereALineIsCut) {
    MapScene scene;
    std::shared_ptr<Layers::GisLayerVector> layer =
        test::layerOf({"LINESTRING (-1e8 2, -1e8 5, 1e9 5)", "LINESTRING (1 8, 9 8)"});
    layer->style().setLineDashes({7, 3, 1});
    layer->style().setLineDashOffset(2);
    scene.append(layer);
    const QTemporaryDir folder;
    const QString path = folder.filePath("map.svg");
    VectorFile::save(scene, MapView(GisExtent(0, 0, 10, 10), QRectF(0, 0, 100, 100)), path);
    const QRegularExpression shape("M(-?[.\\d]+) 50l([.\\d]+) 0\"[^>]* stroke-dashoffset=\"([.\\d]+)\"");
    const QRegularExpressionMatch match = shape.match(contentOf(path));
    ASSERT_TRUE(match.hasMatch()) << contentOf(path).constData();
    EXPECT_LT(match.captured(2).toDouble(), 200.0);
    const double along = 30.0 + 1e9 + match.captured(1).toDouble();
    EXPECT_NEAR(std::fmod(2.0 + std::fmod(along, 22.0), 22.0), std::fmod(match.captured(3).toDouble(), 22.0), 1e-2);
    EXPECT_THAT(contentOf(path).toStdString(), HasSubstr("M10 20l80 0\""));
}

TEST(VectorFile, PatternsInAnSvgAreOneShapeOfManyParts) {
    for (const auto pattern : {Layers::FillPattern::CrossedLines, Layers::FillPattern::Points}) {
        MapScene scene;
        std::shared_ptr<Layers::GisLayerVector> layer = test::layerOf({"POLYGON ((0 0, 10 0, 10 10, 0 10, 0 0))"});
        layer->style().setFillPattern(pattern);
        layer->style().setPatternColor("#80010203");
        layer->style().setPatternSpacing(5);
        scene.append(layer);
        const QTemporaryDir folder;
        const QString path = folder.filePath("map.svg");
        VectorFile::save(scene, MapView(GisExtent(0, 0, 10, 10), QRectF(0, 0, 100, 100)), path);
        const QRegularExpression shape("d=\"([^\"]*)\" fill=\"#010203\"([^>]*)>");
        QRegularExpressionMatchIterator found = shape.globalMatch(contentOf(path));
        ASSERT_TRUE(found.hasNext()) << contentOf(path).constData();
        const QRegularExpressionMatch match = found.next();
        EXPECT_FALSE(found.hasNext()) << "what crosses would add up";
        EXPECT_GT(match.captured(1).count('z'), 40) << "lines and dots as they are, without their crossings";
        EXPECT_FALSE(match.captured(2).contains("evenodd")) << "crossings would be holes";
    }
}

TEST(VectorFile, APageHasItsScaleAndItsPlaceOnEarth) {
    GDALAllRegister();
    const auto system = CoordinateSystemFactory::fromEpsg(32632);
    MapScene scene;
    scene.setCoordinateSystem(system);
    const double half = 2500 * 0.9996; // on the grid, in the middle of the zone
    std::shared_ptr<Layers::GisLayerVector> line =
        test::layerOf({QString("LINESTRING (%1 6400000, %2 6400000)").arg(5e5 - half, 0, 'f').arg(5e5 + half, 0, 'f')});
    line->setCoordinateSystem(system);
    line->style().setLineWidth(1);
    line->style().setLineColor("#000000");
    scene.append(line);
    VectorOptions options;
    options.page = PageSetup::named("A4").value();
    const MapView view = options.page->view(QPointF(5e5, 6.4e6), 50'000, GroundScale(system));
    EXPECT_NEAR(view.devicePixelRatio(), 300.0 / 96.0, 1e-12) << "symbols have their size on paper";
    const QTemporaryDir folder;
    const QString path = folder.filePath("map.pdf");
    VectorFile::save(scene, view, path, options);
    const char* const raster[] = {"DPI=1200", nullptr};
    const std::unique_ptr<GDALDataset> pdf(
        GDALDataset::Open(path.toUtf8().constData(), GDAL_OF_RASTER, nullptr, raster));
    ASSERT_NE(pdf, nullptr);
    double place[6];
    ASSERT_EQ(pdf->GetGeoTransform(place), CE_None);
    // The row of the line, in pixels of 1/1200 inch.
    const int row = static_cast<int>((6.4e6 - place[3]) / place[5]);
    std::vector<GByte> values(static_cast<std::size_t>(pdf->GetRasterXSize()));
    ASSERT_EQ(pdf->GetRasterBand(1)->RasterIO(GF_Read, 0, row, pdf->GetRasterXSize(), 1, values.data(),
                                              pdf->GetRasterXSize(), 1, GDT_Byte, 0, 0),
              CE_None);
    const auto dark = [](GByte value) { return value < 128; };
    const auto first = std::find_if(values.cbegin(), values.cend(), dark) - values.cbegin();
    const auto last = values.crend() - std::find_if(values.crbegin(), values.crend(), dark);
    const double width = 25.4 / 96; // of the line, whose ends are round
    const double millimetres = static_cast<double>(last - first) * 25.4 / 1200;
    EXPECT_NEAR(millimetres - width, 100.0, 0.1);
    EXPECT_NEAR(place[0] + static_cast<double>(first) * place[1], 5e5 - half - width / 2 * 50, 0.1 * 50);
}

TEST(VectorFile, IsWholeOrNotThere) {
    const QTemporaryDir folder;
    const MapView view(GisExtent(0, 0, 100, 100), QRectF(0, 0, 100, 100));
    MapScene scene = squares(1.0, LayerBlend::Normal);
    for (const char* name : {"map.svg", "map.pdf"}) {
        const QString path = folder.filePath(name);
        VectorOptions options;
        options.progress = [](double) { return false; };
        EXPECT_FALSE(VectorFile::save(scene, view, path, options).isComplete) << name;
        EXPECT_FALSE(QFile::exists(path)) << name;
        options.progress = [](double share) { return share >= 0.0 && share <= 1.0; };
        EXPECT_TRUE(VectorFile::save(scene, view, path, options).isComplete) << name;
        EXPECT_THAT([&] { VectorFile::save(scene, view, folder.filePath("no/") + name); },
                    testing::ThrowsMessage<std::runtime_error>(HasSubstr("could not be written")));
        EXPECT_THROW(VectorFile::save(scene, MapView(), path), std::invalid_argument);
    }
    EXPECT_THROW(VectorFile::save(scene, view, folder.filePath("map.png")), std::invalid_argument);
    VectorOptions options;
    options.page.emplace().dotsPerInch = 72.3;
    EXPECT_THROW(VectorFile::save(scene, view, folder.filePath("map.pdf"), options), std::invalid_argument);
}

} // namespace
