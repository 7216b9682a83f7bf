#include "LabelOptions.h"

#include "Arguments.h"

#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Symbology/GisCategorizedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisGraduatedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisRuleBasedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisSimpleSymbolRenderer.h>
#include <Cartolith/Map/SheetFont.h>

#include <QCommandLineParser>

#include <stdexcept>

using namespace Cartolith::Core;
using namespace Cartolith::Core::Symbology;
using Layers::GisLayerStyle;

namespace {

/// Changes the style of each of a renderer's classes, which it only gives and takes as wholes.
template <typename Renderer, typename Class, typename Function>
void changeClasses(Renderer& renderer, QList<Class> classes, void (Renderer::*clear)(),
                   void (Renderer::*add)(const Class&), Function change) {
    (renderer.*clear)();
    for (Class& one : classes) {
        change(one.style);
        (renderer.*add)(one);
    }
    GisLayerStyle others = renderer.defaultStyle();
    change(others);
    renderer.setDefaultStyle(others);
}

template <typename Function>
void changeStyles(GisSymbolRenderer& renderer, Function change) {
    if (auto* const simple = dynamic_cast<GisSimpleSymbolRenderer*>(&renderer)) {
        GisLayerStyle style = simple->style();
        change(style);
        simple->setStyle(style);
    } else if (auto* const categorized = dynamic_cast<GisCategorizedSymbolRenderer*>(&renderer)) {
        changeClasses(*categorized, categorized->classes(), &GisCategorizedSymbolRenderer::clearClasses,
                      &GisCategorizedSymbolRenderer::addClass, change);
    } else if (auto* const graduated = dynamic_cast<GisGraduatedSymbolRenderer*>(&renderer)) {
        changeClasses(*graduated, graduated->ranges(), &GisGraduatedSymbolRenderer::clearRanges,
                      &GisGraduatedSymbolRenderer::addRange, change);
    } else if (auto* const ruleBased = dynamic_cast<GisRuleBasedSymbolRenderer*>(&renderer)) {
        changeClasses(*ruleBased, ruleBased->rules(), &GisRuleBasedSymbolRenderer::clearRules,
                      &GisRuleBasedSymbolRenderer::addRule, change);
    }
}

void requireLabelField(const Layers::GisLayerVector& layer, const QString& field) {
    if (!field.isEmpty() && layer.getAttributeDefinition(field) == nullptr) {
        throw std::runtime_error(
            QStringLiteral("the layer has no field '%1' for labels").arg(field).toStdString());
    }
}

} // namespace

void LabelOptions::addTo(QCommandLineParser& parser) {
    parser.addOptions({{"labels", "", "field"}, {"label-priority", "", "field"}});
}

QString LabelOptions::help() {
    return QStringLiteral(R"(Labels
  --labels FIELD            name the features by this field, as far as there is room
  --label-priority FIELD    those with a greater value here get their places first; all features are read
)");
}

LabelOptions::LabelOptions(const QCommandLineParser& parser)
    : m_field(parser.value("labels")), m_priorityField(parser.value("label-priority")) {
    if (!m_priorityField.isEmpty() && m_field.isEmpty()) {
        throw UsageError(QStringLiteral("--label-priority goes with --labels"));
    }
}

void LabelOptions::applyTo(GisSymbolRenderer& renderer, const Layers::GisLayerVector& layer) const {
    if (m_field.isEmpty()) {
        return;
    }
    requireLabelField(layer, m_field);
    requireLabelField(layer, m_priorityField);
    changeStyles(renderer, [this](GisLayerStyle& style) {
        style.setShowLabels(true);
        style.setLabelField(m_field);
        style.setLabelPriorityField(m_priorityField);
        style.setLabelFontFamily(Cartolith::Map::sheetFont(1, false).family());
    });
}
