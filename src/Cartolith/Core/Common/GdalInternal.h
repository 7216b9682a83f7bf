#pragma once

#include <QByteArray>
#include <QString>
#include <cpl_conv.h>
#include <cpl_error.h>
#include <gdal_priv.h>
#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include <memory>
#include <optional>

/// Ownership of what GDAL allocates, and its errors.
namespace Cartolith::Core::Common::Internal {

struct DatasetClose {
    void operator()(GDALDataset* dataset) const { GDALClose(dataset); }
};
struct FeatureDestroy {
    void operator()(OGRFeature* feature) const { OGRFeature::DestroyFeature(feature); }
};
struct GeometryDestroy {
    void operator()(OGRGeometry* geometry) const { OGRGeometryFactory::destroyGeometry(geometry); }
};
struct TransformationDestroy {
    void operator()(OGRCoordinateTransformation* t) const { OGRCoordinateTransformation::DestroyCT(t); }
};
struct CplFree {
    void operator()(void* memory) const { VSIFree(memory); }
};

using DatasetPtr = std::unique_ptr<GDALDataset, DatasetClose>;
using FeaturePtr = std::unique_ptr<OGRFeature, FeatureDestroy>;
using GeometryPtr = std::unique_ptr<OGRGeometry, GeometryDestroy>;
using TransformationPtr = std::unique_ptr<OGRCoordinateTransformation, TransformationDestroy>;
using CplString = std::unique_ptr<char, CplFree>;

/// While it lives, GDAL's errors of this thread come here instead of standard error.
class GdalErrorCapture {
public:
    GdalErrorCapture();
    ~GdalErrorCapture();
    GdalErrorCapture(const GdalErrorCapture&) = delete;
    GdalErrorCapture& operator=(const GdalErrorCapture&) = delete;

    /// The first failure since the last reset, which names the cause; what follows are its consequences.
    const QString& message() const { return m_message; }
    /// The first warning since the last reset: where values are written, one that was cut or rounded.
    const QString& warning() const { return m_warning; }
    void reset() {
        m_message.clear();
        m_warning.clear();
    }

private:
    static void CPL_STDCALL handle(CPLErr level, CPLErrorNum number, const char* text);
    QString m_message;
    QString m_warning;
};

/// Sets an option of GDAL for this thread while it lives; then what was set before holds again.
class ThreadOption {
public:
    /// The name is a literal.
    ThreadOption(const char* name, const char* value);
    ~ThreadOption();
    ThreadOption(const ThreadOption&) = delete;
    ThreadOption& operator=(const ThreadOption&) = delete;

private:
    const char* m_name;
    std::optional<QByteArray> m_before;
};

/// While it lives, an EPSG code that GDAL meets in this thread means itself.
///
/// By default GDAL takes the replacement of a deprecated code instead, which may be kilometres away. Drivers
/// look codes up as they open a file, as they are asked for a layer or its system, and as they write one. Not
/// to be held while a host's callback runs: what the host has set for the thread comes back at the end.
class EpsgCodesAsGiven {
public:
    EpsgCodesAsGiven() : m_option("OSR_USE_NON_DEPRECATED", "NO") {}

private:
    ThreadOption m_option;
};

/// While it lives, drivers of this thread get no answer to a request over HTTP, and none is sent. (Files
/// under /vsicurl/ and its like are another matter.)
class NoRequests {
public:
    NoRequests();
    ~NoRequests();
    NoRequests(const NoRequests&) = delete;
    NoRequests& operator=(const NoRequests&) = delete;

    bool wasAsked() const { return m_wasAsked; }

private:
    bool m_wasAsked = false;
};

/// Makes GDAL's drivers known, once in a process.
void registerGdalDrivers();

} // namespace Cartolith::Core::Common::Internal
