#pragma once

#include "LabelOptions.h"
#include "MapLayer.h"
#include "SymbologyOptions.h"

#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Layers/GisVectorOverviews.h>

class StepLog;

/// Features, or what an overview has of them, or a sample: read whole, styled by their values in the file.
class VectorMapLayer : public MapLayer {
public:
    /// Reads the file, and saves the renderer if that is wanted. The log outlives this object. \throws
    /// std::exception when the file cannot be read or its features not be styled so
    VectorMapLayer(const MapLayerOptions& options, const SymbologyOptions& symbology,
                   const LabelOptions& labels, StepLog& log);

    std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem> system() const override;
    Cartolith::Map::MapScene::Entry entry() override;
    Cartolith::Map::MapScene::Entry entryToSave() override;
    void setMapSystem(std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem> system) override;
    std::optional<Cartolith::Map::LegendContent> legend() override;
    void report(const Cartolith::Map::LayerSnapshot& snapshot, const Cartolith::Map::MapView& view) override;
    QString describeAt(const Cartolith::Core::Shapes::GisShapePoint& place, double tolerance) override;

private:
    struct Overview {
        QString file;
        Cartolith::Core::Layers::GisVectorOverviews::Level level;
        bool hasCoordinateSystem; ///< as the layer itself
        qint64 featureCount;      ///< of the layer itself
    };
    static std::optional<Overview> overviewOf(const MapLayerOptions& options);
    /// Null where all features are to be drawn.
    static std::unique_ptr<Cartolith::Core::Layers::GisLayerVector> sampleOf(const MapLayerOptions& options,
                                                                             StepLog& log);

    /// The nearest within the tolerance: a point or line before an area, of equally near ones the topmost.
    const Cartolith::Core::Shapes::GisShape* shapeAt(const Cartolith::Core::Shapes::GisShapePoint& place,
                                                     double tolerance);
    /// In the map's system, made when somebody asks what lies at a place.
    Cartolith::Core::Layers::GisLayerVector& layerOnMap();

    MapLayerOptions m_options;
    StepLog& m_log;
    std::optional<Overview> m_overview;
    std::shared_ptr<Cartolith::Core::Layers::GisLayerVector> m_source; // never null
    std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem> m_mapSystem;
    std::unique_ptr<Cartolith::Core::Layers::GisLayerVector> m_projected; // null where m_source is there
    Cartolith::Map::LineCasing m_casing;
};
