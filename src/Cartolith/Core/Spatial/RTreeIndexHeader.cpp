#include <Cartolith/Core/Spatial/RTreeIndexHeader.h>

namespace Cartolith::Core::Spatial::RTree {

int RTreeIndexHeader::version() const noexcept {
    return m_version;
}

void RTreeIndexHeader::setVersion(int version) noexcept {
    m_version = version;
}

long long RTreeIndexHeader::fileSize() const noexcept {
    return m_fileSize;
}

void RTreeIndexHeader::setFileSize(long long size) noexcept {
    m_fileSize = size;
}

long long RTreeIndexHeader::lastWriteTicks() const noexcept {
    return m_lastWriteTicks;
}

void RTreeIndexHeader::setLastWriteTicks(long long ticks) noexcept {
    m_lastWriteTicks = ticks;
}

int RTreeIndexHeader::shapeCount() const noexcept {
    return m_shapeCount;
}

void RTreeIndexHeader::setShapeCount(int count) noexcept {
    m_shapeCount = count;
}

bool RTreeIndexHeader::operator==(const RTreeIndexHeader& other) const = default;

} // namespace Cartolith::Core::Spatial::RTree
