#pragma once

#include <Cartolith/Core/Export.h>

#include <QtGlobal>

#include <memory>

namespace Cartolith::Core::Layers {

namespace Internal {
class ListenerList;
}

/// Keeps a listener of GisLayer::onChanged() or onContentChanged() connected: it is called as long as this
/// lives. May outlive the layer. Moved like a pointer; what was moved from holds nothing.
class CARTOLITH_CORE_EXPORT GisLayerSubscription {
public:
    /// Holds nothing.
    GisLayerSubscription() noexcept;
    GisLayerSubscription(const std::shared_ptr<Internal::ListenerList>& list, quint64 listener);
    GisLayerSubscription(GisLayerSubscription&& other) noexcept;
    GisLayerSubscription& operator=(GisLayerSubscription&& other) noexcept;
    ~GisLayerSubscription();

    /// The listener is not called again, also when this happens within a call. Does nothing the second time.
    void cancel() noexcept;

private:
    std::weak_ptr<Internal::ListenerList> m_list;
    quint64 m_listener = 0;
};

} // namespace Cartolith::Core::Layers
