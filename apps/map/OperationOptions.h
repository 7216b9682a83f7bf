#pragma once

#include <QString>

#include <memory>

class QCommandLineParser;
class StepLog;

namespace Cartolith::Core {
namespace CoordinateSystems {
class CoordinateSystem;
}
namespace Layers {
class GisLayerVector;
}
} // namespace Cartolith::Core

/// What the commands that compute new shapes have in common.
class OperationOptions {
public:
    static void addTo(QCommandLineParser& parser);
    /// The part of a help text about these options, a line each.
    static QString help();

    /// \throws UsageError for a coordinate system that is unknown
    explicit OperationOptions(const QCommandLineParser& parser);

    /// Null when the file's own is to be used.
    const std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem>& system() const {
        return m_system;
    }
    /// With --fix, puts a sound shape in the place of each that is not, and takes out what has nothing sound
    /// in it or cannot be mended; the latter is named on standard error.
    void fix(Cartolith::Core::Layers::GisLayerVector& layer, StepLog& log) const;
    bool dissolve() const { return m_dissolve; }

    /// A layer with one feature, without fields, that covers what all of them cover.
    static std::unique_ptr<Cartolith::Core::Layers::GisLayerVector>
    dissolved(const Cartolith::Core::Layers::GisLayerVector& layer, StepLog& log);

private:
    std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem> m_system;
    bool m_fixFirst;
    bool m_dissolve;
};
