#include <Cartolith/Core/Common/BytesInternal.h>
#include <Cartolith/Core/Layers/Ogr/ExactTextsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldWritingInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFormatInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrShapeWritingInternal.h>
#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>

#include <QDateTime>
#include <QLocale>
#include <QRegularExpression>

#include <algorithm>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

using Common::Internal::GeometryPtr;
using Shapes::GisShape;

namespace {

using ReadShapes = std::vector<std::unique_ptr<GisShape>>;

bool haveSameShapes(const ReadShapes& read, const QList<const GisShape*>& shapes) {
    const auto same = [](const auto& a, const GisShape* b) { return haveSameGeometry(*a, *b); };
    const bool isEmpty = read.empty() && shapes.size() == 1 && shapes.front()->isEmpty();
    return isEmpty || std::equal(read.begin(), read.end(), shapes.begin(), shapes.end(), same);
}

/// False for a point among lines and the like. One part or several makes no difference here; drivers that
/// care see to it themselves.
bool fits(const OGRGeometry& geometry, OGRwkbGeometryType layerType) {
    const auto single = [](OGRwkbGeometryType type) {
        const OGRwkbGeometryType flat = wkbFlatten(type);
        return flat == wkbMultiPoint        ? wkbPoint
               : flat == wkbMultiLineString ? wkbLineString
               : flat == wkbMultiPolygon    ? wkbPolygon
                                            : flat;
    };
    const OGRwkbGeometryType layer = single(layerType);
    const bool isPlain = layer == wkbPoint || layer == wkbLineString || layer == wkbPolygon;
    return layer != wkbNone && (!isPlain || single(geometry.getGeometryType()) == layer);
}

void setGeometry(OGRFeature& feature, OGRwkbGeometryType layerType, const GisShape& shape) {
    const OGRGeometry* const old = feature.GetGeometryRef();
    GeometryPtr geometry = savedGeometryOf(shape);
    if (geometry != nullptr && !fits(*geometry, layerType)) {
        throw std::runtime_error(QStringLiteral("a %1 has no place in a layer of type %2")
                                     .arg(QString::fromLatin1(geometry->getGeometryName()),
                                          QString::fromLatin1(OGRGeometryTypeToName(layerType)))
                                     .toStdString());
    }
    geometry = promoted(std::move(geometry), layerType);
    if (wkbFlatten(layerType) == wkbUnknown && old != nullptr) {
        geometry = promoted(std::move(geometry), old->getGeometryType());
    }
    place(std::move(geometry), feature);
}

/// What another geometry in the place of this one would lose; empty for nothing.
QString lossOf(const OGRGeometry& geometry, const QString& problem) {
    const OGRwkbGeometryType type = wkbFlatten(geometry.getGeometryType());
    if (geometry.IsEmpty()) {
        return {};
    }
    if (geometry.Is3D() || geometry.IsMeasured()) {
        return QStringLiteral("its Z or M values would be lost");
    }
    const bool isPlain = type == wkbPoint || type == wkbLineString || type == wkbPolygon ||
                         type == wkbMultiPoint || type == wkbMultiLineString || type == wkbMultiPolygon;
    if (!isPlain) {
        return QStringLiteral("its type %1 would be lost")
            .arg(QString::fromLatin1(geometry.getGeometryName()));
    }
    return problem.isEmpty() ? QString()
                             : QStringLiteral("it has parts that are not in the layer and would be lost");
}

struct FieldOfName {
    std::vector<int> indexes;
    QVariant value;
};
using FieldsByName = std::map<QString, FieldOfName>;
using FieldChanges = QList<std::pair<int, QVariant>>;

/// Of fields of one name, the last counts, as in reading.
FieldsByName fieldsOf(OGRFeature& feature) {
    FieldsByName fields;
    for (int i = 0; i < feature.GetFieldCount(); ++i) {
        FieldOfName& field = fields[Common::Internal::wholeName(feature.GetFieldDefnRef(i)->GetNameRef())];
        field.indexes.push_back(i);
        const QVariant value = fieldValue(feature, i);
        field.value = value.isValid() ? value : field.value;
    }
    return fields;
}

QHash<QString, QVariant> valuesOf(const GisShape& shape, const FieldsByName& fields) {
    QHash<QString, QVariant> values = shape.attributeSlot().copyOfTable();
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        if (it->isValid() && fields.find(it.key()) == fields.end()) {
            throw std::runtime_error(
                QStringLiteral("the attribute '%1' is no field of the layer").arg(it.key()).toStdString());
        }
    }
    return values;
}

void append(FieldChanges& changes, const FieldOfName& field, const QVariant& value) {
    const bool isLastEnough = value.isValid(); // else, one before it would be read instead
    for (const int index : field.indexes) {
        if (index == field.indexes.back() || !isLastEnough) {
            changes.append({index, value});
        }
    }
}

/// The fields of which the shape says something else, and what.
FieldChanges fieldChanges(OGRFeature& feature, const GisShape& shape, bool isNew) {
    const FieldsByName fields = fieldsOf(feature);
    const QHash<QString, QVariant> values = valuesOf(shape, fields);
    FieldChanges changes;
    for (const auto& [name, field] : fields) {
        const QVariant value = values.value(name);
        const bool isDefault = isNew && !value.isValid(); // unset: the source's own default
        if (!isDefault && !areSame(value, field.value)) {
            append(changes, field, value);
        }
    }
    return changes;
}

bool areSameChanges(const FieldChanges& a, const FieldChanges& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto& one, const auto& other) {
        return one.first == other.first && areSame(one.second, other.second);
    });
}

void setFields(OGRFeature& feature, const FieldChanges& changes, const OgrManner& manner) {
    for (const auto& [index, value] : changes) {
        setField(feature, index, value, manner.takesTexts ? TextDigits::Any : TextDigits::Held);
        const OGRFieldDefn& field = *feature.GetFieldDefnRef(index);
        const bool isRounded = manner.roundsNumbers && field.GetType() == OFTReal && field.GetWidth() > 0 &&
                               feature.IsFieldSetAndNotNull(index);
        if (isRounded && !isKeptBy(field.GetPrecision(), feature.GetFieldAsDouble(index))) {
            throw std::runtime_error(
                QStringLiteral("the value '%1' has more than the %2 decimals of the field '%3'")
                    .arg(value.toString())
                    .arg(field.GetPrecision())
                    .arg(QString::fromUtf8(field.GetNameRef()))
                    .toStdString());
        }
    }
}

void note(OgrChange& change, OGRFeature& feature, const FieldChanges& changes) {
    for (const auto& [index, value] : changes) {
        change.fields.insert(Common::Internal::wholeName(feature.GetFieldDefnRef(index)->GetNameRef()));
        change.columns.insert(index);
    }
}

void move(OGRFeature& feature, OGRwkbGeometryType layerType, const GisShape& shape, const QString& problem) {
    const OGRGeometry* const geometry = feature.GetGeometryRef();
    const QString loss = geometry != nullptr ? lossOf(*geometry, problem) : QString();
    if (!loss.isEmpty()) {
        throw std::runtime_error(loss.toStdString());
    }
    setGeometry(feature, layerType, shape);
}

constexpr auto severalShapes = "it is several shapes here, which cannot be changed one by one";
constexpr auto severalAttributes = "it is several shapes here, which have different attributes";

} // namespace

OgrManner OgrManner::of(const QString& driver) {
    return {.roundsNumbers = driver != QLatin1String("FlatGeobuf"),
            .takesTexts = OgrFormat::isServerOf(driver)};
}

OgrChange update(OGRFeature& feature, OGRwkbGeometryType layerType, const QList<const GisShape*>& shapes,
                 const OgrManner& manner) {
    const OGRGeometry* const geometry = feature.GetGeometryRef();
    const auto read = Serialization::Ogr::Internal::shapesOf(
        GeometryPtr(geometry != nullptr ? geometry->clone() : nullptr));
    OgrChange change{.isMoved = !haveSameShapes(read.shapes, shapes)};
    if (change.isMoved && (shapes.size() != 1 || read.shapes.size() > 1)) {
        throw std::runtime_error(severalShapes);
    }
    const auto changes = fieldChanges(feature, *shapes.front(), false);
    for (qsizetype i = 1; i < shapes.size(); ++i) {
        if (!areSameChanges(fieldChanges(feature, *shapes[i], false), changes)) {
            throw std::runtime_error(severalAttributes);
        }
    }
    note(change, feature, changes);
    setFields(feature, changes, manner);
    if (change.isMoved) {
        move(feature, layerType, *shapes.front(), read.problem);
    }
    return change;
}

namespace {

/// What a value becomes in the field; invalid where it has no place there.
QVariant asField(const OGRFeature& feature, int index, const QVariant& value) {
    OGRFeature scratch(const_cast<OGRFeature&>(feature).GetDefnRef());
    try {
        setField(scratch, index, value, TextDigits::Any);
    } catch (const std::runtime_error&) {
        return {};
    }
    return fieldValue(scratch, index);
}

bool areSameMoment(const QVariant& a, const QVariant& b) {
    if (a.typeId() != QMetaType::QDateTime || b.typeId() != QMetaType::QDateTime) {
        return false;
    }
    const QDateTime one = a.toDateTime();
    const QDateTime other = b.toDateTime();
    return one.timeSpec() != Qt::LocalTime && other.timeSpec() != Qt::LocalTime && one == other;
}

/// Of a text with all three, in UTC, and the digits behind its seconds; unset for any other.
std::optional<std::pair<QDateTime, QByteArray>> momentIn(const QByteArray& text) {
    static const QRegularExpression expression(QStringLiteral(
        R"(^(\d{4}-\d\d-\d\d)[ T](\d\d:\d\d:\d\d)(?:\.(\d*?)0*)?(?:Z|([+-]\d\d)(?::?(\d\d))?)$)"));
    const auto match = expression.match(QString::fromUtf8(text));
    if (!match.hasMatch()) {
        return std::nullopt;
    }
    const QString zone = match.captured(4).isEmpty()
                             ? QStringLiteral("Z")
                             : match.captured(4) + QLatin1Char(':') +
                                   (match.captured(5).isEmpty() ? QStringLiteral("00") : match.captured(5));
    const QDateTime moment =
        QDateTime::fromString(match.captured(1) + QLatin1Char('T') + match.captured(2) + zone, Qt::ISODate);
    return std::pair(moment.toUTC(), match.captured(3).toUtf8());
}

bool isSameMomentText(const QByteArray& a, const QByteArray& b) {
    const auto one = momentIn(a);
    return one && one->first.isValid() && one == momentIn(b);
}

/// Whether a value, perhaps of another type, is what the source holds, of which `read` is read and `text`
/// more.
bool isHeld(const OGRFeature& feature, int index, const QVariant& value, const QVariant& read,
            const std::optional<QByteArray>& text) {
    if (areSame(value, read) && !text) {
        return true;
    }
    if (!value.isValid() || (!read.isValid() && !text)) {
        return false;
    }
    const bool isReal = value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float;
    const QByteArray given = isReal
                                 ? QByteArray::number(value.toDouble(), 'g', QLocale::FloatingPointShortest)
                                 : value.toString().toUtf8();
    if (text) {
        return given == *text || areSameDecimals(given, *text) || isSameMomentText(given, *text);
    }
    const bool isText = value.typeId() == QMetaType::QString;
    if (isText && read.typeId() == QMetaType::Double) { // which may have more digits
        return areSameDecimals(given,
                               QByteArray::number(read.toDouble(), 'g', QLocale::FloatingPointShortest));
    }
    static const QRegularExpression microseconds(QStringLiteral(R"(\.\d{4,})"));
    const bool isLonger = isText &&
                          (read.typeId() == QMetaType::QDateTime || read.typeId() == QMetaType::QTime) &&
                          value.toString().contains(microseconds);
    const QVariant held = isLonger ? QVariant() : asField(feature, index, value);
    return held.isValid() && (areSame(held, read) || areSameMoment(held, read));
}

/// A value as a host is shown it, to the last digit.
QVariant shown(const QVariant& read, const std::optional<QByteArray>& text) {
    return text ? QVariant(QString::fromUtf8(*text)) : read;
}

} // namespace

OgrMerge merge(OGRFeature& feature, OGRwkbGeometryType layerType, const QList<const GisShape*>& shapes,
               const QList<const GisShape*>& asRead, bool isUntouched, const OgrManner& manner,
               const OgrExactValues& exactly) {
    const FieldsByName fields = fieldsOf(feature);
    const qint64 id = feature.GetFID();
    const GisShape& first = *shapes.front();
    OgrMerge merged;
    FieldChanges changes;
    for (qsizetype i = 0; i < shapes.size(); ++i) {
        const QHash<QString, QVariant> ours = valuesOf(*shapes[i], fields);
        const QHash<QString, QVariant> before = asRead[i]->attributeSlot().copyOfTable();
        FieldChanges own;
        for (const auto& [name, field] : fields) {
            const int index = field.indexes.back();
            const QVariant value = ours.value(name);
            const QVariant known = before.value(name);
            const OgrExactValue exact = exactly(index);
            const bool isTheirs = !isUntouched && (exact.asRead || exact.now ? exact.asRead != exact.now
                                                                             : !areSame(known, field.value));
            if (areSame(value, known) || isHeld(feature, index, value, known, exact.asRead)) {
                merged.isOursAlone = merged.isOursAlone && !isTheirs;
                continue;
            }
            if (!isHeld(feature, index, value, field.value, exact.now)) {
                append(own, field, value);
                if (isTheirs && i == 0) {
                    GisEditConflict conflict{GisEditConflict::Kind::Value, id,   first.id(), name,
                                             shown(known, exact.asRead),   value};
                    conflict.theirs = shown(field.value, exact.now);
                    merged.conflicts.append(conflict);
                }
            }
        }
        if (i > 0 && !areSameChanges(own, changes)) {
            throw std::runtime_error(severalAttributes);
        }
        changes = own;
    }
    note(merged.change, feature, changes);
    setFields(feature, changes, manner);

    const OGRGeometry* const geometry = feature.GetGeometryRef();
    const auto theirs = Serialization::Ogr::Internal::shapesOf(
        GeometryPtr(geometry != nullptr ? geometry->clone() : nullptr));
    const bool isOurs =
        !std::equal(shapes.begin(), shapes.end(), asRead.begin(), asRead.end(),
                    [](const GisShape* a, const GisShape* b) { return haveSameGeometry(*a, *b); });
    const bool isTheirs = !isUntouched && !haveSameShapes(theirs.shapes, asRead);
    if (!isOurs) {
        merged.isOursAlone = merged.isOursAlone && !isTheirs;
        return merged;
    }
    merged.change.isMoved = !haveSameShapes(theirs.shapes, shapes);
    if (merged.change.isMoved && isTheirs) {
        GisEditConflict conflict{GisEditConflict::Kind::Geometry, id, first.id(), {}, {}, {}, {}};
        conflict.shapeAsRead = asRead.front()->clone();
        conflict.ourShape = first.clone();
        conflict.theirShape = theirs.shapes.size() == 1 ? theirs.shapes.front()->clone() : nullptr;
        merged.conflicts.append(conflict);
    }
    if (merged.change.isMoved) {
        if (shapes.size() != 1 || theirs.shapes.size() > 1) {
            throw std::runtime_error(severalShapes);
        }
        move(feature, layerType, first, theirs.problem);
    }
    return merged;
}

OgrChange fill(OGRFeature& feature, OGRwkbGeometryType layerType, const GisShape& shape,
               const OgrManner& manner) {
    OgrChange change{.isMoved = true};
    setGeometry(feature, layerType, shape);
    const FieldChanges changes = fieldChanges(feature, shape, true);
    note(change, feature, changes);
    setFields(feature, changes, manner);
    return change;
}

} // namespace Cartolith::Core::Layers::Internal
