#include <Cartolith/Map/Labels/LabelPainter.h>
#include <Cartolith/Map/Labels/LabelTexts.h>
#include <Cartolith/Map/Labels/LabelVectors.h>

#include <QBuffer>
#include <QImage>
#include <QPainter>
#include <QPdfWriter>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <numeric>
#include <thread>
#include <vector>

using namespace Cartolith::Map::Labels;

namespace {

const LabelFont letters{QStringLiteral("DejaVu Sans"), 12.0, false, false};

std::vector<LabelBox> boxesOf(const LabelText& text, QPointF start, double rotation, bool isCurved) {
    const double height = text.size().height();
    std::vector<LabelBox> boxes;
    if (!isCurved) {
        const double radians = rotation * std::numbers::pi / 180.0;
        const double right = text.size().width() * 0.5;
        const double down = height * 0.5 - text.ascent();
        boxes.push_back({start + QPointF(right * std::cos(radians) - down * std::sin(radians),
                                         right * std::sin(radians) + down * std::cos(radians)),
                         text.size(), rotation});
        return boxes;
    }
    for (const double advance : text.advances()) {
        boxes.push_back({start + QPointF(advance * 0.5, 0.0), {advance, height}, rotation});
        start += QPointF(advance, std::tan(rotation * std::numbers::pi / 180.0) * advance);
        rotation += 4.0;
    }
    return boxes;
}

QImage blank() {
    QImage picture(200, 60, QImage::Format_ARGB32_Premultiplied);
    picture.fill(Qt::transparent);
    return picture;
}

QImage drawn(const PlacedLabel& label, LabelPainter& painter) {
    QImage picture = blank();
    painter.draw(picture, {&label, 1});
    return picture;
}

/// The greatest difference of two pictures, and their mean one where either has something.
std::pair<int, double> difference(const QImage& a, const QImage& b) {
    int greatest = 0;
    double sum = 0.0;
    int count = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y);
            const QRgb q = b.pixel(x, y);
            const int d =
                std::max({std::abs(qAlpha(p) - qAlpha(q)), std::abs(qRed(p) - qRed(q)), std::abs(qBlue(p) - qBlue(q))});
            greatest = std::max(greatest, d);
            sum += d;
            count += qAlpha(p) + qAlpha(q) > 0 ? 1 : 0;
        }
    }
    return {greatest, count > 0 ? sum / count : 0.0};
}

} // namespace

TEST(LabelTexts, LettersThatAreDrawnTogetherAreOneCluster) {
    const QString tooLong(5000, u'x');
    const struct {
        const char* name;
        QString text;
        QStringList clusters; // from left to right
    } rows[] = {
        {"letters", "Oslo", {"O", "s", "l", "o"}},
        {"white space is single spaces", " a\n\t b ", {"a", " ", "b"}},
        {"a mark on a letter", QString::fromUtf8("q\u0301a"), {QString::fromUtf8("q\u0301"), "a"}},
        {"a ligature", "afficher", {"a", "ffi", "c", "h", "e", "r"}},
        {"from right to left, lam and alef are one",
         QString::fromUtf8("سلام"),
         {QString::fromUtf8("م"), QString::fromUtf8("لا"), QString::fromUtf8("س")}},
        {"Hebrew after Latin", QString::fromUtf8("a אב"), {"a", " ", QString::fromUtf8("ב"), QString::fromUtf8("א")}},
        {"syllables",
         QString::fromUtf8("क्षत्रिय"),
         {QString::fromUtf8("क्ष"), QString::fromUtf8("त्रि"), QString::fromUtf8("य")}},
        {"beyond 16 bits, no font has it", QString::fromUtf8("a\U00012345"), {"a", QString::fromUtf8("\U00012345")}},
        {"half a letter", QString("a") + QChar(0xD800), {"a", QString(QChar(0xD800))}},
        {"nothing", "", {}},
        {"blank", " \n", {}},
        {"too long", tooLong, (QString(250, u'x') + QChar(0x2026)).split("", Qt::SkipEmptyParts)},
    };
    LabelTexts texts;
    LabelFont twice = letters;
    twice.size *= 2.0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto text = texts.shaped(row.text, letters);
        QStringList clusters;
        double left = 0.0;
        for (std::size_t i = 0; i < text->clusters().size(); ++i) {
            const LabelCluster& cluster = text->clusters()[i];
            clusters.append(text->text().mid(cluster.from, cluster.length));
            EXPECT_NEAR(cluster.left, left, 1e-9);
            EXPECT_GT(text->advances()[i], 0.0);
            EXPECT_FALSE(text->glyphsOf(cluster).empty());
            left += text->advances()[i];
        }
        EXPECT_EQ(clusters.join('|').toStdString(), row.clusters.join('|').toStdString());
        EXPECT_NEAR(text->size().width(), left, 1e-9);
        EXPECT_EQ(text->isEmpty(), row.clusters.isEmpty());
        const auto large = texts.shaped(row.text, twice);
        EXPECT_NEAR(large->size().width(), 2.0 * left, 1e-9);
        EXPECT_EQ(texts.shaped(row.text, letters), text); // kept
    }
    for (const double size : {0.0, -1.0, std::nan(""), 1e9}) {
        LabelFont none = letters;
        none.size = size;
        EXPECT_TRUE(texts.shaped("a", none)->isEmpty()) << size;
    }
    EXPECT_EQ(texts.shaped("ace", letters)->size().height(), texts.shaped("bip", letters)->size().height());
    EXPECT_GT(texts.shaped(QString::fromUtf8("Å"), letters)->ascent(), texts.shaped("A", letters)->ascent());
}

// Another thread shapes the same, texts go from one to the other, and a small budget changes nothing.
TEST(LabelTexts, AnyThreadAndAnyBudgetGiveTheSame) {
    const QString text = QString::fromUtf8("Ærø fi سلام");
    LabelTexts here;
    LabelTexts small(1);
    std::shared_ptr<const LabelText> there;
    LabelPainter painter;
    QImage picture;
    std::thread([&] {
        there = small.shaped(text, letters);
        const auto boxes = boxesOf(*there, {10.0, 30.0}, 0.0, false);
        picture = drawn({there.get(), {}, boxes}, painter);
        there = small.shaped("another", letters);
        there = small.shaped(text, letters);
    }).join();
    EXPECT_LT(small.bytes(), 20000);
    const auto mine = here.shaped(text, letters);
    ASSERT_EQ(there->clusters().size(), mine->clusters().size());
    EXPECT_TRUE(std::equal(mine->advances().begin(), mine->advances().end(), there->advances().begin()));
    const auto boxes = boxesOf(*mine, {10.0, 30.0}, 0.0, false);
    EXPECT_EQ(drawn({mine.get(), {}, boxes}, painter), picture);
    LabelPainter forgetful(1);
    EXPECT_EQ(drawn({there.get(), {}, boxes}, forgetful), picture);
    EXPECT_LT(forgetful.bytes(), 2000);
}

// QPainter fills and strokes the same outlines; level letters are within an eighth of a pixel of their places.
TEST(LabelPainter, DrawsTheOutlines) {
    LabelTexts texts;
    const auto text = texts.shaped(QString::fromUtf8("Øgé سلام"), letters);
    const struct {
        const char* name;
        double rotation;
        bool isCurved;
        double halo;
        int greatest;
        double mean;
    } rows[] = {
        // A halo's edge may be half a pixel off, at the points of letters.
        {"level", 0.0, false, 0.0, 50, 12.0},         {"level, halo", 0.0, false, 3.0, 150, 8.0},
        {"turned", 20.0, false, 0.0, 30, 3.0},        {"turned, halo", 20.0, false, 3.0, 150, 8.0},
        {"upside down", 180.0, false, 3.0, 150, 8.0}, {"curved", 4.0, true, 0.0, 30, 3.0},
        {"curved, halo", 4.0, true, 2.0, 150, 8.0},
    };
    LabelPainter painter;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto boxes = boxesOf(*text, {row.rotation == 180.0 ? 150.0 : 20.0, 25.0}, row.rotation, row.isCurved);
        const PlacedLabel label{text.get(), {Qt::black, Qt::red, row.halo}, boxes};
        const QImage picture = drawn(label, painter);
        const auto expected = [&](double shift) {
            QImage plain = blank();
            QPainter reference(&plain);
            reference.setRenderHint(QPainter::Antialiasing);
            QPainterPath outline = labelOutline(*text, boxes).translated(shift, 0.0);
            if (row.halo > 0.0) {
                reference.strokePath(outline,
                                     QPen(QColor(Qt::red), 2.0 * row.halo, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            }
            reference.fillPath(outline, Qt::black);
            return plain;
        };
        const auto [greatest, mean] = difference(picture, expected(0.0));
        EXPECT_LE(greatest, row.greatest);
        EXPECT_LE(mean, row.mean);
        EXPECT_GT(difference(picture, expected(0.7)).second, row.mean); // would be seen
        QImage throughPainter = blank();
        QPainter vectors(&throughPainter);
        vectors.setRenderHint(QPainter::Antialiasing);
        drawLabels(vectors, {&label, 1});
        EXPECT_LE(difference(throughPainter, picture).second, 30.0); // its letters have other edges
    }
}

TEST(LabelPainter, APartIsTheCutOfTheWhole) {
    LabelTexts texts;
    const auto text = texts.shaped("Tunbridge", letters);
    const auto level = boxesOf(*text, {20.3, 25.6}, 0.0, false);
    ASSERT_FALSE(level.empty());
    const auto turned = boxesOf(*text, {60.0, 20.0}, 33.0, false);
    const PlacedLabel labels[] = {{text.get(), {Qt::black, Qt::white, 2.5}, level},
                                  {text.get(), {Qt::blue, Qt::yellow, 2.5}, turned}};
    LabelPainter painter;
    QImage whole = blank();
    painter.draw(whole, labels);
    for (const QRect& cut : {QRect(0, 0, 40, 22), QRect(40, 22, 51, 38), QRect(-30, -10, 64, 64)}) {
        QImage part(cut.size(), QImage::Format_ARGB32_Premultiplied);
        part.fill(Qt::transparent);
        painter.draw(part, labels, cut.topLeft());
        EXPECT_EQ(part, whole.copy(cut)) << cut.x();
    }
    QImage wrong(10, 10, QImage::Format_RGB32);
    EXPECT_THROW(painter.draw(wrong, labels), std::invalid_argument);
    // What no label should be, and what no picture shows.
    const auto two = std::vector<LabelBox>(2, level[0]);
    auto far = level;
    far[0].center = {1e300, 0.0};
    auto unknown = level;
    unknown[0].center = {NAN, 0.0};
    for (const auto& boxes : {two, far, unknown, std::vector<LabelBox>()}) {
        EXPECT_EQ(drawn({text.get(), {}, boxes}, painter), blank());
        EXPECT_TRUE(labelRuns(*text, boxes).isEmpty());
    }
}

// The second label's halo lies below the first one's letters.
TEST(LabelPainter, AHaloHidesNobodysLetters) {
    LabelTexts texts;
    const auto text = texts.shaped("IHM", letters);
    const auto first = boxesOf(*text, {20.0, 25.0}, 0.0, false);
    const auto second = boxesOf(*text, {20.0 + text->size().width(), 25.0}, 0.0, false);
    const LabelLook look{Qt::black, Qt::white, 4.0};
    const PlacedLabel labels[] = {{text.get(), look, first}, {text.get(), look, second}};
    LabelPainter painter;
    QImage both = blank();
    painter.draw(both, labels);
    const QImage alone = drawn(labels[0], painter);
    for (int y = 0; y < alone.height(); ++y) {
        for (int x = 0; x < alone.width(); ++x) {
            ASSERT_LE(qRed(both.pixel(x, y)), qAlpha(alone.pixel(x, y)) == 255 ? qRed(alone.pixel(x, y)) : 255);
        }
    }
}

TEST(LabelVectors, ClustersKeepTheirFormsAlone) {
    LabelTexts texts;
    for (const QString& word : {QString::fromUtf8("سمسم"), QString::fromUtf8("دار السلام"), QString("Ulm")}) {
        const auto text = texts.shaped(word, letters);
        const auto boxes = boxesOf(*text, {20.0, 20.0}, 5.0, true);
        const auto runs = labelRuns(*text, boxes);
        ASSERT_EQ(runs.size(), static_cast<qsizetype>(boxes.size()));
        for (qsizetype i = 0; i < runs.size(); ++i) {
            const LabelCluster& cluster = text->clusters()[static_cast<std::size_t>(i)];
            EXPECT_EQ(runs.at(i).rotation, boxes[static_cast<std::size_t>(i)].rotation);
            if (text->text().at(cluster.from) == u' ') {
                continue;
            }
            const auto alone = texts.shaped(runs.at(i).text, letters);
            std::vector<const void*> here, there;
            for (const LabelGlyph& glyph : text->glyphsOf(cluster)) {
                here.push_back(glyph.outline.get());
            }
            for (const LabelGlyph& glyph : alone->glyphs()) {
                there.push_back(glyph.outline.get());
            }
            EXPECT_TRUE(std::find_first_of(there.begin(), there.end(), here.begin(), here.end()) != there.end())
                << i << " of " << word.toStdString();
        }
    }
}

TEST(LabelVectors, APdfKeepsTextAsText) {
    LabelTexts texts;
    const auto text = texts.shaped("Reykholt", letters);
    for (const bool isCurved : {false, true}) {
        const auto boxes = boxesOf(*text, {20.0, 20.0}, 5.0, isCurved);
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        {
            QPdfWriter writer(&buffer);
            writer.setResolution(96);
            QPainter painter(&writer);
            const PlacedLabel label{text.get(), {Qt::black, Qt::white, 0.0}, boxes};
            drawLabels(painter, {&label, 1});
        }
        EXPECT_TRUE(buffer.data().contains("/ToUnicode")) << isCurved;
        EXPECT_FALSE(buffer.data().contains("/Subtype /Image")) << isCurved;
    }
}
