#include "PlainWkt.h"

#include <Cartolith/Core/Serialization/GisWktReader.h>
#include <Cartolith/Core/Serialization/GisWktWriter.h>

#include <gtest/gtest.h>

namespace {

using namespace SerializationTest;
using Reader = Cartolith::Core::Serialization::Wkt::GisWktReader;
using Writer = Cartolith::Core::Serialization::Wkt::GisWktWriter;

class Wkt : public testing::Test {
protected:
    static void SetUpTestSuite() { QLocale::setDefault(QLocale(QLocale::German)); } // decimal commas
    static void TearDownTestSuite() { QLocale::setDefault(QLocale::c()); }

    std::mt19937_64 random{seed()};
};

std::string rewritten(const QString& text) {
    return outcome([&] { return Reader::read(text)->toWkt().toStdString(); });
}

TEST_F(Wkt, ReadsOrRejects) {
    const std::pair<const char*, const char*> rows[] = {
        {"  point(1 2)  ", "POINT (1 2)"},
        {"POINT Z (1 2 3)", "POINT (1 2)"},
        {"POINT (1)", "runtime_error: Invalid WKT coordinate: 1"},
        {"POINT (1.5 %1)", "runtime_error: Invalid WKT coordinate: 1.5 %1"},
        {"Point z empty ",
         "runtime_error: POINT EMPTY is not supported because GisShapePoint requires a point."},
        {"LineString(0 0,,1 1,)", "LINESTRING (0 0, 1 1)"},
        {"LINESTRING (0 0, , 1 1)", "runtime_error: Invalid WKT coordinate: "},
        {"LINESTRING (1 2", "runtime_error: Invalid WKT: LINESTRING (1 2"},
        {"MULTILINESTRING ((0 0, 1 1), x (2 2, 3 3) y", "LINESTRING (0 0, 1 1)"},
        {"POLYGON ((0 0, 1 0, 1 1)) tail", "POLYGON ((0 0, 1 0, 1 1, 0 0))"},
        {"POLYGON (((0 0, 1 0)))", "runtime_error: Invalid WKT coordinate: (0 0"},
        {"MULTIPOLYGON (((0 0, 1 0, 0 0)), ((5 5, 6 5, 5 5)))", "POLYGON ((0 0, 1 0, 0 0), (5 5, 6 5, 5 5))"},
        {" \t\n", "invalid_argument: WKT text cannot be null or empty."},
        {" MULTIPOINT (1 2) ", "runtime_error: Unsupported WKT geometry type: MULTIPOINT (1 2)"},
    };
    for (const auto& [text, expected] : rows) {
        EXPECT_EQ(rewritten(text), expected) << text;
    }
}

/// Every operation of the reader on the same text, fast and plain.
void expectSameAsPlain(const QString& text) {
    const std::string rows[][2] = {
        {outcome([&] { return bits(*Reader::read(text)); }),
         outcome([&] { return bits(*PlainWkt::read(text)); })},
        {outcome([&] { return bits(Reader::parsePoint(text)); }),
         outcome([&] { return bits(PlainWkt::point(text)); })},
        {outcome([&] { return Reader::extractContent(text).toStdString(); }),
         outcome([&] { return PlainWkt::content(text).toStdString(); })},
        {Reader::trimOuterParentheses(text).toStdString(), PlainWkt::inner(text).toStdString()},
        {Reader::splitTopLevelGroups(text).join('|').toStdString(),
         PlainWkt::groups(text).join('|').toStdString()},
    };
    for (const auto& [actual, expected] : rows) {
        ASSERT_EQ(actual, expected) << "for '" << text.toStdString() << "', seed " << seed();
    }
}

const char oddNumbers[] =
    "+1|--1|-|.5|-.5|5.|1.e3|1e|1e+5|1E-5|1.5e|1e5.|1,000|1,00|inf|-inf|nan|-nan|NaN|infinity|0x10|0x1p|1e999"
    "|-1e999|1e-400|2e-324|3e-324|1e-310|007|1e0000005|1_0|1.2.3|0e99999|-0|1d|1f|1'000|٣|1\u00a0|½|?|1?|1e+|"
    "e5"
    "|−1|9007199254740993|2.2250738585072011e-308|1.7976931348623159e308|0."
    "1000000000000000055511151231257827";

TEST_F(Wkt, OddNumbersReadAsQLocaleReadsThem) {
    for (const QString& number : QString(oddNumbers).split('|')) {
        expectSameAsPlain("POINT (" + number + " 7)");
        expectSameAsPlain("LINESTRING (7 " + number + ",1 2 " + number + ")");
        expectSameAsPlain(number + " 7 8");
    }
}

TEST_F(Wkt, RandomTextReadsAsThePlainReaderReadsIt) {
    const QStringList keywords = {"POINT", "linestring", "MULTILINESTRING ", "POLYGON", "MULTIPOLYGON"};
    const QStringList blanks = {" ", " ", " ", "  ", "\t", "\n\v\f\r", "\u00a0", "\u2003"};
    const QString noise = QString("(),,  ()-+.e0?Zy\t\u00a0é٣") + QChar(0) + QChar(0xd800) + QChar(0x85);
    const auto any = [this](const auto& list) { return list[below(random, list.size())]; };
    const auto number = [&] {
        return below(random, 40) == 0 ? any(QString(oddNumbers).split('|'))
                                      : QString::number(randomDouble(random), "gef"[below(random, 3)],
                                                        static_cast<int>(below(random, 25)));
    };
    const auto group = [&](const auto& self, int depth) -> QString {
        QStringList items;
        for (auto count = below(random, 4) + 1; count > 0; --count) {
            items += depth > 0 ? self(self, depth - 1) : number() + any(blanks) + number();
            items.last() += below(random, 5) == 0 ? any(blanks) + number() : QString();
        }
        return "(" + items.join(below(random, 2) == 0 ? "," : ", ") + ")";
    };
    for (int i = 0; i < 20000; ++i) {
        const auto kind = below(random, keywords.size());
        QString text = keywords[kind] + group(group, static_cast<int>(kind / 2));
        for (auto edits = below(random, 4); edits > 0; --edits) {
            text.replace(below(random, text.size()), below(random, 3), any(noise));
        }
        ASSERT_NO_FATAL_FAILURE(expectSameAsPlain(text));
    }
}

TEST_F(Wkt, HugeDegenerateTextTakesLinearTime) {
    constexpr qsizetype size = 4'000'000;
    const QString blanks = "POINT" + QString(size, ' ') + "1";
    EXPECT_EQ(rewritten(blanks), "runtime_error: Invalid WKT: " + blanks.toStdString());
    EXPECT_EQ(rewritten("POLYGON " + QString(size, '(') + ")"), "POLYGON EMPTY");
    EXPECT_EQ(rewritten("POLYGON (" + QString("),").repeated(size) + "(1 2)"), "POLYGON EMPTY");
    EXPECT_EQ(rewritten("LINESTRING (" + QString(size, ',') + "1 2,3 4)"), "LINESTRING (1 2, 3 4)");
}

TEST_F(Wkt, NumbersPrintAsQLocalePrintsThem) {
    const double rows[] = {-0.0,   1234567.0, 0.25,  0x1p-17, -3 * 0x1p-17, 1 - 0x1p-53, 5e-17,     -4.9e-17,
                           0x1p53, 1e17,      5e-17, -0x1p63, 0x1p63 - 512, 5e-324,      -INFINITY, NAN};
    for (int i = 0; i < 200000; ++i) {
        const double value = i < 16 ? rows[i] : randomDouble(random);
        ASSERT_EQ(Writer::formatDouble(value), PlainWkt::formatDouble(value))
            << std::hexfloat << value << ", seed " << seed();
    }
}

} // namespace
