#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

/// Bytes that grow, at an address and padded with zeros to a size that are multiples of 64.
class ArrowBuffer {
public:
    static constexpr std::size_t alignment = 64;

    ArrowBuffer() noexcept = default;
    ArrowBuffer(ArrowBuffer&& other) noexcept
        : m_bytes(std::move(other.m_bytes)), m_size(std::exchange(other.m_size, 0)),
          m_room(std::exchange(other.m_room, 0)) {}
    ArrowBuffer& operator=(ArrowBuffer&& other) noexcept {
        m_bytes = std::move(other.m_bytes);
        m_size = std::exchange(other.m_size, 0);
        m_room = std::exchange(other.m_room, 0);
        return *this;
    }

    std::size_t size() const noexcept { return m_size; }

    void reserve(std::size_t bytes) {
        if (bytes <= m_room) {
            return;
        }
        const std::size_t room = (bytes + alignment - 1) / alignment * alignment;
        std::unique_ptr<char, Free> grown(static_cast<char*>(std::aligned_alloc(alignment, room)));
        if (grown == nullptr) {
            throw std::bad_alloc();
        }
        std::copy_n(m_bytes.get(), m_size, grown.get());
        m_bytes = std::move(grown);
        m_room = room;
    }

    /// The place of so many more bytes, which hold anything.
    char* extend(std::size_t bytes) {
        if (m_size + bytes > m_room) {
            reserve(std::max(m_size + bytes, 2 * m_room));
        }
        m_size += bytes;
        return m_bytes.get() + m_size - bytes;
    }

    template <typename Value>
    void append(Value value) {
        std::memcpy(extend(sizeof value), &value, sizeof value);
    }

    void shrink(std::size_t size) noexcept { m_size = size; }
    char* data() noexcept { return m_bytes.get(); }

    /// The padded bytes, never null. Nothing is added after.
    const void* finish() {
        reserve(std::max<std::size_t>(m_size, 1));
        const std::size_t padded = (m_size + alignment - 1) / alignment * alignment;
        std::fill(m_bytes.get() + m_size, m_bytes.get() + padded, '\0');
        return m_bytes.get();
    }

private:
    struct Free {
        void operator()(char* bytes) const noexcept { std::free(bytes); }
    };
    std::unique_ptr<char, Free> m_bytes;
    std::size_t m_size = 0;
    std::size_t m_room = 0;
};

/// A bit for each of a number of things.
class ArrowBits {
public:
    void append(bool bit) {
        if (m_count % 8 == 0) {
            m_bytes.append('\0');
        }
        if (bit) {
            char& byte = m_bytes.data()[m_count / 8];
            byte = static_cast<char>(static_cast<unsigned char>(byte) | 1U << (m_count % 8));
        }
        ++m_count;
    }
    std::size_t bytes() const noexcept { return m_bytes.size(); }
    ArrowBuffer take() noexcept {
        m_count = 0;
        return std::exchange(m_bytes, {});
    }

private:
    ArrowBuffer m_bytes;
    std::size_t m_count = 0;
};

} // namespace Cartolith::Core::Layers::Internal
