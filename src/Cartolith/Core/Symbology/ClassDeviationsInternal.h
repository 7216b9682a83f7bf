#pragma once

#include <cstddef>
#include <vector>

namespace Cartolith::Core::Symbology::Internal {

/// Sums of squared deviations of runs of ascending values from their means, each in constant time and to
/// about 13 digits, whatever the magnitudes and however far from 0 the values lie: sums of squares are never
/// subtracted from each other. In units of the square of some power of two, so that nothing overflows. 100
/// bytes for each value.
///
/// Neighbouring runs are joined by their means (T. Chan, G. Golub, R. LeVeque, 1979), from tables of runs
/// that meet at the middles of halved stretches.
class ClassDeviations {
public:
    /// Values ascend strictly, are finite; each counts as often as its weight says, at least once.
    ClassDeviations(std::vector<double> values, std::vector<double> weights);

    /// Of the values at the positions `first` to `last`, last included.
    double of(std::size_t first, std::size_t last) const;

private:
    struct Run {
        double low;    ///< the least value
        double weight; ///< how many
        double above;  ///< of the mean over the least value
        double sum;    ///< of squared deviations from the mean

        Run joined(const Run& next) const;
    };

    Run single(std::size_t at) const { return {m_values[at], m_weights[at], 0.0, 0.0}; }
    Run blocks(std::size_t first, std::size_t last) const;

    std::vector<double> m_values; ///< up to 1 in magnitude
    std::vector<double> m_weights;
    std::vector<Run> m_fromStart;            ///< of its block up to each value
    std::vector<Run> m_toEnd;                ///< of its block from each value
    std::vector<std::vector<Run>> m_halving; ///< [level][block]: from the block to the middle
};

} // namespace Cartolith::Core::Symbology::Internal
