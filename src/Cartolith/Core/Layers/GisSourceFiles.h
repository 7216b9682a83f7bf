#pragma once

#include <Cartolith/Core/Export.h>

#include <QString>
#include <QStringList>

namespace Cartolith::Core::Layers {

/// The files that a data source is read from: for whoever keeps what was made of it, and wants to know
/// whether that is still of the source as it is.
class CARTOLITH_CORE_EXPORT GisSourceFiles {
public:
    GisSourceFiles() = delete;

    /// The file itself, and those there are of the others: what belongs to it (of a Shapefile .shx, .dbf,
    /// .prj and so on; world files, overviews and .aux.xml of a raster), the log of a SQLite database, and
    /// what a virtual source names, with the files of each; up to 1,000. Each once, the file first. Only the
    /// path of what is no file, such as a database on a server. What cannot be read is taken as it is.
    ///
    /// Opens the source, but for texts that would be read as a whole then. No network is asked.
    static QStringList of(const QString& path);
};

} // namespace Cartolith::Core::Layers
