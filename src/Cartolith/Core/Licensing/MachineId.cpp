#include <Cartolith/Core/Licensing/LicenceCache.h>
#include <Cartolith/Core/Licensing/MachineId.h>

#include <QMessageAuthenticationCode>

#include <algorithm>

namespace Cartolith::Core::Licensing {

QByteArray machineId() {
    constexpr qsizetype digits = 32;
    const QByteArray id = LicenceCache::readText(QStringLiteral("/etc/machine-id")).trimmed();
    // Images of systems that were never started hold nothing or a word here, the same on all machines.
    const bool isId = id.size() == digits && std::all_of(id.begin(), id.end(), [](char c) {
                          return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
                      });
    return isId ? QMessageAuthenticationCode::hash(id, "cartolith-licence-machine-1",
                                                   QCryptographicHash::Sha256)
                : QByteArray();
}

} // namespace Cartolith::Core::Licensing
