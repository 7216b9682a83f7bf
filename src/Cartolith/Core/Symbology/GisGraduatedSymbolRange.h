#pragma once

#include <Cartolith/Core/Layers/GisLayerStyle.h>

#include <QString>
#include <QTypeInfo>

namespace Cartolith::Core::Symbology {

/// A class of numbers between two bounds, and how it is drawn.
struct GisGraduatedSymbolRange {
    double lower = 0.0;
    double upper = 0.0;
    bool includeLower = true;
    bool includeUpper = false;
    QString label; ///< for legends; built from the bounds when empty
    Layers::GisLayerStyle style;
    bool enabled = true; ///< a disabled range never matches

    bool operator==(const GisGraduatedSymbolRange& other) const = default;
};

} // namespace Cartolith::Core::Symbology

Q_DECLARE_TYPEINFO(Cartolith::Core::Symbology::GisGraduatedSymbolRange, Q_RELOCATABLE_TYPE);
