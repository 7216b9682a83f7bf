#pragma once

#include <Cartolith/Core/Layers/GisEditConflict.h>
#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>

#include <QList>

namespace Cartolith::Core::Layers::Internal {

/// What a commit has found that somebody else has changed, too.
class PostgresConflicts {
public:
    explicit PostgresConflicts(const OgrEditTarget& target) : m_target(target) {}

    /// Open unless the host has decided that the very same is ours. Theirs is in the layer since then, unless
    /// the host took that back: then it is to be asked again. Gives what is decided.
    GisEditConflict::Choice add(GisEditConflict conflict);
    bool areOpen() const;
    /// \throws EditConflicts, which names the first that is open
    [[noreturn]] void refuse() const;

private:
    const OgrEditTarget& m_target;
    QList<GisEditConflict> m_conflicts;
};

} // namespace Cartolith::Core::Layers::Internal
