#include <Cartolith/Core/Common/BytesInternal.h>
#include <Cartolith/Core/Layers/Files/SourceMembersInternal.h>
#include <Cartolith/Core/Layers/Formats/ShpRecordsInternal.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

namespace {

// A header of 100 bytes, in both files; then records, each behind its number and length, and in the index
// their places. Lengths and places count words of 16 bits.
constexpr qsizetype shpHeader = 100;
constexpr qsizetype shpLengthAt = 24;
constexpr qsizetype shpTypeAt = 32;
constexpr qsizetype shpBoxAt = 36;
constexpr qsizetype recordHead = 8;

constexpr quint32 multiPatch = 31;
constexpr quint32 shapeFamilies = 10; // the last digit of a type says what it is, the one before Z and M

[[noreturn]] void refuseShapes(const QString& reason) {
    throw std::runtime_error(reason.toStdString());
}

QByteArray contentOf(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        refuseShapes(file.errorString());
    }
    return file.readAll();
}

std::vector<QByteArrayView> shapeRecordsOf(QByteArrayView shp, QByteArrayView shx) {
    if (shp.size() < shpHeader || shx.size() < shpHeader) {
        refuseShapes(QStringLiteral("it ends within its header"));
    }
    std::vector<QByteArrayView> records;
    for (qsizetype at = shpHeader; at + recordHead <= shx.size(); at += recordHead) {
        const qsizetype start = 2 * qsizetype{qFromBigEndian<quint32>(shx.data() + at)} + recordHead;
        const qsizetype size = 2 * qsizetype{qFromBigEndian<quint32>(shx.data() + at + 4)};
        constexpr qsizetype least = sizeof(quint32);
        if (size < least || start > shp.size() || size > shp.size() - start) {
            refuseShapes(QStringLiteral("its record %1 lies outside of the file").arg(records.size() + 1));
        }
        records.push_back(shp.sliced(start, size));
    }
    return records;
}

quint32 typeAt(QByteArrayView bytes, qsizetype at) {
    return qFromLittleEndian<quint32>(bytes.data() + at);
}

/// From where to where coordinates go: x, y, z, m.
class ShapeBox {
public:
    void add(QByteArrayView record) {
        const quint32 type = typeAt(record, 0);
        if (type == 0) {
            return;
        }
        constexpr quint32 point = 1;
        constexpr quint32 multiPoint = 8;
        const quint32 family = type == multiPatch ? multiPatch : type % shapeFamilies;
        const bool hasZ = type == multiPatch || type / shapeFamilies == 1;
        const qsizetype number = sizeof(double);
        if (family == point) {
            add(0, record, 4, 0);
            add(1, record, 12, 0);
            add(2, record, hasZ ? 20 : record.size(), 0);
            add(3, record, hasZ ? 28 : 20, 0);
            return;
        }
        add(0, record, 4, 2 * number);
        add(1, record, 12, 2 * number);
        const qsizetype countsAt = 36;
        if (record.size() < countsAt + 8) {
            return;
        }
        const qint64 first = typeAt(record, countsAt);
        const qint64 points = family == multiPoint ? first : qint64{typeAt(record, countsAt + 4)};
        const qint64 parts = family == multiPoint ? 0 : first * (family == multiPatch ? 2 : 1);
        qint64 at = countsAt + 4 + (family == multiPoint ? 0 : 4 + 4 * parts) + 2 * number * points;
        if (hasZ) {
            add(2, record, at, number);
            at += 2 * number + number * points;
        }
        add(3, record, at, number);
    }

    /// Into a header.
    void put(QByteArray& header) const {
        // Those of x and y stand apart, least and most of z and m side by side.
        constexpr std::array<qsizetype, 4> places{0, 8, 32, 48};
        for (std::size_t i = 0; i < places.size(); ++i) {
            const bool isAny = m_least[i] <= m_most[i];
            char* const place = header.data() + shpBoxAt + places[i];
            qToLittleEndian(isAny ? m_least[i] : 0.0, place);
            qToLittleEndian(isAny ? m_most[i] : 0.0, place + (i < 2 ? 16 : 8));
        }
    }

private:
    /// A number, and another at some distance.
    void add(std::size_t axis, QByteArrayView record, qint64 at, qint64 distance) {
        constexpr double noData = -1e38; // what is less stands for none
        for (const qint64 place : {at, at + distance}) {
            if (place + static_cast<qint64>(sizeof(double)) <= record.size()) {
                const auto value = qFromLittleEndian<double>(record.data() + place);
                if (std::isfinite(value) && value > noData) {
                    m_least[axis] = std::min(m_least[axis], value);
                    m_most[axis] = std::max(m_most[axis], value);
                }
            }
        }
    }

    static constexpr double infinity = std::numeric_limits<double>::infinity();
    std::array<double, 4> m_least{infinity, infinity, infinity, infinity};
    std::array<double, 4> m_most{-infinity, -infinity, -infinity, -infinity};
};

void appendWord(QByteArray& bytes, qsizetype number) {
    std::array<char, sizeof(quint32)> word = {};
    qToBigEndian(static_cast<quint32>(number), word.data());
    bytes.append(word.data(), std::ssize(word));
}

} // namespace

ShpRecords::ShpRecords(const QString& shapefile) : m_shp(contentOf(shapefile)) {
    const QStringList indexes = membersOf(shapefile, QStringList(QStringLiteral("shx")));
    if (!indexes.isEmpty()) {
        m_shx = contentOf(QFileInfo(shapefile).dir().filePath(indexes.last()));
    }
    m_records = shapeRecordsOf(m_shp, m_shx);
}

QString ShpRecords::typeOption() const {
    static constexpr std::array names{std::pair{1U, "POINT"},
                                      std::pair{3U, "ARC"},
                                      std::pair{5U, "POLYGON"},
                                      std::pair{8U, "MULTIPOINT"},
                                      std::pair{11U, "POINTZ"},
                                      std::pair{13U, "ARCZ"},
                                      std::pair{15U, "POLYGONZ"},
                                      std::pair{18U, "MULTIPOINTZ"},
                                      std::pair{21U, "POINTM"},
                                      std::pair{23U, "ARCM"},
                                      std::pair{25U, "POLYGONM"},
                                      std::pair{28U, "MULTIPOINTM"},
                                      std::pair{multiPatch, "MULTIPATCH"}};
    const quint32 type = typeAt(m_shp, shpTypeAt);
    const auto* const found =
        std::find_if(names.begin(), names.end(), [type](const auto& name) { return name.first == type; });
    return found != names.end() ? QLatin1String("SHPT=") + QLatin1String(found->second) : QString();
}

std::pair<QByteArray, QByteArray> ShpRecords::restored(QByteArrayView shp, QByteArrayView shx) const {
    std::vector<QByteArrayView> records = shapeRecordsOf(shp, shx);
    const quint32 type = typeAt(m_shp, shpTypeAt);
    bool isSame = records.size() == m_records.size();
    ShapeBox box;
    for (std::size_t i = 0; i < records.size(); ++i) {
        const Kept kept = i < m_kept.size() ? m_kept[i] : Kept{-1, true};
        if (!kept.isMoved) {
            if (kept.record < 0 || kept.record >= std::ssize(m_records)) {
                refuseShapes(QStringLiteral("it has no record %1 any more").arg(kept.record + 1));
            }
            records[i] = m_records[static_cast<std::size_t>(kept.record)];
        } else if (const quint32 given = typeAt(records[i], 0); given != 0 && type != 0 && given != type) {
            refuseShapes(QStringLiteral("a shape of type %1 has no place among those of type %2")
                             .arg(given)
                             .arg(type));
        }
        isSame = isSame && !kept.isMoved && kept.record == static_cast<qint64>(i);
        box.add(records[i]);
    }
    if (isSame) {
        return {m_shp, m_shx};
    }
    const QByteArrayView head(type != 0 ? QByteArrayView(m_shp) : shp);
    std::pair<QByteArray, QByteArray> files;
    auto& [shapes, index] = files;
    shapes = Common::Internal::copyOf(head.first(shpHeader));
    for (std::size_t i = 0; i < records.size(); ++i) {
        appendWord(index, shapes.size() / 2);
        appendWord(index, records[i].size() / 2);
        appendWord(shapes, static_cast<qsizetype>(i) + 1);
        appendWord(shapes, records[i].size() / 2);
        shapes.append(records[i].data(), records[i].size());
    }
    if (shapes.size() / 2 > std::numeric_limits<qint32>::max()) {
        refuseShapes(QStringLiteral("it would be larger than the format allows"));
    }
    box.put(shapes);
    index.prepend(shapes.constData(), shpHeader);
    for (QByteArray* const file : {&shapes, &index}) {
        qToBigEndian(static_cast<quint32>(file->size() / 2), file->data() + shpLengthAt);
    }
    return files;
}

} // namespace Cartolith::Core::Layers::Internal
