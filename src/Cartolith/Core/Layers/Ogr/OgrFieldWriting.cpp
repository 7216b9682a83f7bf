#include <Cartolith/Core/Layers/Json/JsonTextInternal.h>
#include <Cartolith/Core/Layers/Ogr/ExactTextsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldWritingInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/Ogr/ValueTextInternal.h>

#include <QDateTime>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <stdexcept>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

namespace {

OGRFieldType typeOf(QMetaType::Type type) {
    switch (type) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
        return OFTInteger;
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return OFTInteger64;
    case QMetaType::Float:
    case QMetaType::Double:
        return OFTReal;
    case QMetaType::QDate:
        return OFTDate;
    case QMetaType::QTime:
        return OFTTime;
    case QMetaType::QDateTime:
        return OFTDateTime;
    case QMetaType::QByteArray:
        return OFTBinary;
    case QMetaType::QStringList:
        return OFTStringList;
    default:
        return OFTString;
    }
}

bool isListed(GDALDriver& driver, const char* item, const char* name) {
    const char* const given = driver.GetMetadataItem(item);
    const QString list = QString::fromUtf8(given);
    const auto words = QStringView(list).split(QLatin1Char(' '));
    return std::any_of(words.begin(), words.end(),
                       [name](QStringView word) { return word == QLatin1String(name); });
}

/// Of lists, maps and hashes.
bool isOfValues(int type) {
    return type == QMetaType::QVariantList || type == QMetaType::QVariantMap ||
           type == QMetaType::QVariantHash;
}

/// For messages.
QString shownValue(const QVariant& value) {
    std::optional<QString> text;
    try {
        text = savedTextOf(value);
    } catch (const std::runtime_error&) { // a text within that cannot be saved
    }
    const bool isDate = value.typeId() == QMetaType::QDate || value.typeId() == QMetaType::QDateTime;
    const QDate date = value.toDateTime().date();
    return text ? *text
           : isDate && date.isValid()
               ? QStringLiteral("%1-%2-%3").arg(date.year()).arg(date.month()).arg(date.day())
               : QString::fromLatin1(value.typeName());
}

bool isText(const QVariant& value) {
    return value.typeId() == QMetaType::QString;
}

/// Unset for anything that is not a whole number of 64 bits with a sign.
std::optional<qint64> wholeOf(const QVariant& value) {
    bool isWhole = false;
    qint64 number = 0;
    switch (value.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float: {
        const double real = value.toDouble();
        constexpr double limit = 9223372036854775808.0;
        isWhole = std::trunc(real) == real && real >= -limit && real < limit;
        number = isWhole ? static_cast<qint64>(real) : 0;
        break;
    }
    case QMetaType::ULongLong:
    case QMetaType::ULong:
        number = static_cast<qint64>(value.toULongLong());
        isWhole = number >= 0;
        break;
    case QMetaType::Bool:
        return value.toBool() ? 1 : 0;
    default:
        if (isText(value) || typeOf(static_cast<QMetaType::Type>(value.typeId())) == OFTInteger ||
            typeOf(static_cast<QMetaType::Type>(value.typeId())) == OFTInteger64) {
            number = value.toLongLong(&isWhole);
        }
    }
    return isWhole ? std::optional(number) : std::nullopt;
}

/// Whether a text for a whole number, however long, says what a real one is.
bool saysSame(const QString& text, double number) {
    const QByteArray given = text.trimmed().toUtf8();
    return !hasDecimals(given, 0).value_or(false) ||
           areSameDecimals(given, QByteArray::number(number, 'f', 0));
}

std::optional<double> realOf(const QVariant& value, TextDigits digits = TextDigits::Held) {
    bool isNumber = false;
    const double number = value.toDouble(&isNumber);
    const bool isReal = typeOf(static_cast<QMetaType::Type>(value.typeId())) == OFTReal;
    const auto whole = isReal ? std::nullopt : wholeOf(value);
    // A whole number must be the same as a real one.
    const bool isKept = isReal || (isText(value) && digits == TextDigits::Any) ||
                        (whole           ? number == 0.0 || areSame(QVariant::fromValue(*whole), number)
                         : isText(value) ? saysSame(value.toString(), number)
                                         : areSame(value, number));
    return isNumber && isKept && std::isfinite(number) ? std::optional(number) : std::nullopt;
}

bool setWhole(OGRFeature& feature, int index, const QVariant& value, qint64 least, qint64 most) {
    const std::optional<qint64> number = wholeOf(value);
    if (!number || *number < least || *number > most) {
        return false;
    }
    feature.SetField(index, static_cast<GIntBig>(*number));
    return true;
}

/// Whether a text for a date has more than one, or one for a time more digits than are kept, or a date with a
/// time is given for a time.
bool saysMoreThan(OGRFieldType type, const QVariant& value, TextDigits digits) {
    if (!isText(value)) {
        return type == OFTTime && value.typeId() == QMetaType::QDateTime;
    }
    const QString text = value.toString();
    if (type == OFTDate) {
        constexpr qsizetype dateLength = 10;
        return text.size() != dateLength;
    }
    if (digits == TextDigits::Any) {
        return false;
    }
    constexpr qsizetype kept = 3;
    qsizetype at = std::max(text.lastIndexOf(QLatin1Char('.')), text.lastIndexOf(QLatin1Char(',')));
    for (at = at < 0 ? text.size() : at + 1 + kept; at < text.size() && text[at].isDigit(); ++at) {
        if (text[at] != QLatin1Char('0')) {
            return true;
        }
    }
    return false;
}

bool setTime(OGRFeature& feature, int index, const QVariant& value, OGRFieldType type, TextDigits digits) {
    QDateTime moment;
    bool isLocal = false;
    if (saysMoreThan(type, value, digits)) {
        return false;
    }
    if (type == OFTTime) {
        moment = value.toTime().isValid() ? QDateTime(QDate(2000, 1, 1), value.toTime()) : QDateTime();
    } else if (value.typeId() == QMetaType::QDate || type == OFTDate) {
        moment = value.toDate().startOfDay(Qt::UTC);
        // A time of day has no place in a date.
        if (value.typeId() == QMetaType::QDateTime && value.toDateTime().time() != QTime(0, 0)) {
            return false;
        }
    } else {
        moment = value.toDateTime();
        isLocal = moment.timeSpec() == Qt::LocalTime;
        moment = isLocal ? withoutGaps(moment) : moment;
    }
    if (!moment.isValid() || moment.date().year() < -32768 || moment.date().year() > 32767) {
        return false;
    }
    // 0 is an unknown zone, 100 UTC, and each step beside it a quarter of an hour.
    constexpr int quarter = 15 * 60;
    int zone = 0;
    if (type == OFTDateTime && value.typeId() != QMetaType::QDate && !isLocal) {
        if (moment.offsetFromUtc() % quarter != 0) {
            moment = moment.toUTC();
        }
        zone = 100 + moment.offsetFromUtc() / quarter;
    }
    const QDate date = moment.date();
    const QTime time = moment.time();
    const double seconds = time.second() + time.msec() / 1000.0;
    feature.SetField(index, date.year(), date.month(), date.day(), time.hour(), time.minute(),
                     static_cast<float>(seconds), zone);
    return true;
}

template <typename Number, typename Convert>
bool setList(OGRFeature& feature, int index, const QVariant& value, const Convert& convert) {
    if (value.typeId() != QMetaType::QVariantList && value.typeId() != QMetaType::QStringList) {
        return false;
    }
    std::vector<Number> numbers;
    for (const QVariant& item : value.toList()) {
        const auto number = convert(item);
        if (!number || isSavedAsNull(item) ||
            static_cast<double>(*number) > static_cast<double>(std::numeric_limits<Number>::max()) ||
            static_cast<double>(*number) < static_cast<double>(std::numeric_limits<Number>::lowest())) {
            return false;
        }
        numbers.push_back(static_cast<Number>(*number));
    }
    feature.SetField(index, static_cast<int>(numbers.size()), numbers.data());
    return true;
}

bool setStrings(OGRFeature& feature, int index, const QVariant& value) {
    if (value.typeId() != QMetaType::QVariantList && value.typeId() != QMetaType::QStringList) {
        return false;
    }
    CPLStringList texts;
    for (const QVariant& item : value.toList()) {
        if (!isText(item)) {
            return false;
        }
        texts.AddString(savedTextOf(item.toString()).constData());
    }
    feature.SetField(index, texts.List());
    return true;
}

bool set(OGRFeature& feature, int index, const QVariant& value, TextDigits digits) {
    const OGRFieldDefn& field = *feature.GetFieldDefnRef(index);
    switch (field.GetType()) {
    case OFTInteger: {
        using Limits = std::numeric_limits<qint32>;
        const bool isFlag = field.GetSubType() == OFSTBoolean;
        if (field.GetSubType() == OFSTInt16) {
            using Short = std::numeric_limits<qint16>;
            return setWhole(feature, index, value, Short::min(), Short::max());
        }
        return setWhole(feature, index, value, isFlag ? 0 : Limits::min(), isFlag ? 1 : Limits::max());
    }
    case OFTInteger64:
        return setWhole(feature, index, value, std::numeric_limits<qint64>::min(),
                        std::numeric_limits<qint64>::max());
    case OFTReal: {
        const std::optional<double> number = realOf(value, digits);
        if (number) {
            feature.SetField(index, *number);
        }
        return number.has_value();
    }
    case OFTDate:
    case OFTTime:
    case OFTDateTime:
        return setTime(feature, index, value, field.GetType(), digits);
    case OFTBinary: {
        const QByteArray bytes = value.toByteArray();
        if (value.typeId() == QMetaType::QByteArray) {
            feature.SetField(index, static_cast<int>(bytes.size()), bytes.constData());
        }
        return value.typeId() == QMetaType::QByteArray;
    }
    case OFTIntegerList:
        return setList<int>(feature, index, value, wholeOf);
    case OFTInteger64List:
        return setList<GIntBig>(feature, index, value, wholeOf);
    case OFTRealList:
        return setList<double>(feature, index, value, [](const QVariant& item) { return realOf(item); });
    case OFTStringList:
        return setStrings(feature, index, value);
    default: {
        const std::optional<QString> text = savedTextOf(value);
        const QByteArray bytes = text ? savedTextOf(*text) : QByteArray();
        // Lists too deep for readers would become texts.
        const bool isSet =
            text && (field.GetSubType() != OFSTJSON || !isOfValues(value.typeId()) || isJson(bytes));
        if (isSet) {
            feature.SetField(index, bytes.constData());
        }
        return isSet;
    }
    }
}

} // namespace

bool isKeptBy(int decimals, double number) {
    constexpr int digits = 15;
    const double kept = QString::number(number, 'f', decimals).toDouble();
    return QString::number(kept, 'g', digits) == QString::number(number, 'g', digits);
}

std::unique_ptr<OGRFieldDefn> fieldOf(const Defs::GisAttributeDefinition& definition, GDALDriver& driver) {
    OGRFieldType type = typeOf(definition.type());
    const bool hasType =
        isListed(driver, GDAL_DMD_CREATIONFIELDDATATYPES, OGRFieldDefn::GetFieldTypeName(type));
    if (!hasType) {
        type = OFTString;
    }
    auto field = std::make_unique<OGRFieldDefn>(savedTextOf(definition.name()).constData(), type);
    if (isOfValues(definition.type()) && type == OFTString &&
        QByteArrayView(driver.GetDescription()).startsWith("GeoJSON")) {
        field->SetSubType(OFSTJSON);
    }
    if (definition.type() == QMetaType::Bool &&
        isListed(driver, GDAL_DMD_CREATIONFIELDDATASUBTYPES, "Boolean")) {
        field->SetSubType(OFSTBoolean);
    }
    if (hasType) {
        field->SetWidth(definition.width());
        field->SetPrecision(definition.precision());
    }
    if (isListed(driver, GDAL_DCAP_NOTNULL_FIELDS, "YES")) {
        field->SetNullable(definition.isNullable() ? 1 : 0);
    }
    return field;
}

void setField(OGRFeature& feature, int index, const QVariant& value, TextDigits digits) {
    if (isSavedAsNull(value)) {
        feature.SetFieldNull(index);
        return;
    }
    const OGRFieldDefn& field = *feature.GetFieldDefnRef(index);
    bool isSet = false;
    try {
        isSet = set(feature, index, value, digits);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(
            QStringLiteral("the field '%1': %2")
                .arg(QString::fromUtf8(field.GetNameRef()), QString::fromUtf8(error.what()))
                .toStdString());
    }
    if (!isSet) {
        const QString text = shownValue(value);
        constexpr qsizetype most = 40;
        throw std::runtime_error(
            QStringLiteral("the value '%1' is none for the field '%2' of type %3")
                .arg(text.size() > most ? text.left(most) + QStringLiteral("...") : text,
                     QString::fromUtf8(field.GetNameRef()),
                     QString::fromLatin1(OGRFieldDefn::GetFieldTypeName(field.GetType())))
                .toStdString());
    }
}

} // namespace Cartolith::Core::Layers::Internal
