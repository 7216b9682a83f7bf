#pragma once

#include <Cartolith/Core/Export.h>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace Cartolith::Core::Licensing {

/// The public half of a key that signs licences.
struct LicenceKey {
    QString id;           ///< as the member `keyId` of an envelope names it
    QByteArray publicKey; ///< 32 bytes, Ed25519
};

/// Whose signatures count.
struct CARTOLITH_CORE_EXPORT LicenceKeys {
    QList<LicenceKey> trusted;
    QStringList revoked; ///< ids of keys whose signatures count no longer, whatever they signed

    /// The keys that this library was built with: those of the CMake option CARTOLITH_LICENCE_KEYS, a file
    /// that `cartolith-licence make-keys` appends to, and, with CARTOLITH_LICENCE_TEST_KEY, the test key,
    /// whose private half is public.
    static LicenceKeys builtIn();

    /// Null when there is no trusted key with this id.
    const LicenceKey* find(const QString& id) const;
};

} // namespace Cartolith::Core::Licensing
