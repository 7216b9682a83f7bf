#pragma once

#include <Cartolith/Core/Common/LogSummary.h>
#include <Cartolith/Core/Export.h>

#include <QList>
#include <QStringList>

namespace Cartolith::Core::Common {

/// Two logs of the same work, a baseline and a candidate, compared event by event by their elapsed times.
///
/// Times of one process are alike: where its memory came to lie, what else the machine did. So processes
/// are compared, each by the median of its times; a difference between one process and another is not one
/// between baseline and candidate. Let the work run in ten processes or more for each log; all of them may
/// write into one file.
///
/// A difference is one when the rank sum test says so at 1 % (Mann and Whitney, 1947), when the shift is more
/// than a millisecond, for times are whole ones, and when it is more than 2 % of the smaller median. The
/// shift is Hodges and Lehmann's (1963). docs/diagnostics.md has the table of how much is found with how many
/// processes.
class CARTOLITH_CORE_EXPORT LogComparison {
public:
    /// Fewer processes than this on a side, and nothing can be said: of two times seven numbers drawn alike,
    /// all of one side are above all of the other once in 3,432.
    static constexpr qint64 fewestProcesses = 7;

    enum class Verdict {
        Same,
        Faster,
        Slower,
        TooFew,           ///< fewer than seven processes on a side
        MissingBaseline,  ///< in the candidate only, or timed there only
        MissingCandidate, ///< in the baseline only, or timed there only
    };

    struct Row {
        LogSummary::Key key;
        qint64 baselineCount = 0; ///< times
        qint64 candidateCount = 0;
        qint64 baselineProcesses = 0;
        qint64 candidateProcesses = 0;
        double baselineMedian = 0.0; ///< of the processes' medians, milliseconds; NaN when missing
        double candidateMedian = 0.0;
        double ratio = 0.0; ///< of the medians, candidate / baseline; NaN when one is missing or both are 0
        /// By how many milliseconds the candidate is slower; NaN where nothing can be said.
        double shift = 0.0;
        double shiftLow = 0.0; ///< between these with a certainty of 99 %
        double shiftHigh = 0.0;
        Verdict verdict = Verdict::Same;
    };

    LogComparison(const LogSummary& baseline, const LogSummary& candidate);

    /// Events that have times on either side or are on one side only, sorted by channel, then event.
    const QList<Row>& rows() const noexcept { return m_rows; }
    int count(Verdict verdict) const;

    /// "same", "faster", "slower", "too few", "missing in baseline", "missing in candidate".
    static QString verdictText(Verdict verdict);

    /// The first row names the columns. What is not finite is an empty cell.
    QList<QStringList> table() const;

private:
    QList<Row> m_rows;
};

} // namespace Cartolith::Core::Common
