#include <Cartolith/Core/Spatial/RTreeOrderInternal.h>
#include <Cartolith/Core/Topology/GeosInternal.h>
#include <Cartolith/Core/Topology/GeosOverlayInternal.h>
#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/ShapeCheckInternal.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Cartolith::Core::Topology {

using Common::Internal::GeometryPtr;
using Shapes::GisExtent;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;

namespace {

/// Neighbours in a batch have common edges that vanish early; a batch ends at so many vertices, so that the
/// busy callback is asked often enough.
constexpr qsizetype verticesOfBatch = 4096;
constexpr std::size_t batchesAtOnce = 4;

/// Along a Hilbert curve through the centres.
void sortBySpace(std::vector<const GisShape*>& shapes) {
    GisExtent all;
    for (const GisShape* shape : shapes) {
        all = all.expand(shape->extent());
    }
    std::vector<std::pair<quint32, const GisShape*>> keyed;
    keyed.reserve(shapes.size());
    for (const GisShape* shape : shapes) {
        const GisShapePoint centre = shape->extent().center();
        keyed.emplace_back(
            Spatial::RTree::hilbertKey(Spatial::RTree::gridCoordinate(centre.x(), all.xMin(), all.xMax()),
                                       Spatial::RTree::gridCoordinate(centre.y(), all.yMin(), all.yMax())),
            shape);
    }
    std::stable_sort(keyed.begin(), keyed.end(),
                     [](const auto& p, const auto& q) { return p.first < q.first; });
    std::transform(keyed.begin(), keyed.end(), shapes.begin(),
                   [](const auto& entry) { return entry.second; });
}

std::vector<std::vector<const GisShape*>> batchesOf(const std::vector<const GisShape*>& shapes) {
    std::vector<std::vector<const GisShape*>> batches;
    qsizetype vertices = verticesOfBatch;
    for (const GisShape* shape : shapes) {
        if (vertices >= verticesOfBatch) {
            batches.emplace_back();
            vertices = 0;
        }
        for (const auto& part : static_cast<const GisShapePolygon*>(shape)->parts()) {
            vertices += part.size();
        }
        batches.back().push_back(shape);
    }
    return batches;
}

int countOfUnions(std::size_t batches) {
    std::size_t count = batches;
    while (batches > 1) {
        batches = (batches + batchesAtOnce - 1) / batchesAtOnce;
        count += batches;
    }
    return static_cast<int>(count);
}

} // namespace

std::unique_ptr<GisShape> GisTopology::CascadedUnion(const QList<const GisShape*>& shapes) const {
    std::vector<const GisShape*> polygons;
    for (const GisShape* shape : shapes) {
        if (shape != nullptr && dynamic_cast<const GisShapePolygon*>(shape) == nullptr) {
            throw std::invalid_argument("CascadedUnion takes polygons only.");
        }
        if (shape != nullptr) {
            polygons.push_back(shape);
        }
    }
    auto result = std::make_unique<GisShapePolygon>();
    if (polygons.empty()) {
        return result;
    }
    result->attributeSlot() = polygons.front()->attributeSlot();
    result->setId(polygons.front()->id());

    if (!Internal::unlessStopped([&] {
            sortBySpace(polygons);
            const auto batches = batchesOf(polygons);
            const int total = countOfUnions(batches.size());
            int done = 0;
            GisTopology asking(*this); // GEOS asks too, and knows nothing of batches
            asking.SetBusyCallback([this, &done, total](int, int) { return reportBusy(done - 1, total); });
            const Internal::GeosInterrupt interrupt(asking);
            std::vector<GeometryPtr> level;
            for (const auto& batch : batches) {
                if (!reportBusy(done++, total)) {
                    throw Internal::Stopped();
                }
                std::vector<GeometryPtr> members;
                for (const GisShape* shape : batch) {
                    const GisShapeFix fix =
                        m_forceShapeFixing ? Internal::fixedShape(*shape, *this, Internal::overlayFailing)
                                           : GisShapeFix();
                    members.push_back(Internal::operandOf(fix.shape == nullptr ? *shape : *fix.shape));
                }
                level.push_back(Internal::geosUnion(std::move(members), interrupt));
            }
            while (level.size() > 1) {
                std::vector<GeometryPtr> next;
                for (std::size_t i = 0; i < level.size(); i += batchesAtOnce) {
                    if (!reportBusy(done++, total)) {
                        throw Internal::Stopped();
                    }
                    const std::size_t end = std::min(i + batchesAtOnce, level.size());
                    std::vector<GeometryPtr> members;
                    std::move(level.begin() + static_cast<std::ptrdiff_t>(i),
                              level.begin() + static_cast<std::ptrdiff_t>(end), std::back_inserter(members));
                    next.push_back(Internal::geosUnion(std::move(members), interrupt));
                }
                level = std::move(next);
            }
            if (const auto shape = Internal::overlayShapeOf(std::move(level.front()), true)) {
                result->parts() = std::move(static_cast<GisShapePolygon&>(*shape).parts());
            }
            return true;
        })) {
        return nullptr;
    }
    return result;
}

} // namespace Cartolith::Core::Topology
