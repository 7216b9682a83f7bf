#pragma once

#include <Cartolith/Core/Symbology/GisClassificationMethod.h>
#include <Cartolith/Core/Symbology/GisClassificationRange.h>
#include <Cartolith/Map/Export.h>

#include <QList>
#include <QStringList>

namespace Cartolith::Map {

/// The bounds of classes as a legend shows them: rounded as far as every value still lies in the row of its
/// class, read as the class is (a bound belongs to the row that it begins).
///
/// The ends go outwards, by at most a fiftieth of their class. A bound between classes becomes the shortest
/// number between its neighbours among the values. Where the data alone say where it lies, as with quantiles
/// and natural breaks, any such number says the same; other bounds, say those of equal intervals, move by at
/// most a fiftieth of a class. Without values, as for a raster, of which only a sample is seen, all bounds
/// move by at most a five-hundredth. Bounds that somebody gave, and classes that do not follow on each other,
/// stay as they are. All bounds of a legend have as many digits after the point.
class CARTOLITH_MAP_EXPORT LegendBounds {
public:
    /// Values may come in any order and be in no class; they are finite.
    LegendBounds(const QList<Core::Symbology::GisClassificationRange>& classes,
                 Core::Symbology::GisClassificationMethod method, QList<double> values);

    /// "1 – 2.5", "-1 to 2.5", or one number for a class of one value.
    QString label(qsizetype i) const { return m_labels.at(i); }

private:
    QStringList m_labels;
};

} // namespace Cartolith::Map
