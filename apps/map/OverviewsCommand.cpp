#include "Arguments.h"
#include "Commands.h"
#include "Interruption.h"
#include "OpenLayer.h"
#include "ProgressBar.h"

#include <Cartolith/Core/Layers/GisVectorOverviews.h>

#include <QCommandLineParser>
#include <QFileInfo>
#include <QLocale>

#include <cstdio>
#include <stdexcept>

using namespace Cartolith::Core;
using Layers::GisVectorOverviews;

namespace {

const char* const overviewsText = R"(cartolith-map overviews: what a large file looks like from afar

  cartolith-map overviews FILE [--layer NAME] [--quiet]

Makes FILE.NAME.overviews.gpkg beside FILE: for scales a factor of 2 apart, its features simplified to half a pixel and,
where more than one lies in 4 by 4 pixels, thinned out. With it a picture of millions of features reads some thousands.
Says what was made. It is used as long as FILE stays as it is; run it again when FILE has changed.

FILE is a GeoPackage, FlatGeobuf, GeoJSON, SQLite or KML file; or a connection to PostGIS, which gets tables
NAME_overviews... beside the table NAME.

Example
  cartolith-map overviews parcels.fgb
)";

} // namespace

QString Commands::overviewsHelp() {
    return QString::fromUtf8(overviewsText);
}

int Commands::overviews(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.addOptions({{"layer", "", "name"}, {"quiet", ""}});
    if (!parser.parse(QStringList{QStringLiteral("overviews")} + arguments)) {
        throw UsageError(parser.errorText());
    }
    if (parser.positionalArguments().size() != 1) {
        throw UsageError(QStringLiteral("overviews wants one FILE"));
    }
    const QString file = parser.positionalArguments().constFirst();
    const QString layer = parser.value("layer");
    Interruption::watch();
    {
        ProgressBar bar(QStringLiteral("Overviews"));
        const bool isMade = GisVectorOverviews::build(file, layer, [&bar](double fraction) {
            bar.show(fraction);
            return !Interruption::isWanted();
        });
        if (!isMade) {
            throw std::runtime_error("interrupted; nothing was changed");
        }
    }
    const auto made = GisVectorOverviews::find(file, layer);
    if (!made) {
        throw std::runtime_error(
            QStringLiteral("'%1' has changed while its overviews were made").arg(shown(file)).toStdString());
    }
    if (!parser.isSet("quiet")) {
        const QLocale english(QLocale::English);
        for (const GisVectorOverviews::Level& level : made->levels()) {
            std::printf("%12s of %s features for %s units a pixel\n",
                        qPrintable(english.toString(level.featureCount)),
                        qPrintable(english.toString(made->featureCount())),
                        qPrintable(QString::number(level.unitsPerPixel, 'g', 4)));
        }
        if (const QFileInfo kept(made->path()); kept.isFile()) {
            std::printf("%s: %s bytes\n", made->path().toUtf8().constData(),
                        qPrintable(english.toString(kept.size())));
        } else {
            std::printf("%s ...: tables beside it\n",
                        made->levels().constFirst().tableName.toUtf8().constData());
        }
    }
    return 0;
}
