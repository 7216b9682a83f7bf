#pragma once

#include <QList>
#include <QString>

/// Numbers as a reader of a map wants them: as short as they can be, digits in groups of three, "1,364,270".
namespace NumberText {

QString whole(qsizetype number);

/// Rounded to so many significant digits (1 to 17), without trailing zeros.
QString rounded(double value, int digits);

/// The least number of significant digits, from 3 to 17, with which the bounds of classes can be told apart
/// and none is moved by more than a fiftieth of the gap to the next. The bounds ascend strictly, are finite.
int digitsFor(const QList<double>& bounds);

} // namespace NumberText
