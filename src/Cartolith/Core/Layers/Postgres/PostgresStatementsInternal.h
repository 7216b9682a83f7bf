#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresAskedInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresSessionInternal.h>
#include <Cartolith/Core/Shapes/GisShape.h>

#include <QByteArray>

#include <map>
#include <optional>

namespace Cartolith::Core::Layers::Internal {

/// What a row is in SQL, as it is changed, comes anew or comes back. What it is to hold then goes into
/// PostgresAsked. \throws std::runtime_error for a value or geometry that cannot be saved
class PostgresStatements {
public:
    PostgresStatements(PostgresSession& session, const OgrEdits& edits, const OgrManner& manner,
                       PostgresAsked& asked)
        : m_session(session), m_edits(edits), m_manner(manner), m_asked(asked), m_table(session.table()),
          m_layer(session.layer()) {}

    /// Empty for nothing to send. Columns that are generated are not named, but what they come to is compared
    /// with what the layer has.
    QByteArray updating(qint64 id, OGRFeature& feature, const Shapes::GisShape& shape,
                        const OgrChange& change);
    /// Under the id that it had.
    QByteArray insertion(qint64 id, const Shapes::GisShape& shape);

    /// What is in the columns of a new row. What is left out gets the source's default; of a row that comes
    /// back under its id nothing is, but what is generated.
    struct Row {
        std::map<int, QByteArray> values = {}; ///< that it is to have
        bool isPlaced = false;                 ///< whether it is to have the geometry
        Common::Internal::GeometryPtr geometry = {};
        QByteArray columns = {};
        QByteArray sql = {};
    };
    Row rowOf(const Shapes::GisShape& shape, std::optional<qint64> id = std::nullopt);
    /// What the source is to hold then, which is compared.
    void ask(qint64 id, Row& row);

private:
    QByteArray valueOf(OGRFeature& feature, int column, const Shapes::GisShape& shape) const;
    /// Whether a shape still has what was read of a field.
    bool isAsRead(qint64 id, int column, const Shapes::GisShape& shape) const;
    bool isWhereRead(qint64 id, const Shapes::GisShape& shape) const;

    PostgresSession& m_session;
    const OgrEdits& m_edits;
    const OgrManner& m_manner;
    PostgresAsked& m_asked;
    PostgresTable& m_table;
    OGRLayer& m_layer;
};

} // namespace Cartolith::Core::Layers::Internal
