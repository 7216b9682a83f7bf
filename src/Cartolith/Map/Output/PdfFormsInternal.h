#pragma once

#include <Cartolith/Map/LayerBlend.h>

#include <QByteArray>
#include <QList>
#include <QRectF>
#include <QString>

class QPainter;

namespace Cartolith::Map::Output::Internal {

/// Form XObjects (ISO 32000-2, 8.10) in a page of QPdfWriter, which knows none: what is drawn between two
/// marks becomes a form afterwards. A group (11.4.7 there) is drawn where it was, with an opacity and a blend
/// mode as one; a marker wherever its places are. Lengths are units of the page's device; the painter has
/// these when places and markers are drawn. Texts are marked in the same way.
class PdfForms {
public:
    /// Groups reach no further.
    explicit PdfForms(const QRectF& bounds) : m_bounds(bounds) {}

    /// Groups do not nest. The painter's clip is that of the page then.
    void beginGroup(QPainter& painter, double opacity, LayerBlend blend);
    void endGroup(QPainter& painter);

    /// The number of a marker that is to be drawn after all groups.
    int addMarker() { return m_markers++; }
    void drawPlace(QPainter& painter, int marker, QPointF place);
    /// What is drawn within the bounds until its end is the marker, which has its places at their middle.
    /// They lie on the page: Qt draws gradients as pictures, which end with it.
    void beginMarker(QPainter& painter, int marker, const QRectF& bounds);
    void endMarker(QPainter& painter);

    /// What is drawn until its end says this to who searches or copies (14.9.4 there), whatever its letters
    /// are. Texts do not nest, and no group or marker begins within one.
    void beginText(QPainter& painter, const QString& text);
    void endText(QPainter& painter);

    bool isEmpty() const { return m_forms.isEmpty() && m_texts.isEmpty(); }

    /// The file with these forms and texts in its first page. \throws std::runtime_error when it is no file
    /// of QPdfWriter with the marks
    QByteArray applied(const QByteArray& pdf) const;

private:
    struct Form {
        QRectF bounds;
        double opacity = 1.0; ///< of a group
        LayerBlend blend = LayerBlend::Normal;
        int marker = -1; ///< of which it is the form; -1 of a group
    };
    struct Content;

    void begin(QPainter& painter, const Form& form);
    Content contentOf(const QByteArray& operators) const;
    QByteArray withTexts(const QByteArray& operators) const;

    const QRectF m_bounds;
    QList<Form> m_forms;    // as they were begun
    QList<QString> m_texts; // likewise
    int m_markers = 0;
};

} // namespace Cartolith::Map::Output::Internal
