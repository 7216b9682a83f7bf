#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Licensing/LicenceKeys.h>
#include <Cartolith/Core/Licensing/LicenceVerdict.h>

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <mutex>

namespace Cartolith::Core::Licensing {

struct LicenceCircumstances;

/// Where a LicenceManager looks and what it goes by. The defaults are those of the process; tests and hosts
/// with needs of their own replace them.
struct CARTOLITH_CORE_EXPORT LicenceSettings {
    LicenceSettings();

    LicenceKeys keys;    ///< the built-in ones
    QString cacheFolder; ///< LicenceCache::defaultFolder(); empty: there is no cache
    QString systemFile;  ///< "/etc/cartolith/licence.json"; may be empty
    QStringList drivers; ///< licensedRasterDrivers()
    std::function<QByteArray(const char* name)> environment; ///< qgetenv()
    std::function<qint64()> clock;                           ///< seconds since 1970
    std::function<QByteArray()> machineId;                   ///< asked only when a licence names a machine
};

/// Finds the licence, and answers what it permits.
///
/// It looks, in this order, at: a text given to use(); the environment variable CARTOLITH_LICENCE (a text);
/// CARTOLITH_LICENCE_FILE (a path); the user's cache; the system's file. The first licence that permits
/// something is taken. When there is none, the verdict is that on the first one found. The others, and why
/// they were not taken, are listed in LicenceVerdict::ignored.
///
/// Nothing is read before the first question or reload(), and again only by reload(), use(), install() and
/// remove(); when time ends a verdict, what was read is decided anew. Nothing is ever sent: that is
/// LicenceService's work. All operations may be called from several threads; the settings' functions are then
/// called from these threads, and must not ask this manager. Who asks does not wait for who reads, but for
/// the first reading.
///
/// In a build without licensing (CMake option CARTOLITH_LICENSING=OFF) everything is permitted.
class CARTOLITH_CORE_EXPORT LicenceManager {
public:
    explicit LicenceManager(LicenceSettings settings = {});
    ~LicenceManager();
    LicenceManager(const LicenceManager&) = delete;
    LicenceManager& operator=(const LicenceManager&) = delete;

    /// The manager that the library asks. Never null.
    static std::shared_ptr<LicenceManager> current();
    /// A null manager restores the default one.
    static void setCurrent(std::shared_ptr<LicenceManager> manager);

    /// Whether the feature is permitted now, as verdict() says. From memory, in well under 100 ns, but for
    /// the first question, which reads the sources, and the first one after a verdict has ended.
    bool isPermitted(const QString& feature) const;
    /// The same for a raster driver of GDAL; true for those that need no licence.
    bool isDriverPermitted(const QString& driver) const;
    /// As of the last reading, with the state that it has now.
    LicenceVerdict verdict() const;

    /// Reads the sources anew.
    LicenceVerdict reload();
    /// Takes this text first from now on; an empty text takes that back. Nothing is stored.
    LicenceVerdict use(const QByteArray& licence);

    /// Stores a licence, or a revocation, in the user's cache, when a trusted key signed it, and reads the
    /// sources anew. What is stored may be for another time: a licence that begins later is stored. Several
    /// processes may do this at once.
    /// \throws std::runtime_error when the text is malformed or not signed by a trusted key, when a licence
    /// of the same id with a higher serial is stored already, and when the text cannot be written; everything
    /// is then as before
    LicenceVerdict install(const QByteArray& text);
    /// Removes the licence from the user's cache. \throws std::runtime_error when it cannot be removed
    LicenceVerdict remove();

    /// The text of the licence that the verdict is about; empty when there is none.
    QByteArray licenceText() const;
    const LicenceSettings& settings() const noexcept { return m_settings; }

private:
    struct State;
    using StatePointer = std::shared_ptr<const State>;

    StatePointer state() const;
    StatePointer stateAt(qint64 now) const;
    StatePointer read() const;
    LicenceVerdict readAnew();
    void store(const QByteArray& text) const;

    LicenceSettings m_settings;
    mutable std::mutex m_reading; ///< held while the sources are read; taken before m_mutex
    mutable std::mutex m_mutex;   ///< guards the two below
    mutable StatePointer m_state; // null before the first question
    QByteArray m_given;
};

} // namespace Cartolith::Core::Licensing
