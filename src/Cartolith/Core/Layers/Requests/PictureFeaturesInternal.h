#pragma once

#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Layers/GisVectorOverviews.h>
#include <Cartolith/Core/Layers/Requests/FeatureSourceInternal.h>

#include <memory>

namespace Cartolith::Core::Layers::Internal {

/// What a request for a picture is answered from.
struct PictureFeatures {
    std::unique_ptr<FeatureSource> source;
    GisFeatureRequest request; ///< of that source
    GisFeatureReader::Detail detail = GisFeatureReader::Detail::Everything;
    qint64 sourceCount = -1;

    static PictureFeatures of(const QString& path, const QString& layerName,
                              const GisFeatureRequest& request);
};

} // namespace Cartolith::Core::Layers::Internal
