#include <Cartolith/Core/Layers/GisLayerSubscription.h>
#include <Cartolith/Core/Layers/ListenerListInternal.h>

#include <utility>

namespace Cartolith::Core::Layers {

GisLayerSubscription::GisLayerSubscription() noexcept = default;

GisLayerSubscription::GisLayerSubscription(const std::shared_ptr<Internal::ListenerList>& list,
                                           quint64 listener)
    : m_list(list), m_listener(listener) {}

GisLayerSubscription::GisLayerSubscription(GisLayerSubscription&& other) noexcept = default;

GisLayerSubscription& GisLayerSubscription::operator=(GisLayerSubscription&& other) noexcept {
    if (this != &other) {
        cancel();
        m_list = std::exchange(other.m_list, {});
        m_listener = other.m_listener;
    }
    return *this;
}

GisLayerSubscription::~GisLayerSubscription() {
    cancel();
}

void GisLayerSubscription::cancel() noexcept {
    if (const auto list = std::exchange(m_list, {}).lock()) { // this may go with what the listener held
        list->remove(m_listener);
    }
}

} // namespace Cartolith::Core::Layers
