#include <Cartolith/Map/Labels/GlyphOutlineInternal.h>
#include <Cartolith/Map/Labels/TextLayoutInternal.h>

#include <QTextOption>

namespace Cartolith::Map::Labels::Internal {

QFont outlineFont(const LabelFont& font) {
    QFont result(font.family);
    result.setPixelSize(outlineEm);
    result.setBold(font.bold);
    result.setItalic(font.italic);
    result.setHintingPreference(QFont::PreferNoHinting);
    result.setStyleStrategy(QFont::PreferOutline);
    return result;
}

OutlineLayout::OutlineLayout(const QString& text, const LabelFont& font) : m_layout(text, outlineFont(font)) {
    QTextOption option(Qt::AlignLeft | Qt::AlignAbsolute);
    option.setTextDirection(Qt::LayoutDirectionAuto); // an option with an alignment has the program's
    option.setWrapMode(QTextOption::NoWrap);
    m_layout.setTextOption(option);
    m_layout.beginLayout();
    m_layout.createLine();
    m_layout.endLayout();
    m_baseline = line().y() + line().ascent();
}

} // namespace Cartolith::Map::Labels::Internal
