#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/Files/IndexFileInternal.h>
#include <Cartolith/Core/Layers/GisVectorOverviews.h>

#include <optional>

namespace Cartolith::Core::Layers::Internal {

/// What an overview file says of itself, in a table with a row for each level.
struct OverviewRow {
    static constexpr const char* table = "cartolith_overviews";

    QString layer;
    bool isFirst; ///< of the layers of the source
    bool hasSystem;
    IndexFile::Stamp stamp;
    qint64 featureCount;
    Shapes::GisExtent extent;
    GisVectorOverviews::Level level;

    static bool addFields(OGRLayer& layer);
    /// False when it cannot be written.
    bool write(OGRLayer& to) const;
    /// None where it makes no sense.
    static std::optional<OverviewRow> read(OGRFeature& feature);
};

} // namespace Cartolith::Core::Layers::Internal
