#pragma once

#include <Cartolith/Map/Drawing/WatchInternal.h>
#include <Cartolith/Map/Labels/AreaScanInternal.h>
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
    explicit LabelObstacles(const QRectF& frame) : m_frame(frame), m_grid(frame, cellSide) {}

    void add(const Obstacle& piece) { add(piece, noArea); }
    /// Everything inside of the rings, and their edges, so many pixels wide.
    void addArea(const Rings& rings, double width, double weight, qsizetype owner, int whole,
                 const Map::Internal::Watch& watch);
    bool isEmpty() const { return m_pieces.empty(); }
    /// The greatest weight of all.
    double heaviest() const { return m_heaviest; }
    /// The weight of those below the boxes of a label, each once; infinite when one weighs more than the
    /// label. Who avoids none is asked for those of infinite weight alone.
    double crossedBy(std::span<const Box> boxes, qsizetype label, double strength, bool avoids);

private:
    /// A piece with the box around it, which decides most questions.
    struct Entry {
        double left, top, right, bottom;
        int piece;
    };

    /// Of an area, beside its edges, which are pieces as those of lines.
    struct Area {
        Scan rows; ///< what is inside along the upper ends of the grid's rows
        double weight;
        qsizetype owner;
        int whole;
    };
    struct Cell {
        std::vector<Entry> entries;
        std::vector<int> areas; ///< that have an edge in it, or all of it inside
    };
    static constexpr double cellSide = 32.0; // pixels
    static constexpr int noArea = -1;

    void add(const Obstacle& piece, int area);
    /// Whether a place, which none of the area's edges is near, is inside.
    bool isInside(const Area& area, QPointF place);

    QRectF m_frame;
    LabelGrid<Cell> m_grid;
    std::vector<Obstacle> m_pieces;
    std::vector<Area> m_areas;
    double m_heaviest = 0.0;
    std::vector<quint32> m_met; // of each whole, the question that met it last
    quint32 m_question = 0;
};

} // namespace Cartolith::Map::Labels::Internal
