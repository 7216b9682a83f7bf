#include <Cartolith/Core/Layers/Ogr/OgrFieldWritingInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>

#include <QDateTime>
#include <QJsonDocument>

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

/// A date and time without a zone is what a clock showed somewhere. Here it may be one that the clocks leave
/// out, which Qt takes for invalid; so the zone is one that leaves nothing out.
QDateTime asRead(const QDateTime& local) {
    return {local.date(), local.time(), Qt::UTC};
}

std::optional<QString> textOf(const QVariant& value);

/// With texts for what JSON has no word for; Qt would take some of them for empty texts.
std::optional<QVariant> jsonValueOf(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::QVariantList: {
        QVariantList list;
        for (const QVariant& item : value.toList()) {
            const auto made = jsonValueOf(item);
            if (!made) {
                return std::nullopt;
            }
            list.append(*made);
        }
        return list;
    }
    case QMetaType::QVariantMap: {
        const QVariantMap given = value.toMap();
        QVariantMap map;
        for (auto it = given.cbegin(); it != given.cend(); ++it) {
            const auto made = jsonValueOf(*it);
            if (!made) {
                return std::nullopt;
            }
            map.insert(it.key(), *made);
        }
        return map;
    }
    case QMetaType::QDateTime:
    case QMetaType::QTime:
    case QMetaType::QDate:
    case QMetaType::QByteArray: {
        const auto text = textOf(value);
        return value.isNull() ? std::optional<QVariant>(QVariant())
               : text         ? std::optional<QVariant>(*text)
                              : std::nullopt;
    }
    default:
        return value;
    }
}

/// ISO 8601 writes an offset in minutes, so a moment of another one is written as that of UTC.
QString textOfMoment(const QDateTime& moment) {
    if (moment.timeSpec() == Qt::LocalTime) {
        return asRead(moment).toString(Qt::ISODateWithMs).remove(QLatin1Char('Z'));
    }
    constexpr int minute = 60;
    return (moment.offsetFromUtc() % minute == 0 ? moment : moment.toUTC()).toString(Qt::ISODateWithMs);
}

/// A text that gives the value back. None for a date of a year that takes other than four digits.
std::optional<QString> textOf(const QVariant& value) {
    const auto orNone = [](const QString& text) {
        return text.isEmpty() ? std::nullopt : std::optional(text);
    };
    switch (value.typeId()) {
    case QMetaType::QDateTime:
        return orNone(textOfMoment(value.toDateTime()));
    case QMetaType::QTime:
        return orNone(value.toTime().toString(Qt::ISODateWithMs));
    case QMetaType::QDate:
        return orNone(value.toDate().toString(Qt::ISODate));
    case QMetaType::QByteArray:
        return QString::fromLatin1(value.toByteArray().toBase64());
    case QMetaType::QStringList:
    case QMetaType::QVariantList:
    case QMetaType::QVariantMap: {
        const auto json = jsonValueOf(value);
        return json ? std::optional(
                          QString::fromUtf8(QJsonDocument::fromVariant(*json).toJson(QJsonDocument::Compact)))
                    : std::nullopt;
    }
    default:
        return value.canConvert<QString>() ? std::optional(value.toString()) : std::nullopt;
    }
}

/// For messages.
QString nameOf(const QVariant& value) {
    const bool isDate = value.typeId() == QMetaType::QDate || value.typeId() == QMetaType::QDateTime;
    const QDate date = value.toDateTime().date();
    return isDate && date.isValid()
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

std::optional<double> realOf(const QVariant& value) {
    bool isNumber = false;
    const double number = value.toDouble(&isNumber);
    // A whole number must be the same as a real one.
    const bool isTextOrReal =
        isText(value) || typeOf(static_cast<QMetaType::Type>(value.typeId())) == OFTReal;
    const bool isKept = isTextOrReal || ((wholeOf(value) || value.typeId() == QMetaType::ULongLong) &&
                                         areSame(value, QVariant(number)));
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

/// Whether a text for a date has more than one, or a date with a time is given for a time.
bool saysMoreThan(OGRFieldType type, const QVariant& value) {
    constexpr qsizetype dateLength = 10;
    return value.typeId() == QMetaType::QString ? type == OFTDate && value.toString().size() != dateLength
                                                : type == OFTTime && value.typeId() == QMetaType::QDateTime;
}

bool setTime(OGRFeature& feature, int index, const QVariant& value, OGRFieldType type) {
    QDateTime moment;
    bool isLocal = false;
    if (saysMoreThan(type, value)) {
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
        moment = isLocal ? asRead(moment) : moment;
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
        if (!number ||
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
    for (const QString& text : value.toStringList()) {
        texts.AddString(savedTextOf(text).constData());
    }
    feature.SetField(index, texts.List());
    return true;
}

bool set(OGRFeature& feature, int index, const QVariant& value) {
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
        const std::optional<double> number = realOf(value);
        if (number) {
            feature.SetField(index, *number);
        }
        return number.has_value();
    }
    case OFTDate:
    case OFTTime:
    case OFTDateTime:
        return setTime(feature, index, value, field.GetType());
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
        return setList<double>(feature, index, value, realOf);
    case OFTStringList:
        return setStrings(feature, index, value);
    default: {
        const std::optional<QString> text = textOf(value);
        if (text) {
            feature.SetField(index, savedTextOf(*text).constData());
        }
        return text.has_value();
    }
    }
}

bool isNothing(const QVariant& value) {
    const bool isReal = value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float;
    return !value.isValid() || value.isNull() || (isReal && std::isnan(value.toDouble()));
}

} // namespace

QByteArray savedTextOf(const QString& text) {
    if (text.contains(QChar(0))) {
        throw std::runtime_error("a text with the character U+0000 cannot be saved");
    }
    if (!text.isValidUtf16()) {
        throw std::runtime_error("a text with half a surrogate pair cannot be saved");
    }
    return text.toUtf8();
}

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
    const bool isOfValues =
        definition.type() == QMetaType::QVariantList || definition.type() == QMetaType::QVariantMap;
    if (isOfValues && type == OFTString && QByteArrayView(driver.GetDescription()).startsWith("GeoJSON")) {
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

void setField(OGRFeature& feature, int index, const QVariant& value) {
    if (isNothing(value)) {
        feature.SetFieldNull(index);
        return;
    }
    const OGRFieldDefn& field = *feature.GetFieldDefnRef(index);
    bool isSet = false;
    try {
        isSet = set(feature, index, value);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(
            QStringLiteral("the field '%1': %2")
                .arg(QString::fromUtf8(field.GetNameRef()), QString::fromUtf8(error.what()))
                .toStdString());
    }
    if (!isSet) {
        const QString text = textOf(value).value_or(nameOf(value));
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
