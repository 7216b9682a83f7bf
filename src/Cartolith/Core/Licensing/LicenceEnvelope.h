#pragma once

#include <Cartolith/Core/Export.h>

#include <QByteArray>
#include <QString>

namespace Cartolith::Core::Licensing {

/// What a signed envelope holds.
enum class LicenceDocument {
    Licence,    ///< format "cartolith-licence-1"
    Revocation, ///< format "cartolith-revocation-1"
};

/// A signed text as it lies in a file or comes from the service: a JSON object with the members `format`,
/// `keyId`, `payload` (Base64 of the exact bytes that were signed) and `signature` (Base64 of 64 bytes).
///
/// The signature is Ed25519 (RFC 8032) over the format's name, a line feed and the payload's bytes, so that a
/// signed licence cannot be passed off as a revocation. There is no choice of algorithms, and no JSON is
/// brought into a canonical form. A value; safe to use from several threads as copies.
class CARTOLITH_CORE_EXPORT LicenceEnvelope {
public:
    /// The parts as they are.
    LicenceEnvelope(LicenceDocument document, const QString& keyId, const QByteArray& payload,
                    const QByteArray& signature);

    /// Reads the text; nothing is said yet about whether the signature is right.
    /// \throws std::runtime_error for text of more than 64 KiB, text that is not such an object, a member
    /// that is there twice, Base64 in any other spelling than an encoder's, and an unknown format
    static LicenceEnvelope fromJson(const QByteArray& text);
    /// Indented UTF-8 with a line feed at the end.
    QByteArray toJson() const;

    LicenceDocument document() const noexcept { return m_document; }
    const QString& keyId() const noexcept { return m_keyId; }
    const QByteArray& payload() const noexcept { return m_payload; }
    const QByteArray& signature() const noexcept { return m_signature; }

    /// The bytes that the signature is over.
    QByteArray signedBytes() const;
    /// Whether the holder of the private half of this key (32 bytes) signed the envelope. False for a key or
    /// a signature of another length, and always in a build without licensing.
    bool isSignedBy(const QByteArray& publicKey) const;

private:
    LicenceDocument m_document;
    QString m_keyId;
    QByteArray m_payload;
    QByteArray m_signature;
};

} // namespace Cartolith::Core::Licensing
