#include <Cartolith/Core/Layers/Commands/GisDeleteShapeCommand.h>
#include <Cartolith/Core/Layers/Commands/GisMacroCommand.h>
#include <Cartolith/Core/Layers/Commands/GisUpdateShapeAttributesCommand.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Layers/Ogr/EditConflictsInternal.h>
#include <Cartolith/Core/Layers/Ogr/FeatureTraceInternal.h>

#include <algorithm>

namespace Cartolith::Core::Layers::Internal {

namespace {

using Kind = GisEditConflict::Kind;
using Choice = GisEditConflict::Choice;

bool isDecidedToStay(const GisEditConflict& conflict) {
    return conflict.kind == Kind::DeletedHere && conflict.choice == Choice::Theirs;
}

/// Makes theirs the layer's, as an edit.
bool adopt(GisLayerVector& layer, const FeatureTrace& trace, const GisEditConflict& conflict) {
    auto macro = std::make_unique<Commands::GisMacroCommand>(QStringLiteral("Take theirs"));
    const auto& entries = trace.entries();
    bool isAny = false;
    for (std::size_t i = entries.size(); i-- > 0;) { // from the last: deletions number what follows anew
        const Shapes::GisShape* const shape = layer.items()[i].get();
        if (shape == nullptr || entries[i].feature != conflict.featureId) {
            continue;
        }
        isAny = true;
        if (conflict.kind == Kind::DeletedThere) {
            macro->append(std::make_unique<Commands::GisDeleteShapeCommand>(shape->id()));
        } else if (conflict.kind == Kind::Value) {
            GisLayerVector::Attributes attributes = shape->attributes();
            attributes[conflict.field] = conflict.theirs;
            if (!conflict.theirs.isValid()) {
                attributes.remove(conflict.field);
            }
            macro->append(
                std::make_unique<Commands::GisUpdateShapeAttributesCommand>(shape->id(), attributes));
        } else if (conflict.theirShape == nullptr) {
            return false;
        } else {
            auto theirs = conflict.theirShape->clone();
            theirs->attributes() = shape->attributes();
            return layer.setShapeGeometryEdit(shape->id(), std::move(theirs));
        }
    }
    return isAny && layer.executeEditCommand(std::move(macro));
}

} // namespace

bool EditsLeftOpen::isToStay(qint64 feature) const {
    return std::any_of(conflicts.begin(), conflicts.end(), [feature](const GisEditConflict& conflict) {
        return isDecidedToStay(conflict) && conflict.featureId == feature;
    });
}

bool EditsLeftOpen::resolve(GisLayerVector& layer, const FeatureTrace& trace, qsizetype position,
                            Choice choice) {
    if (position < 0 || position >= conflicts.size() || choice == Choice::Open) {
        return false;
    }
    const GisEditConflict conflict = conflicts.at(position);
    if (choice == Choice::Ours && conflict.choice == Choice::Theirs && conflict.kind != Kind::DeletedHere) {
        return false;
    }
    const bool isAdopted =
        choice == Choice::Ours || conflict.kind == Kind::DeletedHere || adopt(layer, trace, conflict);
    if (isAdopted) {
        conflicts[position].choice = choice;
    }
    return isAdopted;
}

void EditsLeftOpen::requireNothingDoubtful(const QString& path) {
    if (!doubtful.isEmpty() && isCommitted(path, doubtful)) {
        failToWrite(path, QStringLiteral("what was committed before the connection broke is in "
                                         "the source; open it again to go on"));
    }
    doubtful = {};
}

void EditsLeftOpen::save(const OgrEditTarget& target, const OgrEdits& edits) {
    try {
        saveEdits(target, edits);
    } catch (const CommitInDoubt& error) {
        doubtful = error.transaction;
        throw;
    } catch (const EditConflicts& error) {
        QList<GisEditConflict> all = error.conflicts;
        std::copy_if(conflicts.begin(), conflicts.end(), std::back_inserter(all), isDecidedToStay);
        conflicts = all;
        throw;
    }
}

} // namespace Cartolith::Core::Layers::Internal
