// The index, the queries and the stand-ins of GisLayerVector; its contents are in GisLayerVector.cpp.

#include <Cartolith/Core/Common/LogChannels.h>
#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Layers/LodLevelInternal.h>
#include <Cartolith/Core/Layers/Requests/LayerFeaturesInternal.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Spatial/LinearSpatialIndex.h>
#include <Cartolith/Core/Spatial/QuadTreeSpatialIndex.h>
#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>

#include <algorithm>
#include <utility>

namespace Cartolith::Core::Layers {

using Shapes::GisExtent;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Spatial::SpatialIndexType;

namespace {

QList<GisShape*> pointersTo(const std::vector<std::unique_ptr<GisShape>>& shapes) {
    QList<GisShape*> pointers;
    pointers.reserve(static_cast<qsizetype>(shapes.size()));
    for (const auto& shape : shapes) {
        pointers.append(shape.get());
    }
    return pointers;
}

QList<GisShape*> queryLinear(const QList<GisShape*>& shapes, const GisExtent& extent) {
    QList<GisShape*> found;
    for (GisShape* shape : shapes) {
        if (shape->intersects(extent)) {
            found.append(shape);
        }
    }
    return found;
}

} // namespace

// Index

std::unique_ptr<Spatial::ISpatialIndex> GisLayerVector::createSpatialIndex() const {
    constexpr int itemsPerNode = 64;
    constexpr int quadTreeDepth = 16;
    switch (m_spatialIndexType) {
    case SpatialIndexType::Linear:
        return std::make_unique<Spatial::Linear::LinearSpatialIndex>();
    case SpatialIndexType::RTreeHilbert:
        return std::make_unique<Spatial::RTree::RTreeSpatialIndex>(
            itemsPerNode, Spatial::RTree::RTreeBuildStrategy::Hilbert);
    case SpatialIndexType::QuadTree:
        return std::make_unique<Spatial::QuadTree::QuadTreeSpatialIndex>(itemsPerNode, quadTreeDepth);
    case SpatialIndexType::RTree:
        break;
    }
    // Also for a number outside the enumeration.
    return std::make_unique<Spatial::RTree::RTreeSpatialIndex>(itemsPerNode,
                                                               Spatial::RTree::RTreeBuildStrategy::SortAxis);
}

void GisLayerVector::setUseSpatialIndex(bool use) {
    if (m_useSpatialIndex != use) {
        m_useSpatialIndex = use;
        clearSpatialIndex();
    }
}

void GisLayerVector::setSpatialIndexType(SpatialIndexType type) {
    if (m_spatialIndexType != type) {
        m_spatialIndexType = type;
        clearSpatialIndex();
        m_index.reset(); // an index of the old kind would be filled again otherwise
        m_isIndexOwn = true;
    }
}

void GisLayerVector::setSpatialIndex(std::unique_ptr<Spatial::ISpatialIndex> index) {
    m_index = std::move(index);
    m_isIndexOwn = m_index == nullptr;
    m_indexDirty = m_index == nullptr || !m_index->isBuilt();
}

void GisLayerVector::clearSpatialIndex() {
    if (m_index != nullptr) {
        m_index->clear();
    }
    m_indexDirty = true;
    clearLodCache();
}

void GisLayerVector::buildSpatialIndex() {
    const auto* const tree = dynamic_cast<const Spatial::RTree::RTreeSpatialIndex*>(m_index.get());
    if (m_index == nullptr) {
        m_index = createSpatialIndex();
    } else if (!m_indexDirty && m_index->isBuilt() && (tree == nullptr || !tree->hasUpdates())) {
        return;
    }
    Common::Internal::LogStep step(Common::LogChannels::index, "load");
    step.set("shapes", count());
    if (!restoreSpatialIndex(*m_index)) {
        step.rename("build");
        m_index->build(rawShapes());
        keepSpatialIndex(*m_index);
    }
    m_indexDirty = false;
}

bool GisLayerVector::restoreSpatialIndex(Spatial::ISpatialIndex& /*index*/) {
    return false;
}

void GisLayerVector::keepSpatialIndex(const Spatial::ISpatialIndex& /*index*/) {}

void GisLayerVector::ensureSpatialIndex() {
    if (m_useSpatialIndex && (m_index == nullptr || m_indexDirty)) {
        buildSpatialIndex();
    }
}

// Queries

QList<GisShape*> GisLayerVector::query(const GisExtent& extent) {
    if (extent.isEmpty()) {
        return {};
    }
    if (!m_useSpatialIndex) {
        return queryLinear(rawShapes(), extent);
    }
    ensureSpatialIndex();
    return m_index->search(extent);
}

std::unique_ptr<GisFeatureReader> GisLayerVector::read(const GisFeatureRequest& request) {
    return std::make_unique<GisFeatureReader>(std::make_unique<Internal::LayerFeatures>(*this), request);
}

GisShape* GisLayerVector::findShapeAt(const GisShapePoint& point, double tolerance) {
    QList<GisShape*> candidates;
    if (m_useSpatialIndex) {
        ensureSpatialIndex();
        candidates = m_index->search(GisExtent(point.x() - tolerance, point.y() - tolerance,
                                               point.x() + tolerance, point.y() + tolerance));
    } else {
        candidates = rawShapes();
    }
    // An index answers in its own order; ids are positions, and the last shape is the topmost.
    std::sort(candidates.begin(), candidates.end(),
              [](const GisShape* a, const GisShape* b) { return a->id() < b->id(); });
    return topmostAt(candidates, point, tolerance);
}

GisShape* GisLayerVector::topmostAt(const QList<GisShape*>& shapes, const GisShapePoint& point,
                                    double tolerance) {
    for (auto it = shapes.crbegin(); it != shapes.crend(); ++it) {
        GisShape* const shape = *it;
        if (shape->extent().inflate(tolerance, tolerance).contains(point) &&
            shape->contains(point, tolerance)) {
            return shape;
        }
    }
    return nullptr;
}

QList<GisShape*> GisLayerVector::queryLod(const GisExtent& extent, int level) {
    if (extent.isEmpty()) {
        return {};
    }
    if (level < 1) {
        return query(extent);
    }
    if (level > 1) {
        return queryOverviewPoints(extent);
    }
    ensureLodCache();
    return m_simplified->query(extent);
}

QList<GisShape*> GisLayerVector::queryOverviewPoints(const GisExtent& extent) {
    if (extent.isEmpty()) {
        return {};
    }
    ensureLodCache();
    return m_overview->query(extent);
}

QList<GisShape*> GisLayerVector::LodLevel::query(const GisExtent& extent) const {
    return index != nullptr ? index->search(extent) : queryLinear(pointersTo(shapes), extent);
}

// Stand-ins for small scales

std::unique_ptr<GisShapePoint> GisLayerVector::getOverviewPoint(const GisShape& shape) {
    GisShapePoint place;
    if (const auto* point = dynamic_cast<const GisShapePoint*>(&shape)) {
        place = *point;
    } else if (const auto* polygon = dynamic_cast<const Shapes::GisShapePolygon*>(&shape)) {
        place = polygon->labelPoint();
    }
    if (place.isEmpty()) {
        place = shape.extent().center();
    }
    auto result = std::make_unique<GisShapePoint>(place.x(), place.y());
    result->attributeSlot() = shape.attributeSlot();
    return result;
}

std::unique_ptr<GisShape> GisLayerVector::simplifiedStandIn(const GisShape& shape) {
    constexpr double tolerance = 0.8; // layer units, whatever they are
    std::unique_ptr<GisShape> standIn = shape.simplify(tolerance);
    if (standIn == nullptr) {
        standIn = shape.clone(); // points do not simplify at all
    }
    if (standIn != nullptr) {
        standIn->setId(shape.id());
    }
    return standIn;
}

void GisLayerVector::clearLodCache() {
    m_simplified.reset();
    m_overview.reset();
}

void GisLayerVector::ensureLodCache() {
    buildLodCache();
}

void GisLayerVector::buildLodCache() {
    if (m_simplified != nullptr && m_overview != nullptr) {
        return;
    }
    auto simplified = std::make_unique<LodLevel>();
    auto overview = std::make_unique<LodLevel>();
    simplified->shapes.reserve(m_shapes.size());
    overview->shapes.reserve(m_shapes.size());
    for (const auto& shape : m_shapes) {
        if (shape == nullptr) {
            continue;
        }
        if (auto standIn = simplifiedStandIn(*shape)) {
            simplified->shapes.push_back(std::move(standIn));
        }
        overview->shapes.push_back(getOverviewPoint(*shape));
        overview->shapes.back()->setId(shape->id());
    }
    if (m_useSpatialIndex) {
        for (LodLevel* level : {simplified.get(), overview.get()}) {
            level->index = createSpatialIndex();
            level->index->build(pointersTo(level->shapes));
        }
    }
    m_simplified = std::move(simplified);
    m_overview = std::move(overview);
}

} // namespace Cartolith::Core::Layers
