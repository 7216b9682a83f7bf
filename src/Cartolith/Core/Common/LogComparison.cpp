#include <Cartolith/Core/Common/FloatsInternal.h>
#include <Cartolith/Core/Common/LogComparison.h>
#include <Cartolith/Core/Common/RankSumInternal.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <vector>

namespace Cartolith::Core::Common {

namespace {

using Common::Internal::nan;
constexpr double smallestShare = 0.02;
constexpr double unit = 1.0; ///< times are whole milliseconds

double medianOf(const std::vector<double>& ascending) {
    return ascending.empty()
               ? nan
               : (ascending[(ascending.size() - 1) / 2] + ascending[ascending.size() / 2]) / 2.0;
}

/// Equal times spread over the millisecond that they were cut down to, so that a shift is not whole for that.
std::vector<double> spread(std::vector<double> ascending) {
    for (auto first = ascending.begin(); first != ascending.end();) {
        const auto last = std::upper_bound(first, ascending.end(), *first);
        const double start = *first;
        const double width = last == ascending.end() ? unit : std::min(unit, *last - start);
        const auto count = static_cast<double>(last - first);
        for (double place = 0.5; first != last; ++first, place += 1.0) {
            *first = start + width * place / count;
        }
    }
    return ascending;
}

LogComparison::Row compare(const LogSummary::Key& key, const LogSeries& baseline,
                           const LogSeries& candidate) {
    using Verdict = LogComparison::Verdict;
    const std::vector<double> before = baseline.processMedians();
    const std::vector<double> after = candidate.processMedians();
    LogComparison::Row row{.key = key,
                           .baselineCount = baseline.count(),
                           .candidateCount = candidate.count(),
                           .baselineProcesses = static_cast<qint64>(before.size()),
                           .candidateProcesses = static_cast<qint64>(after.size()),
                           .baselineMedian = medianOf(before),
                           .candidateMedian = medianOf(after),
                           .ratio = nan,
                           .shift = nan,
                           .shiftLow = nan,
                           .shiftHigh = nan};
    if (row.baselineCount == 0 || row.candidateCount == 0) {
        row.verdict = row.baselineCount == 0 ? Verdict::MissingBaseline : Verdict::MissingCandidate;
        return row;
    }
    row.ratio = row.candidateMedian / row.baselineMedian;
    if (std::min(row.baselineProcesses, row.candidateProcesses) < LogComparison::fewestProcesses) {
        row.verdict = Verdict::TooFew;
        return row;
    }
    const bool differs = Internal::shiftBetween(before, after).differs;
    const Internal::Shift shift = Internal::shiftBetween(spread(before), spread(after));
    row.shift = shift.estimate;
    row.shiftLow = shift.low;
    row.shiftHigh = shift.high;
    const double size = std::abs(shift.estimate);
    if (differs && size > unit * (1.0 + 1e-9) &&
        size > smallestShare * std::min(row.baselineMedian, row.candidateMedian)) {
        row.verdict = shift.estimate > 0.0 ? Verdict::Slower : Verdict::Faster;
    }
    return row;
}

QString number(double value, int digits) {
    return std::isfinite(value) ? QString::number(value, 'f', digits) : QString();
}

} // namespace

LogComparison::LogComparison(const LogSummary& baseline, const LogSummary& candidate) {
    std::set<LogSummary::Key> keys;
    for (const LogSummary* side : {&baseline, &candidate}) {
        for (auto it = side->events().constBegin(); it != side->events().constEnd(); ++it) {
            const LogSummary& other = side == &baseline ? candidate : baseline;
            if (it->elapsed.count() > 0 || !other.events().contains(it.key())) {
                keys.insert(it.key());
            }
        }
    }
    for (const LogSummary::Key& key : keys) {
        Row row = compare(key, baseline.events().value(key).elapsed, candidate.events().value(key).elapsed);
        if (row.baselineCount + row.candidateCount == 0) { // never timed, and on one side only
            row.verdict =
                baseline.events().contains(key) ? Verdict::MissingCandidate : Verdict::MissingBaseline;
        }
        m_rows.append(row);
    }
}

int LogComparison::count(Verdict verdict) const {
    return static_cast<int>(std::count_if(m_rows.begin(), m_rows.end(),
                                          [verdict](const Row& row) { return row.verdict == verdict; }));
}

QString LogComparison::verdictText(Verdict verdict) {
    switch (verdict) {
    case Verdict::Same:
        return QStringLiteral("same");
    case Verdict::Faster:
        return QStringLiteral("faster");
    case Verdict::Slower:
        return QStringLiteral("slower");
    case Verdict::TooFew:
        return QStringLiteral("too few");
    case Verdict::MissingBaseline:
        return QStringLiteral("missing in baseline");
    case Verdict::MissingCandidate:
        return QStringLiteral("missing in candidate");
    }
    return {};
}

QList<QStringList> LogComparison::table() const {
    QList<QStringList> rows{{"channel", "event", "baseline_count", "candidate_count", "baseline_processes",
                             "candidate_processes", "baseline_median", "candidate_median", "ratio", "shift",
                             "shift_low", "shift_high", "verdict"}};
    for (const Row& row : m_rows) {
        rows.append({row.key.first, row.key.second, QString::number(row.baselineCount),
                     QString::number(row.candidateCount), QString::number(row.baselineProcesses),
                     QString::number(row.candidateProcesses), number(row.baselineMedian, 1),
                     number(row.candidateMedian, 1), number(row.ratio, 3), number(row.shift, 1),
                     number(row.shiftLow, 1), number(row.shiftHigh, 1), verdictText(row.verdict)});
    }
    return rows;
}

} // namespace Cartolith::Core::Common
