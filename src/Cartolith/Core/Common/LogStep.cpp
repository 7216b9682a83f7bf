#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/Common/Logger.h>

#include <exception>
#include <new>

namespace Cartolith::Core::Common::Internal {

LogStep::LogStep(const char* channel, const char* event) : m_active(isLogVerbose()) {
    if (m_active) {
        m_entry.channel = QLatin1String(channel);
        m_entry.event = QLatin1String(event);
        m_exceptions = std::uncaught_exceptions();
        m_timer.start();
    }
}

LogStep::~LogStep() {
    if (m_active) {
        m_entry.elapsedMs = m_timer.elapsed();
        try {
            if (std::uncaught_exceptions() > m_exceptions) {
                set("failed", 1);
            }
            Logger::write(m_entry);
        } catch (const std::bad_alloc&) { // the step is what matters, not the report of it
        }
    }
}

} // namespace Cartolith::Core::Common::Internal
