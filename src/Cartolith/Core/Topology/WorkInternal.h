#pragma once

#include <Cartolith/Core/Topology/GisTopology.h>

#include <QtGlobal>

namespace Cartolith::Core::Topology::Internal {

/// Thrown through the searches when the busy callback asks to stop; never leaves the library.
struct Stopped {};

/// Counts elementary tests and calls the busy callback once for every 2^20 of them, some milliseconds. The
/// callback gets (done, done + 1) in that unit, because what remains is not known.
class Work {
public:
    /// Null where nobody is to be asked.
    explicit Work(const GisTopology* topology) : m_topology(topology) {}

    /// \throws Stopped, or what the callback throws
    void add(qint64 tests) {
        m_tests += tests;
        if (m_tests >= interval) {
            report();
        }
    }

    int mostCrossings() const {
        return m_topology != nullptr ? m_topology->MostCrossings() : GisTopology().MostCrossings();
    }

private:
    static constexpr qint64 interval = qint64(1) << 20;

    void report() {
        m_tests = 0;
        ++m_done;
        if (m_topology != nullptr && !m_topology->reportBusy(m_done, m_done + 1)) {
            throw Stopped();
        }
    }

    const GisTopology* m_topology;
    qint64 m_tests = 0;
    int m_done = 0;
};

/// The answer, or the empty one if the work was stopped.
template <typename Question>
auto unlessStopped(Question question) -> decltype(question()) {
    try {
        return question();
    } catch (const Stopped&) {
        return {};
    }
}

} // namespace Cartolith::Core::Topology::Internal
