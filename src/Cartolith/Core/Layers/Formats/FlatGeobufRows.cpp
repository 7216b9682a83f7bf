#include <Cartolith/Core/Layers/Formats/FlatBufferInternal.h>
#include <Cartolith/Core/Layers/Formats/FlatGeobufHeaderInternal.h>
#include <Cartolith/Core/Layers/Formats/FlatGeobufRowsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>

#include <QDateTime>
#include <QFile>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <map>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

namespace {

[[noreturn]] void refuseRows(const QString& reason) {
    throw std::runtime_error(reason.toStdString());
}

constexpr quint8 dateTimeType = 13;

using RowValues = std::map<int, QByteArrayView>; ///< by column

class RowReader {
public:
    explicit RowReader(QByteArrayView file) : m_bytes(file) {
        constexpr qint64 headerAt = 12;
        constexpr int countField = 8;
        constexpr int nodeField = 9;
        const qint64 table = m_bytes.follow(headerAt);
        types = flatGeobufColumnTypes(m_bytes, table);
        m_at = headerAt + m_bytes.at<quint32>(headerAt - 4);
        const qint64 countAt = m_bytes.field(table, countField);
        const qint64 nodeAt = m_bytes.field(table, nodeField);
        const quint64 features = countAt >= 0 ? m_bytes.at<quint64>(countAt) : 0;
        constexpr quint16 usual = 16;
        const auto perNode = nodeAt >= 0 ? m_bytes.at<quint16>(nodeAt) : usual;
        constexpr quint64 most = quint64{1} << 40U;
        if (perNode > 1 && features > 0 &&
            features < most) { // an index comes first, levels from the leaves up
            constexpr qint64 nodeSize = 40;
            quint64 nodes = features;
            quint64 all = features;
            do {
                nodes = (nodes + perNode - 1) / perNode;
                all += nodes;
            } while (nodes != 1);
            m_at += static_cast<qint64>(all) * nodeSize;
        }
    }

    std::vector<quint8> types;

    RowValues next() {
        const qint64 start = m_at + 4;
        const FlatBuffer row(m_bytes.piece(start, m_bytes.at<quint32>(m_at)));
        m_at = start + row.size();
        constexpr int propertiesField = 1;
        const qint64 field = row.field(row.follow(0), propertiesField);
        RowValues values;
        if (field < 0) {
            return values;
        }
        const qint64 list = row.follow(field);
        const FlatBuffer properties(row.piece(list + 4, row.at<quint32>(list)));
        for (qint64 at = 0; at < properties.size();) {
            const auto column = properties.at<quint16>(at);
            if (column >= types.size()) {
                refuseRows(QStringLiteral("its rows are damaged"));
            }
            at += 2;
            // Of a fixed size, or behind their size.
            constexpr std::array<qint64, 11> sizes{1, 1, 1, 2, 2, 4, 4, 8, 8, 4, 8};
            const quint8 type = types[column];
            const bool isFixed = type < sizes.size();
            const qint64 size = isFixed ? sizes.at(type) : qint64{properties.at<quint32>(at)};
            at += isFixed ? 0 : 4;
            values[column] = properties.piece(at, size);
            at += size;
            if (size == 0 && type == dateTimeType) {
                values.erase(column); // as if it were not there
            }
        }
        return values;
    }

private:
    FlatBuffer m_bytes;
    qint64 m_at = 0;
};

/// Whether a date and time, as it was, has no more digits than the other one.
bool isSameMoment(QByteArrayView before, QByteArrayView after) {
    const auto momentOf = [](QByteArrayView text) {
        return QDateTime::fromString(QString::fromUtf8(text), Qt::ISODateWithMs);
    };
    const qsizetype point = before.indexOf('.');
    qsizetype digits = 0;
    for (qsizetype at = point + 1; point >= 0 && at < before.size() && before[at] >= '0' && before[at] <= '9';
         ++at) {
        digits = before[at] != '0' ? at - point : digits;
    }
    constexpr qsizetype milliseconds = 3;
    const QDateTime one = momentOf(before);
    return digits <= milliseconds && one.isValid() && areSame(one, momentOf(after));
}

} // namespace

FlatGeobufRows::FlatGeobufRows(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        refuseRows(file.errorString());
    }
    m_file = file.readAll();
}

QByteArray FlatGeobufRows::restored(QByteArrayView written, const QStringList& columns) const {
    requireKept(written, columns);
    return withFlatGeobufHeader(m_file, written);
}

void FlatGeobufRows::requireKept(QByteArrayView written, const QStringList& columns) const {
    RowReader before(m_file);
    RowReader after(written);
    for (int i = 0; i < columns.size(); ++i) {
        const auto column = static_cast<std::size_t>(i);
        if (column >= before.types.size() || column >= after.types.size() ||
            before.types[column] != after.types[column]) {
            refuseRows(
                QStringLiteral("the field '%1' is of a type that GDAL writes as another").arg(columns[i]));
        }
    }
    qint64 row = 0;
    for (const Kept& kept : m_kept) {
        for (; row < kept.row; ++row) {
            before.next();
        }
        const RowValues old = before.next();
        const RowValues now = after.next();
        ++row;
        for (int i = 0; i < columns.size(); ++i) {
            const auto one = old.find(i);
            const auto other = now.find(i);
            const bool isThere = one != old.end() && other != now.end();
            const bool isSame = isThere ? one->second == other->second ||
                                              (before.types[static_cast<std::size_t>(i)] == dateTimeType &&
                                               isSameMoment(one->second, other->second))
                                        : one == old.end() && other == now.end();
            if (!isSame && !kept.changedColumns.contains(i)) {
                refuseRows(QStringLiteral("feature %1: the value of the field '%2' would become another one")
                               .arg(kept.row)
                               .arg(columns[i]));
            }
        }
    }
}

} // namespace Cartolith::Core::Layers::Internal
