#include <Cartolith/Core/Common/BytesInternal.h>
#include <Cartolith/Core/Common/VsiFileInternal.h>
#include <Cartolith/Core/Layers/Formats/FlatBufferInternal.h>
#include <Cartolith/Core/Layers/Formats/FlatGeobufHeaderInternal.h>

#include <QByteArrayView>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

namespace {

constexpr qint64 fgbHeaderAt = 12; // behind the mark of the format, and the size of the header

QByteArray headerOf(const QByteArray& gdalName) {
    const auto file = Common::Internal::openVsiFile(gdalName, "rb");
    constexpr std::size_t lead = fgbHeaderAt;
    constexpr quint32 most = 1U << 20U;
    std::array<char, lead> begin = {};
    if (file == nullptr || VSIFReadL(begin.data(), 1, lead, file.get()) != lead ||
        !QByteArrayView(begin.data(), 8)
             .startsWith(QByteArrayView("fgb\x03"
                                        "fgb"))) {
        return {};
    }
    const auto size = qFromLittleEndian<quint32>(begin.data() + 8);
    QByteArray header(size <= most ? static_cast<qsizetype>(size) : 0, Qt::Uninitialized);
    const auto wanted = static_cast<std::size_t>(header.size());
    return VSIFReadL(header.data(), 1, wanted, file.get()) == wanted ? header : QByteArray();
}

enum HeaderField {
    Box = 1,
    GeometryType = 2,
    HasZ = 3,
    HasM = 4,
    HasT = 5,
    HasTm = 6,
    Count = 8,
    NodeSize = 9,
    FieldCount = 14
};

/// How many bytes a field of the header takes in its table; 4 is the distance of what lies elsewhere.
constexpr std::array<qint64, FieldCount> headerFieldSizes{4, 4, 1, 1, 1, 1, 1, 4, 8, 2, 4, 4, 4, 4};

QByteArrayView headerIn(QByteArrayView file) {
    return FlatBuffer(file).piece(fgbHeaderAt, FlatBuffer(file).at<quint32>(fgbHeaderAt - 4));
}

/// A field of the table where the buffer begins; nothing when it has its default.
QByteArrayView headerField(const FlatBuffer& header, int number) {
    const qint64 place = header.field(header.follow(0), number);
    return place < 0 ? QByteArrayView()
                     : header.piece(place, headerFieldSizes.at(static_cast<std::size_t>(number)));
}

/// The numbers of the box, as they are stored.
QByteArrayView headerBox(const FlatBuffer& header) {
    if (headerField(header, Box).isEmpty()) {
        return {};
    }
    const qint64 list = header.follow(header.field(header.follow(0), Box));
    return header.piece(list + 4, 8 * qint64{header.at<quint32>(list)});
}

/// What is made anew with the features.
constexpr std::array<int, 3> renewedFields{Box, Count, NodeSize};

/// A header with a new table before it, which has places for all fields. What the fields point to stays
/// where it is, and what is aligned to eight bytes stays so, with the size of the header before it.
QByteArray withPlaceForAll(const FlatBuffer& header, QByteArrayView all, qint64 boxSize) {
    constexpr qint64 vtable = 4;
    constexpr qint64 table = 44;
    const qint64 box = table + 52;
    const qint64 shift = (box + 4 + boxSize + 7) / 8 * 8;
    QByteArray made(shift, '\0');
    const auto put = [&made](qint64 place, auto value) { qToLittleEndian(value, made.data() + place); };
    put(0, static_cast<quint32>(table));
    put(vtable, static_cast<quint16>(4 + 2 * FieldCount));
    put(vtable + 2, quint16{48});
    put(table, static_cast<qint32>(table - vtable));
    qint64 next = table + 4;
    const auto place = [&](int number) {
        const QByteArrayView old = headerField(header, number);
        const qint64 size = headerFieldSizes.at(static_cast<std::size_t>(number));
        const bool isRenewed =
            std::find(renewedFields.begin(), renewedFields.end(), number) != renewedFields.end();
        if (old.isEmpty() && !isRenewed) {
            return;
        }
        put(vtable + 4 + qint64{2} * number, static_cast<quint16>(next - table));
        if (size == 4 && number != Box) {
            const qint64 target = header.follow(header.field(header.follow(0), number));
            put(next, static_cast<quint32>(shift + target - next));
        } else {
            std::copy(old.begin(), old.end(), made.data() + next);
        }
        next += size;
    };
    for (const qint64 size : {4, 2, 1, 8}) {
        next = size == 8 ? table + 40 : next; // aligned
        for (int number = 0; number < FieldCount; ++number) {
            if (headerFieldSizes.at(static_cast<std::size_t>(number)) == size) {
                place(number);
            }
        }
    }
    const FlatBuffer view(made);
    put(view.field(table, Box), static_cast<quint32>(box - view.field(table, Box)));
    put(box, static_cast<quint32>(boxSize / 8));
    return made.append(all.data(), all.size());
}

} // namespace

QByteArray withFlatGeobufHeader(QByteArrayView before, QByteArrayView written) {
    const QByteArrayView old = headerIn(before);
    const QByteArrayView made = headerIn(written);
    const FlatBuffer oldHeader(old);
    const FlatBuffer madeHeader(made);
    const qint64 table = oldHeader.follow(0);
    for (const int about : {GeometryType, HasZ, HasM, HasT, HasTm}) {
        const auto byteOf = [](QByteArrayView field) { return field.isEmpty() ? '\0' : field[0]; };
        if (byteOf(headerField(oldHeader, about)) != byteOf(headerField(madeHeader, about))) {
            throw std::runtime_error("its coordinates are of a kind that GDAL writes as another");
        }
    }
    const qint64 known = 4 + qint64{2} * FieldCount;
    if (oldHeader.at<quint16>(table - oldHeader.at<qint32>(table)) > known) {
        throw std::runtime_error("its header says more than is known of the format");
    }
    if (headerField(madeHeader, Count).isEmpty() || headerField(madeHeader, NodeSize).isEmpty()) {
        throw std::runtime_error("GDAL writes its header in another form than is known");
    }
    const QByteArrayView box = headerBox(madeHeader);
    const bool hasPlaces =
        headerBox(oldHeader).size() == box.size() && !headerField(oldHeader, Box).isEmpty() &&
        !headerField(oldHeader, Count).isEmpty() && !headerField(oldHeader, NodeSize).isEmpty();
    QByteArray header =
        hasPlaces ? Common::Internal::copyOf(old) : withPlaceForAll(oldHeader, old, box.size());
    const FlatBuffer view{QByteArrayView(header)};
    const auto renew = [&header](QByteArrayView place, QByteArrayView value) {
        std::copy(value.begin(), value.end(), header.data() + (place.data() - header.constData()));
    };
    renew(headerBox(view), box);
    renew(headerField(view, Count), headerField(madeHeader, Count));
    renew(headerField(view, NodeSize), headerField(madeHeader, NodeSize));
    QByteArray file = Common::Internal::copyOf(written.first(fgbHeaderAt));
    qToLittleEndian(static_cast<quint32>(header.size()), file.data() + fgbHeaderAt - 4);
    const QByteArrayView rows = written.sliced(fgbHeaderAt + made.size());
    return file.append(header).append(rows.data(), rows.size());
}

std::optional<std::vector<FlatGeobufType>> flatGeobufTypes(const QByteArray& gdalName) {
    const QByteArray header = headerOf(gdalName);
    const FlatBuffer buffer{header};
    std::vector<FlatGeobufType> types;
    try {
        for (const quint8 type : flatGeobufColumnTypes(buffer, buffer.follow(0))) {
            types.push_back(static_cast<FlatGeobufType>(type));
        }
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
    return types;
}

} // namespace Cartolith::Core::Layers::Internal
