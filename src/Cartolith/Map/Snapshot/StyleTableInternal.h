#pragma once

#include <Cartolith/Core/Layers/GisLayerStyle.h>

#include <QHash>
#include <QList>

namespace Cartolith::Map::Internal {

/// Styles by number, each once. Neighbours mostly look alike, and there may be many thousands of looks.
class StyleTable {
public:
    qint32 numberOf(const Core::Layers::GisLayerStyle& style) {
        if (!m_styles.isEmpty() && m_styles.at(m_last) == style) {
            return m_last;
        }
        const std::size_t key = qHashMulti(0, style.fillColor(), style.lineColor(), style.pointColor(),
                                           style.lineWidth(), style.pointSize(), style.markerRotation());
        for (auto it = m_numbers.constFind(key); it != m_numbers.cend() && it.key() == key; ++it) {
            if (m_styles.at(it.value()) == style) {
                return m_last = it.value();
            }
        }
        m_last = static_cast<qint32>(m_styles.size());
        m_styles.append(style);
        m_numbers.insert(key, m_last);
        return m_last;
    }

    const QList<Core::Layers::GisLayerStyle>& styles() const { return m_styles; }

private:
    QList<Core::Layers::GisLayerStyle> m_styles;
    QMultiHash<std::size_t, qint32> m_numbers;
    qint32 m_last = 0;
};

} // namespace Cartolith::Map::Internal
