#pragma once

#include <Cartolith/Core/Symbology/GisSymbolLegendItem.h>

#include <QVariant>

namespace Cartolith::Core::Symbology::Internal {

/// The last item of a legend.
inline GisSymbolLegendItem defaultLegendItem(const Layers::GisLayerStyle& style) {
    return {QStringLiteral("Other or no value"), style, true, true};
}

/// What a legend calls a value.
inline QString legendText(const QVariant& value) {
    const QString text = value.toString();
    return text.trimmed().isEmpty() ? QStringLiteral("No value") : text;
}

} // namespace Cartolith::Core::Symbology::Internal
