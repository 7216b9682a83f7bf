#pragma once

#include <Cartolith/Core/Common/LogEntry.h>

#include <QByteArray>
#include <QByteArrayView>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

/// The log's lines and tables as text.
namespace Cartolith::Core::Common::Internal {

inline constexpr QByteArrayView logHeader =
    "timestamp\tsequence\tlevel\tcategory\tchannel\tevent\tthread_id\telapsed_ms\tfields\n";

/// What ends a line that somebody left in the middle: more cells than a record has, so that nobody takes a
/// number that was cut for a whole one.
inline constexpr QByteArrayView tornLineEnd = "\t\t\t\t\t\t\t\t\t\n";

/// What a record gets beside what it says.
struct LogStamp {
    QDateTime time;
    quint64 sequence = 0;
    quintptr thread = 0;
};

/// Trimmed and in lower case; "general" when nothing is left.
QString normalisedChannel(const QString& channel);

/// The record in UTF-8, with its line feed. The channel is normalised.
QByteArray logLine(const LogEntry& entry, const QString& channel, const QList<LogField>& context,
                   const LogStamp& stamp);

QByteArray tsvOf(const QList<QStringList>& rows);
/// Columns padded to the same width, numbers to the right.
QByteArray alignedTextOf(const QList<QStringList>& rows);

/// Tab-separated for a name that ends in ".tsv", else as aligned text. \throws std::runtime_error
void writeTable(const QList<QStringList>& rows, const QString& path);
/// All of it or nothing. \throws std::runtime_error
void writeWhole(const QString& path, const QByteArray& bytes);

} // namespace Cartolith::Core::Common::Internal
