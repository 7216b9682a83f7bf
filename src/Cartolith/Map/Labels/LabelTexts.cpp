#include <Cartolith/Map/Labels/GlyphOutlineInternal.h>
#include <Cartolith/Map/Labels/LabelTexts.h>
#include <Cartolith/Map/Labels/TextLayoutInternal.h>

#include <QGlyphRun>
#include <QHash>
#include <QRawFont>

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

namespace Cartolith::Map::Labels {

namespace {

constexpr qsizetype longestText = 250;

QString shownText(const QString& text) {
    if (text.size() <= longestText) {
        return text.simplified();
    }
    QString shown = text.left(8 * longestText).simplified();
    if (shown.size() > longestText) {
        shown.truncate(longestText - (shown.at(longestText - 1).isHighSurrogate() ? 1 : 0));
        shown += QChar(0x2026);
    }
    return shown;
}

/// Scripts from left to right in which a letter that is followed by no mark has one glyph of its own.
bool isPlain(const QString& text) {
    return std::all_of(text.cbegin(), text.cend(), [](QChar c) {
        const char16_t u = c.unicode();
        return u < 0x0300 || (u >= 0x0370 && u < 0x0483) || (u >= 0x048A && u < 0x0590) ||
               (u >= 0x1E00 && u < 0x2000) || (u >= 0x2010 && u < 0x2028);
    });
}

/// A glyph where the layout has put it, in its units.
struct PutGlyph {
    std::shared_ptr<const Internal::GlyphOutline> outline;
    quint32 index;
    QPointF place;
};

struct PutCluster {
    qsizetype from, length;
    double left;
    std::size_t firstGlyph, glyphCount;
};

/// A whole text, clusters from left to right.
struct PutText {
    std::vector<PutGlyph> glyphs;
    std::vector<PutCluster> clusters;

    std::span<const PutGlyph> glyphsOf(const PutCluster& cluster) const {
        return std::span(glyphs).subspan(cluster.firstGlyph, cluster.glyphCount);
    }
};

struct TextKey {
    QString text;
    LabelFont font;
    friend bool operator==(const TextKey&, const TextKey&) = default;
    friend size_t qHash(const TextKey& key, size_t seed = 0) {
        return qHashMulti(seed, key.text, key.font.family, key.font.size, key.font.bold, key.font.italic);
    }
};

} // namespace

class LabelTexts::Private {
public:
    /// Letters of one font file in one style.
    struct Face {
        QString name;
        QHash<quint32, std::shared_ptr<const Internal::GlyphOutline>> outlines;
    };
    /// How far ordinary letters reach up and down, in the layout's units.
    struct Reach {
        LabelFont font;
        double up = 0.0, down = 0.0;
    };

    explicit Private(qsizetype budgetInBytes) : budget(budgetInBytes) {}

    Face& faceOf(const QRawFont& raw, const LabelFont& font) {
        // What is slanted or thickened by Qt has the same names as what is not.
        const QString name = raw.familyName() + u'/' + raw.styleName() + (font.bold ? u'b' : u'-') +
                             (font.italic ? u'i' : u'-');
        for (Face& face : faces) {
            if (face.name == name) {
                return face;
            }
        }
        faces.push_back({name, {}});
        return faces.back();
    }

    std::shared_ptr<const Internal::GlyphOutline> outlineOf(Face& face, const QRawFont& raw, quint32 index) {
        auto& outline = face.outlines[index];
        if (!outline) {
            auto made = std::make_shared<Internal::GlyphOutline>();
            made->path = raw.pathForGlyph(index);
            made->box = made->path.boundingRect();
            bytes += static_cast<qsizetype>(sizeof(Internal::GlyphOutline)) +
                     made->path.elementCount() * static_cast<qsizetype>(sizeof(QPainterPath::Element));
            outline = std::move(made);
        }
        return outline;
    }

    const Reach& reachOf(const LabelFont& font) {
        for (const Reach& reach : reaches) {
            if (reach.font.family == font.family && reach.font.bold == font.bold &&
                reach.font.italic == font.italic) {
                return reach;
            }
        }
        const QRawFont raw = QRawFont::fromFont(Internal::outlineFont(font));
        Reach reach{font, raw.ascent(), raw.descent()};
        const auto letters = raw.glyphIndexesForString(QStringLiteral("dp"));
        if (letters.size() == 2 && letters.at(0) != 0 && letters.at(1) != 0) {
            reach.up = -raw.pathForGlyph(letters.at(0)).boundingRect().top();
            reach.down = raw.pathForGlyph(letters.at(1)).boundingRect().bottom();
        }
        reaches.push_back(reach);
        return reaches.back();
    }

    void append(std::vector<PutGlyph>& glyphs, const QList<QGlyphRun>& runs, const LabelFont& font) {
        for (const QGlyphRun& run : runs) {
            const QRawFont raw = run.rawFont();
            Face& face = faceOf(raw, font);
            const auto indexes = run.glyphIndexes();
            const auto positions = run.positions();
            for (qsizetype i = 0; i < indexes.size(); ++i) {
                glyphs.push_back({outlineOf(face, raw, indexes.at(i)), indexes.at(i), positions.at(i)});
            }
        }
    }

    PutText putText(const Internal::OutlineLayout& laid, const LabelFont& font) {
        const QString text = laid.layout().text();
        PutText put;
        if (isPlain(text)) {
            append(put.glyphs, laid.line().glyphRuns(), font);
            if (put.glyphs.size() == static_cast<std::size_t>(text.size())) {
                for (std::size_t i = 0; i < put.glyphs.size(); ++i) {
                    put.clusters.push_back({static_cast<qsizetype>(i), 1, put.glyphs[i].place.x(), i, 1});
                }
                return put;
            }
            put.glyphs.clear();
        }
        std::vector<PutGlyph> glyphs;
        for (int from = 0; from < text.size();) {
            const int to = std::max(laid.layout().nextCursorPosition(from), from + 1);
            glyphs.clear();
            append(glyphs, laid.line().glyphRuns(from, to - from), font);
            const auto isBefore = [&](const PutGlyph& glyph) {
                const auto before = put.glyphsOf(put.clusters.back());
                return std::any_of(before.begin(), before.end(), [&](const PutGlyph& g) {
                    return g.index == glyph.index && g.place == glyph.place;
                });
            };
            // A ligature is found once more for each of its letters; what has no glyph belongs to the one
            // before.
            const bool isOneWithLast = !put.clusters.empty() && (glyphs.empty() || isBefore(glyphs.front()) ||
                                                                 isBefore(glyphs.back()));
            if (!isOneWithLast) {
                put.clusters.push_back(
                    {from, 0, std::numeric_limits<double>::infinity(), put.glyphs.size(), 0});
            }
            PutCluster& cluster = put.clusters.back();
            for (const PutGlyph& glyph : glyphs) {
                if (!isOneWithLast || !isBefore(glyph)) {
                    cluster.left = std::min(cluster.left, glyph.place.x());
                    put.glyphs.push_back(glyph);
                    ++cluster.glyphCount;
                }
            }
            cluster.length = to - cluster.from;
            from = to;
        }
        std::erase_if(put.clusters, [](const PutCluster& cluster) { return cluster.glyphCount == 0; });
        std::stable_sort(put.clusters.begin(), put.clusters.end(),
                         [](const PutCluster& a, const PutCluster& b) { return a.left < b.left; });
        return put;
    }

    std::shared_ptr<const LabelText> shape(const QString& text, const LabelFont& font) {
        auto result = std::make_shared<LabelText>();
        result->m_text = shownText(text);
        result->m_font = font;
        if (result->m_text.isEmpty()) {
            return result;
        }
        const Internal::OutlineLayout laid(result->m_text, font);
        const PutText put = putText(laid, font);
        const std::vector<PutCluster>& clusters = put.clusters;
        if (clusters.empty()) {
            return result;
        }
        const double scale = font.size / Internal::outlineEm;
        const Reach& reach = reachOf(font);
        result->m_clusters.reserve(clusters.size());
        result->m_advances.reserve(clusters.size());
        result->m_glyphs.reserve(put.glyphs.size());
        double up = reach.up;
        double down = reach.down;
        const double begin = laid.left();
        const double end = begin + laid.line().naturalTextWidth();
        for (std::size_t i = 0; i < clusters.size(); ++i) {
            const PutCluster& cluster = clusters[i];
            const double left = i == 0 ? begin : cluster.left; // a mark may reach out of the first one
            const double right = i + 1 < clusters.size() ? clusters[i + 1].left : std::max(end, left);
            result->m_advances.push_back((right - left) * scale);
            result->m_clusters.push_back({cluster.from, cluster.length, result->m_glyphs.size(),
                                          cluster.glyphCount, (left - begin) * scale});
            for (const PutGlyph& glyph : put.glyphsOf(cluster)) {
                const double y = glyph.place.y() - laid.baseline();
                result->m_glyphs.push_back({glyph.outline, (glyph.place.x() - left) * scale, y * scale});
                if (!glyph.outline->box.isEmpty()) {
                    up = std::max(up, -(glyph.outline->box.top() + y));
                    down = std::max(down, glyph.outline->box.bottom() + y);
                }
            }
            result->m_width += result->m_advances.back();
        }
        result->m_ascent = up * scale;
        result->m_descent = down * scale;
        return result;
    }

    qsizetype budget;
    qsizetype bytes = 0;
    QHash<TextKey, std::shared_ptr<const LabelText>> texts;
    std::vector<Face> faces;
    std::vector<Reach> reaches;
};

LabelTexts::LabelTexts(qsizetype budget) : d(std::make_unique<Private>(budget)) {}
LabelTexts::~LabelTexts() = default;

std::shared_ptr<const LabelText> LabelTexts::shaped(const QString& text, const LabelFont& font) {
    constexpr double largest = 1000.0;
    if (!(font.size > 0.0 && font.size <= largest)) {
        return std::make_shared<LabelText>();
    }
    const TextKey key{text, font};
    const auto known = d->texts.constFind(key);
    if (known != d->texts.cend()) {
        return *known;
    }
    auto made = d->shape(text, font);
    const std::size_t taken = 256 + 2 * sizeof(QChar) * static_cast<std::size_t>(text.size()) +
                              made->m_clusters.size() * (sizeof(LabelCluster) + sizeof(double)) +
                              made->m_glyphs.size() * sizeof(LabelGlyph);
    const auto bytes = static_cast<qsizetype>(taken);
    if (d->bytes + bytes > d->budget) {
        d->texts.clear();
        d->faces.clear();
        d->reaches.clear();
        d->bytes = 0;
    }
    d->bytes += bytes;
    d->texts.insert(key, made);
    return made;
}

qsizetype LabelTexts::bytes() const {
    return d->bytes;
}

} // namespace Cartolith::Map::Labels
