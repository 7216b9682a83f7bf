#pragma once

#include <Cartolith/Core/Symbology/JsonFieldsInternal.h>

#include <QVariant>

namespace Cartolith::Core::Symbology::Internal {

/// A value with its type: {"type": "int", "value": 7}, without "value" for a null one. Where JSON's own
/// values say the same they are used: null is the invalid value, a string a QString, true and false a bool, a
/// whole number a qlonglong and any other a double. Throws std::invalid_argument for what cannot be saved.
QJsonValue toJsonValue(const QVariant& value, const JsonPath& path);
void fromJsonValue(QVariant& target, const QJsonValue& value, const JsonPath& path);

} // namespace Cartolith::Core::Symbology::Internal
