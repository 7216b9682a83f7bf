#pragma once

#include <QtGlobal>

#include <string_view>
#include <vector>

namespace Cartolith::Core::Common::Internal {

/// Tells the processes apart that wrote into one log, one after the other or side by side: in each the
/// sequence starts at 1 and ascends.
///
/// A record goes on with the process that wrote last on its thread and to whose sequence it is the next, or
/// comes later when none is lost; on a new thread, with the process that is at the number before. Everything
/// else is a new process. Forks that go on logging without an exec count as one or as several. Of processes
/// that write side by side at most 64 are followed.
class LogProcesses {
public:
    /// The number of the process, from 1. `sequence` is below 0 when the record has none; it then goes with
    /// the record before.
    quint32 processOf(qint64 sequence, std::string_view thread);

private:
    struct Process {
        quint32 number;
        qint64 last;
        std::vector<std::size_t> threads; ///< hashes
    };

    std::vector<Process> m_processes; ///< the one that wrote last at the end
    quint32 m_count = 0;
};

} // namespace Cartolith::Core::Common::Internal
