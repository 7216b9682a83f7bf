#pragma once

#include <Cartolith/Core/Layers/GisLayerStyle.h>

#include <QString>
#include <QTypeInfo>
#include <QVariant>

namespace Cartolith::Core::Symbology {

/// A value of a field, and how features with it are drawn.
struct GisCategorizedSymbolClass {
    QVariant value;
    QString label; ///< for legends; the value's text when empty
    Layers::GisLayerStyle style;
    bool enabled = true; ///< a disabled class never matches

    bool operator==(const GisCategorizedSymbolClass& other) const = default;
};

} // namespace Cartolith::Core::Symbology

Q_DECLARE_TYPEINFO(Cartolith::Core::Symbology::GisCategorizedSymbolClass, Q_RELOCATABLE_TYPE);
