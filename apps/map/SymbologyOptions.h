#pragma once

#include "ClassStyles.h"
#include "SymbolOptions.h"

#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Core/Symbology/GisDefaultSymbolStyles.h>
#include <Cartolith/Core/Symbology/GisSymbolRendererFactory.h>
#include <Cartolith/Map/SheetColours.h>
#include <Cartolith/Map/SymbolPainter.h>

#include <memory>
#include <optional>

class QCommandLineParser;

/// How a layer is to look: from the command line to a renderer.
class SymbologyOptions {
public:
    static void addTo(QCommandLineParser& parser);
    /// The part of a help text about these options, a line each.
    static QString help();

    /// The one that is named; none when none is. \throws UsageError
    static std::optional<Cartolith::Core::Symbology::GisSymbolTheme> theme(const QCommandLineParser& parser);

    /// Everything as when no option is given.
    SymbologyOptions() = default;
    /// Reads the renderer's file, if one is named. \throws UsageError for choices that are unknown, out of
    /// range or exclude each other; std::runtime_error for a file that holds no such renderer
    explicit SymbologyOptions(const QCommandLineParser& parser);

    /// Paper and ink of the theme, when there is one.
    const Cartolith::Map::SheetColours& colours() const { return m_colours; }

    /// A renderer for the layer and others of the same features. Sets the layer's style, which classes get
    /// their colours on top of.
    /// \throws std::exception as GisSymbolRendererFactory does, for an interval that makes too many classes,
    /// and for a file that names a field the layer does not have
    std::unique_ptr<Cartolith::Core::Symbology::GisSymbolRenderer>
    makeRenderer(Cartolith::Core::Layers::GisLayerVector& layer) const;

    /// Whether the look follows from the values of all features.
    bool hasClasses() const;

    /// Of the lines of classes, when some of them would hardly be seen.
    Cartolith::Map::LineCasing casing(const Cartolith::Core::Symbology::GisSymbolRenderer& renderer) const;

    /// Writes the renderer to the file of --save-style, if one is named. \throws std::runtime_error
    void save(const Cartolith::Core::Symbology::GisSymbolRenderer& renderer) const;

private:
    void readColours(const QCommandLineParser& parser);
    void readClassification(const QCommandLineParser& parser);
    void readFile(const QCommandLineParser& parser);
    Cartolith::Core::Layers::GisLayerStyle
    baseStyle(const Cartolith::Core::Layers::GisLayerVector& layer) const;
    std::unique_ptr<Cartolith::Core::Symbology::GisSymbolRenderer>
    graduated(const Cartolith::Core::Layers::GisLayerVector& layer) const;
    std::unique_ptr<Cartolith::Core::Symbology::GisSymbolRenderer>
    categorized(const Cartolith::Core::Layers::GisLayerVector& layer) const;
    QList<QString> categoryColours(qsizetype count, bool isThin) const;

    Cartolith::Map::SheetColours m_colours;
    std::optional<Cartolith::Core::Symbology::GisSymbolTheme> m_theme;
    GivenStyle m_given;
    SymbolOptions m_symbols;
    bool m_hasRamp = false; ///< somebody named one
    QString m_field;
    QString m_categories;
    Cartolith::Core::Symbology::GisClassificationSettings m_settings;
    std::shared_ptr<const Cartolith::Core::Symbology::GisSymbolRenderer> m_fromFile;
    QString m_saveTo;
};
