#pragma once

#include <Cartolith/Core/Symbology/GisRasterStyle.h>
#include <Cartolith/Core/Symbology/GisSymbolRendererFactory.h>
#include <Cartolith/Map/LegendContent.h>

#include <optional>

class QCommandLineParser;

namespace Cartolith::Core::Layers {
class GisLayerGdalRaster;
}

/// How a raster is to look: from the command line to a style and a legend.
class RasterOptions {
public:
    /// Besides those of SymbologyOptions, some of which hold for rasters too.
    static void addTo(QCommandLineParser& parser);
    /// The part of a help text about these options, a line each.
    static QString help();
    static QStringList names();
    /// \throws UsageError when an option is there that makes sense for rasters only
    static void refuse(const QCommandLineParser& parser);

    RasterOptions() = default;
    /// \throws UsageError for choices that are unknown, out of range or exclude each other, and for options
    /// that make no sense for a raster
    explicit RasterOptions(const QCommandLineParser& parser);

    /// Gives the open layer its style; classes are made from a sample of its values.
    /// \throws std::exception as the layer does, and for an interval that makes too many classes
    void applyTo(Cartolith::Core::Layers::GisLayerGdalRaster& layer);

    /// Of the style that was applied. \throws std::runtime_error when it has nothing to explain
    Cartolith::Map::LegendContent legend(Cartolith::Core::Layers::GisLayerGdalRaster& layer,
                                         const QString& title) const;

private:
    Cartolith::Core::Symbology::GisRasterStyle m_style;
    std::optional<Cartolith::Core::Symbology::GisClassificationSettings> m_classes;
    QList<Cartolith::Core::Symbology::GisClassificationRange> m_ranges; ///< of the sample
};
