#include <Cartolith/Core/Common/BytesInternal.h>
#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/Ogr/ArrowFeaturesInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>
#include <Cartolith/Core/Shapes/GisShape.h>

#include <QDateTime>
#include <QTimeZone>

#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_map>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

using Shapes::Internal::AttributeRow;
using Shapes::Internal::AttributeSchema;
using Shapes::Internal::SharedText;

namespace {

QMetaType::Type typeOf(const OGRFieldDefn& field) {
    switch (field.GetType()) {
    case OFTInteger:
        return field.GetSubType() == OFSTBoolean ? QMetaType::Bool : QMetaType::Int;
    case OFTInteger64:
        return QMetaType::LongLong;
    case OFTReal:
        return QMetaType::Double;
    case OFTDate:
        return QMetaType::QDate;
    case OFTTime:
        return QMetaType::QTime;
    case OFTDateTime:
        return QMetaType::QDateTime;
    case OFTBinary:
        return QMetaType::QByteArray;
    case OFTIntegerList:
    case OFTInteger64List:
    case OFTRealList:
        return QMetaType::QVariantList;
    case OFTStringList:
        return QMetaType::QStringList;
    default:
        return QMetaType::QString;
    }
}

/// OGR gives a default as an SQL expression: a quoted text, a number or a function. Only constants are
/// values.
QVariant defaultOf(const OGRFieldDefn& field, QMetaType::Type type) {
    QString text = Common::Internal::wholeText(field.GetDefault());
    if (text.isEmpty() || text.startsWith(QLatin1String("CURRENT_"))) {
        return {};
    }
    if (text.size() >= 2 && text.startsWith(QLatin1Char('\'')) && text.endsWith(QLatin1Char('\''))) {
        text = text.mid(1, text.size() - 2).replace(QLatin1String("''"), QLatin1String("'"));
        if (type == QMetaType::QDate || type == QMetaType::QDateTime) {
            text.replace(QLatin1Char('/'), QLatin1Char('-')); // OGR writes 2020/12/31 12:00:00
        }
    }
    QVariant value(text);
    return value.convert(QMetaType(type)) ? value : QVariant();
}

template <typename Value>
QVariantList listOf(const Value* values, int count) {
    QVariantList list;
    list.reserve(count);
    for (int i = 0; i < count; ++i) {
        list.append(QVariant::fromValue(values[i]));
    }
    return list;
}

/// Invalid for a date that is none, such as 0000-00-00.
QVariant dateTimeOf(OGRFeature& feature, int index, OGRFieldType type) {
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    float second = 0.0F;
    int zone = 0;
    if (!feature.GetFieldAsDateTime(index, &year, &month, &day, &hour, &minute, &second, &zone)) {
        return {};
    }
    const QDate date(year, month, day);
    const int milliseconds =
        std::min(59999, static_cast<int>(std::lround(static_cast<double>(second) * 1000.0)));
    const QTime time = QTime(hour, minute, 0).addMSecs(milliseconds);
    if ((type != OFTTime && !date.isValid()) || (type != OFTDate && !time.isValid())) {
        return {};
    }
    if (type == OFTDate) {
        return date;
    }
    if (type == OFTTime) {
        return time;
    }
    // 0 is unknown and 1 local time; 100 is UTC, and each step beside it a quarter of an hour.
    if (zone < 2) {
        return QDateTime(date, time);
    }
    return zone == 100 ? QDateTime(date, time, Qt::UTC)
                       : QDateTime(date, time, Qt::OffsetFromUTC, (zone - 100) * 15 * 60);
}

/// Never a null array: there is a value.
QByteArray bytesOf(QByteArrayView bytes) {
    return bytes.isEmpty() ? QByteArray("") : Common::Internal::copyOf(bytes);
}

QVariant valueOf(OGRFeature& feature, int index) {
    const OGRFieldDefn& field = *feature.GetFieldDefnRef(index);
    int count = 0;
    switch (field.GetType()) {
    case OFTInteger:
        if (field.GetSubType() == OFSTBoolean) {
            return feature.GetFieldAsInteger(index) != 0;
        }
        return feature.GetFieldAsInteger(index);
    case OFTInteger64:
        return QVariant::fromValue<qlonglong>(feature.GetFieldAsInteger64(index));
    case OFTReal:
        return feature.GetFieldAsDouble(index);
    case OFTDate:
    case OFTTime:
    case OFTDateTime:
        return dateTimeOf(feature, index, field.GetType());
    case OFTBinary: {
        const GByte* const bytes = feature.GetFieldAsBinary(index, &count);
        return bytesOf(QByteArrayView(bytes, count));
    }
    case OFTIntegerList: {
        const int* const values = feature.GetFieldAsIntegerList(index, &count);
        return listOf(values, count);
    }
    case OFTInteger64List: {
        const GIntBig* const values = feature.GetFieldAsInteger64List(index, &count);
        return listOf(values, count);
    }
    case OFTRealList: {
        const double* const values = feature.GetFieldAsDoubleList(index, &count);
        return listOf(values, count);
    }
    case OFTStringList: {
        QStringList list;
        for (char** text = feature.GetFieldAsStringList(index); text != nullptr && *text != nullptr; ++text) {
            list.append(Common::Internal::wholeText(*text));
        }
        return list;
    }
    default:
        return Common::Internal::wholeText(feature.GetFieldAsString(index));
    }
}

bool isReal(const QVariant& value) {
    return value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float;
}

bool isNumber(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return true;
    default:
        return isReal(value);
    }
}

/// Numbers of two types are the same when a number of either type can be no other. Qt compares a whole one
/// and a real one as real ones, of which many whole ones make one.
bool haveSameNumber(const QVariant& a, const QVariant& b) {
    if (isReal(a) != isReal(b)) {
        const double real = (isReal(a) ? a : b).toDouble();
        const QVariant& whole = isReal(a) ? b : a;
        constexpr double limit = 18446744073709551616.0; // of 64 bits
        if (std::trunc(real) != real || std::abs(real) >= limit || (real == 0.0 && std::signbit(real))) {
            return false;
        }
        return real < 0.0 ? real >= -limit / 2.0 && haveSameNumber(static_cast<qlonglong>(real), whole)
                          : haveSameNumber(static_cast<qulonglong>(real), whole);
    }
    if (!isReal(a)) {
        const auto isNegative = [](const QVariant& value) {
            return value.typeId() != QMetaType::ULongLong && value.typeId() != QMetaType::ULong &&
                   value.toLongLong() < 0;
        };
        return isNegative(a) == isNegative(b) && a.toULongLong() == b.toULongLong();
    }
    const double one = a.toDouble();
    const double other = b.toDouble();
    return (std::isnan(one) && std::isnan(other)) ||
           (one == other && std::signbit(one) == std::signbit(other));
}

bool haveSameValues(const QVariantList& a, const QVariantList& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const QVariant& one, const QVariant& other) { return areSame(one, other); });
}

} // namespace

QList<Defs::GisAttributeDefinition> attributeDefinitions(OGRFeatureDefn& layer) {
    QList<Defs::GisAttributeDefinition> definitions;
    for (int i = 0; i < layer.GetFieldCount(); ++i) {
        const OGRFieldDefn& field = *layer.GetFieldDefn(i);
        const QMetaType::Type type = typeOf(field);
        Defs::GisAttributeDefinition definition(Common::Internal::wholeName(field.GetNameRef()), type);
        definition.setWidth(field.GetWidth());
        definition.setPrecision(field.GetPrecision());
        definition.setNullable(field.IsNullable() != 0);
        definition.setDefaultValue(defaultOf(field, type));
        definitions.append(definition);
    }
    return definitions;
}

QVariant fieldValue(OGRFeature& feature, int index) {
    return feature.IsFieldSetAndNotNull(index) ? valueOf(feature, index) : QVariant();
}

FeatureRows::FeatureRows(OGRFeatureDefn& layer) : m_recent(256) {
    QList<AttributeSchema::Field> fields;
    for (int i = 0; i < layer.GetFieldCount(); ++i) {
        const OGRFieldDefn& field = *layer.GetFieldDefn(i);
        fields.append({Common::Internal::wholeName(field.GetNameRef()), typeOf(field)});
        m_columns.push_back({i, 0, field.GetType()});
    }
    std::unordered_map<QString, QMetaType::Type> types;
    for (const AttributeSchema::Field& field : std::as_const(fields)) {
        const auto known = types.emplace(field.name, field.type).first;
        known->second = known->second == field.type ? field.type : AttributeSchema::anyType;
    }
    for (AttributeSchema::Field& field : fields) {
        field.type = types.at(field.name);
    }
    const AttributeSchema::Pointer schema(new AttributeSchema(fields));
    m_schema = schema;
    for (Column& column : m_columns) {
        const AttributeSchema::Field& field = fields.at(column.field);
        column.column = schema->indexOf(field.name);
        column.type = field.type == AttributeSchema::anyType ? OFTMaxType : column.type;
    }
    std::reverse(m_columns.begin(), m_columns.end());
}

FeatureRows::Text FeatureRows::textOf(QByteArrayView utf8) {
    if (utf8.size() > Recent::most) {
        return {utf8, {}};
    }
    Recent& recent = m_recent[qHash(utf8, 0) % m_recent.size()];
    if (recent.size != utf8.size() || !std::equal(utf8.begin(), utf8.end(), recent.utf8.begin())) {
        recent.shared.reset();
        recent.size = static_cast<quint8>(utf8.size());
        std::copy(utf8.begin(), utf8.end(), recent.utf8.begin());
    } else if (recent.shared == nullptr) {
        recent.shared.reset(new SharedText(Common::Internal::wholeText(utf8)));
    }
    return {utf8, recent.shared};
}

namespace {

/// What a row is made of, from either way of reading.
struct FeatureValues {
    OGRFeature& feature;

    bool hasValue(int field) const { return feature.IsFieldSetAndNotNull(field) != 0; }
    qint64 integer(int field) const { return feature.GetRawFieldRef(field)->Integer; }
    qint64 integer64(int field) const { return feature.GetRawFieldRef(field)->Integer64; }
    double real(int field) const { return feature.GetRawFieldRef(field)->Real; }
    QByteArrayView text(int field) const { return {feature.GetRawFieldRef(field)->String}; }
    QVariant any(int field) const { return valueOf(feature, field); }
    /// Seconds are single numbers for GDAL.
    bool hasFraction(int field) const {
        const OGRFieldType type = feature.GetFieldDefnRef(field)->GetType();
        if (type != OFTTime && type != OFTDateTime) {
            return false;
        }
        constexpr double rounding = 0.01;
        const double milliseconds = static_cast<double>(feature.GetRawFieldRef(field)->Date.Second) * 1000.0;
        return std::fabs(milliseconds - std::round(milliseconds)) > rounding;
    }
};

struct ColumnValues {
    const ArrowFeatures& feature;

    bool hasValue(int field) const { return feature.hasValue(field); }
    qint64 integer(int field) const { return feature.integer(field); }
    qint64 integer64(int field) const { return feature.integer(field); }
    double real(int field) const { return feature.real(field); }
    QByteArrayView text(int field) const { return feature.bytes(field); }
    QVariant any(int field) const { return bytesOf(feature.bytes(field)); }
    static bool hasFraction(int /*field*/) { return false; } // no times
};

} // namespace

template <typename Source>
AttributeRow FeatureRows::rowOf(Source& source) {
    constexpr std::size_t most = std::numeric_limits<qint32>::max(); // of texts in a row
    m_texts.clear();
    m_hadOtherText = false;
    m_hadFraction = false;
    std::size_t size = 0;
    for (const Column& column : m_columns) {
        if (column.type == OFTString && source.hasValue(column.field)) {
            m_texts.push_back(textOf(source.text(column.field)));
            Text& text = m_texts.back();
            m_hadOtherText = m_hadOtherText || !text.utf8.isValidUtf8();
            const auto bytes = static_cast<std::size_t>(text.utf8.size());
            if (text.shared == nullptr && size + bytes > most) {
                text.shared.reset(new SharedText(Common::Internal::wholeText(text.utf8)));
            }
            size += text.shared == nullptr ? bytes : 0;
        }
    }
    AttributeRow row(m_schema, size);
    std::size_t place = 0;
    auto text = m_texts.cbegin();
    for (const Column& column : m_columns) {
        if (!source.hasValue(column.field)) {
            continue;
        }
        const bool isFirst = !row.has(column.column); // of those of one name
        if (column.type == OFTString) {
            if (isFirst && text->shared != nullptr) {
                row.setText(column.column, text->shared);
            } else if (isFirst) {
                row.setText(column.column, text->utf8, place);
                place += static_cast<std::size_t>(text->utf8.size());
            }
            ++text;
        } else if (isFirst && column.type == OFTInteger) {
            row.setInteger(column.column, source.integer(column.field));
        } else if (isFirst && column.type == OFTInteger64) {
            row.setInteger(column.column, source.integer64(column.field));
        } else if (isFirst && column.type == OFTReal) {
            row.setReal(column.column, source.real(column.field));
        } else if (isFirst) {
            row.set(column.column, source.any(column.field));
            m_hadFraction = m_hadFraction || source.hasFraction(column.field);
        }
    }
    return row;
}

AttributeRow FeatureRows::of(OGRFeature& feature) {
    const FeatureValues values{feature};
    return rowOf(values);
}

AttributeRow FeatureRows::of(const ArrowFeatures& feature) {
    const ColumnValues values{feature};
    return rowOf(values);
}

bool areSame(const QVariant& a, const QVariant& b) {
    if (isNumber(a) && isNumber(b)) {
        return haveSameNumber(a, b);
    }
    if (a.typeId() != b.typeId()) {
        return false;
    }
    switch (a.typeId()) {
    case QMetaType::QDateTime: {
        const QDateTime one = a.toDateTime();
        const QDateTime other = b.toDateTime();
        const bool isLocal = one.timeSpec() == Qt::LocalTime;
        if (isLocal != (other.timeSpec() == Qt::LocalTime)) {
            return false;
        }
        // What a clock showed; all that are left out where clocks go forward are invalid, and equal for Qt.
        const bool isSameClock = one.date() == other.date() && one.time() == other.time();
        return isSameClock && (isLocal || one.offsetFromUtc() == other.offsetFromUtc());
    }
    case QMetaType::QVariantList:
        return haveSameValues(a.toList(), b.toList());
    case QMetaType::QVariantMap: {
        const QVariantMap one = a.toMap();
        const QVariantMap other = b.toMap();
        return one.keys() == other.keys() && haveSameValues(one.values(), other.values());
    }
    default:
        return a == b;
    }
}

bool areSame(const QHash<QString, QVariant>& a, const QHash<QString, QVariant>& b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (auto it = a.cbegin(); it != a.cend(); ++it) {
        const auto other = b.constFind(it.key());
        if (other == b.constEnd() || !areSame(*it, *other)) {
            return false;
        }
    }
    return true;
}

bool haveSameAttributes(const Shapes::GisShape& a, const Shapes::GisShape& b) {
    const AttributeRow row = a.attributeSlot().row();
    return (!row.isNull() && row.isSameAs(b.attributeSlot().row())) ||
           areSame(a.attributeSlot().copyOfTable(), b.attributeSlot().copyOfTable());
}

QMetaType::Type commonType(QMetaType::Type a, QMetaType::Type b) {
    const auto rank = [](QMetaType::Type type) {
        switch (type) {
        case QMetaType::Int:
            return 1;
        case QMetaType::UInt:
        case QMetaType::LongLong:
            return 2;
        case QMetaType::Double:
            return 3;
        default:
            return 0;
        }
    };
    if (a == b) {
        return a;
    }
    return rank(a) > 0 && rank(b) > 0 ? (rank(a) > rank(b) ? a : b) : QMetaType::QString;
}

} // namespace Cartolith::Core::Layers::Internal
