#include <Cartolith/Core/Common/GdalInternal.h>

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

void registerGdalDrivers() {
    static const bool registered = [] {
        GDALAllRegister();
        return true;
    }();
    (void)registered;
}

} // namespace Cartolith::Core::Common::Internal
