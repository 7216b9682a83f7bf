// Rows against the tables that they stand for.

#include "../TestSeed.h"

#include <Cartolith/Core/Shapes/AttributeRowInternal.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QDateTime>
#include <gtest/gtest.h>

#include <random>
#include <thread>
#include <vector>

using namespace Cartolith::Core::Shapes;
using Internal::AttributeRow;
using Internal::AttributeSchema;

namespace {

using Table = QHash<QString, QVariant>;

/// Values of each kind that a source gives, and those that are easily taken for another.
const QList<QVariantList> kinds{
    {true, false},
    {0, -1, std::numeric_limits<int>::min()},
    {QVariant::fromValue<qlonglong>(std::numeric_limits<qlonglong>::max()), QVariant::fromValue<qlonglong>(0)},
    {0.0, -0.0, 1e300, std::numeric_limits<double>::infinity()},
    {QString(), QString(""), QString("Göteborg"), QString(1000, 'x')},
    {QDate(2024, 2, 29), QDate(-4713, 1, 1), QDate()},
    {QTime(23, 59, 59, 999), QTime(0, 0), QTime()},
    {QDateTime(QDate(2024, 2, 29), QTime(1, 2, 3, 4), Qt::OffsetFromUTC, 5400), QDateTime()},
    {QByteArray("\0x", 2), QByteArray()},
    {QVariantList{1, "a"}, QVariantList()},
    {QStringList{"a", "b"}},
};

template <typename List>
const auto& pick(std::mt19937& random, const List& list) {
    return list.at(static_cast<qsizetype>(random()) % list.size());
}

bool haveSameTypes(const Table& a, const Table& b) {
    for (auto it = a.cbegin(); it != a.cend(); ++it) {
        if (it->metaType() != b.value(it.key()).metaType()) {
            return false;
        }
    }
    return a.size() == b.size() && a == b;
}

TEST(AttributeSlot, RowsSayWhatTheirTablesSay) {
    std::mt19937 random(test::seed());
    for (const int fields : {0, 1, 3, 32, 33, 64, 65, 200}) {
        for (int round = 0; round < 20; ++round) {
            QList<AttributeSchema::Field> names;
            Table expected;
            for (int i = 0; i < fields; ++i) {
                const QVariantList& values = pick(random, kinds);
                const QVariant value = pick(random, values);
                names.append({QString("field %1").arg(i), static_cast<QMetaType::Type>(value.typeId())});
                if (random() % 4 != 0) {
                    expected.insert(names.last().name, value);
                }
            }
            std::size_t place = 0;
            AttributeRow row(AttributeSchema::Pointer(new AttributeSchema(names)), 2000 * 200);
            for (int i = 0; i < fields; ++i) {
                const QVariant value = expected.value(names.at(i).name);
                const QByteArray utf8 = value.toString().toUtf8();
                if (value.typeId() == QMetaType::QString && !value.isNull() && random() % 2 == 0) {
                    row.setText(i, QByteArrayView(utf8), place);
                    place += static_cast<std::size_t>(utf8.size());
                } else {
                    EXPECT_TRUE(row.set(i, value));
                }
            }
            GisShapePoint shape(1, 2);
            shape.attributeSlot().setRow(row);
            for (const AttributeSchema::Field& field : names) {
                const QVariant value = shape.attributeValue(field.name);
                EXPECT_EQ(value, expected.value(field.name));
                EXPECT_EQ(value.metaType(), expected.value(field.name).metaType());
                EXPECT_EQ(value.isNull(), expected.value(field.name).isNull());
            }
            EXPECT_FALSE(shape.attributeValue("none").isValid());
            EXPECT_TRUE(haveSameTypes(shape.attributeSlot().copyOfTable(), expected));
            EXPECT_TRUE(haveSameTypes(std::as_const(shape).attributes(), expected));
        }
    }
}

TEST(AttributeSlot, CopiesStayAsTheyAre) {
    AttributeRow row{AttributeSchema::Pointer(new AttributeSchema({{"name", QMetaType::QString}}))};
    EXPECT_FALSE(row.set(0, 5)) << "another type";
    EXPECT_TRUE(row.set(0, "old"));
    for (const bool isLookedAt : {false, true}) {
        GisShapePoint shape(1, 2);
        shape.attributeSlot().setRow(row);
        const Table* const seen = isLookedAt ? &std::as_const(shape).attributes() : nullptr;
        const auto clone = shape.clone();
        EXPECT_TRUE(clone->attributeSlot().row().isSameAs(row));
        shape.attributes()["name"] = "new";
        EXPECT_TRUE(seen == nullptr || seen == &std::as_const(shape).attributes());
        EXPECT_TRUE(shape.attributeSlot().row().isNull()) << "it says something else now";
        EXPECT_EQ(shape.attributeValue("name"), "new");
        EXPECT_EQ(clone->attributeValue("name"), "old");
        const GisShapePoint copy = shape;
        shape = GisShapePoint(3, 4);
        EXPECT_EQ(copy.attributeValue("name"), "new");
        EXPECT_TRUE(shape.attributeSlot().isEmpty() && std::as_const(shape).attributes().isEmpty());
        shape.attributes()["other"] = 1;
        clone->copyAttributesTo(shape);
        EXPECT_EQ(shape.attributes(), (Table{{"other", 1}, {"name", "old"}}));
    }
}

TEST(AttributeSlot, ThreadsMayReadOneShape) {
    AttributeRow row{AttributeSchema::Pointer(new AttributeSchema({{"name", QMetaType::QString}}))};
    row.set(0, "a");
    for (int round = 0; round < 200; ++round) {
        GisShapePoint shape(1, 2);
        shape.attributeSlot().setRow(row);
        const GisShape& read = shape;
        std::vector<const Table*> tables(2);
        std::vector<std::thread> threads;
        for (const Table*& table : tables) {
            threads.emplace_back([&read, &table] {
                EXPECT_EQ(read.attributeValue("name"), "a");
                table = &read.attributes();
                EXPECT_EQ(read.clone()->attributeValue("name"), "a");
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(tables[0], tables[1]);
    }
}

} // namespace
