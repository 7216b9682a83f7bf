#include <Cartolith/Core/Layers/GisLayer.h>
#include <Cartolith/Core/Layers/ListenerListInternal.h>
#include <Cartolith/Core/Layers/ScaleBoundInternal.h>
#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>

#include <utility>

namespace Cartolith::Core::Layers {

GisLayer::GisLayer(const QString& name) : m_name(name) {}

GisLayer::~GisLayer() = default;

bool GisLayer::canEdit() const {
    return false;
}

const Providers::GisLayerProvider* GisLayer::layerProvider() const {
    return nullptr;
}

Providers::GisLayerProvider* GisLayer::layerProvider() {
    return nullptr;
}

bool GisLayer::beginEditCore() {
    return true;
}

bool GisLayer::commitEditCore() {
    return true;
}

bool GisLayer::rollbackEditCore() {
    return true;
}

void GisLayer::setMinVisibleScale(double scale) noexcept {
    m_minVisibleScale = Internal::scaleBound(scale);
}

void GisLayer::setMaxVisibleScale(double scale) noexcept {
    m_maxVisibleScale = Internal::scaleBound(scale);
}

bool GisLayer::hasVisibleScaleRange() const noexcept {
    return m_minVisibleScale > 0.0 || m_maxVisibleScale > 0.0;
}

bool GisLayer::isVisibleAtScale(double scale) const noexcept {
    if (!m_visible) {
        return false;
    }
    if (Internal::scaleBound(scale) == 0.0) {
        return true;
    }
    return (m_minVisibleScale == 0.0 || scale >= m_minVisibleScale) &&
           (m_maxVisibleScale == 0.0 || scale <= m_maxVisibleScale);
}

void GisLayer::setIsOpen(bool open) noexcept {
    m_open = open;
    if (!open) {
        m_editing = false;
        m_dirty = false;
    }
}

void GisLayer::markContentDirty() noexcept {
    ++m_contentRevision;
    if (m_editing) {
        m_dirty = true;
    }
    m_changed = true;
    tellListeners();
}

GisLayerSubscription GisLayer::onContentChanged(std::function<void()> listener) {
    if (m_listeners == nullptr) {
        m_listeners = std::make_shared<Internal::ListenerList>();
    }
    return {m_listeners, m_listeners->add(std::move(listener))};
}

void GisLayer::tellListeners() noexcept {
    if (m_waiting > 0) {
        return;
    }
    ++m_waiting;
    while (std::exchange(m_changed, false) && m_listeners != nullptr) {
        m_listeners->call();
    }
    --m_waiting;
}

GisLayer::ChangeGroup::ChangeGroup(GisLayer& layer) noexcept : m_layer(layer) {
    ++m_layer.m_waiting;
}

GisLayer::ChangeGroup::~ChangeGroup() {
    --m_layer.m_waiting;
    m_layer.tellListeners();
}

bool GisLayer::beginEdit() {
    if (m_editing || !canEdit() || !beginEditCore()) {
        return false;
    }
    m_editing = true;
    m_dirty = false;
    return true;
}

bool GisLayer::commitEdit() {
    const ChangeGroup group(*this);
    return m_editing && endEdit(commitEditCore());
}

bool GisLayer::rollbackEdit() {
    const ChangeGroup group(*this);
    return m_editing && endEdit(rollbackEditCore());
}

bool GisLayer::endEdit(bool accepted) noexcept {
    if (accepted) {
        m_editing = false;
        m_dirty = false;
    }
    return accepted;
}

void GisLayer::setSymbolRenderer(std::unique_ptr<Symbology::GisSymbolRenderer> renderer) {
    m_symbolRenderer = std::move(renderer);
}

void GisLayer::clearSymbolRenderer() {
    m_symbolRenderer.reset();
}

void GisLayer::setCoordinateSystem(std::shared_ptr<CoordinateSystems::CoordinateSystem> system) {
    m_coordinateSystem = std::move(system);
}

} // namespace Cartolith::Core::Layers
