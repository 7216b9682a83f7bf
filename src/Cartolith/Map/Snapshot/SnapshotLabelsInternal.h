#pragma once

#include <Cartolith/Map/Labels/StyledLabels.h>
#include <Cartolith/Map/LayerSnapshot.h>

#include <QList>
#include <QRectF>

#include <utility>
#include <vector>

namespace Cartolith::Map::Internal {

/// The labels that the styles of snapshots ask for.
class SnapshotLabels {
public:
    /// The texts outlive this object. No label comes into the boxes, in pixels of the view.
    SnapshotLabels(const MapView& view, double scaleDenominator, Labels::LabelTexts& texts,
                   const QList<QRectF>& closedBoxes = {})
        : m_labels(view, scaleDenominator, texts) {
        for (const QRectF& box : closedBoxes) {
            m_labels.addClosedBox(box);
        }
    }

    /// Adds the shapes of a layer, one after the other, while `isWanted()` says so; false where it did not.
    template <typename IsWanted>
    bool add(qsizetype layer, const LayerSnapshot& snapshot, IsWanted isWanted) {
        std::vector<int> styles;
        for (const Core::Layers::GisLayerStyle& style : snapshot.styles()) {
            styles.push_back(m_labels.addStyle(style));
        }
        for (qsizetype i = 0; i < snapshot.count(); ++i) {
            addFeature(snapshot, i, styles[static_cast<std::size_t>(snapshot.styleNumber(i))]);
            m_features.emplace_back(layer, i);
            if (!isWanted()) {
                return false;
            }
        }
        return true;
    }

    Labels::StyledLabels& labels() { return m_labels; }
    /// Layer and position of the feature of a label.
    std::pair<qsizetype, qsizetype> featureOf(qsizetype label) const {
        return m_features[static_cast<std::size_t>(m_labels.featureOf(label))];
    }

private:
    void addFeature(const LayerSnapshot& snapshot, qsizetype i, int style) {
        const auto coordinates = snapshot.coordinates(i);
        switch (snapshot.kind(i)) {
        case LayerSnapshot::Kind::Point:
            m_labels.addPoint(style, snapshot.labelText(i), snapshot.labelPriority(i),
                              {coordinates[0], coordinates[1]});
            break;
        case LayerSnapshot::Kind::Line:
            m_labels.addLine(style, snapshot.labelText(i), snapshot.labelPriority(i), coordinates,
                             snapshot.partEnds(i));
            break;
        case LayerSnapshot::Kind::Area:
            m_labels.addArea(style, snapshot.labelText(i), snapshot.labelPriority(i), coordinates,
                             snapshot.partEnds(i));
            break;
        }
    }

    Labels::StyledLabels m_labels;
    std::vector<std::pair<qsizetype, qsizetype>> m_features;
};

} // namespace Cartolith::Map::Internal
