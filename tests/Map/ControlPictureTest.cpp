// Whole maps against pictures that somebody has looked at. With CARTOLITH_WRITE_CONTROL_PICTURES set, these
// are written anew instead, each with its mask: how far a channel of a pixel may be off, more where
// neighbours differ, for there a compiler's last bit decides.
#include "DataFolder.h"
#include "Map/TestLayers.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Layers/GisLayerGdalRaster.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Map/MapScene.h>
#include <Cartolith/Map/Picking/SelectionSet.h>

#include <QDir>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>

using namespace Cartolith::Core;
using namespace Cartolith::Map;
using Shapes::GisExtent;

namespace {

const QString dataDir = QStringLiteral(CARTOLITH_DATA_DIR "/");
const QRectF frame(0, 0, 180, 120);

std::array<int, 4> channels(QRgb pixel) {
    return {qRed(pixel), qGreen(pixel), qBlue(pixel), qAlpha(pixel)};
}

QImage maskOf(const QImage& picture) {
    constexpr int always = 3;
    constexpr double share = 0.3; // of the contrast around a pixel
    QImage mask(picture.size(), QImage::Format_Grayscale8);
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            std::array<int, 4> least = channels(picture.pixel(x, y));
            std::array<int, 4> most = least;
            for (int k = 0; k < 9; ++k) {
                const QPoint at(std::clamp(x + k % 3 - 1, 0, picture.width() - 1),
                                std::clamp(y + k / 3 - 1, 0, picture.height() - 1));
                for (std::size_t c = 0; c < 4; ++c) {
                    least[c] = std::min(least[c], channels(picture.pixel(at))[c]);
                    most[c] = std::max(most[c], channels(picture.pixel(at))[c]);
                }
            }
            int contrast = 0;
            for (std::size_t c = 0; c < 4; ++c) {
                contrast = std::max(contrast, most[c] - least[c]);
            }
            mask.scanLine(y)[x] = static_cast<uchar>(always + static_cast<int>(share * contrast));
        }
    }
    return mask;
}

/// Pixels that are farther off than their mask says; all, where the sizes differ.
int differences(const QImage& picture, const QImage& control, const QImage& mask) {
    if (picture.size() != control.size() || mask.size() != control.size()) {
        return picture.width() * picture.height();
    }
    int count = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const std::array<int, 4> a = channels(picture.pixel(x, y));
            const std::array<int, 4> b = channels(control.pixel(x, y));
            int most = 0;
            for (std::size_t c = 0; c < 4; ++c) {
                most = std::max(most, std::abs(a[c] - b[c]));
            }
            count += most > qGray(mask.pixel(x, y)) ? 1 : 0;
        }
    }
    return count;
}

template <typename Layer>
std::shared_ptr<Layer> opened(const char* name) {
    auto layer = std::make_shared<Layer>(dataDir + QString::fromLatin1(name));
    layer->open();
    return layer;
}

Layers::GisLayerStyle& styleOf(const MapScene& scene, qsizetype layer) {
    return scene.entry(layer).layer->style();
}

void symbols(MapScene& scene) {
    std::shared_ptr<Layers::GisLayerVector> areas =
        test::layerOf({"POLYGON ((10 20, 90 10, 110 140, 20 120, 10 20), (40 40, 70 40, 70 90, 40 90, 40 40))",
                       "POLYGON ((90 10, 200 25, 190 90, 103 94, 90 10))"});
    areas->style().setFillColor("#7FB685");
    areas->style().setLineWidth(1);
    std::shared_ptr<Layers::GisLayerVector> lines =
        test::layerOf({"LINESTRING (5 5, 60 150, 120 40, 230 120)", "LINESTRING (0 80, 240 75)"});
    lines->style().setLineColor("#F4C20D");
    lines->style().setLineWidth(5);
    std::shared_ptr<Layers::GisLayerVector> points =
        test::layerOf({"POINT (150.3 60.6)", "POINT (55 65)", "POINT (1 159)"});
    points->style().setPointSize(13);
    scene.append(areas);
    MapScene::Entry cased;
    cased.layer = lines;
    cased.casing.colour = Qt::black;
    cased.casing.lines = QStringList{"#F4C20D"};
    cased.opacity = 0.7;
    scene.insert(1, cased);
    scene.append(points);
    scene.setView(MapView(GisExtent(0, 0, 240, 160), frame));
}

void counties(MapScene& scene) {
    scene.append(opened<Layers::GisLayerOgrVector>("us-counties.gpkg"));
    styleOf(scene, 0).setLineWidth(0.6F);
    scene.setView(MapView(GisExtent(-90, 34, -81, 40), frame).rotated(20, frame.center()));
}

void projected(MapScene& scene) {
    scene.setCoordinateSystem(CoordinateSystems::CoordinateSystemFactory::fromEpsg(3035));
    scene.append(opened<Layers::GisLayerOgrVector>("world-countries.gpkg"));
    scene.setView(MapView(GisExtent(-6e6, -4e6, 16e6, 12e6), frame));
}

void labels(MapScene& scene) {
    scene.append(opened<Layers::GisLayerOgrVector>("world-countries.gpkg"));
    scene.append(opened<Layers::GisLayerOgrVector>("world-cities.gpkg"));
    Layers::GisLayerStyle& style = styleOf(scene, 1);
    style.setPointSize(4);
    style.setShowLabels(true);
    style.setLabelField("name");
    style.setLabelPriorityField("population");
    style.setLabelFontFamily("DejaVu Sans");
    scene.setView(MapView(GisExtent(0, 42, 20, 55), frame));
}

void relief(MapScene& scene) {
    scene.setCoordinateSystem(CoordinateSystems::CoordinateSystemFactory::fromEpsg(32725));
    auto raster = opened<Layers::GisLayerGdalRaster>("olinda-dem-utm25s.tif");
    Symbology::GisRasterStyle style;
    style.setRendering(Symbology::GisRasterStyle::Rendering::Relief);
    style.setHillshade(Symbology::GisHillshade{315, 45, 3});
    raster->setRasterStyle(style);
    scene.append(raster);
    const GisExtent all = raster->extent();
    const GisExtent half(all.xMin(), all.yMin(), all.center().x(), all.yMax());
    std::shared_ptr<Layers::GisLayerVector> square =
        test::layerOf({QString("POLYGON ((%1 %2, %3 %2, %3 %4, %1 %4, %1 %2))")
                           .arg(half.xMin(), 0, 'f', 3)
                           .arg(half.yMin(), 0, 'f', 3)
                           .arg(half.xMax(), 0, 'f', 3)
                           .arg(half.yMax(), 0, 'f', 3)});
    square->setCoordinateSystem(raster->coordinateSystem());
    square->style().setFillColor("#D98E04");
    MapScene::Entry entry;
    entry.layer = square;
    entry.blend = LayerBlend::Multiply;
    scene.insert(1, entry);
    scene.setView(MapView(all, frame));
}

void selection(MapScene& scene) {
    scene.append(opened<Layers::GisLayerOgrVector>("gothenburg-roads.gpkg"));
    const auto chosen = std::make_shared<Picking::SelectionSet>();
    Picking::SelectionSet::Ids ids;
    for (qint64 id = 1; id < 6000; id += 40) {
        ids.insert(id);
    }
    chosen->set(scene.entry(0).layer, ids);
    scene.setSelection(chosen);
    const Shapes::GisShapePoint middle = scene.entry(0).layer->extent().center();
    scene.setView(
        MapView(GisExtent(middle.x() - 0.03, middle.y() - 0.02, middle.x() + 0.03, middle.y() + 0.02), frame));
}

/// An entry of the scene, changed.
void change(MapScene& scene, qsizetype at, const std::function<void(MapScene::Entry&)>& how) {
    MapScene::Entry entry = scene.entry(at);
    how(entry);
    scene.replace(at, entry);
}

struct ControlRow {
    const char* name;
    void (*draw)(MapScene& scene);
    /// Each of them must be noticed.
    std::vector<void (*)(MapScene& scene)> spoilings;
};

const std::vector<ControlRow> rows = {
    {"symbols",
     symbols,
     {[](MapScene& scene) { styleOf(scene, 1).setLineWidth(5.8F); },
      [](MapScene& scene) { styleOf(scene, 0).setFillColor("#7FB67A"); },
      [](MapScene& scene) { change(scene, 1, [](auto& entry) { entry.opacity = 0.75; }); },
      [](MapScene& scene) { scene.move(2, 0); },
      [](MapScene& scene) { change(scene, 1, [](auto& entry) { entry.casing.lines.clear(); }); }}},
    {"counties",
     counties,
     {[](MapScene& scene) {
          scene.setView(scene.view().panned({0.5, 0}));
      },
      [](MapScene& scene) { scene.setView(scene.view().rotated(0.3, frame.center())); },
      [](MapScene& scene) { styleOf(scene, 0).setFillOpacity(160); }}},
    {"projected",
     projected,
     {[](MapScene& scene) {
          scene.setView(scene.view().panned({0, 0.7}));
      },
      [](MapScene& scene) { // Iceland
          auto& layer = dynamic_cast<Layers::GisLayerVector&>(*scene.entry(0).layer);
          for (const auto& shape : layer.items()) {
              if (shape->attributeValue("iso_a2").toString() == "IS") {
                  layer.removeShapeById(shape->id());
                  return;
              }
          }
      }}},
    {"labels",
     labels,
     {[](MapScene& scene) { styleOf(scene, 1).setLabelHaloEnabled(false); },
      [](MapScene& scene) { styleOf(scene, 1).setLabelFontSize(8.3F); },
      [](MapScene& scene) { styleOf(scene, 1).setLabelAllowOverlap(true); }}},
    {"relief",
     relief,
     {[](MapScene& scene) { change(scene, 1, [](auto& entry) { entry.blend = LayerBlend::Normal; }); },
      [](MapScene& scene) {
          auto& raster = dynamic_cast<Layers::GisLayerRaster&>(*scene.entry(0).layer);
          Symbology::GisRasterStyle style = raster.rasterStyle();
          style.setHillshade(Symbology::GisHillshade{300, 45, 3});
          raster.setRasterStyle(style);
      }}},
    {"selection",
     selection,
     {[](MapScene& scene) { scene.setSelection(nullptr); },
      [](MapScene& scene) { styleOf(scene, 0).setSelectedLineWidth(3.8F); }}},
};

class ControlPicture : public testing::TestWithParam<ControlRow> {};

TEST_P(ControlPicture, IsDrawnAgain) {
    const ControlRow& row = GetParam();
    MapScene scene;
    scene.setBackground(QColor("#EAF2F8"));
    row.draw(scene);
    const QImage picture = scene.draw(scene.view()).convertToFormat(QImage::Format_RGB32);
    const QString path = dataDir + "control/" + row.name;
    if (qEnvironmentVariableIsSet("CARTOLITH_WRITE_CONTROL_PICTURES")) {
        ASSERT_TRUE(picture.save(path + ".png") && maskOf(picture).save(path + "-mask.png"));
    }
    const QImage control(path + ".png");
    const QImage mask(path + "-mask.png");
    if (const int count = differences(picture, control, mask); count > 0) {
        const QString seen = QDir::temp().filePath(QString("cartolith-%1.png").arg(row.name));
        picture.save(seen);
        ADD_FAILURE() << count << " pixels are not as in " << path.toStdString() << ".png: see " << seen.toStdString();
    }
    for (std::size_t i = 0; i < row.spoilings.size(); ++i) {
        MapScene wrong;
        wrong.setBackground(scene.background());
        row.draw(wrong);
        row.spoilings[i](wrong);
        const QImage spoilt = wrong.draw(wrong.view()).convertToFormat(QImage::Format_RGB32);
        EXPECT_GT(differences(spoilt, control, mask), 10) << "spoiling " << i << " goes unnoticed";
    }
}

INSTANTIATE_TEST_SUITE_P(Maps, ControlPicture, testing::ValuesIn(rows),
                         [](const auto& row) { return std::string(row.param.name); });

} // namespace
