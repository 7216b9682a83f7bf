// Symbology as JSON: everything reads back as it was, and nothing else is read.

#include "TestSeed.h"

#include <Cartolith/Core/Symbology/GisCategorizedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisColorRampRegistry.h>
#include <Cartolith/Core/Symbology/GisGraduatedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisRuleBasedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisSimpleSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisSymbologyJson.h>

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLocale>
#include <QPoint>
#include <QTimeZone>
#include <QUrl>
#include <QUuid>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <ctime>
#include <functional>
#include <limits>
#include <random>
#include <stdexcept>

namespace {

using namespace Cartolith::Core::Symbology;
using Cartolith::Core::Layers::GisLayerStyle;
using Json = GisSymbologyJson;
using testing::HasSubstr;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// Decimal commas, and clocks that are set back.
class GisSymbologyJsonTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        QLocale::setDefault(QLocale::German);
        qputenv("TZ", "Europe/Berlin");
        tzset();
    }
};

template <typename Number>
bool sameBits(Number a, Number b) {
    return (std::isnan(a) && std::isnan(b)) || (a == b && std::signbit(a) == std::signbit(b));
}

/// As strict as can be: QVariant's own comparison converts, and takes null for a value.
bool same(const QVariant& a, const QVariant& b) {
    if (a.typeId() != b.typeId() || a.isNull() != b.isNull()) {
        return false;
    }
    switch (a.typeId()) {
    case QMetaType::Double: return sameBits(a.toDouble(), b.toDouble());
    case QMetaType::Float: return sameBits(a.toFloat(), b.toFloat());
    case QMetaType::QVariantList: return std::ranges::equal(a.toList(), b.toList(), same);
    case QMetaType::QVariantMap:
        return a.toMap().keys() == b.toMap().keys() && std::ranges::equal(a.toMap().values(), b.toMap().values(), same);
    case QMetaType::QDateTime: {
        const QDateTime x = a.toDateTime();
        const QDateTime y = b.toDateTime();
        return x == y && x.timeSpec() == y.timeSpec() && x.offsetFromUtc() == y.offsetFromUtc() &&
               (x.timeSpec() != Qt::TimeZone || x.timeZone() == y.timeZone());
    }
    default: return a == b;
    }
}

template <typename Renderer>
Renderer throughText(const Renderer& renderer) {
    const auto read = Json::rendererFromJson(Json::fromText(Json::toText(Json::toJson(renderer))));
    return dynamic_cast<const Renderer&>(*read);
}

GisRuleBasedSymbolRenderer rendererOf(const QVariant& value) {
    GisRuleBasedSymbolRenderer renderer;
    GisSymbolRule rule;
    rule.value = value;
    renderer.addRule(rule);
    return renderer;
}

QVariant throughText(const QVariant& value) {
    return throughText(rendererOf(value)).rules().constFirst().value;
}

QVariant nullOf(QMetaType::Type type) {
    return QVariant(QMetaType(type));
}

struct ValueRow {
    QVariant value;
    const char* json;
};

const QList<ValueRow>& valueRows() {
    const QTimeZone berlin("Europe/Berlin");
    const qint64 fold = 1729989000123; // 2024-10-27 02:30 in Berlin, for the first time
    // clang-format off
    static const QList<ValueRow> rows{
        {QVariant(), R"(null)"}, {true, R"(true)"}, {nullOf(QMetaType::Int), R"({"type":"int"})"},
        {nullOf(QMetaType::QVariantMap), R"({"type":"QVariantMap"})"},
        {std::numeric_limits<int>::min(), R"({"type":"int","value":-2147483648})"},
        {QVariant::fromValue<short>(-32768), R"({"type":"short","value":-32768})"},
        {qlonglong{9007199254740992}, R"(9007199254740992)"},
        {qlonglong{9007199254740993}, R"({"type":"qlonglong","value":"9007199254740993"})"},
        {std::numeric_limits<qlonglong>::min(), R"({"type":"qlonglong","value":"-9223372036854775808"})"},
        {~qulonglong{0}, R"({"type":"qulonglong","value":"18446744073709551615"})"}, {1e300, R"(1e+300)"},
        {5e-324, R"(5e-324)"}, {2.0, R"({"type":"double","value":2})"},
        {9223372036854775808.0, R"(9223372036854776000)"}, {-0.0, R"({"type":"double","value":"-0"})"},
        {nan, R"({"type":"double","value":"NaN"})"}, {-infinity, R"({"type":"double","value":"-Infinity"})"},
        {0.9F, R"({"type":"float","value":0.9})"},
        {std::numeric_limits<float>::max(), R"({"type":"float","value":3.4028234663852886e+38})"},
        {std::numeric_limits<float>::denorm_min(), R"({"type":"float","value":1e-45})"},
        {-0.0F, R"({"type":"float","value":"-0"})"}, {QString("NaN"), R"("NaN")"},
        {QString::fromUtf16(u"\xd800\u20ac\"\n"), "\"\\ud800\u20ac\\\"\\n\""}, {u"\ufeffa"_qs, "\"\ufeffa\""},
        {QByteArray("\0\xff\x10", 3), R"({"type":"QByteArray","value":"AP8Q"})"},
        {QDate(2024, 2, 29), R"({"type":"QDate","value":"2024-02-29"})"},
        {QDate(-44, 3, 15), R"({"type":"QDate","value":"-0044-03-15"})"},
        {QDate(12345, 1, 1), R"({"type":"QDate","value":"+12345-01-01"})"},
        {QTime(13, 5, 0, 250), R"({"type":"QTime","value":"13:05:00.250"})"},
        {QDateTime(), R"({"type":"QDateTime","value":""})"},
        {QDateTime(QDate(2024, 7, 1), QTime(2, 30)), R"({"type":"QDateTime","value":"2024-07-01T02:30:00.000+02:00[local]"})"},
        {QDateTime(QDate(-1, 7, 1), QTime(2, 30, 1, 9), Qt::UTC), R"({"type":"QDateTime","value":"-0001-07-01T02:30:01.009Z"})"},
        {QDateTime(QDate(2024, 7, 1), QTime(2, 30), Qt::OffsetFromUTC, -16230), R"({"type":"QDateTime","value":"2024-07-01T02:30:00.000-04:30:30"})"},
        {QDateTime::fromMSecsSinceEpoch(fold), R"({"type":"QDateTime","value":"2024-10-27T02:30:00.123+02:00[local]"})"},
        {QDateTime::fromMSecsSinceEpoch(fold + 3600000), R"({"type":"QDateTime","value":"2024-10-27T02:30:00.123+01:00[local]"})"},
        {QDateTime::fromMSecsSinceEpoch(fold, berlin), R"({"type":"QDateTime","value":"2024-10-27T02:30:00.123+02:00[Europe/Berlin]"})"},
        {QDateTime::fromMSecsSinceEpoch(fold + 3600000, berlin), R"({"type":"QDateTime","value":"2024-10-27T02:30:00.123+01:00[Europe/Berlin]"})"},
        {QUuid("12345678-9abc-def0-1234-56789abcdef0"), R"({"type":"QUuid","value":"{12345678-9abc-def0-1234-56789abcdef0}"})"},
        {QUrl(u"http://a.org/\u00e4 b?c=%41#d"_qs), R"({"type":"QUrl","value":"http://a.org/%C3%A4%20b?c=A#d"})"},
        {QStringList{"a", ""}, R"({"type":"QStringList","value":["a",""]})"},
        {QVariantList{QVariant(), 1.5, QVariantList{}, 3},
        R"({"type":"QVariantList","value":[null,1.5,{"type":"QVariantList","value":[]},{"type":"int","value":3}]})"},
        {QVariantMap{{"", nullOf(QMetaType::Double)}, {"type", nan}},
        R"({"type":"QVariantMap","value":{"":{"type":"double"},"type":{"type":"double","value":"NaN"}}})"},
    };
    // clang-format on
    return rows;
}

TEST_F(GisSymbologyJsonTest, ValuesKeepTheirTypeAndEveryBit) {
    for (const ValueRow& row : valueRows()) {
        SCOPED_TRACE(row.json);
        const auto json = Json::toJson(rendererOf(row.value));
        const QJsonArray value{json["rules"][0]["value"]};
        const QByteArray text = QJsonDocument(value).toJson(QJsonDocument::Compact);
        EXPECT_EQ(text.mid(1, text.size() - 2).toStdString(), row.json);
        EXPECT_TRUE(same(throughText(row.value), row.value));
    }
}

class Random {
public:
    int below(int bound) { return static_cast<int>(m_engine() % static_cast<unsigned>(bound)); }
    bool flip() { return below(2) == 0; }
    /// Any bits, but no NaN, which would not be equal to itself.
    double number() {
        const auto value = std::bit_cast<double>(m_engine());
        return std::isnan(value) ? infinity : flip() ? value : std::round(std::ldexp(value, -900));
    }
    float single() {
        const auto value = std::bit_cast<float>(static_cast<unsigned>(m_engine()));
        return std::isnan(value) ? -0.0F : value;
    }
    QString text() {
        QString text;
        for (int i = below(6); i > 0; --i) {
            text += flip() ? QChar(u'a' + below(26)) : QChar(static_cast<char16_t>(m_engine()));
        }
        return text;
    }
    QVariant value() {
        switch (below(4)) {
        case 0: return number();
        case 1: return single();
        case 2: return static_cast<qlonglong>(m_engine()) >> below(64);
        default: return valueRows().at(below(static_cast<int>(valueRows().size()))).value;
        }
    }
    /// Some members of the default style with other values.
    GisLayerStyle style() {
        const QJsonObject defaults = Json::toJson(GisLayerStyle());
        QJsonObject members;
        for (auto it = defaults.begin(); it != defaults.end(); ++it) {
            if (it.key() == "kind" || it.key() == "version" || flip()) {
                continue;
            }
            members[it.key()] = it->isBool()     ? QJsonValue(flip())
                                : it->isString() ? QJsonValue(text())
                                                 : QJsonValue(below(1 << 30));
            if (it.key() == "labelPlacementMode") {
                members[it.key()] = below(6) - 1;
            }
        }
        GisLayerStyle style = Json::styleFromJson(members);
        style.setLineWidth(single());
        style.setLabelOffsetX(single());
        style.setLabelRepeatDistance(number());
        return style;
    }

private:
    std::mt19937_64 m_engine{test::seed()};
};

TEST_F(GisSymbologyJsonTest, RandomRenderersAndRampsReadBackThroughText) {
    SCOPED_TRACE(test::seed());
    Random random;
    for (int round = 0; round < 200; ++round) {
        const GisSimpleSymbolRenderer simple(random.style());
        EXPECT_EQ(throughText(simple).style(), simple.style());
        GisColorRamp ramp(random.text());
        GisCategorizedSymbolRenderer categorized(random.text());
        GisGraduatedSymbolRenderer graduated(random.text());
        GisRuleBasedSymbolRenderer ruleBased;
        graduated.setClassificationMode(static_cast<GisGraduatedClassificationMode>(random.below(14) - 1));
        for (int i = random.below(5); i > 0; --i) {
            ramp.addStop({std::abs(std::fmod(random.number(), 1.0)), "#12ab34"});
            categorized.addClass({random.value(), random.text(), random.style(), random.flip()});
            graduated.addRange({random.number(), random.number(), random.flip(), random.flip(), random.text(),
                                random.style(), random.flip()});
            ruleBased.addRule({random.text(), static_cast<GisSymbolRuleOperator>(random.below(14) - 1), random.value(),
                               random.text(), random.style(), random.flip()});
        }
        categorized.setDefaultStyle(random.style());
        graduated.setDefaultStyle(random.style());
        ruleBased.setDefaultStyle(random.style());

        EXPECT_EQ(Json::rampFromJson(Json::fromText(Json::toText(Json::toJson(ramp)))), ramp);
        const auto sameItem = [](auto a, auto b) {
            const bool sameValue = same(a.value, b.value);
            a.value = b.value = {};
            return sameValue && a == b;
        };
        const GisCategorizedSymbolRenderer classes = throughText(categorized);
        EXPECT_EQ(classes.fieldName(), categorized.fieldName());
        EXPECT_EQ(classes.defaultStyle(), categorized.defaultStyle());
        EXPECT_TRUE(std::ranges::equal(classes.classes(), categorized.classes(), sameItem));
        const GisGraduatedSymbolRenderer ranges = throughText(graduated);
        EXPECT_EQ(ranges.fieldName(), graduated.fieldName());
        EXPECT_EQ(ranges.classificationMode(), graduated.classificationMode());
        EXPECT_EQ(ranges.defaultStyle(), graduated.defaultStyle());
        EXPECT_EQ(ranges.ranges(), graduated.ranges());
        const GisRuleBasedSymbolRenderer rules = throughText(ruleBased);
        EXPECT_EQ(rules.defaultStyle(), ruleBased.defaultStyle());
        EXPECT_TRUE(std::ranges::equal(rules.rules(), ruleBased.rules(), sameItem));
    }
}

TEST_F(GisSymbologyJsonTest, EachMemberOfAStyleIsItsOwn) {
    const QJsonObject defaults = Json::toJson(GisLayerStyle());
    EXPECT_EQ(defaults.size(), 31 + 2);
    for (const QString& name : defaults.keys()) {
        if (name == "kind" || name == "version") {
            continue;
        }
        SCOPED_TRACE(name.toStdString());
        QJsonObject changed = defaults;
        changed[name] = defaults[name].isBool()        ? QJsonValue(!defaults[name].toBool())
                        : name == "labelPlacementMode" ? QJsonValue("area")
                        : defaults[name].isString()    ? QJsonValue("x")
                                                       : QJsonValue(defaults[name].toDouble() + 1);
        EXPECT_EQ(Json::toJson(Json::styleFromJson({{name, changed[name]}})), changed);
    }
    GisLayerStyle style;
    style.setPointSize(std::numeric_limits<float>::quiet_NaN());
    EXPECT_TRUE(std::isnan(Json::styleFromJson(Json::toJson(style)).pointSize()));
    GisGraduatedSymbolRenderer renderer;
    renderer.addRange({nan, -0.0, true, true, {}, {}});
    const GisGraduatedSymbolRange range = throughText(renderer).ranges().constFirst();
    EXPECT_TRUE(std::isnan(range.lower) && std::signbit(range.upper));
}

TEST_F(GisSymbologyJsonTest, ReadsWhatPeopleWrite) {
    const auto renderer = Json::rendererFromJson(Json::fromText(R"({
        "type": "ruleBased",
        "rules": [
            {"fieldName": "name", "operator": "starts with", "value": "Ank", "style": {"fillColor": "red"}},
            {"fieldName": "population", "operator": ">=", "value": 1e6, "enabled": false},
            {"value": 2.5, "operator": 99}, {"value": 1e19}
        ]})"));
    const auto& rules = dynamic_cast<const GisRuleBasedSymbolRenderer&>(*renderer).rules();
    ASSERT_EQ(rules.size(), 4);
    GisLayerStyle red;
    red.setFillColor("red");
    EXPECT_EQ(rules[0], (GisSymbolRule{"name", GisSymbolRuleOperator::StartsWith, "Ank", {}, red}));
    EXPECT_EQ(rules[1].op, GisSymbolRuleOperator::GreaterOrEqual);
    EXPECT_TRUE(same(rules[1].value, qlonglong{1000000}) && !rules[1].enabled);
    EXPECT_TRUE(same(rules[2].value, 2.5) && rules[2].op == GisSymbolRuleOperator{99});
    EXPECT_TRUE(same(rules[3].value, 1e19));

    const auto style = Json::styleFromJson({{"labelMaxCandidatesPerFeature", 100}, {"labelMinVisibleScale", -1}});
    EXPECT_EQ(style.labelMaxCandidatesPerFeature(), 16);
    EXPECT_EQ(style.labelMinVisibleScale(), 0);
    const auto stops = QJsonArray{QJsonObject{{"position", 1}, {"color", " 0f0"}}, QJsonObject{{"color", "#ff0000"}}};
    EXPECT_EQ(Json::rampFromJson({{"name", "x"}, {"stops", stops}}), makeRamp("x", {"#FF0000", "#00FF00"}));
}

std::string messageOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const std::runtime_error& error) {
        return error.what();
    } catch (const std::invalid_argument& error) {
        return std::string("invalid argument: ") + error.what();
    }
    return "no error";
}

TEST_F(GisSymbologyJsonTest, ErrorsNameTheMember) {
    const struct {
        char kind;
        const char* text;
        const char* message;
    } rows[] = {
        {'s', R"({"fillcolor": "x"})", "style: there is no member \"fillcolor\"."},
        {'s', R"({"fillColor": null})", "style.fillColor: a string is expected, not null."},
        {'s', R"({"showLabels": 1})", "style.showLabels: true or false is expected, not a number."},
        {'s', R"({"lineWidth": 3.5e38})", "style.lineWidth: the number is too great for a float."},
        {'s', R"({"fillOpacity": 1.5})",
         "style.fillOpacity: a whole number from -2147483648 to 2147483647 is expected."},
        {'s', R"({"labelPlacementMode": "Area"})",
         "style.labelPlacementMode: \"Area\" is none of \"automatic\", \"point\", \"line\", \"area\"."},
        {'s', R"({"version": 2})", "style.version: version 2 is not known, only version 1."},
        {'s', R"({"kind": "ramp"})", "style.kind: \"style\" is expected, not \"ramp\"."},
        {'c', R"({"stops": [{"color": "#123"}, {"color": "red"}]})",
         "ramp.stops[1].color: \"red\" is no colour of the form #RRGGBB or #RGB."},
        {'c', R"({"stops": [{"position": 1.1, "color": "#123"}]})",
         "ramp.stops[0].position: a number from 0 to 1 is expected."},
        {'r', R"({})", "renderer.type: a string is expected, but there is none."},
        {'r', R"({"type": "heat"})",
         R"(renderer.type: "heat" is none of "simple", "categorized", "graduated", "ruleBased".)"},
        {'r', R"({"type": "categorized", "classes": [1]})",
         "renderer.classes[0]: an object is expected, not a number."},
        {'r', R"({"type": "graduated", "ranges": [{}, {}, {"upper": "x"}]})",
         "renderer.ranges[2].upper: a number is expected, not a string."},
        {'r', R"({"type": "ruleBased", "defaultStyle": {"a\u0001": 1}})",
         "renderer.defaultStyle: there is no member \"a?\"."},
        {'r', R"({"type": "ruleBased", "rules": [{"operator": "=="}]})",
         "renderer.rules[0].operator: \"==\" is none of \"=\", \"!=\", \">\", \">=\", \"<\", \"<=\", "
         "\"contains\", \"starts with\", \"ends with\", \"is null\", \"is not null\"."},
        {'g', R"({"classes": [{"lower": "x"}]})", "rasterStyle.classes[0].lower: a number is expected"},
        {'g', R"({"band": 0})", "rasterStyle: "},
        {'g', R"({"stretch": {"mode": "given", "lower": 2, "upper": 1}})", "rasterStyle: "},
        {'g', R"({"stretch": {"mode": "wide"}})", "rasterStyle.stretch.mode: there is no stretch \"wide\""},
        {'g', R"({"rendering": 6})", "rasterStyle.rendering: there is no number 6"},
        {'g', R"({"rgbBands": [1, 2]})", "three bands"},
        {'g', R"({"hillshade": {"altitude": 91}})", "rasterStyle: "},
        {'v', R"([1])", ".value: an object is expected, not an array."},
        {'v', R"({"value": 1})", ".value.type: \"\" is no known type."},
        {'v', R"({"type": "int", "valeu": 1})", ".value: there is no member \"valeu\"."},
        {'v', R"({"type": "ushort", "value": -1})", ".value.value: a whole number from 0 to 65535 is expected."},
        {'v', R"({"type": "qulonglong", "value": "18446744073709551616"})",
         ".value.value: a whole number from 0 to 18446744073709551615 is expected."},
        {'v', R"({"type": "QByteArray", "value": "A*=="})", ".value.value: \"A*==\" is no base64 text."},
        {'v', R"({"type": "QDate", "value": "2023-02-29"})", ".value.value: \"2023-02-29\" is no date."},
        {'v', R"({"type": "QDateTime", "value": "2024-03-31T02:30:00"})", "is no date and time."},
        {'v', R"({"type": "QDateTime", "value": "2024-07-01T02:30:00+02:00[../../../dev/zero]"})",
         ".value.value: \"2024-07-01T02:30:00+02:00[../../../dev/z...\" is no date and time."},
        {'v', R"({"type": "QUuid", "value": "{12345678-9abc-def0-1234-56789abcdef0}x"})", "\" is no UUID."},
        {'v', R"({"type": "QUrl", "value": "http://[x"})", ".value.value: \"http://[x\" is no URL."},
        {'v', R"({"type": "QVariantMap", "value": {"k.": {"type": "QVariantList", "value": [{}]}}})",
         R"(renderer.rules[0].value.value["k."].value[0].type: "" is no known type.)"},
        {'t', "{\n \"a\": 1,\n}", "JSON, line 3, column 2: object is missing after a comma."},
        {'t', "", "JSON, line 1, column 1: illegal value."},
        {'t', "[]", "JSON: an object is expected, not an array."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        QByteArray text = row.text;
        if (row.kind == 'v') {
            text = R"({"type": "ruleBased", "rules": [{"value": )" + text + "}]}";
        }
        EXPECT_THAT(messageOf([&] {
                        const QJsonObject json = Json::fromText(text);
                        row.kind == 's'   ? (void)Json::styleFromJson(json)
                        : row.kind == 'c' ? (void)Json::rampFromJson(json)
                        : row.kind == 'g' ? (void)Json::rasterStyleFromJson(json)
                                          : (void)Json::rendererFromJson(json);
                    }),
                    HasSubstr(row.message));
    }
}

TEST_F(GisSymbologyJsonTest, RasterStylesReadBack) {
    GisRasterStyle style;
    EXPECT_EQ(Json::rasterStyleFromJson(Json::toJson(style)), style);
    style.setRendering(GisRasterStyle::Rendering::Ramp);
    style.setBand(3);
    style.setRgbBands(4, 2, 1);
    style.setRamp(makeRamp("own", {"#FF0000", "#00FF00"}));
    style.setReversed(true);
    style.setClasses({{-infinity, 0.1, true, true, "low"}, {0.1, infinity, false, false, ""}});
    style.setHillshade(GisHillshade{10, 20, 0.5});
    style.setResampling(GisRasterStyle::Resampling::Average);
    for (const auto& stretch :
         {GisRasterStretch::minMax(), GisRasterStretch::percentiles(1, 99.5), GisRasterStretch::given(-1e-3, 7)}) {
        style.setStretch(stretch);
        EXPECT_EQ(Json::rasterStyleFromJson(Json::fromText(Json::toText(Json::toJson(style)))), style);
    }
}

class HostRenderer : public GisSimpleSymbolRenderer {};

TEST_F(GisSymbologyJsonTest, RefusesToSaveWhatItWouldLose) {
    const auto nested = [](int depth) {
        QVariant value = 1;
        for (int i = 0; i < depth; ++i) {
            value = i % 2 == 0 ? QVariant(QVariantList{value}) : QVariant(QVariantMap{{"k", value}});
        }
        return value;
    };
    EXPECT_TRUE(same(throughText(nested(30)), nested(30)));
    const std::pair<QVariant, const char*> rows[] = {
        {QPoint(), "value: a value of type QPoint cannot be saved."},
        {QVariantList{1, QPoint()}, "value.value[1]: a value of type QPoint cannot be saved."},
        {QUrl("http://[x"), "value.value: this URL cannot be saved."},
        {QDateTime(QDate(2024, 7, 1), QTime(1, 2), QTimeZone("Custom", 60, "a", "b")),
         "value.value: this date and time cannot be saved."},
        {nested(31), ": the values are nested too deep."},
    };
    for (const auto& [value, message] : rows) {
        EXPECT_THAT(messageOf([&, &value = value] { Json::toJson(rendererOf(value)); }), HasSubstr(message));
    }
    EXPECT_EQ(messageOf([] { Json::toJson(HostRenderer()); }),
              "invalid argument: renderer: a renderer of the host's own class cannot be saved.");
}

// Whatever is done to a good text, it is either refused or read as something that reads back the same.
TEST_F(GisSymbologyJsonTest, SurvivesDamagedText) {
    SCOPED_TRACE(test::seed());
    Random random;
    GisRuleBasedSymbolRenderer renderer;
    for (const ValueRow& row : valueRows()) {
        renderer.addRule({"f", GisSymbolRuleOperator::Contains, row.value, {}, {}});
    }
    const QByteArray text = QJsonDocument(Json::toJson(renderer)).toJson(QJsonDocument::Compact);
    const QByteArray spare = "{}[]\",:-0e9.TZntd\\\xff";
    int read = 0;
    for (int round = 0; round < 600; ++round) {
        QByteArray damaged = round % 8 == 0 ? text.left(random.below(static_cast<int>(text.size()))) : text;
        for (int i = round % 8; i > 0; --i) {
            damaged[random.below(static_cast<int>(damaged.size()))] =
                spare[random.below(static_cast<int>(spare.size()))];
        }
        try {
            const QJsonObject json = Json::toJson(*Json::rendererFromJson(Json::fromText(damaged)));
            EXPECT_EQ(Json::toJson(*Json::rendererFromJson(json)), json) << damaged.constData();
            ++read;
        } catch (const std::runtime_error&) {
        }
    }
    EXPECT_GT(read, 0);

    const int depth = 300; // deeper than is read, and less deep than the parser refuses
    const QByteArray deep =
        QByteArray(R"({"type": "QVariantList", "value": [)").repeated(depth) + "1" + QByteArray("]}").repeated(depth);
    EXPECT_THAT(messageOf([&] {
                    Json::rendererFromJson(
                        Json::fromText(R"({"type": "categorized", "classes": [{"value": )" + deep + "}]}"));
                }),
                HasSubstr("[0]: the values are nested too deep."));
    EXPECT_THAT(messageOf([] { Json::fromText(QByteArray(5000000, '[')); }), HasSubstr("JSON, line 1"));
}

} // namespace
