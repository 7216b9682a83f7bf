#include "DataFolder.h"
#include "TestLicences.h"

#include <Cartolith/Core/Layers/GisLayerGdalRaster.h>
#include <Cartolith/Core/Licensing/LicenceManager.h>

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <stdexcept>

using namespace Cartolith::Core;

namespace {

const QString dem = QStringLiteral(CARTOLITH_DATA_DIR "/olinda-dem-utm25s.tif");

void writeVrt(const QString& path, const QString& source) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(QStringLiteral("<VRTDataset rasterXSize=\"111\" rasterYSize=\"111\"><VRTRasterBand dataType=\"Float32\" "
                              "band=\"1\"><SimpleSource><SourceFilename>%1</SourceFilename><SourceBand>1</SourceBand>"
                              "</SimpleSource></VRTRasterBand></VRTDataset>")
                   .arg(source)
                   .toUtf8());
}

std::string openingOf(const QString& path) {
    try {
        return Layers::GisLayerGdalRaster(path).open() ? "open" : "";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

// GTiff stands for a proprietary driver here.
TEST(RasterLicence, GovernsListedDriversAlsoWithinVirtualRasters) {
    const QTemporaryDir folder;
    writeVrt(folder.filePath("one.vrt"), dem);
    writeVrt(folder.filePath("two.vrt"), folder.filePath("one.vrt"));
    writeVrt(folder.filePath("loop.vrt"), folder.filePath("loop.vrt"));
    writeVrt(folder.filePath("part.vrt"), "GTIFF_DIR:1:" + dem); // no file of this name
    qint64 now = 1'772'323'200;
    Licensing::LicenceSettings settings;
    settings.keys = TestLicences::keys();
    settings.cacheFolder = folder.filePath("cache");
    settings.systemFile.clear();
    settings.environment = [](const char*) { return QByteArray(); };
    settings.clock = [&] { return now; };
    settings.drivers = {QStringLiteral("GTiff")};
    const auto manager = std::make_shared<Licensing::LicenceManager>(settings);
    Licensing::LicenceManager::setCurrent(manager);
    const QStringList rasters{dem, folder.filePath("one.vrt"), folder.filePath("two.vrt"), folder.filePath("part.vrt"),
                              "vrt://" + dem};
    for (const QString& raster : rasters) {
        const std::string refusal = openingOf(raster);
        EXPECT_NE(refusal.find("need a licence that permits 'raster.GTiff'. No licence is installed."),
                  std::string::npos)
            << refusal;
    }
    Licensing::Licence licence = TestLicences::licence();
    licence.features = {QStringLiteral("raster.GTiff")};
    manager->use(TestLicences::signedText(licence));
    for (const QString& raster : rasters) {
        EXPECT_EQ(openingOf(raster), "open");
    }
    openingOf(folder.filePath("loop.vrt")); // comes back
    now = *licence.expires;
    EXPECT_NE(openingOf(dem).find("expired"), std::string::npos);
    Licensing::LicenceManager::setCurrent(nullptr);
    EXPECT_EQ(openingOf(dem), "open");
}

} // namespace
