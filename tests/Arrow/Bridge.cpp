// What the script beside calls: a layer of a file as an Arrow stream, from the file or from memory.

#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>

#include <cstdio>
#include <exception>

using namespace Cartolith::Core::Layers;

extern "C" __attribute__((visibility("default"))) int openStream(const char* path, const char* filter, int inMemory,
                                                                 ArrowArrayStream* stream) noexcept {
    try {
        GisFeatureRequest request;
        request.filter = GisFeatureFilter::fromText(QString::fromUtf8(filter));
        GisArrowOptions options;
        options.featureIdColumn = "id";
        options.rowsInBatch = 4;
        if (inMemory == 0) {
            GisFeatureReader::toArrow(GisFeatureReader::fromSource(path, {}, request), *stream, options);
            return 0;
        }
        static std::unique_ptr<GisLayerOgrVector> layer; // which streams of it do not keep
        layer = std::make_unique<GisLayerOgrVector>(QString::fromUtf8(path));
        layer->open();
        GisFeatureReader::toArrow(layer->read(request), *stream, options);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
