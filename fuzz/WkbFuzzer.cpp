// Any bytes: what is read from them, written and read again is the same, bit for bit.
#include "FuzzSupport.h"
#include "Serialization/SerializationTestSupport.h"

#include <Cartolith/Core/Serialization/GisWkbReader.h>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using Cartolith::Core::Serialization::Wkb::GisWkbReader;
    try {
        const auto shape = GisWkbReader::read(Fuzz::bytes(data, size));
        const QByteArray written = shape->toWkb();
        const auto again = GisWkbReader::read(written);
        Fuzz::requireSame(SerializationTest::bits(*again), SerializationTest::bits(*shape), "read again");
        Fuzz::requireSame(again->toWkb().toStdString(), written.toStdString(), "written again");
    } catch (const std::invalid_argument&) {
    } catch (const std::runtime_error&) { // also for the empty point, which is read and not written
    }
    return 0;
}
