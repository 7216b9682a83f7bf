#include <Cartolith/Core/Licensing/LicenceManager.h>
#include <Cartolith/Core/Licensing/LicenceService.h>
#include <Cartolith/LicenceNetwork/NetworkLicenceTransport.h>

#include <QCoreApplication>

bool asksNobodyOffline() {
    using namespace Cartolith::Core::Licensing;
    int argc = 0;
    const QCoreApplication application(argc, nullptr);
    qputenv("CARTOLITH_LICENCE_OFFLINE", "1");
    Cartolith::LicenceNetwork::NetworkLicenceTransport transport;
    LicenceOutcome outcome;
    LicenceService(*LicenceManager::current(), transport)
        .ask(LicenceRequestKind::Activate, "CODE", false, [&](const LicenceOutcome& result) { outcome = result; });
    return outcome.code == "offline";
}
