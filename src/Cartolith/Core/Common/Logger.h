#pragma once

#include <Cartolith/Core/Common/LogComparison.h>
#include <Cartolith/Core/Common/LogEntry.h>
#include <Cartolith/Core/Common/LogSummary.h>
#include <Cartolith/Core/Export.h>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace Cartolith::Core::Common {

/// What gets into the log beside warnings and errors.
enum class LoggingMode : int {
    Normal = 0,  ///< nothing
    Verbose = 1, ///< everything, as far as the channels are not switched off
};

/// The diagnostics log of the process: a tab-separated file with a line for each record, to which any number
/// of threads and processes may append at once.
///
/// Nothing here throws except what reads and writes reports, and for want of memory. A record that cannot be
/// written is lost without a word; a gap in the column `sequence` shows that. Everything may be called from
/// any thread: one mutex guards the settings and is held while a record is appended. Each record is a single
/// write at the end of the file, which is opened for it and closed after it, so a line is never torn by
/// another process. A process that is killed while it writes, or whose disk is full, can leave a part of a
/// line; whoever writes next ends it, so that no other record is lost, as far as the process may read the
/// file.
class CARTOLITH_CORE_EXPORT Logger {
public:
    Logger() = delete;

    /// \name Settings
    /// @{

    static LoggingMode mode();
    static void setMode(LoggingMode mode);
    static bool isVerbose();

    /// Records below it are dropped, errors included.
    static LogLevel minimumLevel();
    static void setMinimumLevel(LogLevel level);

    /// The path that was set; without one "cartolith_log.tsv" in the application's directory, or in the
    /// current one when there is no application object.
    static QString logPath();
    /// Takes effect with the next record. An empty path goes back to the default.
    static void setLogPath(const QString& path);
    /// The same; the second argument is not used.
    static void setLogPath(const QString& path, const QString& unused);

    /// True when an info record of the channel would be written, as far as mode and channel go.
    static bool isEnabled(const QString& channel);
    /// Silences a channel's trace, debug and info records, or lets them through again. Warnings and errors
    /// are always written.
    static void setEnabled(const QString& channel, bool enabled);
    /// Normalised names, sorted.
    static QList<QString> disabledChannels();
    static void resetChannelConfiguration();

    /// Fields that every record gets, before its own. A record's own value of the same key, unless it is
    /// empty, takes their place.
    static QList<LogField> contextFields();
    /// Replaces the value when the key is there.
    static void setContextField(const QString& key, const QString& value);
    static void setContextFields(const QList<LogField>& fields);
    static void clearContextFields();

    /// @}
    /// \name Writing
    /// @{

    static void write(const LogEntry& entry);
    static void writeEvent(const QString& channel, const QString& event, LogLevel level, qint64 elapsedMs,
                           const QList<LogField>& fields);

    /// Tabs, carriage returns and line feeds become blanks.
    static QString tsvSafe(QString text);
    /// "trace", "debug", "info", "warning" or "error"; "info" for any other value.
    static QString logLevelText(LogLevel level);

    /// Reports one timed step of loading, as an info record of the channel "library.load": the event, its
    /// time, what was loaded and how many things there were (field "count", left out when negative).
    static void writeLoadMetric(const QString& event, qint64 elapsedMs, const QString& what, qint64 count);
    /// Several, in order; those of one list carry the same field "batch".
    struct LoadMetric {
        QString event;
        qint64 elapsedMs = -1;
        QString what;
        qint64 count = -1;
    };
    static void writeLoadMetrics(const QList<LoadMetric>& metrics);

    /// @}
    /// \name Reading back
    /// @{

    /// Reads a log as a stream; see LogSummary for what it keeps.
    /// \throws std::runtime_error "Cannot read log file '...': ..."
    static LogSummary summarizeLogFile(const QString& path);

    /// As a table: tab-separated for a name ending in ".tsv", else aligned text. The file appears when it is
    /// complete. \throws std::runtime_error "Cannot write '...': ..."
    static void writeLogSummary(const LogSummary& summary, const QString& path);
    static void writeLogComparison(const LogComparison& comparison, const QString& path);

    /// The rows as text with columns of the same width, numbers to the right, in UTF-8.
    static QByteArray alignedText(const QList<QStringList>& rows);
    /// The rows with tabs between their cells, which are made safe. The file appears when it is complete.
    /// \throws std::runtime_error "Cannot write '...': ..."
    static void writeTsv(const QString& path, const QList<QStringList>& rows);

    /// @}
};

} // namespace Cartolith::Core::Common
