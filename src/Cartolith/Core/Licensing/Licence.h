#pragma once

#include <Cartolith/Core/Export.h>

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

namespace Cartolith::Core::Licensing {

/// What a licence says: the payload of an envelope of LicenceDocument::Licence, a JSON object. Times are
/// seconds since 1970, in JSON "2026-11-21T09:30:00Z".
struct CARTOLITH_CORE_EXPORT Licence {
    QString id;                      ///< `id`, not empty
    qint64 serial = 0;               ///< `serial`: grows with each renewal of the licence
    QString holder;                  ///< `holder`
    qint64 issued = 0;               ///< `issued`
    qint64 notBefore = 0;            ///< `notBefore`
    std::optional<qint64> expires;   ///< `expires`, a time or "never" (unset here)
    std::optional<qint64> refreshBy; ///< `refreshBy`; missing: the licence need not be refreshed
    QStringList features;            ///< `features`, sorted: "raster.ECW", "output.unmarked", ...
    QByteArray machine;              ///< `machine`, Base64 of a MachineId; missing: any machine
    qint64 seats = 0;                ///< `seats`, 0 when missing: for people to read, nothing counts them

    /// Members that are not listed above are ignored, `product` must be "cartolith".
    /// \throws std::runtime_error for anything that is missing or is not what is said above
    static Licence fromPayload(const QByteArray& payload);
    QByteArray toPayload() const;

    bool operator==(const Licence&) const = default;
};

/// Takes back the licences with this id whose serial is lower: the payload of an envelope of
/// LicenceDocument::Revocation, with the members `id`, `serial`, `issued` and `product`.
struct CARTOLITH_CORE_EXPORT LicenceRevocation {
    QString id;
    qint64 serial = 0; ///< licences with a serial below this one are revoked
    qint64 issued = 0;

    /// \throws std::runtime_error as Licence::fromPayload()
    static LicenceRevocation fromPayload(const QByteArray& payload);
    QByteArray toPayload() const;
};

} // namespace Cartolith::Core::Licensing
