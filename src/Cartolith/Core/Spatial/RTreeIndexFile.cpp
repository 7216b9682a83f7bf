// Saving and loading of RTreeSpatialIndex. docs/formats.md describes the file.

#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Spatial/RTreeNode.h>
#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QtEndian>

#include <algorithm>
#include <bit>
#include <cstring>
#include <deque>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Cartolith::Core::Spatial::RTree {

using Shapes::GisExtent;
using Shapes::GisShape;

namespace {

constexpr quint8 leafFlag = 1;
constexpr quint8 innerFlag = 0;
constexpr qint64 extentSize = 32;
constexpr qint64 nodeSize = extentSize + 1 + 4; ///< with flag and count: the least a node takes
constexpr qint64 itemSize = 4 + extentSize;
constexpr qint64 piece = 1 << 18; ///< of a file, read at once; stays in the second-level cache

double doubleAt(const unsigned char* bytes) {
    return std::bit_cast<double>(qFromLittleEndian<quint64>(bytes));
}

GisExtent extentAt(const unsigned char* bytes) {
    return {doubleAt(bytes), doubleAt(bytes + 8), doubleAt(bytes + 16), doubleAt(bytes + 24)};
}

/// Collects small writes; every failure ends the saving.
class Writer {
public:
    explicit Writer(QFile& file) : m_file(file) { m_bytes.reserve(capacity + nodeSize); }

    template <typename Integer>
    void integer(Integer value) {
        const Integer little = qToLittleEndian(value);
        m_bytes.append(reinterpret_cast<const char*>(&little), sizeof little);
        if (m_bytes.size() >= capacity) {
            flush();
        }
    }
    void extent(const GisExtent& extent) {
        for (const double value : {extent.xMin(), extent.yMin(), extent.xMax(), extent.yMax()}) {
            integer(std::bit_cast<quint64>(value));
        }
    }
    void flush() {
        if (m_file.write(m_bytes) != m_bytes.size()) {
            fail();
        }
        m_bytes.resize(0);
    }
    /// Also what the file itself holds back.
    void finish() {
        flush();
        if (!m_file.flush()) {
            fail();
        }
    }
    [[noreturn]] static void fail() {
        throw std::runtime_error("RTreeSpatialIndex::save failed while writing index data.");
    }

private:
    static constexpr qsizetype capacity = 1 << 18;

    QFile& m_file;
    QByteArray m_bytes;
};

/// Depth first, without recursion: an index that grew by insertion may be very deep.
void writeTree(Writer& writer, const RTreeNode& root) {
    std::vector<const RTreeNode*> pending{&root};
    while (!pending.empty()) {
        const RTreeNode& node = *pending.back();
        pending.pop_back();
        writer.extent(node.extent());
        if (node.isLeaf()) {
            writer.integer(leafFlag);
            writer.integer(static_cast<qint32>(node.items().size()));
            for (const SpatialIndexItem& item : node.items()) {
                writer.integer(static_cast<qint32>(item.shape()->id()));
                writer.extent(item.extent());
            }
            continue;
        }
        writer.integer(innerFlag);
        writer.integer(static_cast<qint32>(node.children().size()));
        for (auto child = node.children().crbegin(); child != node.children().crend(); ++child) {
            pending.push_back(&*child);
        }
    }
}

/// Shapes by their id; of several with one id the last. Layers number their shapes in a row, which makes this
/// a plain table.
class ShapesById {
public:
    explicit ShapesById(const QList<GisShape*>& shapes) {
        qint64 least = std::numeric_limits<int>::max();
        qint64 most = std::numeric_limits<int>::min();
        std::vector<int> ids(static_cast<std::size_t>(shapes.size()));
        for (std::size_t i = 0; i < ids.size(); ++i) {
            if (const GisShape* shape = shapes[static_cast<qsizetype>(i)]) {
                ids[i] = shape->id();
                least = std::min<qint64>(least, ids[i]);
                most = std::max<qint64>(most, ids[i]);
            }
        }
        if (least > most) {
            return;
        }
        const bool dense = most - least < 4 * static_cast<qint64>(shapes.size()) + 1024;
        m_first = least;
        m_dense.resize(dense ? static_cast<std::size_t>(most - least + 1) : 0);
        m_sparse.reserve(dense ? 0 : shapes.size());
        for (std::size_t i = 0; i < ids.size(); ++i) {
            GisShape* const shape = shapes[static_cast<qsizetype>(i)];
            if (shape == nullptr) {
                continue;
            }
            if (dense) {
                m_dense[static_cast<std::size_t>(ids[i] - least)] = shape;
            } else {
                m_sparse.insert(ids[i], shape);
            }
        }
    }

    void prefetch(int id) const {
        const qint64 place = id - m_first;
        if (place >= 0 && place < static_cast<qint64>(m_dense.size())) {
            __builtin_prefetch(&m_dense[static_cast<std::size_t>(place)]);
        }
    }

    /// Null when there is none.
    GisShape* find(int id) const {
        if (m_dense.empty()) {
            return m_sparse.value(id);
        }
        const qint64 place = id - m_first;
        return place >= 0 && place < static_cast<qint64>(m_dense.size())
                   ? m_dense[static_cast<std::size_t>(place)]
                   : nullptr;
    }

private:
    qint64 m_first = 0;
    std::vector<GisShape*> m_dense;
    QHash<int, GisShape*> m_sparse;
};

} // namespace

// Reads a piece of the file at a time rather than mapping it: a mapped file that somebody cuts short kills
// the process with a signal, a read that falls short is a plain failure.
RTreeSpatialIndex::MappedReader::MappedReader(QFile& file) : m_file(&file), m_unread(file.size()) {}

RTreeSpatialIndex::MappedReader::MappedReader(const unsigned char* data, long long size)
    : m_at(data), m_end(data != nullptr && size > 0 ? data + size : data) {}

RTreeSpatialIndex::MappedReader::~MappedReader() = default;

long long RTreeSpatialIndex::MappedReader::remaining() const {
    return (m_end - m_at) + m_unread;
}

bool RTreeSpatialIndex::MappedReader::fetch(long long count) {
    const qint64 left = m_end - m_at;
    if (m_file == nullptr || count > left + m_unread || count > piece) {
        return false;
    }
    const qint64 wanted = std::min(m_unread, piece - left);
    if (m_buffer.isEmpty()) {
        m_buffer.resize(static_cast<qsizetype>(std::min(piece, m_unread)));
    }
    char* const start = m_buffer.data();
    if (left > 0) {
        std::memmove(start, m_at, static_cast<std::size_t>(left));
    }
    const qint64 got = m_file->read(start + left, wanted);
    m_unread -= std::max<qint64>(got, 0);
    m_at = reinterpret_cast<const unsigned char*>(start);
    m_end = m_at + left + std::max<qint64>(got, 0);
    return m_end - m_at >= count;
}

const unsigned char* RTreeSpatialIndex::MappedReader::take(long long count) {
    if (count < 0 || (m_end - m_at < count && !fetch(count))) {
        return nullptr;
    }
    const unsigned char* const bytes = m_at;
    m_at += count;
    return bytes;
}

bool RTreeSpatialIndex::MappedReader::readBytes(void* target, long long count) {
    if (count < 0 || count > remaining()) {
        return false;
    }
    auto* to = static_cast<char*>(target);
    while (count > 0) {
        const qint64 size = std::min<qint64>(count, piece);
        const unsigned char* const bytes = take(size);
        if (bytes == nullptr) {
            return false;
        }
        std::memcpy(to, bytes, static_cast<std::size_t>(size));
        to += size;
        count -= size;
    }
    return true;
}

bool RTreeSpatialIndex::MappedReader::readByte(quint8& value) {
    return readBytes(&value, sizeof value);
}

bool RTreeSpatialIndex::MappedReader::readInt32(qint32& value) {
    const unsigned char* const bytes = take(sizeof value);
    value = bytes != nullptr ? qFromLittleEndian<qint32>(bytes) : value;
    return bytes != nullptr;
}

bool RTreeSpatialIndex::MappedReader::readInt64(qint64& value) {
    const unsigned char* const bytes = take(sizeof value);
    value = bytes != nullptr ? qFromLittleEndian<qint64>(bytes) : value;
    return bytes != nullptr;
}

bool RTreeSpatialIndex::MappedReader::readDouble(double& value) {
    const unsigned char* const bytes = take(sizeof value);
    value = bytes != nullptr ? doubleAt(bytes) : value;
    return bytes != nullptr;
}

bool RTreeSpatialIndex::MappedReader::readExtent(GisExtent& extent) {
    const unsigned char* const bytes = take(extentSize);
    extent = bytes != nullptr ? extentAt(bytes) : extent;
    return bytes != nullptr;
}

/// Takes a tree from a reader. Without recursion: its depth is whatever the file says. Every node and item
/// that a count promises has its bytes in the rest of the file, or the file is refused at once; so lists get
/// their memory in one piece, and all of them together no more than the file can fill.
class RTreeSpatialIndex::TreeReader {
public:
    TreeReader(MappedReader& reader, const QList<GisShape*>& shapes) : m_reader(reader), m_shapes(shapes) {}

    /// False when the bytes are no tree.
    bool read(RTreeNode& root) {
        qint64 promised = 0; // nodes that unfinished ones still wait for
        for (;;) {
            const unsigned char* const record = m_reader.take(nodeSize);
            if (record == nullptr) {
                return false;
            }
            const GisExtent extent = extentAt(record);
            const quint8 flag = record[extentSize];
            const auto count = qFromLittleEndian<qint32>(record + extentSize + 1);
            const qint64 least = flag == leafFlag ? itemSize : nodeSize;
            if (count < 0 || flag > leafFlag ||
                count > (m_reader.remaining() - promised * nodeSize) / least) {
                return false;
            }
            if (flag == innerFlag && count > 0) {
                m_path.push_back({extent, count, {}});
                m_path.back().children.reserve(count);
                promised += count - 1;
                continue;
            }
            RTreeNode node;
            node.setExtent(extent);
            if (flag == leafFlag && !readItems(count, node)) {
                return false;
            }
            if (finish(node)) {
                root = std::move(node);
                return true;
            }
            --promised;
        }
    }

private:
    /// An inner node some of whose children are still to be read.
    struct Unfinished {
        GisExtent extent;
        qint32 count;
        QList<RTreeNode> children;
    };

    /// In runs of records, which saves a check for each number.
    bool readItems(qint32 count, RTreeNode& node) {
        constexpr qint32 run = 1024;
        QList<SpatialIndexItem> items;
        items.reserve(count);
        for (qint32 done = 0; done < count; done += run) {
            const qint64 size = std::min(count - done, run) * itemSize;
            const unsigned char* const records = m_reader.take(size);
            if (records == nullptr) {
                return false;
            }
            // Ids come in the order of the tree, so their places in the table are anywhere.
            constexpr qint64 ahead = 24 * itemSize;
            for (const unsigned char* at = records; at != records + size; at += itemSize) {
                if (records + size - at > ahead) {
                    m_shapes.prefetch(qFromLittleEndian<qint32>(at + ahead));
                }
                if (GisShape* const shape = m_shapes.find(qFromLittleEndian<qint32>(at))) {
                    items.emplaceBack(shape, extentAt(at + sizeof(qint32)));
                }
            }
        }
        node.setItems(items);
        return true;
    }

    /// Gives the node to its parent, and every node that is complete with it to its own. True when that was
    /// the root, which the node is then.
    bool finish(RTreeNode& node) {
        while (!m_path.empty()) {
            Unfinished& parent = m_path.back();
            parent.children.append(std::move(node));
            if (parent.children.size() < parent.count) {
                return false;
            }
            node = RTreeNode();
            node.setExtent(parent.extent);
            node.setChildren(parent.children);
            m_path.pop_back();
        }
        return true;
    }

    MappedReader& m_reader;
    ShapesById m_shapes;
    std::deque<Unfinished> m_path; // which gives its memory back as it gets shorter
};

void RTreeSpatialIndex::save(const QString& path, const RTreeIndexHeader& header,
                             const std::function<bool(QFile&)>& writeExtra) const {
    if (!m_root) {
        return;
    }
    if (hasUpdates()) {
        RTreeSpatialIndex now(m_maxItemsPerNode, m_strategy);
        now.build(shapesNow());
        now.save(path, header, writeExtra);
        return;
    }
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        throw std::runtime_error("RTreeSpatialIndex::save could not open file for writing.");
    }
    Writer writer(file);
    writer.integer(static_cast<qint32>(header.version()));
    writer.integer(static_cast<qint64>(header.fileSize()));
    writer.integer(static_cast<qint64>(header.lastWriteTicks()));
    writer.integer(static_cast<qint32>(header.shapeCount()));
    writer.flush();
    if (writeExtra && !writeExtra(file)) {
        Writer::fail();
    }
    writeTree(writer, *m_root);
    writer.finish();
}

bool RTreeSpatialIndex::load(const QString& path, const RTreeIndexHeader& expected,
                             const QList<GisShape*>& shapes,
                             const std::function<bool(MappedReader&)>& readExtra) {
    QFile file(path);
    // Opening a pipe would wait for its other end.
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) ||
        file.size() < 1) {
        return false;
    }
    MappedReader reader(file);
    qint32 version = 0;
    qint64 fileSize = 0;
    qint64 lastWriteTicks = 0;
    qint32 shapeCount = 0;
    if (!reader.readInt32(version) || !reader.readInt64(fileSize) || !reader.readInt64(lastWriteTicks) ||
        !reader.readInt32(shapeCount) || version != expected.version() || fileSize != expected.fileSize() ||
        lastWriteTicks != expected.lastWriteTicks() ||
        (expected.shapeCount() >= 0 && shapeCount != expected.shapeCount())) {
        return false;
    }
    if ((readExtra && !readExtra(reader)) || shapeCount != shapes.size()) {
        return false;
    }
    auto root = std::make_unique<RTreeNode>();
    if (!TreeReader(reader, shapes).read(*root)) {
        return false;
    }
    replaceTree(std::move(root));
    return true;
}

} // namespace Cartolith::Core::Spatial::RTree
