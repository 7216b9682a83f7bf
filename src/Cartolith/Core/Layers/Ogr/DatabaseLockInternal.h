#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>

#include <QByteArray>
#include <QString>

#include <chrono>

namespace Cartolith::Core::Layers::Internal {

/// Keeps every program from writing to a database of SQLite while it lives, as a transaction does; they go on
/// reading. What a killed process left of one is rolled back before.
class DatabaseLock {
public:
    /// Waits until then.
    DatabaseLock(const QString& path, std::chrono::steady_clock::time_point deadline);
    ~DatabaseLock();
    DatabaseLock(const DatabaseLock&) = delete;
    DatabaseLock& operator=(const DatabaseLock&) = delete;

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
    QByteArray firstTable() const;

    Common::Internal::DatasetPtr m_dataset;
    bool m_isTaken = false;
    QString m_reason;
};

} // namespace Cartolith::Core::Layers::Internal
