#include "TestLicences.h"

#include <Cartolith/Core/Licensing/LicenceDecision.h>
#include <Cartolith/Core/Licensing/LicenceEnvelope.h>

#include <QDateTime>
#include <gtest/gtest.h>

#include <openssl/err.h>

using namespace Cartolith::Core::Licensing;

namespace {

qint64 at(const char* time) {
    return QDateTime::fromString(time, Qt::ISODate).toSecsSinceEpoch();
}

LicenceCircumstances circumstancesAt(qint64 now) {
    LicenceCircumstances circumstances;
    circumstances.keys = TestLicences::keys();
    circumstances.now = now;
    return circumstances;
}

const qint64 within = at("2026-03-01T00:00:00Z");

TEST(LicenceDecision, KeysMachinesAndRevocations) {
    const QByteArray text = TestLicences::signedText(TestLicences::licence());
    const auto stateWith = [&](const auto& change) {
        LicenceCircumstances circumstances = circumstancesAt(within);
        change(circumstances);
        return LicenceDecision::decide(text, circumstances).state;
    };
    EXPECT_EQ(stateWith([](auto& c) { c.keys.trusted.clear(); }), LicenceState::Untrusted);
    EXPECT_EQ(stateWith([](auto& c) { c.keys.trusted[0].publicKey[0] ^= 1; }), LicenceState::Untrusted);
    EXPECT_EQ(stateWith([](auto& c) { c.keys.trusted[0].publicKey.chop(1); }), LicenceState::Untrusted);
    EXPECT_EQ(stateWith([](auto& c) { c.keys.revoked.append("test"); }), LicenceState::Revoked);
    EXPECT_EQ(stateWith([](auto& c) { c.keys.trusted.prepend({"old", QByteArray(32, 'x')}); }), LicenceState::Valid);
    for (const auto& [revocation, state] :
         {std::pair(TestLicences::revocationText("L-1", 6), LicenceState::Revoked),
          std::pair(TestLicences::revocationText("L-1", 5), LicenceState::Valid),
          std::pair(TestLicences::revocationText("L-2", 9), LicenceState::Valid),
          std::pair(TestLicences::revocationText("L-1", 6).replace("test", "tset"), LicenceState::Valid),
          std::pair(QByteArray("{"), LicenceState::Valid), std::pair(text, LicenceState::Valid)}) {
        EXPECT_EQ(stateWith([&refused = revocation](auto& c) { c.revocations = {refused}; }), state)
            << revocation.toStdString();
    }
    EXPECT_EQ(LicenceDecision::decide(TestLicences::revocationText("L-1", 6), circumstancesAt(within)).state,
              LicenceState::Malformed);
    EXPECT_EQ(::ERR_peek_error(), 0) << "a host that uses OpenSSL would find it";
}

TEST(LicenceDecision, RefusesWhatIsNoLicence) {
    const QByteArray payload = TestLicences::licence().toPayload();
    const auto signedPayload = [](const QByteArray& bytes) {
        return TestLicences::signer().sign(LicenceDocument::Licence, bytes).toJson();
    };
    const QByteArray text = signedPayload(payload);
    const auto edited = [](QByteArray bytes, const char* from, const char* to) {
        EXPECT_TRUE(bytes.contains(from)) << from;
        return bytes.replace(from, to);
    };
    struct Row {
        QByteArray text;
        LicenceState state;
        const char* reason;
    };
    const Row rows[] = {
        {"", LicenceState::Missing, "No licence"},
        {" ", LicenceState::Malformed, "no JSON"},
        {"[]", LicenceState::Malformed, "no JSON object"},
        {QByteArray(70'000, ' '), LicenceState::Malformed, "longer than 65536"},
        {QByteArray(60'000, '['), LicenceState::Malformed, "no JSON"},
        {edited(text, "licence-1", "licence-2"), LicenceState::Malformed, "format 'cartolith-licence-2'"},
        {edited(text, "licence-1", "revocation-1"), LicenceState::Malformed, "a revocation"},
        {edited(text, "\"keyId\"", "\"keyid\""), LicenceState::Malformed, "keyId"},
        {edited(text, "\"payload\": \"", "\"payload\": \" "), LicenceState::Malformed, "Base64"},
        {edited(text, "==\"\n", "\"\n"), LicenceState::Malformed, "Base64"},
        {edited(text, "{", "{\"format\": \"x\","), LicenceState::Malformed, "twice"},
        {edited(text, "{", "{\"\\u0066ormat\": \"x\","), LicenceState::Malformed, "twice"},
        {edited(text, "{", "{\"unknown\": [{\"a\": 1}, {\"a\": 1}],"), LicenceState::Valid,
         "is valid. Refresh it before 2026-06-01T00:00:00Z"},
        {signedPayload(edited(payload, "{", "{\"unknown\": 1,")), LicenceState::Valid,
         "is valid. Refresh it before 2026-06-01T00:00:00Z"},
        {signedPayload(edited(payload, "\"cartolith\"", "\"other\"")), LicenceState::Malformed, "another product"},
        {signedPayload(edited(payload, "{", "{\"serial\": 6,")), LicenceState::Malformed, "twice"},
        {signedPayload(edited(payload, ": 5", ": 9007199254740992")), LicenceState::Malformed, "serial"},
        {signedPayload(edited(payload, ": 5", ": 9007199254740991")), LicenceState::Valid, "valid"},
        {signedPayload(edited(payload, ": 5", ": -1")), LicenceState::Malformed, "serial"},
        {signedPayload(edited(payload, ": 5", ": 5.5")), LicenceState::Malformed, "serial"},
        {signedPayload(edited(payload, ": 5", ": \"5\"")), LicenceState::Malformed, "serial"},
        {signedPayload(edited(payload, "2027-01-01T00:00:00Z", "2027-01-01")), LicenceState::Malformed, "expires"},
        {signedPayload(edited(payload, "2027-01-01T00:00:00Z", "2027-02-29T00:00:00Z")), LicenceState::Malformed,
         "expires"},
        {signedPayload(edited(payload, "2027-01-01T00:00:00Z", "Never")), LicenceState::Malformed, "expires"},
        {signedPayload(edited(payload, "\"raster.ECW\"", "7")), LicenceState::Malformed, "features"},
        {signedPayload("{}"), LicenceState::Malformed, "product"},
        {signedPayload(""), LicenceState::Malformed, "no JSON"},
    };
    for (const Row& row : rows) {
        const LicenceVerdict verdict = LicenceDecision::decide(row.text, circumstancesAt(within));
        EXPECT_EQ(verdict.state, row.state) << row.text.left(200).toStdString();
        EXPECT_TRUE(verdict.reason.contains(row.reason)) << qPrintable(verdict.reason) << ", not " << row.reason;
    }
}

TEST(LicenceDecision, AChangedByteNeverPermitsMore) {
    const QByteArray text = TestLicences::signedText(TestLicences::licence());
    const QStringList features = TestLicences::licence().features;
    int stillValid = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        for (const int bit : {1, 2, 32, 128}) {
            QByteArray changed = text;
            changed[i] = static_cast<char>(changed[i] ^ bit);
            const LicenceVerdict verdict = LicenceDecision::decide(changed, circumstancesAt(within));
            if (verdict.state == LicenceState::Valid) {
                EXPECT_EQ(verdict.features, features) << i;
                ++stillValid; // white space
            } else {
                EXPECT_TRUE(verdict.features.isEmpty()) << i;
            }
        }
    }
    EXPECT_LT(stillValid, text.size() / 10);
}

TEST(LicenceDecision, SignaturesOfOneKindDoNotServeForTheOther) {
    const LicenceEnvelope revocation = LicenceEnvelope::fromJson(TestLicences::revocationText("L-1", 6));
    const LicenceEnvelope passedOff(LicenceDocument::Licence, revocation.keyId(), revocation.payload(),
                                    revocation.signature());
    EXPECT_TRUE(revocation.isSignedBy(TestLicences::signer().publicKey()));
    EXPECT_FALSE(passedOff.isSignedBy(TestLicences::signer().publicKey()));
    EXPECT_EQ(LicenceDecision::signedTime(passedOff.toJson(), TestLicences::keys()), 0);
    EXPECT_EQ(Licence::fromPayload(TestLicences::licence().toPayload()), TestLicences::licence());
}

} // namespace
