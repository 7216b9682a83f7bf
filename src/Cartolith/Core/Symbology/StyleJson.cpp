#include <Cartolith/Core/Symbology/StyleJsonInternal.h>

namespace Cartolith::Core::Symbology::Internal {

namespace {

const QStringList& placementTexts() {
    static const QStringList texts{QStringLiteral("automatic"), QStringLiteral("point"),
                                   QStringLiteral("line"), QStringLiteral("area")};
    return texts;
}

} // namespace

QJsonValue toJsonValue(Layers::LabelPlacementMode mode, const JsonPath& /*path*/) {
    return enumeratorToJson(static_cast<int>(mode), placementTexts());
}

void fromJsonValue(Layers::LabelPlacementMode& target, const QJsonValue& value, const JsonPath& path) {
    target = static_cast<Layers::LabelPlacementMode>(enumeratorFromJson(value, placementTexts(), path));
}

} // namespace Cartolith::Core::Symbology::Internal
