#pragma once

#include <Cartolith/Core/Export.h>

#include <QByteArray>
#include <QString>

namespace Cartolith::Core::Licensing {

/// The folder in which a user's licence lies, shared by all programs that use this library: `licence.json`
/// and `revocation.json`, signed envelopes and nothing else, readable by the user only.
///
/// Files are written aside and renamed, so that a reader beside a writer reads the old or the new text. What
/// cannot be read is as if it were not there.
class CARTOLITH_CORE_EXPORT LicenceCache {
public:
    /// The folder need not exist.
    explicit LicenceCache(const QString& folder);
    /// The user's: "cartolith" in QStandardPaths::GenericDataLocation.
    static QString defaultFolder();

    /// Empty when there is none, or it cannot be read.
    QByteArray licence() const;
    QByteArray revocation() const;

    /// \throws std::runtime_error with the path and the reason; what was there stays
    void storeLicence(const QByteArray& text) const;
    void storeRevocation(const QByteArray& text) const;
    void removeLicence() const;

    QString licencePath() const;

    /// A regular file of at most 64 KiB; empty for any other, and when it cannot be read.
    static QByteArray readText(const QString& path);

private:
    void store(const QString& path, const QByteArray& text) const;

    QString m_folder;
};

} // namespace Cartolith::Core::Licensing
