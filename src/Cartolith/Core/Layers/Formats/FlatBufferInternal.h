#pragma once

#include <QByteArrayView>
#include <QtEndian>
#include <QtGlobal>

#include <stdexcept>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// Tables of a flat buffer, whose fields are found through a list of offsets.
/// https://flatbuffers.dev/internals
/// \throws std::runtime_error where something points outside
class FlatBuffer {
public:
    explicit FlatBuffer(QByteArrayView bytes) : m_bytes(bytes) {}

    template <typename Value>
    Value at(qint64 place) const {
        return qFromLittleEndian<Value>(piece(place, sizeof(Value)).data());
    }
    QByteArrayView piece(qint64 place, qint64 size) const {
        if (place < 0 || size < 0 || place > m_bytes.size() || size > m_bytes.size() - place) {
            throw std::runtime_error("its rows are damaged");
        }
        return m_bytes.sliced(place, size);
    }
    /// Where what lies at a distance from here begins.
    qint64 follow(qint64 place) const { return place + at<quint32>(place); }
    /// The place of a field of a table; -1 when it has its default.
    qint64 field(qint64 table, int number) const {
        const qint64 offsets = table - at<qint32>(table);
        const int slot = 4 + 2 * number;
        const auto offset = slot + 2 <= at<quint16>(offsets) ? at<quint16>(offsets + slot) : quint16{0};
        return offset != 0 ? table + offset : -1;
    }
    qint64 size() const { return m_bytes.size(); }

private:
    QByteArrayView m_bytes;
};

/// The types of the columns that a FlatGeobuf header table has, by the numbers that they have there.
inline std::vector<quint8> flatGeobufColumnTypes(const FlatBuffer& buffer, qint64 table) {
    constexpr int columnsField = 7;
    constexpr int typeField = 1;
    std::vector<quint8> types;
    if (const qint64 field = buffer.field(table, columnsField); field >= 0) {
        const qint64 list = buffer.follow(field);
        const auto count = buffer.at<quint32>(list);
        for (qint64 i = 1; i <= qint64{count}; ++i) {
            const qint64 type = buffer.field(buffer.follow(list + 4 * i), typeField);
            types.push_back(type >= 0 ? buffer.at<quint8>(type) : quint8{0});
        }
    }
    return types;
}

} // namespace Cartolith::Core::Layers::Internal
