#include <Cartolith/Core/Layers/Files/SourcePathInternal.h>
#include <Cartolith/Core/Layers/Json/JsonFeatureInternal.h>

#include <QByteArrayView>
#include <QFileInfo>
#include <QUuid>
#include <cpl_vsi.h>

#include <algorithm>
#include <memory>
#include <new>

namespace Cartolith::Core::Layers::Internal {

JsonFeature::JsonFeature(const QString& path, const QByteArray& system) {
    const std::unique_ptr<VSILFILE, int (*)(VSILFILE*)> file(VSIFOpenL(gdalNameOf(path).constData(), "rb"),
                                                             VSIFCloseL);
    if (file == nullptr || VSIFSeekL(file.get(), 0, SEEK_END) != 0) {
        return;
    }
    const std::size_t size = VSIFTellL(file.get());
    VSIRewindL(file.get());
    QByteArray begin = R"({"type":"FeatureCollection",)";
    begin += system.isEmpty() ? QByteArray() : R"("crs":)" + system + ',';
    begin += R"("features":[)";
    constexpr QByteArrayView end("]}");
    const auto beginSize = static_cast<std::size_t>(begin.size());
    const std::size_t all = beginSize + size + static_cast<std::size_t>(end.size());
    std::unique_ptr<void, void (*)(void*)> memory(VSIMalloc(all), VSIFree);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    char* const text = static_cast<char*>(memory.get());
    if (VSIFReadL(text + beginSize, 1, size, file.get()) != size) {
        return;
    }
    constexpr QByteArrayView mark("\xEF\xBB\xBF"); // of byte order
    const bool hasMark = QByteArrayView(text + beginSize, static_cast<qsizetype>(size)).startsWith(mark);
    std::copy(begin.cbegin(), begin.cend(), text);
    std::fill_n(text + beginSize, hasMark ? mark.size() : 0, ' ');
    std::copy(end.cbegin(), end.cend(), text + beginSize + size);

    m_folder = "/vsimem/cartolith-" + QUuid::createUuid().toByteArray(QUuid::Id128);
    const QByteArray name = m_folder + '/' + QFileInfo(path).fileName().toUtf8();
    VSILFILE* const made =
        VSIFileFromMemBuffer(name.constData(), static_cast<GByte*>(memory.get()), all, TRUE);
    if (made == nullptr) {
        return;
    }
    static_cast<void>(memory.release()); // the file's now
    VSIFCloseL(made);
    m_name = name;
}

JsonFeature::~JsonFeature() {
    VSIRmdirRecursive(m_folder.constData());
}

} // namespace Cartolith::Core::Layers::Internal
