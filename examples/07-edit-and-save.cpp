// Edits that can be undone, saved to the file they came from and exported to another format.
// Read 04-open-file first. Takes the file as its argument and works on a copy.

#include <Cartolith/Core/Layers/Commands/GisDeleteShapeCommand.h>
#include <Cartolith/Core/Layers/Commands/GisMacroCommand.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <cstdio>
#include <exception>

using namespace Cartolith::Core;

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    try {
        const QTemporaryDir folder;
        const QString original = QString::fromLocal8Bit(argv[1]);
        const QString copy = folder.filePath(QFileInfo(original).fileName());
        QFile::copy(original, copy);
        Layers::GisLayerOgrVector layer(copy);
        layer.open();

        // Told once for each step, however many changes it takes.
        const auto listening =
            layer.onContentChanged([&layer] { std::printf("  now %d shapes\n", layer.count()); });

        layer.beginEdit();
        auto both = std::make_unique<Layers::Commands::GisMacroCommand>("Delete two");
        both->append(
            std::make_unique<Layers::Commands::GisDeleteShapeCommand>(2)); // the higher id first: the
        both->append(std::make_unique<Layers::Commands::GisDeleteShapeCommand>(1)); // others move up
        layer.executeEditCommand(std::move(both));
        std::printf("Undo %s\n", qPrintable(layer.undoText()));
        layer.undoEdit();
        layer.deleteShapeEdit(1);
        if (!layer.commitEdit()) { // the session would go on: mend what it complains about, or roll back
            std::fprintf(stderr, "%s\n", qPrintable(layer.lastError()));
            return 1;
        }
        layer.saveAs(folder.filePath("export.geojson"));
        std::printf("%lld bytes of GeoJSON\n",
                    static_cast<long long>(QFileInfo(folder.filePath("export.geojson")).size()));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
