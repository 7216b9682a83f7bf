#pragma once

#include <QByteArray>
#include <QString>

namespace Cartolith::Core::Layers::Internal {

/// A file whose JSON text is one feature, as a collection of it in GDAL's memory.
///
/// Of a feature by itself GDAL takes the property "id" for its id, and loses the feature without a word where
/// that is below -1. In a collection it does not.
class JsonFeature {
public:
    /// `system` is the value of the feature's "crs", empty where it has none. \throws std::bad_alloc
    JsonFeature(const QString& path, const QByteArray& system);
    ~JsonFeature();
    JsonFeature(const JsonFeature&) = delete;
    JsonFeature& operator=(const JsonFeature&) = delete;

    /// Called as the file, so that layers are. Empty where the file cannot be read.
    const QByteArray& gdalName() const { return m_name; }

private:
    QByteArray m_folder;
    QByteArray m_name;
};

} // namespace Cartolith::Core::Layers::Internal
