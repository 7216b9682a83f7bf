#include "../TestSeed.h"
#include "Layers/RandomFilters.h"

#include <Cartolith/Core/Layers/GisFeatureFilter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <limits>

using Cartolith::Core::Layers::GisFeatureFilter;

namespace {

constexpr auto largest = std::numeric_limits<qulonglong>::max();
constexpr double infinity = std::numeric_limits<double>::infinity();

QVariant valueIn(const QString& field) {
    static const QHash<QString, QVariant> row{
        {"n", 5},
        {"big", QVariant::fromValue<qlonglong>(9007199254740993)}, // 2^53 + 1
        {"most", QVariant::fromValue(largest)},
        {"x", 0.1},
        {"two53", 9007199254740992.0},
        {"inf", infinity},
        {"nan", std::numeric_limits<double>::quiet_NaN()},
        {"is", true},
        {"t", QString("Göteborg")},
        {"ten", QString("10")},
        {"empty", QString("")},
        {"clef", QString::fromUcs4(U"\U0001D11E")},
        {"day", QDate(2026, 1, 31)},
        {"noon", QTime(12, 0)},
        {"local", QDateTime(QDate(2026, 1, 31), QTime(12, 0))},
        {"utc", QDateTime(QDate(2026, 1, 31), QTime(12, 0), Qt::UTC)},
        {"east", QDateTime(QDate(2026, 1, 31), QTime(13, 0), Qt::OffsetFromUTC, 3600)},
        {"list", QVariantList{1, 2}},
        {"two words", 1},
        {"quo\"te", 1}};
    return row.value(field);
}

QList<QVariant> sampleValues() {
    return {5,
            QVariant::fromValue(largest),
            0.1,
            -1e300,
            infinity,
            true,
            "10",
            "Gö'teborg\\%",
            "2026-01-31",
            QVariant(),
            QDate(2026, 1, 31),
            QTime(12, 0, 0, 5),
            valueIn("utc"),
            valueIn("local")};
}

} // namespace

TEST(GisFeatureFilter, AnswersAsSqlDoes) {
    const char T = 't';
    const char F = 'f';
    const char N = 'n'; // nothing
    const struct {
        const char* text;
        char answer;
    } rows[] = {
        {"", T},
        {"n = 5", T},
        {"n = 5.0 AND n = '5' AND n = ' 5 '", T},
        {"n = '1,5' OR n = '0x5'", N},
        {"n <> 4 and N = 5", N},
        {"\"is\" = 1 AND \"is\" = TRUE AND \"is\" <> 0", T},
        {"big = 9007199254740992.0", F},
        {"big > 9007199254740992.0", T},
        {"two53 < 9007199254740993", T},
        {"most = 18446744073709551615", T},
        {"most < 18446744073709551615.0", T}, // which is 2^64
        {"x = 0.1 AND x < 0.10000000000000002", T},
        {"inf > 1e308 AND inf = 1e999 AND inf > -1e999", T},
        {"nan = 1 OR nan <> 1", N},
        {"nan IS NULL AND t IS NOT NULL AND empty IS NOT NULL AND list IS NOT NULL", T},
        {"ten > '9'", F},
        {"ten > 9", T},
        {"t = 'göteborg'", F},
        {"t < 'Hamn' AND t > 'Gz'", T},
        {"clef > '\xEF\xBF\xBD'", T}, // U+FFFD, which is more in UTF-16
        {"t LIKE 'G_teborg' AND t LIKE '%ö%g' AND NOT t LIKE 'g%'", T},
        {"t ILIKE 'gÖ%' AND t NOT ILIKE '_'", T},
        {"clef LIKE '_'", T},
        {"n LIKE '5'", N},
        {"'t' = t", 'e'},
        {"n = big", 'e'},
        {"day = '2026-01-31' AND day < DATE '2026-02-01' AND day <> '2026-01-31T12:00:00'", T},
        {"day < '2026-01-31T00:00:00.001' AND day >= '2026-01-31T00:00'", T},
        {"utc = TIMESTAMP '2026-01-31T13:00:00+01:00' AND east = '2026-01-31T12:00:00Z'", T},
        {"local = '2026-01-31T12:00:00Z' AND local = '2026-01-31T12:00:00'", T},
        {"noon BETWEEN TIME '11:59' AND '12:00:00.000'", T},
        {"day > 5 OR day = 'Sunday' OR noon = DATE '2026-01-31'", N},
        {"n IN (1, 5, NULL)", T},
        {"n IN (1, NULL)", N},
        {"n NOT IN (1, 'five')", N},
        {"n IN ()", F},
        {"missing IN ()", F},
        {"missing = 1 OR n = 5", T},
        {"missing = 1 AND n = 4", F},
        {"missing = 1 AND n = 5", N},
        {"n NOT BETWEEN 1 AND 4", T},
        {"n BETWEEN 6 AND NULL", F},
        {"list = 1", N},
        {"\"two words\" = 1 AND \"quo\"\"te\"=1", T},
        {"n=4 AND n=5 OR n=5", T},
        {"NOT n=4 AND n=4", F},
        {"n = -1 OR n = +5 OR n = .5", T},
        {"t = 'O''Brien'' OR 1=1 --'", F},
        {"n = 5; DROP TABLE t", 'e'},
        {"n = 5 OR 1 = 1", 'e'},
        {"n", 'e'},
        {"n = ", 'e'},
        {"n IN (1", 'e'},
        {"t = 'open", 'e'},
        {"n = 1.2.3", 'e'},
        {"n = -inf", 'e'},
        {"n = +nan", 'e'},
        {"x > 5e-324", T},
        {"null = 1", 'e'},
        {"day = DATE 'Sunday'", 'e'},
        {"n = 5 n = 5", 'e'},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        if (row.answer == 'e') {
            EXPECT_THROW(GisFeatureFilter::fromText(QString::fromUtf8(row.text)), std::runtime_error);
            continue;
        }
        const auto filter = GisFeatureFilter::fromText(QString::fromUtf8(row.text));
        EXPECT_EQ(filter.matches(valueIn), row.answer == T);
        EXPECT_EQ(GisFeatureFilter::negation(filter).matches(valueIn), row.answer == F);
    }
    EXPECT_EQ(GisFeatureFilter::fromText("b = 1 OR NOT (a IS NULL AND \"b\" IN (1))").fields(),
              QStringList({"b", "a"}));
}

// Values that only the functions take, and the laws that tests and combinations follow from comparisons by.
TEST(GisFeatureFilter, IsWrittenAndReadAsTheSame) {
    std::mt19937 random(test::seed());
    const QStringList fields{"n",   "big", "most",  "x",    "nan",  "inf",     "is",        "t",      "ten",
                             "day", "utc", "local", "noon", "list", "missing", "two words", "quo\"te"};
    test::RandomFilters filters(random, fields, sampleValues());
    int wanted = 0;
    for (int i = 0; i < 3000; ++i) {
        const GisFeatureFilter filter = filters.next(5);
        const QString text = filter.toText();
        const GisFeatureFilter read = GisFeatureFilter::fromText(text);
        ASSERT_EQ(read.toText(), text) << "seed " << test::seed();
        for (const auto& [one, other] : {std::pair(filter, read), std::pair(GisFeatureFilter::negation(filter),
                                                                            GisFeatureFilter::negation(read))}) {
            ASSERT_EQ(one.matches(valueIn), other.matches(valueIn)) << qPrintable(text);
        }
        wanted += filter.matches(valueIn) ? 1 : 0;

        const QString field = filters.pick(fields);
        const QVariant a = filters.pick(sampleValues());
        const QVariant b = filters.pick(sampleValues());
        QList<QVariant> list{a, b};
        const bool areTexts = test::draw(random, 2) == 0;
        for (int k = test::draw(random, 2) * 12; k > 0; --k) { // a long list, of one kind or of several
            const QVariant value = areTexts ? QVariant(QString::number(k)) : QVariant(k);
            list.append(test::draw(random, 4) > 0 ? value : filters.pick(sampleValues()));
        }
        const auto is = [&](const QVariant& value) {
            return GisFeatureFilter::compare(field, GisFeatureFilter::Comparison::Equal, value);
        };
        if (test::draw(random, 2) == 0) {
            list.removeIf([&](const QVariant& value) { return (value.typeId() == QMetaType::QString) != areTexts; });
        }
        QList<GisFeatureFilter> tests;
        std::transform(list.cbegin(), list.cend(), std::back_inserter(tests), is);
        const auto in = GisFeatureFilter::in(field, list);
        const auto either = GisFeatureFilter::any(tests);
        ASSERT_EQ(in.matches(valueIn), either.matches(valueIn));
        ASSERT_EQ(GisFeatureFilter::negation(in).matches(valueIn), GisFeatureFilter::negation(either).matches(valueIn))
            << qPrintable(in.toText());
    }
    EXPECT_GT(wanted, 300);
    EXPECT_FALSE(GisFeatureFilter::any({}).matches(valueIn));
    EXPECT_TRUE(GisFeatureFilter::all({}).wantsAll());
    EXPECT_TRUE(GisFeatureFilter::any({GisFeatureFilter(), GisFeatureFilter::isNull("n")}).wantsAll());
    EXPECT_FALSE(GisFeatureFilter::negation({}).matches(valueIn));
}

TEST(GisFeatureFilter, BoundsItsDepth) {
    const auto reads = [](const QString& text) {
        try {
            GisFeatureFilter::fromText(text);
            return true;
        } catch (const std::runtime_error& error) {
            EXPECT_NE(std::string(error.what()).find("nested too deeply"), std::string::npos) << error.what();
            return false;
        }
    };
    const auto nested = [](const QString& open, int times, const QString& close) {
        return open.repeated(times) + "n = 5" + close.repeated(times);
    };
    EXPECT_TRUE(reads(nested("(", 99, ")")));
    EXPECT_FALSE(reads(nested("(", 100, ")")));
    EXPECT_FALSE(reads(nested("(", 1'000'000, ")")));
    EXPECT_FALSE(reads(nested("NOT ", 1'000'000, "")));
    EXPECT_FALSE(reads(nested("(n = 1 OR n = 2 AND ", 60, ")"))); // two levels of the tree for each

    GisFeatureFilter filter = GisFeatureFilter::isNull("n");
    for (int i = 1; i < 100; ++i) {
        filter = i % 2 ? GisFeatureFilter::negation(filter) : GisFeatureFilter::all({filter, filter});
    }
    EXPECT_THROW(GisFeatureFilter::negation(filter), std::invalid_argument);
    EXPECT_TRUE(reads(nested("n IN (1) OR ", 100'000, ""))); // wide is another matter
}
