#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/Files/SourcePathInternal.h>
#include <Cartolith/Core/Layers/GisSourceFiles.h>

#include <QFileInfo>

namespace Cartolith::Core::Layers {

namespace {

using namespace Common::Internal;

constexpr unsigned anySource = GDAL_OF_VECTOR | GDAL_OF_RASTER;

struct Listed {
    QStringList files;
    bool isVirtual = false; ///< these are sources themselves
};

Listed listedBy(const QByteArray& name) {
    const GdalErrorCapture errors;
    const NoRequests requests;
    GDALDriverH driver = GDALIdentifyDriverEx(name.constData(), anySource, nullptr, nullptr);
    const QByteArray driverName = driver == nullptr ? "" : GDALGetDriverShortName(driver);
    // These are read as a whole to be opened, and lie in one file.
    const bool isText = driverName.contains("JSON") || driverName.contains("KML") || driverName == "GPX";
    const DatasetPtr source(isText ? nullptr
                                   : GDALDataset::Open(name.constData(), anySource | GDAL_OF_READONLY));
    Listed listed;
    if (source != nullptr) {
        char** const list = source->GetFileList();
        for (char** file = list; file != nullptr && *file != nullptr; ++file) {
            listed.files.append(QString::fromUtf8(*file));
        }
        CSLDestroy(list);
        listed.isVirtual = driverName.contains("VRT");
    }
    return listed;
}

} // namespace

QStringList GisSourceFiles::of(const QString& path) {
    constexpr qsizetype most = 1000;
    registerGdalDrivers();
    QStringList files{path};
    QStringList sources = files;
    for (qsizetype i = 0; i < sources.size() && QFileInfo(sources.at(i)).isFile(); ++i) {
        auto [others, areSources] = listedBy(Internal::gdalNameOf(sources.at(i)));
        others.append(Internal::besideDatabase(sources.at(i), Internal::DatabaseLog::wal));
        for (const QString& other : std::as_const(others)) {
            const QFileInfo file(other);
            // An empty log comes and goes when a database is read.
            if (files.size() < most && file.isFile() && file.size() > 0 && !files.contains(other)) {
                files.append(other);
                sources.append(areSources ? QStringList(other) : QStringList());
            }
        }
    }
    return files;
}

} // namespace Cartolith::Core::Layers
