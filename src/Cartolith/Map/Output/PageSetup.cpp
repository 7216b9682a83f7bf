#include <Cartolith/Map/GroundScale.h>
#include <Cartolith/Map/Output/PageSetup.h>

#include <QPageLayout>
#include <QPageSize>
#include <QPdfWriter>

#include <cmath>
#include <stdexcept>

namespace Cartolith::Map::Output {

std::optional<PageSetup> PageSetup::named(const QString& name, bool isLandscape) {
    for (int i = 0; i <= QPageSize::LastPageSize; ++i) {
        const auto id = static_cast<QPageSize::PageSizeId>(i);
        if (id != QPageSize::Custom && QPageSize::key(id).compare(name, Qt::CaseInsensitive) == 0) {
            PageSetup setup;
            setup.size = QPageSize::size(id, QPageSize::Millimeter);
            if (isLandscape != (setup.size.width() > setup.size.height())) { // some lie by themselves
                setup.size.transpose();
            }
            return setup;
        }
    }
    return std::nullopt;
}

QSizeF PageSetup::sizeInPixels() const {
    return size * (dotsPerInch / 25.4);
}

QRectF PageSetup::frame() const {
    const double pixels = dotsPerInch / 25.4;
    const QRectF inside(margins.left() * pixels, margins.top() * pixels,
                        (size.width() - margins.left() - margins.right()) * pixels,
                        (size.height() - margins.top() - margins.bottom()) * pixels);
    return inside.isValid() ? inside : QRectF();
}

MapView PageSetup::view(QPointF center, double denominator, const GroundScale& ground) const {
    const Core::Shapes::GisExtent place(center.x(), center.y(), center.x(), center.y());
    return view(place).atScale(denominator, ground);
}

MapView PageSetup::view(const Core::Shapes::GisExtent& extent) const {
    constexpr double ofStyles = 96.0; // pixels to the inch
    const double ratio = dotsPerInch / ofStyles;
    const QRectF onSheet = frame();
    return MapView(extent, QRectF(onSheet.topLeft() / ratio, onSheet.size() / ratio))
        .withDevicePixelRatio(ratio);
}

void PageSetup::apply(QPdfWriter& writer) const {
    if (!(std::abs(dotsPerInch - std::round(dotsPerInch)) < 1e-6 && dotsPerInch > 0.5 && dotsPerInch < 1e6)) {
        throw std::invalid_argument("a page has a whole number of dots to the inch");
    }
    const bool isLandscape = size.width() > size.height();
    QPageLayout layout(QPageSize(isLandscape ? size.transposed() : size, QPageSize::Millimeter, QString(),
                                 QPageSize::ExactMatch),
                       isLandscape ? QPageLayout::Landscape : QPageLayout::Portrait, QMarginsF());
    layout.setMode(QPageLayout::FullPageMode);
    writer.setPageLayout(layout);
    writer.setResolution(qRound(dotsPerInch));
}

} // namespace Cartolith::Map::Output
