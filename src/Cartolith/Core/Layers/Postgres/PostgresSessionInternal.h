#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTableInternal.h>

#include <map>
#include <optional>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// Null, with GDAL's error, where it cannot be opened.
Common::Internal::DatasetPtr openPostgres(const QString& path, unsigned access);

/// The transaction in which edits go into a table. Every failure but execute()'s is a std::runtime_error
/// "Cannot write '...': ...".
class PostgresSession {
public:
    using Ids = std::vector<qint64>;
    using Rows = std::map<qint64, Common::Internal::FeaturePtr>;

    /// Begins it; the table has the fields, the coordinate system and the key that it was read with.
    explicit PostgresSession(const OgrEditTarget& target);
    /// Nothing is changed unless commit() was called.
    ~PostgresSession();
    PostgresSession(const PostgresSession&) = delete;
    PostgresSession& operator=(const PostgresSession&) = delete;

    const OgrEditTarget& target() const { return m_target; }
    OGRLayer& layer() { return *m_layer; }
    PostgresTable& table() { return *m_table; }
    QString nameOf(int column) const;

    /// \throws std::runtime_error with the server's reason alone
    SqlRows execute(const QByteArray& sql);
    SqlRows run(const QByteArray& sql);
    QByteArray whereIn(const Ids& ids) const;
    /// Those that there are.
    Rows read(const Ids& ids);
    /// In the order of their ids, so that two layers never wait for each other.
    Rows lockAndRead(const Ids& ids);
    ExactTexts exactTexts(const Ids& ids, const ExactTexts& known) const;
    void commit();

private:
    void requireSystemOf(const Ids& ids);
    [[noreturn]] void fail(const QString& what) const;

    const OgrEditTarget& m_target;
    Common::Internal::GdalErrorCapture m_errors;
    Common::Internal::DatasetPtr m_dataset;
    OGRLayer* m_layer = nullptr;
    std::optional<PostgresTable> m_table;
    bool m_isOpen = false;
};

} // namespace Cartolith::Core::Layers::Internal
