#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrShapeWritingInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresConflictsInternal.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

namespace {

using Shapes::GisShape;

bool areSameShapes(const std::shared_ptr<const GisShape>& a, const std::shared_ptr<const GisShape>& b) {
    return (a == nullptr && b == nullptr) || (a != nullptr && b != nullptr && haveSameGeometry(*a, *b));
}

bool isOpenConflict(const GisEditConflict& conflict) {
    return conflict.choice == GisEditConflict::Choice::Open;
}

} // namespace

GisEditConflict::Choice PostgresConflicts::add(GisEditConflict conflict) {
    for (const GisEditConflict& decided : m_target.decided) {
        const bool isDecided = decided.choice == GisEditConflict::Choice::Ours ||
                               decided.kind == GisEditConflict::Kind::DeletedHere;
        if (isDecided && decided.kind == conflict.kind && decided.featureId == conflict.featureId &&
            decided.field == conflict.field && areSame(decided.theirs, conflict.theirs) &&
            areSameShapes(decided.theirShape, conflict.theirShape)) {
            conflict.choice = decided.choice;
        }
    }
    m_conflicts.append(conflict);
    return conflict.choice;
}

bool PostgresConflicts::areOpen() const {
    return std::any_of(m_conflicts.begin(), m_conflicts.end(), isOpenConflict);
}

void PostgresConflicts::refuse() const {
    const auto open = std::find_if(m_conflicts.begin(), m_conflicts.end(), isOpenConflict);
    const auto count = std::count_if(m_conflicts.begin(), m_conflicts.end(), isOpenConflict);
    const QString what =
        open->kind == GisEditConflict::Kind::Value
            ? QStringLiteral("field '%1' of feature %2").arg(open->field).arg(open->featureId)
        : open->kind == GisEditConflict::Kind::DeletedThere
            ? QStringLiteral("feature %1, which is deleted").arg(open->featureId)
            : QStringLiteral("feature %1").arg(open->featureId);
    try {
        failToWrite(m_target.path,
                    QStringLiteral("%1 was changed by someone else since it was read").arg(what) +
                        (count > 1 ? QStringLiteral(" (and %1 more)").arg(count - 1) : QString()));
    } catch (const std::runtime_error& error) {
        throw EditConflicts(error.what(), m_conflicts);
    }
}

} // namespace Cartolith::Core::Layers::Internal
