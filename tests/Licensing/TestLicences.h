#pragma once

#include <Cartolith/Core/Licensing/Licence.h>
#include <Cartolith/Core/Licensing/LicenceKeys.h>

#include <LicenceSigner.h>

/// Licences signed by the test key, tests/Licensing/test-key.txt.
namespace TestLicences {

inline const QByteArray testPrivateKey = QByteArray::fromBase64("MMwLa7TdWtxUHVwJu2N2xYBsmV926bChyCxIUbTo2G4=");

inline LicenceSigner signer() {
    return {QStringLiteral("test"), testPrivateKey};
}

inline Cartolith::Core::Licensing::LicenceKeys keys() {
    return {{{QStringLiteral("test"), signer().publicKey()}}, {}};
}

/// From 2026-01-01, refreshed by 2026-06-01, to 2027-01-01.
inline Cartolith::Core::Licensing::Licence licence() {
    Cartolith::Core::Licensing::Licence licence;
    licence.id = QStringLiteral("L-1");
    licence.serial = 5;
    licence.holder = QStringLiteral("Survey Office");
    licence.issued = 1'767'225'600;
    licence.notBefore = 1'767'225'600;
    licence.expires = 1'798'761'600;
    licence.refreshBy = 1'780'272'000;
    licence.features = {QStringLiteral("output.unmarked"), QStringLiteral("raster.ECW")};
    return licence;
}

inline QByteArray signedText(const Cartolith::Core::Licensing::Licence& licence) {
    return signer().sign(Cartolith::Core::Licensing::LicenceDocument::Licence, licence.toPayload()).toJson();
}

inline QByteArray revocationText(const QString& id, qint64 serial, qint64 issued = 1'767'225'600) {
    const Cartolith::Core::Licensing::LicenceRevocation revocation{id, serial, issued};
    return signer().sign(Cartolith::Core::Licensing::LicenceDocument::Revocation, revocation.toPayload()).toJson();
}

} // namespace TestLicences
