#include <Cartolith/Core/Layers/Ogr/LayerFactsInternal.h>

#include <cmath>

namespace Cartolith::Core::Layers::Internal {

Shapes::GisExtent storedExtent(OGRLayer& layer, bool hasShapes) {
    OGREnvelope envelope;
    if (!hasShapes || layer.GetExtent(&envelope, FALSE) != OGRERR_NONE || !envelope.IsInit() ||
        !std::isfinite(envelope.MinX) || !std::isfinite(envelope.MinY) || !std::isfinite(envelope.MaxX) ||
        !std::isfinite(envelope.MaxY)) {
        return {};
    }
    return {envelope.MinX, envelope.MinY, envelope.MaxX, envelope.MaxY};
}

} // namespace Cartolith::Core::Layers::Internal
