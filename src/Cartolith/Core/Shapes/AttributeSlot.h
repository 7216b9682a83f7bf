#pragma once

#include <Cartolith/Core/Export.h>

#include <QHash>
#include <QString>
#include <QVariant>

#include <atomic>
#include <utility>

namespace Cartolith::Core::Shapes {

namespace Internal {
class AttributeRow;
}

/// Where a shape keeps its attributes, in the room of one pointer: nothing, a row that it shares with its
/// copies, or a table of its own, which is made when somebody asks for one. Copies are cheap, and stay as
/// they are when this one is changed.
///
/// Const members may be called by several threads at once.
class CARTOLITH_CORE_EXPORT AttributeSlot {
public:
    using Table = QHash<QString, QVariant>;

    AttributeSlot() noexcept = default;
    AttributeSlot(const AttributeSlot& other) : m_held(other.isEmpty() ? 0 : other.copy()) {}
    AttributeSlot(AttributeSlot&& other) noexcept : m_held(other.take()) {}
    AttributeSlot& operator=(const AttributeSlot& other) {
        if (!isEmpty() || !other.isEmpty()) {
            *this = AttributeSlot(other);
        }
        return *this;
    }
    AttributeSlot& operator=(AttributeSlot&& other) noexcept {
        const quintptr taken = other.take();
        drop(take());
        m_held.store(taken, std::memory_order_relaxed);
        return *this;
    }
    ~AttributeSlot() { drop(m_held.load(std::memory_order_relaxed)); }

    /// Whether nothing was ever put in. (A table may be there that has no entries.)
    bool isEmpty() const noexcept { return m_held.load(std::memory_order_relaxed) == 0; }

    /// The first call makes the table, where there is a row; later ones and value() use it.
    const Table& table() const;
    Table& table();
    /// A table that is not kept here.
    Table copyOfTable() const;
    /// Invalid where there is none. Makes no table.
    QVariant value(const QString& name) const;

    void setRow(const Internal::AttributeRow& row);
    /// The row that this is, changed by nobody; a null one otherwise.
    Internal::AttributeRow row() const;

private:
    struct OwnTable;

    quintptr copy() const;
    quintptr take() noexcept {
        const quintptr held = m_held.load(std::memory_order_relaxed);
        m_held.store(0, std::memory_order_relaxed);
        return held;
    }
    static void drop(quintptr held) noexcept {
        if (held != 0) {
            destroy(held);
        }
    }
    static void destroy(quintptr held) noexcept;
    static OwnTable* tableOf(quintptr held) noexcept;

    // A reference to a row, which is even; the address of a table and 1; or 0. Const members only turn a row
    // into a table, which keeps the row, so that who was looking at it may go on.
    mutable std::atomic<quintptr> m_held = 0;
};

} // namespace Cartolith::Core::Shapes
