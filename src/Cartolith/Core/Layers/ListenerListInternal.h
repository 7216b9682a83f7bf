#pragma once

#include <Cartolith/Core/Layers/GisLayerChange.h>

#include <QtGlobal>

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// Functions to be called, in the order in which they came. They may add and remove each other and themselves
/// while they are called: one removed is not called any more, one added is from the next time on.
class ListenerList {
public:
    using Listener = std::function<void(GisLayerChanges)>;

    quint64 add(Listener listener) {
        m_entries.push_back({++m_last, std::make_shared<Listener>(std::move(listener))});
        return m_last;
    }

    void remove(quint64 listener) noexcept {
        const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                        [listener](const Entry& entry) { return entry.number == listener; });
        if (found != m_entries.end()) {
            const auto ended = std::move(found->function); // what it held may remove others as it goes
            m_entries.erase(found);
        }
    }

    /// What a listener throws is dropped.
    void call(GisLayerChanges changes) noexcept {
        const quint64 last = m_last;
        quint64 called = 0;
        for (;;) {
            const auto next = std::find_if(m_entries.begin(), m_entries.end(),
                                           [called](const Entry& entry) { return entry.number > called; });
            if (next == m_entries.end() || next->number > last) {
                return;
            }
            called = next->number;
            const auto running = next->function; // one that removes itself goes on living here
            try {
                if (*running) {
                    (*running)(changes);
                }
            } catch (...) { // the change has happened, and the others are to hear of it
            }
        }
    }

private:
    struct Entry {
        quint64 number;
        std::shared_ptr<Listener> function;
    };
    std::vector<Entry> m_entries; // by number
    quint64 m_last = 0;
};

} // namespace Cartolith::Core::Layers::Internal
