#include "LicenceSigner.h"

#include <memory>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <stdexcept>

using Cartolith::Core::Licensing::LicenceDocument;
using Cartolith::Core::Licensing::LicenceEnvelope;

namespace {

constexpr qsizetype signatureSize = 64;

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;

unsigned char* bytes(QByteArray& array) {
    return reinterpret_cast<unsigned char*>(array.data());
}

Key keyOf(const QByteArray& privateKey) {
    Key key(EVP_PKEY_new_raw_private_key(EVP_PKEY_ED25519, nullptr,
                                         reinterpret_cast<const unsigned char*>(privateKey.constData()),
                                         static_cast<std::size_t>(privateKey.size())),
            EVP_PKEY_free);
    if (privateKey.size() != LicenceSigner::keySize || key == nullptr) {
        throw std::runtime_error("This is no private key.");
    }
    return key;
}

} // namespace

LicenceSigner LicenceSigner::makeKey(const QString& keyId) {
    QByteArray secret(LicenceSigner::keySize, '\0');
    if (RAND_priv_bytes(bytes(secret), static_cast<int>(secret.size())) != 1) {
        throw std::runtime_error("No random numbers can be had for a key.");
    }
    return {keyId, secret};
}

LicenceSigner::LicenceSigner(const QString& keyId, const QByteArray& privateKey)
    : m_keyId(keyId), m_privateKey(privateKey) {
    keyOf(privateKey);
}

QByteArray LicenceSigner::publicKey() const {
    QByteArray result(LicenceSigner::keySize, '\0');
    std::size_t size = LicenceSigner::keySize;
    if (EVP_PKEY_get_raw_public_key(keyOf(m_privateKey).get(), bytes(result), &size) != 1) {
        throw std::runtime_error("The key has no public half.");
    }
    return result;
}

LicenceEnvelope LicenceSigner::sign(LicenceDocument document, const QByteArray& payload) const {
    const QByteArray message = LicenceEnvelope(document, m_keyId, payload, {}).signedBytes();
    const Key key = keyOf(m_privateKey);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    QByteArray signature(signatureSize, '\0');
    std::size_t size = signatureSize;
    if (context == nullptr || EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, key.get()) != 1 ||
        EVP_DigestSign(context.get(), bytes(signature), &size,
                       reinterpret_cast<const unsigned char*>(message.constData()),
                       static_cast<std::size_t>(message.size())) != 1) {
        throw std::runtime_error("The text could not be signed.");
    }
    return {document, m_keyId, payload, signature};
}
