#pragma once

#include <QString>

class QCommandLineParser;

namespace Cartolith::Core {
namespace Layers {
class GisLayerVector;
}
namespace Symbology {
class GisSymbolRenderer;
}
} // namespace Cartolith::Core

/// The names on a layer: from the command line into the styles of a renderer.
class LabelOptions {
public:
    static void addTo(QCommandLineParser& parser);
    /// The part of a help text about these options, a line each.
    static QString help();

    /// No labels.
    LabelOptions() = default;
    /// \throws UsageError for --label-priority alone
    explicit LabelOptions(const QCommandLineParser& parser);

    /// Whether features have values by which they get their places: of some of them nobody could tell the
    /// greatest.
    bool hasPriorities() const { return !m_priorityField.isEmpty(); }

    /// Has every style of the renderer show labels, when they are wanted. \throws std::runtime_error for a
    /// field that the layer does not have
    void applyTo(Cartolith::Core::Symbology::GisSymbolRenderer& renderer,
                 const Cartolith::Core::Layers::GisLayerVector& layer) const;

private:
    QString m_field;
    QString m_priorityField;
};
