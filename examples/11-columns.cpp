// Handing features to whoever reads columns: the populous countries of a file as an Arrow stream, as pandas,
// polars or DuckDB take it, here read by a consumer of a few lines. Read 09-ask-a-file first. Takes the file
// as its argument.

#include <Cartolith/Core/Layers/GisFeatureReader.h>

#include <ogr_recordbatch.h> // or any other header with the structures of Arrow's C interface

#include <cstdint>
#include <cstdio>
#include <exception>

using namespace Cartolith::Core;

namespace {

/// Adds up a column of 64-bit real numbers.
double sumOf(const ArrowArray& column) {
    const auto* const isThere = static_cast<const std::uint8_t*>(column.buffers[0]); // null: all are
    const auto* const values = static_cast<const double*>(column.buffers[1]);
    double sum = 0.0;
    for (std::int64_t i = 0; i < column.length; ++i) {
        sum += isThere == nullptr || (isThere[i / 8] >> (i % 8) & 1U) != 0 ? values[i] : 0.0;
    }
    return sum;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    try {
        Layers::GisFeatureRequest request;
        request.filter = Layers::GisFeatureFilter::fromText(QStringLiteral("pop >= 10e6"));
        request.fields = QStringList{QStringLiteral("pop")};

        ArrowArrayStream stream = {};
        Layers::GisFeatureReader::toArrow(
            Layers::GisFeatureReader::fromSource(QString::fromLocal8Bit(argv[1]), {}, request), stream);

        ArrowSchema schema = {};
        int code = stream.get_schema(&stream, &schema);
        for (std::int64_t i = 0; code == 0 && i < schema.n_children; ++i) {
            std::printf("%s: \"%s\"\n", schema.children[i]->name, schema.children[i]->format);
        }
        ArrowArray batch = {};
        while (code == 0 && (code = stream.get_next(&stream, &batch)) == 0 && batch.release != nullptr) {
            std::printf("%lld countries with %.0f inhabitants\n", static_cast<long long>(batch.length),
                        sumOf(*batch.children[0]));
            batch.release(&batch);
        }
        if (code != 0) {
            std::fprintf(stderr, "%s\n", stream.get_last_error(&stream));
        }
        if (schema.release != nullptr) {
            schema.release(&schema);
        }
        stream.release(&stream);
        return code == 0 ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
