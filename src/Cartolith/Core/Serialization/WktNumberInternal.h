#pragma once

/// The hot loop of the WKT writer: numbers.
namespace Cartolith::Core::Serialization::Wkt::Internal {

/// Room for any number: sign, 309 digits, point and 16 decimals.
constexpr int maxNumberLength = 327;

/// Writes the number in fixed notation with 16 decimals, less the trailing zeros, and returns where it ends.
/// The target must have room for maxNumberLength characters.
char16_t* writeNumber(char16_t* target, double value);

} // namespace Cartolith::Core::Serialization::Wkt::Internal
