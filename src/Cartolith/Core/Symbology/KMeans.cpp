#include <Cartolith/Core/Symbology/GisClassificationEngine.h>
#include <Cartolith/Core/Symbology/KMeansInternal.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace Cartolith::Core::Symbology::Internal {

namespace {

/// Of several equally near ones the first.
std::size_t nearest(const QList<double>& centres, double value) {
    std::size_t best = 0;
    double distance = std::abs(value - centres[0]);
    for (std::size_t i = 1; i < static_cast<std::size_t>(centres.size()); ++i) {
        const double other = std::abs(value - centres[static_cast<qsizetype>(i)]);
        if (other < distance) {
            best = i;
            distance = other;
        }
    }
    return best;
}

} // namespace

QList<double> kMeansCentres(const QList<double>& sorted, int k) {
    constexpr int mostRounds = 64;
    constexpr double still = 1e-12;
    QList<double> centres;
    for (int i = 0; i < k; ++i) {
        centres.append(GisClassificationEngine::percentile(sorted, (i + 0.5) / k));
    }
    const auto count = static_cast<std::size_t>(k);
    std::vector<std::size_t> assigned(static_cast<std::size_t>(sorted.size()), count);
    for (int round = 0; round < mostRounds; ++round) {
        std::vector<double> sums(count, 0.0);
        std::vector<double> members(count, 0.0);
        bool changed = false;
        for (std::size_t i = 0; i < assigned.size(); ++i) {
            const double value = sorted[static_cast<qsizetype>(i)];
            const std::size_t centre = nearest(centres, value);
            changed = changed || assigned[i] != centre;
            assigned[i] = centre;
            sums[centre] += value;
            members[centre] += 1.0;
        }
        double movement = 0.0;
        for (std::size_t i = 0; i < count; ++i) {
            if (members[i] > 0.0) {
                double& centre = centres[static_cast<qsizetype>(i)];
                const double moved = sums[i] / members[i];
                movement = std::max(movement, std::abs(moved - centre));
                centre = moved;
            }
        }
        if (!changed && movement <= still) {
            break;
        }
    }
    std::sort(centres.begin(), centres.end());
    return centres;
}

} // namespace Cartolith::Core::Symbology::Internal
