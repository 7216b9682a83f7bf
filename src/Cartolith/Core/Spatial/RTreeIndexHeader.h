#pragma once

#include <Cartolith/Core/Export.h>

namespace Cartolith::Core::Spatial::RTree {

/// What an index file says of the data it was made from. A file is only loaded when this matches.
///
/// The index fills in nothing by itself: what size, time and version mean is the caller's business.
class CARTOLITH_CORE_EXPORT RTreeIndexHeader {
public:
    /// The version of the caller's data. (The file format has no version.)
    int version() const noexcept;
    void setVersion(int version) noexcept;
    /// Of the data source, in bytes.
    long long fileSize() const noexcept;
    void setFileSize(long long size) noexcept;
    /// When the data source was written, in a unit of the caller's.
    long long lastWriteTicks() const noexcept;
    void setLastWriteTicks(long long ticks) noexcept;
    /// Negative in an expected header: any.
    int shapeCount() const noexcept;
    void setShapeCount(int count) noexcept;

    bool operator==(const RTreeIndexHeader& other) const;

private:
    int m_version = 0;
    long long m_fileSize = 0;
    long long m_lastWriteTicks = 0;
    int m_shapeCount = 0;
};

} // namespace Cartolith::Core::Spatial::RTree
