#pragma once

#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/Ogr/ExactTextsInternal.h>
#include <Cartolith/Core/Layers/Requests/FeatureTestInternal.h>

#include <QList>
#include <QStringList>

#include <atomic>
#include <memory>
#include <optional>

namespace Cartolith::Core::Layers::Internal {

/// A field as columns know it.
struct FieldType {
    QString name;
    QMetaType::Type type;
    QMetaType::Type elementType = QMetaType::UnknownType; ///< of lists: whole, real, a text; or not known
};

/// Where a reader gets features from, in the order of their layer.
class FeatureSource {
public:
    struct Plan {
        FeatureTest test;
        std::optional<QStringList> fields; ///< that anybody looks at; unset for all
        const std::atomic<bool>& isCancelled;
    };

    FeatureSource() = default;
    virtual ~FeatureSource() = default;
    FeatureSource(const FeatureSource&) = delete;
    FeatureSource& operator=(const FeatureSource&) = delete;

    virtual QList<Defs::GisAttributeDefinition> definitions() const = 0;
    /// Of all that features have, each name once; also what is not defined.
    virtual QList<FieldType> fieldTypes() const = 0;
    virtual std::shared_ptr<const CoordinateSystems::CoordinateSystem> system() const = 0;

    /// Comes once, before the first next(). The plan lives longer.
    virtual void begin(const Plan& plan) = 0;
    /// Goes to the next feature that the test wants; false at the end, and after isCancelled.
    virtual bool next() = 0;
    virtual qint64 id() const = 0;
    /// With all of its attributes, of those in the plan.
    virtual const Shapes::GisShape& shape() const = 0;
    /// What the source has beyond its attributes, by the place in definitions(); of a shape that stays where
    /// it is, exactText() says it.
    virtual FieldTexts texts() const { return {}; }
    virtual QString exactText(const Shapes::GisShape& /*shape*/, const QString& /*field*/) const {
        return {};
    }
    /// The same shape to keep; or null for one that stays where it is while the reader lives.
    virtual std::unique_ptr<Shapes::GisShape> takeShape() = 0;
    /// \throws std::runtime_error where shapes that stay may have gone
    virtual void requireUnchanged() const {}
    /// Comes from any thread after isCancelled was set.
    virtual void interrupt() noexcept {}
};

} // namespace Cartolith::Core::Layers::Internal
