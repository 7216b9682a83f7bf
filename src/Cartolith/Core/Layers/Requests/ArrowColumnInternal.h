#pragma once

#include <Cartolith/Core/Layers/GisArrowOptions.h>
#include <Cartolith/Core/Layers/Requests/ArrowStructsInternal.h>
#include <Cartolith/Core/Layers/Requests/FeatureSourceInternal.h>
#include <Cartolith/Core/Shapes/AttributeRowInternal.h>

#include <QByteArrayView>
#include <QDateTime>
#include <QVariant>

#include <memory>
#include <string>

namespace Cartolith::Core::Layers::Internal {

/// A column of a batch, as it grows.
///
/// A value is taken where it is one of the column's type, or a number that the type has exactly; nothing else
/// is made of it.
class ArrowColumn {
public:
    /// Why a value is not taken.
    struct Misfit {
        QString reason;
    };
    enum class Kind { Bool, Int32, Int64, Double, Text, Binary, Date, Time, Moment, List };

    ArrowColumn(const QString& name, Kind kind);
    /// \throws std::invalid_argument with the field's name, for a type that has no column
    ArrowColumn(const FieldType& field, GisArrowOptions::DateTimes dateTimes);

    const std::string& name() const noexcept { return m_schema.name; }
    void annotate(const std::string& key, const std::string& value) {
        m_schema.metadata.emplace_back(key, value);
    }
    void setNullable(bool isNullable) { m_schema.isNullable = isNullable; }

    /// Each of these adds a row. They throw Misfit; then the batch cannot be gone on with.
    void append(const QVariant& value);
    /// What a row has there, or nothing for -1.
    void append(const Shapes::Internal::AttributeRow& row, int column);
    void appendNull();
    void appendInteger(qint64 value);
    /// The place of so many bytes.
    char* appendBytes(std::size_t size);

    std::size_t bytes() const noexcept;
    /// Whether it is open whether the moments have zones. They have none unless the first value does, or once
    /// the type was described.
    bool isOpen() const noexcept { return m_kind == Kind::Moment && m_zone == Zone::Open; }
    void describe(ArrowSchema& schema);
    /// The rows since it was called last.
    void take(ArrowArray& array);

private:
    enum class Zone { Open, None, Utc };

    void count(bool isThere);
    template <typename Value>
    void appendFixed(Value value);
    void appendReal(double value);
    void appendNumber(const QVariant& value);
    void appendText(const QString& text);
    void appendText(const Shapes::Internal::AttributeRow::Text& text);
    void appendDate(qint64 julianDay);
    void appendMoment(const QDateTime& moment);
    void appendList(const QVariantList& list);
    void endValue();
    [[noreturn]] void refuse(const QVariant& value) const;

    Kind m_kind;
    QMetaType::Type m_rowType =
        QMetaType::UnknownType; ///< of columns of rows that have its values as they are
    ArrowSchemaParts m_schema;
    Zone m_zone = Zone::Open;
    std::unique_ptr<ArrowColumn> m_elements; ///< of lists

    qint64 m_length = 0;
    qint64 m_nulls = 0;
    ArrowBits m_present;
    ArrowBits m_bits;     ///< of logical values
    ArrowBuffer m_values; ///< or where each ends
    ArrowBuffer m_data;   ///< of texts and bytes
};

} // namespace Cartolith::Core::Layers::Internal
