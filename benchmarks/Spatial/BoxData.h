#pragma once

#include "../../tests/Spatial/BoxShape.h"

#include <QList>

#include <string>
#include <vector>

/// Boxes to index, as shapes for the library and as extents for its rivals.
struct BoxData {
    std::string name;
    std::vector<Cartolith::Core::Shapes::GisExtent> boxes;
    std::vector<BoxShape> shapes;
    QList<Cartolith::Core::Shapes::GisShape*> pointers;

    BoxData(std::string dataName, std::vector<Cartolith::Core::Shapes::GisExtent> extents);

    /// Boxes spread evenly over the unit square, half overlapping their neighbours.
    static BoxData uniform(int count);
    /// The same in a hundred clusters of different size and density.
    static BoxData clustered(int count);
    /// The extents of the counties of the United States.
    static BoxData counties();

    /// Windows of one size, placed where the data is, that hit about so many boxes on average.
    std::vector<Cartolith::Core::Shapes::GisExtent> windows(double hits) const;
};
