#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <optional>
#include <stdexcept>

namespace Cartolith::Core::Licensing::Internal {

/// The largest licence, answer or revocation that is read.
inline constexpr qsizetype mostBytes = qsizetype{64} * 1024;

/// \throws std::runtime_error with this message
[[noreturn]] void fail(const QString& message);

/// What could not be stored, though it is right.
struct StorageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A text from outside for a message: no control characters, which would steer the reader's terminal.
QString printable(QString text);

/// A JSON object in at most mostBytes of UTF-8 in which no object names a member twice. Two programs that
/// take different ones of two members would read different licences. \throws std::runtime_error
QJsonObject strictObject(const QByteArray& text);

/// The member, which must be a text. \throws std::runtime_error
QString requiredText(const QJsonObject& object, const QString& member);

/// The bytes that a member holds in the one Base64 spelling that an encoder writes. \throws
/// std::runtime_error
QByteArray requiredBytes(const QJsonObject& object, const QString& member);

/// A whole number from 0 to 2^53 - 1, beyond which JSON readers round. \throws std::runtime_error
qint64 requiredCount(const QJsonObject& object, const QString& member);

/// Seconds since 1970 of "2026-11-21T09:30:00Z": UTC, whole seconds, the years 1970 to 9999. None for any
/// other spelling.
std::optional<qint64> parseTime(const QString& text);

/// The inverse of parseTime(); the last second of the year 9999 for all that is later.
QString timeText(qint64 seconds);

} // namespace Cartolith::Core::Licensing::Internal
