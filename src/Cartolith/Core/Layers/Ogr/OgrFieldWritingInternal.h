#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/GisAttributeDefinition.h>

#include <memory>

class QVariant;

namespace Cartolith::Core::Layers::Internal {

/// Whether so many decimals give a number back, to fifteen digits: all that a decimal number of a double has
/// for certain.
bool isKeptBy(int decimals, double number);

/// The field that holds values of a definition in files of a driver: of its type, or text where the format
/// has no such type. Lists and maps are JSON in GeoJSON. \throws std::runtime_error for a name that is no
/// text
std::unique_ptr<OGRFieldDefn> fieldOf(const Defs::GisAttributeDefinition& definition, GDALDriver& driver);

/// Of a number or a time given as a text. A feature holds those of a double, and milliseconds; `Any` is for
/// who writes the text itself.
enum class TextDigits { Held, Any };

/// Sets a field to a value of its type, or one that says the same: a whole number for a real one, the ISO
/// 8601 text of a date, "12" for 12, and for a text field any value (lists as JSON, bytes as Base64). An
/// invalid value, a null one, not-a-number and infinity set it to null. \throws std::runtime_error naming
/// value and field when the field cannot hold it; it is left as it was
void setField(OGRFeature& feature, int index, const QVariant& value, TextDigits digits = TextDigits::Held);

} // namespace Cartolith::Core::Layers::Internal
