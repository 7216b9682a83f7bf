// Any text: the filter that is read from it is written as a text that is read and written as the same, and
// looks at the same fields.
#include "FuzzSupport.h"

#include <Cartolith/Core/Layers/GisFeatureFilter.h>

#include <stdexcept>

using Cartolith::Core::Layers::GisFeatureFilter;

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    GisFeatureFilter filter;
    try {
        filter = GisFeatureFilter::fromText(QString::fromUtf8(Fuzz::bytes(data, size)));
    } catch (const std::runtime_error&) {
        return 0;
    }
    const QString text = filter.toText();
    const GisFeatureFilter again = GisFeatureFilter::fromText(text);
    Fuzz::requireSame(again.toText().toStdString(), text.toStdString(), "written again");
    Fuzz::requireSame(again.fields().join('|').toStdString(), filter.fields().join('|').toStdString(),
                      "fields");
    const auto value = [](const QString& field) { return QVariant(field); };
    Fuzz::requireSame(again.matches(value) ? "yes" : "no", filter.matches(value) ? "yes" : "no", "of a row");
    return 0;
}
