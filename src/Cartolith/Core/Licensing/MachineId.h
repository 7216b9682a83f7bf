#pragma once

#include <Cartolith/Core/Export.h>

#include <QByteArray>

namespace Cartolith::Core::Licensing {

/// The number of this machine in a licence that is bound to it: HMAC-SHA-256 of the file /etc/machine-id
/// under a key of this purpose alone, so that it tells nothing about the machine and is of no use elsewhere.
/// No addresses, no serial numbers, no names. 32 bytes, or none when that file holds no id.
CARTOLITH_CORE_EXPORT QByteArray machineId();

} // namespace Cartolith::Core::Licensing
