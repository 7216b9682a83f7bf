#pragma once

#include <Cartolith/Core/Symbology/GisSymbolRendererFactory.h>

#include <QList>
#include <QString>
#include <QStringList>

class QCommandLineParser;

/// How numbers become classes: from the command line to settings, for fields and for rasters.
namespace ClassificationOptions {

QStringList methodNames();
/// Names on lines of their own, in the column and to the width of the help text.
QString wrapped(const QStringList& names);

/// What the options about classes of numbers and about ramps say; the method and the ramp when they say
/// nothing. \throws UsageError
Cartolith::Core::Symbology::GisClassificationSettings
settings(const QCommandLineParser& parser, const QString& otherwise,
         const Cartolith::Core::Symbology::GisColorRamp& ramp);
/// \throws std::runtime_error when an interval makes more classes of the values than anybody can want
void requireFewClasses(const Cartolith::Core::Symbology::GisClassificationSettings& settings,
                       const QList<double>& values, const QString& what);
/// Tells the user when fewer classes were made than the settings ask for, and why.
void sayWhenFewer(const Cartolith::Core::Symbology::GisClassificationSettings& settings, qsizetype made,
                  const QList<double>& values, const QString& what);

} // namespace ClassificationOptions
