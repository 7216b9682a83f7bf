#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/Overviews/OverviewPlanInternal.h>
#include <Cartolith/Core/Layers/Overviews/OverviewRowInternal.h>

#include <QStringList>

#include <functional>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// Overviews in the making, a table for each level. Errors are std::runtime_error that name where they go;
/// then nothing is left of them.
class OverviewLevels {
public:
    virtual ~OverviewLevels() = default;
    OverviewLevels(const OverviewLevels&) = delete;
    OverviewLevels& operator=(const OverviewLevels&) = delete;

    /// Adds a feature of the source to so many levels, the finest first.
    void add(const OGRFeature& feature, int levels);
    /// Puts them in place, for a layer that may be the first of its source. The check throws to prevent it.
    virtual void publish(const QString& layer, bool isFirst, const IndexFile::Stamp& stamp,
                         const std::function<void()>& check) = 0;

protected:
    /// The path is for messages.
    OverviewLevels(const QString& path, const OverviewPlan& plan, bool hasSystem)
        : m_path(path), m_plan(plan), m_hasSystem(hasSystem) {}

    [[noreturn]] void fail() const;
    [[noreturn]] void fail(const QString& reason) const;
    /// In the order of the levels; options as GDAL has them.
    void createLevel(const QString& name, OGRLayer& source, const QStringList& options = {});
    /// Fills the table that says what there is.
    void describe(OGRLayer* table, const QString& layer, bool isFirst, const IndexFile::Stamp& stamp);

    QString m_path;
    const OverviewPlan& m_plan;
    Common::Internal::GdalErrorCapture m_errors;
    Common::Internal::DatasetPtr m_dataset;

private:
    QStringList m_names;
    std::vector<OGRLayer*> m_levels;
    std::vector<qint64> m_counts;
    bool m_hasSystem;
    std::vector<int> m_fields; ///< where a field of the source goes; -1 for nowhere
};

} // namespace Cartolith::Core::Layers::Internal
