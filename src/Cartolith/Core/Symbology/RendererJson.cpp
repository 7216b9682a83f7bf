#include <Cartolith/Core/Symbology/GisCategorizedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisGraduatedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisRuleBasedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisSimpleSymbolRenderer.h>
#include <Cartolith/Core/Symbology/RendererJsonInternal.h>
#include <Cartolith/Core/Symbology/StyleJsonInternal.h>
#include <Cartolith/Core/Symbology/VariantJsonInternal.h>

#include <array>
#include <typeinfo>

namespace Cartolith::Core::Symbology::Internal {

namespace {

/// In the order of their numbers.
const QStringList& operatorTexts() {
    static const QStringList texts = [] {
        QStringList all;
        for (int op = 0; op <= static_cast<int>(GisSymbolRuleOperator::IsNotNull); ++op) {
            all.append(GisRuleBasedSymbolRenderer::operatorText(static_cast<GisSymbolRuleOperator>(op)));
        }
        return all;
    }();
    return texts;
}

const QStringList& methodTexts() {
    static const QStringList texts{
        QStringLiteral("manual"),
        QStringLiteral("definedInterval"),
        QStringLiteral("equalInterval"),
        QStringLiteral("quantile"),
        QStringLiteral("naturalBreaks"),
        QStringLiteral("quartile"),
        QStringLiteral("standardDeviation"),
        QStringLiteral("standardDeviationWithCentral"),
        QStringLiteral("geometricalInterval"),
        QStringLiteral("kMeans"),
        QStringLiteral("kMeansSpatial"),
    };
    return texts;
}

void setClasses(GisCategorizedSymbolRenderer& renderer, const QList<GisCategorizedSymbolClass>& classes) {
    for (const GisCategorizedSymbolClass& symbolClass : classes) {
        renderer.addClass(symbolClass);
    }
}

void setRanges(GisGraduatedSymbolRenderer& renderer, const QList<GisGraduatedSymbolRange>& ranges) {
    for (const GisGraduatedSymbolRange& range : ranges) {
        renderer.addRange(range);
    }
}

void setRules(GisRuleBasedSymbolRenderer& renderer, const QList<GisSymbolRule>& rules) {
    for (const GisSymbolRule& rule : rules) {
        renderer.addRule(rule);
    }
}

} // namespace

// Not in the unnamed namespace: the tables below find them by their type of path.
static QJsonValue toJsonValue(GisSymbolRuleOperator op, const JsonPath& /*path*/) {
    return enumeratorToJson(static_cast<int>(op), operatorTexts());
}

static void fromJsonValue(GisSymbolRuleOperator& target, const QJsonValue& value, const JsonPath& path) {
    target = static_cast<GisSymbolRuleOperator>(enumeratorFromJson(value, operatorTexts(), path));
}

static QJsonValue toJsonValue(GisClassificationMethod method, const JsonPath& /*path*/) {
    return enumeratorToJson(static_cast<int>(method), methodTexts());
}

static void fromJsonValue(GisClassificationMethod& target, const QJsonValue& value, const JsonPath& path) {
    target = static_cast<GisClassificationMethod>(enumeratorFromJson(value, methodTexts(), path));
}

template <>
struct JsonFields<GisCategorizedSymbolClass> {
    static constexpr std::array fields{
        member<&GisCategorizedSymbolClass::value>("value"),
        member<&GisCategorizedSymbolClass::label>("label"),
        member<&GisCategorizedSymbolClass::style>("style"),
        member<&GisCategorizedSymbolClass::enabled>("enabled"),
    };
};

template <>
struct JsonFields<GisGraduatedSymbolRange> {
    static constexpr std::array fields{
        member<&GisGraduatedSymbolRange::lower>("lower"),
        member<&GisGraduatedSymbolRange::upper>("upper"),
        member<&GisGraduatedSymbolRange::includeLower>("includeLower"),
        member<&GisGraduatedSymbolRange::includeUpper>("includeUpper"),
        member<&GisGraduatedSymbolRange::label>("label"),
        member<&GisGraduatedSymbolRange::style>("style"),
        member<&GisGraduatedSymbolRange::enabled>("enabled"),
    };
};

template <>
struct JsonFields<GisSymbolRule> {
    static constexpr std::array fields{
        member<&GisSymbolRule::fieldName>("fieldName"), member<&GisSymbolRule::op>("operator"),
        member<&GisSymbolRule::value>("value"),         member<&GisSymbolRule::label>("label"),
        member<&GisSymbolRule::style>("style"),         member<&GisSymbolRule::enabled>("enabled"),
    };
};

template <>
struct JsonFields<GisSimpleSymbolRenderer> {
    using Renderer = GisSimpleSymbolRenderer;
    static constexpr std::array fields{
        property<&Renderer::style, &Renderer::setStyle>("style"),
    };
};

template <>
struct JsonFields<GisCategorizedSymbolRenderer> {
    using Renderer = GisCategorizedSymbolRenderer;
    static constexpr std::array fields{
        property<&Renderer::fieldName, &Renderer::setFieldName>("fieldName"),
        property<&Renderer::classes, &setClasses>("classes"),
        property<&Renderer::defaultStyle, &Renderer::setDefaultStyle>("defaultStyle"),
    };
};

template <>
struct JsonFields<GisGraduatedSymbolRenderer> {
    using Renderer = GisGraduatedSymbolRenderer;
    static constexpr std::array fields{
        property<&Renderer::fieldName, &Renderer::setFieldName>("fieldName"),
        property<&Renderer::classificationMode, &Renderer::setClassificationMode>("classificationMode"),
        property<&Renderer::ranges, &setRanges>("ranges"),
        property<&Renderer::defaultStyle, &Renderer::setDefaultStyle>("defaultStyle"),
    };
};

template <>
struct JsonFields<GisRuleBasedSymbolRenderer> {
    using Renderer = GisRuleBasedSymbolRenderer;
    static constexpr std::array fields{
        property<&Renderer::rules, &setRules>("rules"),
        property<&Renderer::defaultStyle, &Renderer::setDefaultStyle>("defaultStyle"),
    };
};

namespace {

const QLatin1String typeName("type");

struct RendererKind {
    const std::type_info* type;
    QJsonObject (*write)(const GisSymbolRenderer& renderer, const JsonPath& path);
    std::unique_ptr<GisSymbolRenderer> (*read)(const QJsonObject& members, const JsonPath& path);
};

template <typename Renderer>
constexpr RendererKind rendererKind() {
    return {&typeid(Renderer),
            [](const GisSymbolRenderer& renderer, const JsonPath& path) {
                return writeFields(static_cast<const Renderer&>(renderer), path);
            },
            [](const QJsonObject& members, const JsonPath& path) -> std::unique_ptr<GisSymbolRenderer> {
                auto renderer = std::make_unique<Renderer>();
                readFields(*renderer, members, path);
                return renderer;
            }};
}

/// In the order of GisSymbolRendererType.
constexpr RendererKind rendererKinds[] = {
    rendererKind<GisSimpleSymbolRenderer>(),
    rendererKind<GisCategorizedSymbolRenderer>(),
    rendererKind<GisGraduatedSymbolRenderer>(),
    rendererKind<GisRuleBasedSymbolRenderer>(),
};

const QStringList& rendererTexts() {
    static const QStringList texts{QStringLiteral("simple"), QStringLiteral("categorized"),
                                   QStringLiteral("graduated"), QStringLiteral("ruleBased")};
    return texts;
}

} // namespace

QJsonValue toJsonValue(const GisSymbolRenderer& renderer, const JsonPath& path) {
    for (qsizetype i = 0; i < rendererTexts().size(); ++i) {
        const RendererKind& kind = rendererKinds[i];
        // The class itself and not its type(): a derived class may hold more than is saved here.
        if (*kind.type == typeid(renderer)) {
            QJsonObject members = kind.write(renderer, path);
            members.insert(typeName, rendererTexts().at(i));
            return members;
        }
    }
    failSaving(path, QStringLiteral("a renderer of the host's own class cannot be saved."));
}

void fromJsonValue(std::unique_ptr<GisSymbolRenderer>& target, const QJsonValue& value,
                   const JsonPath& path) {
    if (!value.isObject()) {
        failReading(path, QStringLiteral("an object"), value);
    }
    QJsonObject members = value.toObject();
    QString type;
    fromJsonValue(type, members.take(typeName), path.member(typeName));
    const int kind = enumeratorFromJson(type, rendererTexts(), path.member(typeName));
    target = rendererKinds[kind].read(members, path);
}

} // namespace Cartolith::Core::Symbology::Internal
