#include <Cartolith/Core/Common/FloatsInternal.h>
#include <Cartolith/Core/Common/LogProcessesInternal.h>
#include <Cartolith/Core/Common/LogSummary.h>

#include <QIODevice>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

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

void LogSeries::add(double value, quint32 process) {
    m_minimum = m_count == 0 ? value : std::min(m_minimum, value);
    m_maximum = m_count == 0 ? value : std::max(m_maximum, value);
    m_total += value;
    ++m_count;
    if (process != 0 && m_processes.empty()) {
        m_processes.assign(m_sample.size(), 0);
    }
    const bool isGrouped = process != 0 || !m_processes.empty();
    if (m_sample.size() < sampleSize) {
        m_sample.push_back(value);
        if (isGrouped) {
            m_processes.push_back(process);
        }
    } else if (const quint64 place = nextRandom(m_random) % static_cast<quint64>(m_count);
               place < sampleSize) {
        m_sample[place] = value;
        if (isGrouped) {
            m_processes[place] = process;
        }
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

std::vector<double> LogSeries::processMedians() const {
    std::vector<std::pair<quint32, double>> entries;
    entries.reserve(m_sample.size());
    for (std::size_t i = 0; i < m_sample.size(); ++i) {
        entries.emplace_back(m_processes.empty() ? 0 : m_processes[i], m_sample[i]);
    }
    std::sort(entries.begin(), entries.end());
    std::vector<double> medians;
    for (auto first = entries.cbegin(); first != entries.cend();) {
        const auto last = std::find_if(first, entries.cend(),
                                       [first](const auto& entry) { return entry.first != first->first; });
        const auto count = last - first;
        medians.push_back((first[(count - 1) / 2].second + first[count / 2].second) / 2.0);
        first = last;
    }
    std::sort(medians.begin(), medians.end());
    return medians;
}

namespace {

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \r");
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(" \r") - first + 1);
}

/// Nothing when the text, blanks at its ends aside, is no number.
template <typename Number>
std::optional<Number> numberIn(std::string_view text) {
    text = trimmed(text);
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') {
        text.remove_prefix(1);
    }
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() && !text.empty() ? std::optional(value)
                                                                                     : std::nullopt;
}

QString textOf(std::string_view bytes) {
    return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
}

} // namespace

/// Finds the events and series of a summary by the bytes that stand in the log.
class LogSummary::Reader {
public:
    explicit Reader(LogSummary& summary) : m_summary(summary) {}

    /// False for a line that is no record.
    bool take(std::string_view line) {
        if (trimmed(line).empty() || line.starts_with("timestamp\tsequence\t")) {
            return true;
        }
        constexpr std::size_t columns = 9;
        std::array<std::string_view, columns> cells;
        std::size_t count = 0;
        for (std::size_t start = 0; start <= line.size(); ++count) {
            if (count == columns) {
                return false;
            }
            const std::size_t end = std::min(line.find('\t', start), line.size());
            cells[count] = line.substr(start, end - start);
            start = end + 1;
        }
        constexpr std::array<std::string_view, 5> levels{"trace", "debug", "info", "warning", "error"};
        const std::string_view level = cells[2];
        const auto elapsed = numberIn<qint64>(cells[7]);
        if (count != columns || cells[4].empty() || cells[4].size() > longestName ||
            cells[5].size() > longestName || !elapsed ||
            std::find(levels.begin(), levels.end(), level) == levels.end()) {
            return false;
        }
        ++m_summary.m_records;
        const quint32 process = m_processes.processOf(numberIn<qint64>(cells[1]).value_or(-1), cells[6]);
        m_summary.m_processes = std::max<qint64>(m_summary.m_processes, process);
        Known* const known = eventOf(cells[4], cells[5]);
        if (known == nullptr) {
            ++m_summary.m_dropped;
            return true;
        }
        Event& event = *known->event;
        ++event.records;
        event.warnings += level == "warning" ? 1 : 0;
        event.errors += level == "error" ? 1 : 0;
        if (*elapsed >= 0) {
            event.elapsed.add(static_cast<double>(*elapsed), process);
        }
        takeFields(*known, cells[8]);
        return true;
    }

private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const noexcept {
            return std::hash<std::string_view>()(text);
        }
    };
    template <typename Value>
    using Table = std::unordered_map<std::string, Value, Hash, std::equal_to<>>;

    struct Known {
        Event* event = nullptr;
        Table<LogSeries*> series;
    };

    /// Null when there are too many already.
    Known* eventOf(std::string_view channel, std::string_view name) {
        // They stand side by side in the line, with a tab between.
        const std::string_view both(channel.data(), channel.size() + 1 + name.size());
        if (const auto found = m_events.find(both); found != m_events.end()) {
            return &found->second;
        }
        const Key key(textOf(channel), textOf(name));
        // Bytes that are no UTF-8 may spell one name in many ways.
        if ((!m_summary.m_events.contains(key) && m_summary.m_events.size() >= mostEvents) ||
            m_events.size() / 2 >= mostEvents) {
            return nullptr;
        }
        Known& known = m_events[std::string(both)];
        known.event = &m_summary.m_events[key];
        return &known;
    }

    void takeFields(Known& known, std::string_view fields) {
        while (!fields.empty()) {
            const std::size_t end = std::min(fields.find(';'), fields.size());
            const std::string_view field = fields.substr(0, end);
            fields.remove_prefix(std::min(end + 1, fields.size()));
            const std::size_t equals = field.find('=');
            if (equals == 0 || equals == std::string_view::npos || equals > longestName) {
                continue;
            }
            const auto value = numberIn<double>(field.substr(equals + 1));
            if (!value || !std::isfinite(*value)) {
                continue;
            }
            const std::string_view name = field.substr(0, equals);
            auto series = known.series.find(name);
            if (series == known.series.end()) {
                QMap<QString, LogSeries>& numbers = known.event->numbers;
                const QString text = textOf(name);
                if (m_series >= mostSeries) {
                    ++m_summary.m_dropped;
                    continue;
                }
                ++m_series;
                series = known.series.emplace(std::string(name), &numbers[text]).first;
            }
            series->second->add(*value);
        }
    }

    LogSummary& m_summary;
    Table<Known> m_events;
    Internal::LogProcesses m_processes;
    int m_series = 0;
};

LogSummary LogSummary::read(QIODevice& device) {
    LogSummary summary;
    Reader reader(summary);
    std::vector<char> line(longestLine);
    bool cut = false; // in the rest of a line that is too long
    for (qint64 size = device.readLine(line.data(), longestLine); size > 0;
         size = device.readLine(line.data(), longestLine)) {
        const bool ends = line[static_cast<std::size_t>(size) - 1] == '\n';
        if (!cut && !(ends && reader.take({line.data(), static_cast<std::size_t>(size) - 1}))) {
            ++summary.m_badLines;
        }
        cut = !ends;
    }
    return summary;
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
