#include <Cartolith/Core/Serialization/GeoJsonParseInternal.h>

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QString>

#include <stdexcept>

namespace Cartolith::Core::Serialization::GeoJson::Internal {

QJsonObject parseObject(QByteArrayView utf8) {
    QJsonParseError error;
    const auto document = QJsonDocument::fromJson(QByteArray::fromRawData(utf8.data(), utf8.size()), &error);
    if (error.error != QJsonParseError::NoError) {
        throw std::runtime_error(
            QStringLiteral("Invalid GeoJSON: %1").arg(error.errorString()).toStdString());
    }
    if (!document.isObject()) {
        throw std::runtime_error("Invalid GeoJSON: root is not an object.");
    }
    return document.object();
}

} // namespace Cartolith::Core::Serialization::GeoJson::Internal
