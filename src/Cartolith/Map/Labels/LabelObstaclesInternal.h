#pragma once

#include <Cartolith/Map/Labels/LabelGridInternal.h>

namespace Cartolith::Map::Labels::Internal {

/// A piece of what labels should not cover: a segment of no length is a point, around which a symbol is.
struct Obstacle {
    QPointF from, to;
    QSizeF half; ///< of the symbol, or half the line's width to each side
    double weight;
    qsizetype owner; ///< the label that it does not matter to
    int whole;       ///< pieces of one line count once
};

/// All obstacles of a map, to ask what a box crosses.
class LabelObstacles {
public:
    explicit LabelObstacles(const QRectF& frame) : m_frame(frame), m_grid(frame, 32.0) {}

    void add(const Obstacle& piece);
    bool isEmpty() const { return m_pieces.empty(); }
    /// The greatest weight of all.
    double heaviest() const { return m_heaviest; }
    /// The weight of those below the boxes of a label, each once; infinite when one weighs more than the
    /// label.
    double crossedBy(std::span<const Box> boxes, qsizetype label, double strength);

private:
    /// A piece with the box around it, which decides most questions.
    struct Entry {
        double left, top, right, bottom;
        int piece;
    };

    QRectF m_frame;
    LabelGrid<std::vector<Entry>> m_grid;
    std::vector<Obstacle> m_pieces;
    double m_heaviest = 0.0;
    std::vector<int> m_met; // of one question
};

} // namespace Cartolith::Map::Labels::Internal
