#pragma once

#include <Cartolith/Map/LayerBlend.h>

#include <QByteArray>
#include <QList>
#include <QRectF>

class QPainter;

namespace Cartolith::Map::Output::Internal {

/// Transparency groups (ISO 32000-2, 11.4.7) in a page of QPdfWriter, which knows none: what is drawn between
/// two marks becomes a form of its own afterwards, drawn with an opacity and a blend mode as one.
class PdfGroups {
public:
    /// What is drawn reaches no further, in units of the page's device.
    explicit PdfGroups(const QRectF& bounds) : m_bounds(bounds) {}

    /// Groups do not nest. The painter's clip is that of the page then.
    void begin(QPainter& painter, double opacity, LayerBlend blend);
    void end(QPainter& painter);

    bool isEmpty() const { return m_groups.isEmpty(); }

    /// The file with these groups in its first page. \throws std::runtime_error when it is no file of
    /// QPdfWriter with the marks
    QByteArray applied(const QByteArray& pdf) const;

private:
    struct Group {
        double opacity;
        LayerBlend blend;
    };

    const QRectF m_bounds;
    QList<Group> m_groups;
};

} // namespace Cartolith::Map::Output::Internal
