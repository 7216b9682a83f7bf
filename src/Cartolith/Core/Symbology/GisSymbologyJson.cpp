#include <Cartolith/Core/Symbology/GisSymbologyJson.h>
#include <Cartolith/Core/Symbology/RendererJsonInternal.h>
#include <Cartolith/Core/Symbology/StyleJsonInternal.h>

#include <QJsonDocument>

#include <array>
#include <optional>
#include <stdexcept>
#include <string>

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

// Raster styles.

template <>
struct JsonFields<GisClassificationRange> {
    static constexpr std::array fields{
        member<&GisClassificationRange::lower>("lower"),
        member<&GisClassificationRange::upper>("upper"),
        member<&GisClassificationRange::includeLower>("includeLower"),
        member<&GisClassificationRange::includeUpper>("includeUpper"),
        member<&GisClassificationRange::label>("label"),
    };
};

template <>
struct JsonFields<GisHillshade> {
    static constexpr std::array fields{
        member<&GisHillshade::azimuth>("azimuth"),
        member<&GisHillshade::altitude>("altitude"),
        member<&GisHillshade::zFactor>("zFactor"),
    };
};

/// A stretch is made by functions that check its numbers, so these are read first.
struct StretchMembers {
    QString mode;
    double lower = 0.0;
    double upper = 0.0;
};

template <>
struct JsonFields<StretchMembers> {
    static constexpr std::array fields{
        member<&StretchMembers::mode>("mode"),
        member<&StretchMembers::lower>("lower"),
        member<&StretchMembers::upper>("upper"),
    };
};

static const QStringList& stretchTexts() {
    static const QStringList texts{QStringLiteral("automatic"), QStringLiteral("minMax"),
                                   QStringLiteral("percentiles"), QStringLiteral("given")};
    return texts;
}

static QJsonValue toJsonValue(const GisRasterStretch& stretch, const JsonPath& path) {
    return writeFields(
        StretchMembers{stretchTexts().at(static_cast<int>(stretch.mode())), stretch.lower(), stretch.upper()},
        path);
}

static void fromJsonValue(GisRasterStretch& target, const QJsonValue& value, const JsonPath& path) {
    StretchMembers members;
    fromJsonValue(members, value, path);
    switch (stretchTexts().indexOf(members.mode)) {
    case 0:
        target = GisRasterStretch();
        break;
    case 1:
        target = GisRasterStretch::minMax();
        break;
    case 2:
        target = GisRasterStretch::percentiles(members.lower, members.upper);
        break;
    case 3:
        target = GisRasterStretch::given(members.lower, members.upper);
        break;
    default:
        failReading(path.member("mode"), QStringLiteral("there is no stretch %1.").arg(quoted(members.mode)));
    }
}

static QJsonValue toJsonValue(const std::optional<GisHillshade>& light, const JsonPath& path) {
    return light ? toJsonValue(*light, path) : QJsonValue();
}

static void fromJsonValue(std::optional<GisHillshade>& target, const QJsonValue& value,
                          const JsonPath& path) {
    target.reset();
    if (!value.isNull()) {
        fromJsonValue(target.emplace(), value, path);
    }
}

static const QStringList& renderingTexts() {
    static const QStringList texts{QStringLiteral("automatic"), QStringLiteral("grey"),
                                   QStringLiteral("ramp"),      QStringLiteral("rgb"),
                                   QStringLiteral("palette"),   QStringLiteral("relief")};
    return texts;
}

static const QStringList& resamplingTexts() {
    static const QStringList texts{QStringLiteral("nearest"), QStringLiteral("bilinear"),
                                   QStringLiteral("average")};
    return texts;
}

static int knownEnumerator(const QJsonValue& value, const QStringList& texts, const JsonPath& path) {
    const int number = enumeratorFromJson(value, texts, path);
    if (number < 0 || number >= texts.size()) {
        failReading(path, QStringLiteral("there is no number %1.").arg(number));
    }
    return number;
}

static QJsonValue toJsonValue(GisRasterStyle::Rendering rendering, const JsonPath& /*path*/) {
    return enumeratorToJson(static_cast<int>(rendering), renderingTexts());
}

static void fromJsonValue(GisRasterStyle::Rendering& target, const QJsonValue& value, const JsonPath& path) {
    target = static_cast<GisRasterStyle::Rendering>(knownEnumerator(value, renderingTexts(), path));
}

static QJsonValue toJsonValue(GisRasterStyle::Resampling resampling, const JsonPath& /*path*/) {
    return enumeratorToJson(static_cast<int>(resampling), resamplingTexts());
}

static void fromJsonValue(GisRasterStyle::Resampling& target, const QJsonValue& value, const JsonPath& path) {
    target = static_cast<GisRasterStyle::Resampling>(knownEnumerator(value, resamplingTexts(), path));
}

static QList<int> rgbBandsOf(const GisRasterStyle& style) {
    return {style.rgbBands().cbegin(), style.rgbBands().cend()};
}

static void setRgbBands(GisRasterStyle& style, const QList<int>& bands) {
    if (bands.size() != 3) {
        throw std::invalid_argument("there are three bands for red, green and blue");
    }
    style.setRgbBands(bands[0], bands[1], bands[2]);
}

template <>
struct JsonFields<GisRasterStyle> {
    using Style = GisRasterStyle;
    static constexpr std::array fields{
        property<&Style::rendering, &Style::setRendering>("rendering"),
        property<&Style::band, &Style::setBand>("band"),
        JsonField<Style>{
            QLatin1String("rgbBands"),
            [](const Style& style, const JsonPath& path) { return toJsonValue(rgbBandsOf(style), path); },
            [](Style& style, const QJsonValue& value, const JsonPath& path) {
                QList<int> bands;
                fromJsonValue(bands, value, path);
                setRgbBands(style, bands);
            }},
        property<&Style::stretch, &Style::setStretch>("stretch"),
        property<&Style::ramp, &Style::setRamp>("ramp"),
        property<&Style::isReversed, &Style::setReversed>("reversed"),
        property<&Style::classes, &Style::setClasses>("classes"),
        property<&Style::hillshade, &Style::setHillshade>("hillshade"),
        property<&Style::resampling, &Style::setResampling>("resampling"),
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
constexpr const char* rasterStyleKind = "rasterStyle";

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

QJsonObject GisSymbologyJson::toJson(const GisRasterStyle& style) {
    return documentOf(style, rasterStyleKind);
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

GisRasterStyle GisSymbologyJson::rasterStyleFromJson(const QJsonObject& json) {
    try {
        return valueOf<GisRasterStyle>(json, rasterStyleKind);
    } catch (const std::invalid_argument& refused) { // by a setter
        throw std::runtime_error(std::string(rasterStyleKind) + ": " + refused.what());
    }
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
