#pragma once

#include <QList>

namespace Cartolith::Core::Symbology::Internal {

/// The centres that Lloyd's iteration ends with, ascending; it starts from k quantiles of the sorted values.
QList<double> kMeansCentres(const QList<double>& sorted, int k);

} // namespace Cartolith::Core::Symbology::Internal
