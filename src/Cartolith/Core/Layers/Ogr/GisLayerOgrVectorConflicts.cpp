// What a host does about conflicts of GisLayerOgrVector.

#include <Cartolith/Core/Layers/Commands/GisDeleteShapeCommand.h>
#include <Cartolith/Core/Layers/Commands/GisMacroCommand.h>
#include <Cartolith/Core/Layers/Commands/GisUpdateShapeAttributesCommand.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Layers/Ogr/FeatureTraceInternal.h>

#include <algorithm>

namespace Cartolith::Core::Layers {

namespace {

using Kind = GisEditConflict::Kind;
using Choice = GisEditConflict::Choice;

bool isToStay(const GisEditConflict& conflict) {
    return conflict.kind == Kind::DeletedHere && conflict.choice == Choice::Theirs;
}

} // namespace

bool GisLayerOgrVector::isLeftAlone(qint64 feature) const {
    return std::any_of(m_conflicts.begin(), m_conflicts.end(), [feature](const GisEditConflict& conflict) {
        return isToStay(conflict) && conflict.featureId == feature;
    });
}

QList<GisEditConflict> GisLayerOgrVector::stillWith(const QList<GisEditConflict>& found) const {
    QList<GisEditConflict> all = found;
    std::copy_if(m_conflicts.begin(), m_conflicts.end(), std::back_inserter(all), isToStay);
    return all;
}

bool GisLayerOgrVector::resolveConflict(qsizetype position, Choice choice) {
    if (!isEditing() || isLocked() || position < 0 || position >= m_conflicts.size() ||
        choice == Choice::Open) {
        return false;
    }
    const GisEditConflict conflict = m_conflicts.at(position);
    if (choice == Choice::Ours && conflict.choice == Choice::Theirs && conflict.kind != Kind::DeletedHere) {
        return false;
    }
    const bool isAdopted = choice == Choice::Ours || conflict.kind == Kind::DeletedHere || adopt(conflict);
    if (isAdopted) {
        m_conflicts[position].choice = choice;
    }
    return isAdopted;
}

/// Makes theirs the layer's, as an edit.
bool GisLayerOgrVector::adopt(const GisEditConflict& conflict) {
    auto macro = std::make_unique<Commands::GisMacroCommand>(QStringLiteral("Take theirs"));
    const auto& entries = m_trace->entries();
    bool isAny = false;
    for (std::size_t i = entries.size(); i-- > 0;) { // from the last: deletions number what follows anew
        const Shapes::GisShape* const shape = items()[i].get();
        if (shape == nullptr || entries[i].feature != conflict.featureId) {
            continue;
        }
        isAny = true;
        if (conflict.kind == Kind::DeletedThere) {
            macro->append(std::make_unique<Commands::GisDeleteShapeCommand>(shape->id()));
        } else if (conflict.kind == Kind::Value) {
            Attributes attributes = shape->attributes();
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
            return setShapeGeometryEdit(shape->id(), std::move(theirs));
        }
    }
    return isAny && executeEditCommand(std::move(macro));
}

} // namespace Cartolith::Core::Layers
