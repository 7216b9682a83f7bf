#pragma once

#include <Cartolith/Core/Shapes/GisShape.h>

#include <QString>
#include <QVariant>

#include <memory>

namespace Cartolith::Core::Layers {

/// What this layer and somebody else have both done to a row of a server's table since it was read, so that
/// only the host can say which of it is to hold. See GisLayerOgrVector::conflicts();
/// a layer that reads on demand has the same.
struct GisEditConflict {
    enum class Kind {
        Value,        ///< a field got different values
        Geometry,     ///< the feature was moved to different places
        DeletedThere, ///< changed here, and not there any more
        DeletedHere,  ///< deleted here, and changed there
    };
    enum class Choice {
        Open,
        Ours,
        Theirs,
    };

    Kind kind = Kind::Value;
    qint64 featureId = 0; ///< the source's own
    int shapeId = 0;      ///< of a shape that stands for the feature; 0 for one that was deleted here
    QString field = {};   ///< of a Value; else empty

    /// Of a Value: as the layer read it, as it has it, as the source has it now; invalid for null. Of a
    /// feature DeletedHere, `theirs` is a map of all its values.
    QVariant asRead = {};
    QVariant ours = {};
    QVariant theirs = {};

    /// The same of a Geometry; of a feature DeletedHere, `theirShape` is where it is now, of one
    /// DeletedThere, `ourShape` is the layer's. Null for none, and for a geometry that is several shapes.
    /// Shared, never changed, and independent of the layer.
    std::shared_ptr<const Shapes::GisShape> shapeAsRead = {};
    std::shared_ptr<const Shapes::GisShape> ourShape = {};
    std::shared_ptr<const Shapes::GisShape> theirShape = {};

    Choice choice = Choice::Open;
};

} // namespace Cartolith::Core::Layers
