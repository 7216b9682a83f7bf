#include <Cartolith/Core/Layers/Ogr/FlatBufferInternal.h>
#include <Cartolith/Core/Layers/Ogr/FlatGeobufHeaderInternal.h>

#include <QByteArrayView>
#include <cpl_vsi.h>

#include <array>
#include <memory>

namespace Cartolith::Core::Layers::Internal {

namespace {

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
