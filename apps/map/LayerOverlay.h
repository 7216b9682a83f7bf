#pragma once

#include <Cartolith/Core/Topology/GisTopology.h>

#include <QHash>
#include <QString>
#include <QVariant>

#include <functional>
#include <memory>

namespace Cartolith::Core::Layers {
class GisLayerVector;
}

/// The overlay of two layers of areas, feature by feature.
///
/// Intersection: a feature for each pair that shares area, with the values of both; a field of B that A has
/// too is called "name_2". Difference: each feature of A without what B covers. Symmetrical difference: that
/// both ways. Union: both differences and the intersection, so that every place of A or B is in the result
/// and keeps its values.
class LayerOverlay {
public:
    /// Told the fraction done.
    using Progress = std::function<void(double)>;

    /// Both layers must be in the same coordinate system, hold polygons and outlive this object; they are
    /// queried through their index, not changed.
    LayerOverlay(Cartolith::Core::Layers::GisLayerVector& a, Cartolith::Core::Layers::GisLayerVector& b,
                 const Cartolith::Core::Topology::GisTopology& topology);

    std::unique_ptr<Cartolith::Core::Layers::GisLayerVector>
    run(Cartolith::Core::Topology::GisTopologyCombineType type, const Progress& progress);

private:
    using Attributes = QHash<QString, QVariant>;

    void intersect();
    void subtract(Cartolith::Core::Layers::GisLayerVector& from,
                  Cartolith::Core::Layers::GisLayerVector& what, bool fromB);
    void keep(std::unique_ptr<Cartolith::Core::Shapes::GisShape> shape, const Attributes& values);
    Attributes renamed(const Attributes& valuesOfB) const;
    void step();

    Cartolith::Core::Layers::GisLayerVector& m_a;
    Cartolith::Core::Layers::GisLayerVector& m_b;
    const Cartolith::Core::Topology::GisTopology& m_topology;
    QHash<QString, QString> m_nameOfB; ///< in the result, by the name in B
    std::unique_ptr<Cartolith::Core::Layers::GisLayerVector> m_result;
    Progress m_progress;
    int m_done = 0;
    int m_total = 0;
};
