#include <Cartolith/Core/Common/FloatsInternal.h>
#include <Cartolith/Core/Common/LogComparison.h>

#include <algorithm>
#include <cmath>
#include <set>

namespace Cartolith::Core::Common {

namespace {

using Common::Internal::nan;
// Of two times seven numbers drawn alike, all of one side are above all of the other once in 3,432.
constexpr qint64 fewest = 7;
constexpr double smallestDifference = 0.05;
constexpr double halfUnit = 0.5; ///< times are whole milliseconds

/// What the median may be.
struct Range {
    explicit Range(const LogSeries& series)
        : low(series.medianInterval().first - halfUnit), high(series.medianInterval().second + halfUnit) {}
    double low;
    double high;
};

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
    const bool isMore = row.candidateMedian >= row.baselineMedian;
    const Range lower(isMore ? baseline : candidate);
    const Range upper(isMore ? candidate : baseline);
    const double least = std::min(row.baselineMedian, row.candidateMedian);
    const double most = std::max(row.baselineMedian, row.candidateMedian);
    if (least > 0.0 && upper.low > 0.0) {
        row.noise = lower.high / least * (most / upper.low) - 1.0;
    }
    if (upper.low > lower.high && most > (1.0 + smallestDifference) * least) {
        row.verdict = isMore ? Verdict::Slower : Verdict::Faster;
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
