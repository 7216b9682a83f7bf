#include "BoxData.h"

#include "../../tests/Spatial/CountyBoxes.h"

#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>

using Cartolith::Core::Shapes::GisExtent;
using Cartolith::Core::Shapes::GisShape;
namespace RTree = Cartolith::Core::Spatial::RTree;

namespace {

GisExtent boxAround(double x, double y, double width, double height) {
    return {x - width / 2, y - height / 2, x + width / 2, y + height / 2};
}

} // namespace

BoxData::BoxData(std::string dataName, std::vector<GisExtent> extents)
    : name(std::move(dataName)), boxes(std::move(extents)) {
    shapes.reserve(boxes.size());
    pointers.reserve(static_cast<qsizetype>(boxes.size()));
    for (const GisExtent& box : boxes) {
        pointers.append(&shapes.emplace_back(box));
    }
}

BoxData BoxData::uniform(int count) {
    std::mt19937_64 random(20231);
    std::uniform_real_distribution<double> place(0.0, 1.0);
    std::uniform_real_distribution<double> side(0.0, 1.0 / std::sqrt(count));
    std::vector<GisExtent> boxes;
    for (int i = 0; i < count; ++i) {
        const double x = place(random);
        const double y = place(random);
        const double width = side(random);
        boxes.push_back(boxAround(x, y, width, side(random)));
    }
    return {"uniform" + std::to_string(count), std::move(boxes)};
}

BoxData BoxData::clustered(int count) {
    std::mt19937_64 random(20232);
    std::uniform_real_distribution<double> place(0.0, 1.0);
    std::uniform_real_distribution<double> side(0.0, 0.3 / std::sqrt(count));
    std::normal_distribution<double> spread;
    std::vector<GisExtent> clusters;
    for (int i = 0; i < 100; ++i) {
        const double x = place(random);
        const double y = place(random);
        clusters.emplace_back(x, y, x + 0.002 + 0.03 * place(random), y);
    }
    std::vector<GisExtent> boxes;
    for (int i = 0; i < count; ++i) {
        // The square favours the first clusters.
        const double pick = place(random);
        const GisExtent& cluster = clusters[static_cast<std::size_t>(pick * pick * 100.0)];
        const double x = cluster.xMin() + cluster.width() * spread(random);
        const double y = cluster.yMin() + cluster.width() * spread(random);
        const double width = side(random);
        boxes.push_back(boxAround(x, y, width, side(random)));
    }
    return {"clustered" + std::to_string(count), std::move(boxes)};
}

BoxData BoxData::counties() {
    return {"counties", countyBoxes()};
}

std::vector<GisExtent> BoxData::windows(double hits) const {
    RTree::RTreeSpatialIndex index(64, RTree::RTreeBuildStrategy::Hilbert);
    index.build(pointers);
    std::mt19937_64 random(20233);
    std::uniform_int_distribution<std::size_t> pick(0, boxes.size() - 1);
    std::vector<std::pair<double, double>> centers;
    // A few hundred small windows, over and over, would be known to the branch predictor by heart.
    const int count = hits < 100.0 ? 3000 : 300;
    for (int i = 0; i < count; ++i) {
        const GisExtent& box = boxes[pick(random)];
        centers.emplace_back((box.xMin() + box.xMax()) / 2, (box.yMin() + box.yMax()) / 2);
    }
    const GisExtent all =
        RTree::RTreeSpatialIndex::calculateExtent(QList<GisExtent>(boxes.begin(), boxes.end()));
    std::vector<GisExtent> windows(centers.size());
    QList<GisShape*> found;
    double low = 0.0;
    double high = std::max(all.width(), all.height());
    for (int step = 0; step < 24; ++step) {
        const double side = (low + high) / 2;
        std::transform(centers.begin(), centers.end(), windows.begin(), [side](const auto& center) {
            return boxAround(center.first, center.second, side, side);
        });
        double total = 0.0;
        // A sample is enough to find the size of the large windows.
        const std::size_t sample = hits > 10000.0 ? 20 : windows.size();
        for (std::size_t i = 0; i < sample; ++i) {
            found.clear();
            total += index.search(windows[i], found);
        }
        (total / static_cast<double>(sample) < hits ? low : high) = side;
    }
    return windows;
}
