#include <Cartolith/Core/Symbology/GisSymbologyJson.h>
#include <Cartolith/Core/Symbology/RendererJsonInternal.h>
#include <Cartolith/Core/Symbology/StyleJsonInternal.h>

#include <QJsonDocument>

#include <array>
#include <stdexcept>

namespace Cartolith::Core::Symbology {

namespace Internal {

template <>
struct JsonFields<GisColorRampStop> {
    static constexpr std::array fields{
        member<&GisColorRampStop::position>("position"),
        member<&GisColorRampStop::color>("color"),
    };
};

// A ramp would drop a stop with such a colour, or move it.
static void fromJsonValue(GisColorRampStop& target, const QJsonValue& value, const JsonPath& path) {
    fromJsonValue<GisColorRampStop>(target, value, path);
    if (!(target.position >= 0.0 && target.position <= 1.0)) {
        failReading(path.member("position"), QStringLiteral("a number from 0 to 1 is expected."));
    }
    if (GisColorRamp::normalizedColor(target.color).isEmpty()) {
        failReading(path.member("color"),
                    QStringLiteral("%1 is no colour of the form #RRGGBB or #RGB.").arg(quoted(target.color)));
    }
}

template <>
struct JsonFields<GisColorRamp> {
    static constexpr std::array fields{
        property<&GisColorRamp::name, &GisColorRamp::setName>("name"),
        property<&GisColorRamp::stops, &GisColorRamp::setStops>("stops"),
    };
};

} // namespace Internal

namespace {

using Internal::JsonPath;

constexpr int formatVersion = 1;
constexpr QLatin1String kindName("kind");
constexpr QLatin1String versionName("version");
constexpr const char* styleKind = "style";
constexpr const char* rampKind = "ramp";
constexpr const char* rendererKind = "renderer";

template <typename Value>
QJsonObject documentOf(const Value& value, const char* kind) {
    QJsonObject json = toJsonValue(value, JsonPath(kind)).toObject();
    json.insert(kindName, QLatin1String(kind));
    json.insert(versionName, formatVersion);
    return json;
}

/// What the header leaves, once it has been checked. Both its members may be missing.
QJsonObject withoutHeader(QJsonObject json, const char* kind, const JsonPath& path) {
    if (json.contains(kindName)) {
        QString found;
        fromJsonValue(found, json.take(kindName), path.member(kindName));
        if (found != QLatin1String(kind)) {
            failReading(path.member(kindName), QStringLiteral("\"%1\" is expected, not %2.")
                                                   .arg(QLatin1String(kind), Internal::quoted(found)));
        }
    }
    if (json.contains(versionName)) {
        int version = 0;
        fromJsonValue(version, json.take(versionName), path.member(versionName));
        if (version != formatVersion) {
            failReading(
                path.member(versionName),
                QStringLiteral("version %1 is not known, only version %2.").arg(version).arg(formatVersion));
        }
    }
    return json;
}

template <typename Value>
Value valueOf(const QJsonObject& json, const char* kind) {
    const JsonPath path(kind);
    Value value;
    fromJsonValue(value, QJsonValue(withoutHeader(json, kind, path)), path);
    return value;
}

} // namespace

QJsonObject GisSymbologyJson::toJson(const Layers::GisLayerStyle& style) {
    return documentOf(style, styleKind);
}

QJsonObject GisSymbologyJson::toJson(const GisColorRamp& ramp) {
    return documentOf(ramp, rampKind);
}

QJsonObject GisSymbologyJson::toJson(const GisSymbolRenderer& renderer) {
    return documentOf(renderer, rendererKind);
}

Layers::GisLayerStyle GisSymbologyJson::styleFromJson(const QJsonObject& json) {
    return valueOf<Layers::GisLayerStyle>(json, styleKind);
}

GisColorRamp GisSymbologyJson::rampFromJson(const QJsonObject& json) {
    return valueOf<GisColorRamp>(json, rampKind);
}

std::unique_ptr<GisSymbolRenderer> GisSymbologyJson::rendererFromJson(const QJsonObject& json) {
    return valueOf<std::unique_ptr<GisSymbolRenderer>>(json, rendererKind);
}

QByteArray GisSymbologyJson::toText(const QJsonObject& json) {
    // Escaped, because Qt's reader takes the character for a byte order mark where a string begins with it.
    return QJsonDocument(json).toJson(QJsonDocument::Indented).replace("\xEF\xBB\xBF", "\\ufeff");
}

QJsonObject GisSymbologyJson::fromText(const QByteArray& text) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError) {
        const QByteArrayView before = QByteArrayView(text).first(qMin<qsizetype>(error.offset, text.size()));
        throw std::runtime_error(QStringLiteral("JSON, line %1, column %2: %3.")
                                     .arg(before.count('\n') + 1)
                                     .arg(before.size() - before.lastIndexOf('\n'))
                                     .arg(error.errorString())
                                     .toStdString());
    }
    if (!document.isObject()) {
        throw std::runtime_error("JSON: an object is expected, not an array.");
    }
    return document.object();
}

} // namespace Cartolith::Core::Symbology
