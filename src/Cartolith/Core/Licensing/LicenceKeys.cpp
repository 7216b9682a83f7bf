#include <Cartolith/Core/Licensing/LicenceBuildInternal.h>
#include <Cartolith/Core/Licensing/LicenceKeys.h>

#include <algorithm>

namespace Cartolith::Core::Licensing {

LicenceKeys LicenceKeys::builtIn() {
    LicenceKeys keys;
    for (const auto& [id, publicKey] : Internal::builtInKeys) {
        if (publicKey.isEmpty()) {
            keys.revoked.append(id);
        } else {
            keys.trusted.append({id, QByteArray::fromBase64(QByteArray(publicKey.data(), publicKey.size()))});
        }
    }
    return keys;
}

const LicenceKey* LicenceKeys::find(const QString& id) const {
    const auto found =
        std::find_if(trusted.begin(), trusted.end(), [&](const LicenceKey& key) { return key.id == id; });
    return found == trusted.end() ? nullptr : &*found;
}

} // namespace Cartolith::Core::Licensing
