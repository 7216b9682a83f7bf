#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <optional>

class QVariant;

namespace Cartolith::Core::Layers::Internal {

/// Values as texts, which data sources without types for them hold.
/// @{

/// The bytes of a text. \throws std::runtime_error with the reason for U+0000, where GDAL would end it, and
/// for half a surrogate pair, which is no character
QByteArray savedTextOf(const QString& text);

/// A text that gives the value back: dates and times in ISO 8601, bytes in Base64, lists, maps and hashes as
/// JSON, in which what has no value is null. None for a date of a year that takes other than four digits, in
/// JSON for infinity and for whole numbers of more than 64 bits with a sign, which readers make others of,
/// and for values that have no text. \throws std::runtime_error as above for texts within JSON
std::optional<QString> savedTextOf(const QVariant& value);

/// Whether nothing is saved for a value: one that is invalid, null, or not a number.
bool isSavedAsNull(const QVariant& value);

/// A date and time without a zone is what a clock showed somewhere. Here it may be one that the clocks leave
/// out, which Qt takes for invalid; so the zone is one that leaves nothing out.
QDateTime withoutGaps(const QDateTime& local);

/// @}

} // namespace Cartolith::Core::Layers::Internal
