#include <Cartolith/Core/Symbology/NaturalBreaksInternal.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace Cartolith::Core::Symbology::Internal {

QList<double> naturalBreaks(const QList<double>& sorted, int k) {
    const auto n = static_cast<std::size_t>(sorted.size());
    const auto columns = static_cast<std::size_t>(k) + 1;
    // Rows and columns count from 1.
    std::vector<int> lowerLimit((n + 1) * columns, 0);
    std::vector<double> variance((n + 1) * columns, std::numeric_limits<double>::infinity());
    for (std::size_t j = 1; j < columns; ++j) {
        lowerLimit[columns + j] = 1;
        variance[columns + j] = 0.0;
    }
    for (std::size_t l = 2; l <= n; ++l) {
        double sum = 0.0;
        double squares = 0.0;
        double count = 0.0;
        double within = 0.0;
        for (std::size_t i = l; i >= 1; --i) {
            const double x = sorted[static_cast<qsizetype>(i - 1)];
            sum += x;
            squares += x * x;
            count += 1.0;
            within = squares - sum * sum / count;
            for (std::size_t j = 2; i > 1 && j < columns; ++j) {
                const double candidate = within + variance[(i - 1) * columns + j - 1];
                if (candidate < variance[l * columns + j]) {
                    lowerLimit[l * columns + j] = static_cast<int>(i);
                    variance[l * columns + j] = candidate;
                }
            }
        }
        lowerLimit[l * columns + 1] = 1;
        variance[l * columns + 1] = within;
    }
    QList<double> breaks(k + 1);
    breaks.front() = sorted.front();
    breaks.back() = sorted.back();
    std::size_t row = n;
    for (std::size_t j = columns - 1; j >= 2; --j) {
        const qsizetype id = lowerLimit[row * columns + j] - 1;
        breaks[static_cast<qsizetype>(j) - 1] = sorted[std::clamp<qsizetype>(id, 0, sorted.size() - 1)];
        row = static_cast<std::size_t>(std::max<qsizetype>(id, 1));
    }
    return breaks;
}

} // namespace Cartolith::Core::Symbology::Internal
