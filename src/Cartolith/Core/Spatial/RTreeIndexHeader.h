#pragma once

namespace Cartolith::Core::Spatial::RTree {

/// What an index file says of the data it was made from. A file is only loaded when this matches.
///
/// The index fills in nothing by itself: what size, time and version mean is the caller's business.
class RTreeIndexHeader {
public:
    /// Of the caller's data, not of the file format, which has none.
    int version() const noexcept { return m_version; }
    void setVersion(int version) noexcept { m_version = version; }
    /// Of the data source, in bytes.
    long long fileSize() const noexcept { return m_fileSize; }
    void setFileSize(long long size) noexcept { m_fileSize = size; }
    /// When the data source was written, in a unit of the caller's.
    long long lastWriteTicks() const noexcept { return m_lastWriteTicks; }
    void setLastWriteTicks(long long ticks) noexcept { m_lastWriteTicks = ticks; }
    /// Negative in an expected header: any.
    int shapeCount() const noexcept { return m_shapeCount; }
    void setShapeCount(int count) noexcept { m_shapeCount = count; }

    bool operator==(const RTreeIndexHeader& other) const = default;

private:
    int m_version = 0;
    long long m_fileSize = 0;
    long long m_lastWriteTicks = 0;
    int m_shapeCount = 0;
};

} // namespace Cartolith::Core::Spatial::RTree
