#include <Cartolith/Core/Common/LogProcessesInternal.h>

#include <algorithm>
#include <functional>

namespace Cartolith::Core::Common::Internal {

quint32 LogProcesses::processOf(qint64 sequence, std::string_view thread) {
    constexpr std::size_t mostProcesses = 64;
    constexpr std::size_t mostThreads = 256;
    if (sequence < 0 && !m_processes.empty()) {
        return m_processes.back().number;
    }
    const std::size_t hash = std::hash<std::string_view>()(thread);
    const auto knows = [hash](const Process& process) {
        return std::find(process.threads.begin(), process.threads.end(), hash) != process.threads.end();
    };
    // The latest of the best kind.
    auto found = m_processes.end();
    int best = 0;
    for (auto process = m_processes.end(); sequence > 1 && best < 3 && process != m_processes.begin();) {
        --process;
        if (process->last < sequence) {
            const bool isNext = process->last == sequence - 1;
            const int fit = knows(*process) ? (isNext ? 3 : 2) : (isNext ? 1 : 0);
            if (fit > best) {
                best = fit;
                found = process;
            }
        }
    }
    if (found == m_processes.end()) {
        if (m_processes.size() == mostProcesses) {
            m_processes.erase(m_processes.begin());
        }
        m_processes.push_back({++m_count, sequence, {hash}});
        return m_count;
    }
    std::rotate(found, found + 1, m_processes.end());
    Process& process = m_processes.back();
    process.last = sequence;
    if (best == 1) {
        if (process.threads.size() == mostThreads) {
            process.threads.erase(process.threads.begin());
        }
        process.threads.push_back(hash);
    }
    return process.number;
}

} // namespace Cartolith::Core::Common::Internal
