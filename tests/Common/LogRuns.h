#pragma once

#include <Cartolith/Core/Common/LogComparison.h>

#include <QBuffer>

#include <algorithm>
#include <cmath>
#include <random>

namespace test {

/// Logs of work that was run in some processes, with times drawn from known distributions.
struct LogRuns {
    int processes = 10;
    int times = 1;        ///< in each process
    double typical = 200; ///< milliseconds
    double noise = 0.03;  ///< of a time, as a share
    double offset = 0.0;  ///< of all times of a process
    bool skewed = false;  ///< a long tail above, as timings have it

    Cartolith::Core::Common::LogSummary summary(double factor, std::mt19937& random) const {
        std::normal_distribution<double> normal;
        const auto drawn = [&](double share) {
            return skewed ? std::exp(std::abs(normal(random)) * 2.0 * share) : 1.0 + share * normal(random);
        };
        QByteArray log;
        for (int process = 0; process < processes; ++process) {
            const double own = 1.0 + offset * normal(random);
            for (int i = 1; i <= times; ++i) {
                const double time = typical * factor * own * drawn(noise);
                log += "t\t" + QByteArray::number(i) + "\tinfo\tc\tc\te\t" + QByteArray::number(process) + '\t' +
                       QByteArray::number(static_cast<qint64>(std::max(0.0, time))) + "\t\n";
            }
        }
        QBuffer buffer(&log);
        buffer.open(QIODevice::ReadOnly);
        return Cartolith::Core::Common::LogSummary::read(buffer);
    }

    /// The share of so many comparisons that call a difference where there is one by this factor, or none.
    double found(double factor, int comparisons, std::mt19937& random) const {
        using Cartolith::Core::Common::LogComparison;
        int differences = 0;
        for (int i = 0; i < comparisons; ++i) {
            const LogComparison comparison(summary(1.0, random), summary(factor, random));
            differences +=
                comparison.count(LogComparison::Verdict::Slower) + comparison.count(LogComparison::Verdict::Faster);
        }
        return static_cast<double>(differences) / comparisons;
    }
};

} // namespace test
