#include <Cartolith/Core/Licensing/LicenceTransport.h>

namespace Cartolith::Core::Licensing {

LicenceTransport::~LicenceTransport() = default;

} // namespace Cartolith::Core::Licensing
