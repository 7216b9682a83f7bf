#pragma once

#include <Cartolith/Core/Export.h>

#include <QString>
#include <QStringList>

#include <limits>

namespace Cartolith::Core::Licensing {

enum class LicenceState : int {
    Missing = 0,      ///< there is no licence
    Valid = 1,        ///< its features are permitted
    Grace = 2,        ///< it should have been refreshed; its features are permitted until the grace ends
    Expired = 3,      ///< it has expired, or its grace has ended
    NotYetValid = 4,  ///< it begins later
    WrongMachine = 5, ///< it was issued for another machine
    Revoked = 6,      ///< the licence, or the key that signed it, was taken back
    Untrusted = 7,    ///< the signature is not by a key that this program knows
    Malformed = 8,    ///< the text is no licence
};

/// Whether features are permitted in this state.
constexpr bool isPermitting(LicenceState state) noexcept {
    return state == LicenceState::Valid || state == LicenceState::Grace;
}

/// What was decided about a licence. A value.
struct CARTOLITH_CORE_EXPORT LicenceVerdict {
    static constexpr qint64 never = std::numeric_limits<qint64>::max();
    static constexpr qint64 always = std::numeric_limits<qint64>::min();

    LicenceState state = LicenceState::Missing;
    /// The permitted features, sorted; none unless isPermitting(state).
    QStringList features;
    /// A sentence on which a person can act.
    QString reason;
    /// The time in which this verdict holds, in seconds since 1970: from `since` on and before `until`;
    /// another one holds outside. `always` and `never` where time does not change it. For a licence that is
    /// not yet valid `until` is its beginning, for one that is valid or in its grace its end.
    qint64 since = always;
    qint64 until = never;
    /// When the licence has to be refreshed; `never` when it need not be.
    qint64 refreshBy = never;
    /// The clock is more than a day behind the latest time that was signed.
    bool isClockBehind = false;
    QString id;        ///< of the licence, once its signature was found right
    QString holder;    ///< likewise
    qint64 serial = 0; ///< likewise
    QString source;    ///< where the licence was found
    /// Where else a licence was found or looked for, and why it was not taken: "the file '...': ...".
    QStringList ignored;

    /// Whether the feature is permitted at a time in seconds since 1970. Logarithmic, allocates nothing.
    bool permits(const QString& feature, qint64 time) const noexcept;

    /// "missing", "valid", "grace", "expired", "not yet valid", "wrong machine", "revoked", "untrusted",
    /// "malformed".
    static QString stateText(LicenceState state);
};

} // namespace Cartolith::Core::Licensing
