#include <Cartolith/Core/Common/BytesInternal.h>
#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrSourceInternal.h>
#include <Cartolith/Core/Layers/Requests/FilterNodeInternal.h>
#include <Cartolith/Core/Layers/Requests/FilterTokensInternal.h>
#include <Cartolith/Core/Layers/Requests/SqlFilterInternal.h>

#include <ogrsf_frmts.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Cartolith::Core::Layers::Internal {

namespace {

using Comparison = GisFeatureFilter::Comparison;

/// A double by whole numbers and powers of two: a decimal may be read as its neighbour. Null for one that
/// cannot be said so.
QString sqlReal(double number) {
    constexpr int mantissaBits = 53;
    constexpr int mostShift = 62; // of what is a whole number of 64 bits
    if (!std::isfinite(number)) {
        return {};
    }
    int exponent = 0;
    const auto mantissa = static_cast<qint64>(std::ldexp(std::frexp(number, &exponent), mantissaBits));
    exponent -= mantissaBits;
    if (std::abs(exponent) > mostShift) {
        return number == 0.0 ? QStringLiteral("0.0") : QString();
    }
    return QStringLiteral("(CAST(%1 AS REAL) %2 %3)")
        .arg(mantissa)
        .arg(QLatin1Char(exponent < 0 ? '/' : '*'))
        .arg(qint64{1} << std::abs(exponent));
}

QString joined(const QStringList& texts, const char* separator) {
    return QLatin1Char('(') + texts.join(QLatin1String(separator)) + QLatin1Char(')');
}

const char* signOf(Comparison comparison) {
    switch (comparison) {
    case Comparison::Equal:
        return " = ";
    case Comparison::NotEqual:
        return " <> ";
    case Comparison::Less:
        return " < ";
    case Comparison::LessOrEqual:
        return " <= ";
    case Comparison::Greater:
        return " > ";
    case Comparison::GreaterOrEqual:
        return " >= ";
    }
    return " = ";
}

} // namespace

QString sqlName(const QString& name) {
    return quoted(name, QLatin1Char('"'));
}

QString sqlText(const QString& text) {
    const bool isPlain = !text.contains(QChar(0)) && !text.contains(QChar(QChar::ReplacementCharacter)) &&
                         QString::fromUtf8(text.toUtf8()) == text;
    return isPlain ? quoted(text, QLatin1Char('\'')) : QString();
}

SqlFilter::Column SqlFilter::columnOf(const QString& field) const {
    int found = -1;
    for (int i = 0; i < m_schema.GetFieldCount(); ++i) {
        if (Common::Internal::wholeName(m_schema.GetFieldDefn(i)->GetNameRef()) == field) {
            if (found >= 0) {
                return Column::Unfit;
            }
            found = i;
        }
    }
    if (found < 0) {
        return Column::Missing;
    }
    const OGRFieldDefn& definition = *m_schema.GetFieldDefn(found);
    const OGRFieldSubType subtype = definition.GetSubType();
    if (subtype == OFSTBoolean && definition.GetType() == OFTInteger && isSqlite()) {
        return Column::Boolean;
    }
    const bool isKept = isSqlite() || definition.GetType() == OFTInteger ||
                        definition.GetType() == OFTInteger64 ||
                        (definition.GetType() == OFTString && definition.GetWidth() == 0);
    if (subtype != OFSTNone || !isKept) {
        return Column::Unfit;
    }
    switch (definition.GetType()) {
    case OFTInteger:
        return Column::Integer;
    case OFTInteger64:
        return Column::Integer64;
    case OFTReal:
        return Column::Real;
    case OFTString:
        return Column::Text;
    default:
        return Column::Unfit;
    }
}

void SqlFilter::use(const QString& field) {
    if (!m_used.contains(field)) {
        m_used.append(field);
    }
}

bool isView(OgrSource& source, OGRLayer& layer) {
    const QString driver = source.driverName();
    const auto found =
        driver == QLatin1String("GPKG") || driver == QLatin1String("SQLite")
            ? source.select(QLatin1String("SELECT 1 FROM sqlite_master WHERE type = 'view' AND "
                                          "name = ") +
                            sqlText(Common::Internal::wholeText(layer.GetName())))
            : nullptr;
    return found != nullptr && OGRFeatureUniquePtr(found->GetNextFeature()) != nullptr;
}

QString boxesMeeting(OGRLayer& table, const OGREnvelope& box) {
    const auto number = [](double value) { // SQL has none that are not finite
        constexpr double most = 1e300;
        constexpr int digits = 17;
        return QString::number(std::clamp(value, -most, most), 'e', digits);
    };
    const QString boxes =
        QStringLiteral("rtree_%1_%2")
            .arg(QString::fromUtf8(table.GetName()), QString::fromUtf8(table.GetGeometryColumn()));
    return QStringLiteral(
               "%1 IN (SELECT id FROM %2 WHERE maxx >= %3 AND minx <= %4 AND maxy >= %5 AND miny <= %6)")
        .arg(sqlName(QString::fromUtf8(table.GetFIDColumn())), sqlName(boxes), number(box.MinX),
             number(box.MaxX), number(box.MinY), number(box.MaxY));
}

QString SqlFilter::oddRows(const QString& field) const {
    const QString name = sqlName(field);
    if (!isSqlite()) { // which keeps to its types, but a numeric column may have what is no number
        const int index = m_schema.GetFieldIndexCaseSensitive(field.toUtf8().constData());
        const OGRFieldDefn* const column = index >= 0 ? m_schema.GetFieldDefn(index) : nullptr;
        const bool isNumeric = column != nullptr && column->GetType() != OFTString && column->GetWidth() > 0;
        return isNumeric ? name + QStringLiteral(" = 'NaN'::numeric") : QStringLiteral("FALSE");
    }
    const QString types = QStringLiteral("typeof(%1) NOT IN ('%2', 'null')");
    switch (columnOf(field)) {
    case Column::Boolean:
        return QStringLiteral("%1 NOT IN (0, 1)").arg(name) + QStringLiteral(" OR ") +
               types.arg(name, QStringLiteral("integer"));
    case Column::Integer:
        return QStringLiteral("%1 NOT BETWEEN -2147483648 AND 2147483647 OR ").arg(name) +
               types.arg(name, QStringLiteral("integer"));
    case Column::Integer64:
        return types.arg(name, QStringLiteral("integer"));
    case Column::Real:
        return types.arg(name, QStringLiteral("real"));
    default: // a text ends for OGR where it has U+0000
        return QStringLiteral("instr(%1, char(0)) > 0 OR ").arg(name) +
               types.arg(name, QStringLiteral("text"));
    }
}

QString SqlFilter::value(Column column, const QVariant& value) const {
    if (!value.isValid()) {
        return QStringLiteral("NULL");
    }
    const bool isText = value.typeId() == QMetaType::QString;
    if (isText != (column == Column::Text)) {
        return {};
    }
    switch (value.typeId()) {
    case QMetaType::QString: // a server may take a backslash for the start of something
        return isSqlite() || !value.toString().contains(QLatin1Char('\\')) ? sqlText(value.toString())
                                                                           : QString();
    case QMetaType::Bool:
    case QMetaType::LongLong:
        return QString::number(value.toLongLong());
    case QMetaType::ULongLong:
        return value.toULongLong() <= static_cast<qulonglong>(std::numeric_limits<qlonglong>::max())
                   ? QString::number(value.toULongLong())
                   : QString();
    case QMetaType::Double:
        return isSqlite() ? sqlReal(value.toDouble()) : QString();
    default:
        return {};
    }
}

QString SqlFilter::like(const FilterNode& node) const {
    using Part = TextPattern::Part;
    constexpr std::size_t most = 1000;
    QString glob;
    if (!isSqlite() || node.pattern->folds() || node.pattern->parts().size() > most) {
        return {};
    }
    for (const Part& part : node.pattern->parts()) {
        const bool isPlain = part.character > 0 && part.character < 128; // however odd the bytes around it
        if (part.kind == Part::Kind::AnyText) {
            glob += QLatin1Char('*');
        } else if (part.kind == Part::Kind::AnyCharacter || !isPlain) {
            return {};
        } else {
            const auto character = QLatin1Char(static_cast<char>(part.character));
            const bool isSpecial = QLatin1String("*?[").contains(character);
            glob += isSpecial ? QLatin1Char('[') + QString(character) + QLatin1Char(']') : QString(character);
        }
    }
    return sqlName(node.field) + QStringLiteral(" GLOB ") + sqlText(glob);
}

QString SqlFilter::list(const FilterNode& node) {
    QStringList texts;
    for (const auto& child : node.children) {
        texts.append(exact(*child));
        if (texts.constLast().isEmpty()) {
            return {};
        }
    }
    return joined(texts, node.kind == FilterNode::Kind::And ? " AND " : " OR ");
}

/// True, false or nothing as the filter; empty when that cannot be said.
QString SqlFilter::exact(const FilterNode& node) {
    using Kind = FilterNode::Kind;
    if (node.kind == Kind::And || node.kind == Kind::Or) {
        return list(node);
    }
    if (node.kind == Kind::Not) {
        const QString negated = exact(*node.children.front());
        return negated.isEmpty() ? negated : QStringLiteral("(NOT ") + negated + QLatin1Char(')');
    }
    const Column column = columnOf(node.field);
    if (column == Column::Missing) {
        const bool isEmptyList = node.kind == Kind::In && node.values.isEmpty();
        return node.kind == Kind::IsNull ? QStringLiteral("TRUE")
                                         : QLatin1String(isEmptyList ? "FALSE" : "NULL");
    }
    if (column == Column::Unfit) {
        return {};
    }
    use(node.field);
    const QString name = sqlName(node.field);
    if (node.kind == Kind::IsNull) {
        return QLatin1Char('(') + name + QStringLiteral(" IS NULL)");
    }
    if (node.kind == Kind::Like) {
        return column == Column::Text ? like(node) : QStringLiteral("NULL");
    }
    const bool isEquality = node.kind == Kind::In || node.comparison == Comparison::Equal ||
                            node.comparison == Comparison::NotEqual;
    if (column == Column::Text && !isEquality) { // the database may keep UTF-16
        return {};
    }
    QStringList values;
    for (const QVariant& given : node.values) {
        values.append(value(column, given));
        if (values.constLast().isEmpty()) {
            return {};
        }
    }
    if (values.isEmpty()) {
        return QStringLiteral("FALSE");
    }
    const char* const exactly = isSqlite() ? " COLLATE BINARY" : "::text COLLATE \"C\"";
    const QString left = name + QLatin1String(column == Column::Text ? exactly : "");
    return node.kind == Kind::In
               ? QLatin1Char('(') + left + QStringLiteral(" IN ") + joined(values, ", ") + QLatin1Char(')')
               : QLatin1Char('(') + left + QLatin1String(signOf(node.comparison)) + values.constFirst() +
                     QLatin1Char(')');
}

QString SqlFilter::condition(const FilterNode& node) {
    if (node.kind != FilterNode::Kind::And) {
        return exact(node);
    }
    QStringList texts;
    for (const auto& child : node.children) {
        if (const QString text = condition(*child); !text.isEmpty()) {
            texts.append(text);
        }
    }
    return texts.isEmpty() ? QString() : joined(texts, " AND ");
}

QString SqlFilter::condition(const GisFeatureFilter& filter) {
    m_used.clear();
    QString text = filter.m_node != nullptr ? condition(*filter.m_node) : QString();
    for (const QString& field : std::as_const(m_used)) {
        text += text.isEmpty() ? QString() : QStringLiteral(" OR ") + oddRows(field);
    }
    constexpr qsizetype most = 100'000; // a statement may have a million bytes
    return text.size() <= most ? text : QString();
}

} // namespace Cartolith::Core::Layers::Internal
