#pragma once

#include <Cartolith/Core/Layers/GisLayerStyle.h>

#include <QString>
#include <QTypeInfo>

namespace Cartolith::Core::Symbology {

/// A line of a legend: what a style stands for.
struct GisSymbolLegendItem {
    QString label;
    Layers::GisLayerStyle style;
    bool enabled = true;
    bool isDefault = false; ///< stands for the features that no other item matches
    qsizetype count = -1;   ///< features drawn so; -1 when they were not counted
};

} // namespace Cartolith::Core::Symbology

Q_DECLARE_TYPEINFO(Cartolith::Core::Symbology::GisSymbolLegendItem, Q_RELOCATABLE_TYPE);
