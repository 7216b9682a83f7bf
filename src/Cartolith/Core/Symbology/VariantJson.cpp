#include <Cartolith/Core/Symbology/DateTimeTextInternal.h>
#include <Cartolith/Core/Symbology/VariantJsonInternal.h>

#include <QUrl>
#include <QUuid>

#include <algorithm>
#include <array>
#include <optional>

namespace Cartolith::Core::Symbology::Internal {

namespace {

/// Lists and maps in each other take two steps of a path each, below the three of a class's value.
constexpr int maximumDepth = 64;

/// A string, converted by `parse`, which gives nothing for one that it does not read.
template <typename Value, typename Parse>
void readText(Value& target, const QJsonValue& value, const JsonPath& path, const char* expected,
              Parse parse) {
    QString text;
    fromJsonValue(text, value, path);
    const std::optional<Value> parsed = parse(text);
    if (!parsed) {
        failReading(path, QStringLiteral("%1 is no %2.").arg(quoted(text), QLatin1String(expected)));
    }
    target = *parsed;
}

QJsonValue toJsonValue(const QByteArray& value, const JsonPath& /*path*/) {
    return QString::fromLatin1(value.toBase64());
}

void fromJsonValue(QByteArray& target, const QJsonValue& value, const JsonPath& path) {
    readText(target, value, path, "base64 text", [](const QString& text) {
        const auto result =
            QByteArray::fromBase64Encoding(text.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
        return result ? std::optional(*result) : std::nullopt;
    });
}

QJsonValue toJsonValue(QDate value, const JsonPath& /*path*/) {
    return textOf(value);
}

void fromJsonValue(QDate& target, const QJsonValue& value, const JsonPath& path) {
    readText(target, value, path, "date", dateFromText);
}

QJsonValue toJsonValue(QTime value, const JsonPath& /*path*/) {
    return textOf(value);
}

void fromJsonValue(QTime& target, const QJsonValue& value, const JsonPath& path) {
    readText(target, value, path, "time", timeFromText);
}

QJsonValue toJsonValue(const QDateTime& value, const JsonPath& path) {
    const std::optional<QString> text = textOf(value);
    if (!text) {
        failSaving(path, QStringLiteral("this date and time cannot be saved."));
    }
    return *text;
}

void fromJsonValue(QDateTime& target, const QJsonValue& value, const JsonPath& path) {
    readText(target, value, path, "date and time", dateTimeFromText);
}

QJsonValue toJsonValue(const QUuid& value, const JsonPath& /*path*/) {
    return value.toString();
}

void fromJsonValue(QUuid& target, const QJsonValue& value, const JsonPath& path) {
    readText(target, value, path, "UUID", [](const QString& text) {
        // Qt reads what it can and gives the null UUID for the rest.
        const QUuid id = QUuid::fromString(text);
        return id.toString() == text.toLower() ? std::optional(id) : std::nullopt;
    });
}

std::optional<QUrl> urlFromText(const QString& text) {
    const QUrl url(text, QUrl::StrictMode);
    return url.isValid() || text.isEmpty() ? std::optional(url) : std::nullopt;
}

QJsonValue toJsonValue(const QUrl& value, const JsonPath& path) {
    const QString text = value.toString(QUrl::FullyEncoded);
    if (urlFromText(text) != value) {
        failSaving(path, QStringLiteral("this URL cannot be saved."));
    }
    return text;
}

void fromJsonValue(QUrl& target, const QJsonValue& value, const JsonPath& path) {
    readText(target, value, path, "URL", urlFromText);
}

QJsonValue toJsonValue(const QVariantMap& value, const JsonPath& path) {
    QJsonObject members;
    for (auto it = value.constBegin(); it != value.constEnd(); ++it) {
        members.insert(it.key(), toJsonValue(it.value(), path.key(it.key())));
    }
    return members;
}

void fromJsonValue(QVariantMap& target, const QJsonValue& value, const JsonPath& path) {
    if (!value.isObject()) {
        failReading(path, QStringLiteral("an object"), value);
    }
    const QJsonObject members = value.toObject();
    target.clear();
    for (auto it = members.constBegin(); it != members.constEnd(); ++it) {
        const QString key = it.key();
        fromJsonValue(target[key], it.value(), path.key(key));
    }
}

struct VariantType {
    QLatin1String name;
    int id;
    QJsonValue (*write)(const QVariant& value, const JsonPath& path);
    QVariant (*read)(const QJsonValue& value, const JsonPath& path);
};

template <typename Value>
constexpr VariantType variantType(const char* name) {
    return {
        QLatin1String(name), qMetaTypeId<Value>(),
        [](const QVariant& value, const JsonPath& path) { return toJsonValue(value.value<Value>(), path); },
        [](const QJsonValue& json, const JsonPath& path) {
            Value value{};
            fromJsonValue(value, json, path);
            return QVariant::fromValue(value);
        }};
}

/// The names are Qt's, and part of the format.
constexpr VariantType variantTypes[] = {
    variantType<bool>("bool"),
    variantType<short>("short"),
    variantType<ushort>("ushort"),
    variantType<int>("int"),
    variantType<uint>("uint"),
    variantType<long>("long"),
    variantType<ulong>("ulong"),
    variantType<qlonglong>("qlonglong"),
    variantType<qulonglong>("qulonglong"),
    variantType<float>("float"),
    variantType<double>("double"),
    variantType<QString>("QString"),
    variantType<QByteArray>("QByteArray"),
    variantType<QDate>("QDate"),
    variantType<QTime>("QTime"),
    variantType<QDateTime>("QDateTime"),
    variantType<QUuid>("QUuid"),
    variantType<QUrl>("QUrl"),
    variantType<QStringList>("QStringList"),
    variantType<QVariantList>("QVariantList"),
    variantType<QVariantMap>("QVariantMap"),
};

/// What one of JSON's own values means without a type; nothing for an array or an object.
std::optional<QVariant> plainValue(const QJsonValue& value) {
    if (const auto integer = integerOf(value)) {
        return QVariant::fromValue<qlonglong>(*integer);
    }
    switch (value.type()) {
    case QJsonValue::Null:
        return QVariant();
    case QJsonValue::Bool:
        return value.toBool();
    case QJsonValue::Double:
        return value.toDouble();
    case QJsonValue::String:
        return value.toString();
    default:
        return std::nullopt;
    }
}

struct TypedValue {
    QString type;
    QJsonValue value = QJsonValue::Undefined;
};

} // namespace

template <>
struct JsonFields<TypedValue> {
    static constexpr std::array fields{
        member<&TypedValue::type>("type"),
        member<&TypedValue::value>("value"),
    };
};

QJsonValue toJsonValue(const QVariant& value, const JsonPath& path) {
    if (path.depth() > maximumDepth) {
        failSaving(path, QStringLiteral("the values are nested too deep."));
    }
    if (!value.isValid()) {
        return QJsonValue::Null;
    }
    const auto* const type =
        std::find_if(std::begin(variantTypes), std::end(variantTypes),
                     [id = value.typeId()](const VariantType& candidate) { return candidate.id == id; });
    if (type == std::end(variantTypes)) {
        failSaving(path, QStringLiteral("a value of type %1 cannot be saved.")
                             .arg(QLatin1String(value.metaType().name())));
    }
    QJsonObject typed{{QStringLiteral("type"), type->name}};
    if (!value.isNull()) {
        QJsonValue written = type->write(value, path.member("value"));
        if (const auto plain = plainValue(written); plain && plain->typeId() == type->id) {
            return written;
        }
        typed.insert(QLatin1String("value"), written);
    }
    return typed;
}

void fromJsonValue(QVariant& target, const QJsonValue& value, const JsonPath& path) {
    if (path.depth() > maximumDepth) {
        failReading(path, QStringLiteral("the values are nested too deep."));
    }
    if (const auto plain = plainValue(value)) {
        target = *plain;
        return;
    }
    TypedValue typed;
    fromJsonValue(typed, value, path);
    const auto* const type =
        std::find_if(std::begin(variantTypes), std::end(variantTypes),
                     [&typed](const VariantType& candidate) { return candidate.name == typed.type; });
    if (type == std::end(variantTypes)) {
        failReading(path.member("type"), QStringLiteral("%1 is no known type.").arg(quoted(typed.type)));
    }
    target = typed.value.isUndefined() ? QVariant(QMetaType(type->id))
                                       : type->read(typed.value, path.member("value"));
}

} // namespace Cartolith::Core::Symbology::Internal
