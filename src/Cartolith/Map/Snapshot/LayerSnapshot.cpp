#include <Cartolith/Core/Layers/GisLayer.h>
#include <Cartolith/Map/LayerSnapshot.h>
#include <Cartolith/Map/Snapshot/BendingInternal.h>

#include <limits>
#include <utility>

using namespace Cartolith::Core;

namespace Cartolith::Map {

LayerSnapshot::LayerSnapshot() {
    static const auto nothing = std::make_shared<const Data>();
    m_data = nothing;
}

bool LayerSnapshot::isOf(const Layers::GisLayer& layer, const MapView& view,
                         const std::shared_ptr<CoordinateSystems::CoordinateSystem>& mapSystem) const {
    const Internal::Bending bending{m_data->tolerance, m_data->surroundings, m_data->toleranceThere};
    return m_data->layer == layer.number() && m_data->revision == layer.contentRevision() &&
           m_data->look == layer.lookRevision() && m_data->layerSystem == layer.coordinateSystem() &&
           m_data->mapSystem == mapSystem && (!m_data->isOfView || m_data->view == view) &&
           bending.isFineEnough(view);
}

qint64 LayerSnapshot::bytes() const {
    const auto bytesOf = [](const auto& list) { return list.capacity() * sizeof(list[0]); };
    std::size_t texts = 0;
    for (const QString& text : m_data->labelTexts) {
        texts += static_cast<std::size_t>(text.size()) * sizeof(QChar);
    }
    return static_cast<qint64>(bytesOf(m_data->features) + bytesOf(m_data->coordinates) +
                               bytesOf(m_data->partEnds) + bytesOf(m_data->boxes) +
                               bytesOf(m_data->labelTexts) + bytesOf(m_data->labelPriorities) + texts) +
           m_data->picture.sizeInBytes();
}

LayerSnapshot::Box LayerSnapshot::box(qsizetype i) const {
    if (m_data->boxes.empty()) {
        const auto place = coordinates(i);
        return {place[0], place[1], place[0], place[1]};
    }
    return m_data->boxes[static_cast<std::size_t>(i)];
}

bool LayerSnapshot::meets(qsizetype i, const Shapes::GisExtent& extent) const {
    const Box shape = box(i);
    return shape.left <= extent.xMax() && shape.right >= extent.xMin() && shape.bottom <= extent.yMax() &&
           shape.top >= extent.yMin();
}

double LayerSnapshot::labelPriority(qsizetype i) const {
    return m_data->labelPriorities.empty() ? std::numeric_limits<double>::quiet_NaN()
                                           : m_data->labelPriorities[static_cast<std::size_t>(i)];
}

} // namespace Cartolith::Map
