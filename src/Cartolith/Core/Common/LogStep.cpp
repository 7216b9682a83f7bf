#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/Common/Logger.h>

#include <exception>

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
        if (std::uncaught_exceptions() > m_exceptions) {
            set("failed", 1);
        }
        Logger::write(m_entry);
    }
}

} // namespace Cartolith::Core::Common::Internal
