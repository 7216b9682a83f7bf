#include <Cartolith/Core/Symbology/GisColorRampRegistry.h>

#include <QRegularExpression>

#include <stdexcept>

namespace Cartolith::Core::Symbology {

namespace {

const QList<GisColorRamp>& builtInRamps() {
    static const QList<GisColorRamp> ramps = {
        makeRamp("GreenBlue", {"#E8F5E9", "#A5D6A7", "#4DB6AC", "#1E88E5", "#0D47A1"}),
        makeRamp("YellowGreenBlue", {"#FFFFCC", "#C7E9B4", "#7FCDBB", "#41B6C4", "#225EA8"}),
        makeRamp("Viridis", {"#440154", "#3B528B", "#21918C", "#5DC863", "#FDE725"}),
        makeRamp("Plasma", {"#0D0887", "#7E03A8", "#CC4778", "#F89540", "#F0F921"}),
        makeRamp("BrownGreen", {"#8C510A", "#DFC27D", "#F5F5F5", "#80CDC1", "#01665E"}),
        makeRamp("Unique", {"#1F77B4", "#FF7F0E", "#2CA02C", "#D62728", "#9467BD", "#8C564B", "#E377C2",
                            "#7F7F7F", "#BCBD22", "#17BECF"}),
    };
    return ramps;
}

} // namespace

QList<GisColorRamp> GisColorRampRegistry::ramps() {
    return builtInRamps();
}

QList<QString> GisColorRampRegistry::names() {
    QList<QString> result;
    for (const GisColorRamp& ramp : builtInRamps()) {
        result.append(ramp.name());
    }
    return result;
}

std::optional<GisColorRamp> GisColorRampRegistry::findByName(const QString& name) {
    const QString key = normalizedName(name);
    for (const GisColorRamp& ramp : builtInRamps()) {
        if (normalizedName(ramp.name()) == key) {
            return ramp;
        }
    }
    return std::nullopt;
}

bool GisColorRampRegistry::contains(const QString& name) {
    return findByName(name).has_value();
}

bool GisColorRampRegistry::tryGetRamp(const QString& name, GisColorRamp& out) {
    const std::optional<GisColorRamp> found = findByName(name);
    if (found) {
        out = *found;
    }
    return found.has_value();
}

GisColorRamp GisColorRampRegistry::ramp(const QString& name) {
    const std::optional<GisColorRamp> found = findByName(name);
    if (!found) {
        throw std::invalid_argument("Unknown Cartolith color ramp.");
    }
    return *found;
}

GisColorRamp GisColorRampRegistry::defaultRamp() {
    return ramp("Viridis");
}

QString GisColorRampRegistry::normalizedName(const QString& name) {
    static const QRegularExpression whiteSpace(QStringLiteral("\\s+"));
    return name.trimmed().remove(whiteSpace).toCaseFolded();
}

} // namespace Cartolith::Core::Symbology
