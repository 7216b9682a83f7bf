// The first byte says what the rest is: a geometry or features.
//
// A geometry read straight from its text is that read by way of Qt's objects, or the same error; written and
// read again it is the same. Features that come a few bytes at a time are those that come at once; written
// and read again they are the same.
#include "FuzzSupport.h"
#include "Serialization/FeaturesTestSupport.h"

#include <Cartolith/Core/Serialization/GisGeoJsonFeatureWriter.h>
#include <Cartolith/Core/Serialization/GisGeoJsonReader.h>

#include <QBuffer>

namespace {

using namespace FeaturesTest;
using Fuzz::requireSame;

void tryGeometry(const QString& text) {
    std::unique_ptr<GisShape> shape;
    const std::string straight = outcome([&] {
        shape = GisGeoJsonReader::read(text);
        return bits(*shape);
    });
    requireSame(straight, outcome([&] {
                    return bits(*GisGeoJsonReader::read(GisGeoJsonReader::parseJsonObject(text)));
                }),
                "straight and by way of objects");
    if (shape) {
        const QString written = shape->toGeoJson();
        const auto again = GisGeoJsonReader::read(written);
        requireSame(again->toGeoJson().toStdString(), written.toStdString(), "written again");
        if (dynamic_cast<GisShapePolygon*>(shape.get()) == nullptr) { // whose rings are closed in writing
            requireSame(bits(*again), straight, "read again");
        }
    }
}

std::string readBuffer(QByteArray text, const GisGeoJsonFeatureReader::Use& use) {
    QBuffer device(&text);
    device.open(QIODevice::ReadOnly);
    return outcome([&] {
        const GisGeoJsonReadOptions options{.unsupported = GisGeoJsonReadOptions::Unsupported::Skip};
        return std::to_string(GisGeoJsonFeatureReader::readFeatures(device, use, options).read);
    });
}

void tryFeatures(const QByteArray& text, unsigned char choice) {
    QBuffer device;
    device.open(QIODevice::WriteOnly);
    GisGeoJsonFeatureWriter writer(
        device, {.layout = static_cast<GisGeoJsonWriteOptions::Layout>(choice % 3),
                 .polygons = static_cast<GisGeoJsonWriteOptions::Polygons>(choice / 3 % 2)});
    writer.begin();
    std::string first;
    int count = 0;
    const std::string end = readBuffer(text, [&](GisGeoJsonFeature&& feature) {
        writer.write(feature);
        first += described(feature);
        ++count;
        return true;
    });
    writer.end();

    Trickle trickle(text, choice);
    const std::string slow = readAll(trickle, {.unsupported = GisGeoJsonReadOptions::Unsupported::Skip});
    requireSame(slow.substr(0, first.size()), first, "a few bytes at a time");
    requireSame(slow.substr(first.size()).substr(0, end.size()), end, "a few bytes at a time");

    QBuffer rewritten;
    rewritten.open(QIODevice::WriteOnly);
    GisGeoJsonFeatureWriter second(rewritten,
                                   {.layout = static_cast<GisGeoJsonWriteOptions::Layout>(choice % 3)});
    second.begin();
    requireSame(readBuffer(device.data(),
                           [&](GisGeoJsonFeature&& feature) {
                               second.write(feature);
                               return true;
                           }),
                std::to_string(count), "read again");
    second.end();
    if (choice / 3 % 2 == 0) { // as stored: by the right-hand rule rings may go to several polygons
        requireSame(rewritten.data().toStdString(), device.data().toStdString(), "written again");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    if (size > 0) {
        const QByteArray text = Fuzz::bytes(data + 1, size - 1);
        if (data[0] % 2 == 0) {
            tryGeometry(QString::fromUtf8(text));
        } else {
            tryFeatures(text, data[0] / 2);
        }
    }
    return 0;
}
