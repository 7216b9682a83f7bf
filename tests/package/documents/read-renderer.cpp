#include <Cartolith/Core/Symbology/GisSymbologyJson.h>

#include <QFile>

#include <cstdio>
#include <exception>

// The JSON in the documents is renderers: one that cannot be read fails with the reader's message.
int main(int argc, char** argv) {
    QFile file(argc == 2 ? argv[1] : "");
    if (!file.open(QIODevice::ReadOnly)) {
        return 2;
    }
    try {
        using Cartolith::Core::Symbology::GisSymbologyJson;
        GisSymbologyJson::rendererFromJson(GisSymbologyJson::fromText(file.readAll()));
    } catch (const std::exception& error) {
        std::printf("%s\n", error.what());
        return 1;
    }
    return 0;
}
