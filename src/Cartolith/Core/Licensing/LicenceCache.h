#pragma once

#include <Cartolith/Core/Export.h>

#include <QByteArray>
#include <QList>
#include <QString>

namespace Cartolith::Core::Licensing {

/// The folder in which a user's licence lies, shared by all programs that use this library: signed envelopes
/// and nothing else, readable by the user only. `licence.json` is the licence; `revocation-....json`, a file
/// for each licence that was taken back; `latest.json`, whatever was stored with the latest signed time.
///
/// Files are written aside and renamed, so that a reader beside a writer reads the old or the new text. What
/// cannot be read is as if it were not there.
class CARTOLITH_CORE_EXPORT LicenceCache {
public:
    /// The folder need not exist. Without a name there is nothing, and nothing can be stored.
    explicit LicenceCache(const QString& folder);
    /// The user's: "cartolith" in QStandardPaths::GenericDataLocation.
    static QString defaultFolder();

    /// Empty when there is none, or it cannot be read.
    QByteArray licence() const;
    /// Of the licence with this id; empty likewise.
    QByteArray revocation(const QString& id) const;
    /// Those of all licences, the 64 that were stored last.
    QList<QByteArray> revocations() const;
    /// What was given to storeLatest(); empty likewise.
    QByteArray latest() const;

    /// \throws std::runtime_error with the path and the reason; what was there stays
    void storeLicence(const QByteArray& text) const;
    void storeRevocation(const QString& id, const QByteArray& text) const;
    void storeLatest(const QByteArray& text) const;
    void removeLicence() const;

    QString licencePath() const;

    /// A regular file of at most 64 KiB; empty for any other, and when it cannot be read. Never waits for a
    /// pipe or a device.
    static QByteArray readText(const QString& path);

private:
    QString pathOf(const QString& name) const;
    QString revocationPath(const QString& id) const;
    QString latestPath() const;
    void store(const QString& path, const QByteArray& text) const;

    QString m_folder;
};

} // namespace Cartolith::Core::Licensing
