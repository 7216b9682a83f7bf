#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace Cartolith::Core::CoordinateSystems {
class CoordinateSystem;
}

namespace Cartolith::Core::Layers::Internal {

class JsonFeature;

/// A vector data source, open for reading. Every failure is a std::runtime_error that names the source and
/// carries GDAL's own reason.
class OgrSource {
public:
    explicit OgrSource(const QString& path);
    ~OgrSource();
    OgrSource(const OgrSource&) = delete;
    OgrSource& operator=(const OgrSource&) = delete;

    /// Rolls back what a killed process left of a transaction, which changes the file. The constructor does
    /// so too; whoever looks at the file before calls this first.
    static void recover(const QString& path);
    /// Removes a journal that nobody has begun to use, such as that of a process killed at its start: what
    /// lies beside a database decides whether it can be replaced. Any other stays.
    static void removeUnusedJournal(const QString& path);

    /// Whether the file names a place in the network to read its coordinate system from, as a "link" in
    /// GeoJSON does. No request is sent, and what GDAL assumes instead is a guess.
    bool isSystemElsewhere() const { return m_isSystemElsewhere; }
    GDALDataset& dataset() const { return *m_dataset; }
    QString driverName() const;
    /// What GDAL knows the source by.
    QByteArray gdalName() const { return m_dataset->GetDescription(); }
    QStringList layerNames() const;
    /// The named layer, or the first when the name is empty. Belongs to the source.
    OGRLayer& layer(const QString& name) const;
    /// Null where it has none that is known.
    std::shared_ptr<CoordinateSystems::CoordinateSystem> systemOf(OGRLayer& layer) const;
    /// The next feature of a layer; null at its end.
    Common::Internal::FeaturePtr next(OGRLayer& layer);
    /// The same for who asks for many and lets nobody else speak with GDAL in between.
    Common::Internal::FeaturePtr next(OGRLayer& layer, Common::Internal::GdalErrorCapture& errors);
    /// What the source's own SQL selects; null, without an error, when it does not understand. Goes before
    /// the source does.
    using Selection = std::unique_ptr<OGRLayer, std::function<void(OGRLayer*)>>;
    Selection select(const QString& sql, QString* reason = nullptr);
    /// Breaks off what the source is doing, where its driver can; from any thread.
    void interrupt() noexcept { m_dataset->AbortSQL(); }
    /// GDAL's errors of this thread go where they went before: for a source that lives longer than a call.
    /// next() and fail() are as ever.
    void stopListening() { m_errors.reset(); }
    /// What GDAL complained about while it read the last feature; empty when it did not.
    const QString& complaint() const { return m_complaint; }

    [[noreturn]] static void failToRead(const QString& path, const QString& reason);
    [[noreturn]] void fail(const QString& reason) const;

private:
    QString m_path;
    QString m_complaint;
    std::optional<Common::Internal::GdalErrorCapture> m_errors{std::in_place};
    std::unique_ptr<JsonFeature> m_feature; ///< what is open instead of the file itself; mostly null
    Common::Internal::DatasetPtr m_dataset;
    bool m_isSystemElsewhere = false;
    bool m_isSystemUnknown = false; // null, or a name or code that says nothing
};

} // namespace Cartolith::Core::Layers::Internal
