#include "DataFolder.h"
#include "Map/TestLayers.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Layers/GisLayerGdalRaster.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Symbology/GisSimpleSymbolRenderer.h>
#include <Cartolith/Map/MapPreparation.h>
#include <Cartolith/Map/MapScene.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

using namespace Cartolith::Core;
using namespace Cartolith::Map;
using CoordinateSystems::CoordinateSystemFactory;
using Shapes::GisExtent;
using testing::HasSubstr;

namespace {

const QString dataDir = QStringLiteral(CARTOLITH_DATA_DIR "/");

/// A square over everything.
std::shared_ptr<Layers::GisLayerVector> square(const char* color) {
    std::shared_ptr<Layers::GisLayerVector> layer =
        test::layerOf({"POLYGON ((-1000 -1000, 1000 -1000, 1000 1000, -1000 1000, -1000 -1000))"});
    layer->style().setFillColor(color);
    layer->style().setFillOpacity(255);
    return layer;
}

TEST(MapScene, DrawsLayersInOrderWhereTheScaleShowsThem) {
    MapScene scene;
    scene.setBackground(Qt::white);
    const auto red = square("#FF0000");
    const auto blue = square("#0000FF");
    scene.append(red);
    scene.append(blue);
    // A metre to a unit, a unit to a pixel: 1 to 3779.5.
    const MapView view(GisExtent(0, 0, 20, 20), QRectF(0, 0, 20, 20));
    const auto colour = [&] { return QColor(scene.draw(view).pixel(10, 10)).name(); };
    EXPECT_NEAR(scene.scaleDenominator(view), 3779.5, 0.1);
    EXPECT_EQ(colour(), "#0000ff");
    const struct {
        const char* name;
        std::function<void()> change;
        const char* expected;
    } rows[] = {
        {"hidden", [&] { blue->setVisible(false); }, "#ff0000"},
        {"shown again", [&] { blue->setVisible(true); }, "#0000ff"},
        {"beyond its scales", [&] { blue->setMaxVisibleScale(3000); }, "#ff0000"},
        {"within", [&] { blue->setMaxVisibleScale(4000); }, "#0000ff"},
        {"moved below", [&] { scene.move(1, 0); }, "#ff0000"},
        {"transparent",
         [&] {
             MapScene::Entry entry = scene.entry(1);
             entry.opacity = 0.0;
             scene.replace(1, entry);
         },
         "#0000ff"},
        {"another style", [&] { blue->style().setFillColor("#00FF00"); }, "#00ff00"},
        {"gone", [&] { scene.remove(0); }, "#ffffff"},
    };
    for (const auto& row : rows) {
        row.change();
        EXPECT_EQ(colour(), row.expected) << row.name;
    }
    EXPECT_THROW(scene.remove(1), std::out_of_range);
    EXPECT_THROW(scene.append(nullptr), std::invalid_argument);
}

/// Counts how often it is asked.
class CountingRenderer : public Symbology::GisSimpleSymbolRenderer {
public:
    explicit CountingRenderer(int& asked) : m_asked(asked) {}
    Layers::GisLayerStyle styleForFeature(const Symbology::GisSymbolContext& context) const override {
        ++m_asked;
        return GisSimpleSymbolRenderer::styleForFeature(context);
    }

private:
    int& m_asked;
};

TEST(MapScene, KeepsWhatWasMadeForAnEarlierPicture) {
    MapScene scene;
    const auto layer = square("#FF0000");
    int asked = 0;
    layer->setSymbolRenderer(std::make_unique<CountingRenderer>(asked));
    scene.append(layer);
    const MapView view(GisExtent(0, 0, 20, 20), QRectF(0, 0, 20, 20));
    scene.draw(view);
    scene.draw(view.panned({3, 0}));
    EXPECT_EQ(asked, 1);
    layer->markLookChanged();
    MapPreparation preparation(scene, view);
    EXPECT_TRUE(preparation.step(std::chrono::milliseconds(100)));
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(preparation.progress(), 1.0);
}

class MapSceneFile : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(QDir(folder.path()).mkdir("maps") && QDir(folder.path()).mkdir("data"));
        for (const QString name : {"world-countries.gpkg", "olinda-dem-utm25s.tif"}) {
            ASSERT_TRUE(QFile::copy(dataDir + name, data(name)));
        }
    }
    QString data(const QString& name) const { return folder.filePath("data/" + name); }

    QTemporaryDir folder;
    const QString path = folder.filePath("maps/map.json");
};

TEST_F(MapSceneFile, ReadsBackAsItWas) {
    QImage before;
    MapView view;
    {
        MapScene scene;
        scene.setBackground(QColor("#80102030"));
        scene.setCoordinateSystem(CoordinateSystemFactory::fromEpsg(3857));
        auto dem = std::make_shared<Layers::GisLayerGdalRaster>(data("olinda-dem-utm25s.tif"));
        dem->open();
        Symbology::GisRasterStyle relief;
        relief.setRendering(Symbology::GisRasterStyle::Rendering::Relief);
        relief.setHillshade(Symbology::GisHillshade{300, 40, 2});
        dem->setRasterStyle(relief);
        scene.append(dem);
        auto countries = std::make_shared<Layers::GisLayerOgrVector>(data("world-countries.gpkg"));
        countries->open();
        countries->setName("Länder");
        countries->setMaxVisibleScale(1e9);
        countries->style().setLineWidth(2);
        countries->setSymbolRenderer(std::make_unique<Symbology::GisSimpleSymbolRenderer>(countries->style()));
        scene.insert(0, {countries, 0.7, LayerBlend::Darken, {QColor("#010203"), {"#6F8380"}}});
        auto onDemand = std::make_shared<Layers::GisLayerOgrOnDemand>(data("world-countries.gpkg"));
        onDemand->open();
        onDemand->setVisible(false);
        scene.append(onDemand);

        EXPECT_GT(scene.extent().width(), 3.9e7);
        view = MapView(GisExtent(-3.9e6, -0.92e6, -3.87e6, -0.88e6), QRectF(7, 5, 90, 120))
                   .rotated(20, {52, 65})
                   .withDevicePixelRatio(2)
                   .withDotsPerInch(150);
        scene.setView(view);
        scene.save(path);
        before = scene.draw(view);
    }
    // Elsewhere, as a whole.
    QTemporaryDir other;
    ASSERT_TRUE(QFile::rename(folder.path(), other.filePath("moved")));
    const QString moved = other.filePath("moved/maps/map.json");

    MapScene::Loaded loaded = MapScene::load(moved);
    EXPECT_EQ(loaded.problems, QStringList());
    ASSERT_EQ(loaded.sources.size(), 3);
    EXPECT_TRUE(QFile::exists(loaded.sources[0])) << loaded.sources[0].toStdString();
    ASSERT_EQ(loaded.scene.count(), 3);
    const MapScene::Entry& entry = loaded.scene.entry(0);
    EXPECT_EQ(entry.layer->name(), "Länder");
    EXPECT_EQ(entry.layer->maxVisibleScale(), 1e9);
    EXPECT_EQ(entry.opacity, 0.7);
    EXPECT_EQ(entry.blend, LayerBlend::Darken);
    EXPECT_EQ(entry.casing.lines, QStringList("#6F8380"));
    EXPECT_FALSE(loaded.scene.entry(2).layer->visible());
    const MapView& read = loaded.scene.view();
    EXPECT_NEAR(read.unitsPerPixel(), view.unitsPerPixel(), 1e-12 * view.unitsPerPixel());
    EXPECT_EQ(read.frame(), view.frame());
    EXPECT_EQ(read.dotsPerInch(), 150.0);
    EXPECT_EQ(read.devicePixelRatio(), 2.0);
    EXPECT_EQ(loaded.scene.draw(view), before);

    // A source that is gone is reported, and stays in the file.
    ASSERT_TRUE(QFile::remove(other.filePath("moved/data/olinda-dem-utm25s.tif")));
    MapScene::Loaded without = MapScene::load(moved);
    ASSERT_EQ(without.problems.size(), 1);
    EXPECT_EQ(without.sources.size(), 3);
    EXPECT_THAT(without.problems[0].toStdString(), HasSubstr("olinda-dem-utm25s.tif: there is no such file"));
    EXPECT_FALSE(without.scene.draw(view).isNull());
    without.scene.save(moved);
    const QString elsewhere = other.filePath("elsewhere.json");
    without.scene.save(elsewhere);
    ASSERT_TRUE(QFile::copy(dataDir + "olinda-dem-utm25s.tif", other.filePath("moved/data/olinda-dem-utm25s.tif")));
    EXPECT_EQ(MapScene::load(moved).scene.draw(view), before);
    EXPECT_EQ(MapScene::load(elsewhere).scene.draw(view), before);
    other.remove();

    MapScene inMemory;
    inMemory.append(square("#FF0000"));
    EXPECT_THROW(inMemory.save(moved), std::invalid_argument);
}

TEST_F(MapSceneFile, OfStrangersIsRefusedOrReported) {
    const QByteArray head = R"({"kind": "map", "version": 1, )";
    const QByteArray layer = head + R"("layers": [{"kind": "vector", "source": "../data/world-countries.gpkg", )";
    const struct {
        QByteArray text;
        const char* refusal; // or
        const char* problem;
    } rows[] = {
        {"[]", "an object is expected", ""},
        {"{}", "no map file of version 1", ""},
        {head + R"("layres": []})", "map: there is no member \"layres\"", ""},
        {head + R"("layers": [7]})", "map.layers[0]: an object is expected", ""},
        {head + R"("layers": [{"kind": "exec"}]})", "map.layers[0].kind: \"exec\" is none of", ""},
        {head + R"("background": "no"})", "map.background: \"no\" is no colour", ""},
        {head + R"("layers": [{"kind": "raster", "name": "n", "source": "a\u0000b"}]})", "", "n: a"},
        {head + R"("crs": "nowhere"})", "map.crs: 'nowhere' is not", ""},
        {head + R"("view": {"centerX": 0, "centerY": 0, "unitsPerPixel": 1e308, "width": 1e9, "height": 1}})",
         "map.view: there is no such view", ""},
        {head + R"("background": "nonsense"})", "map.background: \"nonsense\" is no colour", ""},
        {layer + R"("casing": {"color": "#12"}}]})", "casing.color: \"#12\" is no colour", ""},
        {layer + R"("casing": {"color": "red", "lines": [1]}}]})", "casing.lines: a list of texts", ""},
        {layer + R"("opacity": "x"}]})", "map.layers[0].opacity: a number is expected", ""},
        {layer + R"("style": {"lineWidth": "x"}}]})", "map.layers[0].style: style.lineWidth: a number", ""},
        {head + R"("layers": [)" + QByteArray("{},").repeated(10000) + "{}]}", "more than 10,000 layers", ""},
        {QByteArray(300, ' ') + QByteArray("[").repeated(100000), "JSON, line 1", ""},
        {layer + R"("layer": "nowhere"}]})", "", "nowhere"},
        {head + R"("layers": [{"kind": "vector", "name": "n", "source": "/vsicurl/http://127.0.0.1:9/x.gpkg"}]})", "",
         "n: /vsicurl/http://127.0.0.1:9/x.gpkg: there is no such file or folder"},
        {head + R"("layers": [{"kind": "raster", "source": ""}]})", "", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text.left(200).toStdString());
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(row.text) > 0);
        file.close();
        try {
            const MapScene::Loaded loaded = MapScene::load(path);
            EXPECT_STREQ(row.refusal, "");
            ASSERT_EQ(loaded.problems.size(), 1);
            EXPECT_THAT(loaded.problems[0].toStdString(), HasSubstr(row.problem));
        } catch (const std::runtime_error& error) {
            ASSERT_STRNE(row.refusal, "") << error.what();
            EXPECT_THAT(error.what(), HasSubstr(row.refusal));
        }
    }
}

} // namespace
