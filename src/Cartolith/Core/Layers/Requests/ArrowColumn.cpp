#include <Cartolith/Core/Layers/Requests/ArrowColumnInternal.h>
#include <Cartolith/Core/Layers/Requests/FilterValuesInternal.h>

#include <QByteArrayView>
#include <QStringEncoder>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

using Shapes::Internal::AttributeRow;

namespace {

using Kind = ArrowColumn::Kind;

constexpr qint64 epoch = 2'440'588; // 1970-01-01 as a Julian day
constexpr qint64 millisecondsInDay = 86'400'000;
constexpr qint64 mostDays = 100'000'000'000; // whose milliseconds 64 bits hold

std::optional<Kind> elementKindOf(QMetaType::Type type) {
    switch (type) {
    case QMetaType::Int:
        return Kind::Int32;
    case QMetaType::LongLong:
        return Kind::Int64;
    case QMetaType::Double:
        return Kind::Double;
    case QMetaType::QString:
        return Kind::Text;
    default:
        return std::nullopt;
    }
}

std::optional<Kind> kindOf(QMetaType::Type type, GisArrowOptions::DateTimes dateTimes) {
    switch (type) {
    case QMetaType::Bool:
        return Kind::Bool;
    case QMetaType::SChar:
    case QMetaType::Char:
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
        return Kind::Int32;
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        return Kind::Int64;
    case QMetaType::Float:
        return Kind::Double;
    case QMetaType::QByteArray:
        return Kind::Binary;
    case QMetaType::QDate:
        return Kind::Date;
    case QMetaType::QTime:
        return Kind::Time;
    case QMetaType::QDateTime:
        return dateTimes == GisArrowOptions::DateTimes::Typed ? Kind::Moment : Kind::Text;
    case QMetaType::QStringList:
    case QMetaType::QVariantList:
        return Kind::List;
    default:
        return elementKindOf(type);
    }
}

const char* formatOf(Kind kind) {
    switch (kind) {
    case Kind::Bool:
        return "b";
    case Kind::Int32:
        return "i";
    case Kind::Int64:
        return "l";
    case Kind::Double:
        return "g";
    case Kind::Text:
        return "u";
    case Kind::Binary:
        return "z";
    case Kind::Date:
        return "tdD";
    case Kind::Time:
        return "ttm";
    case Kind::Moment:
        return "tsm:";
    case Kind::List:
        return "+l";
    }
    return "";
}

QMetaType::Type rowTypeOf(Kind kind) {
    switch (kind) {
    case Kind::Bool:
        return QMetaType::Bool;
    case Kind::Int32:
        return QMetaType::Int;
    case Kind::Int64:
        return QMetaType::LongLong;
    case Kind::Double:
        return QMetaType::Double;
    case Kind::Text:
        return QMetaType::QString;
    case Kind::Date:
        return QMetaType::QDate;
    case Kind::Time:
        return QMetaType::QTime;
    default:
        return QMetaType::UnknownType; // rows keep these as they are
    }
}

bool endsWithOffset(Kind kind) {
    return kind == Kind::Text || kind == Kind::Binary || kind == Kind::List;
}

template <typename Whole>
bool isWhole(ExactNumber number) {
    return std::trunc(number) == number && number >= std::numeric_limits<Whole>::min() &&
           number <= std::numeric_limits<Whole>::max() && !(number == 0 && std::signbit(number));
}

} // namespace

ArrowColumn::ArrowColumn(const QString& name, Kind kind) : m_kind(kind), m_rowType(rowTypeOf(kind)) {
    const QByteArray utf8 = name.toUtf8();
    if (!QStringView(name).isValidUtf16() || name.contains(QChar(0))) {
        throw std::invalid_argument("\"" + utf8.toStdString() + "\" cannot be the name of an Arrow column.");
    }
    m_schema.name = utf8.toStdString();
    m_schema.format = formatOf(kind);
}

ArrowColumn::ArrowColumn(const FieldType& field, GisArrowOptions::DateTimes dateTimes)
    : ArrowColumn(field.name, kindOf(field.type, dateTimes).value_or(Kind::Bool)) {
    if (!kindOf(field.type, dateTimes)) {
        throw std::invalid_argument(QStringLiteral("The field \"%1\" has values of type %2, of which there "
                                                   "is no Arrow column.")
                                        .arg(field.name, QString::fromLatin1(QMetaType(field.type).name()))
                                        .toStdString());
    }
    if (m_kind == Kind::List) {
        m_elements = std::make_unique<ArrowColumn>(QStringLiteral("item"),
                                                   elementKindOf(field.elementType).value_or(Kind::Text));
    }
}

void ArrowColumn::refuse(const QVariant& value) const {
    const QString type = QString::fromLatin1(value.typeName());
    const bool isNumber = m_kind <= Kind::Double && Comparand(value).kind() == Comparand::Kind::Number;
    throw Misfit{QStringLiteral("%1 is not of the column's type, \"%2\"")
                     .arg(isNumber ? value.toString() + QStringLiteral(" (") + type + QLatin1Char(')') : type,
                          QString::fromStdString(m_schema.format))};
}

// What all columns have

void ArrowColumn::count(bool isThere) {
    if (m_length == 0 && endsWithOffset(m_kind)) {
        m_values.append(qint32{0});
    }
    m_present.append(isThere);
    m_nulls += isThere ? 0 : 1;
    ++m_length;
}

template <typename Value>
void ArrowColumn::appendFixed(Value value) {
    count(true);
    m_values.append(value);
}

void ArrowColumn::appendNull() {
    count(false);
    switch (m_kind) {
    case Kind::Bool:
        m_bits.append(false);
        break;
    case Kind::Int32:
    case Kind::Date:
    case Kind::Time:
        m_values.append(qint32{0});
        break;
    case Kind::Int64:
    case Kind::Double:
    case Kind::Moment:
        m_values.append(qint64{0});
        break;
    default:
        endValue();
    }
}

void ArrowColumn::endValue() {
    const auto size = m_elements != nullptr ? static_cast<std::size_t>(m_elements->m_length) : m_data.size();
    if (size > std::numeric_limits<qint32>::max()) {
        throw Misfit{QStringLiteral("it is longer than a batch can be")};
    }
    m_values.append(static_cast<qint32>(size));
}

char* ArrowColumn::appendBytes(std::size_t size) {
    constexpr std::size_t most = std::numeric_limits<qint32>::max();
    if (size > most || m_data.size() + size > most) { // before there is room made for it
        throw Misfit{QStringLiteral("it is longer than a batch can be")};
    }
    count(true);
    char* const place = m_data.extend(size);
    endValue();
    return place;
}

std::size_t ArrowColumn::bytes() const noexcept {
    return m_present.bytes() + m_bits.bytes() + m_values.size() + m_data.size() +
           (m_elements != nullptr ? m_elements->bytes() : 0);
}

// Values

void ArrowColumn::append(const AttributeRow& row, int column) {
    if (column < 0 || !row.has(column)) {
        appendNull();
        return;
    }
    if (row.schema().type(column) != m_rowType || m_rowType == QMetaType::UnknownType) {
        append(row.value(column));
        return;
    }
    switch (m_kind) {
    case Kind::Double:
        appendReal(row.real(column));
        break;
    case Kind::Text:
        appendText(row.text(column));
        break;
    case Kind::Date:
        appendDate(row.integer(column));
        break;
    case Kind::Time:
        append(row.value(column));
        break;
    default:
        appendInteger(row.integer(column));
    }
}

void ArrowColumn::append(const QVariant& value) {
    if (value.isNull()) {
        appendNull();
        return;
    }
    const int type = value.typeId();
    const bool isText = m_kind == Kind::Text;
    if (m_kind <= Kind::Double) {
        appendNumber(value);
    } else if (isText && type == QMetaType::QString) {
        appendText(value.toString());
    } else if (m_kind == Kind::Date && type == QMetaType::QDate) {
        appendDate(value.toDate().toJulianDay());
    } else if (m_kind == Kind::Time && type == QMetaType::QTime) {
        value.toTime().isValid() ? appendFixed(qint32{value.toTime().msecsSinceStartOfDay()}) : appendNull();
    } else if ((isText || m_kind == Kind::Moment) && type == QMetaType::QDateTime) {
        appendMoment(value.toDateTime());
    } else if (m_kind == Kind::Binary && type == QMetaType::QByteArray) {
        const QByteArray bytes = value.toByteArray();
        std::copy(bytes.begin(), bytes.end(), appendBytes(static_cast<std::size_t>(bytes.size())));
    } else if (m_kind == Kind::List && (type == QMetaType::QStringList || type == QMetaType::QVariantList)) {
        appendList(value.toList());
    } else {
        refuse(value);
    }
}

void ArrowColumn::appendInteger(qint64 value) {
    switch (m_kind) {
    case Kind::Bool:
        count(true);
        m_bits.append(value != 0);
        break;
    case Kind::Int32:
        appendFixed(static_cast<qint32>(value));
        break;
    default:
        appendFixed(value);
    }
}

void ArrowColumn::appendReal(double value) {
    appendFixed(value);
}

void ArrowColumn::appendNumber(const QVariant& value) {
    const Comparand comparand(value);
    const std::optional<ExactNumber> number =
        comparand.kind() == Comparand::Kind::Text ? std::nullopt : comparand.number();
    if (!number) {
        refuse(value);
    }
    const auto real = static_cast<double>(*number);
    const bool isReal = static_cast<ExactNumber>(real) == *number || std::isnan(real);
    if (m_kind == Kind::Double && isReal) {
        appendReal(real);
    } else if ((m_kind == Kind::Bool && isWhole<bool>(*number)) ||
               (m_kind == Kind::Int32 && isWhole<qint32>(*number)) ||
               (m_kind == Kind::Int64 && isWhole<qint64>(*number))) {
        appendInteger(static_cast<qint64>(*number));
    } else {
        refuse(value);
    }
}

void ArrowColumn::appendText(const AttributeRow::Text& text) {
    if (text.shared != nullptr) {
        appendText(*text.shared);
    } else if (text.utf8.isValidUtf8()) {
        std::copy(text.utf8.begin(), text.utf8.end(),
                  appendBytes(static_cast<std::size_t>(text.utf8.size())));
    } else {
        appendText(QString::fromUtf8(text.utf8));
    }
}

void ArrowColumn::appendText(const QString& text) {
    if (!QStringView(text).isValidUtf16()) {
        throw Misfit{QStringLiteral("the text has half a surrogate pair, which is no character")};
    }
    QStringEncoder encoder(QStringEncoder::Utf8, QStringEncoder::Flag::Stateless);
    const std::size_t start = m_data.size();
    char* const place = m_data.extend(static_cast<std::size_t>(encoder.requiredSpace(text.size())));
    const auto size = static_cast<std::size_t>(encoder.appendToBuffer(place, text) - place);
    m_data.shrink(start);
    appendBytes(size); // which are there
}

void ArrowColumn::appendDate(qint64 julianDay) {
    if (!QDate::fromJulianDay(julianDay).isValid()) {
        appendNull();
    } else if (!isWhole<qint32>(static_cast<ExactNumber>(julianDay - epoch))) {
        throw Misfit{QStringLiteral("the date is beyond 32 bits of days")};
    } else {
        appendFixed(static_cast<qint32>(julianDay - epoch));
    }
}

void ArrowColumn::appendMoment(const QDateTime& moment) {
    if (!moment.date().isValid() || !moment.time().isValid()) { // the two may be where the whole is not
        appendNull();
        return;
    }
    if (m_kind == Kind::Text) {
        appendText(isoText(moment));
        return;
    }
    const Zone zone = moment.timeSpec() == Qt::LocalTime ? Zone::None : Zone::Utc;
    if (m_zone != Zone::Open && m_zone != zone) {
        throw Misfit{zone == Zone::Utc ? QStringLiteral("it is a time with a zone among some without")
                                       : QStringLiteral("it is a time without a zone among some with one")};
    }
    m_zone = zone;
    const qint64 days = moment.date().toJulianDay() - epoch;
    if (std::abs(days) > mostDays) {
        throw Misfit{QStringLiteral("the date is beyond 64 bits of milliseconds")};
    }
    appendFixed(zone == Zone::Utc ? moment.toMSecsSinceEpoch()
                                  : days * millisecondsInDay + moment.time().msecsSinceStartOfDay());
}

void ArrowColumn::appendList(const QVariantList& list) {
    count(true);
    for (const QVariant& element : list) {
        m_elements->append(element);
    }
    endValue();
}

// Structures

void ArrowColumn::describe(ArrowSchema& schema) {
    if (m_kind == Kind::Moment) {
        m_zone = isOpen() ? Zone::None : m_zone;
        m_schema.format = m_zone == Zone::Utc ? "tsm:UTC" : "tsm:";
    }
    ArrowSchemaParts parts{m_schema.format, m_schema.name, m_schema.metadata, m_schema.isNullable, {}};
    if (m_elements != nullptr) {
        parts.children.push_back(newOwn<ArrowSchema>());
        m_elements->describe(*parts.children.back());
    }
    fill(schema, std::move(parts));
}

void ArrowColumn::take(ArrowArray& array) {
    if (m_length == 0 && endsWithOffset(m_kind)) { // elements of empty lists
        m_values.append(qint32{0});
    }
    ArrowArrayParts parts;
    parts.length = std::exchange(m_length, 0);
    parts.nulls = std::exchange(m_nulls, 0);
    const std::size_t valuesRoom = m_values.size();
    const std::size_t dataRoom = m_data.size();
    parts.buffers.push_back(m_present.take());
    parts.buffers.push_back(m_kind == Kind::Bool ? m_bits.take() : std::exchange(m_values, {}));
    if (m_kind == Kind::Text || m_kind == Kind::Binary) {
        parts.buffers.push_back(std::exchange(m_data, {}));
    }
    if (m_elements != nullptr) {
        parts.children.push_back(newOwn<ArrowArray>());
        m_elements->take(*parts.children.back());
    }
    fill(array, std::move(parts));
    // The next one is probably of the same size.
    m_values.reserve(valuesRoom);
    m_data.reserve(dataRoom);
}

} // namespace Cartolith::Core::Layers::Internal
