#pragma once

#include <Cartolith/Core/Export.h>

#include <QMetaType>
#include <QString>
#include <QTypeInfo>
#include <QVariant>

namespace Cartolith::Core::Layers::Defs {

/// A field of a layer's schema: what its values are called, of which type they are, and what a new feature
/// gets.
class CARTOLITH_CORE_EXPORT GisAttributeDefinition {
public:
    GisAttributeDefinition() = default;
    explicit GisAttributeDefinition(const QString& name, QMetaType::Type type = QMetaType::QString)
        : m_name(name), m_type(type) {}

    /// True when all is equal, the default value in its type, too.
    bool operator==(const GisAttributeDefinition& other) const {
        return m_name == other.m_name && m_type == other.m_type && m_width == other.m_width &&
               m_precision == other.m_precision && m_nullable == other.m_nullable &&
               m_defaultValue.metaType() == other.m_defaultValue.metaType() &&
               m_defaultValue == other.m_defaultValue;
    }

    /// Case-sensitive; the key of the attribute tables.
    const QString& name() const noexcept { return m_name; }
    void setName(const QString& name) { m_name = name; }

    /// The type of the QVariants that hold its values.
    QMetaType::Type type() const noexcept { return m_type; }
    void setType(QMetaType::Type type) noexcept { m_type = type; }
    /// The type's name for a reader: "int", "double", "QString", "QDateTime", ...
    QString typeName() const;

    /// Characters or digits; 0 means no limit.
    int width() const noexcept { return m_width; }
    void setWidth(int width) noexcept { m_width = width; }

    /// Digits after the point; 0 means not given.
    int precision() const noexcept { return m_precision; }
    void setPrecision(int precision) noexcept { m_precision = precision; }

    bool isNullable() const noexcept { return m_nullable; }
    void setNullable(bool nullable) noexcept { m_nullable = nullable; }

    /// Given to new features; invalid when there is none.
    const QVariant& defaultValue() const noexcept { return m_defaultValue; }
    void setDefaultValue(const QVariant& value) { m_defaultValue = value; }

private:
    QString m_name;
    QMetaType::Type m_type = QMetaType::QString;
    int m_width = 0;
    int m_precision = 0;
    bool m_nullable = true;
    QVariant m_defaultValue;
};

} // namespace Cartolith::Core::Layers::Defs

Q_DECLARE_TYPEINFO(Cartolith::Core::Layers::Defs::GisAttributeDefinition, Q_RELOCATABLE_TYPE);
