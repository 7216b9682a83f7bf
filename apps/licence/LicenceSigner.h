#pragma once

#include <Cartolith/Core/Licensing/LicenceEnvelope.h>

#include <QByteArray>
#include <QString>

/// A private key of a product owner, and what it signs.
class LicenceSigner {
public:
    /// Of an Ed25519 key, public or private, in bytes.
    static constexpr qsizetype keySize = 32;

    /// A new key. \throws std::runtime_error when OpenSSL makes none
    static LicenceSigner makeKey(const QString& keyId);
    /// From the bytes of privateKey(). \throws std::runtime_error for anything else
    LicenceSigner(const QString& keyId, const QByteArray& privateKey);

    const QString& keyId() const { return m_keyId; }
    const QByteArray& privateKey() const { return m_privateKey; }
    QByteArray publicKey() const;

    /// The signed envelope.
    Cartolith::Core::Licensing::LicenceEnvelope sign(Cartolith::Core::Licensing::LicenceDocument document,
                                                     const QByteArray& payload) const;

private:
    QString m_keyId;
    QByteArray m_privateKey;
};
