// Licences, revocations, payloads and answers from strangers: what is read and written reads again as the
// same, and nothing that the test key did not sign permits anything.

#include "FuzzSupport.h"

#include <Cartolith/Core/Licensing/Licence.h>
#include <Cartolith/Core/Licensing/LicenceDecision.h>
#include <Cartolith/Core/Licensing/LicenceEnvelope.h>
#include <Cartolith/Core/Licensing/LicenceManager.h>
#include <Cartolith/Core/Licensing/LicenceService.h>

#include <cstdlib>
#include <stdexcept>

using namespace Cartolith::Core::Licensing;

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const QByteArray text = Fuzz::bytes(data, size);
    LicenceCircumstances circumstances;
    circumstances.keys.trusted = {{QStringLiteral("key"), QByteArray(32, 'k')}};
    circumstances.revocations = {text};
    circumstances.now = 1'772'323'200;
    const LicenceVerdict verdict = LicenceDecision::decide(text, circumstances);
    require(verdict.features.isEmpty() && verdict.id.isEmpty() && !verdict.reason.isEmpty());
    require(LicenceDecision::signedTime(text, circumstances.keys) == 0);
    try {
        const LicenceEnvelope envelope = LicenceEnvelope::fromJson(text);
        const LicenceEnvelope again = LicenceEnvelope::fromJson(envelope.toJson());
        require(again.signedBytes() == envelope.signedBytes() && again.signature() == envelope.signature());
    } catch (const std::runtime_error&) {
    }
    try {
        const Licence licence = Licence::fromPayload(text);
        require(Licence::fromPayload(licence.toPayload()) == licence);
    } catch (const std::runtime_error&) {
    }
    try {
        const LicenceRevocation revocation = LicenceRevocation::fromPayload(text);
        require(LicenceRevocation::fromPayload(revocation.toPayload()).serial == revocation.serial);
    } catch (const std::runtime_error&) {
    }
    // As an answer of the service, to a manager that has nothing and keeps nothing.
    LicenceSettings settings;
    settings.keys = circumstances.keys;
    settings.cacheFolder.clear();
    settings.systemFile.clear();
    settings.environment = [](const char*) { return QByteArray(); };
    LicenceManager manager(settings);
    const LicenceOutcome outcome = LicenceService::accept(manager, text);
    require(!outcome.done && !outcome.message.contains(QChar(0x1b)) && outcome.answer.isEmpty());
    require(outcome.verdict.state == LicenceState::Missing);
    return 0;
}
