#include <Cartolith/Core/Common/FloatsInternal.h>
#include <Cartolith/Core/Common/LogSummary.h>

#include <QIODevice>

#include <algorithm>
#include <cmath>

namespace Cartolith::Core::Common {

namespace {

using Common::Internal::nan;
constexpr qint64 longestLine = 1 << 20;

quint64 nextRandom(quint64& state) { // splitmix64 (Steele, Lea and Flood, 2014)
    state += 0x9E3779B97F4A7C15U;
    quint64 z = state;
    z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31U);
}

double quantileOf(std::vector<double> values, double share) {
    if (values.empty()) {
        return nan;
    }
    const double place = share * static_cast<double>(values.size());
    const auto index = static_cast<std::size_t>(std::max(0.0, std::ceil(place) - 1.0));
    const auto at = values.begin() + static_cast<std::ptrdiff_t>(std::min(index, values.size() - 1));
    std::nth_element(values.begin(), at, values.end());
    if (share == 0.5 && values.size() % 2 == 0) {
        return (*at + *std::min_element(at + 1, values.end())) / 2.0;
    }
    return *at;
}

QString number(double value) {
    return std::isnan(value) ? QString() : QString::number(value, 'g', 10);
}

QStringList row(const LogSummary::Key& key, const QString& field, qint64 records, qint64 warnings,
                qint64 errors, const LogSeries& series) {
    return {key.first,
            key.second,
            field,
            QString::number(records),
            QString::number(warnings),
            QString::number(errors),
            QString::number(series.count()),
            number(series.total()),
            number(series.minimum()),
            number(series.median()),
            number(series.quantile(0.95)),
            number(series.maximum())};
}

} // namespace

void LogSeries::add(double value) {
    m_minimum = m_count == 0 ? value : std::min(m_minimum, value);
    m_maximum = m_count == 0 ? value : std::max(m_maximum, value);
    m_total += value;
    ++m_count;
    if (m_sample.size() < sampleSize) {
        m_sample.push_back(value);
    } else if (const quint64 place = nextRandom(m_random) % static_cast<quint64>(m_count);
               place < sampleSize) {
        m_sample[place] = value;
    }
}

double LogSeries::minimum() const {
    return m_count == 0 ? nan : m_minimum;
}

double LogSeries::maximum() const {
    return m_count == 0 ? nan : m_maximum;
}

double LogSeries::quantile(double share) const {
    return quantileOf(m_sample, share);
}

std::pair<double, double> LogSeries::medianInterval() const {
    if (m_sample.empty()) {
        return {nan, nan};
    }
    // How many lie below the true median is binomial; 2.576 of its deviations leave half a percent outside.
    const auto count = static_cast<double>(m_sample.size());
    const double rank = std::max(1.0, std::floor((count - 2.576 * std::sqrt(count)) / 2.0));
    std::vector<double> sorted = m_sample;
    std::sort(sorted.begin(), sorted.end());
    const auto below = static_cast<std::size_t>(rank) - 1;
    return {sorted[below], sorted[sorted.size() - 1 - below]};
}

LogSummary LogSummary::read(QIODevice& device) {
    LogSummary summary;
    bool cut = false; // in the rest of a line that is too long
    for (QByteArray line = device.readLine(longestLine); !line.isEmpty();
         line = device.readLine(longestLine)) {
        const bool ends = line.endsWith('\n');
        if (!cut && !(ends && summary.take(QString::fromUtf8(line.chopped(1))))) {
            ++summary.m_badLines;
        }
        cut = !ends;
    }
    return summary;
}

bool LogSummary::take(QStringView line) {
    if (line.trimmed().isEmpty() || line.startsWith(u"timestamp\tsequence\t")) {
        return true;
    }
    const QList<QStringView> cells = line.split(u'\t');
    constexpr int columns = 9;
    if (cells.size() != columns || cells[4].isEmpty() || cells[4].size() > longestName ||
        cells[5].size() > longestName) {
        return false;
    }
    static const QStringList levels{"trace", "debug", "info", "warning", "error"};
    const QStringView level = cells[2];
    bool isNumber = false;
    const qint64 elapsed = cells[7].toLongLong(&isNumber);
    if (!isNumber || std::find(levels.begin(), levels.end(), level) == levels.end()) {
        return false;
    }
    ++m_records;
    const Key key(cells[4].toString(), cells[5].toString());
    auto found = m_events.find(key);
    if (found == m_events.end()) {
        if (m_events.size() >= mostEvents) {
            ++m_dropped;
            return true;
        }
        found = m_events.insert(key, {});
    }
    Event& event = *found;
    ++event.records;
    event.warnings += level == u"warning" ? 1 : 0;
    event.errors += level == u"error" ? 1 : 0;
    if (elapsed >= 0) {
        event.elapsed.add(static_cast<double>(elapsed));
    }
    for (const QStringView field : cells[8].split(u';')) {
        const qsizetype equals = field.indexOf(u'=');
        const double value = equals > 0 ? field.sliced(equals + 1).toDouble(&isNumber) : nan;
        if (equals <= 0 || equals > longestName || !isNumber || !std::isfinite(value)) {
            continue;
        }
        const QString name = field.first(equals).toString();
        auto series = event.numbers.find(name);
        if (series == event.numbers.end()) {
            if (m_series >= mostSeries) {
                ++m_dropped;
                continue;
            }
            ++m_series;
            series = event.numbers.insert(name, {});
        }
        series->add(value);
    }
    return true;
}

QList<QStringList> LogSummary::table() const {
    QList<QStringList> rows{{"channel", "event", "field", "records", "warnings", "errors", "count", "total",
                             "min", "median", "p95", "max"}};
    for (auto it = m_events.constBegin(); it != m_events.constEnd(); ++it) {
        rows.append(
            row(it.key(), QStringLiteral("elapsed_ms"), it->records, it->warnings, it->errors, it->elapsed));
        for (auto field = it->numbers.constBegin(); field != it->numbers.constEnd(); ++field) {
            rows.append(row(it.key(), field.key(), it->records, it->warnings, it->errors, *field));
        }
    }
    return rows;
}

} // namespace Cartolith::Core::Common
