#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/Labels/LabelFont.h>

#include <QSizeF>

#include <memory>
#include <span>
#include <vector>

namespace Cartolith::Map::Labels {

namespace Internal {
struct GlyphOutline;
}

/// A letter's picture, from the left end of its cluster on the baseline; pixels, y downwards.
struct LabelGlyph {
    std::shared_ptr<const Internal::GlyphOutline> outline;
    double x = 0.0;
    double y = 0.0;
};

/// Letters that are drawn together: a letter with its accents, a ligature, a syllable of Devanagari. An
/// Arabic letter is one, in the form that its neighbours ask for.
struct LabelCluster {
    qsizetype from = 0; ///< in LabelText::text()
    qsizetype length = 0;
    std::size_t firstGlyph = 0; ///< in LabelText::glyphs()
    std::size_t glyphCount = 0;
    double left = 0.0; ///< from the text's left end
};

/// A text with its letters in place, in one line, made by LabelTexts. Immutable, and without ties to the
/// thread or the cache that it comes from: any number of threads may use it.
class CARTOLITH_MAP_EXPORT LabelText {
public:
    /// As it is shown: white space is single spaces, what is longer than 250 characters ends with an
    /// ellipsis.
    const QString& text() const { return m_text; }
    const LabelFont& font() const { return m_font; }
    bool isEmpty() const { return m_clusters.empty(); }

    /// Pixels. The height is that of letters with and without descenders, whatever the text; more where
    /// accents or other scripts reach further. A halo comes on top of that.
    QSizeF size() const { return {m_width, m_ascent + m_descent}; }
    /// Of the size, above the baseline.
    double ascent() const { return m_ascent; }

    /// From left to right, also of what is read from right to left.
    std::span<const LabelCluster> clusters() const { return m_clusters; }
    /// The width of each cluster.
    std::span<const double> advances() const { return m_advances; }
    std::span<const LabelGlyph> glyphs() const { return m_glyphs; }
    std::span<const LabelGlyph> glyphsOf(const LabelCluster& cluster) const {
        return std::span(m_glyphs).subspan(cluster.firstGlyph, cluster.glyphCount);
    }

private:
    friend class LabelTexts;

    QString m_text;
    LabelFont m_font;
    double m_width = 0.0;
    double m_ascent = 0.0;
    double m_descent = 0.0;
    std::vector<LabelCluster> m_clusters;
    std::vector<double> m_advances;
    std::vector<LabelGlyph> m_glyphs;
};

} // namespace Cartolith::Map::Labels
