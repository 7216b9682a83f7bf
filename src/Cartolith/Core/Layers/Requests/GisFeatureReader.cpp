#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Layers/Requests/FeatureAnswersInternal.h>
#include <Cartolith/Core/Layers/Requests/PictureFeaturesInternal.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/SimplificationInternal.h>

#include <atomic>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers {

using CoordinateSystems::CoordinateSystem;
using CoordinateSystems::CoordinateTransformer;
using Internal::FeatureAnswer;
using Internal::FeatureSource;
using Shapes::GisExtent;
using Shapes::GisShape;

namespace {

struct SimplificationCancelled {};

/// What of a layer is asked for an extent in another system; unset for everything.
std::optional<GisExtent> extentIn(const GisExtent& extent, const CoordinateSystem& from,
                                  const CoordinateSystem& to) {
    if (extent.isEmpty()) {
        return extent;
    }
    constexpr int steps = 20;
    QList<Shapes::GisShapePoint> points;
    for (int i = 0; i <= steps; ++i) {
        for (int k = 0; k <= steps; ++k) {
            points.append(Shapes::GisShapePoint(extent.xMin() + extent.width() * i / steps,
                                                extent.yMin() + extent.height() * k / steps));
        }
    }
    GisExtent box;
    try {
        for (const Shapes::GisShapePoint& point : CoordinateTransformer(from, to).transformPoints(points)) {
            box = box.expand(point.extent());
        }
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
    return box.inflate(box.width() / steps, box.height() / steps);
}

std::unique_ptr<CoordinateTransformer> transformerFor(const std::shared_ptr<const CoordinateSystem>& source,
                                                      const std::shared_ptr<const CoordinateSystem>& target) {
    if (target == nullptr) {
        return nullptr;
    }
    if (source == nullptr) {
        throw std::runtime_error(
            "The layer's coordinate system is not known: its features cannot be taken to "
            "another.");
    }
    return CoordinateSystems::CoordinateSystemFactory::areEquivalent(*source, *target)
               ? nullptr
               : std::make_unique<CoordinateTransformer>(*source, *target);
}

void check(const GisFeatureRequest& request) {
    if (request.limit && *request.limit < 0) {
        throw std::invalid_argument("The limit of a request cannot be negative.");
    }
    if (!(request.tolerance >= 0.0)) {
        throw std::invalid_argument("The tolerance of a request cannot be negative.");
    }
    if (request.picture && request.picture->most < 1) {
        throw std::invalid_argument("A picture wants one feature at least.");
    }
}

std::optional<QStringList> neededFields(const GisFeatureRequest& request) {
    if (!request.fields) {
        return std::nullopt;
    }
    QStringList fields = *request.fields + request.filter.fields();
    for (const GisFeatureRequest::Order& order : request.order) {
        fields.append(order.field);
    }
    fields.removeDuplicates();
    return fields;
}

} // namespace

class GisFeatureReader::Private {
public:
    Private(std::unique_ptr<FeatureSource> from, const GisFeatureRequest& asked)
        : source(std::move(from)), request(asked), layerSystem(source->system()),
          transformer(transformerFor(layerSystem, request.coordinateSystem)),
          plan{Internal::FeatureTest(request, layerExtent()), neededFields(request), isCancelled} {
        for (const auto& definition : source->definitions()) {
            if (isAsked(definition.name())) {
                definitions.append(definition);
            }
        }
        if (!request.order.isEmpty()) {
            ordered.emplace(request);
        }
    }

    const Shapes::AttributeSlot& attributes() const {
        return current.shape != nullptr ? current.shape->attributeSlot() : takenAttributes;
    }

    bool isAsked(const QString& field) const { return !request.fields || request.fields->contains(field); }

    std::optional<GisExtent> layerExtent() const {
        return transformer != nullptr && request.extent
                   ? extentIn(*request.extent, *request.coordinateSystem, *layerSystem)
                   : request.extent;
    }

    /// The next feature of the source, in the system of the answer.
    bool read(FeatureAnswer& answer) {
        while (source->next() && !isCancelled) {
            answer.id = source->id();
            answer.source = &source->shape();
            answer.texts = source->texts();
            if (transformer == nullptr) {
                answer.own = source->takeShape();
                answer.shape = answer.own != nullptr ? answer.own.get() : &source->shape();
                return true;
            }
            try {
                answer.own = transformer->transformShape(source->shape());
            } catch (const std::runtime_error&) {
                ++untransformed;
                continue;
            }
            answer.shape = answer.own.get();
            if (!request.extent || answer.shape->intersects(*request.extent)) {
                return true;
            }
        }
        return false;
    }

    bool advance() {
        if (isFull()) {
            return false;
        }
        if (!isBegun) { // here, where it can be cancelled: a source may look through all it has for the first
            isBegun = true;
            source->begin(plan);
        }
        if (!ordered) {
            return read(current);
        }
        if (!isOrdered) {
            for (FeatureAnswer answer; read(answer);) {
                ordered->add(std::move(answer));
            }
            ordered->sort();
            isOrdered = true;
        }
        source->requireUnchanged();
        return ordered->take(current);
    }

    bool isFull() const { return request.limit && given >= *request.limit; }

    bool next() {
        current = {};
        takenAttributes = {};
        if (state != State::Reading) {
            return false;
        }
        try {
            const bool isThere = advance();
            if (isCancelled || !isThere) {
                current = {};
                ordered.reset();
                state = isCancelled ? State::Cancelled : State::AtEnd;
                return false;
            }
            simplify();
        } catch (const SimplificationCancelled&) {
            current = {};
            state = State::Cancelled;
            return false;
        } catch (const std::exception& error) {
            current = {};
            if (isCancelled) { // what was broken off complains
                state = State::Cancelled;
                return false;
            }
            reason = QString::fromUtf8(error.what());
            state = State::Failed;
            throw;
        }
        ++given;
        return true;
    }

    void simplify() {
        if (request.tolerance > 0.0 && request.geometry == GisFeatureRequest::Geometry::Wanted) {
            const auto count = [this](qint64 /*looks*/) {
                if (isCancelled) {
                    throw SimplificationCancelled();
                }
            };
            auto simplified = Shapes::Internal::simplifiedShape(*current.shape, request.tolerance, count);
            if (simplified != nullptr && !simplified->isEmpty()) {
                current.own = std::move(simplified);
                current.shape = current.own.get();
            }
        }
    }

    const std::unique_ptr<FeatureSource> source;
    const GisFeatureRequest request;
    const std::shared_ptr<const CoordinateSystem> layerSystem;
    const std::unique_ptr<CoordinateTransformer> transformer;
    std::atomic<bool> isCancelled = false;
    std::atomic<State> state = State::Reading;
    const FeatureSource::Plan plan;
    QList<Defs::GisAttributeDefinition> definitions;
    std::optional<Internal::OrderedAnswers> ordered; // unset for the order of the layer
    bool isBegun = false;
    bool isOrdered = false;
    FeatureAnswer current;
    Shapes::AttributeSlot takenAttributes; // of the shape that was taken
    qint64 given = 0;
    qint64 untransformed = 0;
    Detail detail = Detail::Everything;
    qint64 sourceCount = -1;
    QString reason;
};

GisFeatureReader::GisFeatureReader(std::unique_ptr<FeatureSource> source, const GisFeatureRequest& request) {
    check(request);
    d = std::make_unique<Private>(std::move(source), request);
}

GisFeatureReader::~GisFeatureReader() = default;

std::unique_ptr<GisFeatureReader> GisFeatureReader::fromSource(const QString& path, const QString& layerName,
                                                               const GisFeatureRequest& request) {
    check(request);
    auto picture = Internal::PictureFeatures::of(path, layerName, request);
    auto reader = std::make_unique<GisFeatureReader>(std::move(picture.source), picture.request);
    reader->d->detail = picture.detail;
    reader->d->sourceCount = picture.sourceCount;
    return reader;
}

bool GisFeatureReader::next() {
    return d->next();
}

qint64 GisFeatureReader::featureId() const {
    return d->current.id;
}

QVariant GisFeatureReader::attributeValue(const QString& field) const {
    return d->isAsked(field) ? d->attributes().value(field) : QVariant();
}

QString GisFeatureReader::exactText(const QString& field) const {
    if (!d->isAsked(field) || d->current.source == nullptr) {
        return {};
    }
    const auto definitions = d->source->definitions();
    for (const auto& [index, text] : d->current.texts) {
        if (definitions.at(index).name() == field) {
            return QString::fromUtf8(text);
        }
    }
    return d->source->exactText(*d->current.source, field);
}

QHash<QString, QVariant> GisFeatureReader::attributes() const {
    if (!d->request.fields) {
        return d->attributes().copyOfTable();
    }
    QHash<QString, QVariant> table;
    for (const QString& field : *d->request.fields) {
        if (const QVariant value = attributeValue(field); value.isValid()) {
            table.insert(field, value);
        }
    }
    return table;
}

const GisShape* GisFeatureReader::shape() const {
    return hasGeometry() ? d->current.shape : nullptr;
}

std::unique_ptr<GisShape> GisFeatureReader::takeShape() {
    if (shape() == nullptr) {
        return nullptr;
    }
    d->takenAttributes = d->current.shape->attributeSlot();
    std::unique_ptr<GisShape> taken =
        d->current.own != nullptr ? std::move(d->current.own) : d->current.shape->clone();
    d->current.shape = nullptr;
    if (d->request.fields) {
        taken->attributeSlot() = {};
        if (const auto asked = attributes(); !asked.isEmpty()) {
            taken->attributes() = asked;
        }
    }
    return taken;
}

const Shapes::AttributeSlot& GisFeatureReader::attributeSlot() const {
    return d->attributes();
}

bool GisFeatureReader::hasGeometry() const {
    return d->request.geometry == GisFeatureRequest::Geometry::Wanted;
}

QList<Internal::FieldType> GisFeatureReader::fieldTypes() const {
    QList<Internal::FieldType> types = d->source->fieldTypes();
    types.removeIf([this](const Internal::FieldType& field) { return !d->isAsked(field.name); });
    return types;
}

const QList<Defs::GisAttributeDefinition>& GisFeatureReader::fields() const {
    return d->definitions;
}

std::shared_ptr<const CoordinateSystem> GisFeatureReader::coordinateSystem() const {
    return d->request.coordinateSystem != nullptr ? d->request.coordinateSystem : d->layerSystem;
}

GisFeatureReader::Detail GisFeatureReader::detail() const noexcept {
    return d->detail;
}

qint64 GisFeatureReader::sourceCount() const noexcept {
    return d->sourceCount;
}

QString GisFeatureReader::shownText(qint64 shown, qint64 all) {
    return all >= 0 ? QStringLiteral("%1 of %2 features shown").arg(shown).arg(all)
                    : QStringLiteral("%1 features shown").arg(shown);
}

qint64 GisFeatureReader::untransformedCount() const {
    return d->untransformed;
}

void GisFeatureReader::cancel() noexcept {
    d->isCancelled = true;
    d->source->interrupt();
}

GisFeatureReader::State GisFeatureReader::state() const noexcept {
    return d->state;
}

QString GisFeatureReader::reason() const {
    return d->reason;
}

} // namespace Cartolith::Core::Layers
