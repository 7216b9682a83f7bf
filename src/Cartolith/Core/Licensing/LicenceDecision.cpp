#include <Cartolith/Core/Licensing/Licence.h>
#include <Cartolith/Core/Licensing/LicenceDecision.h>
#include <Cartolith/Core/Licensing/LicenceEnvelope.h>
#include <Cartolith/Core/Licensing/LicenceTextInternal.h>

#include <algorithm>
#include <optional>
#include <stdexcept>

namespace Cartolith::Core::Licensing {

namespace {

using Internal::timeText;

LicenceVerdict verdictOf(LicenceState state, const QString& reason) {
    LicenceVerdict verdict;
    verdict.state = state;
    verdict.reason = reason;
    return verdict;
}

bool isTrusted(const LicenceEnvelope& envelope, const LicenceKeys& keys) {
    const LicenceKey* const key = keys.find(envelope.keyId());
    return key != nullptr && !keys.revoked.contains(key->id) && envelope.isSignedBy(key->publicKey);
}

/// When the text takes the licence back, the time it was issued. Checks the signature, which is what costs,
/// only of what is about this licence.
std::optional<qint64> revokedOn(const Licence& licence, const QByteArray& text, const LicenceKeys& keys) {
    try {
        const LicenceEnvelope envelope = LicenceEnvelope::fromJson(text);
        if (envelope.document() != LicenceDocument::Revocation) {
            return std::nullopt;
        }
        const LicenceRevocation revocation = LicenceRevocation::fromPayload(envelope.payload());
        if (revocation.id == licence.id && revocation.serial > licence.serial && isTrusted(envelope, keys)) {
            return revocation.issued;
        }
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
    return std::nullopt;
}

/// What the dates say of a licence that is otherwise right.
LicenceVerdict verdictByTime(const Licence& licence, const LicenceCircumstances& circumstances) {
    const qint64 time = std::max(circumstances.now, circumstances.highestSignedTime);
    const qint64 expires = licence.expires.value_or(LicenceVerdict::never);
    const qint64 graceEnd =
        licence.refreshBy ? *licence.refreshBy + LicenceDecision::graceSeconds : LicenceVerdict::never;
    const qint64 end = std::min(expires, graceEnd);
    if (time < licence.notBefore) {
        LicenceVerdict verdict =
            verdictOf(LicenceState::NotYetValid,
                      QStringLiteral("The licence begins on %1.").arg(timeText(licence.notBefore)));
        verdict.until = licence.notBefore;
        return verdict;
    }
    if (time >= end) {
        LicenceVerdict verdict =
            verdictOf(LicenceState::Expired,
                      time >= expires
                          ? QStringLiteral("The licence expired on %1. Renew it and install the new one.")
                                .arg(timeText(expires))
                          : QStringLiteral(
                                "The licence had to be refreshed by %1, and the grace has ended. Refresh it.")
                                .arg(timeText(*licence.refreshBy)));
        verdict.since = std::max(end, licence.notBefore);
        return verdict;
    }
    const bool isGrace = licence.refreshBy && time >= *licence.refreshBy;
    LicenceVerdict verdict =
        isGrace ? verdictOf(LicenceState::Grace,
                            QStringLiteral("The licence had to be refreshed by %1. Refresh it before %2.")
                                .arg(timeText(*licence.refreshBy), timeText(end)))
                : verdictOf(LicenceState::Valid,
                            licence.refreshBy && *licence.refreshBy < expires
                                ? QStringLiteral("The licence is valid. Refresh it before %1.")
                                      .arg(timeText(*licence.refreshBy))
                            : licence.expires
                                ? QStringLiteral("The licence is valid until %1.").arg(timeText(expires))
                                : QStringLiteral("The licence is valid and does not expire."));
    verdict.features = licence.features;
    verdict.since = licence.notBefore;
    verdict.until = end;
    verdict.refreshBy = licence.refreshBy.value_or(LicenceVerdict::never);
    return verdict;
}

LicenceVerdict verdictOfLicence(const Licence& licence, const LicenceCircumstances& circumstances) {
    for (const QByteArray& text : circumstances.revocations) {
        if (const auto issued = revokedOn(licence, text, circumstances.keys)) {
            return verdictOf(LicenceState::Revoked,
                             QStringLiteral("The licence was revoked on %1.").arg(timeText(*issued)));
        }
    }
    if (!licence.machine.isEmpty() && licence.machine != circumstances.machine) {
        return verdictOf(
            LicenceState::WrongMachine,
            circumstances.machine.isEmpty()
                ? QStringLiteral(
                      "The licence is bound to a machine, and this one has no id in /etc/machine-id.")
                : QStringLiteral("The licence was issued for another machine. Deactivate it there and "
                                 "activate it here."));
    }
    return verdictByTime(licence, circumstances);
}

LicenceVerdict verdictOfText(const QByteArray& text, const LicenceCircumstances& circumstances) {
    const LicenceEnvelope envelope = LicenceEnvelope::fromJson(text);
    if (envelope.document() != LicenceDocument::Licence) {
        return verdictOf(LicenceState::Malformed, QStringLiteral("The text is a revocation, not a licence."));
    }
    const LicenceKey* const key = circumstances.keys.find(envelope.keyId());
    if (circumstances.keys.revoked.contains(envelope.keyId())) {
        return verdictOf(
            LicenceState::Revoked,
            QStringLiteral("The key that signed the licence was withdrawn. Refresh the licence."));
    }
    if (key == nullptr) {
        return verdictOf(
            LicenceState::Untrusted,
            QStringLiteral("The licence is signed by a key that this program does not know. A newer "
                           "version of the program may know it."));
    }
    if (!envelope.isSignedBy(key->publicKey)) {
        return verdictOf(LicenceState::Untrusted,
                         QStringLiteral("The licence was changed after it was signed. Install it anew."));
    }
    const Licence licence = Licence::fromPayload(envelope.payload());
    LicenceVerdict verdict = verdictOfLicence(licence, circumstances);
    verdict.id = licence.id;
    verdict.holder = licence.holder;
    verdict.serial = licence.serial;
    return verdict;
}

} // namespace

LicenceVerdict LicenceDecision::decide(const QByteArray& licence, const LicenceCircumstances& circumstances) {
    constexpr qint64 day = 86'400;
    LicenceVerdict verdict;
    if (licence.isEmpty()) {
        verdict.reason = QStringLiteral("No licence is installed.");
        return verdict;
    }
    try {
        verdict = verdictOfText(licence, circumstances);
    } catch (const std::runtime_error& error) {
        verdict =
            verdictOf(LicenceState::Malformed,
                      QStringLiteral("The licence cannot be read. %1").arg(QString::fromUtf8(error.what())));
    }
    verdict.isClockBehind = circumstances.now < circumstances.highestSignedTime - day;
    return verdict;
}

qint64 LicenceDecision::signedTime(const QByteArray& text, const LicenceKeys& keys) {
    try {
        const LicenceEnvelope envelope = LicenceEnvelope::fromJson(text);
        if (!isTrusted(envelope, keys)) {
            return 0;
        }
        return envelope.document() == LicenceDocument::Licence
                   ? Licence::fromPayload(envelope.payload()).issued
                   : LicenceRevocation::fromPayload(envelope.payload()).issued;
    } catch (const std::runtime_error&) {
        return 0;
    }
}

} // namespace Cartolith::Core::Licensing
