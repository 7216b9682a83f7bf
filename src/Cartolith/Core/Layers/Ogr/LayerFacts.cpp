#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Layers/Ogr/LayerFactsInternal.h>

#include <cmath>

namespace Cartolith::Core::Layers::Internal {

std::shared_ptr<CoordinateSystems::CoordinateSystem> coordinateSystemOf(OGRLayer& layer) {
    const OGRSpatialReference* const srs = layer.GetSpatialRef();
    if (srs == nullptr) {
        return nullptr;
    }
    OGRSpatialReference copy(*srs); // the factory changes what it is given
    return CoordinateSystems::CoordinateSystemFactory::fromSpatialReference(copy);
}

Shapes::GisExtent storedExtent(OGRLayer& layer) {
    OGREnvelope envelope;
    if (layer.GetExtent(&envelope, FALSE) != OGRERR_NONE || !envelope.IsInit() ||
        !std::isfinite(envelope.MinX) || !std::isfinite(envelope.MinY) || !std::isfinite(envelope.MaxX) ||
        !std::isfinite(envelope.MaxY)) {
        return {};
    }
    return {envelope.MinX, envelope.MinY, envelope.MaxX, envelope.MaxY};
}

} // namespace Cartolith::Core::Layers::Internal
