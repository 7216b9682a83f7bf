#include <Cartolith/Core/Layers/Ogr/ExactTextsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldWritingInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresColumnInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTextInternal.h>

#include <QRegularExpression>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

namespace {

[[noreturn]] void refuse(const QString& value, const OGRFieldDefn& field, const QString& why) {
    constexpr qsizetype most = 40;
    throw std::runtime_error(QStringLiteral("the value '%1' %2 of the field '%3'")
                                 .arg(value.size() > most ? value.left(most) + QStringLiteral("...") : value,
                                      why, QString::fromUtf8(field.GetNameRef()))
                                 .toStdString());
}

/// The digits behind the point, or behind the seconds, that are not zero at the end.
qsizetype decimalsOf(const QString& text) {
    static const QRegularExpression behindPoint(QStringLiteral(R"(\.(\d*?)0*(?!\d))"));
    return behindPoint.match(text).captured(1).size();
}

/// A number of either type as a column of single precision shows it.
template <typename Number>
QByteArray shortestText(Number number) {
    char text[64];
    const auto end = std::to_chars(std::begin(text), std::end(text), number).ptr;
    return {static_cast<const char*>(text), end - static_cast<const char*>(text)};
}

QByteArray timeText(OGRFeature& feature, int index, OGRFieldType type) {
    const auto& moment = feature.GetRawFieldRef(index)->Date;
    const int year = moment.Year;
    const long milliseconds = std::min(59999L, std::lround(static_cast<double>(moment.Second) * 1000.0));
    QString text;
    if (type != OFTTime) {
        text = QStringLiteral("%1-%2-%3")
                   .arg(std::abs(year), 4, 10, QLatin1Char('0'))
                   .arg(int{moment.Month}, 2, 10, QLatin1Char('0'))
                   .arg(int{moment.Day}, 2, 10, QLatin1Char('0'));
    }
    if (type != OFTDate) {
        text += QStringLiteral(" %1:%2:%3.%4")
                    .arg(int{moment.Hour}, 2, 10, QLatin1Char('0'))
                    .arg(int{moment.Minute}, 2, 10, QLatin1Char('0'))
                    .arg(milliseconds / 1000, 2, 10, QLatin1Char('0'))
                    .arg(milliseconds % 1000, 3, 10, QLatin1Char('0'));
    }
    if (type == OFTDateTime && moment.TZFlag > 1) { // each step beside 100 is a quarter of an hour
        const int quarters = moment.TZFlag - 100;
        text += QStringLiteral("%1%2:%3")
                    .arg(quarters < 0 ? QLatin1Char('-') : QLatin1Char('+'))
                    .arg(std::abs(quarters) / 4, 2, 10, QLatin1Char('0'))
                    .arg(std::abs(quarters) % 4 * 15, 2, 10, QLatin1Char('0'));
    }
    if (type != OFTTime && year < 0) {
        text += QStringLiteral(" BC");
    }
    return text.toUtf8();
}

QByteArray arrayText(OGRFeature& feature, int index, OGRFieldType type) {
    QByteArrayList items;
    int count = 0;
    if (type == OFTStringList) {
        for (char** text = feature.GetFieldAsStringList(index); text != nullptr && *text != nullptr; ++text) {
            items.append('"' + QByteArray(*text).replace('\\', "\\\\").replace('"', "\\\"") + '"');
        }
    } else if (type == OFTRealList) {
        const double* const values = feature.GetFieldAsDoubleList(index, &count);
        for (int i = 0; i < count; ++i) {
            items.append(shortestText(values[i]));
        }
    } else if (type == OFTInteger64List) {
        const GIntBig* const values = feature.GetFieldAsInteger64List(index, &count);
        for (int i = 0; i < count; ++i) {
            items.append(QByteArray::number(qint64{values[i]}));
        }
    } else {
        const int* const values = feature.GetFieldAsIntegerList(index, &count);
        for (int i = 0; i < count; ++i) {
            items.append(QByteArray::number(values[i]));
        }
    }
    return '{' + items.join(',') + '}';
}

/// The digits of the brackets of numeric(precision,scale); without brackets, as many as there are.
struct NumericSize {
    int precision = 0;
    int scale = 0;
};
std::optional<NumericSize> numericSize(const PostgresColumn& column) {
    if (column.modifier < 4) {
        return std::nullopt;
    }
    const int packed = column.modifier - 4;
    return NumericSize{packed >> 16, ((packed & 0x7FF) ^ 0x400) - 0x400};
}

/// A double as it goes into a column of so many decimals: its fifteen certain digits may do.
QByteArray numericText(double number, const std::optional<NumericSize>& size) {
    const QByteArray text = shortestText(number);
    const bool isRounded = size && size->scale >= 0 && !hasDecimals(text, size->scale).value_or(true) &&
                           isKeptBy(size->scale, number);
    return isRounded ? QByteArray::number(number, 'f', size->scale) : text;
}

void requireDecimals(const QByteArray& text, const PostgresColumn& column, const OGRFieldDefn& field) {
    const auto size = numericSize(column);
    if (size && !hasDecimals(text, size->scale).value_or(true)) {
        refuse(QString::fromUtf8(text), field,
               size->scale >= 0 ? QStringLiteral("has more than the %1 decimals").arg(size->scale)
                                : QStringLiteral("has more digits than those"));
    }
}

void requireSingle(double number, const OGRFieldDefn& field) {
    if (shortestText(number) != shortestText(static_cast<float>(number))) {
        refuse(QString::fromUtf8(shortestText(number)), field, QStringLiteral("has more digits than those"));
    }
}

/// GDAL writes a clock's time into a column of moments as the server's zone has it, and a moment into a
/// column of clocks' times without its zone.
void requireZone(const QByteArray& text, bool hasZone, const PostgresColumn& column,
                 const OGRFieldDefn& field) {
    const bool wantsZone = column.type == "timestamp with time zone";
    if (wantsZone != hasZone) {
        refuse(QString::fromUtf8(text), field,
               wantsZone ? QStringLiteral("has no time zone, unlike those")
                         : QStringLiteral("has a time zone, unlike those"));
    }
}

bool isList(OGRFieldType type) {
    return type == OFTIntegerList || type == OFTInteger64List || type == OFTRealList || type == OFTStringList;
}

/// Whether a number has more digits than a double keeps for certain. One that is none of a double's is not
/// made one, which would be an error.
QByteArray hasManyDigits(const QByteArray& number) {
    return "(CASE WHEN " + number + " = 'NaN' THEN false WHEN " + number + " = 0 OR abs(" + number +
           ") BETWEEN 1e-300 AND 1e300 THEN " + number + "::float8::numeric <> " + number + " ELSE true END)";
}

} // namespace

OGRFieldType PostgresColumn::betterType(OGRFieldType given, const QByteArray& type,
                                        const QByteArray& typeWithBrackets) {
    static const std::map<OGRFieldType, std::set<QByteArray>> known = {
        {OFTInteger, {"boolean", "smallint", "integer", "oid", "numeric"}},
        {OFTInteger64, {"bigint", "oid", "numeric"}},
        {OFTReal, {"real", "double precision", "numeric"}},
        {OFTDate, {"date"}},
        {OFTTime, {"time without time zone"}},
        {OFTDateTime, {"timestamp without time zone", "timestamp with time zone"}},
        {OFTBinary, {"bytea"}},
        {OFTIntegerList, {"boolean[]", "smallint[]", "integer[]"}},
        {OFTInteger64List, {"bigint[]"}},
        {OFTRealList, {"real[]", "double precision[]", "numeric[]"}},
        {OFTStringList, {"text[]", "character varying[]", "character[]", "bpchar[]"}}};
    const auto types = known.find(given);
    if (types == known.cend() || !types->second.contains(type)) {
        return OFTString;
    }
    constexpr int most = 18; // digits of 64 bits
    const bool isLong = typeWithBrackets.startsWith("numeric(") && typeWithBrackets.endsWith(",0)") &&
                        typeWithBrackets.mid(8, typeWithBrackets.indexOf(',') - 8).toInt() > most;
    return isLong ? OFTReal : given;
}

QByteArray PostgresColumn::isCut(OGRFieldType field) const {
    const QByteArray beyond =
        " OR NOT isfinite(" + name + ") OR " + name + " < '0001-01-01' OR " + name + " >= '10000-01-01')";
    if (isList(field)) { // of texts, GDAL loses empty ones and backslashes, and takes 'NULL' for null
        const bool isOfTexts = field == OFTStringList;
        return '(' + (isOfTexts ? "cardinality(" + name + ") = 0 OR " : QByteArray()) + "array_ndims(" +
               name + ") > 1 OR array_lower(" + name + ", 1) <> 1 OR EXISTS (SELECT 1 FROM unnest(" + name +
               ") AS e(e) WHERE e.e IS NULL" +
               (type == "numeric[]" ? " OR " + hasManyDigits("e.e") : QByteArray()) +
               (isOfTexts
                    ? " OR e.e::text = '' OR upper(e.e::text) = 'NULL' OR position(chr(92) IN e.e::text) > 0"
                    : "") +
               "))";
    }
    constexpr int certain = 15; // digits of a double
    if (type == "numeric" && (field == OFTReal || field == OFTInteger64 || field == OFTInteger)) {
        const auto size = numericSize(*this);
        const QByteArray isNone = field == OFTReal ? QByteArray() : '(' + name + " = 'NaN')";
        return size && size->precision <= certain + (field == OFTReal ? 0 : 3) && size->scale >= 0
                   ? isNone
                   : '(' + name + " IS NOT NULL AND " + hasManyDigits(name) + ')';
    }
    if (field == OFTDateTime) { // GDAL knows zones of quarters of an hour
        return "(date_trunc('milliseconds', " + name + ") <> " + name +
               (type == "timestamp with time zone" ? " OR extract(timezone FROM " + name + ")::int % 900 <> 0"
                                                   : QByteArray()) +
               beyond;
    }
    if (field == OFTDate) {
        return "(false" + beyond;
    }
    return field == OFTTime ? "(date_trunc('milliseconds', " + name + "::interval) <> " + name +
                                  "::interval OR " + name + " = '24:00')"
                            : QByteArray();
}

QByteArray PostgresColumn::differsFrom(const QByteArray& value) const {
    // As text, for not every type can be compared; but 1.50 is 1.5.
    return type.startsWith("numeric") ? "t." + name + " IS DISTINCT FROM " + value
                                      : "(t." + name + ")::text IS DISTINCT FROM (" + value + ")::text";
}

QByteArray PostgresColumn::literal(OGRFeature& feature, int index, const QVariant& value) const {
    if (!feature.IsFieldSetAndNotNull(index)) {
        return "NULL";
    }
    const OGRFieldDefn& field = *feature.GetFieldDefnRef(index);
    const bool isText = value.typeId() == QMetaType::QString;
    switch (field.GetType()) {
    case OFTInteger:
        if (field.GetSubType() == OFSTBoolean) {
            return feature.GetFieldAsInteger(index) != 0 ? "'t'" : "'f'";
        }
        [[fallthrough]];
    case OFTInteger64: {
        const QByteArray text = QByteArray::number(qint64{feature.GetFieldAsInteger64(index)});
        requireDecimals(text, *this, field);
        return quotedText(text);
    }
    case OFTReal: {
        const double number = feature.GetFieldAsDouble(index);
        QByteArray text = shortestText(number);
        if (type == "numeric") {
            const bool isExact = isText && hasDecimals(value.toString().toUtf8(), 0).has_value();
            text = isExact ? value.toString().trimmed().toUtf8() : numericText(number, numericSize(*this));
            requireDecimals(text, *this, field);
        } else if (const QByteArray given = isText ? value.toString().trimmed().toUtf8() : QByteArray();
                   hasDecimals(given, 0).value_or(false) &&
                   !areSameDecimals(given, QByteArray::number(number, 'f', 0))) {
            refuse(value.toString(), field, QStringLiteral("has more digits than those"));
        } else if (type == "real") {
            requireSingle(number, field);
        }
        return quotedText(text);
    }
    case OFTDate:
        return quotedText(timeText(feature, index, OFTDate));
    case OFTTime:
    case OFTDateTime: {
        // Without seconds, the server takes 12:30.5 for minutes and seconds.
        static const QRegularExpression exact(QStringLiteral(R"(^[0-9T\- ]*:[0-9]+:[0-9T:.+\-Z ]+$)"));
        const QString given =
            isText ? value.toString().replace(QLatin1Char(','), QLatin1Char('.')) : QString();
        const QByteArray text =
            exact.match(given).hasMatch() ? given.toUtf8() : timeText(feature, index, field.GetType());
        const int most = modifier >= 0 ? modifier : 6;
        if (decimalsOf(QString::fromUtf8(text)) > most) {
            refuse(QString::fromUtf8(text), field, QStringLiteral("has more than the %1 decimals").arg(most));
        }
        if (field.GetType() == OFTDateTime) {
            requireZone(text, feature.GetRawFieldRef(index)->Date.TZFlag > 1, *this, field);
        }
        return quotedText(text);
    }
    case OFTBinary: {
        int size = 0;
        const GByte* const bytes = feature.GetFieldAsBinary(index, &size);
        return quotedText("\\x" + QByteArrayView(bytes, size).toByteArray().toHex());
    }
    case OFTRealList: {
        int count = 0;
        const double* const values = feature.GetFieldAsDoubleList(index, &count);
        std::for_each(values, values + (type == "real[]" ? count : 0),
                      [&field](double number) { requireSingle(number, field); });
        return quotedText(arrayText(feature, index, OFTRealList));
    }
    case OFTIntegerList:
    case OFTInteger64List:
    case OFTStringList:
        return quotedText(arrayText(feature, index, field.GetType()));
    default: {
        const QByteArray bytes(feature.GetFieldAsString(index));
        const bool isBounded = type == "character varying" || type == "bpchar";
        const QString text = QString::fromUtf8(bytes);
        // The server itself cuts blanks.
        if (isBounded && modifier >= 4 && text.toUcs4().size() > modifier - 4) {
            refuse(text, field, QStringLiteral("has more than the %1 characters").arg(modifier - 4));
        }
        // What the server would round as it reads the text.
        const int most = type == "money" ? 2 : 6;
        const bool isRounded = type == "money" || type == "interval" || type == "time with time zone";
        if (isRounded && decimalsOf(text) > most) {
            refuse(text, field, QStringLiteral("has more than the %1 decimals").arg(most));
        }
        requireDecimals(type == "numeric" ? bytes : QByteArray(), *this, field);
        return quotedText(bytes);
    }
    }
}

} // namespace Cartolith::Core::Layers::Internal
