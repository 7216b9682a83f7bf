#include "LayerOverlay.h"

#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>

#include <utility>

using namespace Cartolith::Core;
using Layers::GisLayerVector;
using Layers::Defs::GisAttributeDefinition;
using Shapes::GisShape;
using Topology::GisTopology;
using Topology::GisTopologyCombineType;

LayerOverlay::LayerOverlay(GisLayerVector& a, GisLayerVector& b, const GisTopology& topology)
    : m_a(a), m_b(b), m_topology(topology),
      m_result(GisLayerVector::createInMemory(QStringLiteral("overlay"), Shapes::GisShapeType::Polygon, {})) {
    m_result->setCoordinateSystem(a.coordinateSystem());
    for (const GisAttributeDefinition& field : a.attributeDefinitions()) {
        m_result->addAttributeDefinition(field);
    }
    for (GisAttributeDefinition field : b.attributeDefinitions()) {
        QString name = field.name();
        for (int i = 2; m_result->getAttributeDefinition(name) != nullptr; ++i) {
            name = QStringLiteral("%1_%2").arg(field.name()).arg(i);
        }
        m_nameOfB.insert(field.name(), name);
        field.setName(name);
        m_result->addAttributeDefinition(field);
    }
}

std::unique_ptr<GisLayerVector> LayerOverlay::run(GisTopologyCombineType type, const Progress& progress) {
    const bool common = type == GisTopologyCombineType::Intersection || type == GisTopologyCombineType::Union;
    const bool onlyA = type != GisTopologyCombineType::Intersection;
    const bool onlyB =
        type == GisTopologyCombineType::Union || type == GisTopologyCombineType::SymmetricalDifference;
    m_progress = progress;
    m_total = (common ? m_a.count() : 0) + (onlyA ? m_a.count() : 0) + (onlyB ? m_b.count() : 0);
    if (common) {
        intersect();
    }
    if (onlyA) {
        subtract(m_a, m_b, false);
    }
    if (onlyB) {
        subtract(m_b, m_a, true);
    }
    return std::move(m_result);
}

void LayerOverlay::intersect() {
    for (const auto& a : m_a.items()) {
        const QList<GisShape*> others = m_b.query(a->extent());
        for (const GisShape* b : others) {
            Attributes values = a->attributes();
            values.insert(renamed(b->attributes()));
            keep(m_topology.Intersection(*a, *b), values);
        }
        step();
    }
}

void LayerOverlay::subtract(GisLayerVector& from, GisLayerVector& what, bool fromB) {
    for (const auto& shape : from.items()) {
        std::unique_ptr<GisShape> rest = shape->clone();
        const QList<GisShape*> others = what.query(shape->extent());
        for (const GisShape* other : others) {
            // The path engine may leave a hole wound like its shell, which the next operation would fill.
            if (const auto* polygon = dynamic_cast<const Shapes::GisShapePolygon*>(rest.get())) {
                rest = GisTopology::OrientRings(*polygon);
            }
            rest = m_topology.Difference(*rest, *other);
        }
        keep(std::move(rest), fromB ? renamed(shape->attributes()) : shape->attributes());
        step();
    }
}

void LayerOverlay::keep(std::unique_ptr<GisShape> shape, const Attributes& values) {
    shape->attributes() = values;
    m_result->addShape(std::move(shape)); // not when it is empty
}

LayerOverlay::Attributes LayerOverlay::renamed(const Attributes& valuesOfB) const {
    Attributes values;
    for (auto it = valuesOfB.begin(); it != valuesOfB.end(); ++it) {
        values.insert(m_nameOfB.value(it.key(), it.key()), it.value());
    }
    return values;
}

void LayerOverlay::step() {
    m_progress(static_cast<double>(++m_done) / m_total);
}
