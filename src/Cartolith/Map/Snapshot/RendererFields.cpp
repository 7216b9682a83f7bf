#include <Cartolith/Core/Symbology/GisCategorizedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisGraduatedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisRuleBasedSymbolRenderer.h>
#include <Cartolith/Map/RendererFields.h>

using namespace Cartolith::Core::Symbology;

namespace Cartolith::Map {

QStringList fieldsOf(const GisSymbolRenderer& renderer) {
    QStringList fields;
    if (const auto* graduated = dynamic_cast<const GisGraduatedSymbolRenderer*>(&renderer)) {
        fields.append(graduated->fieldName());
    } else if (const auto* categorized = dynamic_cast<const GisCategorizedSymbolRenderer*>(&renderer)) {
        fields.append(categorized->fieldName());
    } else if (const auto* ruleBased = dynamic_cast<const GisRuleBasedSymbolRenderer*>(&renderer)) {
        for (const GisSymbolRule& rule : ruleBased->rules()) {
            fields.append(rule.fieldName);
        }
    }
    fields.removeDuplicates();
    return fields;
}

} // namespace Cartolith::Map
