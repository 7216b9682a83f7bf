#include <Cartolith/Core/Topology/GeosInternal.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

#include <atomic>
#include <exception>

namespace Cartolith::Core::Topology::Internal {

namespace {

thread_local GeosInterrupt* current = nullptr;
std::atomic<GEOSInterruptCallback*> previousHook = nullptr; // other threads may be in GEOS when it is set

/// Unwinds GEOS, which turns every exception into a failed operation.
struct Unwind {};

} // namespace

GeosInterrupt::GeosInterrupt(const GisTopology& topology) : m_topology(topology), m_outer(current) {
    static const bool isHooked = [] {
        previousHook = GEOS_interruptRegisterCallback(onCheck);
        return true;
    }();
    (void)isHooked;
    current = this;
}

GeosInterrupt::~GeosInterrupt() {
    current = m_outer;
}

void GeosInterrupt::onCheck() {
    if (GEOSInterruptCallback* const previous = previousHook) {
        previous();
    }
    if (current != nullptr) {
        current->ask();
    }
}

void GeosInterrupt::check() const {
    if (m_exception != nullptr) {
        std::rethrow_exception(m_exception);
    }
    if (m_wasStopped) {
        throw Stopped();
    }
}

void GeosInterrupt::ask() {
    constexpr int checksPerReport = 16; // a large buffer has but a few thousand checks
    if (m_wasStopped || ++m_checks < checksPerReport) {
        return;
    }
    m_checks = 0;
    try {
        ++m_reports;
        m_wasStopped = !m_topology.reportBusy(m_reports, m_reports + 1); // what remains is not known
    } catch (...) {
        m_exception = std::current_exception();
        m_wasStopped = true;
    }
    if (m_wasStopped) {
        throw Unwind();
    }
}

} // namespace Cartolith::Core::Topology::Internal
