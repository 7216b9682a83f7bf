#include <Cartolith/Map/Furniture/DegreeFrame.h>
#include <Cartolith/Map/Graticule.h>
#include <Cartolith/Map/SheetFont.h>

#include <QFontMetricsF>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <vector>

namespace Cartolith::Map::Furniture {

namespace {

using Side = DegreeFrame::Side;

struct Meeting {
    bool isMeridian;
    double degrees;
    double along; ///< the side, in pixels from its beginning
};

struct Candidate {
    QString text;
    double from; ///< along the side
    double to;
};

/// Where the piece from a to b meets the side, if it does so steeply enough: the way along the side.
bool meets(QPointF a, QPointF b, const QRectF& frame, Side side, double& along) {
    const bool isLevel = side == Side::Top || side == Side::Bottom;
    const double line = side == Side::Top      ? frame.top()
                        : side == Side::Bottom ? frame.bottom()
                        : side == Side::Left   ? frame.left()
                                               : frame.right();
    const double from = isLevel ? a.y() : a.x();
    const double to = isLevel ? b.y() : b.x();
    // One end belongs to the piece, so that a vertex on the side counts once.
    if ((from < line) == (to < line)) {
        return false;
    }
    const QPointF way = b - a;
    constexpr double steepEnough = 0.5; // sine of 30 degrees
    if (!(std::abs(to - from) >= steepEnough * std::hypot(way.x(), way.y()))) {
        return false;
    }
    const QPointF at = a + way * ((line - from) / (to - from));
    along = isLevel ? at.x() - frame.left() : at.y() - frame.top();
    return true;
}

} // namespace

QString degreeText(double degrees, bool isLongitude, double step) {
    constexpr double thousandth = 3600.0 * 1000.0;
    const auto in = [](double value) { return std::llround(std::abs(value) * thousandth); };
    const qint64 value = in(degrees);
    const qint64 each = in(step);
    constexpr qint64 minute = 60'000;
    constexpr qint64 degree = 60 * minute;
    const auto part = [](qint64 number) {
        return QString::number(number).rightJustified(2, QLatin1Char('0'));
    };
    QString text = QString::number(value / degree) + QChar(0x00B0);
    if (each % degree != 0 || value % degree != 0) {
        text += part(value % degree / minute) + QChar(0x2032);
    }
    if (each % minute != 0 || value % minute != 0) {
        text += part(value % minute / 1000);
        if (each % 1000 != 0 || value % 1000 != 0) {
            text += QLatin1Char('.') + QString::number(value % 1000).rightJustified(3, QLatin1Char('0'));
        }
        text += QChar(0x2033);
    }
    if (value == 0 || (isLongitude && value == 180 * degree)) {
        return text;
    }
    return text + QLatin1Char(isLongitude ? (degrees < 0.0 ? 'W' : 'E') : (degrees < 0.0 ? 'S' : 'N'));
}

DegreeFrame::DegreeFrame(const Graticule& graticule, const QRectF& frame, int letterPixels)
    : m_font(sheetFont(std::max(1, letterPixels), false)) {
    const QFontMetricsF metrics(m_font);
    const auto textOf = [&graticule](bool isMeridian, double degrees) {
        return degreeText(degrees, isMeridian,
                          isMeridian ? graticule.meridianStep() : graticule.parallelStep());
    };
    for (const Side side : {Side::Top, Side::Bottom, Side::Left, Side::Right}) {
        const bool isLevel = side == Side::Top || side == Side::Bottom;
        QList<Meeting> meetings;
        for (const Graticule::Line& line : graticule.degreeLines()) {
            for (qsizetype i = 1; i < line.pixels.size(); ++i) {
                double along = 0.0;
                if (meets(line.pixels.at(i - 1), line.pixels.at(i), frame, side, along)) {
                    meetings.append({line.isMeridian, line.degrees, along});
                }
            }
        }
        std::sort(meetings.begin(), meetings.end(),
                  [](const Meeting& a, const Meeting& b) { return a.along < b.along; });
        const double length = isLevel ? frame.width() : frame.height();
        const double gap = letterPixels * 0.8;
        std::vector<Candidate> taken;
        for (const bool ofMeridians : {isLevel, !isLevel}) {
            const double step = ofMeridians ? graticule.meridianStep() : graticule.parallelStep();
            // Every line, or every second, third...: the first of these that have room beside each other.
            for (const int every : {1, 2, 3, 4, 6, 12}) {
                std::vector<Candidate> all;
                bool isRoomy = true;
                for (const Meeting& meeting : std::as_const(meetings)) {
                    if (meeting.isMeridian != ofMeridians ||
                        std::llround(meeting.degrees / step) % every != 0) {
                        continue;
                    }
                    const QString text = textOf(ofMeridians, meeting.degrees);
                    const double half = metrics.horizontalAdvance(text) / 2.0;
                    const Candidate one{text, meeting.along - half, meeting.along + half};
                    if (one.from >= 0.0 && one.to <= length) {
                        isRoomy = isRoomy && (all.empty() || one.from >= all.back().to + gap);
                        all.push_back(one);
                    }
                }
                if (isRoomy) {
                    for (const Candidate& one : all) {
                        if (std::none_of(taken.cbegin(), taken.cend(), [&](const Candidate& other) {
                                return one.from < other.to + gap && one.to > other.from - gap;
                            })) {
                            taken.push_back(one);
                        }
                    }
                    break;
                }
            }
        }
        for (const Candidate& one : taken) {
            const double along = (one.from + one.to) / 2.0;
            m_labels.append(
                {one.text, side,
                 isLevel ? QPointF(frame.left() + along, side == Side::Top ? frame.top() : frame.bottom())
                         : QPointF(side == Side::Left ? frame.left() : frame.right(), frame.top() + along)});
        }
    }

    // Parallels of a map of the world end at its edge, which need not be the frame.
    QList<QRectF> taken;
    for (const Graticule::Line& line : graticule.degreeLines()) {
        if (line.isMeridian || line.pixels.size() < 2) {
            continue;
        }
        const QString text = textOf(false, line.degrees);
        const double gap = letterPixels * 0.5;
        const QSizeF size(metrics.horizontalAdvance(text), letterPixels * 1.2);
        const bool goesRight = line.pixels.constLast().x() > line.pixels.constFirst().x();
        for (const bool isRight : {false, true}) {
            const QPointF end = isRight == goesRight ? line.pixels.constLast() : line.pixels.constFirst();
            QRectF box({}, size);
            box.moveCenter(end + QPointF((isRight ? 1.0 : -1.0) * (size.width() / 2.0 + gap), 0.0));
            const bool isFree = std::none_of(taken.cbegin(), taken.cend(),
                                             [&box](const QRectF& other) { return box.intersects(other); });
            if (isFree && frame.contains(box) && !graticule.worldOutline().isEmpty() &&
                !graticule.worldOutline().containsPoint(box.center(), Qt::OddEvenFill)) {
                taken.append(box);
                m_labels.append({text, Side::Inside, box.center()});
            }
        }
    }
}

void DegreeFrame::draw(QPainter& painter, const SheetColours& colours) const {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(m_font);
    const double letters = m_font.pixelSize();
    const double tick = letters * 0.3;
    for (const Label& label : m_labels) {
        painter.save();
        painter.translate(label.place);
        if (label.side == Side::Left || label.side == Side::Right) {
            painter.rotate(-90.0); // read from below, and above is then the left
        }
        const bool isAbove = label.side == Side::Top || label.side == Side::Left;
        const double away = label.side == Side::Inside ? 0.0 : isAbove ? -1.0 : 1.0;
        painter.setPen(QPen(colours.faintInk, 1.0));
        painter.drawLine(QPointF(0.0, 0.0), QPointF(0.0, away * tick));
        painter.setPen(colours.ink);
        const double wide = letters * 20.0;
        QRectF box(-wide, 0.0, 2.0 * wide, letters * 1.2);
        box.moveCenter(QPointF(0.0, away * (tick + letters * 0.6)));
        painter.drawText(box, Qt::AlignCenter | Qt::TextSingleLine | Qt::TextDontClip, label.text);
        painter.restore();
    }
    painter.restore();
}

} // namespace Cartolith::Map::Furniture
