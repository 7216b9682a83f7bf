#include "LicenceMark.h"

#include <Cartolith/Core/Licensing/LicenceManager.h>
#include <Cartolith/Core/Licensing/LicensedDrivers.h>

#include <QFontMetricsF>
#include <QImage>
#include <QPainter>

#include <algorithm>

bool LicenceMark::isNeeded() {
    using namespace Cartolith::Core::Licensing;
    return !LicenceManager::current()->isPermitted(unmarkedOutputFeature());
}

void LicenceMark::draw(QImage& image) {
    constexpr int smallestSide = 80;
    if (std::min(image.width(), image.height()) < smallestSide) {
        return;
    }
    const QString text = QStringLiteral("Cartolith, no licence");
    QPainter painter(&image);
    painter.setRenderHint(QPainter::TextAntialiasing);
    QFont font(QStringLiteral("DejaVu Sans"));
    constexpr double share = 0.2;
    constexpr int largest = 12;
    constexpr int smallest = 7;
    font.setPixelSize(largest);
    while (font.pixelSize() > smallest &&
           QFontMetricsF(font).horizontalAdvance(text) > share * image.width()) {
        font.setPixelSize(font.pixelSize() - 1);
    }
    const QFontMetricsF metrics(font);
    constexpr double padding = 3.0;
    const QSizeF size(metrics.horizontalAdvance(text) + 2 * padding, metrics.height() + padding);
    const QRectF box(QPointF(image.width() - size.width(), image.height() - size.height()), size);
    constexpr int opacity = 190; // what lies below shows through
    painter.fillRect(box, QColor(255, 255, 255, opacity));
    painter.setFont(font);
    painter.setPen(QColor(QStringLiteral("#404040")));
    painter.drawText(box, Qt::AlignCenter, text);
}
