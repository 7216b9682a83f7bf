#pragma once

#include <Cartolith/Core/Layers/GisFeatureReader.h>

#include <QDateTime>
#include <gtest/gtest.h>
#include <ogr_recordbatch.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <utility>

// A consumer of Arrow streams that looks at every byte of the buffers.
namespace test {

/// What the C interface has the consumer release.
template <typename Struct>
struct Released : Struct {
    Released() : Struct{} {}
    ~Released() { let(); }
    Released(const Released&) = delete;
    Released& operator=(const Released&) = delete;
    void let() {
        if (this->release != nullptr) {
            this->release(this);
            EXPECT_EQ(this->release, nullptr);
        }
    }
};

/// A column of a batch, while the two live.
class ArrowColumnView {
public:
    ArrowColumnView(const ArrowSchema& schema, const ArrowArray& array)
        : m_format(schema.format), m_schema(schema), m_array(array) {
        EXPECT_EQ(array.offset, 0);
        EXPECT_EQ(array.n_children, schema.n_children);
        const bool hasEnds = m_format == "u" || m_format == "z" || m_format == "+l";
        EXPECT_EQ(array.n_buffers, m_format == "+s" ? 1 : m_format == "u" || m_format == "z" ? 3 : 2);
        const std::size_t width = m_format == "g" || m_format == "l" || m_format.startsWith("ts") ? 8 : 4;
        const auto length = static_cast<std::size_t>(array.length);
        if (m_format != "+s") {
            isPadded(1, m_format == "b" ? (length + 7) / 8 : width * (length + (hasEnds ? 1 : 0)));
        }
        if (array.buffers[0] != nullptr) {
            isPadded(0, (length + 7) / 8);
        }
        qint64 nulls = 0;
        for (qint64 row = 0; row < array.length; ++row) {
            nulls += isThere(row) ? 0 : 1;
        }
        EXPECT_EQ(nulls, array.null_count);
        if (hasEnds) {
            EXPECT_EQ(value<qint32>(0), 0);
            EXPECT_TRUE(std::is_sorted(values<qint32>(), values<qint32>() + length + 1));
            const auto end = values<qint32>()[length];
            if (m_format == "+l") {
                EXPECT_EQ(end, array.children[0]->length);
            } else {
                isPadded(2, static_cast<std::size_t>(end));
            }
        }
        for (qint64 i = 0; i < schema.n_children; ++i) {
            m_children.emplace_back(*schema.children[i], *array.children[i]);
            if (m_format == "+s") {
                EXPECT_EQ(array.children[i]->length, array.length);
            }
        }
    }

    const std::vector<ArrowColumnView>& children() const { return m_children; }
    QString name() const { return m_schema.name; }
    qint64 length() const { return m_array.length; }
    const QByteArray& format() const { return m_format; }
    bool isThere(qint64 row) const { return m_array.buffers[0] == nullptr || bit(0, row); }

    QVariant variant(qint64 row) const {
        if (!isThere(row)) {
            return {};
        }
        const QDateTime epoch(QDate(1970, 1, 1), QTime(0, 0), Qt::UTC);
        if (m_format == "b") {
            return bit(1, row);
        } else if (m_format == "i") {
            return value<qint32>(row);
        } else if (m_format == "l") {
            return value<qlonglong>(row);
        } else if (m_format == "g") {
            return value<double>(row);
        } else if (m_format == "tdD") {
            return epoch.date().addDays(value<qint32>(row));
        } else if (m_format == "ttm") {
            return QTime::fromMSecsSinceStartOfDay(value<qint32>(row));
        } else if (m_format.startsWith("tsm:")) {
            const QDateTime moment = epoch.addMSecs(value<qint64>(row));
            return m_format == "tsm:UTC" ? moment : QDateTime(moment.date(), moment.time());
        } else if (m_format == "+l") {
            QVariantList list;
            for (qint32 at = value<qint32>(row); at < value<qint32>(row + 1); ++at) {
                list.append(m_children[0].variant(at));
            }
            return list;
        }
        const QByteArray bytes(static_cast<const char*>(m_array.buffers[2]) + value<qint32>(row),
                               value<qint32>(row + 1) - value<qint32>(row));
        EXPECT_TRUE(m_format == "z" || bytes.isValidUtf8());
        return m_format == "u" ? QVariant(QString::fromUtf8(bytes)) : QVariant(bytes);
    }

private:
    void isPadded(int buffer, std::size_t size) const {
        const auto* const bytes = static_cast<const char*>(m_array.buffers[buffer]);
        ASSERT_NE(bytes, nullptr);
        EXPECT_EQ(reinterpret_cast<quintptr>(bytes) % 64, 0U);
        EXPECT_TRUE(std::all_of(bytes + size, bytes + (size + 63) / 64 * 64, [](char byte) { return byte == 0; }));
    }
    bool bit(int buffer, qint64 row) const {
        return static_cast<const unsigned char*>(m_array.buffers[buffer])[row / 8] >> (row % 8) & 1U;
    }
    template <typename Value>
    const Value* values() const {
        return static_cast<const Value*>(m_array.buffers[1]);
    }
    template <typename Value>
    Value value(qint64 row) const {
        return values<Value>()[row];
    }

    QByteArray m_format;
    const ArrowSchema& m_schema;
    const ArrowArray& m_array;
    std::vector<ArrowColumnView> m_children;
};

/// Gives each batch as a column of structures; then what get_next() said at last, 0 at a good end.
inline int forEachBatch(ArrowArrayStream& stream, const std::function<void(const ArrowColumnView&)>& take) {
    Released<ArrowSchema> schema;
    if (const int code = stream.get_schema(&stream, &schema)) {
        return code;
    }
    for (;;) {
        Released<ArrowArray> batch;
        const int code = stream.get_next(&stream, &batch);
        if (code != 0 || batch.release == nullptr) {
            return code;
        }
        EXPECT_GT(batch.length, 0);
        take(ArrowColumnView(schema, batch));
    }
}

} // namespace test
