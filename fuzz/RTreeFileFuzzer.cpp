// Any bytes as the tree of an index file: it loads or it does not; what loads is written, read and written
// again the same, and its searches find what a plain traversal finds.
#include "FuzzSupport.h"
#include "Spatial/BoxShape.h"

#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>
#include <Cartolith/Core/Spatial/RTreeTraversalInternal.h>

#include <QFile>

#include <deque>
#include <sys/mman.h>

namespace {

using namespace Cartolith::Core;
using namespace Cartolith::Core::Spatial::RTree;
using Shapes::GisExtent;

/// A file in memory, opened anew by its path each time.
class MemoryFile {
public:
    MemoryFile() : m_path(QStringLiteral("/proc/self/fd/%1").arg(memfd_create("index", 0))) {}
    const QString& path() const { return m_path; }
    void write(const QByteArray& bytes) const {
        QFile file(m_path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size()) {
            std::abort();
        }
    }
    std::string read() const {
        QFile file(m_path);
        return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : std::string("unreadable");
    }

private:
    QString m_path;
};

constexpr int shapeCount = 8;

/// Shapes with the ids 0 to 7.
const QList<Shapes::GisShape*>& shapes() {
    static std::deque<BoxShape> made;
    static QList<Shapes::GisShape*> pointers;
    while (pointers.size() < shapeCount) {
        made.emplace_back(GisExtent(0, 0, 1, 1)).setId(static_cast<int>(pointers.size()));
        pointers.append(&made.back());
    }
    return pointers;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    static const MemoryFile input;
    static const MemoryFile output;
    RTreeIndexHeader header;
    header.setShapeCount(shapeCount);
    QByteArray file(24, '\0');
    file[20] = shapeCount;
    input.write(file + Fuzz::bytes(data, size));

    RTreeSpatialIndex index(4, size % 2 == 0 ? RTreeBuildStrategy::SortAxis : RTreeBuildStrategy::Hilbert);
    index.build(shapes());
    const QList<Shapes::GisShape*> before = index.search(GisExtent(0, 0, 1, 1));
    if (!index.load(input.path(), header, shapes())) {
        Fuzz::requireSame(index.search(GisExtent(0, 0, 1, 1)) == before ? "" : "other", "", "kept its tree");
        return 0;
    }
    for (const GisExtent& window :
         {GisExtent(0, 0, 1, 1), GisExtent(-1e308, -1e308, 1e308, 1e308), GisExtent(3, 3, 3, 3)}) {
        QList<Shapes::GisShape*> plain;
        visitHits(*index.root(), window, [&plain](Shapes::GisShape* shape) { plain.append(shape); });
        Fuzz::requireSame(index.search(window) == plain ? "" : "other", "", "found");
    }
    index.save(output.path(), header);
    const std::string written = output.read();
    RTreeSpatialIndex again(4, RTreeBuildStrategy::SortAxis);
    Fuzz::requireSame(again.load(output.path(), header, shapes()) ? "" : "refused", "", "read again");
    again.save(output.path(), header);
    Fuzz::requireSame(output.read() == written ? "" : "other", "", "written again");
    again.insert(shapes()[3]); // into whatever the tree is
    return 0;
}
