#pragma once

#include <QDate>
#include <QDateTime>
#include <QString>
#include <QTime>

#include <optional>

/// Dates and times as ISO 8601 text, with years beyond 0..9999 (signed: "-0044-03-15") and, for a date and
/// time, the zone in brackets. An invalid one is an empty text. Reading gives nothing for any other text.
namespace Cartolith::Core::Symbology::Internal {

QString textOf(QDate date);
std::optional<QDate> dateFromText(const QString& text);

/// "13:05:00.250".
QString textOf(QTime time);
std::optional<QTime> timeFromText(const QString& text);

/// "2024-07-01T02:30:00.000", followed by "Z", an offset "+02:00" or "+02:00:30", or an offset and a zone
/// "+02:00[Europe/Berlin]"; local time has the zone "local". With a zone the clock counts, and the offset
/// tells which of two hours is meant where clocks are set back. Text with neither is read as local time. None
/// for one that the text would not give back.
std::optional<QString> textOf(const QDateTime& dateTime);
std::optional<QDateTime> dateTimeFromText(const QString& text);

} // namespace Cartolith::Core::Symbology::Internal
