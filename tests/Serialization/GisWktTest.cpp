#include "SerializationTestSupport.h"

#include <Cartolith/Core/Serialization/GisWktReader.h>
#include <Cartolith/Core/Serialization/GisWktWriter.h>

#include <QLocale>
#include <QRegularExpression>
#include <QStringList>
#include <gtest/gtest.h>

#include <cfloat>

namespace {

using namespace SerializationTest;
using Reader = Cartolith::Core::Serialization::Wkt::GisWktReader;
using Writer = Cartolith::Core::Serialization::Wkt::GisWktWriter;

const bool decimalCommas = (QLocale::setDefault(QLocale(QLocale::German)), true); // for this whole program

/// The reader's steps and the number format in their simplest form, the reference for the fast ones.
namespace Plain {

QString formatDouble(double value) {
    static const QRegularExpression zeros("\\.?0*$");
    QString text = QLocale(QLocale::C).toString(value, 'f', 16);
    text = text.contains('.') ? text.remove(zeros) : text;
    return text == "-0" ? QStringLiteral("0") : text;
}

QStringList groups(const QString& text) {
    QStringList result;
    qsizetype depth = 0;
    qsizetype start = -1;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] == '(' && depth++ == 0) {
            start = i;
        } else if (text[i] == ')' && depth-- == 1 && start >= 0) {
            result.append(text.mid(start, i - start + 1).trimmed());
            start = -1;
        }
    }
    return result;
}

GisShapePoint point(const QString& text) {
    const auto tokens = text.trimmed().split(QRegularExpression("\\s+"), Qt::SkipEmptyParts);
    bool xOk = false;
    bool yOk = false;
    const double x = tokens.size() < 2 ? 0 : QLocale(QLocale::C).toDouble(tokens[0], &xOk);
    const double y = tokens.size() < 2 ? 0 : QLocale(QLocale::C).toDouble(tokens[1], &yOk);
    if (!xOk || !yOk) {
        const bool cut = text.size() > 500;
        throw std::runtime_error("Invalid WKT coordinate: " + text.left(500).toStdString() +
                                 (cut ? "... (" + std::to_string(text.size()) + " characters)" : std::string()));
    }
    return {x, y};
}

QList<GisShapePoint> points(const QString& text) {
    QList<GisShapePoint> result;
    for (const QString& item : text.split(',', Qt::SkipEmptyParts)) {
        result.append(point(item.trimmed()));
    }
    return result;
}

} // namespace Plain

std::string rewritten(const QString& text) {
    return outcome([&] { return Reader::read(text)->toWkt().toStdString(); });
}

TEST(Wkt, ReadsOrRejects) {
    const std::pair<const char*, const char*> rows[] = {
        {"  point(1 2)  ", "POINT (1 2)"},
        {"POINT Z (1 2 3)", "POINT (1 2)"},
        {"POINT (1)", "runtime_error: Invalid WKT coordinate: 1"},
        {"POINT (1.5 %1)", "runtime_error: Invalid WKT coordinate: 1.5 %1"},
        {"Point z empty ", "runtime_error: POINT EMPTY is not supported because GisShapePoint requires a point."},
        {"LineString(0 0,,1 1,)", "LINESTRING (0 0, 1 1)"},
        {"LINESTRING (1 2", "runtime_error: Invalid WKT: LINESTRING (1 2"},
        {"POLYGON ((0 0, 1 0, 1 1)) tail", "POLYGON ((0 0, 1 0, 1 1, 0 0))"},
        {"MULTIPOLYGON (((0 0, 1 0, 0 0)), ((5 5, 6 5, 5 5)))", "POLYGON ((0 0, 1 0, 0 0), (5 5, 6 5, 5 5))"},
        {" \t\n", "invalid_argument: WKT text cannot be null or empty."},
        {" MULTIPOINT (1 2) ", "runtime_error: Unsupported WKT geometry type: MULTIPOINT (1 2)"},
    };
    for (const auto& [text, expected] : rows) {
        EXPECT_EQ(rewritten(text), expected) << text;
    }
}

/// The steps that have a faster form in the reader, both ways on the same text.
void expectSameAsPlain(const QString& text) {
    const auto all = [](const QList<GisShapePoint>& points) { return bits(*shapeOf<GisShapePolyline>({points})); };
    const std::string rows[][2] = {
        {outcome([&] { return bits(Reader::parsePoint(text)); }), outcome([&] { return bits(Plain::point(text)); })},
        {outcome([&] { return all(Reader::parsePointList(text)); }), outcome([&] { return all(Plain::points(text)); })},
        {Reader::splitTopLevelGroups(text).join('|').toStdString(), Plain::groups(text).join('|').toStdString()},
    };
    for (const auto& [actual, expected] : rows) {
        ASSERT_EQ(actual, expected) << "for '" << text.toStdString() << "', seed " << seed();
    }
}

TEST(Wkt, OddNumbersAndRandomTextReadAsThePlainReaderReadsThem) {
    const QStringList oddNumbers =
        QString("+1 --1 - .5 -.5 5. 1.e3 1e 1e+5 1E-5 1.5e 1e5. 1,000 1,00 inf -inf nan -nan NaN infinity "
                "0x10 1'000 "
                "1e999 -1e999 1e-400 2e-324 3e-324 1e-310 007 1e0000005 1_0 1.2.3 0e99999 -0 1d 1f ٣ 1\u00a0 "
                "½ ? 1? "
                "1e+ e5 −1 9007199254740993 2.2250738585072011e-308 1.7976931348623159e308")
            .split(' ');
    for (const QString& number : oddNumbers) {
        expectSameAsPlain("7 " + number + ",1 2 " + number);
        expectSameAsPlain(number + " 7 8");
    }
    std::mt19937_64 random(seed());
    const QStringList blanks = {" ", " ", " ", "  ", "\t", "\n\v\f\r", "\u00a0", "\u2003"};
    const QString noise = QString("(),,  ()-+.e0?Zy\t\u00a0é٣") + QChar(0) + QChar(0xd800) + QChar(0x85);
    const auto any = [&random](const auto& list) { return list[below(random, list.size())]; };
    const auto number = [&] {
        const auto digits = static_cast<int>(below(random, 25));
        return below(random, 40) == 0 ? any(oddNumbers)
                                      : QString::number(randomDouble(random), "gef"[below(random, 3)], digits);
    };
    const auto list = [&](const auto& self, int depth) -> QString {
        QStringList items;
        for (auto count = below(random, 4) + 1; count > 0; --count) {
            items += depth > 0 ? "(" + self(self, depth - 1) + ")" : number() + any(blanks) + number();
            items.last() += below(random, 5) == 0 ? any(blanks) + number() : QString();
        }
        return items.join(below(random, 2) == 0 ? "," : ", ");
    };
    for (int i = 0; i < 30000; ++i) {
        QString text = list(list, i % 3);
        for (auto edits = below(random, 4); edits > 0; --edits) {
            text.replace(below(random, text.size() + 1), below(random, 3), any(noise));
        }
        ASSERT_NO_FATAL_FAILURE(expectSameAsPlain(text));
    }
}

TEST(Wkt, HugeDegenerateTextTakesLinearTime) {
    constexpr qsizetype size = 4'000'000;
    const QString blanks = "POINT" + QString(size, ' ') + "1";
    EXPECT_EQ(rewritten(blanks),
              "runtime_error: Invalid WKT: " + blanks.left(500).toStdString() + "... (4000006 characters)");
    const QString pairs = QString(100'000, 'x') + QStringLiteral(u"\U0001F5FA").repeated(50'000);
    for (const qsizetype skipped : {0, 99'501, 99'502}) { // the cut among letters, within a pair, between pairs
        const QString text = pairs.sliced(skipped);
        EXPECT_EQ(rewritten(text), "runtime_error: Unsupported WKT geometry type: " +
                                       text.left(skipped == 99'501 ? 499 : 500).toStdString() + "... (" +
                                       std::to_string(text.size()) + " characters)");
    }
    EXPECT_EQ(rewritten("POLYGON " + QString(size, '(') + ")"), "POLYGON EMPTY");
    EXPECT_EQ(rewritten("POLYGON (" + QString("),").repeated(size) + "(1 2)"), "POLYGON EMPTY");
    EXPECT_EQ(rewritten("LINESTRING (" + QString(size, ',') + "1 2,3 4)"), "LINESTRING (1 2, 3 4)");
}

TEST(Wkt, NumbersPrintAsQLocalePrintsThem) {
    const double rows[] = {-0.0,   1e6,  0.25,    0x1p-17,      -3 * 0x1p-17, 1 - 0x1p-53, 5e-17,     -4.9e-17,
                           0x1p53, 1e17, -0x1p63, 0x1p63 - 512, DBL_MAX,      5e-324,      -INFINITY, NAN};
    std::mt19937_64 random(seed());
    for (int i = 0; i < 200000; ++i) {
        const double value = i < 16 ? rows[i] : randomDouble(random);
        ASSERT_EQ(Writer::formatDouble(value), Plain::formatDouble(value))
            << std::hexfloat << value << ", seed " << seed();
    }
}

} // namespace
