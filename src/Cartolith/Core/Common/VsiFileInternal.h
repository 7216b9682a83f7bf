#pragma once

#include <QByteArray>
#include <cpl_vsi.h>

#include <memory>

namespace Cartolith::Core::Common::Internal {

struct VsiFileClose {
    void operator()(VSILFILE* file) const { VSIFCloseL(file); }
};
using VsiFile = std::unique_ptr<VSILFILE, VsiFileClose>;

/// A file by the name that GDAL knows it by, which may lie in memory, in an archive or on a server; null
/// where it cannot be opened.
inline VsiFile openVsiFile(const QByteArray& gdalName, const char* access) {
    return VsiFile(VSIFOpenL(gdalName.constData(), access));
}

} // namespace Cartolith::Core::Common::Internal
