#include <Cartolith/Core/CoordinateSystems/SpatialReferenceInternal.h>
#include <Cartolith/Core/Layers/Overviews/OverviewFileInternal.h>

#include <QFile>
#include <QFileInfo>

#include <chrono>

namespace Cartolith::Core::Layers::Internal {

namespace {

constexpr std::chrono::seconds wait(2); // for another process that makes the same file

} // namespace

OverviewFile::OverviewFile(const QString& path, const QString& source, const OverviewPlan& plan,
                           OGRLayer& layer)
    : OverviewLevels(path, plan, CoordinateSystems::Internal::isDefined(layer.GetSpatialRef())),
      m_source(source), m_files(path, {}, wait), m_workPath(m_files.pathOf(QFileInfo(path).suffix())) {
    GDALDriver* const driver = GetGDALDriverManager()->GetDriverByName("GPKG");
    if (driver != nullptr) {
        m_dataset.reset(driver->Create(m_workPath.toUtf8().constData(), 0, 0, 0, GDT_Unknown, nullptr));
    }
    if (m_dataset == nullptr) {
        fail();
    }
    for (int level = 0; level < plan.levelCount(); ++level) {
        createLevel(QStringLiteral("level_%1").arg(level), layer);
    }
    if (m_dataset->StartTransaction() != OGRERR_NONE) {
        fail();
    }
}

void OverviewFile::publish(const QString& layer, bool isFirst, const IndexFile::Stamp& stamp,
                           const std::function<void()>& check) {
    m_errors.reset();
    describe(m_dataset->CreateLayer(OverviewRow::table, nullptr, wkbNone, nullptr), layer, isFirst, stamp);
    if (m_dataset->CommitTransaction() != OGRERR_NONE) {
        fail();
    }
    m_dataset.reset();
    if (!m_errors.message().isEmpty()) {
        fail();
    }
    QFile::setPermissions(m_workPath, QFileInfo(m_source).permissions());
    m_files.publish(check);
}

} // namespace Cartolith::Core::Layers::Internal
