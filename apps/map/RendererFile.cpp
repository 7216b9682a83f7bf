#include "RendererFile.h"

#include "Arguments.h"

#include <Cartolith/Core/Symbology/GisSymbologyJson.h>
#include <Cartolith/Map/Output/OutputFile.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>

#include <stdexcept>

using Cartolith::Core::Symbology::GisSymbologyJson;
using Cartolith::Core::Symbology::GisSymbolRenderer;

namespace {

[[noreturn]] void fail(const QString& path, const QString& message) {
    throw std::runtime_error(QStringLiteral("'%1': %2").arg(path, message).toStdString());
}

/// The library keeps any text as a colour, and what is none would be drawn black.
void requireColours(const QJsonObject& style, const QString& path) {
    for (const char* const name : {"fillColor", "lineColor", "pointColor", "selectedLineColor", "labelColor",
                                   "labelHaloColor", "casingColor", "patternColor", "haloColor"}) {
        const QJsonValue value = style.value(QLatin1String(name));
        if (value.isString() && !Arguments::isColour(value.toString())) {
            constexpr qsizetype longest = 40;
            throw std::runtime_error(
                QStringLiteral("%1.%2: \"%3\" is no colour; #RRGGBB or a name such as "
                               "red is expected.")
                    .arg(path, QLatin1String(name), value.toString().left(longest).simplified())
                    .toStdString());
        }
    }
}

void requireColoursOfRenderer(const QJsonObject& renderer) {
    for (const char* const name : {"style", "defaultStyle"}) {
        requireColours(renderer.value(QLatin1String(name)).toObject(),
                       QStringLiteral("renderer.%1").arg(QLatin1String(name)));
    }
    for (const char* const name : {"classes", "ranges", "rules"}) {
        const QJsonArray list = renderer.value(QLatin1String(name)).toArray();
        for (qsizetype i = 0; i < list.size(); ++i) {
            requireColours(list.at(i).toObject().value(QLatin1String("style")).toObject(),
                           QStringLiteral("renderer.%1[%2].style").arg(QLatin1String(name)).arg(i));
        }
    }
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
        const QJsonObject json = GisSymbologyJson::fromText(text);
        auto renderer = GisSymbologyJson::rendererFromJson(json);
        requireColoursOfRenderer(json);
        return renderer;
    } catch (const std::runtime_error& error) {
        fail(path, QString::fromUtf8(error.what()));
    }
}

void RendererFile::save(const GisSymbolRenderer& renderer, const QString& path) {
    const QByteArray text = GisSymbologyJson::toText(GisSymbologyJson::toJson(renderer));
    Cartolith::Map::Output::OutputFile::write(path, [&text](QIODevice& file) { file.write(text); });
}
