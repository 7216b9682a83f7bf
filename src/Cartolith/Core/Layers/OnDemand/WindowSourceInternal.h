#pragma once

#include <Cartolith/Core/Layers/Files/SourceStateInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrContentInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrSnapshotInternal.h>
#include <Cartolith/Core/Layers/Postgres/ServerGuardInternal.h>
#include <Cartolith/Core/Layers/Postgres/ServerSelectionInternal.h>
#include <Cartolith/Core/Shapes/GisExtent.h>

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// A data source that stays open, from which features are read by extent and by id.
///
/// Errors are std::runtime_error that name the source; it can be asked again after one. All but interrupt()
/// belongs to one thread.
class WindowSource {
public:
    WindowSource(const QString& path, const QString& layerName, std::chrono::milliseconds wait);

    QString driverName() const { return m_driverName; }
    QString layerName() const { return m_layerName; }
    QStringList layerNames() { return m_snapshot.source().layerNames(); }
    OGRLayer& layer() { return m_snapshot.layer(); }
    const SourceState& state() const { return m_snapshot.state(); }
    /// What its coordinate system says is a guess.
    std::shared_ptr<CoordinateSystems::CoordinateSystem> system() {
        return m_snapshot.source().systemOf(layer());
    }
    /// What the source answers without reading features: -1 and empty where it would have to.
    qint64 featureCount() const { return m_featureCount; }
    Shapes::GisExtent extent() const { return m_extent; }
    /// Whether an extent is answered by an index over boxes; else every feature is looked at. An extent is
    /// handed to a driver only where that gives the features whose boxes meet it: others ask for more, that
    /// the geometry itself does.
    bool isIndexed() const { return m_boxes != Boxes::None; }
    /// Whether its driver saves edits in transactions.
    bool hasTransactions() const { return m_hasTransactions; }
    bool isServer() const;
    /// \throws std::runtime_error when a server's geometries are in several coordinate systems by now; as it
    /// is opened, too. At once where their column says; else the server goes through the table.
    void requireOneSystem();
    bool hasStableIds() const { return m_content.state.hasStableIds; }

    /// Where what is read is collected, from the last forget() on.
    OgrContent& content() { return m_content; }
    /// Reads the other fields not at all; none means all fields.
    void setFields(const std::optional<QStringList>& fields);
    /// Reads the features whose box may meet the extent. False when goOn() ended it.
    bool read(const Shapes::GisExtent& extent, const OgrContent::Skip& skip, const OgrContent::GoOn& goOn);
    /// Reads one feature with all its fields; false when there is none.
    bool readFeature(qint64 id);
    /// The same of several, of a server in one statement. Those that are not there are not in content().
    void readFeatures(const std::vector<qint64>& ids);
    /// From any thread: a read under way ends with an error soon, in drivers that can do that.
    void interrupt() { m_snapshot.source().dataset().AbortSQL(); }

private:
    enum class Boxes {
        None,    ///< not by an index
        Columns, ///< by OGR's spatial filter, one that says yes to every box; the driver has columns
        Filter,  ///< by OGR's spatial filter
        Table,   ///< by the table that is the index of a GeoPackage
    };
    /// Of a server's table; else null.
    ServerSelection* selection();
    bool isForColumns(const Shapes::GisExtent& extent) const;
    void filter(const Shapes::GisExtent& extent);
    void ignoreFields(const std::optional<QStringList>& fields);

    OgrSnapshot m_snapshot;
    OgrContent m_content;
    QString m_driverName;
    QString m_layerName;
    qint64 m_featureCount = -1;
    Shapes::GisExtent m_extent;
    Boxes m_boxes = Boxes::None;
    bool m_isView = false;
    bool m_hasTransactions = false;
    bool m_areColumnsFit = true;
    std::optional<QStringList> m_fields;
    std::optional<ServerGuard> m_guard;         ///< of a server's table
    std::optional<ServerSelection> m_selection; ///< of that
};

} // namespace Cartolith::Core::Layers::Internal
