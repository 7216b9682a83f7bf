#include <Cartolith/Core/Licensing/LicenceBuildInternal.h>
#include <Cartolith/Core/Licensing/LicenceEnvelope.h>
#include <Cartolith/Core/Licensing/LicenceTextInternal.h>

#include <QJsonDocument>

#include <memory>

#ifdef CARTOLITH_WITH_LICENSING
#include <openssl/err.h>
#include <openssl/evp.h>
#endif

namespace Cartolith::Core::Licensing {

namespace {

QString formatOf(LicenceDocument document) {
    return document == LicenceDocument::Licence ? QStringLiteral("cartolith-licence-1")
                                                : QStringLiteral("cartolith-revocation-1");
}

#ifdef CARTOLITH_WITH_LICENSING
/// A refused signature leaves errors behind, which a host that uses OpenSSL itself would take for its own.
class ErrorsLeftAsTheyWere {
public:
    ErrorsLeftAsTheyWere() { ERR_set_mark(); }
    ~ErrorsLeftAsTheyWere() { ERR_pop_to_mark(); }
    ErrorsLeftAsTheyWere(const ErrorsLeftAsTheyWere&) = delete;
    ErrorsLeftAsTheyWere& operator=(const ErrorsLeftAsTheyWere&) = delete;
};
#endif

} // namespace

LicenceEnvelope::LicenceEnvelope(LicenceDocument document, const QString& keyId, const QByteArray& payload,
                                 const QByteArray& signature)
    : m_document(document), m_keyId(keyId), m_payload(payload), m_signature(signature) {}

LicenceEnvelope LicenceEnvelope::fromJson(const QByteArray& text) {
    const QJsonObject object = Internal::strictObject(text);
    const QString format = Internal::requiredText(object, QStringLiteral("format"));
    for (const LicenceDocument document : {LicenceDocument::Licence, LicenceDocument::Revocation}) {
        if (format == formatOf(document)) {
            return {document, Internal::requiredText(object, QStringLiteral("keyId")),
                    Internal::requiredBytes(object, QStringLiteral("payload")),
                    Internal::requiredBytes(object, QStringLiteral("signature"))};
        }
    }
    constexpr qsizetype longestQuote = 60;
    Internal::fail(
        QStringLiteral("The format '%1' is not known.").arg(Internal::printable(format.left(longestQuote))));
}

QByteArray LicenceEnvelope::toJson() const {
    return QJsonDocument(
               QJsonObject{{QStringLiteral("format"), formatOf(m_document)},
                           {QStringLiteral("keyId"), m_keyId},
                           {QStringLiteral("payload"), QString::fromLatin1(m_payload.toBase64())},
                           {QStringLiteral("signature"), QString::fromLatin1(m_signature.toBase64())}})
        .toJson();
}

QByteArray LicenceEnvelope::signedBytes() const {
    return formatOf(m_document).toUtf8() + '\n' + m_payload;
}

bool LicenceEnvelope::isSignedBy([[maybe_unused]] const QByteArray& publicKey) const {
#ifdef CARTOLITH_WITH_LICENSING
    constexpr qsizetype keySize = 32;
    constexpr qsizetype signatureSize = 64;
    if (publicKey.size() != keySize || m_signature.size() != signatureSize) {
        return false;
    }
    const auto bytes = [](const QByteArray& array) {
        return reinterpret_cast<const unsigned char*>(array.constData());
    };
    const auto size = [](const QByteArray& array) { return static_cast<std::size_t>(array.size()); };
    const ErrorsLeftAsTheyWere errors;
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(
        EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, bytes(publicKey), size(publicKey)),
        EVP_PKEY_free);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    if (key == nullptr || context == nullptr) {
        return false;
    }
    const QByteArray message = signedBytes();
    return EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, key.get()) == 1 &&
           EVP_DigestVerify(context.get(), bytes(m_signature), size(m_signature), bytes(message),
                            size(message)) == 1;
#else
    return false;
#endif
}

} // namespace Cartolith::Core::Licensing
