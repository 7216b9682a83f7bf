#pragma once

#include <Cartolith/Core/Common/LogSummary.h>
#include <Cartolith/Core/Export.h>

#include <QList>
#include <QStringList>

namespace Cartolith::Core::Common {

/// Two logs of the same work, a baseline and a candidate, compared event by event by the medians of their
/// elapsed times.
///
/// Whether a difference is one is read from the data: where the true medians lie is told by ranks, whatever
/// the distributions (LogSeries::medianInterval(), half a millisecond wider for times being whole ones), and
/// only medians whose ranges do not meet differ. `noise` is by how much the ratio, or its inverse when that
/// is above 1, has to exceed 1 for that. A difference of less than 5 % is none either.
class CARTOLITH_CORE_EXPORT LogComparison {
public:
    enum class Verdict {
        Same,
        Faster,
        Slower,
        TooFew,           ///< fewer than seven times on a side: nothing can be said
        MissingBaseline,  ///< in the candidate only, or timed there only
        MissingCandidate, ///< in the baseline only, or timed there only
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

    /// Events that have times on either side or are on one side only, sorted by channel, then event.
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
