#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>

#include <atomic>
#include <mutex>

namespace Cartolith::Core::Layers {

/// What cancel(), on another thread, shares with a reading: the source is there while one is under way.
class GisLayerOgrOnDemand::Sync {
public:
    void begin() {
        const std::lock_guard lock(m_mutex);
        m_isReading = true;
        m_isCancelled = false;
    }
    void end() {
        const std::lock_guard lock(m_mutex);
        m_isReading = false;
    }
    bool isCancelled() const { return m_isCancelled; }
    template <typename Function>
    void cancel(const Function& interrupt) {
        const std::lock_guard lock(m_mutex);
        if (m_isReading) {
            m_isCancelled = true;
            const Common::Internal::GdalErrorCapture errors; // of drivers that cannot be interrupted
            interrupt();
        }
    }

private:
    std::mutex m_mutex;
    bool m_isReading = false;
    std::atomic<bool> m_isCancelled = false;
};

} // namespace Cartolith::Core::Layers
