#pragma once

#include "LicenceSigner.h"

#include <Cartolith/Core/Licensing/LicenceKeys.h>

#include <QByteArray>
#include <QString>

/// The files of a product owner. All throw std::runtime_error with the path and the reason.
namespace KeyFiles {

/// At most 64 KiB, and not empty.
QByteArray readText(const QString& path);
/// The file appears when it is complete.
void write(const QString& path, const QByteArray& text);
/// A new file that nobody but its owner could ever open. Never replaces one.
void writeSecret(const QString& path, const QByteArray& text);

/// Whether a key may be called so in the list that a build takes.
bool isKeyId(const QString& id);
/// A line "ID BASE64", as make-keys writes it.
LicenceSigner readSigner(const QString& path);
/// Such lines, "ID revoked" for a key that was withdrawn, and comments that begin with #.
Cartolith::Core::Licensing::LicenceKeys readKeys(const QString& path);

} // namespace KeyFiles
