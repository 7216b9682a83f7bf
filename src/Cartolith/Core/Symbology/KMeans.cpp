#include <Cartolith/Core/Symbology/GisClassificationEngine.h>
#include <Cartolith/Core/Symbology/KMeansInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

namespace Cartolith::Core::Symbology::Internal {

namespace {

/// Neighbours among the ascending values that go to one centre.
struct Run {
    qsizetype end = 0; ///< one past the last
    qsizetype centre = 0;

    bool operator==(const Run& other) const = default;
};

/// Of several equally near ones the first.
qsizetype nearest(const QList<double>& centres, double value) {
    qsizetype best = 0;
    double distance = std::abs(value - centres[0]);
    for (qsizetype i = 1; i < centres.size(); ++i) {
        const double other = std::abs(value - centres[i]);
        if (other < distance) {
            best = i;
            distance = other;
        }
    }
    return best;
}

/// Whether later centres get later values. They do in exact arithmetic; rounded, two distances to a value
/// beyond both centres can be equal, which hands it to the first, but not when the centres lie farther apart
/// than such distances round.
bool areOrdered(const QList<double>& centres, const QList<double>& sorted) {
    const double apart =
        4.0 * std::numeric_limits<double>::epsilon() *
        (std::max(sorted.back(), centres.back()) - std::min(sorted.front(), centres.front()));
    return std::adjacent_find(centres.cbegin(), centres.cend(),
                              [apart](double a, double b) { return !(b - a > apart); }) == centres.cend();
}

QList<Run> assign(const QList<double>& sorted, const QList<double>& centres) {
    const bool ordered = areOrdered(centres, sorted);
    QList<Run> runs;
    for (qsizetype begin = 0; begin < sorted.size();) {
        const qsizetype centre = nearest(centres, sorted[begin]);
        const auto here = [&](double value) { return nearest(centres, value) == centre; };
        const auto from = sorted.cbegin() + begin;
        const auto end = ordered ? std::partition_point(from, sorted.cend(), here)
                                 : std::find_if_not(from, sorted.cend(), here);
        begin = end - sorted.cbegin();
        runs.append({begin, centre});
    }
    return runs;
}

} // namespace

QList<double> kMeansCentres(const QList<double>& sorted, int k) {
    constexpr int mostRounds = 64;
    QList<double> centres;
    for (int i = 0; i < k; ++i) {
        centres.append(GisClassificationEngine::percentile(sorted, (i + 0.5) / k));
    }
    QList<Run> runs;
    for (int round = 0; round < mostRounds; ++round) {
        const QList<Run> before = std::exchange(runs, assign(sorted, centres));
        if (runs == before) {
            break; // the same members have the same means: nothing would move
        }
        QList<double> sums(k, 0.0);
        QList<qsizetype> members(k, 0);
        qsizetype begin = 0;
        for (const Run& run : std::as_const(runs)) {
            sums[run.centre] =
                std::accumulate(sorted.cbegin() + begin, sorted.cbegin() + run.end, sums[run.centre]);
            members[run.centre] += run.end - begin;
            begin = run.end;
        }
        for (qsizetype i = 0; i < k; ++i) {
            if (members[i] > 0) {
                centres[i] = sums[i] / static_cast<double>(members[i]);
            }
        }
    }
    std::sort(centres.begin(), centres.end());
    return centres;
}

} // namespace Cartolith::Core::Symbology::Internal
