#pragma once

#include <functional>
#include <utility>

namespace Cartolith::Map::Internal {

/// Asked now and then by what may take long. The host's function throws to end it; without one, nothing is
/// asked.
class Watch {
public:
    Watch() = default;
    explicit Watch(std::function<void()> look) : m_look(std::move(look)) {}

    void operator()() const {
        if (m_look) {
            m_look();
        }
    }
    /// One time in so many, by a number that counts up.
    template <typename Number>
    void every(Number times, Number number) const {
        if (number % times == times - 1) {
            (*this)();
        }
    }

    const std::function<void()>& function() const { return m_look; }

private:
    std::function<void()> m_look;
};

} // namespace Cartolith::Map::Internal
