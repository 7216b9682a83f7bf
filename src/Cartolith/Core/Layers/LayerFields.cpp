#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Layers/LayerFieldsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>

#include <QMap>

#include <set>

namespace Cartolith::Core::Layers {

using Defs::GisAttributeDefinition;
using Shapes::GisShape;

QList<GisAttributeDefinition> Internal::fieldsOf(const GisLayerVector& layer) {
    QList<GisAttributeDefinition> fields;
    std::set<QString> declared;
    for (const GisAttributeDefinition& definition : layer.attributeDefinitions()) {
        if (declared.insert(definition.name()).second) { // shapes have one value for fields of one name
            fields.append(definition);
        }
    }
    // Rows of one schema have the same names.
    const Shapes::Internal::AttributeSchema* seen = nullptr;
    const auto isDeclared = [&](const GisShape& shape) {
        const Shapes::Internal::AttributeRow row = shape.attributeSlot().row();
        if (row.isNull() || &row.schema() == seen) {
            return !row.isNull();
        }
        for (int i = 0; i < row.schema().count(); ++i) {
            if (!declared.contains(row.schema().name(i))) {
                return false;
            }
        }
        seen = &row.schema();
        return true;
    };
    QMap<QString, QMetaType::Type> found;
    for (const GisShape* shape : layer.rawShapes()) {
        if (isDeclared(*shape)) {
            continue;
        }
        const auto attributes = shape->attributeSlot().copyOfTable();
        for (auto it = attributes.cbegin(); it != attributes.cend(); ++it) {
            if (it->isValid() && !declared.contains(it.key())) {
                const auto type = static_cast<QMetaType::Type>(it->typeId());
                found[it.key()] = found.contains(it.key()) ? commonType(found[it.key()], type) : type;
            }
        }
    }
    for (auto it = found.cbegin(); it != found.cend(); ++it) {
        fields.append(GisAttributeDefinition(it.key(), it.value()));
    }
    return fields;
}

} // namespace Cartolith::Core::Layers
