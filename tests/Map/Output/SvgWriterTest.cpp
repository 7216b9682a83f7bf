#include "Map/Output/LimitedDevice.h"

#include <Cartolith/Map/Output/SvgWriter.h>

#include <QBuffer>
#include <QImage>
#include <QPainterPath>
#include <QXmlStreamReader>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <limits>

using namespace Cartolith::Map;
using namespace Cartolith::Map::Output;

namespace {

using Draw = std::function<void(SvgWriter&)>;

QByteArray svgOf(const Draw& draw) {
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    SvgWriter writer(buffer, {.size = {200, 100}});
    draw(writer);
    writer.finish();
    return buffer.data();
}

TEST(SvgWriter, WritesShortWellFormedElements) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<double> line = {1.004, 2, -3.5, 2.25, -3.5, 2.251, 7, -2};
    const std::vector<double> squares = {0, 0, 10, 0, 10, 10, 0, 10, 0, 0, 2, 2, 4, 2, 4, 4, nan, 2};
    struct Row {
        const char* name;
        Draw draw;
        const char* expected;
    };
    const std::vector<Row> rows = {
        {"line", [&](SvgWriter& svg) { svg.stroke(line, std::vector<qsizetype>{4}, {.width = 1.5}); },
         R"svg(<path d="M1 2l-4.5 .25 10.5-4.25" fill="none" stroke="#000000" stroke-width="1.5" stroke-linecap="round" stroke-linejoin="round"/>)svg"},
        {"mitres and dashes",
         [&](SvgWriter& svg) {
             svg.stroke(line, std::vector<qsizetype>{2},
                        {.color = QColor(255, 0, 0, 51),
                         .cap = Raster::LineCap::Butt,
                         .join = Raster::LineJoin::Mitre,
                         .dashes = {4, nan, 1},
                         .dashOffset = -1});
         },
         R"svg(<path d="M1 2l-4.5 .25" fill="none" stroke="#ff0000" stroke-opacity=".2" stroke-width="1" stroke-miterlimit="4" stroke-dasharray="4 0 1" stroke-dashoffset="-1"/>)svg"},
        {"area without the ring that is not finite",
         [&](SvgWriter& svg) {
             svg.fill(squares, std::vector<qsizetype>{5, 9}, "#010203");
         },
         R"svg(<path d="M0 0l10 0 0 10-10 0z" fill="#010203" fill-rule="evenodd"/>)svg"},
        {"a dot",
         [&](SvgWriter& svg) {
             svg.stroke(std::vector<double>{5, 5, 5, 5}, std::vector<qsizetype>{2}, {});
         },
         R"svg(<path d="M5 5l0 0")svg"},
        {"casing below",
         [&](SvgWriter& svg) { svg.stroke(line, std::vector<qsizetype>{2}, {.width = 3, .casing = 1}); },
         R"svg(stroke="#ffffff" stroke-width="5" stroke-linecap="round" stroke-linejoin="round"/>
<path d="M1 2l-4.5 .25" fill="none" stroke="#000000" stroke-width="3")svg"},
        {"hostile layers, twice",
         [](SvgWriter& svg) {
             for (int i = 0; i < 2; ++i) {
                 svg.beginLayer(QString("1<\"&'>") + QChar(0) + QChar(0xD800) + u'é', 0.5,
                                QPainter::CompositionMode_Multiply);
                 svg.end();
             }
         },
         "<g id=\"layer-1________-2\" inkscape:groupmode=\"layer\" "
         "inkscape:label=\"1&#60;&#34;&#38;'&#62;\xEF\xBF\xBD\xEF\xBF\xBD\xC3\xA9\" opacity=\".5\" "
         "style=\"mix-blend-mode:multiply\">"},
        {"feature in a clip in a layer",
         [](SvgWriter& svg) {
             svg.beginLayer("roads");
             svg.beginClip({1, 2, 30, 40});
             svg.beginFeature(17);
         },
         R"svg(<defs><clipPath id="_clip1"><rect x="1" y="2" width="30" height="40"/></clipPath></defs>
<g clip-path="url(#_clip1)">
<g id="roads.17">)svg"},
        {"text",
         [](SvgWriter& svg) {
             svg.text({.text = QString::fromUtf8(" a<b \xF0\x9F\x97\xBA"),
                       .baseline = {3, 4},
                       .rotation = -30,
                       .family = "A'; x",
                       .haloWidth = 1});
         },
         R"svg( transform="translate(3 4)rotate(-30)" font-family="'A; x'" font-size="12" fill="#000000" stroke="#ffffff" stroke-width="2" stroke-linejoin="round" paint-order="stroke"> a&#60;b )svg"},
        {"halo of texts, the text once",
         [](SvgWriter& svg) {
             svg.beginTexts(svg.addHalo(Qt::white, 1.5));
             svg.text({.text = "a", .baseline = {3, 4}, .family = {}});
             svg.end();
         },
         R"svg(<use xlink:href="#_texts1" stroke="#ffffff" stroke-width="3" stroke-linejoin="round" aria-hidden="true"/>
<g id="_texts1">
<text xml:space="preserve" x="3" y="4" font-size="12" fill="#000000">a</text>
</g>)svg"},
        {"text on a curve, whole for who searches",
         [](SvgWriter& svg) {
             svg.text({.text = "ab", .baseline = {3, 4}, .rotation = 20, .family = "F", .length = 9},
                      std::vector<SvgTextPiece>{{"a", {3, 4}, 10, 5}, {"b", {8, 5}, 30}});
         },
         R"svg(<g font-family="'F'" font-size="12">
<g aria-hidden="true" style="-webkit-user-select:none;user-select:none" fill="#000000">
<text xml:space="preserve" transform="translate(3 4)rotate(10)" textLength="5" lengthAdjust="spacingAndGlyphs">a</text>
<text xml:space="preserve" transform="translate(8 5)rotate(30)">b</text>
</g>
<text xml:space="preserve" transform="translate(3 4)rotate(20)" textLength="9" lengthAdjust="spacingAndGlyphs" fill="none" stroke="none">ab</text>
</g>)svg"},
        {"a symbol of several elements",
         [](SvgWriter& svg) {
             const int symbol = svg.beginSymbol();
             svg.text({.text = "a", .baseline = {}, .family = {}});
             svg.end();
             svg.marker(symbol, {1, 2});
         },
         R"svg(fill="#000000">a</text>
</g></defs>
<use xlink:href="#_symbol1" x="1" y="2"/>)svg"},
        {"symbol",
         [](SvgWriter& svg) {
             QPainterPath path;
             path.addEllipse(-1, -1, 2, 2);
             const int symbol = svg.addSymbol(path, Qt::red, {.width = 0});
             svg.marker(symbol, {10.5, 20});
             svg.marker(symbol, {1, 2}, 45, 2);
         },
         R"svg(<use xlink:href="#_symbol1" x="10.5" y="20"/>
<use xlink:href="#_symbol1" transform="translate(1 2)rotate(45)scale(2)"/>)svg"},
        {"far places left out, casing of a symbol",
         [](SvgWriter& svg) {
             QPainterPath path;
             path.addRect(0, 0, 1, 1);
             const int symbol = svg.addSymbol(path, Qt::red, {.width = 1, .casing = 2});
             svg.marker(symbol, {5e12, 7});
             svg.text({.text = "far", .baseline = {7, -5e12}, .family = {}});
         },
         R"svg(stroke="#ffffff" stroke-width="5" stroke-linecap="round" stroke-linejoin="round"/><path d="M0 0L1 0L1 1L0 1L0 0" fill="none" fill-rule="evenodd" stroke="#000000" stroke-width="1" stroke-linecap="round" stroke-linejoin="round"/></g></defs>
</svg>)svg"},
        {"calls that fail, and those after the end",
         [&](SvgWriter& svg) {
             EXPECT_THROW(svg.image({0, 0, 1, 1}, QImage()), std::runtime_error);
             EXPECT_THROW(svg.fill(squares, std::vector<qsizetype>{4, 10}, Qt::red), std::invalid_argument);
             svg.finish();
             for (int i = 0; i < 9000; ++i) {
                 svg.text({.text = "late", .baseline = {}, .family = {}});
             }
         },
         "viewBox=\"0 0 200 100\">\n</svg>\n"},
    };
    for (const Row& row : rows) {
        const QByteArray svg = svgOf(row.draw);
        EXPECT_THAT(svg.toStdString(), testing::HasSubstr(row.expected)) << row.name;
        QXmlStreamReader reader(svg);
        while (!reader.atEnd()) {
            reader.readNext();
        }
        EXPECT_EQ(reader.errorString(), QString()) << row.name;
    }
    EXPECT_THROW(svgOf([](SvgWriter& svg) { svg.end(); }), std::logic_error);
    EXPECT_THROW(svgOf([](SvgWriter& svg) { svg.marker(1, {}); }), std::out_of_range);
    EXPECT_THROW(svgOf([](SvgWriter& svg) { svg.beginTexts(1); }), std::out_of_range);
    EXPECT_THROW(svgOf([&](SvgWriter& svg) { svg.fill(squares, std::vector<qsizetype>{10}, Qt::red); }),
                 std::invalid_argument);
}

TEST(SvgWriter, StreamsAndReportsAFullDisk) {
    std::vector<double> line;
    for (int i = 0; i < 200'000; ++i) {
        line.insert(line.end(), {i * 0.37, i % 7 * 1.5});
    }
    const std::vector<qsizetype> ends = {200'000};
    QImage noise(300, 300, QImage::Format_RGB32);
    for (int i = 0; i < 90'000; ++i) {
        noise.setPixel(i % 300, i / 300, static_cast<QRgb>(i) * 2654435761U);
    }
    const auto draw = [&](SvgWriter& svg) {
        svg.stroke(line, ends, {});
        svg.image({0, 0, 50, 50}, noise);
    };
    const QByteArray whole = svgOf(draw);
    const QByteArray start = "base64,";
    const qsizetype from = whole.indexOf(start) + start.size();
    QImage read;
    ASSERT_TRUE(read.loadFromData(QByteArray::fromBase64(whole.mid(from, whole.indexOf('"', from) - from))));
    EXPECT_EQ(read, noise);
    for (const qint64 room : {qint64{0}, qint64{70'000}, qint64{whole.size() - 1}}) {
        test::LimitedDevice disk(room);
        EXPECT_THAT(
            [&] {
                SvgWriter writer(disk, {.size = {200, 100}});
                draw(writer);
                writer.finish();
            },
            testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr("disk is full")))
            << room;
    }
}

} // namespace
