#include <Cartolith/Core/Layers/Ogr/PostgresTableInternal.h>

#include <QLocale>
#include <QRegularExpression>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <map>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

namespace {

[[noreturn]] void refuse(const QString& value, const OGRFieldDefn& field, const QString& why) {
    constexpr qsizetype most = 40;
    throw std::runtime_error(QStringLiteral("the value '%1' %2 of the field '%3'")
                                 .arg(value.size() > most ? value.left(most) + QStringLiteral("...") : value,
                                      why, QString::fromUtf8(field.GetNameRef()))
                                 .toStdString());
}

/// A number written out, which holds more digits than a double: sign, digits, decimals, exponent.
const QRegularExpression& decimal() {
    static const QRegularExpression expression(
        QStringLiteral(R"(^\s*[+-]?(\d+\.?\d*|\.\d+)([eE][+-]?\d{1,4})?\s*$)"));
    return expression;
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
    if (type != OFTTime) { // there is no year 0: 1 BC is before 1 AD
        text = QStringLiteral("%1-%2-%3")
                   .arg(year > 0 ? year : 1 - year, 4, 10, QLatin1Char('0'))
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
    if (type != OFTTime && year <= 0) {
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
            items.append(QByteArray::number(values[i], 'g', 17));
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

} // namespace

PostgresTable::PostgresTable(GDALDataset& source, OGRLayer& layer) : m_source(source) {
    OGRFeatureDefn& schema = *layer.GetLayerDefn();
    const QByteArray geometry = layer.GetGeometryColumn();
    QByteArray listed = layer.GetName();
    if (!geometry.isEmpty() && listed.endsWith('(' + geometry + ')')) { // one of several in the table
        listed.chop(geometry.size() + 2);
    }
    const QByteArray text = quotedText(listed);
    const SqlRows found = execute(
        source, "SELECT c.oid::text, n.nspname::text, c.relname::text FROM pg_catalog.pg_class c JOIN "
                "pg_catalog.pg_namespace n ON n.oid = c.relnamespace WHERE c.relkind IN "
                "('r','p','v','m','f') AND ((c.relname =" +
                    text + " AND n.nspname = current_schema()) OR n.nspname || '.' || c.relname =" + text +
                    ") ORDER BY n.nspname = current_schema() DESC LIMIT 1");
    if (found.isEmpty()) {
        throw std::runtime_error("there is no such table any more");
    }
    m_name = quotedName(found[0][1]) + '.' + quotedName(found[0][2]);
    const QByteArray key = layer.GetFIDColumn();
    m_key = key.isEmpty() ? QByteArray() : quotedName(key);

    const SqlRows columns = execute(
        source,
        "SELECT a.attname::text, format_type(CASE WHEN t.typbasetype <> 0 THEN t.typbasetype ELSE t.oid "
        "END, NULL), (CASE WHEN t.typbasetype <> 0 THEN t.typtypmod ELSE a.atttypmod END)::text FROM "
        "pg_catalog.pg_attribute a JOIN pg_catalog.pg_type t ON t.oid = a.atttypid WHERE a.attnum > 0 AND "
        "NOT a.attisdropped AND a.attrelid = " +
            found[0][0]);
    std::map<QByteArray, Column> known;
    for (const QList<QByteArray>& row : columns) {
        known[row[0]] = {quotedName(row[0]), QString::fromUtf8(row[1]), row[2].toInt()};
    }
    for (int i = 0; i < schema.GetFieldCount(); ++i) {
        const auto column = known.find(schema.GetFieldDefn(i)->GetNameRef());
        m_hasLostColumns = m_hasLostColumns || column == known.end();
        m_columns.push_back(column != known.end() ? column->second : Column());
    }
    m_hasLostColumns = m_hasLostColumns || (!key.isEmpty() && known.find(key) == known.end()) ||
                       (!geometry.isEmpty() && known.find(geometry) == known.end());
    if (!geometry.isEmpty() && !m_hasLostColumns) {
        const Column& column = known.at(geometry);
        m_geometry = column.name;
        m_geometryType = column.type.toUtf8();
        const bool isGeography = m_geometryType.endsWith("geography");
        if (column.modifier >= 0) {
            m_system = (column.modifier & 0x0FFFFF00) >> 8; // as PostGIS packs it
        }
        m_system = isGeography && m_system == 0 ? 4326 : m_system;
    }
}

bool PostgresTable::hasSeveralSystems() {
    if (m_system != 0 || !m_geometryType.endsWith("geometry")) {
        return false;
    }
    return execute(m_source, "SELECT DISTINCT ST_SRID(" + m_geometry + ") FROM " + m_name + " WHERE " +
                                 m_geometry + " IS NOT NULL LIMIT 2")
               .size() > 1;
}

int PostgresTable::firstSystem() {
    if (m_usedSystem < 0 && m_system == 0) {
        const SqlRows found = execute(m_source, "SELECT ST_SRID(" + m_geometry + ") FROM " + m_name +
                                                    " WHERE " + m_geometry + " IS NOT NULL LIMIT 1");
        m_usedSystem = found.isEmpty() ? 0 : found[0][0].toInt();
    }
    return m_system != 0 ? m_system : m_usedSystem;
}

QByteArray PostgresTable::literal(const OGRGeometry* geometry) {
    if (geometry == nullptr) {
        return "NULL";
    }
    std::vector<unsigned char> wkb(geometry->WkbSize());
    geometry->exportToWkb(wkbNDR, wkb.data(), wkbVariantIso);
    const QByteArrayView bytes(wkb.data(), static_cast<qsizetype>(wkb.size()));
    return "ST_SetSRID('" + bytes.toByteArray().toHex() + "'::geometry," + QByteArray::number(firstSystem()) +
           ')';
}

QByteArray PostgresTable::literal(OGRFeature& feature, int index, const QVariant& value) const {
    if (!feature.IsFieldSetAndNotNull(index)) {
        return "NULL";
    }
    const OGRFieldDefn& field = *feature.GetFieldDefnRef(index);
    const Column& column = m_columns.at(static_cast<std::size_t>(index));
    const bool isText = value.typeId() == QMetaType::QString;
    switch (field.GetType()) {
    case OFTInteger:
        if (field.GetSubType() == OFSTBoolean) {
            return feature.GetFieldAsInteger(index) != 0 ? "'t'" : "'f'";
        }
        return quotedText(QByteArray::number(feature.GetFieldAsInteger(index)));
    case OFTInteger64:
        return quotedText(QByteArray::number(qint64{feature.GetFieldAsInteger64(index)}));
    case OFTReal: {
        const double number = feature.GetFieldAsDouble(index);
        const bool isNumeric = column.type == QLatin1String("numeric");
        QString text = QString::number(number, 'g', QLocale::FloatingPointShortest);
        if (isNumeric && isText && decimal().match(value.toString()).hasMatch()) {
            text = value.toString().trimmed();
            const int scale = (column.modifier - 4) & 0x7FF;
            if (column.modifier >= 4 && !text.contains(QLatin1Char('e'), Qt::CaseInsensitive) &&
                decimalsOf(text) > scale) {
                refuse(text, field, QStringLiteral("has more than the %1 decimals").arg(scale));
            }
        }
        if (column.type == QLatin1String("real")) {
            if (shortestText(number) != shortestText(static_cast<float>(number))) {
                refuse(text, field, QStringLiteral("has more digits than those"));
            }
        }
        return quotedText(text.toUtf8());
    }
    case OFTDate:
        return quotedText(timeText(feature, index, OFTDate));
    case OFTTime:
    case OFTDateTime: {
        static const QRegularExpression exact(QStringLiteral(R"(^[0-9T:.+\-Z ]+$)"));
        const bool isExact = isText && exact.match(value.toString()).hasMatch();
        const QByteArray text =
            isExact ? value.toString().toUtf8() : timeText(feature, index, field.GetType());
        const int most = column.modifier >= 0 ? column.modifier : 6;
        if (decimalsOf(QString::fromUtf8(text)) > most) {
            refuse(QString::fromUtf8(text), field, QStringLiteral("has more than the %1 decimals").arg(most));
        }
        return quotedText(text);
    }
    case OFTBinary: {
        int size = 0;
        const GByte* const bytes = feature.GetFieldAsBinary(index, &size);
        return quotedText("\\x" + QByteArrayView(bytes, size).toByteArray().toHex());
    }
    case OFTIntegerList:
    case OFTInteger64List:
    case OFTRealList:
    case OFTStringList:
        return quotedText(arrayText(feature, index, field.GetType()));
    default: {
        const QByteArray bytes(feature.GetFieldAsString(index));
        const bool isBounded =
            column.type == QLatin1String("character varying") || column.type == QLatin1String("character");
        const QString text = QString::fromUtf8(bytes);
        // The server itself cuts blanks.
        if (isBounded && column.modifier >= 4 && text.toUcs4().size() > column.modifier - 4) {
            refuse(text, field, QStringLiteral("has more than the %1 characters").arg(column.modifier - 4));
        }
        return quotedText(bytes);
    }
    }
}

} // namespace Cartolith::Core::Layers::Internal
