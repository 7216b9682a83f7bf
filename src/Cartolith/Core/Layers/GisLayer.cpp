#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Layers/GisLayer.h>
#include <Cartolith/Core/Layers/ListenerListInternal.h>
#include <Cartolith/Core/Layers/ScaleBoundInternal.h>
#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>

#include <atomic>
#include <utility>

namespace Cartolith::Core::Layers {

namespace {

/// Whether two systems say the same; not whether PROJ takes them for equivalent, which costs milliseconds.
bool isSame(const CoordinateSystems::CoordinateSystem* a, const CoordinateSystems::CoordinateSystem* b) {
    return a == b || (a != nullptr && b != nullptr && a->epsgCode() == b->epsgCode() &&
                      a->name() == b->name() && a->definition() == b->definition());
}

std::atomic<quint64> lastNumber = 0;

} // namespace

GisLayer::GisLayer(const QString& name) : m_name(name), m_number(++lastNumber) {
    m_style.m_owner = this;
}

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

template <typename Value>
void GisLayer::set(Value& member, const Value& value, GisLayerChange change) {
    if (member != value) {
        member = value;
        noteChange(change);
    }
}

void GisLayer::setName(const QString& name) {
    set(m_name, name, GisLayerChange::Name);
}

void GisLayer::setVisible(bool visible) noexcept {
    set(m_visible, visible, GisLayerChange::Visibility);
}

void GisLayer::setMinVisibleScale(double scale) noexcept {
    set(m_minVisibleScale, Internal::scaleBound(scale), GisLayerChange::Visibility);
}

void GisLayer::setMaxVisibleScale(double scale) noexcept {
    set(m_maxVisibleScale, Internal::scaleBound(scale), GisLayerChange::Visibility);
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
    noteChange(GisLayerChange::Content);
}

GisLayerSubscription GisLayer::onChanged(std::function<void(GisLayerChanges)> listener) {
    if (m_listeners == nullptr) {
        m_listeners = std::make_shared<Internal::ListenerList>();
    }
    return {m_listeners, m_listeners->add(std::move(listener))};
}

GisLayerSubscription GisLayer::onContentChanged(std::function<void()> listener) {
    return onChanged([listener = std::move(listener)](GisLayerChanges changes) {
        if (listener && changes.testFlag(GisLayerChange::Content)) {
            listener();
        }
    });
}

void GisLayer::noteChange(GisLayerChanges changes) noexcept {
    m_lookRevision += changes.testFlag(GisLayerChange::Look) ? 1U : 0U;
    m_changes |= changes;
    tellListeners();
}

void GisLayer::tellListeners() noexcept {
    if (m_waiting > 0) {
        return;
    }
    ++m_waiting;
    while (m_changes != GisLayerChanges()) {
        const GisLayerChanges changes = std::exchange(m_changes, {});
        if (m_listeners != nullptr) {
            m_listeners->call(changes);
        }
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
    const bool isOther = renderer != m_symbolRenderer;
    m_symbolRenderer = std::move(renderer);
    if (isOther) {
        markLookChanged();
    }
}

void GisLayer::clearSymbolRenderer() {
    setSymbolRenderer(nullptr);
}

void GisLayer::setCoordinateSystem(std::shared_ptr<CoordinateSystems::CoordinateSystem> system) {
    const bool isOther = !isSame(m_coordinateSystem.get(), system.get());
    m_coordinateSystem = std::move(system);
    if (isOther) {
        noteChange(GisLayerChange::System);
    }
}

} // namespace Cartolith::Core::Layers
