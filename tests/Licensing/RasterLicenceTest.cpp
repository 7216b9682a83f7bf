#include "DataFolder.h"
#include "LicenceManagerFixture.h"

#include <Cartolith/Core/Layers/GisLayerGdalRaster.h>

using namespace Cartolith::Core;

namespace {

const QString dem = QStringLiteral(CARTOLITH_DATA_DIR "/olinda-dem-utm25s.tif");

/// The path of a virtual raster with this source.
QString vrt(const QTemporaryDir& folder, const char* name, const QString& source) {
    QFile file(folder.filePath(name));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(QStringLiteral("<VRTDataset rasterXSize=\"111\" rasterYSize=\"111\"><VRTRasterBand dataType=\"Float32\" "
                              "band=\"1\"><SimpleSource><SourceFilename>%1</SourceFilename><SourceBand>1</SourceBand>"
                              "</SimpleSource></VRTRasterBand></VRTDataset>")
                   .arg(source)
                   .toUtf8());
    return file.fileName();
}

std::string openingOf(const QString& path) {
    try {
        return Layers::GisLayerGdalRaster(path).open() ? "open" : "";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

using RasterLicence = LicenceManagerFixture;

// GTiff stands for a proprietary driver here.
TEST_F(RasterLicence, GovernsListedDriversAlsoWithinVirtualRasters) {
    const QString one = vrt(m_folder, "one.vrt", dem);
    const QString loop = vrt(m_folder, "loop.vrt", m_folder.filePath("loop.vrt"));
    const QStringList rasters{dem, one, vrt(m_folder, "two.vrt", one),
                              vrt(m_folder, "part.vrt", "GTIFF_DIR:1:" + dem), // no file of this name
                              "vrt://" + dem};
    m_settings.drivers = QStringList{"GTiff"};
    const auto manager = std::make_shared<Licensing::LicenceManager>(m_settings);
    Licensing::LicenceManager::setCurrent(manager);
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
    openingOf(loop); // comes back
    m_now = *licence.expires;
    EXPECT_NE(openingOf(dem).find("expired"), std::string::npos);
    Licensing::LicenceManager::setCurrent(nullptr);
    EXPECT_EQ(openingOf(dem), "open");
}

} // namespace
