#pragma once

#include <QByteArray>
#include <QString>
#include <ogrsf_frmts.h>

namespace Cartolith::Core::Layers::Internal {

/// What keeps a server's table that stays open from being read as it no longer is: GDAL goes on with the
/// columns that it found first, so that a number that has become a text would be 0, and coordinates would be
/// those of another system.
class ServerGuard {
public:
    /// Looks at the layer's table as it is now. \throws std::runtime_error with the server's reason
    ServerGuard(GDALDataset& source, OGRLayer& layer);

    /// In SQL, to be joined to whatever rows are wanted by: true, or an error of the server as soon as a row
    /// is looked for in a table that is not the same or has lost or changed a column.
    const QByteArray& condition() const { return m_condition; }
    /// Whether extents would be compared on the globe, where edges and boxes are others.
    bool isGeography() const { return m_isGeography; }

    /// Such an error in plain words; any other as it is.
    static QString plainReason(const QString& reason);

private:
    QByteArray m_condition;
    bool m_isGeography = false;
};

} // namespace Cartolith::Core::Layers::Internal
