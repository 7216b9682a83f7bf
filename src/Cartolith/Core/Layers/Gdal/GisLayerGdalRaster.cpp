#include <Cartolith/Core/Common/LogChannels.h>
#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Layers/Gdal/RasterPictureInternal.h>
#include <Cartolith/Core/Layers/GisGdalRasterProvider.h>
#include <Cartolith/Core/Layers/GisLayerGdalRaster.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTextInternal.h>
#include <Cartolith/Core/Symbology/GisClassificationEngine.h>

#include <QFileInfo>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers {

using CoordinateSystems::CoordinateSystem;
using Internal::RasterColours;
using Symbology::GisClassificationEngine;
using Symbology::GisRasterStretch;
using Symbology::GisRasterStyle;
using Rendering = GisRasterStyle::Rendering;

namespace {

/// What Automatic stands for, and the bands it is drawn with.
std::pair<Rendering, QList<int>> resolved(const GisRasterStyle& style,
                                          const QList<Defs::GisRasterBand>& bands) {
    const QList<int> rgb(style.rgbBands().begin(), style.rgbBands().end());
    const auto shows = [&](qsizetype i, const char* colour) {
        const qsizetype band = rgb.at(i) - 1;
        return band < bands.size() && bands.at(band).colour == QLatin1String(colour);
    };
    Rendering rendering = style.rendering();
    if (rendering == Rendering::Automatic) {
        const qsizetype band = style.band() - 1;
        rendering = band < bands.size() && bands.at(band).hasColourTable       ? Rendering::Palette
                    : shows(0, "Red") && shows(1, "Green") && shows(2, "Blue") ? Rendering::Rgb
                                                                               : Rendering::Grey;
    }
    // Made from braces, a list goes through a null pointer where there is no memory.
    return {rendering, rendering == Rendering::Rgb ? rgb : QList<int>() << style.band()};
}

/// The raster's transform with steps in metres, at the middle of the picture.
Defs::GisRasterWorldTransform inMetres(Defs::GisRasterWorldTransform transform,
                                       const CoordinateSystem* system, double middleRow,
                                       double middleColumn) {
    double x = 1.0;
    double y = 1.0;
    if (system != nullptr && system->isGeographic()) {
        constexpr double metresPerDegree = 6371000.0 * std::numbers::pi / 180.0;
        const double latitude = std::clamp(transform.toMap(middleColumn, middleRow).y(), -89.0, 89.0);
        x = metresPerDegree * std::cos(latitude * std::numbers::pi / 180.0);
        y = metresPerDegree;
    } else if (system != nullptr) {
        x = y = system->metersPerUnit().value_or(1.0);
    }
    transform.xPerColumn *= x;
    transform.xPerRow *= x;
    transform.yPerColumn *= y;
    transform.yPerRow *= y;
    return transform;
}

} // namespace

GisLayerGdalRaster::GisLayerGdalRaster(const QString& path)
    : GisLayerRaster(QFileInfo(path).completeBaseName()), m_path(path),
      m_provider(std::make_unique<Providers::GisGdalRasterProvider>(path)) {}

GisLayerGdalRaster::~GisLayerGdalRaster() = default;

bool GisLayerGdalRaster::open() {
    Common::Internal::LogStep step(Common::LogChannels::load, "raster");
    step.set("source", Internal::shownPath(m_path));
    auto source = std::make_unique<Internal::RasterSource>(m_path);
    const Defs::GisRasterWorldTransform transform = source->worldTransform();
    auto system = source->coordinateSystem();
    QList<Defs::GisRasterBand> bands = source->bands();
    QStringList names;
    for (const Defs::GisRasterBand& band : std::as_const(bands)) {
        names.append(band.name);
    }
    auto provider = std::make_unique<Providers::GisGdalRasterProvider>(m_path, source->driverName(), names);

    step.set("bands", bands.size());
    step.set("pixels", qint64(source->width()) * source->height());

    // From here on nothing fails.
    const ChangeGroup group(*this);
    noteChange(GisLayerChange::Schema);
    m_source = std::move(source);
    m_provider = std::move(provider);
    m_bands = std::move(bands);
    m_samples.clear();
    setCoordinateSystem(std::move(system));
    setWorldTransform(transform);
    setRasterSize(m_source->width(), m_source->height());
    setIsOpen(true);
    markContentDirty();
    return true;
}

void GisLayerGdalRaster::close() {
    const ChangeGroup group(*this);
    if (!m_bands.isEmpty()) {
        noteChange(GisLayerChange::Schema);
    }
    m_source.reset();
    m_provider = std::make_unique<Providers::GisGdalRasterProvider>(m_path);
    m_bands.clear();
    m_samples.clear();
    setCoordinateSystem(nullptr);
    setWorldTransform({});
    setRasterSize(0, 0);
    setIsOpen(false);
    markContentDirty();
}

const Providers::GisLayerProvider* GisLayerGdalRaster::layerProvider() const {
    return m_provider.get();
}

Providers::GisLayerProvider* GisLayerGdalRaster::layerProvider() {
    return m_provider.get();
}

void GisLayerGdalRaster::setProgressCallback(ProgressCallback callback) {
    m_progress = std::move(callback);
}

void GisLayerGdalRaster::requireBand(int band) const {
    if (band < 1 || band > m_bands.size()) {
        throw std::invalid_argument(QStringLiteral("The raster '%1' has %2 bands and no band %3.")
                                        .arg(name())
                                        .arg(m_bands.size())
                                        .arg(band)
                                        .toStdString());
    }
}

QList<double> GisLayerGdalRaster::sampleValues(int band) {
    if (m_source == nullptr) {
        return {};
    }
    requireBand(band);
    if (!m_samples.contains(band)) {
        QList<double> values = m_source->sample(band);
        std::sort(values.begin(), values.end());
        m_samples.emplace(band, values);
    }
    return m_samples.at(band);
}

Defs::GisRasterStatistics GisLayerGdalRaster::statistics(int band) {
    const QList<double> values = sampleValues(band);
    Defs::GisRasterStatistics result;
    if (m_source == nullptr) {
        return result;
    }
    result.count = values.size();
    result.isExact = m_source->isSampledWhole();
    if (!values.isEmpty()) {
        result.minimum = values.constFirst();
        result.maximum = values.constLast();
        result.mean = GisClassificationEngine::mean(values);
        result.standardDeviation = GisClassificationEngine::standardDeviationValue(values, result.mean);
    }
    return result;
}

std::pair<double, double> GisLayerGdalRaster::stretchBounds(int band) {
    using Mode = GisRasterStretch::Mode;
    const Rendering rendering = resolved(rasterStyle(), m_bands).first;
    const GisRasterStretch& stretch = rasterStyle().stretch();
    const bool isRamp = rendering == Rendering::Ramp && rasterStyle().classes().isEmpty();
    if (!isRamp && rendering != Rendering::Grey && rendering != Rendering::Rgb) {
        return {};
    }
    if (stretch.mode() == Mode::Given) {
        return {stretch.lower(), stretch.upper()};
    }
    constexpr double byteMost = 255.0;
    const bool isAutomatic = stretch.mode() == Mode::Automatic;
    if (isAutomatic && !isRamp && m_bands.value(band - 1).typeName == QLatin1String("Byte")) {
        return {0.0, byteMost};
    }
    const QList<double> values = sampleValues(band);
    if (values.isEmpty()) {
        return {}; // nothing to draw either
    }
    if (stretch.mode() == Mode::MinMax || (isAutomatic && isRamp)) {
        return {values.constFirst(), values.constLast()};
    }
    constexpr double automaticLower = 2.0;
    constexpr double automaticUpper = 98.0;
    const auto percentile = [&](double share) {
        return GisClassificationEngine::percentile(values, share / 100.0);
    };
    return {percentile(isAutomatic ? automaticLower : stretch.lower()),
            percentile(isAutomatic ? automaticUpper : stretch.upper())};
}

QList<double> GisLayerGdalRaster::valuesAt(const Shapes::GisShapePoint& place,
                                           const CoordinateSystem* system) const {
    const auto inverse = worldTransform().inverted();
    if (m_source == nullptr || !inverse) {
        return {};
    }
    Shapes::GisShapePoint here = place;
    if (system != nullptr &&
        !CoordinateSystems::CoordinateSystemFactory::areEquivalent(*system, knownSystem())) {
        const CoordinateSystems::CoordinateTransformer transformer(*system, knownSystem());
        try {
            here = transformer.transform(place);
        } catch (const std::runtime_error&) {
            return {}; // not a place that the raster's system reaches
        }
    }
    const QPointF pixel = inverse->toMap(here.x(), here.y()) + QPointF(0.5, 0.5);
    if (!(pixel.x() >= 0.0 && pixel.x() <= width() && pixel.y() >= 0.0 && pixel.y() <= height())) {
        return {};
    }
    const Internal::RasterWindow window{std::min(std::floor(pixel.x()), width() - 1.0),
                                        std::min(std::floor(pixel.y()), height() - 1.0),
                                        1.0,
                                        1.0,
                                        1,
                                        1};
    QList<double> values;
    for (int band = 1; band <= m_bands.size(); ++band) {
        const std::vector<quint8> mask = m_source->readMask(band, window);
        const double value = m_source->read(band, window, Internal::RasterSource::Pick::Nearest, {}).front();
        const bool has = std::isfinite(value) && (mask.empty() || mask.front() != 0);
        values.append(has ? value : std::numeric_limits<double>::quiet_NaN());
    }
    return values;
}

QImage GisLayerGdalRaster::readImageCore(const Shapes::GisExtent& extent, const QSize& size,
                                         const CoordinateSystem* system) {
    Common::Internal::LogStep step(Common::LogChannels::render, "raster");
    step.set("pixels", qint64(size.width()) * size.height());
    // Copies, since the progress callback may close the layer or change how it looks.
    const auto source = m_source;
    const auto ownSystem = coordinateSystem();
    const GisRasterStyle style = rasterStyle();
    const auto [rendering, bands] = resolved(style, m_bands);
    const bool isLit = rendering != Rendering::Rgb && rendering != Rendering::Palette;
    QList<RasterColours::Bounds> bounds;
    for (const int band : bands) {
        requireBand(band);
        const auto [lower, upper] = stretchBounds(band);
        bounds.append({lower, upper});
    }
    const CoordinateSystem* const own = system != nullptr ? &knownSystem() : ownSystem.get();
    const Common::Internal::GdalErrorCapture errors; // PROJ's remarks on places without a value
    const Internal::RasterPlaces places(extent, size, worldTransform(), system, own);
    const RasterColours colours(style, rendering, bounds, source->palette(bands.constFirst()));
    double column = 0.0;
    double row = 0.0;
    places.find(size.width() / 2, size.height() / 2, 1, &column, &row);
    const bool isInside = column >= 0 && column <= width() && row >= 0 && row <= height();
    const ProgressCallback progress = m_progress; // one that replaces itself goes on living here
    const Internal::RasterRecipe recipe{
        *source,
        places,
        colours,
        bands,
        rendering == Rendering::Palette ? GisRasterStyle::Resampling::Nearest : style.resampling(),
        isLit && rendering == Rendering::Relief ? style.hillshade().value_or(Symbology::GisHillshade())
        : isLit                                 ? style.hillshade()
                                                : std::nullopt,
        rendering == Rendering::Relief,
        inMetres(worldTransform(), own, isInside ? row : height() * 0.5, isInside ? column : width() * 0.5),
        progress};
    return Internal::RasterPicture(recipe).draw(size);
}

} // namespace Cartolith::Core::Layers
