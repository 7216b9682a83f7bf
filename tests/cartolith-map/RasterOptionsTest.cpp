#include "RasterOptions.h"

#include "Arguments.h"
#include "DataFolder.h"
#include "FileArguments.h"
#include "RasterMapLayer.h"
#include "StepLog.h"
#include "SymbologyOptions.h"

#include <Cartolith/Map/MapSheet.h>

#include <QCommandLineParser>
#include <gtest/gtest.h>

#include <cmath>

using namespace Cartolith::Core;
using namespace Cartolith::Map;

namespace {

void addOptions(QCommandLineParser& parser) {
    parser.addOptions({{{"o", "output"}, "", "file"}, {"layer", "", "name"}, {"quiet", ""}});
    SymbologyOptions::addTo(parser);
    RasterOptions::addTo(parser);
}

RasterOptions optionsOf(const QString& line) {
    QCommandLineParser parser;
    addOptions(parser);
    EXPECT_TRUE(parser.parse(QStringList{"render"} + line.split(' ', Qt::SkipEmptyParts)));
    return RasterOptions(parser);
}

QString errorOf(const QString& line) {
    try {
        optionsOf(line);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "no error";
}

TEST(FileArguments, AnOptionBelongsToTheFileBeforeIt) {
    const struct {
        const char* line;
        const char* expected; ///< file: options; file: options
    } rows[] = {
        {"a.tif --ramp Viridis -o m.png b.gpkg --layer c.gpkg --quiet", "a.tif: --ramp Viridis -o m.png; "
                                                                        "b.gpkg: --layer c.gpkg --quiet"},
        {"--quiet --width 2 a.gpkg b.gpkg", "a.gpkg: --quiet --width 2; b.gpkg: "},
        {"-om.png a --ramp=x -- --b -c", "a: -om.png --ramp=x; --b: ; -c: "},
        {"--layer a", ""},
    };
    for (const auto& row : rows) {
        QStringList found;
        for (const FileArguments& file : FileArguments::split(QString(row.line).split(' '), addOptions)) {
            found.append(file.file + ": " + file.options.join(' '));
        }
        EXPECT_EQ(found.join("; "), row.expected) << row.line;
    }
}

TEST(RasterOptions, RefuseWhatMakesNoSense) {
    const struct {
        const char* line;
        const char* message;
    } rows[] = {
        {"--field a", "--field does not go with a raster"},
        {"--layer a", "--layer does not go with a raster"},
        {"--grey --ramp Viridis", "exclude each other"},
        {"--rgb 1,2,3 --classes 3", "exclude each other"},
        {"--rgb 1,2", "three bands"},
        {"--rgb 1,2,0", "--rgb wants a whole number from 1"},
        {"--band 0", "--band wants"},
        {"--stretch 5,1", "--stretch wants two ascending"},
        {"--stretch 2%,101%", "--stretch wants"},
        {"--stretch 2%,98", "--stretch wants"},
        {"--classes 3 --stretch 1,5", "--stretch goes with"},
        {"--hillshade --stretch 1,5", "--stretch goes with"},
        {"--light 315,45", "--light goes with --hillshade"},
        {"--hillshade --light 315,0", "--light wants"},
        {"--hillshade --z-factor 0", "--z-factor wants"},
        {"--hillshade --rgb 1,2,3", "does not go with --rgb"},
        {"--resampling best", "nearest, bilinear, average"},
        {"--ramp Rainbow", "there is no ramp"},
        {"--classes 3 --breaks 1,2", "--classes does not go with Manual"},
        {"--interval 5", "--interval does not go with EqualInterval"},
    };
    for (const auto& row : rows) {
        EXPECT_TRUE(errorOf(row.line).contains(row.message)) << row.line << ": " << qPrintable(errorOf(row.line));
    }
}

TEST(RasterMapLayer, ShowsTheColoursOfItsLegendInTheirPlace) {
    StepLog log(true);
    const QString dem = CARTOLITH_DATA_DIR "/olinda-dem-utm25s.tif";
    const struct {
        const char* line;
        QStringList labels;
    } rows[] = {
        {"--breaks=-1,10,50,100", {"-1 to 10", "10 to 50", "50 to 100"}},
        {"--breaks=-1,10.12345,99", {"-1.00000 to 10.12345", "10.12345 to 99.00000"}},
        {"--classes 2 --ramp Plasma", {"-1.0 to 43.5", "43.5 to 88.0"}},
        {"--ramp Plasma --stretch 0,60", {"60", "50", "40", "30", "20", "10", "0"}},
    };
    for (const auto& row : rows) {
        RasterMapLayer layer({dem, {}, true, {}}, optionsOf(row.line), log);
        MapScene scene;
        scene.insert(0, layer.entry());
        const LegendContent legend = layer.legend().value();
        QStringList labels;
        for (const LegendContent::Row& entry : legend.rows) {
            labels.append(entry.label);
        }
        EXPECT_EQ(labels, row.labels) << row.line;
        MapSheet::Options options;
        options.size = {601, 437}; // a frame between pixels
        options.legend = legend;
        const MapSheet sheet(options, scene.extent(), nullptr);
        const QImage image = sheet.draw({{{}, {}, scene.draw(sheet.view()), {}}});
        QHash<QRgb, int> colours;
        QRectF covered;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < std::floor(sheet.view().frame().right()); ++x) {
                ++colours[image.pixel(x, y)];
                const bool isRaster = QColor(image.pixel(x, y)).saturation() > 60;
                covered = isRaster ? covered.united(QRectF(x, y, 1, 1)) : covered;
            }
        }
        for (const LegendContent::Row& entry : legend.rows) {
            const QColor wanted(entry.style.fillColor());
            int count = 0;
            for (auto it = colours.cbegin(); it != colours.cend(); ++it) { // a ramp is rounded to 1,024 steps
                const QColor found(it.key());
                const bool isNear = std::abs(found.red() - wanted.red()) <= 1 &&
                                    std::abs(found.green() - wanted.green()) <= 1 &&
                                    std::abs(found.blue() - wanted.blue()) <= 1;
                count += isNear ? it.value() : 0;
            }
            EXPECT_GT(count, 20) << row.line << " " << qPrintable(entry.label);
        }
        const Shapes::GisExtent all = scene.extent();
        const QPointF topLeft = sheet.view().toPixel(all.xMin(), all.yMax());
        const QPointF bottomRight = sheet.view().toPixel(all.xMax(), all.yMin());
        EXPECT_NEAR(covered.left(), topLeft.x(), 1.0) << row.line;
        EXPECT_NEAR(covered.top(), topLeft.y(), 1.0) << row.line;
        EXPECT_NEAR(covered.right(), bottomRight.x(), 1.0) << row.line;
        EXPECT_NEAR(covered.bottom(), bottomRight.y(), 1.0) << row.line;
    }
}

} // namespace
