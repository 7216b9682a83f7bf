#include <Cartolith/Core/Common/GdalInternal.h>

#include <cpl_http.h>

#include <new>

namespace Cartolith::Core::Common::Internal {

GdalErrorCapture::GdalErrorCapture() {
    CPLPushErrorHandlerEx(handle, this);
}

GdalErrorCapture::~GdalErrorCapture() {
    CPLPopErrorHandler();
    CPLErrorReset();
}

void GdalErrorCapture::handle(CPLErr level, CPLErrorNum /*number*/, const char* text) {
    auto* self = static_cast<GdalErrorCapture*>(CPLGetErrorHandlerUserData());
    QString& first = level >= CE_Failure ? self->m_message : self->m_warning;
    if (level >= CE_Warning && first.isEmpty()) {
        try {
            first = QString::fromUtf8(text).trimmed();
        } catch (const std::bad_alloc&) { // nothing may pass through what called
            first = QStringLiteral("there is not enough memory");
        }
    }
}

ThreadOption::ThreadOption(const char* name, const char* value) : m_name(name) {
    if (const char* const before = CPLGetThreadLocalConfigOption(name, nullptr)) {
        m_before = QByteArray(before); // GDAL's own text goes with the next line
    }
    CPLSetThreadLocalConfigOption(name, value);
}

ThreadOption::~ThreadOption() {
    CPLSetThreadLocalConfigOption(m_name, m_before ? m_before->constData() : nullptr);
}

NoRequests::NoRequests() {
    const auto refuse = [](const char* /*url*/, CSLConstList /*options*/, GDALProgressFunc /*progress*/,
                           void* /*progressArgument*/, CPLHTTPFetchWriteFunc /*write*/,
                           void* /*writeArgument*/, void* self) {
        static_cast<NoRequests*>(self)->m_wasAsked = true;
        auto* const result = static_cast<CPLHTTPResult*>(CPLCalloc(1, sizeof(CPLHTTPResult)));
        result->nStatus = 1;
        result->pszErrBuf = CPLStrdup("no request is sent");
        return result;
    };
    CPLHTTPPushFetchCallback(refuse, this);
}

NoRequests::~NoRequests() {
    CPLHTTPPopFetchCallback();
}

void registerGdalDrivers() {
    static const bool registered = [] {
        GDALAllRegister();
        return true;
    }();
    (void)registered;
}

} // namespace Cartolith::Core::Common::Internal
