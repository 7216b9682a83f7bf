#include "Map/TestLayers.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Map/MapScene.h>
#include <Cartolith/Map/Output/SceneTiles.h>

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <random>

using namespace Cartolith::Core;
using namespace Cartolith::Map;
using namespace Cartolith::Map::Output;
using CoordinateSystems::CoordinateSystemFactory;

namespace {

TEST(SceneTiles, AreCutsOfOneLargePicture) {
    const auto mercator = std::shared_ptr<CoordinateSystems::CoordinateSystem>(CoordinateSystemFactory::fromEpsg(3857));
    const double side = TileScheme::halfWorld / 16; // of a tile at zoom 5
    std::mt19937 random(7);
    std::uniform_real_distribution<double> place(0.0, 8 * side);
    QStringList texts;
    for (int i = 0; i < 300; ++i) {
        texts.append(QString("POINT (%1 %2)").arg(place(random), 0, 'f').arg(place(random), 0, 'f'));
    }
    for (int i = 0; i < 40; ++i) {
        texts.append(QString("LINESTRING (%1 %2, %3 %4)")
                         .arg(place(random), 0, 'f')
                         .arg(place(random), 0, 'f')
                         .arg(place(random), 0, 'f')
                         .arg(place(random), 0, 'f'));
    }
    std::shared_ptr<Layers::GisLayerVector> layer = test::layerOf(texts);
    layer->setCoordinateSystem(mercator);
    for (std::size_t i = 0; i < layer->items().size(); ++i) {
        layer->items().at(i)->attributes().insert("name", QString("Place number %1").arg(i));
    }
    layer->style().setShowLabels(true);
    layer->style().setLabelField("name");
    layer->style().setLineWidth(5);
    layer->setMinVisibleScale(1.0);
    layer->setMaxVisibleScale(3e7); // not at zoom 4
    MapScene scene;
    scene.setCoordinateSystem(mercator);
    scene.setBackground(Qt::white);
    scene.append(layer);

    const QTemporaryDir folder;
    TileJob job{.extent = {0, 0, 8 * side, 8 * side}, .minZoom = 4, .maxZoom = 5, .metatile = 2, .buffer = 40};
    ASSERT_EQ(SceneTiles::write(scene, folder.filePath("tiles"), job), TileWriter::Result::Complete);
    const MapView view(job.extent, QRectF(0, 0, 2048, 2048));
    const QImage expected = scene.draw(view).convertToFormat(QImage::Format_RGB32);
    qsizetype far = 0;
    int dark = 0;
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            const QImage tile(folder.filePath(QString("tiles/5/%1/%2.png").arg(16 + x).arg(8 + y)));
            ASSERT_EQ(tile.size(), QSize(256, 256)) << x << ' ' << y;
            for (int i = 0; i < 256 * 256; ++i) {
                const QColor a(tile.pixel(i % 256, i / 256));
                const QColor b(expected.pixel(x * 256 + i % 256, y * 256 + i / 256));
                far += std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) > 3 ? 1 : 0;
                dark += b.lightness() < 128 ? 1 : 0;
            }
        }
    }
    EXPECT_GT(dark, 50'000) << "there is something to compare";
    EXPECT_LT(far, 40) << "of four million pixels";
    EXPECT_EQ(QImage(folder.filePath("tiles/4/8/4.png")).pixelColor(128, 128), QColor(Qt::white))
        << "beyond its scales";

    MapScene other;
    EXPECT_THROW(SceneTiles::write(other, folder.filePath("other"), job), std::invalid_argument);
    for (int TileJob::*setting : {&TileJob::tileSize, &TileJob::metatile}) {
        TileJob none = job;
        none.*setting = 0;
        EXPECT_THROW(SceneTiles::write(scene, folder.filePath("other"), none), std::invalid_argument);
    }
}

} // namespace
