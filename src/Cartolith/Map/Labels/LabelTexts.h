#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/Labels/LabelText.h>

#include <memory>

namespace Cartolith::Map::Labels {

/// Puts the letters of texts in place, once for each text and font: ligatures, accents, joined scripts, text
/// from right to left and mixed, as Qt's text layout has them. Letters that no font has are the box that the
/// font has for them; pictures in colour are left out.
///
/// A QGuiApplication must exist (any platform, `offscreen` too), as for every use of fonts in Qt. Then an
/// object may be used on any thread, by one at a time, and handed on to another; it keeps nothing of Qt's
/// fonts. Each thread that shapes texts for the first time makes Qt read the font anew, which takes some
/// milliseconds.
///
/// Letters are not fitted to pixels: the same text has the same shape at every size, on a screen and on
/// paper.
class CARTOLITH_MAP_EXPORT LabelTexts {
public:
    /// Keeps texts of about so many bytes (20,000 short ones are 24 MB); when there are more, it begins anew,
    /// so it should have room for all texts of a map.
    explicit LabelTexts(qsizetype budget = qsizetype{64} << 20);
    ~LabelTexts();
    LabelTexts(const LabelTexts&) = delete;
    LabelTexts& operator=(const LabelTexts&) = delete;

    /// Never null; empty for a text without letters, and for a size that is not greater than 0.
    std::shared_ptr<const LabelText> shaped(const QString& text, const LabelFont& font);

    /// Of the texts that it keeps.
    qsizetype bytes() const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace Cartolith::Map::Labels
