#pragma once

#include <QByteArrayView>
#include <QJsonObject>

namespace Cartolith::Core::Serialization::GeoJson::Internal {

/// The root object of the text. Throws "Invalid GeoJSON: ..." with Qt's parse error, or when the root is
/// none.
QJsonObject parseObject(QByteArrayView utf8);

} // namespace Cartolith::Core::Serialization::GeoJson::Internal
