#pragma once

#include <QList>

namespace Cartolith::Core::Symbology::Internal {

/// The breaks of W. Fisher's dynamic programme for the least sum of squared deviations within classes: k + 1
/// of them, the least and the greatest value included. Needs at least 2 different values, ascending, and
/// 2 <= k <= the number of different values.
QList<double> naturalBreaks(const QList<double>& sorted, int k);

} // namespace Cartolith::Core::Symbology::Internal
