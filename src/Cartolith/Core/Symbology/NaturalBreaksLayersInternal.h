#pragma once

#include <cstddef>
#include <vector>

namespace Cartolith::Core::Symbology::Internal {

/// The recurrence's candidates to within known errors, each in constant time.
///
/// Rows l and class beginnings i count from 1. V(i, l) is the sum of squared deviations of the values i to l
/// from their mean, C(l, j) the least sum of j of them over the values 1 to l, both in exact arithmetic. The
/// recurrence's own numbers, which round, differ from C; how far at most is part of what is known here.
///
/// Building takes n log n steps for each class; 16 bytes are held for each value and class.
class NaturalBreaksLayers {
public:
    /// For 2 <= k classes of ascending finite values.
    NaturalBreaksLayers(const std::vector<double>& sorted, std::size_t k);

    /// False when the recurrence's sums might overflow; nothing else may be asked then.
    bool isValid() const { return m_valid; }

    /// V(i, l) + C(i - 1, j - 1), for 2 <= i <= l and 2 <= j.
    long double candidate(std::size_t i, std::size_t l, std::size_t j) const {
        return deviations(i, l) + m_least[j - 1][i - 1];
    }
    /// How far the recurrence's own candidate is from candidate() at most.
    double error(std::size_t i, std::size_t l, std::size_t j) const;
    /// No error() in the rows up to l is greater.
    double greatestError(std::size_t l) const;

private:
    long double deviations(std::size_t i, std::size_t l) const {
        const long double sum = m_sums[l] - m_sums[i - 1];
        return (m_squares[l] - m_squares[i - 1]) - sum * sum / static_cast<long double>(l - i + 1);
    }
    void addUp(const std::vector<double>& sorted);
    void fillLayer(std::size_t j, std::size_t firstRow, std::size_t lastRow, std::size_t low,
                   std::size_t high);
    void findLongestClass(std::size_t k);
    double ofRounding(std::size_t length, double squares) const;
    double greatestOfPath(std::size_t l, std::size_t longest) const;

    bool m_valid = false;
    bool m_exact = false;                          ///< the recurrence's sums do not round
    double m_classes = 0.0;                        ///< k
    double m_evaluation = 0.0;                     ///< error of one evaluation of candidate() given m_least
    double m_layers = 0.0;                         ///< error of m_least, in any layer
    long double m_enough = 0.0;                    ///< no sum that matters is greater
    std::size_t m_longest = 0;                     ///< no class of a sum up to m_enough is longer
    std::vector<long double> m_sums;               ///< of the values minus a middle one, [0] is 0
    std::vector<long double> m_squares;            ///< of the same
    std::vector<double> m_rawSquares;              ///< of the values themselves
    std::vector<std::vector<long double>> m_least; ///< [j][l]: C(l, j) for j < k
};

} // namespace Cartolith::Core::Symbology::Internal
