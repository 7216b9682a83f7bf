#include <Cartolith/Core/Licensing/MachineId.h>

#include <QFile>
#include <QMessageAuthenticationCode>

namespace Cartolith::Core::Licensing {

QByteArray machineId() {
    constexpr qint64 longest = 256;
    QFile file(QStringLiteral("/etc/machine-id"));
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const QByteArray id = file.read(longest).trimmed();
    return id.isEmpty() ? QByteArray()
                        : QMessageAuthenticationCode::hash(id, "cartolith-licence-machine-1",
                                                           QCryptographicHash::Sha256);
}

} // namespace Cartolith::Core::Licensing
