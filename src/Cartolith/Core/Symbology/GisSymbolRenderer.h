#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Core/Symbology/GisSymbolContext.h>
#include <Cartolith/Core/Symbology/GisSymbolLegendItem.h>
#include <Cartolith/Core/Symbology/GisSymbolRendererType.h>

#include <QList>

#include <memory>

namespace Cartolith::Core::Symbology {

/// Decides, feature by feature, which style a layer draws with. A layer owns its renderer and copies it with
/// clone(). Const operations change nothing, so that several threads may ask one renderer.
class CARTOLITH_CORE_EXPORT GisSymbolRenderer {
public:
    virtual ~GisSymbolRenderer();
    virtual GisSymbolRendererType type() const = 0;
    virtual Layers::GisLayerStyle styleForFeature(const GisSymbolContext& context) const = 0;
    /// A new renderer of the same kind with the same settings.
    virtual std::unique_ptr<GisSymbolRenderer> clone() const = 0;
    /// What the renderer distinguishes, in the order in which it was added, disabled ones included, the
    /// default style last; empty here.
    virtual QList<GisSymbolLegendItem> legendItems() const;
    /// False when the style is the same for every feature, so that asking once is enough; true here.
    virtual bool usesFeatureAttributes() const;
    /// The position in legendItems() of the item that stands for the feature's style; -1 when the kind of
    /// renderer does not tell, as here.
    virtual qsizetype legendIndexForFeature(const GisSymbolContext& context) const;

    /// legendItems() with the number of features that each item is drawn for; -1 when the renderer does not
    /// tell of any of them. Null shapes are passed over.
    QList<GisSymbolLegendItem> countedLegendItems(const QList<Shapes::GisShape*>& features) const;

protected:
    GisSymbolRenderer() = default;
    GisSymbolRenderer(const GisSymbolRenderer&) = default;
    GisSymbolRenderer& operator=(const GisSymbolRenderer&) = default;
};

} // namespace Cartolith::Core::Symbology
