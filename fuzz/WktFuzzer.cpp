// Any text: what is read from it and written is read and written again as the same text. (Not the same bits:
// the writer rounds to 16 decimals, once.)
#include "FuzzSupport.h"

#include <Cartolith/Core/Serialization/GisWktReader.h>

#include <QString>

#include <optional>
#include <stdexcept>

namespace {

using Cartolith::Core::Serialization::Wkt::GisWktReader;

/// Written as read; nothing when it cannot be read.
std::optional<QString> rewritten(const QString& text) {
    try {
        return GisWktReader::read(text)->toWkt();
    } catch (const std::invalid_argument&) {
    } catch (const std::runtime_error&) {
    }
    return std::nullopt;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const auto text = rewritten(QString::fromUtf8(Fuzz::bytes(data, size)));
    // A point that is not a number is empty, which is written but not read; a ring that starts with one never
    // counts as closed.
    if (text && *text != u"POINT EMPTY" && !text->contains(u"nan")) {
        Fuzz::requireSame(rewritten(*text).value_or("unreadable").toStdString(), text->toStdString(),
                          "read again");
    }
    return 0;
}
