#pragma once

#include <Cartolith/Core/Layers/GisAttributeDefinition.h>

#include <QHash>
#include <QList>

class OGRFeature;
class OGRFeatureDefn;

namespace Cartolith::Core::Layers::Internal {

/// The schema of an OGR layer.
QList<Defs::GisAttributeDefinition> attributeDefinitions(OGRFeatureDefn& layer);

/// The values of a feature, typed as the schema says; what is null or unset is absent.
QHash<QString, QVariant> attributes(OGRFeature& feature,
                                    const QList<Defs::GisAttributeDefinition>& definitions);

} // namespace Cartolith::Core::Layers::Internal
