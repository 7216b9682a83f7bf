#include <Cartolith/Core/Layers/GisLayer.h>
#include <Cartolith/Map/LayerSnapshot.h>

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
    return m_data->layer == &layer && m_data->revision == layer.contentRevision() &&
           m_data->renderer == layer.symbolRenderer() && m_data->layerStyle == layer.style() &&
           m_data->layerSystem == layer.coordinateSystem() && m_data->mapSystem == mapSystem &&
           (!m_data->isOfView || m_data->view == view);
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

bool LayerSnapshot::meets(qsizetype i, const Shapes::GisExtent& extent) const {
    const auto isIn = [&extent](double left, double bottom, double right, double top) {
        return left <= extent.xMax() && right >= extent.xMin() && bottom <= extent.yMax() &&
               top >= extent.yMin();
    };
    if (m_data->boxes.empty()) {
        const auto place = coordinates(i);
        return isIn(place[0], place[1], place[0], place[1]);
    }
    const Box& box = m_data->boxes[static_cast<std::size_t>(i)];
    return isIn(box.left, box.bottom, box.right, box.top);
}

double LayerSnapshot::labelPriority(qsizetype i) const {
    return m_data->labelPriorities.empty() ? std::numeric_limits<double>::quiet_NaN()
                                           : m_data->labelPriorities[static_cast<std::size_t>(i)];
}

} // namespace Cartolith::Map
