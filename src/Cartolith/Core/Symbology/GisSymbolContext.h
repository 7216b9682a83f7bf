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
    explicit GisSymbolContext(const QHash<QString, QVariant>& attributes) : m_attributes(&attributes) {}
    explicit GisSymbolContext(QHash<QString, QVariant>&& attributes) = delete;

    /// Makes the table of a shape that has none yet, which attribute() does not.
    const QHash<QString, QVariant>& attributes() const;
    /// The value of a field, by exact name; invalid when there is none.
    QVariant attribute(const QString& fieldName) const;
    /// The feature itself; null when the context was made from attributes alone.
    const Shapes::GisShape* shape() const noexcept { return m_shape; }

private:
    const QHash<QString, QVariant>* m_attributes = nullptr; // null for those of the shape
    const Shapes::GisShape* m_shape = nullptr;
};

} // namespace Cartolith::Core::Symbology
