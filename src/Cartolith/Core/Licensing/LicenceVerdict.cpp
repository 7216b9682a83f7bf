#include <Cartolith/Core/Licensing/LicenceVerdict.h>

#include <algorithm>
#include <array>

namespace Cartolith::Core::Licensing {

bool LicenceVerdict::permits(const QString& feature, qint64 time) const noexcept {
    return since <= time && time < until && std::binary_search(features.begin(), features.end(), feature);
}

QString LicenceVerdict::stateText(LicenceState state) {
    static constexpr std::array texts{"missing",       "valid",   "grace",     "expired",  "not yet valid",
                                      "wrong machine", "revoked", "untrusted", "malformed"};
    const auto number = static_cast<std::size_t>(state);
    return QString::fromLatin1(number < texts.size() ? texts[number] : "");
}

} // namespace Cartolith::Core::Licensing
