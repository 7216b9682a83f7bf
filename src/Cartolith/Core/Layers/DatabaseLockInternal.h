#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>

#include <QString>

#include <chrono>

namespace Cartolith::Core::Layers::Internal {

/// A lock on a database of SQLite, as SQLite has it: for every program. What a killed process left of a
/// transaction is rolled back before.
class DatabaseLock {
public:
    enum class Kind {
        Writing, ///< others go on reading
        All,
    };

    /// Waits until then.
    DatabaseLock(const QString& path, Kind kind, std::chrono::steady_clock::time_point deadline);

    bool isTaken() const { return m_isTaken; }
    /// Not, for instance, when it cannot be read as a database.
    bool isHeldByOthers() const;
    /// Why it is not taken.
    const QString& reason() const { return m_reason; }

    /// By its first bytes.
    static bool isDatabase(const QString& path);
    /// The name of a file beside a database that says that it is open in some process, or was when that was
    /// killed; empty when there is none. Whoever takes the database away would leave that to the next one.
    static QString logInUse(const QString& path);

private:
    Common::Internal::DatasetPtr m_dataset; ///< which, closed, gives the lock back
    bool m_isTaken = false;
    QString m_reason;
};

} // namespace Cartolith::Core::Layers::Internal
