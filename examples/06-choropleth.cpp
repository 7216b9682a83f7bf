// Symbology: classes from a column of numbers, a colour each, and the legend that says so.
// Read 04-open-file first.

#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Symbology/GisColorRampRegistry.h>
#include <Cartolith/Core/Symbology/GisSymbolRendererFactory.h>

#include <cstdio>
#include <exception>

using namespace Cartolith::Core;
using namespace Cartolith::Core::Symbology;

int main(int argc, char** argv) {
    try {
        Layers::GisLayerOgrVector countries(argc > 1 ? argv[1] : "data/world-countries.gpkg");
        countries.open();

        // Throws std::invalid_argument when the field is missing or not numeric. Nulls are no problem.
        GisClassificationSettings settings;
        settings.method = GisClassificationMethod::NaturalBreaks;
        settings.classCount = 5;
        settings.ramp = GisColorRampRegistry::ramp("YellowGreenBlue");
        countries.setSymbolRenderer(GisSymbolRendererFactory::graduated(countries, "lifeExp", settings));

        // What a map draws with: one style for each feature.
        const GisSymbolRenderer& renderer = *countries.symbolRenderer();
        const Shapes::GisShape& first = *countries.getShape(1);
        std::printf("%s is filled with %s\n", qPrintable(first.attributeValue("name_long").toString()),
                    qPrintable(renderer.styleForFeature(GisSymbolContext(first)).fillColor()));

        const auto legend = renderer.countedLegendItems(countries.rawShapes());
        for (const GisSymbolLegendItem& item : legend) {
            std::printf("%s  %-18s %3lld countries\n", qPrintable(item.style.fillColor()),
                        qPrintable(item.label), static_cast<long long>(item.count));
        }
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
