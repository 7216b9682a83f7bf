#pragma once

#include <Cartolith/Core/Common/LogSummary.h>
#include <Cartolith/Core/Export.h>

#include <QList>
#include <QStringList>

namespace Cartolith::Core::Common {

/// Two logs of the same work, a baseline and a candidate, compared event by event by the medians of their
/// elapsed times.
///
/// Whether a difference is one is read from the data: `noise` is three standard errors of the ratio, each
/// median's taken as 1.2533 x 1.4826 x its median absolute deviation / sqrt(n), plus half a millisecond a
/// side for times being whole milliseconds. A ratio within 1 / (1 + noise) and 1 + noise is no difference,
/// nor is one of less than 5 %.
class CARTOLITH_CORE_EXPORT LogComparison {
public:
    enum class Verdict {
        Same,
        Faster,
        Slower,
        TooFew,           ///< fewer than five times on a side: nothing can be said
        MissingBaseline,  ///< timed in the candidate only
        MissingCandidate, ///< timed in the baseline only
    };

    struct Row {
        LogSummary::Key key;
        qint64 baselineCount = 0;
        qint64 candidateCount = 0;
        double baselineMedian = 0.0; ///< milliseconds; NaN when missing
        double candidateMedian = 0.0;
        double ratio = 0.0; ///< candidate / baseline; NaN when one is missing or both are 0
        double noise = 0.0; ///< NaN where nothing can be said
        Verdict verdict = Verdict::Same;
    };

    LogComparison(const LogSummary& baseline, const LogSummary& candidate);

    /// Events that have times on either side, sorted by channel, then event.
    const QList<Row>& rows() const noexcept { return m_rows; }
    int count(Verdict verdict) const;

    /// "same", "faster", "slower", "too few", "missing in baseline", "missing in candidate".
    static QString verdictText(Verdict verdict);

    /// The first row names the columns.
    QList<QStringList> table() const;

private:
    QList<Row> m_rows;
};

} // namespace Cartolith::Core::Common
