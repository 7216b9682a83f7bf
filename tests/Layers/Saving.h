#pragma once

#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Layers/GisVectorSaveOptions.h>
#include <Cartolith/Core/Serialization/GisWktReader.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ogrsf_frmts.h>

#include <memory>

// What the tests of saving have in common.
namespace test {

using Attributes = Cartolith::Core::Layers::GisLayerVector::Attributes;
inline const Cartolith::Core::Layers::GisVectorSaveOptions replace{
    Cartolith::Core::Layers::GisVectorSaveOptions::Existing::Replace, {}, {}};
inline const QStringList suffixes{"gpkg", "sqlite", "geojson", "geojsonl", "fgb", "shp"};

inline std::unique_ptr<Cartolith::Core::Shapes::GisShape> shapeOf(const QString& wkt,
                                                                  const Attributes& attributes = {}) {
    auto shape = Cartolith::Core::Serialization::Wkt::GisWktReader::read(wkt);
    shape->attributes() = attributes;
    return shape;
}

inline GDALDatasetUniquePtr openToWrite(const QString& path) {
    return GDALDatasetUniquePtr(GDALDataset::Open(path.toUtf8().constData(), GDAL_OF_VECTOR | GDAL_OF_UPDATE));
}

/// The first value that a statement gives, in one that goes on being open or is closed at once.
inline std::string execute(GDALDataset& source, const char* statement) {
    OGRLayer* const result = source.ExecuteSQL(statement, nullptr, nullptr);
    const OGRFeatureUniquePtr row(result != nullptr ? result->GetNextFeature() : nullptr);
    const std::string text = row ? row->GetFieldAsString(0) : "";
    source.ReleaseResultSet(result);
    return text;
}

/// A test with a folder of its own.
class InAFolder : public testing::Test {
protected:
    explicit InAFolder(const QString& path = QDir::tempPath() + "/cartolith-XXXXXX") : m_dir(path) {}

    QString at(const QString& name) const { return m_dir.filePath(name); }
    QStringList files() const {
        return QDir(m_dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    QTemporaryDir m_dir;
};

} // namespace test
