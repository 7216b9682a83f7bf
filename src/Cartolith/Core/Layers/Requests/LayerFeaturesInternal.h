#pragma once

#include <Cartolith/Core/Layers/Requests/FeatureSourceInternal.h>

#include <vector>

namespace Cartolith::Core::Layers {
class GisLayerVector;
}

namespace Cartolith::Core::Layers::Internal {

/// The shapes of a layer in memory.
class LayerFeatures : public FeatureSource {
public:
    explicit LayerFeatures(GisLayerVector& layer);

    QList<Defs::GisAttributeDefinition> definitions() const override;
    QList<FieldType> fieldTypes() const override;
    std::shared_ptr<const CoordinateSystems::CoordinateSystem> system() const override;
    void begin(const Plan& plan) override;
    bool next() override;
    void requireUnchanged() const override;
    qint64 id() const override;
    const Shapes::GisShape& shape() const override;
    std::unique_ptr<Shapes::GisShape> takeShape() override { return nullptr; }
    QString exactText(const Shapes::GisShape& shape, const QString& field) const override;

private:
    bool isWanted() const;
    QMetaType::Type elementTypeOf(const QString& field) const;
    qint64 idOf(const Shapes::GisShape& shape) const;

    GisLayerVector& m_layer;
    quint64 m_revision;
    bool m_hasSource;
    const Plan* m_plan = nullptr;
    std::optional<std::vector<int>> m_rows; ///< unset for all
    std::size_t m_at = 0;
    int m_row = -1;
};

} // namespace Cartolith::Core::Layers::Internal
