#include <Cartolith/Core/Shapes/AttributeRowInternal.h>

#include <QDate>
#include <QStringDecoder>
#include <QTime>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <malloc.h>
#include <new>
#include <numeric>
#include <utility>

namespace Cartolith::Core::Shapes::Internal {

namespace {

constexpr int bitsInWord = 32;
constexpr std::size_t valueSize = 8; // of most, and of the places of all

/// A table with keys that nobody has.
QHash<QString, QVariant> tableOf(int keys) {
    QHash<QString, QVariant> table;
    for (int i = 0; i < keys; ++i) {
        table.insert(QString(QChar(i)), QVariant());
    }
    return table;
}

/// -1 for a time that is none, as QTime takes it back.
int millisecondsOf(QTime time) {
    return time.isValid() ? time.msecsSinceStartOfDay() : -1;
}

// A text in a row is the address of a shared one, which is even, or its place, its size and 1.
constexpr bool isInPlace(quint64 word) {
    return (word & 1U) != 0;
}
const SharedText* sharedText(quint64 word) {
    return reinterpret_cast<const SharedText*>(static_cast<quintptr>(word));
}
constexpr quint64 wordOf(std::size_t place, std::size_t size) {
    return quint64{place} << 32U | quint64{size} << 1U | 1U;
}
constexpr std::size_t placeOf(quint64 word) {
    return word >> 32U;
}
constexpr qsizetype sizeOf(quint64 word) {
    return static_cast<qsizetype>(word >> 1U & 0x7fffffffU);
}

constexpr int fewKeys = 48;   // that many a QHash finds room for at once
constexpr int roomyKeys = 64; // the most that it keeps in one piece
const QHash<QString, QVariant> withFewKeys = tableOf(1);
const QHash<QString, QVariant> withManyKeys = tableOf(roomyKeys);

} // namespace

/// The head of a row; behind it the presence of the columns from the 33rd on, and the values.
struct AttributeRow::Data {
    explicit Data(const AttributeSchema::Pointer& of) noexcept : schema(of) {}

    std::atomic<int> references = 1;
    quint32 present = 0;
    AttributeSchema::Pointer schema;
};

// Schema

AttributeSchema::Form AttributeSchema::formOf(QMetaType::Type type) noexcept {
    switch (type) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::QDate:
    case QMetaType::QTime:
        return Form::Integer;
    case QMetaType::Double:
        return Form::Real;
    case QMetaType::QString:
        return Form::Text;
    default:
        return Form::Any;
    }
}

AttributeSchema::AttributeSchema(const QList<Field>& fields) {
    static_assert(sizeof(quint64) == valueSize && sizeof(QVariant) % valueSize == 0);
    for (const Field& field : fields) {
        m_columns.removeIf([&field](const Column& column) { return column.name == field.name; });
        m_columns.append({field.name, field.type, formOf(field.type), 0});
    }
    const int moreWords = std::max(0, (count() - 1) / bitsInWord);
    const std::size_t words = static_cast<std::size_t>(moreWords) * sizeof(quint32);
    m_size = sizeof(AttributeRow::Data) + (words + valueSize - 1) / valueSize * valueSize;
    for (Column& column : m_columns) {
        column.offset = m_size;
        m_size += column.form == Form::Any ? sizeof(QVariant) : valueSize;
    }

    constexpr int few = 8; // looked through as quickly
    if (count() > few) {
        m_byName.resize(static_cast<std::size_t>(count()));
        std::iota(m_byName.begin(), m_byName.end(), 0);
        std::sort(m_byName.begin(), m_byName.end(), [this](int a, int b) { return name(a) < name(b); });
    }

    // Thinly filled, no piece of the table needs more room than the one that was copied has.
    const bool isLarge = count() > roomyKeys;
    m_keys = count() > fewKeys ? withManyKeys : withFewKeys;
    m_keys.reserve(isLarge ? 4 * count() : roomyKeys);
    for (auto it = m_keys.cbegin(); it != m_keys.cend();) {
        it = m_keys.erase(it);
    }
    for (const Column& column : std::as_const(m_columns)) {
        m_keys.insert(column.name, QVariant());
    }
    if (isLarge) {
        m_keys.squeeze();
    }
}

int AttributeSchema::indexOf(const QString& name) const {
    if (!m_byName.empty()) {
        const auto place = std::lower_bound(m_byName.begin(), m_byName.end(), name,
                                            [this](int i, const QString& of) { return this->name(i) < of; });
        return place != m_byName.end() && this->name(*place) == name ? *place : -1;
    }
    const auto found = std::find_if(m_columns.cbegin(), m_columns.cend(),
                                    [&name](const Column& column) { return column.name == name; });
    return found == m_columns.cend() ? -1 : static_cast<int>(found - m_columns.cbegin());
}

// Row

AttributeRow::AttributeRow(const AttributeSchema::Pointer& schema, std::size_t textBytes)
    : m_data(new (::operator new(schema->m_size + textBytes)) Data(schema)) {
    std::fill(reinterpret_cast<unsigned char*>(m_data + 1),
              reinterpret_cast<unsigned char*>(m_data) + schema->m_size, static_cast<unsigned char>(0));
}

AttributeRow::AttributeRow(const AttributeRow& other) noexcept : m_data(other.m_data) {
    if (m_data != nullptr) {
        m_data->references.fetch_add(1, std::memory_order_relaxed);
    }
}

AttributeRow::~AttributeRow() {
    if (m_data == nullptr || m_data->references.fetch_sub(1, std::memory_order_acq_rel) > 1) {
        return;
    }
    const AttributeSchema& schema = *m_data->schema;
    for (int i = 0; i < schema.count(); ++i) {
        const AttributeSchema::Form form = schema.m_columns.at(i).form;
        if (form == AttributeSchema::Form::Text && has(i)) {
            const quint64 word = *at<quint64>(i);
            if (!isInPlace(word) && !sharedText(word)->ref.deref()) {
                delete sharedText(word);
            }
        } else if (form == AttributeSchema::Form::Any && has(i)) {
            at<QVariant>(i)->~QVariant();
        }
    }
    m_data->~Data();
    ::operator delete(m_data);
}

const AttributeSchema& AttributeRow::schema() const noexcept {
    return *m_data->schema;
}

template <typename T>
T* AttributeRow::at(int column) const noexcept {
    return reinterpret_cast<T*>(reinterpret_cast<unsigned char*>(m_data) +
                                m_data->schema->m_columns.at(column).offset);
}

quint32& AttributeRow::presence(int column) const noexcept {
    return column < bitsInWord ? m_data->present
                               : reinterpret_cast<quint32*>(m_data + 1)[column / bitsInWord - 1];
}

void AttributeRow::mark(int column) noexcept {
    presence(column) |= 1U << (column % bitsInWord);
}

std::size_t AttributeRow::bytes() const noexcept {
    return ::malloc_usable_size(m_data);
}

bool AttributeRow::has(int column) const noexcept {
    return (presence(column) >> (column % bitsInWord) & 1U) != 0;
}

void AttributeRow::setInteger(int column, qint64 value) noexcept {
    *at<qint64>(column) = value;
    mark(column);
}

void AttributeRow::setReal(int column, double value) noexcept {
    *at<double>(column) = value;
    mark(column);
}

void AttributeRow::setText(int column, const SharedTextPointer& text) noexcept {
    text->ref.ref();
    *at<quint64>(column) = reinterpret_cast<quintptr>(text.data());
    mark(column);
}

void AttributeRow::setText(int column, QByteArrayView utf8, std::size_t at) noexcept {
    std::copy(utf8.begin(), utf8.end(), reinterpret_cast<char*>(m_data) + m_data->schema->m_size + at);
    *this->at<quint64>(column) = wordOf(at, static_cast<std::size_t>(utf8.size()));
    mark(column);
}

AttributeRow::Text AttributeRow::text(int column) const noexcept {
    const quint64 word = *at<quint64>(column);
    if (!isInPlace(word)) {
        return {&sharedText(word)->value, {}};
    }
    const char* const texts = reinterpret_cast<const char*>(m_data) + m_data->schema->m_size;
    return {nullptr, QByteArrayView(texts + placeOf(word), sizeOf(word))};
}

qint64 AttributeRow::integer(int column) const noexcept {
    return *at<qint64>(column);
}

double AttributeRow::real(int column) const noexcept {
    return *at<double>(column);
}

bool AttributeRow::set(int column, const QVariant& value) {
    const AttributeSchema::Column& place = m_data->schema->m_columns.at(column);
    if (!value.isValid()) {
        return true;
    }
    if (place.type != AttributeSchema::anyType && value.typeId() != place.type) {
        return false;
    }
    switch (place.form) {
    case AttributeSchema::Form::Integer:
        setInteger(column, place.type == QMetaType::QDate   ? value.toDate().toJulianDay()
                           : place.type == QMetaType::QTime ? millisecondsOf(value.toTime())
                                                            : value.toLongLong());
        break;
    case AttributeSchema::Form::Real:
        setReal(column, value.toDouble());
        break;
    case AttributeSchema::Form::Text:
        setText(column, SharedTextPointer(new SharedText(value.toString())));
        break;
    case AttributeSchema::Form::Any:
        new (at<QVariant>(column)) QVariant(value);
        mark(column);
        break;
    }
    return true;
}

QVariant AttributeRow::value(int column) const {
    if (!has(column)) {
        return {};
    }
    const AttributeSchema::Column& place = m_data->schema->m_columns.at(column);
    switch (place.form) {
    case AttributeSchema::Form::Real:
        return real(column);
    case AttributeSchema::Form::Text: {
        const Text held = text(column);
        if (held.shared != nullptr) {
            return *held.shared;
        }
        // At the beginning of a value, a mark of byte order is a character like others.
        return QString(
            QStringDecoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom)(held.utf8));
    }
    case AttributeSchema::Form::Any:
        return *at<QVariant>(column);
    case AttributeSchema::Form::Integer:
        break;
    }
    const qint64 number = integer(column);
    switch (place.type) {
    case QMetaType::Bool:
        return number != 0;
    case QMetaType::Int:
        return static_cast<int>(number);
    case QMetaType::QDate:
        return QDate::fromJulianDay(number);
    case QMetaType::QTime:
        return QTime::fromMSecsSinceStartOfDay(static_cast<int>(number));
    default:
        return QVariant::fromValue<qlonglong>(number);
    }
}

QVariant AttributeRow::value(const QString& name) const {
    const int column = schema().indexOf(name);
    return column < 0 ? QVariant() : value(column);
}

QHash<QString, QVariant> AttributeRow::table() const {
    QHash<QString, QVariant> values = schema().m_keys;
    values.detach();
    for (int i = 0; i < schema().count(); ++i) {
        const QString& name = schema().name(i);
        if (has(i)) {
            values[name] = value(i); // the key is there
        } else {
            values.remove(name);
        }
    }
    return values;
}

} // namespace Cartolith::Core::Shapes::Internal
