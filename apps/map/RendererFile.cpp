#include "RendererFile.h"

#include <Cartolith/Core/Symbology/GisSymbologyJson.h>

#include <QFile>
#include <QSaveFile>

#include <stdexcept>

using Cartolith::Core::Symbology::GisSymbologyJson;
using Cartolith::Core::Symbology::GisSymbolRenderer;

namespace {

[[noreturn]] void fail(const QString& path, const QString& message) {
    throw std::runtime_error(QStringLiteral("'%1': %2").arg(path, message).toStdString());
}

} // namespace

std::unique_ptr<GisSymbolRenderer> RendererFile::read(const QString& path) {
    constexpr qint64 most =
        qint64(64) * 1024 * 1024; // bytes: not a picture, or an endless device, by mistake
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        fail(path, file.errorString());
    }
    const QByteArray text = file.read(most + 1);
    if (text.size() > most) {
        fail(path, QStringLiteral("larger than 64 MB"));
    }
    try {
        return GisSymbologyJson::rendererFromJson(GisSymbologyJson::fromText(text));
    } catch (const std::runtime_error& error) {
        fail(path, QString::fromUtf8(error.what()));
    }
}

void RendererFile::save(const GisSymbolRenderer& renderer, const QString& path) {
    const QByteArray text = GisSymbologyJson::toText(GisSymbologyJson::toJson(renderer));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit()) {
        fail(path, QStringLiteral("could not be written: ") + file.errorString());
    }
}
