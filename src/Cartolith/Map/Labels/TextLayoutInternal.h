#pragma once

#include <Cartolith/Map/Labels/LabelFont.h>

#include <QTextLayout>

namespace Cartolith::Map::Labels::Internal {

/// The font at `outlineEm`, unhinted.
QFont outlineFont(const LabelFont& font);

/// One line of text at that size, left end at 0. For one thread, as all that Qt gives out from it.
class OutlineLayout {
public:
    OutlineLayout(const QString& text, const LabelFont& font);

    const QTextLayout& layout() const { return m_layout; }
    QTextLine line() const { return m_layout.lineAt(0); }
    /// Where the line has its baseline.
    double baseline() const { return m_baseline; }
    /// The left end of its first letter.
    double left() const { return line().x(); }

private:
    QTextLayout m_layout;
    double m_baseline;
};

} // namespace Cartolith::Map::Labels::Internal
