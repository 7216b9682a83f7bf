#pragma once

#include "BoxShape.h"

#include <QList>

#include <deque>
#include <random>
#include <string>
#include <vector>

namespace test {

/// Owns shapes whose extents it is given; their ids are their positions.
class Boxes {
public:
    explicit Boxes(const std::vector<Cartolith::Core::Shapes::GisExtent>& extents = {}) {
        for (const auto& extent : extents) {
            add(extent);
        }
    }
    Cartolith::Core::Shapes::GisShape* add(const Cartolith::Core::Shapes::GisExtent& extent) {
        m_shapes.emplace_back(extent).setId(static_cast<int>(m_shapes.size()) - 1);
        m_pointers.append(&m_shapes.back());
        return m_pointers.last();
    }
    const QList<Cartolith::Core::Shapes::GisShape*>& pointers() const { return m_pointers; }

private:
    std::deque<BoxShape> m_shapes;
    QList<Cartolith::Core::Shapes::GisShape*> m_pointers;
};

/// Extents of one kind, in random order.
struct DataSet {
    std::string name;
    std::vector<Cartolith::Core::Shapes::GisExtent> extents;
};

/// Ordinary and awkward kinds, generated and real.
const std::vector<DataSet>& dataSets();

/// Windows of all sizes, many of which share an edge or a corner with the data.
std::vector<Cartolith::Core::Shapes::GisExtent> windows(const DataSet& data, int count, std::mt19937& random);

} // namespace test
