#include <Cartolith/Core/Shapes/AttributeRowInternal.h>
#include <Cartolith/Core/Shapes/AttributeSlot.h>

#include <memory>

namespace Cartolith::Core::Shapes {

using Internal::AttributeRow;

struct AttributeSlot::OwnTable {
    Table table;
    AttributeRow row; ///< that the table was made of; null once it may have been changed
};

namespace {

/// Looks at a reference that somebody else has.
class Borrowed {
public:
    explicit Borrowed(quintptr reference) noexcept : m_row(AttributeRow::adopt(reference)) {}
    ~Borrowed() { m_row.release(); }
    Borrowed(const Borrowed&) = delete;
    Borrowed& operator=(const Borrowed&) = delete;

    const AttributeRow* operator->() const noexcept { return &m_row; }
    const AttributeRow& operator*() const noexcept { return m_row; }

private:
    AttributeRow m_row;
};

} // namespace

AttributeSlot::OwnTable* AttributeSlot::tableOf(quintptr held) noexcept {
    return (held & 1U) != 0 ? reinterpret_cast<OwnTable*>(held - 1) : nullptr;
}

void AttributeSlot::destroy(quintptr held) noexcept {
    if ((held & 1U) != 0) {
        delete tableOf(held);
    } else {
        AttributeRow::adopt(held);
    }
}

quintptr AttributeSlot::copy() const {
    const quintptr held = m_held.load(std::memory_order_acquire);
    const OwnTable* const own = tableOf(held);
    if (own == nullptr) {
        return AttributeRow(*Borrowed(held)).release();
    }
    if (!own->row.isNull()) { // a copy makes its own table when it has to
        return AttributeRow(own->row).release();
    }
    return reinterpret_cast<quintptr>(new OwnTable(*own)) + 1;
}

const AttributeSlot::Table& AttributeSlot::table() const {
    static const Table none;
    quintptr held = m_held.load(std::memory_order_acquire);
    if (held == 0) {
        return none;
    }
    if (OwnTable* const own = tableOf(held)) {
        return own->table;
    }
    const Borrowed row(held);
    auto made = std::make_unique<OwnTable>(OwnTable{row->table(), {}});
    const quintptr place = reinterpret_cast<quintptr>(made.get()) + 1;
    made->row = AttributeRow::adopt(held);
    if (!m_held.compare_exchange_strong(held, place, std::memory_order_acq_rel)) {
        made->row.release();
        return tableOf(held)->table; // another thread was quicker
    }
    return made.release()->table;
}

AttributeSlot::Table& AttributeSlot::table() {
    if (isEmpty()) {
        m_held.store(reinterpret_cast<quintptr>(new OwnTable) + 1, std::memory_order_relaxed);
    }
    std::as_const(*this).table();
    OwnTable* const own = tableOf(m_held.load(std::memory_order_relaxed));
    own->row = {};
    return own->table;
}

AttributeSlot::Table AttributeSlot::copyOfTable() const {
    const quintptr held = m_held.load(std::memory_order_acquire);
    if (const OwnTable* const own = tableOf(held)) {
        return own->table;
    }
    return held == 0 ? Table() : Borrowed(held)->table();
}

QVariant AttributeSlot::value(const QString& name) const {
    const quintptr held = m_held.load(std::memory_order_acquire);
    if (const OwnTable* const own = tableOf(held)) {
        return own->table.value(name);
    }
    return held == 0 ? QVariant() : Borrowed(held)->value(name);
}

void AttributeSlot::setRow(const AttributeRow& row) {
    drop(take());
    m_held.store(AttributeRow(row).release(), std::memory_order_relaxed);
}

AttributeRow AttributeSlot::row() const {
    const quintptr held = m_held.load(std::memory_order_acquire);
    if (const OwnTable* const own = tableOf(held)) {
        return own->row;
    }
    return held == 0 ? AttributeRow() : *Borrowed(held);
}

} // namespace Cartolith::Core::Shapes
