#pragma once

#include <Cartolith/Core/Layers/Files/StagedFilesInternal.h>
#include <Cartolith/Core/Layers/Overviews/OverviewPlanInternal.h>
#include <Cartolith/Core/Layers/Overviews/OverviewRowInternal.h>

#include <functional>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// An overview file in the making. Errors are std::runtime_error that name it; then nothing is left of it.
class OverviewFile {
public:
    OverviewFile(const QString& path, const OverviewPlan& plan, OGRLayer& source);

    /// Adds a feature of the source to so many levels, the finest first.
    void add(const OGRFeature& feature, int levels);
    /// Puts the file in place, for those who may read the source. The check throws to prevent it.
    void publish(const QString& layer, bool isFirst, const QString& source, const IndexFile::Stamp& stamp,
                 const std::function<void()>& check);

private:
    [[noreturn]] void fail() const;
    void createLevel(int level, OGRLayer& source);

    QString m_path;
    const OverviewPlan& m_plan;
    StagedFiles m_files;
    QString m_workPath;
    Common::Internal::GdalErrorCapture m_errors;
    Common::Internal::DatasetPtr m_dataset;
    std::vector<OGRLayer*> m_levels;
    std::vector<qint64> m_counts;
    bool m_hasSystem;
    std::vector<int> m_fields; ///< where a field of the source goes; -1 for nowhere
};

} // namespace Cartolith::Core::Layers::Internal
