#include "Arguments.h"
#include "Commands.h"

#include <Cartolith/Core/Licensing/LicenceManager.h>

#include <QCommandLineParser>
#include <QDateTime>

#include <cstdio>

using Cartolith::Core::Licensing::LicenceManager;
using Cartolith::Core::Licensing::LicenceState;
using Cartolith::Core::Licensing::LicenceVerdict;

QString Commands::licenceHelp() {
    return QStringLiteral(R"(cartolith-map licence: the licence of this program, and what it permits

  cartolith-map licence

Without a licence that permits 'output.unmarked' pictures carry a small mark, and without one that permits
'raster.ECW' and the like rasters in proprietary formats cannot be opened. Everything else works in any case.
cartolith-licence fetches and installs licences.
)");
}

int Commands::licence(const QStringList& arguments) {
    if (!arguments.isEmpty()) {
        throw UsageError(QStringLiteral("licence wants no arguments"));
    }
    const auto manager = LicenceManager::current();
    const LicenceVerdict verdict = manager->verdict();
    QStringList keys;
    for (const auto& key : manager->settings().keys.trusted) {
        keys.append(key.id);
    }
    std::printf("%-12s %s\n%-12s %s\n", "state", qPrintable(LicenceVerdict::stateText(verdict.state)),
                "reason", qPrintable(verdict.reason));
    if (!verdict.holder.isEmpty()) {
        std::printf("%-12s %s\n", "holder", qPrintable(verdict.holder));
    }
    if (!verdict.features.isEmpty()) {
        std::printf("%-12s %s\n", "permits", qPrintable(verdict.features.join(QStringLiteral(", "))));
    }
    if (verdict.until != LicenceVerdict::never) {
        std::printf("%-12s %s\n", verdict.state == LicenceState::NotYetValid ? "begins" : "ends",
                    qPrintable(QDateTime::fromSecsSinceEpoch(verdict.until, Qt::UTC).toString(Qt::ISODate)));
    }
    std::printf("%-12s %s\n", "keys trusted",
                keys.isEmpty() ? "none" : qPrintable(keys.join(QStringLiteral(", "))));
    for (const QString& ignored : verdict.ignored) {
        std::printf("%-12s %s\n", "ignored", qPrintable(ignored));
    }
    return 0;
}
