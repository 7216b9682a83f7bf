#include <Cartolith/Core/Common/FloatsInternal.h>
#include <Cartolith/Core/Common/LogComparison.h>

#include <algorithm>
#include <cmath>
#include <set>

namespace Cartolith::Core::Common {

namespace {

using Common::Internal::nan;
constexpr qint64 fewest = 5;
constexpr double smallestDifference = 0.05;

/// Of the median, relative to it: the standard error for a normal distribution whose standard deviation is
/// read from the median deviation.
double relativeError(const LogSeries& series) {
    const auto sampled =
        static_cast<double>(std::min<qint64>(series.count(), static_cast<qint64>(LogSeries::sampleSize)));
    return 1.2533 * 1.4826 * series.medianDeviation() / std::sqrt(sampled) / series.median();
}

LogComparison::Verdict verdictOf(double ratio, double noise) {
    const double band = 1.0 + std::max(noise, smallestDifference);
    if (ratio > band) {
        return LogComparison::Verdict::Slower;
    }
    return ratio < 1.0 / band ? LogComparison::Verdict::Faster : LogComparison::Verdict::Same;
}

LogComparison::Row compare(const LogSummary::Key& key, const LogSeries& baseline,
                           const LogSeries& candidate) {
    using Verdict = LogComparison::Verdict;
    LogComparison::Row row{.key = key,
                           .baselineCount = baseline.count(),
                           .candidateCount = candidate.count(),
                           .baselineMedian = baseline.median(),
                           .candidateMedian = candidate.median(),
                           .ratio = nan,
                           .noise = nan};
    if (row.baselineCount == 0 || row.candidateCount == 0) {
        row.verdict = row.baselineCount == 0 ? Verdict::MissingBaseline : Verdict::MissingCandidate;
        return row;
    }
    row.ratio = row.candidateMedian / row.baselineMedian;
    if (row.baselineCount < fewest || row.candidateCount < fewest) {
        row.verdict = Verdict::TooFew;
        return row;
    }
    constexpr double halfUnit = 0.5;
    if (std::fabs(row.candidateMedian - row.baselineMedian) <= 2.0 * halfUnit) {
        row.noise = row.baselineMedian > 0.0 ? 2.0 * halfUnit / row.baselineMedian : nan;
        return row; // also 0 against 0 or 1: times are whole milliseconds
    }
    if (row.baselineMedian == 0.0 || row.candidateMedian == 0.0) {
        row.verdict = row.baselineMedian == 0.0 ? Verdict::Slower : Verdict::Faster;
        return row;
    }
    row.noise = 3.0 * std::hypot(relativeError(baseline), relativeError(candidate)) +
                halfUnit / row.baselineMedian + halfUnit / row.candidateMedian;
    row.verdict = verdictOf(row.ratio, row.noise);
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
            if (it->elapsed.count() > 0) {
                keys.insert(it.key());
            }
        }
    }
    for (const LogSummary::Key& key : keys) {
        m_rows.append(
            compare(key, baseline.events().value(key).elapsed, candidate.events().value(key).elapsed));
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
    QList<QStringList> rows{{"channel", "event", "baseline_count", "candidate_count", "baseline_median",
                             "candidate_median", "ratio", "noise", "verdict"}};
    for (const Row& row : m_rows) {
        rows.append({row.key.first, row.key.second, QString::number(row.baselineCount),
                     QString::number(row.candidateCount), number(row.baselineMedian, 1),
                     number(row.candidateMedian, 1), number(row.ratio, 3), number(row.noise, 3),
                     verdictText(row.verdict)});
    }
    return rows;
}

} // namespace Cartolith::Core::Common
