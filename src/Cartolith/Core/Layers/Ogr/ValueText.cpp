#include <Cartolith/Core/Layers/Ogr/ValueTextInternal.h>

#include <QJsonValue>
#include <QMap>
#include <QVariant>

#include <cmath>
#include <limits>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

namespace {

/// ISO 8601 writes an offset in minutes, and GDAL knows quarters of an hour: a moment of another one is
/// written as that of UTC.
QString textOfMoment(const QDateTime& moment) {
    if (moment.timeSpec() == Qt::LocalTime) {
        return withoutGaps(moment).toString(Qt::ISODateWithMs).remove(QLatin1Char('Z'));
    }
    constexpr int quarter = 15 * 60;
    return (moment.offsetFromUtc() % quarter == 0 ? moment : moment.toUTC()).toString(Qt::ISODateWithMs);
}

QString quoted(const QString& text) {
    savedTextOf(text); // or it throws
    QString json(QLatin1Char('"'));
    for (const QChar c : text) {
        if (c < QLatin1Char(' ') || c == QChar(QChar::ByteOrderMark)) { // which readers pass over
            constexpr int digits = 4;
            json += QStringLiteral("\\u%1").arg(int{c.unicode()}, digits, 16, QLatin1Char('0'));
        } else {
            json += c == QLatin1Char('"') || c == QLatin1Char('\\') ? QLatin1String("\\") : QLatin1String();
            json += c;
        }
    }
    return json + QLatin1Char('"');
}

/// Values of JSON, not by Qt's writer, which makes of long numbers, infinity and dates of other years others.
class JsonWriter {
public:
    std::optional<QString> written(const QVariant& value) {
        return write(value) ? std::optional(m_json) : std::nullopt;
    }

private:
    bool write(const QVariant& value) {
        if (isSavedAsNull(value)) {
            m_json += QLatin1String("null");
            return true;
        }
        switch (value.typeId()) {
        case QMetaType::QVariantList:
        case QMetaType::QStringList:
            return writeList(value.toList());
        case QMetaType::QVariantMap:
            return writeMap(value.toMap());
        case QMetaType::QVariantHash: {
            const QVariantHash hash = value.toHash();
            QVariantMap map;
            for (auto it = hash.cbegin(); it != hash.cend(); ++it) {
                map.insert(it.key(), *it);
            }
            return writeMap(map);
        }
        case QMetaType::QJsonValue:
        case QMetaType::QJsonObject:
        case QMetaType::QJsonArray:
            return write(value.toJsonValue().toVariant());
        case QMetaType::Bool:
            m_json += value.toBool() ? QLatin1String("true") : QLatin1String("false");
            return true;
        case QMetaType::Double:
        case QMetaType::Float:
            m_json += QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
            return std::isfinite(value.toDouble());
        case QMetaType::ULong:
        case QMetaType::ULongLong:
            m_json += QString::number(value.toULongLong());
            return value.toULongLong() <= static_cast<quint64>(std::numeric_limits<qint64>::max());
        case QMetaType::LongLong:
        case QMetaType::Long:
        case QMetaType::UInt:
        case QMetaType::Int:
        case QMetaType::UShort:
        case QMetaType::Short:
        case QMetaType::UChar:
        case QMetaType::SChar:
        case QMetaType::Char:
            m_json += QString::number(value.toLongLong());
            return true;
        default: {
            const auto text = savedTextOf(value);
            m_json += text ? quoted(*text) : QString();
            return text.has_value();
        }
        }
    }

    bool writeList(const QVariantList& list) {
        m_json += QLatin1Char('[');
        for (qsizetype i = 0; i < list.size(); ++i) {
            m_json += i > 0 ? QLatin1String(",") : QLatin1String();
            if (!write(list.at(i))) {
                return false;
            }
        }
        m_json += QLatin1Char(']');
        return true;
    }

    bool writeMap(const QVariantMap& map) {
        m_json += QLatin1Char('{');
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            m_json += it != map.cbegin() ? QLatin1String(",") : QLatin1String();
            m_json += quoted(it.key());
            m_json += QLatin1Char(':');
            if (!write(*it)) {
                return false;
            }
        }
        m_json += QLatin1Char('}');
        return true;
    }

    QString m_json;
};

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

std::optional<QString> savedTextOf(const QVariant& value) {
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
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash:
        return JsonWriter().written(value);
    default:
        return value.canConvert<QString>() ? std::optional(value.toString()) : std::nullopt;
    }
}

bool isSavedAsNull(const QVariant& value) {
    const bool isReal = value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float;
    return !value.isValid() || value.isNull() || (isReal && std::isnan(value.toDouble()));
}

QDateTime withoutGaps(const QDateTime& local) {
    return {local.date(), local.time(), Qt::UTC};
}

} // namespace Cartolith::Core::Layers::Internal
