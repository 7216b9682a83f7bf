#pragma once

#include <Cartolith/Core/Layers/GisAttributeDefinition.h>

#include <QHash>
#include <QList>
#include <QMetaType>

class OGRFeature;
class OGRFeatureDefn;

namespace Cartolith::Core::Layers::Internal {

/// The schema of an OGR layer.
QList<Defs::GisAttributeDefinition> attributeDefinitions(OGRFeatureDefn& layer);

/// The values of a feature, typed as the schema says; what is null or unset is absent.
QHash<QString, QVariant> attributes(OGRFeature& feature,
                                    const QList<Defs::GisAttributeDefinition>& definitions);

/// The type that holds values of both; text when no other does.
QMetaType::Type commonType(QMetaType::Type a, QMetaType::Type b);

} // namespace Cartolith::Core::Layers::Internal
