#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>

namespace Cartolith::Core::Shapes::Internal {

/// How much a ring goes round, for comparing rings by size. Of one that does not cross itself it is the size
/// of its signed area, which is given. The signed area of one that does may be anything down to 0, as that of
/// a bow tie is: what it goes round is measured along 32 lines across it, and is right but for a few per cent
/// where these lines show it. One pass over the vertices.
double enclosedArea(const QList<GisShapePoint>& ring, double signedArea, double scale);

} // namespace Cartolith::Core::Shapes::Internal
