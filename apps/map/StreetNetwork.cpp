#include "StreetNetwork.h"

#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Routing/RoutingNetworkReport.h>
#include <Cartolith/Core/Routing/RoutingPreparation.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Map/NumberText.h>

#include <stdexcept>

using namespace Cartolith::Core;
using Routing::RoutingPoint;
using Routing::RoutingPreparation;
using namespace Cartolith::Map;

StreetNetwork::StreetNetwork(const Layers::GisLayerVector& layer) {
    QList<QList<RoutingPoint>> lines;
    QList<QMap<QString, QVariant>> attributes;
    for (const auto& shape : layer.items()) {
        const auto* const street = dynamic_cast<const Shapes::GisShapePolyline*>(shape.get());
        if (street == nullptr) {
            continue;
        }
        QMap<QString, QVariant> values;
        const auto table = shape->attributeSlot().copyOfTable();
        for (auto it = table.cbegin(); it != table.cend(); ++it) {
            values.insert(it.key(), it.value());
        }
        for (const QList<Shapes::GisShapePoint>& part : street->parts()) {
            QList<RoutingPoint> line;
            line.reserve(part.size());
            for (const Shapes::GisShapePoint& vertex : part) {
                line.append({vertex.x(), vertex.y()});
            }
            lines.append(line);
            attributes.append(values);
        }
    }
    const RoutingPreparation::Options options;
    const auto prepared = RoutingPreparation::prepare(lines, attributes, options);
    m_graph.buildFromPolylines(prepared.lines, prepared.attributes, options.tolerance, false);
    if (m_graph.edgeCount() == 0) {
        throw std::runtime_error("there are no streets (lines) to find a route in");
    }
    m_edges.build(m_graph);
    QStringList remarks;
    const auto remark = [&remarks](int count, const char* what) {
        if (count > 0) {
            remarks.append(NumberText::whole(count) + QLatin1String(what));
        }
    };
    remark(prepared.skippedLines, " lines have no two places");
    remark(prepared.unreadSpeeds, " speeds could not be read");
    remark(prepared.unreadDirections, " directions could not be read");
    m_remarks = remarks.join(QStringLiteral(", "));
}

QString StreetNetwork::summary() const {
    const Routing::RoutingNetworkReport report(m_graph);
    const double share = 100.0 * report.components().constFirst().nodes / m_graph.nodeCount();
    return QStringLiteral(
               "%1 crossings and ends, %2 edges in %3 separate parts, the greatest with %4 % of them")
        .arg(NumberText::whole(m_graph.nodeCount()), NumberText::whole(m_graph.edgeCount()),
             NumberText::whole(report.components().size()), QString::number(share, 'f', 1));
}
