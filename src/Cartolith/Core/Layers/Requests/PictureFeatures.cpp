#include <Cartolith/Core/Layers/Requests/OgrFeaturesInternal.h>
#include <Cartolith/Core/Layers/Requests/PictureFeaturesInternal.h>

#include <algorithm>
#include <functional>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

namespace {

/// The features of another source, of which every so many-th is kept.
class SomeFeatures : public FeatureSource {
public:
    using Make = std::function<std::unique_ptr<FeatureSource>()>;

    SomeFeatures(std::unique_ptr<FeatureSource> from, bool hasSystem, qint64 step)
        : m_from(std::move(from)), m_hasSystem(hasSystem), m_step(step) {}
    /// Some `most` of those that are wanted, which are counted first.
    SomeFeatures(const Make& make, qint64 most) : m_from(make()), m_make(make), m_most(most) {}

    QList<Defs::GisAttributeDefinition> definitions() const override { return m_from->definitions(); }
    QList<FieldType> fieldTypes() const override { return m_from->fieldTypes(); }
    std::shared_ptr<const CoordinateSystems::CoordinateSystem> system() const override {
        return m_hasSystem ? m_from->system() : nullptr;
    }
    void begin(const Plan& plan) override {
        m_from->begin(plan);
        if (m_make) {
            while (next()) {
            }
            m_step = std::max(m_count + m_most - 1, m_most) / m_most;
            m_count = 0;
            m_last.reset();
            m_from = m_make();
            m_from->begin(plan);
        }
    }
    bool next() override {
        while (m_from->next()) {
            if (m_from->id() != m_last) { // else one more point of the same
                m_last = m_from->id();
                ++m_count;
            }
            if ((m_count - 1) % m_step == 0) {
                return true;
            }
        }
        return false;
    }
    qint64 id() const override { return m_from->id(); }
    const Shapes::GisShape& shape() const override { return m_from->shape(); }
    std::unique_ptr<Shapes::GisShape> takeShape() override { return m_from->takeShape(); }
    FieldTexts texts() const override { return m_from->texts(); }
    void requireUnchanged() const override { m_from->requireUnchanged(); }
    void interrupt() noexcept override { m_from->interrupt(); }

private:
    std::unique_ptr<FeatureSource> m_from;
    bool m_hasSystem = true;
    qint64 m_step = 1;
    Make m_make;
    qint64 m_most = 0;
    std::optional<qint64> m_last;
    qint64 m_count = 0;
};

/// So many of a range, evenly spread.
QList<qint64> spreadOver(qint64 least, qint64 greatest, qint64 count) {
    QList<qint64> ids;
    ids.reserve(count);
    const double step = (static_cast<double>(greatest - least) + 1.0) / static_cast<double>(count);
    for (qint64 i = 0; i < count; ++i) {
        ids.append(least + static_cast<qint64>(static_cast<double>(i) * step));
    }
    return ids;
}

} // namespace

PictureFeatures PictureFeatures::of(const QString& path, const QString& layerName,
                                    const GisFeatureRequest& request) {
    using Detail = GisFeatureReader::Detail;
    PictureFeatures picture;
    picture.request = request;
    if (!request.picture || request.featureIds) {
        picture.source = std::make_unique<OgrFeatures>(path, layerName, request.limits);
        return picture;
    }
    // In another system than the layer's, it is as if everything were in sight: a level is never coarser than
    // the scale allows.
    const bool isInWindow = request.extent && request.coordinateSystem == nullptr;
    const qint64 most = request.picture->most;
    if (const auto overviews = GisVectorOverviews::find(path, layerName)) {
        const int level = overviews->levelFor(request.picture->unitsPerPixel,
                                              isInWindow ? *request.extent : overviews->extent(), most);
        picture.sourceCount = overviews->featureCount();
        if (level >= 0) {
            const Shapes::GisExtent& all = overviews->extent();
            if (isInWindow && request.extent->xMin() <= all.xMin() && request.extent->yMin() <= all.yMin() &&
                request.extent->xMax() >= all.xMax() && request.extent->yMax() >= all.yMax()) {
                picture.request.extent.reset(); // one after the other is quicker than by an index
            }
            picture.source = std::make_unique<SomeFeatures>(
                std::make_unique<OgrFeatures>(overviews->path(), overviews->levels()[level].tableName,
                                              request.limits),
                overviews->hasCoordinateSystem(), 1);
            picture.detail = Detail::Overview;
        } else {
            picture.source = std::make_unique<OgrFeatures>(path, layerName, request.limits);
        }
        return picture;
    }
    auto features = std::make_unique<OgrFeatures>(path, layerName, request.limits);
    const qint64 count = features->featureCount();
    picture.sourceCount = count;
    const Shapes::GisExtent all = features->extent();
    if (isInWindow && all.isEmpty() && count > most) { // of which nobody knows how much it has
        features.reset();
        picture.source = std::make_unique<SomeFeatures>(
            [=, limits = request.limits] { return std::make_unique<OgrFeatures>(path, layerName, limits); },
            most);
        picture.detail = Detail::Sample;
        return picture;
    }
    const double part = isInWindow ? GisVectorOverviews::shareInSight(*request.extent, all) : 1.0;
    if (count >= 0 && static_cast<double>(count) * part <= static_cast<double>(most)) {
        picture.source = std::move(features);
        return picture;
    }
    picture.detail = Detail::Sample;
    const auto range = features->idRange();
    if (range && static_cast<double>(range->second) - static_cast<double>(range->first) <
                     2.0 * static_cast<double>(count)) {
        picture.request.featureIds = spreadOver(range->first, range->second, most);
        picture.source = std::move(features);
    } else if (count > 0) {
        const auto expected = static_cast<qint64>(static_cast<double>(count) * part);
        picture.source =
            std::make_unique<SomeFeatures>(std::move(features), true, (expected + most - 1) / most);
    } else {
        picture.request.limit = std::min(request.limit.value_or(most), most);
        picture.source = std::move(features);
    }
    return picture;
}

} // namespace Cartolith::Core::Layers::Internal
