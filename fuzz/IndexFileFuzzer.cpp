// Any bytes as the index file beside a layer's data: the layer opens and answers. What is not loaded leaves
// the answers those of a plain search; what is loaded holds no shape twice and none from elsewhere.
#include "FuzzSupport.h"

#include <Cartolith/Core/Layers/GisLayerOgrVector.h>

#include <QFile>
#include <QSet>
#include <QTemporaryDir>

namespace {

using Cartolith::Core::Layers::GisLayerOgrVector;
using Cartolith::Core::Shapes::GisExtent;
using Cartolith::Core::Shapes::GisShape;
using Origin = GisLayerOgrVector::IndexOrigin;

void require(bool holds, const char* what) {
    Fuzz::requireSame(holds ? "" : what, "", "index file");
}

void write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    require(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size(), "written");
}

/// A file of forty points, with the index that belongs to it.
struct Source {
    QTemporaryDir folder;
    QString path = folder.filePath(QStringLiteral("points.geojson"));
    QString indexPath;
    QByteArray index;

    Source() {
        QByteArray text = R"({"type":"FeatureCollection","features":[)";
        for (int i = 0; i < 40; ++i) {
            text += QByteArray(i == 0 ? "" : ",") +
                    R"({"type":"Feature","properties":{},"geometry":{"type":"Point","coordinates":[)" +
                    QByteArray::number(i % 8) + "," + QByteArray::number(i / 8) + "]}}";
        }
        write(path, text + "]}");
        GisLayerOgrVector layer(path);
        layer.setUsesIndexFile(true);
        require(layer.open(), "opened");
        layer.query(GisExtent(0, 0, 9, 9));
        indexPath = layer.indexFilePath();
        QFile file(indexPath);
        require(file.open(QIODevice::ReadOnly), "saved");
        index = file.readAll();
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    static const Source source;
    // The first byte says how much of the right file comes first, the next ones where a byte is changed.
    QByteArray bytes = Fuzz::bytes(data, size);
    if (!bytes.isEmpty()) {
        const auto kept = static_cast<unsigned char>(bytes[0]) % 4;
        const QByteArray rest = bytes.mid(1);
        if (kept == 1) {
            bytes = source.index.left(64) + rest;
        } else if (kept > 1) {
            bytes = source.index;
            for (qsizetype i = 0; i + 2 < rest.size(); i += 3) {
                const int place =
                    (static_cast<unsigned char>(rest[i]) << 8) + static_cast<unsigned char>(rest[i + 1]);
                bytes[place % bytes.size()] = rest[i + 2];
            }
        }
    }
    write(source.indexPath, bytes);

    GisLayerOgrVector layer(source.path);
    layer.setUsesIndexFile(true);
    require(layer.open(), "opens");
    layer.setUseSpatialIndex(false);
    const QList<GisShape*> shapes = layer.query(GisExtent(-1e308, -1e308, 1e308, 1e308));
    layer.setUseSpatialIndex(true);
    const QSet<GisShape*> all(shapes.begin(), shapes.end());
    for (const GisExtent& window :
         {GisExtent(0, 0, 9, 9), GisExtent(2, 1, 3, 2), GisExtent(-1e308, -1, 1e308, 1)}) {
        const QList<GisShape*> found = layer.query(window);
        const QSet<GisShape*> different(found.begin(), found.end());
        require(different.size() == found.size() && all.contains(different), "each once, of the layer");
        if (layer.indexOrigin() != Origin::Loaded) {
            GisLayerOgrVector plain(source.path);
            require(plain.open(), "opens");
            plain.setUseSpatialIndex(false);
            require(plain.query(window).size() == found.size(), "all are found");
        }
    }
    return 0;
}
