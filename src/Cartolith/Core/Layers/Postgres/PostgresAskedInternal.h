#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresSessionInternal.h>
#include <Cartolith/Core/Shapes/GisShape.h>

#include <QByteArray>

#include <map>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// What the rows of a batch are to hold once its statements are sent, and whether they do: types, domains and
/// triggers may have made something else of it.
class PostgresAsked {
public:
    using Ids = PostgresSession::Ids;
    using Rows = PostgresSession::Rows;

    explicit PostgresAsked(PostgresSession& session)
        : m_session(session), m_table(session.table()), m_layer(session.layer()) {}

    void ask(qint64 id, int column, const QByteArray& value);
    /// Null is one: no geometry.
    void askPlace(qint64 id, Common::Internal::GeometryPtr geometry);

    /// \throws std::runtime_error that names a value that is held instead of what was asked
    void requireValues();
    /// The same of geometries, with the rows as they are since, and then forgets these.
    void requirePlaces(const Rows& after);
    /// What the source has since is told from what others put there, whatever type the value was given in.
    void noteHeld(OGRFeature& feature, const Shapes::GisShape& shape);
    /// Puts what was asked, and what the source holds of it beyond the attributes, into `saved`, and forgets
    /// the batch.
    void keepTexts(const Ids& ids, OgrSavedIds& saved);

private:
    struct Asked {
        qint64 id;
        QByteArray value;
    };

    PostgresSession& m_session;
    PostgresTable& m_table;
    OGRLayer& m_layer;
    std::map<int, std::vector<Asked>> m_asked; ///< by column
    std::map<qint64, Common::Internal::GeometryPtr> m_places;
    ExactTexts m_otherwise; ///< places where the layer has the value in another type
};

} // namespace Cartolith::Core::Layers::Internal
