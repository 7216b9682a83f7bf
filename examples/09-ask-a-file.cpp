// Asking a file for what is needed, and no more: the most populous countries of a part of the world, in the
// order of their population, with coarse shapes in metres. Read 04-open-file first. Takes the file as its
// argument.

#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <cstdio>
#include <exception>

using namespace Cartolith::Core;

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    try {
        const auto mercator = CoordinateSystems::CoordinateSystemFactory::fromEpsg(3857);

        Layers::GisFeatureRequest request;
        request.coordinateSystem = mercator;                      // of the extent and of the answer
        request.extent = Shapes::GisExtent(-2e6, 4e6, 5e6, 11e6); // Europe, in metres
        request.filter =
            Layers::GisFeatureFilter::fromText(QStringLiteral("pop >= 10e6 AND NOT name_long ILIKE 'r%'"));
        request.fields = QStringList{QStringLiteral("name_long"), QStringLiteral("pop")};
        request.order = {{QStringLiteral("pop"), Qt::DescendingOrder}};
        request.limit = 5;
        request.tolerance = Layers::GisFeatureRequest::toleranceForScale(20e6, *mercator);

        // One feature in memory at a time, but for what an order needs.
        const auto reader =
            Layers::GisFeatureReader::fromSource(QString::fromLocal8Bit(argv[1]), {}, request);
        while (reader->next()) {
            std::printf("%6lld  %-16s %12.0f  %7.0f km across\n", static_cast<long long>(reader->featureId()),
                        qPrintable(reader->attributeValue(QStringLiteral("name_long")).toString()),
                        reader->attributeValue(QStringLiteral("pop")).toDouble(),
                        reader->shape()->extent().width() / 1000.0);
        }
        return reader->state() == Layers::GisFeatureReader::State::AtEnd ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
