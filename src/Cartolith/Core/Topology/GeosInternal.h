#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Topology/GisTopology.h>

#include <geos_c.h>

#include <exception>

/// GEOS for what OGR does not offer.
namespace Cartolith::Core::Topology::Internal {

/// A context, in which GEOS reports errors to GDAL's error handler.
class GeosContext {
public:
    GeosContext() : m_handle(OGRGeometry::createGEOSContext()) {}
    ~GeosContext() { OGRGeometry::freeGEOSContext(m_handle); }
    GeosContext(const GeosContext&) = delete;
    GeosContext& operator=(const GeosContext&) = delete;

    GEOSContextHandle_t handle() const noexcept { return m_handle; }

private:
    GEOSContextHandle_t m_handle;
};

/// While it lives, operations of GEOS on this thread ask the topology's busy callback every now and then;
/// they fail when it says no or throws. GEOS looks up from its work seldom while it nodes a buffer: to stop
/// it may take up to half the time of the operation.
///
/// GEOS has one hook for the whole process. It is taken at the first use, whoever had it before is still
/// called; a host that takes it later makes operations run to their end.
class GeosInterrupt {
public:
    explicit GeosInterrupt(const GisTopology& topology);
    ~GeosInterrupt();
    GeosInterrupt(const GeosInterrupt&) = delete;
    GeosInterrupt& operator=(const GeosInterrupt&) = delete;

    /// To be called behind an operation. \throws Stopped, or what the callback threw
    void check() const;

private:
    static void onCheck();
    void ask();

    const GisTopology& m_topology;
    GeosInterrupt* m_outer;
    bool m_wasStopped = false;
    std::exception_ptr m_exception;
    int m_checks = 0;
    int m_reports = 0;
};

} // namespace Cartolith::Core::Topology::Internal
