#pragma once

#include <Cartolith/Core/Layers/Ogr/LayerFactsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrSnapshotInternal.h>
#include <Cartolith/Core/Layers/Postgres/ServerSelectionInternal.h>
#include <Cartolith/Core/Layers/Requests/FeatureSourceInternal.h>
#include <Cartolith/Core/Shapes/GisShape.h>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// The features of a layer of an OGR data source, read as they are asked for.
class OgrFeatures : public FeatureSource {
public:
    OgrFeatures(const QString& path, const QString& layerName, const GisFeatureRequest::ServerLimits& limits);
    ~OgrFeatures() override;

    QList<Defs::GisAttributeDefinition> definitions() const override { return m_definitions; }
    QList<FieldType> fieldTypes() const override;
    std::shared_ptr<const CoordinateSystems::CoordinateSystem> system() const override { return m_system; }
    void begin(const Plan& plan) override;
    bool next() override;
    qint64 id() const override { return m_id; }
    const Shapes::GisShape& shape() const override { return *m_shape; }
    std::unique_ptr<Shapes::GisShape> takeShape() override { return std::move(m_shape); }
    FieldTexts texts() const override { return m_texts; }
    void interrupt() noexcept override;

    /// What the source says without reading features: -1, and an empty one, where it does not.
    qint64 featureCount() { return m_table.GetFeatureCount(FALSE); }
    Shapes::GisExtent extent() { return storedExtent(m_table, featureCount() != 0); }
    /// The least and the greatest id, where features are found by them at once.
    std::optional<std::pair<qint64, qint64>> idRange();

private:
    bool isFoundById() const;
    bool selectRows();
    bool selectRowsOfServer();
    QString conditions(bool isServer) const;
    bool isLike(OGRFeatureDefn& selected) const;
    bool isRead(int field) const;
    void ignoreFields();
    void filterByExtent(bool hasKey);
    Common::Internal::FeaturePtr nextFeature();
    Common::Internal::FeaturePtr nextById();
    Common::Internal::FeaturePtr nextSorted();
    void take(OGRFeature& feature);

    OgrSnapshot m_snapshot;
    OGRLayer& m_table;
    QString m_driver;
    QList<Defs::GisAttributeDefinition> m_definitions;
    std::shared_ptr<const CoordinateSystems::CoordinateSystem> m_system;
    bool m_isView;
    const Plan* m_plan = nullptr;

    OgrSource::Selection m_selection;
    QByteArray m_guard; ///< of a server's table
    std::optional<ServerSelection> m_server;
    OGRLayer* m_layer = nullptr; ///< the table, or what was selected from it
    std::optional<FeatureRows> m_rows;
    bool m_isById = false;
    std::size_t m_atId = 0;
    bool m_isFiltered = false;
    qint64 m_count = 0;
    std::vector<Common::Internal::FeaturePtr> m_sorted; ///< the last one comes next
    bool m_isSorted = false;
    bool m_isCollected = false;

    std::vector<std::unique_ptr<Shapes::GisShape>> m_pending; ///< of one feature; the last one comes next
    qint64 m_id = -1;
    std::unique_ptr<Shapes::GisShape> m_shape;
    FieldTexts m_texts; ///< of the feature
};

} // namespace Cartolith::Core::Layers::Internal
