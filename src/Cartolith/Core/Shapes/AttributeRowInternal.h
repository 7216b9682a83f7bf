#pragma once

#include <QByteArrayView>
#include <QHash>
#include <QList>
#include <QMetaType>
#include <QSharedData>
#include <QString>
#include <QVariant>

#include <cstddef>
#include <utility>
#include <vector>

namespace Cartolith::Core::Shapes::Internal {

/// The names and types of the values in the rows of one layer. Never changes.
class AttributeSchema : public QSharedData {
public:
    using Pointer = QExplicitlySharedDataPointer<const AttributeSchema>;
    struct Field {
        QString name;
        QMetaType::Type type;
    };
    /// Of a column whose values are of one type or another.
    static constexpr QMetaType::Type anyType = QMetaType::UnknownType;

    /// Of fields of one name, one is kept: the last.
    explicit AttributeSchema(const QList<Field>& fields);

    int count() const noexcept { return static_cast<int>(m_columns.size()); }
    /// -1 when there is none.
    int indexOf(const QString& name) const;
    const QString& name(int column) const { return m_columns.at(column).name; }
    QMetaType::Type type(int column) const { return m_columns.at(column).type; }

private:
    friend class AttributeRow;

    /// How a value lies in a row.
    enum class Form { Integer, Real, Text, Any };
    struct Column {
        QString name;
        QMetaType::Type type;
        Form form;
        std::size_t offset;
    };

    static Form formOf(QMetaType::Type type) noexcept;

    QList<Column> m_columns;
    std::vector<int> m_byName;       // the columns, in the order of their names, where they are many
    std::size_t m_size = 0;          // of a row, its head included
    QHash<QString, QVariant> m_keys; // a table that has all names, see AttributeRow::table()
};

/// A text that several rows have.
struct SharedText : QSharedData {
    explicit SharedText(const QString& text) : value(text) {}
    const QString value;
};
using SharedTextPointer = QExplicitlySharedDataPointer<const SharedText>;

/// The attribute values of one feature in one piece of memory: what a table of 500 and more bytes says in
/// 8 for each value, and for a text that no other row has its UTF-8. Shared by the shapes that have it, and
/// never changed once it is shared.
class AttributeRow {
public:
    AttributeRow() noexcept = default;
    /// Without any value, and with room for so many bytes of texts.
    explicit AttributeRow(const AttributeSchema::Pointer& schema, std::size_t textBytes = 0);
    AttributeRow(const AttributeRow& other) noexcept;
    AttributeRow(AttributeRow&& other) noexcept : m_data(std::exchange(other.m_data, nullptr)) {}
    AttributeRow& operator=(AttributeRow other) noexcept {
        std::swap(m_data, other.m_data);
        return *this;
    }
    ~AttributeRow();

    bool isNull() const noexcept { return m_data == nullptr; }
    bool isSameAs(const AttributeRow& other) const noexcept { return m_data == other.m_data; }
    const AttributeSchema& schema() const noexcept;

    /// Gives a row that nobody else has yet a value that it has not; an invalid one is none. False, and
    /// nothing is set, when it is not of the column's type.
    bool set(int column, const QVariant& value);
    /// The same for a column of whole numbers, logical values, dates (as Julian days) or times (as
    /// milliseconds of the day), of real numbers, and of texts.
    void setInteger(int column, qint64 value) noexcept;
    void setReal(int column, double value) noexcept;
    void setText(int column, const SharedTextPointer& text) noexcept;
    /// The same of a text that is kept in the row's own room for texts, from that byte of it on. There are
    /// less than 2^31 bytes.
    void setText(int column, QByteArrayView utf8, std::size_t at) noexcept;

    /// What it takes of memory, without texts that it shares.
    std::size_t bytes() const noexcept;

    bool has(int column) const noexcept;
    /// Invalid where there is none.
    QVariant value(int column) const;
    QVariant value(const QString& name) const;
    /// What setInteger() and setReal() took, of a column of theirs that has a value.
    qint64 integer(int column) const noexcept;
    double real(int column) const noexcept;
    /// A text as it lies in the row: shared, or else as the UTF-8 that setText() took, whatever that is. Of a
    /// column of texts that has a value, and as long as the row.
    struct Text {
        const QString* shared;
        QByteArrayView utf8;
    };
    Text text(int column) const noexcept;

    /// The same as a table.
    ///
    /// QHash inserts in functions that may not throw: where there is no memory left, the process ends. What
    /// is copied, and what has the key already, is safe. So keys are inserted once, into a table that has
    /// room for them since the library was loaded (for 64 keys; beyond, nearly always), and each row gets a
    /// copy. (A copy that finds no memory loses a block or two, which is Qt's.)
    QHash<QString, QVariant> table() const;

    /// One reference to the row as an even number, 0 for a null row, and back: for who keeps rows in the room
    /// of a pointer.
    quintptr release() noexcept { return reinterpret_cast<quintptr>(std::exchange(m_data, nullptr)); }
    static AttributeRow adopt(quintptr reference) noexcept {
        AttributeRow row;
        row.m_data = reinterpret_cast<Data*>(reference);
        return row;
    }

private:
    struct Data;
    friend class AttributeSchema;

    template <typename T>
    T* at(int column) const noexcept;
    quint32& presence(int column) const noexcept;
    void mark(int column) noexcept;

    Data* m_data = nullptr;
};

} // namespace Cartolith::Core::Shapes::Internal
