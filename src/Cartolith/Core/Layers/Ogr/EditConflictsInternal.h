#pragma once

#include <Cartolith/Core/Layers/GisEditConflict.h>
#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>

#include <QByteArray>
#include <QList>

namespace Cartolith::Core::Layers {
class GisLayerVector;
}

namespace Cartolith::Core::Layers::Internal {

class FeatureTrace;

/// What a commit on a server leaves open until the next one.
struct EditsLeftOpen {
    QList<GisEditConflict> conflicts; ///< with what the host has decided of them
    QByteArray doubtful;              ///< a transaction of which it is not known whether it was committed

    /// Whether a feature that was deleted in the layer is to stay in the source.
    bool isToStay(qint64 feature) const;
    /// See GisLayerOgrVector::resolveConflict(), in an edit session of the layer.
    bool resolve(GisLayerVector& layer, const FeatureTrace& trace, qsizetype position,
                 GisEditConflict::Choice choice);
    /// Asks how the doubtful one has ended. \throws std::runtime_error where it was committed, and
    /// CommitInDoubt where nobody can say yet
    void requireNothingDoubtful(const QString& path);
    /// saveEdits(), of which what it finds is remembered.
    void save(const OgrEditTarget& target, const OgrEdits& edits);
};

} // namespace Cartolith::Core::Layers::Internal
