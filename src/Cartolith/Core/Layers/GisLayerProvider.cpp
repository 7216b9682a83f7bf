#include <Cartolith/Core/Layers/GisLayerProvider.h>

namespace Cartolith::Core::Layers::Providers {

GisLayerProvider::~GisLayerProvider() = default;

QString GisLayerProvider::source() const {
    return {};
}

bool GisLayerProvider::isOpen() const {
    return false;
}

} // namespace Cartolith::Core::Layers::Providers
