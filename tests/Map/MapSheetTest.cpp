#include "Map/TestLayers.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Symbology/GisDefaultSymbolStyles.h>
#include <Cartolith/Core/Symbology/GisSimpleSymbolRenderer.h>
#include <Cartolith/Map/MapPainter.h>
#include <Cartolith/Map/MapSheet.h>
#include <Cartolith/Map/Projection.h>
#include <Cartolith/Map/SymbolPainter.h>

#include <QPainter>
#include <QSet>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace Cartolith::Core;
using Layers::GisLayerStyle;
using Shapes::GisExtent;
using test::layerOf;
using namespace Cartolith::Map;

namespace {

/// Counts how often it is asked; fills the shapes red, those named "top" blue.
class CountingRenderer : public Symbology::GisSimpleSymbolRenderer {
public:
    explicit CountingRenderer(int& asked) : m_asked(asked) {}
    Layers::GisLayerStyle styleForFeature(const Symbology::GisSymbolContext& context) const override {
        ++m_asked;
        GisLayerStyle style;
        style.setFillColor(context.attributes().contains("top") ? "#0000FF" : "#FF0000");
        style.setFillOpacity(255);
        style.setLineWidth(0);
        return style;
    }
    bool usesFeatureAttributes() const override { return true; }

private:
    int& m_asked;
};

TEST(MapPainter, DrawsInLayerOrderLeavesHolesOpenAndAsksForEachStyleOnce) {
    const auto layer = layerOf({"POLYGON ((0 0, 100 0, 100 100, 0 100, 0 0), (40 40, 60 40, 60 60, 40 60, 40 40))",
                                "POLYGON ((0 0, 20 0, 20 20, 0 20, 0 0))", "POINT (500 500)"});
    layer->getShape(2)->attributes().insert("top", true);
    int asked = 0;
    layer->setSymbolRenderer(std::make_unique<CountingRenderer>(asked));

    QImage image(100, 100, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    const MapView view(GisExtent(0, 0, 100, 100), image.rect());
    const auto shapes = MapPainter::visibleShapes(*layer, view);
    ASSERT_EQ(shapes.size(), 2) << "the point is out of view";
    const auto styles = MapPainter::stylesFor(*layer, shapes);
    MapPainter(painter, view).draw(shapes, styles);
    painter.end();

    EXPECT_EQ(asked, 2);
    EXPECT_EQ(image.pixelColor(80, 20), QColor(Qt::red));
    EXPECT_EQ(image.pixelColor(50, 50), QColor(Qt::white)) << "the hole";
    EXPECT_EQ(image.pixelColor(10, 90), QColor(Qt::blue)) << "y goes up, later shapes lie on top";
}

TEST(MapPainter, DrawsTheOutlineOfWhatIsSmallerThanAPixel) {
    const auto layer = layerOf({"POLYGON ((50 50, 50.01 50, 50.01 50.01, 50 50))"});
    layer->style().setLineColor("#FF0000");
    layer->style().setLineWidth(3);
    QImage image(100, 100, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    const MapView view(GisExtent(0, 0, 100, 100), QRectF(0, 0, 100, 100));
    const auto shapes = MapPainter::visibleShapes(*layer, view);
    MapPainter(painter, view).draw(shapes, MapPainter::stylesFor(*layer, shapes));
    EXPECT_EQ(image.pixelColor(50, 50), QColor(Qt::red));
}

TEST(MapPainter, AsksARendererThatIgnoresAttributesOnce) {
    const auto layer = layerOf({"POINT (1 1)", "POINT (2 2)", "POINT (3 3)"});
    layer->setSymbolRenderer(std::make_unique<Symbology::GisSimpleSymbolRenderer>(GisLayerStyle()));
    EXPECT_EQ(MapPainter::stylesFor(*layer, layer->rawShapes()).asked(), 1);
}

TEST(MapView, KeepsOneScaleAndCentresTheExtent) {
    const MapView view(GisExtent(0, 0, 10, 100), QRectF(0, 0, 200, 100));
    EXPECT_EQ(view.unitsPerPixel(), 1);
    EXPECT_EQ(view.toPixel(5, 50), QPointF(100, 50));
    EXPECT_EQ(view.visibleExtent().xMin(), -95);
    EXPECT_GT(MapView(GisExtent(3, 3, 3, 3), QRectF(0, 0, 200, 100)).unitsPerPixel(), 0) << "a single place";
}

TEST(Projection, CutsTheWorldAtTheEdgeOfWebMercator) {
    auto layer = layerOf({"POLYGON ((0 -90, 10 -90, 10 -60, 0 -60, 0 -90))", "LINESTRING (0 -90, 9 -89)"});
    layer->setCoordinateSystem(CoordinateSystems::CoordinateSystemFactory::fromEpsg(4326));
    const auto result = Projection::project(*layer, "EPSG:3857");
    EXPECT_EQ(result.leftOut, 1) << "the line lies beyond the edge altogether";
    EXPECT_NEAR(result.layer->extent().yMin(), -20037508, 1);
    EXPECT_THROW(Projection::project(*layer, "EPSG:999999"), std::runtime_error);
}

TEST(MapSheet, AFrameOfAnySizeGivesAPicture) {
    const auto system = CoordinateSystems::CoordinateSystemFactory::fromEpsg(32633); // narrow area of use
    for (const QSize size : {QSize(64, 64), QSize(2000, 64)}) {
        MapSheet::Options options;
        options.size = size;
        options.title = "title";
        const MapSheet sheet(options, GisExtent(300000, 5000000, 300000, 5000000), system);
        EXPECT_EQ(sheet.draw({}).size(), size);
    }
}

TEST(SymbolPainter, TakesAnySizeFromAFile) {
    QImage image(100, 100, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    SymbolPainter symbols(painter);
    GisLayerStyle style;
    for (const float size : {1e30F, -1e30F, std::numeric_limits<float>::infinity(), std::nanf("")}) {
        style.setPointSize(size);
        style.setLineWidth(size);
        style.setFillColor("no colour");
        symbols.point({50, 50}, style);
        symbols.line({{0, 0}, {100, 100}}, style);
    }
    painter.end();
    EXPECT_EQ(image.pixelColor(3, 90), QColor(style.lineColor())) << "a line wider than the picture fills it";
}

} // namespace
