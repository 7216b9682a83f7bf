#include "MapSheet.h"

#include "Graticule.h"

#include <QFontMetrics>
#include <QPainter>

#include <optional>
#include <utility>

using namespace Cartolith::Core;

namespace {

constexpr QRgb paper = 0xFFFFFFFF;
constexpr QRgb sea = 0xFFDCE8F0;
constexpr QRgb seaLine = 0xFFB4C8D6;
constexpr QRgb ink = 0xFF253238;
constexpr QRgb faintInk = 0xFF6B7C85;

QFont fontOf(int pixels, bool bold) {
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(pixels);
    font.setBold(bold);
    return font;
}

} // namespace

QRectF MapSheet::mapFrame(const Options& options) {
    const double margin = options.size.height() * 0.025;
    const double head = options.title.isEmpty() ? margin : options.size.height() * 0.085;
    const double foot = options.note.isEmpty() ? margin : options.size.height() * 0.045;
    return {margin, head, options.size.width() - 2 * margin, options.size.height() - head - foot};
}

MapSheet::MapSheet(Options options, const Shapes::GisExtent& extent,
                   std::shared_ptr<CoordinateSystems::CoordinateSystem> system)
    : m_options(std::move(options)), m_system(std::move(system)),
      // A little air between the data and the frame.
      m_view(extent.inflate(extent.width() * 0.02, extent.height() * 0.02), mapFrame(m_options)) {}

QImage MapSheet::draw(const QList<Shapes::GisShape*>& shapes, const MapPainter::Styles& styles) const {
    QImage image(m_options.size, QImage::Format_ARGB32_Premultiplied);
    image.fill(paper);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF frame = m_view.frame();

    std::optional<Graticule> graticule;
    if (m_options.graticule && m_system != nullptr) {
        graticule.emplace(*m_system, m_view);
    }

    painter.save();
    painter.setClipRect(frame);
    if (graticule) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor::fromRgba(sea));
        if (graticule->worldOutline().isEmpty()) {
            painter.drawRect(frame);
        } else {
            painter.drawPolygon(graticule->worldOutline());
        }
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(QColor::fromRgba(seaLine), 0.8));
        for (const QPolygonF& line : graticule->lines()) {
            painter.drawPolyline(line);
        }
    }
    painter.restore();

    MapPainter(painter, m_view).draw(shapes, styles);

    painter.setBrush(Qt::NoBrush);
    if (graticule && !graticule->worldOutline().isEmpty()) {
        painter.save();
        painter.setClipRect(frame);
        painter.setPen(QPen(QColor::fromRgba(faintInk), 1.2));
        painter.drawPolygon(graticule->worldOutline());
        painter.restore();
    }
    painter.setPen(QPen(QColor::fromRgba(faintInk), 1.0));
    painter.drawRect(frame);

    const int height = m_options.size.height();
    if (!m_options.title.isEmpty()) {
        painter.setPen(QColor::fromRgba(ink));
        painter.setFont(fontOf(qMax(10, height / 26), true));
        painter.drawText(QRectF(frame.left(), 0, frame.width(), frame.top()), Qt::AlignCenter,
                         painter.fontMetrics().elidedText(m_options.title, Qt::ElideRight,
                                                          static_cast<int>(frame.width())));
    }
    if (!m_options.note.isEmpty()) {
        painter.setPen(QColor::fromRgba(faintInk));
        painter.setFont(fontOf(qMax(8, height / 60), false));
        painter.drawText(QRectF(frame.left(), frame.bottom(), frame.width(), height - frame.bottom()),
                         Qt::AlignVCenter | Qt::AlignRight,
                         painter.fontMetrics().elidedText(m_options.note, Qt::ElideRight,
                                                          static_cast<int>(frame.width())));
    }
    return image;
}
