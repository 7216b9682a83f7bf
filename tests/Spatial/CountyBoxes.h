#pragma once

#include "DataFolder.h"

#include <Cartolith/Core/Shapes/GisExtent.h>

#include <gdal_priv.h>
#include <ogrsf_frmts.h>

#include <stdexcept>
#include <vector>

/// The extents of the counties of the United States.
inline std::vector<Cartolith::Core::Shapes::GisExtent> countyBoxes() {
    GDALAllRegister();
    const GDALDatasetUniquePtr dataset(GDALDataset::Open(CARTOLITH_DATA_DIR "/us-counties.gpkg", GDAL_OF_VECTOR));
    if (!dataset) {
        throw std::runtime_error("us-counties.gpkg cannot be opened");
    }
    std::vector<Cartolith::Core::Shapes::GisExtent> boxes;
    for (const OGRFeatureUniquePtr& feature : *dataset->GetLayer(0)) {
        OGREnvelope envelope;
        feature->GetGeometryRef()->getEnvelope(&envelope);
        boxes.emplace_back(envelope.MinX, envelope.MinY, envelope.MaxX, envelope.MaxY);
    }
    return boxes;
}
