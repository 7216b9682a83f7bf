#pragma once

#include <Cartolith/Map/Export.h>

#include <QList>
#include <QString>
#include <QStringList>

/// Numbers as a reader of a map wants them: as short as they can be, digits in groups of three, "1,364,270".
namespace Cartolith::Map::NumberText {

CARTOLITH_MAP_EXPORT QString whole(qsizetype number);

/// The numbers in full, so that each text reads back as its number, and alike: all with as many digits after
/// the point as the one that needs most. With powers of ten when one of them would be too long otherwise.
/// What is not finite is "inf", "-inf" or "nan".
CARTOLITH_MAP_EXPORT QStringList alike(const QList<double>& numbers);

/// How many digits the finite number has after the point, and how many from its first to its last other than
/// 0.
CARTOLITH_MAP_EXPORT int decimals(double number);
CARTOLITH_MAP_EXPORT int digits(double number);

} // namespace Cartolith::Map::NumberText
