#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Licensing/LicenceKeys.h>
#include <Cartolith/Core/Licensing/LicenceVerdict.h>

#include <QByteArray>
#include <QList>

namespace Cartolith::Core::Licensing {

/// Everything beside its own text that decides about a licence.
struct LicenceCircumstances {
    LicenceKeys keys;
    /// Texts of revocations. Those that are malformed, or not signed by a trusted key, do nothing.
    QList<QByteArray> revocations;
    qint64 now = 0;               ///< the clock, in seconds since 1970
    qint64 highestSignedTime = 0; ///< the latest time found in anything signed; 0 when there is none
    QByteArray machine;           ///< MachineId of this machine; empty when unknown
};

/// Decides about a licence: a pure function, which reads no clock, file or environment.
class CARTOLITH_CORE_EXPORT LicenceDecision {
public:
    LicenceDecision() = delete;

    /// For how long after `refreshBy` the features stay permitted, at most until the licence expires.
    static constexpr qint64 graceSeconds = 14 * qint64{86'400};

    /// Takes the later of the clock and the highest signed time for the time, so that a clock set back gains
    /// nothing. The licence holds from `notBefore` on, up to but without `expires`. An empty text is a
    /// missing licence. Never throws but std::bad_alloc.
    static LicenceVerdict decide(const QByteArray& licence, const LicenceCircumstances& circumstances);

    /// The time that a licence or revocation was issued; 0 when the text is malformed or not signed by a
    /// trusted key. The greatest of these over all that is held is the highest signed time.
    static qint64 signedTime(const QByteArray& text, const LicenceKeys& keys);
};

} // namespace Cartolith::Core::Licensing
