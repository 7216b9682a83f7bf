#pragma once

namespace Cartolith::Core::Symbology {

/// How GisClassificationEngine finds class bounds. The numbers are stored and passed as they stand.
enum class GisClassificationMethod : int {
    Manual = 0,
    DefinedInterval = 1,
    EqualInterval = 2,
    Quantile = 3,
    NaturalBreaks = 4,
    Quartile = 5,
    StandardDeviation = 6,
    StandardDeviationWithCentral = 7,
    GeometricalInterval = 8,
    KMeans = 9,
    KMeansSpatial = 10,
};

} // namespace Cartolith::Core::Symbology
