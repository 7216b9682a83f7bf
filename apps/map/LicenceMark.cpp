#include "LicenceMark.h"

#include <Cartolith/Core/Licensing/LicenceManager.h>
#include <Cartolith/Core/Licensing/LicensedDrivers.h>

#include <QFontMetricsF>
#include <QImage>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <optional>

namespace {

/// As large as the picture's other small texts, but not wider than a fifth of it, if that can still be read.
QFont fontFor(const QSize& picture, const QString& text) {
    constexpr double share = 0.01;
    constexpr double mostWidth = 0.2;
    constexpr int smallest = 8;
    QFont font(QStringLiteral("DejaVu Sans"));
    const double mean = std::sqrt(static_cast<double>(picture.width()) * picture.height());
    font.setPixelSize(std::max(smallest, static_cast<int>(std::lround(share * mean))));
    const double width = QFontMetricsF(font).horizontalAdvance(text);
    if (width > mostWidth * picture.width()) {
        font.setPixelSize(
            std::max(smallest, static_cast<int>(font.pixelSize() * mostWidth * picture.width() / width)));
    }
    return font;
}

const QString markText = QStringLiteral("Cartolith, no licence");

QSize sizeIn(const QFont& font) {
    const QFontMetricsF metrics(font);
    return {static_cast<int>(std::ceil(metrics.horizontalAdvance(markText) + font.pixelSize() / 2.0)),
            static_cast<int>(std::ceil(metrics.height()))};
}

/// On paper of that colour; of its own where there is none.
void drawIn(QPainter& painter, const QFont& font, const QRect& box, std::optional<QColor> paper) {
    painter.setRenderHint(QPainter::TextAntialiasing);
    if (!paper) {
        constexpr int opacity = 190;
        paper = QColor(255, 255, 255, opacity);
        painter.fillRect(box, *paper);
    }
    constexpr int middle = 128;
    painter.setFont(font);
    painter.setPen(
        QColor(qGray(paper->rgb()) < middle ? QStringLiteral("#C8C8C8") : QStringLiteral("#505050")));
    painter.drawText(box, Qt::AlignCenter, markText);
}

std::optional<QColor> onlyColour(const QImage& image, const QRect& box) {
    const QRgb first = image.pixel(box.topLeft());
    for (int y = box.top(); y <= box.bottom(); ++y) {
        for (int x = box.left(); x <= box.right(); ++x) {
            if (image.pixel(x, y) != first) {
                return std::nullopt;
            }
        }
    }
    return QColor(first);
}

} // namespace

bool LicenceMark::isNeeded() {
    using namespace Cartolith::Core::Licensing;
    return !LicenceManager::current()->isPermitted(unmarkedOutputFeature());
}

void LicenceMark::draw(QImage& image) {
    const QFont font = fontFor(image.size(), markText);
    const QSize size = sizeIn(font);
    constexpr int mostOfHeight = 6;
    if (size.width() > image.width() || size.height() * mostOfHeight > image.height()) {
        return;
    }
    const int right = image.width() - size.width();
    const int below = image.height() - size.height();
    QRect box({0, below}, size);
    std::optional<QColor> paper;
    for (const QPoint corner : {QPoint(right, below), QPoint(0, below), QPoint(right, 0), QPoint(0, 0)}) {
        paper = onlyColour(image, QRect(corner, size));
        if (paper) {
            box.moveTopLeft(corner);
            break;
        }
    }
    QPainter painter(&image);
    drawIn(painter, font, box, paper);
}

void LicenceMark::draw(QPainter& painter, const QSize& sheet) {
    const QFont font = fontFor(sheet, markText);
    const QSize size = sizeIn(font);
    drawIn(painter, font, QRect({0, sheet.height() - size.height()}, size), std::nullopt);
}
