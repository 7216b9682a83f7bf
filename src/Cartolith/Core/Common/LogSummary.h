#pragma once

#include <Cartolith/Core/Export.h>

#include <QHash>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <cstddef>
#include <utility>
#include <vector>

class QIODevice;

namespace Cartolith::Core::Common {

/// Numbers seen one after the other: count, sum and bounds of all of them, and quantiles.
///
/// Quantiles are exact for up to 4,096 numbers. Beyond that they come from a uniform random sample of that
/// size (Vitter's algorithm R, 1985), the same for the same numbers in the same order.
class CARTOLITH_CORE_EXPORT LogSeries {
public:
    static constexpr std::size_t sampleSize = 4096;

    /// The value is not NaN. The number of the process tells apart the ones that wrote into one log.
    void add(double value, quint32 process = 0);

    qint64 count() const noexcept { return m_count; }
    double total() const noexcept { return m_total; }
    /// These are NaN without a number.
    double minimum() const;
    double maximum() const;
    double median() const { return quantile(0.5); }
    /// The smallest number of the sample that is at least as large as this share of all its numbers; for a
    /// half the mean of the two in the middle. The share is from 0 to 1. Linear in the sample.
    double quantile(double share) const;
    /// The median of the numbers of each process, ascending. Beyond sampleSize numbers, those of a random
    /// sample of so many: a process that wrote few of them may then be missing.
    std::vector<double> processMedians() const;

private:
    qint64 m_count = 0;
    double m_total = 0.0;
    double m_minimum = 0.0;
    double m_maximum = 0.0;
    quint64 m_random = 0x9E3779B97F4A7C15U;
    std::vector<double> m_sample;
    std::vector<quint32> m_processes; // of each in the sample; none while all are 0
};

/// What a log says, by channel and event.
class CARTOLITH_CORE_EXPORT LogSummary {
public:
    /// Channel and event.
    using Key = std::pair<QString, QString>;

    struct Event {
        qint64 records = 0;
        qint64 warnings = 0;
        qint64 errors = 0;
        LogSeries elapsed;                ///< milliseconds, of the records that have a time, by process
        QMap<QString, LogSeries> numbers; ///< of the fields whose values are numbers, by key
    };

    /// At most so many events and so many series of fields are kept apart; a log with more of them counts the
    /// rest in `dropped`.
    static constexpr int mostEvents = 4096;
    static constexpr int mostSeries = 4096;
    /// Channels, events and keys of fields are no longer than this, in bytes: a line with a longer channel or
    /// event is bad, a field with a longer key is passed over.
    static constexpr std::size_t longestName = 256;

    /// Reads to the end of the device, which is open, line by line. A device that fails, or that has to be
    /// waited for, is read as far as it gives bytes; that it failed shows in its own errorString(). Memory
    /// does not grow with the length of the log, nor with that of a line: some megabytes, and 350 MB for a
    /// log made to fill every series there can be.
    static LogSummary read(QIODevice& device);

    /// Sorted by channel, then event.
    const QMap<Key, Event>& events() const noexcept { return m_events; }
    qint64 records() const noexcept { return m_records; }
    /// The number of lines that are no records: they have another number of columns, no level of this log, no
    /// number for a time, no channel, or a name that is too long, are longer than a mebibyte, or are cut off
    /// at the end of the file. Whole header lines and blank lines do not count.
    qint64 badLines() const noexcept { return m_badLines; }
    /// Records and values that were not kept because there were too many different ones.
    qint64 dropped() const noexcept { return m_dropped; }
    /// How many processes wrote it, as far as the sequence tells.
    qint64 processes() const noexcept { return m_processes; }

    /// A row for each event and, with a cell "field", for each of its series; the first row names the
    /// columns.
    QList<QStringList> table() const;

private:
    class Reader;

    QMap<Key, Event> m_events;
    qint64 m_records = 0;
    qint64 m_badLines = 0;
    qint64 m_dropped = 0;
    qint64 m_processes = 0;
};

} // namespace Cartolith::Core::Common
