#include <Cartolith/Core/Common/GdalInternal.h>

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
        first = QString::fromUtf8(text).trimmed();
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
