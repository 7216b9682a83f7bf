#include "VectorMapLayer.h"

#include "LabelOptions.h"
#include "StepLog.h"

#include <Cartolith/Core/Layers/GisVectorOverviews.h>
#include <Cartolith/Map/LayerSnapshot.h>

#include <QCommandLineParser>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <ogrsf_frmts.h>

using namespace Cartolith::Core;
using namespace Cartolith::Map;

namespace {

// More features than a picture wants, two in each place.
TEST(VectorMapLayer, DrawsFromOverviewsWhatIsSeenAsAWhole) {
    const QTemporaryDir folder;
    const QString file = folder.filePath("points.fgb");
    constexpr int side = 200;
    GDALAllRegister();
    {
        const GDALDatasetUniquePtr made(GetGDALDriverManager()
                                            ->GetDriverByName("FlatGeobuf")
                                            ->Create(file.toUtf8().constData(), 0, 0, 0, GDT_Unknown, nullptr));
        OGRLayer& layer = *made->CreateLayer("points", nullptr, wkbPoint, nullptr);
        OGRFieldDefn field("pop", OFTInteger);
        ASSERT_EQ(layer.CreateField(&field), OGRERR_NONE);
        for (int i = 0; i < 2 * side * side; ++i) {
            OGRFeature feature(layer.GetLayerDefn());
            const OGRPoint point(i / 2 % side, i / 2 / side);
            feature.SetGeometry(&point);
            ASSERT_EQ(layer.CreateFeature(&feature), OGRERR_NONE);
        }
    }
    qint64 most = 1'000;
    const auto drawn = [&](QSize size, bool hasLegend = false, const LabelOptions& labels = {}) {
        MapLayerOptions options;
        options.most = most;
        options.file = file;
        options.overviewFor = size;
        options.legend = hasLegend;
        StepLog log(true);
        VectorMapLayer layer(options, SymbologyOptions(), labels, log);
        MapScene scene;
        scene.insert(0, layer.entry());
        scene.draw(MapView(scene.extent(), QRectF(0, 0, 400, 400)));
        return scene.snapshot(0).count();
    };
    EXPECT_EQ(drawn({400, 400}), most) << "a sample";
    EXPECT_EQ(drawn({400, 400}, true), 2 * side * side) << "all are counted";
    most = 2 * side * side;
    EXPECT_EQ(drawn({400, 400}), most);
    most = 1;
    ASSERT_TRUE(Layers::GisVectorOverviews::build(file));
    EXPECT_EQ(drawn({}), 2 * side * side);
    EXPECT_LE(drawn({400, 400}), side * side);
    EXPECT_EQ(drawn({4000, 4000}), 2 * side * side) << "seen from near";
    EXPECT_EQ(drawn({400, 400}, true), 2 * side * side) << "all are counted";
    QCommandLineParser parser;
    LabelOptions::addTo(parser);
    ASSERT_TRUE(parser.parse({"", "--labels", "pop", "--label-priority", "pop"}));
    EXPECT_EQ(drawn({400, 400}, false, LabelOptions(parser)), 2 * side * side) << "the greatest may be any of them";
}

} // namespace
