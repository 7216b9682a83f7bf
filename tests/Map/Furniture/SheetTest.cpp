#include "DataFolder.h"
#include "Map/TestLayers.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Layers/GisLayerGdalRaster.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Symbology/GisCategorizedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisRasterStyle.h>
#include <Cartolith/Map/Furniture/DegreeFrame.h>
#include <Cartolith/Map/Furniture/SceneSheet.h>
#include <Cartolith/Map/MapScene.h>
#include <Cartolith/Map/MapSheet.h>

#include <QBuffer>
#include <QPainter>
#include <QPdfWriter>
#include <gtest/gtest.h>

#include <cmath>

using namespace Cartolith::Core;
using namespace Cartolith::Map;
using namespace Cartolith::Map::Furniture;
using CoordinateSystems::CoordinateSystemFactory;

namespace {

qsizetype count(const QImage& image, const QRectF& area, const QColor& colour) {
    qsizetype found = 0;
    const QRect pixels = area.toAlignedRect().intersected(image.rect());
    for (int y = pixels.top(); y <= pixels.bottom(); ++y) {
        for (int x = pixels.left(); x <= pixels.right(); ++x) {
            found += image.pixelColor(x, y).rgb() == colour.rgb() ? 1 : 0;
        }
    }
    return found;
}

SheetDescription sheetWith(const QByteArray& members) {
    return SheetDescription::fromJson(R"({"kind": "sheet", "version": 1)" + members + "}");
}

TEST(SheetDescription, RefusesWhatMakesNoSense) {
    const struct {
        const char* what;
        QByteArray members;
        const char* message;
    } rows[] = {
        {"another version", R"(, "version": 2)", "version 1"},
        {"unknown", R"(, "papre": "A4")", "no member \"papre\""},
        {"a page", R"(, "page": "A99")", "no page \"A99\""},
        {"a huge page", R"(, "page": [100000, 10])", "sheet.page: a number from 10 to 5000"},
        {"both", R"(, "page": "A4", "pixels": [100, 100])", "takes its place"},
        {"too many pixels", R"(, "page": [5000, 5000], "dpi": 2400)", "16384 pixels"},
        {"a text for a number", R"(, "dpi": "150")", "sheet.dpi: a number"},
        {"one number of two", R"(, "pixels": [100])", "2 numbers"},
        {"no number", R"(, "pixels": [100, "x"])", "a number from 64"},
        {"a colour", R"(, "colors": {"ink": "blackish"})", "sheet.colors.ink: \"blackish\" is no colour"},
        {"a map beside the page", R"(, "map": {"place": [200, 10, 200, 100]})", "no room for the map"},
        {"an extent backwards", R"(, "map": {"extent": [1, 1, 0, 0]})", "come first"},
        {"items", R"(, "items": {})", "an array"},
        {"an item", R"(, "items": [7])", "sheet.items[0]: an object"},
        {"no kind", R"(, "items": [{}])", "\"kind\" is missing"},
        {"an unknown kind", R"(, "items": [{"kind": "text"}, {"kind": "clock"}])", "sheet.items[1].kind: \"clock\""},
        {"what another kind has", R"(, "items": [{"kind": "north", "units": "metric"}])", "no member \"units\""},
        {"layers", R"(, "items": [{"kind": "legend", "layers": [1]}])", "texts are expected"},
        {"letters of nothing", R"(, "items": [{"kind": "text", "letters": 0}])", "letters: a number from 1"},
        {"many items", ", \"items\": [" + QByteArray("{},").repeated(200) + "{}]", "more than 200 items"},
        {"many insets", ", \"items\": [" + QByteArray(R"({"kind": "inset"},)").repeated(17) + "7]",
         "more than 16 inset"},
        {"a huge inset", R"(, "items": [{"kind": "inset", "size": [300, 10]}])", "more than the page"},
        {"a long text", R"(, "items": [{"kind": "text", "text": ")" + QByteArray(10001, 'x') + "\"}]",
         "10,000 letters"},
        {"much", ", \"x\": \"" + QByteArray(1 << 20, 'x') + "\"", "1 MB"},
        {"deep", ", \"x\": " + QByteArray(100000, '['), "JSON"},
    };
    for (const auto& row : rows) {
        try {
            sheetWith(row.members);
            ADD_FAILURE() << row.what;
        } catch (const std::runtime_error& error) {
            EXPECT_TRUE(QString(error.what()).contains(row.message)) << row.what << ": " << error.what();
        }
    }
    EXPECT_THROW(SheetDescription::load("no/such.json"), std::runtime_error);
}

TEST(SheetDescription, IsCalledByItsFirstBoldText) {
    const struct {
        QByteArray items;
        const char* title;
    } rows[] = {
        {R"({"kind": "text", "text": "Source"}, {"kind": "text", "text": "The\n  sea", "bold": true},
            {"kind": "text", "text": "Other", "bold": true})",
         "The sea"},
        {R"({"kind": "text", "text": "Source"}, {"kind": "legend", "title": "Depths"})", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(sheetWith(", \"items\": [" + row.items + "]").title(), row.title) << row.title;
    }
}

TEST(MapSheet, HangsItemsUpAtTheirAnchors) {
    // 254 mm at 100 to the inch: a millimetre is 3.937 pixels.
    const auto system = CoordinateSystemFactory::fromEpsg(32633);
    const Shapes::GisExtent extent(400000, 5500000, 440000, 5540000);
    const struct {
        const char* what;
        QByteArray item;
        QRectF room; // millimetres: there and nowhere else
    } rows[] = {
        {"a title",
         R"("kind": "text", "of": "page", "at": "top", "inset": [0, 2], "letters": 6, "text": "Title")",
         {95, 1, 64, 11}},
        {"a wrapped note",
         R"("kind": "text", "of": "page", "at": "bottomRight", "size": [60, 0], "letters": 3,
          "text": "A note that is longer than its line and has to go on in a second line and a third one")",
         {190, 235, 62, 17}},
        {"a bar", R"("kind": "scaleBar", "at": "bottomLeft", "size": [60, 0])", {20, 225, 70, 12}},
        {"an arrow", R"("kind": "north", "at": "topRight", "inset": [4, 4])", {215, 20, 20, 20}},
        {"a legend", R"("kind": "legend", "at": "right", "size": [30, 50])", {200, 100, 37, 55}},
    };
    for (const auto& row : rows) {
        QList<QRectF> boxes;
        QRectF frame;
        const auto sheet = [&](double dotsPerInch) {
            const QByteArray json = R"(, "page": [254, 254], "dpi": )" + QByteArray::number(dotsPerInch) +
                                    R"(, "colors": {"ink": "#FF0000", "faintInk": "#0000FF", "paper": "#FFFFFF"},
                                       "map": {"place": [17, 17, 220, 220], "graticule": "none", "frame": false},
                                       "items": [{)" +
                                    row.item + "}]";
            MapSheet made(sheetWith(json), extent, system);
            LegendContent content;
            content.title = "Classes";
            content.rows.append({"class", {}, 3});
            made.setLegends({{"layer", content}});
            EXPECT_EQ(made.problems().join(' '), "") << row.what;
            boxes = made.boxesOnMap();
            frame = made.view().frame();
            return made.draw({});
        };
        const auto inked = [&](const QImage& image, double perMillimeter, bool inside) {
            qsizetype found = 0;
            const QRectF room(row.room.topLeft() * perMillimeter, row.room.size() * perMillimeter);
            for (int y = 0; y < image.height(); ++y) {
                for (int x = 0; x < image.width(); ++x) {
                    found += image.pixel(x, y) != 0xFFFFFFFF && room.contains(x, y) == inside ? 1 : 0;
                }
            }
            return static_cast<double>(found);
        };
        const QImage image = sheet(100);
        EXPECT_EQ(image.size(), QSize(1000, 1000));
        EXPECT_GT(inked(image, 1000.0 / 254, true), 60) << row.what;
        EXPECT_EQ(inked(image, 1000.0 / 254, false), 0) << row.what;
        // The same on paper: as much ink in twice the pixels.
        const QImage fine = sheet(300);
        EXPECT_EQ(inked(fine, 3000.0 / 254, false), 0) << row.what;
        // What keeps labels off is around what is drawn on the map, and hardly more.
        QImage beside = fine;
        for (const QRectF& box : std::as_const(boxes)) {
            QPainter(&beside).fillRect(box.adjusted(-2, -2, 2, 2), Qt::white);
            const QRectF room(row.room.topLeft() * 3000 / 254, row.room.size() * 3000 / 254);
            EXPECT_TRUE(room.adjusted(-12, -12, 12, 12).contains(box)) << row.what; // a millimetre of air
        }
        EXPECT_EQ(count(beside, frame, QColor("#FF0000")) + count(beside, frame, QColor("#0000FF")), 0) << row.what;
        EXPECT_NEAR(inked(fine, 3000.0 / 254, true) / inked(image, 1000.0 / 254, true), 8.0, 2.5) << row.what;
    }
}

TEST(MapSheet, SaysWhatItCannotDraw) {
    const QByteArray items = R"(, "items": [{"kind": "north"}, {"kind": "scaleBar", "units": "degrees"}])";
    const MapSheet sheet(sheetWith(items), {-1e6, -1e6, 1e6, 1e6}, CoordinateSystemFactory::fromEpsg(3413));
    EXPECT_TRUE(sheet.problems().join('|').contains("pole"));
    EXPECT_EQ(sheet.problems().size(), 2);
    EXPECT_FALSE(sheet.draw({}).isNull());
    const MapSheet nowhere(sheetWith(items), {}, nullptr);
    EXPECT_FALSE(nowhere.draw({}).isNull());
}

TEST(MapSheet, DegreesLieBetweenPlaceAndFrame) {
    MapSheet::Options options;
    options.size = {800, 600};
    options.degrees = true;
    options.scaleBar = ScaleUnits::Metric;
    options.northArrow = true;
    options.graticuleAbove = true;
    const MapSheet sheet(options, {400000, 5500000, 440000, 5540000}, CoordinateSystemFactory::fromEpsg(32633));
    const QRectF frame = sheet.view().frame();
    EXPECT_GT(frame.left(), 15 + 10) << "room for letters of 10 pixels";
    const QImage image = sheet.draw({});
    const double depth = DegreeFrame::depth(10);
    for (const QRectF& side : {QRectF(frame.left() - depth, frame.top(), depth - 1, frame.height()),
                               QRectF(frame.right() + 2, frame.top(), depth - 1, frame.height()),
                               QRectF(frame.left(), frame.top() - depth, frame.width(), depth - 1),
                               QRectF(frame.left(), frame.bottom() + 2, frame.width(), depth - 1)}) {
        const QRect pixels = side.toAlignedRect();
        EXPECT_LT(count(image, side, Qt::white), pixels.width() * pixels.height() - 50) << "letters";
    }
}

TEST(MapSheet, IsDrawnOnAPageToo) {
    const MapSheet sheet(sheetWith(R"(, "items": [{"kind": "text", "text": "On paper"}, {"kind": "scaleBar"}])"),
                         {400000, 5500000, 440000, 5540000}, CoordinateSystemFactory::fromEpsg(32633));
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    {
        QPdfWriter writer(&buffer);
        writer.setResolution(150);
        QPainter painter(&writer);
        sheet.drawBelow(painter);
        sheet.drawAbove(painter);
        EXPECT_EQ(painter.worldTransform(), QTransform()) << "left as it was";
    }
    EXPECT_TRUE(bytes.contains("DejaVuSans")) << "text as text";
    EXPECT_FALSE(bytes.contains("/Subtype /Image"));
}

TEST(Legends, AreOfAllLayersThatAreShown) {
    MapScene scene;
    auto raster = std::make_shared<Layers::GisLayerGdalRaster>(CARTOLITH_DATA_DIR "/olinda-dem-utm25s.tif");
    raster->open();
    Symbology::GisRasterStyle style;
    style.setRendering(Symbology::GisRasterStyle::Rendering::Ramp);
    raster->setRasterStyle(style);
    raster->setName("heights");
    std::shared_ptr<Layers::GisLayerVector> classes = test::squaresOf({1, 2, 2});
    classes->setName("classes");
    auto renderer = std::make_unique<Symbology::GisCategorizedSymbolRenderer>("v");
    renderer->addClass({1, "one", {}});
    renderer->addClass({2, "two", {}});
    classes->setSymbolRenderer(std::move(renderer));
    std::shared_ptr<Layers::GisLayerVector> plain = test::squaresOf({1});
    plain->setName("plain");
    std::shared_ptr<Layers::GisLayerVector> hidden = test::squaresOf({1});
    hidden->setVisible(false);
    scene.append(raster);
    scene.append(classes);
    scene.append(plain);
    scene.append(hidden);
    std::shared_ptr<Layers::GisLayerVector> sized = test::layerOf({"POINT (5 5)"});
    sized->setName("sized");
    sized->style().setPointSize(0); // of what has no value
    sized->style().setSizeField("v");
    sized->style().setSizeToValue(30);
    sized->style().setSizeFrom(4);
    sized->style().setSizeTo(12);
    scene.append(sized);
    const MapView view({0, 0, 30, 10}, QRectF(0, 0, 300, 100));
    const auto textOf = [&](LegendCounts counts) {
        QStringList texts;
        for (const SheetLegend& legend : legendsOf(scene, view, counts)) {
            QStringList rows;
            for (const LegendContent::Row& row : legend.content.rows) {
                rows.append(row.label + (row.count < 0 ? QString() : QString(" (%1)").arg(row.count)));
            }
            texts.append(legend.layer + "/" + legend.content.title + ": " + rows.join(", "));
        }
        return texts.join(" | ");
    };
    EXPECT_EQ(
        textOf(LegendCounts::Left),
        "sized/sized: 30, 20, 10, 0 | plain/: plain | classes/classes: one, two | heights/heights: 80, 60, 40, 20, 0");
    EXPECT_EQ(textOf(LegendCounts::Shown), "sized/sized: 30, 20, 10, 0 | plain/: plain (1) | classes/classes: one (1), "
                                           "two (2) | heights/heights: 80, 60, 40, 20, 0");
    EXPECT_GT(legendsOf(scene, view, LegendCounts::Left).constLast().content.gradient.size(), 2);
}

TEST(Legends, StayInTheirRoomAndCountWhatIsMissing) {
    QList<LegendContent> contents;
    for (int i = 0; i < 3000; ++i) {
        LegendContent content;
        content.title = i % 3 == 0 ? QString() : QString("Layer %1").arg(i);
        for (int row = 0; row <= i % 5; ++row) {
            content.rows.append({QString("class %1").arg(row), {}, -1});
        }
        contents.append(content);
    }
    for (const qsizetype layers : {1, 4, 12, 3000}) {
        for (const QSizeF room : {QSizeF(150, 120), QSizeF(700, 500)}) {
            const LegendStack stack(contents.first(layers), SheetColours(), room, 12);
            EXPECT_LE(stack.size().width(), room.width()) << layers;
            EXPECT_LE(stack.size().height(), room.height()) << layers;
            EXPECT_GT(stack.shown(), 0);
            EXPECT_EQ(stack.shown() == layers, layers <= (room.width() < 200 ? 4 : 12))
                << layers << ": " << stack.shown();
            QImage image(room.toSize() + QSize(20, 20), QImage::Format_RGB32);
            image.fill(Qt::white);
            QPainter painter(&image);
            stack.draw(painter, {0, 0});
            painter.end();
            const QRectF outside(room.width() + 2, 0, 18, room.height());
            EXPECT_EQ(count(image, outside, Qt::white), 18 * qRound(room.height())) << layers;
        }
    }
}

TEST(Inset, ShowsWhereTheMapIs) {
    MapScene scene;
    std::shared_ptr<Layers::GisLayerVector> square = test::squaresOf({1, 2, 3});
    square->setName("squares");
    square->style().setFillColor("#00FF00");
    square->style().setFillOpacity(255);
    scene.append(square);
    const QByteArray json =
        R"(, "pixels": [600, 400], "dpi": 96, "map": {"extent": [0, 0, 10, 10], "graticule": "none"},
        "items": [{"kind": "inset", "size": [60, 20], "layers": [)";
    for (const bool isShown : {true, false}) {
        const MapSheet sheet(sheetWith(json + (isShown ? "" : "\"others\"") + "]}]"), scene.extent(), nullptr);
        ASSERT_EQ(sheet.insetViews().size(), 1);
        const QImage image = sheet.draw({}, insetPictures(scene, sheet));
        const MapView inset = sheet.insetViews().constFirst();
        EXPECT_EQ(count(image, inset.frame(), QColor("#00FF00")) > 500, isShown);
        // The first of three squares lies in the box, whose sides are dark red.
        const QPointF side = inset.toPixel(sheet.view().toMap(sheet.view().frame().topRight()));
        const QColor drawn = image.pixelColor(QPointF(side.x(), inset.frame().center().y()).toPoint());
        EXPECT_GT(drawn.red(), drawn.green() + 60) << drawn.name().toStdString();
    }
}

} // namespace
