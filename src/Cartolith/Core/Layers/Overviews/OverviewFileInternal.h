#pragma once

#include <Cartolith/Core/Layers/Files/StagedFilesInternal.h>
#include <Cartolith/Core/Layers/Overviews/OverviewLevelsInternal.h>

namespace Cartolith::Core::Layers::Internal {

/// Overviews as a file of their own, which those may read who may read the source.
class OverviewFile : public OverviewLevels {
public:
    OverviewFile(const QString& path, const QString& source, const OverviewPlan& plan, OGRLayer& layer);

    void publish(const QString& layer, bool isFirst, const IndexFile::Stamp& stamp,
                 const std::function<void()>& check) override;

private:
    QString m_source;
    StagedFiles m_files;
    QString m_workPath;
};

} // namespace Cartolith::Core::Layers::Internal
