// Any text: as the SVG of a marker it is refused, or drawn into its box and the same again.
#include "FuzzSupport.h"

#include <Cartolith/Map/SvgMarker.h>

#include <QImage>
#include <QPainter>

#include <optional>
#include <stdexcept>

using Cartolith::Map::SvgMarker;

namespace {

QImage drawn(const SvgMarker& marker) {
    QImage image(32, 32, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    marker.draw(painter, QRectF(4, 4, 24, 24));
    return image;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    // What is wrong with a document is for the caller to say.
    static const auto before =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    (void)before;
    std::optional<SvgMarker> marker;
    try {
        marker.emplace(QString::fromUtf8(Fuzz::bytes(data, size)), Qt::red);
    } catch (const std::runtime_error&) {
        return 0;
    }
    const QImage picture = drawn(*marker);
    if (drawn(*marker) != picture) {
        Fuzz::requireSame("another picture", "the same picture", "drawn again");
    }
    return 0;
}
