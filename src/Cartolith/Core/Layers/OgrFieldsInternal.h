#pragma once

#include <Cartolith/Core/Layers/GisAttributeDefinition.h>

#include <QHash>
#include <QList>
#include <QMetaType>
#include <QStringList>
#include <QVariant>

class OGRFeature;
class OGRFeatureDefn;

namespace Cartolith::Core::Layers::Internal {

/// The schema of an OGR layer.
QList<Defs::GisAttributeDefinition> attributeDefinitions(OGRFeatureDefn& layer);

/// The value of a field, typed as the schema says; invalid when it is null or unset.
QVariant fieldValue(OGRFeature& feature, int index);

/// Makes tables of attributes of the features of one layer.
///
/// QHash inserts in functions that may not throw: where there is no memory left, the process ends. What is
/// copied, and what has the key already, is safe. So keys are inserted once, into a table that has room for
/// them since the library was loaded (for 64 keys; beyond, nearly always), and each feature gets a copy. (A
/// copy that finds no memory loses a block or two, which is Qt's.)
class AttributeTables {
public:
    explicit AttributeTables(const QList<Defs::GisAttributeDefinition>& definitions);
    /// What is null or unset is absent. Of fields of one name, the last value counts.
    QHash<QString, QVariant> of(OGRFeature& feature) const;

private:
    QStringList m_names;
    QHash<QString, QVariant> m_empty; ///< has all keys
};

/// Whether two attribute values are the same, so that neither needs to be written over the other: numbers of
/// two types when they are the same number, not-a-number being the same as itself and zero not the same as
/// negative zero; dates with times when they show the same time in the same zone.
bool areSame(const QVariant& a, const QVariant& b);
/// The same of tables.
bool areSame(const QHash<QString, QVariant>& a, const QHash<QString, QVariant>& b);

/// The type that holds values of both; text when no other does.
QMetaType::Type commonType(QMetaType::Type a, QMetaType::Type b);

} // namespace Cartolith::Core::Layers::Internal
