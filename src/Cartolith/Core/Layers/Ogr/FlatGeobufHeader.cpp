#include <Cartolith/Core/Layers/Ogr/FlatGeobufHeaderInternal.h>

#include <QByteArrayView>
#include <QtEndian>
#include <cpl_vsi.h>

#include <array>
#include <memory>

namespace Cartolith::Core::Layers::Internal {

namespace {

/// A piece of a flat buffer: tables, whose fields are found through a list of offsets, and vectors of them.
/// https://flatbuffers.dev/internals. Whatever points outside is not there.
class FlatBuffer {
public:
    explicit FlatBuffer(QByteArrayView bytes) : m_bytes(bytes) {}

    template <typename Value>
    std::optional<Value> at(qint64 place) const {
        const qint64 last = m_bytes.size() - static_cast<qint64>(sizeof(Value));
        return place >= 0 && place <= last ? std::optional(qFromLittleEndian<Value>(m_bytes.data() + place))
                                           : std::nullopt;
    }
    /// Where what lies at a distance from here begins.
    std::optional<qint64> follow(qint64 place) const {
        const auto distance = at<quint32>(place);
        return distance ? std::optional(place + *distance) : std::nullopt;
    }
    /// The place of a field of a table; -1 when it has its default.
    std::optional<qint64> field(qint64 table, int number) const {
        const auto back = at<qint32>(table);
        const qint64 offsets = table - back.value_or(0);
        const auto size = back ? at<quint16>(offsets) : std::nullopt;
        const int slot = 4 + 2 * number;
        if (!size || slot + 2 > *size) {
            return size ? std::optional<qint64>(-1) : std::nullopt;
        }
        const auto offset = at<quint16>(offsets + slot);
        return !offset        ? std::nullopt
               : *offset == 0 ? std::optional<qint64>(-1)
                              : std::optional(table + *offset);
    }

private:
    QByteArrayView m_bytes;
};

struct FileCloser {
    void operator()(VSILFILE* file) const { VSIFCloseL(file); }
};

QByteArray headerOf(const QByteArray& gdalName) {
    const std::unique_ptr<VSILFILE, FileCloser> file(VSIFOpenL(gdalName.constData(), "rb"));
    constexpr std::size_t lead = 12; // the mark of the format, and the size of the header
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

} // namespace

std::optional<std::vector<FlatGeobufType>> flatGeobufTypes(const QByteArray& gdalName) {
    const QByteArray header = headerOf(gdalName);
    const FlatBuffer buffer{header};
    constexpr int columnsField = 7;
    constexpr int typeField = 1;
    const auto table = buffer.follow(0);
    const auto columns = table ? buffer.field(*table, columnsField) : std::nullopt;
    if (!columns) {
        return std::nullopt;
    }
    std::vector<FlatGeobufType> types;
    const auto list = *columns < 0 ? std::nullopt : buffer.follow(*columns);
    const quint32 count = list ? buffer.at<quint32>(*list).value_or(0) : 0;
    for (qint64 i = 0; i < count; ++i) {
        const auto column = buffer.follow(*list + 4 * (i + 1));
        const auto type = column ? buffer.field(*column, typeField) : std::nullopt;
        const auto value = type && *type >= 0 ? buffer.at<quint8>(*type) : std::nullopt;
        if (!type || (*type >= 0 && !value)) {
            return std::nullopt;
        }
        types.push_back(static_cast<FlatGeobufType>(value.value_or(0)));
    }
    return types;
}

} // namespace Cartolith::Core::Layers::Internal
