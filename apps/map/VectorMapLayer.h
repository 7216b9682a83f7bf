#pragma once

#include "MapLayer.h"
#include "SymbologyOptions.h"

#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Layers/GisVectorOverviews.h>

class StepLog;

/// Features, or what an overview has of them, or a sample: read whole, styled by their values in the file,
/// projected, found in view by the index.
class VectorMapLayer : public MapLayer {
public:
    /// Reads the file, and saves the renderer if that is wanted. The log outlives this object. \throws
    /// std::exception when the file cannot be read or its features not be styled so
    VectorMapLayer(const MapLayerOptions& options, const SymbologyOptions& symbology, StepLog& log);

    std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem> system() const override;
    void setMapSystem(std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem> system) override;
    Cartolith::Core::Shapes::GisExtent extent() const override;
    std::optional<Cartolith::Map::LegendContent> legend() override;
    Cartolith::Map::MapSheet::Content content(const Cartolith::Map::MapView& view) override;
    QString describeAt(const Cartolith::Core::Shapes::GisShapePoint& place, double tolerance) override;

private:
    struct Overview {
        QString file;
        Cartolith::Core::Layers::GisVectorOverviews::Level level;
        bool hasCoordinateSystem; ///< as the layer itself
        qint64 featureCount;      ///< of the layer itself
    };
    static std::optional<Overview> overviewOf(const MapLayerOptions& options,
                                              const SymbologyOptions& symbology);

    /// Null where all features are to be drawn.
    static std::unique_ptr<Cartolith::Core::Layers::GisLayerVector>
    sampleOf(const MapLayerOptions& options, const SymbologyOptions& symbology, StepLog& log);

    /// The nearest within the tolerance: a point or line before an area, of equally near ones the topmost.
    const Cartolith::Core::Shapes::GisShape* shapeAt(const Cartolith::Core::Shapes::GisShapePoint& place,
                                                     double tolerance);
    /// What is drawn.
    Cartolith::Core::Layers::GisLayerVector& layer() {
        return m_projected != nullptr ? *m_projected : *m_source;
    }

    MapLayerOptions m_options;
    StepLog& m_log;
    std::optional<Overview> m_overview;
    std::unique_ptr<Cartolith::Core::Layers::GisLayerVector> m_source; // never null
    std::unique_ptr<Cartolith::Core::Layers::GisLayerVector> m_projected;
    std::unique_ptr<Cartolith::Core::Symbology::GisSymbolRenderer> m_renderer;
    Cartolith::Map::LineCasing m_casing;
};
