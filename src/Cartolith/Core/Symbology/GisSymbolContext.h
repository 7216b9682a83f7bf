#pragma once

#include <Cartolith/Core/Export.h>

#include <QHash>
#include <QString>
#include <QVariant>

namespace Cartolith::Core::Shapes {
class GisShape;
}

namespace Cartolith::Core::Symbology {

/// What a renderer is told about one feature. Refers to the attributes it was made from and does not copy
/// them: they must outlive it.
class CARTOLITH_CORE_EXPORT GisSymbolContext {
public:
    explicit GisSymbolContext(const Shapes::GisShape& shape);
    explicit GisSymbolContext(const QHash<QString, QVariant>& attributes) : m_attributes(attributes) {}
    explicit GisSymbolContext(QHash<QString, QVariant>&& attributes) = delete;

    const QHash<QString, QVariant>& attributes() const noexcept { return m_attributes; }
    /// The value of a field, by exact name; invalid when there is none. Valid while the attributes stay as
    /// they are.
    const QVariant& attribute(const QString& fieldName) const;
    /// The feature itself; null when the context was made from attributes alone.
    const Shapes::GisShape* shape() const noexcept { return m_shape; }

private:
    const QHash<QString, QVariant>& m_attributes;
    const Shapes::GisShape* m_shape = nullptr;
};

} // namespace Cartolith::Core::Symbology
