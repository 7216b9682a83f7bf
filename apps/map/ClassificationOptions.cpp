#include "ClassificationOptions.h"

#include "Arguments.h"

#include <Cartolith/Core/Symbology/GisClassificationEngine.h>
#include <Cartolith/Core/Symbology/GisColorRampRegistry.h>
#include <Cartolith/Map/NumberText.h>

#include <QCommandLineParser>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

using namespace Cartolith::Core::Symbology;
using namespace Cartolith::Map;

namespace {

constexpr int mostClasses = 1000;

enum class Interval { None, Optional, Required };

struct Method {
    GisClassificationMethod method;
    const char* name;
    bool counts; ///< takes a number of classes
    Interval interval;
};

constexpr Method methods[] = {
    {GisClassificationMethod::Manual, "Manual", false, Interval::None},
    {GisClassificationMethod::DefinedInterval, "DefinedInterval", false, Interval::Required},
    {GisClassificationMethod::EqualInterval, "EqualInterval", true, Interval::None},
    {GisClassificationMethod::Quantile, "Quantile", true, Interval::None},
    {GisClassificationMethod::NaturalBreaks, "NaturalBreaks", true, Interval::None},
    {GisClassificationMethod::Quartile, "Quartile", false, Interval::None},
    {GisClassificationMethod::StandardDeviation, "StandardDeviation", false, Interval::Optional},
    {GisClassificationMethod::StandardDeviationWithCentral, "StandardDeviationWithCentral", false,
     Interval::Optional},
    {GisClassificationMethod::GeometricalInterval, "GeometricalInterval", true, Interval::None},
    {GisClassificationMethod::KMeans, "KMeans", true, Interval::None},
    {GisClassificationMethod::KMeansSpatial, "KMeansSpatial", true, Interval::None},
};

const Method& methodOf(const QString& name) {
    const auto* const found =
        std::find_if(std::begin(methods), std::end(methods), [&name](const Method& method) {
            return name.compare(QLatin1String(method.name), Qt::CaseInsensitive) == 0;
        });
    if (found == std::end(methods)) {
        Arguments::unknown(QStringLiteral("method"), name, ClassificationOptions::methodNames());
    }
    return *found;
}

/// 0 when it is the method that finds the number.
qsizetype wantedClasses(const GisClassificationSettings& settings) {
    switch (settings.method) {
    case GisClassificationMethod::Manual:
        return settings.manualBreaks.size() - 1;
    case GisClassificationMethod::Quartile:
        return 4;
    case GisClassificationMethod::DefinedInterval:
    case GisClassificationMethod::StandardDeviation:
    case GisClassificationMethod::StandardDeviationWithCentral:
        return 0;
    default:
        return settings.classCount;
    }
}

} // namespace

QStringList ClassificationOptions::methodNames() {
    QStringList names;
    for (const Method& method : methods) {
        names.append(QString::fromLatin1(method.name));
    }
    return names;
}

QString ClassificationOptions::wrapped(const QStringList& names) {
    constexpr qsizetype width = 84;
    const QString lineStart = QLatin1Char('\n') + QString(28, QLatin1Char(' '));
    QString text;
    QString line;
    for (const QString& name : names) {
        if (!line.isEmpty() && line.size() + name.size() + 3 > width) {
            text += lineStart + line + QLatin1Char(',');
            line.clear();
        }
        line += (line.isEmpty() ? QString() : QStringLiteral(", ")) + name;
    }
    return text + lineStart + line;
}

GisClassificationSettings ClassificationOptions::settings(const QCommandLineParser& parser,
                                                          const QString& otherwise,
                                                          const GisColorRamp& ramp) {
    GisClassificationSettings settings;
    const Method& method = methodOf(parser.isSet("method")   ? parser.value("method")
                                    : parser.isSet("breaks") ? QStringLiteral("Manual")
                                                             : otherwise);
    const QString name = QString::fromLatin1(method.name);
    settings.method = method.method;
    if (!method.counts) {
        Arguments::refuse(parser, {"classes"},
                          QStringLiteral("does not go with %1, which finds the number itself").arg(name));
    }
    if (method.interval == Interval::None) {
        Arguments::refuse(parser, {"interval"}, QStringLiteral("does not go with %1").arg(name));
    } else if (method.interval == Interval::Required && !parser.isSet("interval")) {
        throw UsageError(QStringLiteral("%1 wants --interval").arg(name));
    }
    if ((method.method == GisClassificationMethod::Manual) != parser.isSet("breaks")) {
        throw UsageError(QStringLiteral("--breaks and the method Manual go together"));
    }
    if (parser.isSet("classes")) {
        settings.classCount = Arguments::whole("classes", parser.value("classes"), 1, mostClasses);
    }
    if (parser.isSet("interval")) {
        settings.interval = Arguments::number("interval", parser.value("interval"), 1e-300, 1e300);
    }
    if (parser.isSet("breaks")) {
        settings.manualBreaks = Arguments::breaks("breaks", parser.value("breaks"));
    }
    settings.ramp = ramp;
    if (parser.isSet("ramp") && !GisColorRampRegistry::tryGetRamp(parser.value("ramp"), settings.ramp)) {
        Arguments::unknown(QStringLiteral("ramp"), parser.value("ramp"), GisColorRampRegistry::names());
    }
    if (parser.isSet("ramp-mode")) {
        const QString mode = parser.value("ramp-mode");
        if (mode != QLatin1String("continuous") && mode != QLatin1String("discrete")) {
            Arguments::unknown(QStringLiteral("ramp mode"), mode, {"continuous", "discrete"});
        }
        settings.mode =
            mode == QLatin1String("discrete") ? GisColorRampMode::Discrete : GisColorRampMode::Continuous;
    }
    settings.reversed = parser.isSet("reversed");
    return settings;
}

void ClassificationOptions::requireFewClasses(const GisClassificationSettings& settings,
                                              const QList<double>& values, const QString& what) {
    if (settings.method != GisClassificationMethod::DefinedInterval || values.isEmpty()) {
        return;
    }
    const auto [least, greatest] = std::minmax_element(values.cbegin(), values.cend());
    if ((*greatest - *least) / settings.interval > mostClasses) {
        throw std::runtime_error(
            QStringLiteral("an interval of %1 makes more than %2 classes of %3, which reaches from %4 to %5")
                .arg(GisClassificationEngine::numberText(settings.interval), NumberText::whole(mostClasses),
                     what, GisClassificationEngine::numberText(*least),
                     GisClassificationEngine::numberText(*greatest))
                .toStdString());
    }
}

void ClassificationOptions::sayWhenFewer(const GisClassificationSettings& settings, qsizetype made,
                                         const QList<double>& values, const QString& what) {
    const qsizetype wanted = wantedClasses(settings);
    if (made >= wanted) {
        return;
    }
    const qsizetype different = GisClassificationEngine::sortedUniqueValues(values).size();
    const QString why =
        settings.method == GisClassificationMethod::Manual ? QStringLiteral("the bounds repeat")
        : different < wanted
            ? QStringLiteral("it has %1 different value%2")
                  .arg(NumberText::whole(different), different == 1 ? QString() : QStringLiteral("s"))
            : QStringLiteral("bounds fall together where the values crowd");
    std::fprintf(stderr, "cartolith-map: %s gets %s of %s classes: %s\n", qPrintable(what),
                 qPrintable(NumberText::whole(made)), qPrintable(NumberText::whole(wanted)), qPrintable(why));
}
