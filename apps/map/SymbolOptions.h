#pragma once

#include <Cartolith/Core/Layers/GisLayerStyle.h>

#include <QStringList>

#include <functional>
#include <vector>

class QCommandLineParser;

namespace Cartolith::Core::Layers {
class GisLayerVector;
}

/// Symbols beyond colour and width: dashes, casing, halo, pattern, marker, sizes by value.
class SymbolOptions {
public:
    static void addTo(QCommandLineParser& parser);
    /// The part of a help text about these options, a line each.
    static const char* help();
    static QStringList names();

    /// Nothing given.
    SymbolOptions() = default;
    /// Reads the file of an SVG marker, if one is named. \throws UsageError for values that make no sense,
    /// std::runtime_error for a file that cannot be used
    explicit SymbolOptions(const QCommandLineParser& parser);

    /// \throws std::invalid_argument for a field of sizes that the layer does not have, or without numbers
    void applyTo(Cartolith::Core::Layers::GisLayerStyle& style,
                 const Cartolith::Core::Layers::GisLayerVector& layer) const;

    /// Whether sizes follow from the values of all features.
    bool hasSizes() const { return !m_sizeField.isEmpty(); }

private:
    std::vector<std::function<void(Cartolith::Core::Layers::GisLayerStyle&)>> m_settings;
    QString m_sizeField;
    QList<double> m_sizes; ///< the least and the greatest; none when none were given
};
