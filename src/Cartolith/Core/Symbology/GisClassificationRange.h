#pragma once

#include <Cartolith/Core/Export.h>

#include <QString>
#include <QTypeInfo>

namespace Cartolith::Core::Symbology {

/// A class of numbers between two bounds.
struct CARTOLITH_CORE_EXPORT GisClassificationRange {
    double lower = 0.0;
    double upper = 0.0;
    bool includeLower = true;
    bool includeUpper = false;
    QString label; ///< for legends

    bool operator==(const GisClassificationRange& other) const = default;
    /// False for NaN and infinities.
    bool contains(double value) const noexcept;
};

} // namespace Cartolith::Core::Symbology

Q_DECLARE_TYPEINFO(Cartolith::Core::Symbology::GisClassificationRange, Q_RELOCATABLE_TYPE);
