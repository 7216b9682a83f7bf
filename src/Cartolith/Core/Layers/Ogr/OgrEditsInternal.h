#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/Files/SourceStateInternal.h>
#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/GisEditConflict.h>
#include <Cartolith/Core/Layers/Ogr/ExactTextsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrReadStateInternal.h>
#include <Cartolith/Core/Shapes/GisShape.h>

#include <QList>
#include <QString>

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <unordered_map>

namespace Cartolith::Core::Layers::Internal {

/// What is to change in a layer of a data source. Features go by their own ids in a transaction, else by
/// their number in the file, from 0: ids in a file need not differ.
struct OgrEdits {
    std::set<qint64> deleted;
    std::map<qint64, QList<const Shapes::GisShape*>> updated; ///< with all shapes that the feature is
    std::map<qint64, QList<const Shapes::GisShape*>> asRead;  ///< the same as they were; null where unknown
    QList<const Shapes::GisShape*> added;
    std::set<qint64> leftAlone; ///< not in the layer any more, and to stay in the source

    bool isEmpty() const {
        return deleted.empty() && updated.empty() && added.isEmpty() && leftAlone.empty();
    }
};

/// What features go by afterwards.
struct OgrSavedIds {
    bool isRenumbered = false;               ///< false too when there was nothing to save
    std::unordered_map<qint64, qint64> kept; ///< by what they went by before; only when renumbered
    QList<qint64> numberedIds;               ///< the ids that the file gives them, by number; likewise
    QList<qint64> added;
    std::unordered_map<qint64, quint64> digests; ///< of those changed and added; not when renumbered
    std::set<ExactTexts::Place> written;         ///< values in columns that may hold more than is read
    ExactTexts texts;                            ///< what is there since
};

/// Where it is to change.
struct OgrEditTarget {
    QString path;
    QString layerName;
    QString driverName;
    SourceState* state; ///< in which it was read; saving puts in the one in which it leaves the source
    QList<Defs::GisAttributeDefinition> definitions; ///< the layer's fields
    std::function<bool(double fraction)> progress;   ///< may be empty; false cancels
    std::chrono::milliseconds wait;                  ///< for another process that saves it
    const OgrReadState& read;                        ///< what the source was when it was read
    const QList<GisEditConflict>& decided;           ///< conflicts that the host has seen; may be open
    /// Called when everything is written and nothing final yet, for what may fail; what it throws passes
    /// through, and the source stays as it was.
    std::function<void(const OgrSavedIds& ids)> prepare;
};

/// Saves all edits or none, in a transaction where the source has them, else by writing its files anew.
/// Features that are not in the edits keep everything they have. \throws std::runtime_error naming the source
void saveEdits(const OgrEditTarget& target, const OgrEdits& edits);

/// The ways; called by saveEdits(), which has looked whether the target can be written to.
void saveInTransaction(const OgrEditTarget& target, const OgrEdits& edits);
void saveByRewriting(const OgrEditTarget& target, const OgrEdits& edits);
/// \throws EditConflicts, CommitInDoubt
void saveInPostgres(const OgrEditTarget& target, const OgrEdits& edits);

/// Nothing was written, for somebody else has changed the same. All that were found, those decided too.
struct EditConflicts : std::runtime_error {
    EditConflicts(const std::string& message, const QList<GisEditConflict>& found)
        : std::runtime_error(message), conflicts(found) {}
    QList<GisEditConflict> conflicts;
};

/// The connection broke as the transaction ended, and nobody could be asked how.
struct CommitInDoubt : std::runtime_error {
    CommitInDoubt(const std::string& message, const QByteArray& id)
        : std::runtime_error(message), transaction(id) {}
    QByteArray transaction;
};
/// Ends the transaction that is open. \throws CommitInDoubt; std::runtime_error when nothing of it is there
void commitInPostgres(GDALDataset& source, const QString& path);
/// Whether that transaction was committed. \throws CommitInDoubt when it cannot be told yet
bool isCommitted(const QString& path, const QByteArray& transaction);

/// How a driver takes a feature.
struct OgrManner {
    bool roundsNumbers; ///< to the decimals of their field
    bool takesTexts;    ///< as they are, where a feature holds less

    static OgrManner of(const QString& driver);
};

/// What differed of a feature.
struct OgrChange {
    bool isMoved = false;
    std::set<QString> fields = {};
    std::set<int> columns = {}; ///< the same by their places, of which two may have one name

    bool isAny() const { return isMoved || !fields.empty(); }
};

/// Gives a feature of the source the geometry and attributes of its shape where they differ from what was
/// read of it; the rest stays. Of a feature that is several shapes, all have the same attributes then.
/// \throws std::runtime_error when it is several shapes and another geometry, when it holds more than a shape
/// can say and would lose it, for an attribute that is no field, and for a value or geometry that cannot be
/// saved
OgrChange update(OGRFeature& feature, OGRwkbGeometryType layerType,
                 const QList<const Shapes::GisShape*>& shapes, const OgrManner& manner);
/// The same for a feature that is new. Gives the columns that are not left to the source's defaults.
OgrChange fill(OGRFeature& feature, OGRwkbGeometryType layerType, const Shapes::GisShape& shape,
               const OgrManner& manner);

/// What comes of three states of a feature.
struct OgrMerge {
    OgrChange change = {}; ///< ours, where the source has something else
    QList<GisEditConflict> conflicts = {};
    bool isOursAlone = true; ///< else the source has values that the layer does not show
};
/// What the source holds of a value beyond what is read, as it was read and as it is; unset where that is
/// all.
struct OgrExactValue {
    std::optional<QByteArray> asRead = {};
    std::optional<QByteArray> now = {};
};
using OgrExactValues = std::function<OgrExactValue(int field)>;
/// The same as update(), of a feature that somebody else may have changed since: what is ours is what differs
/// from what was read. Values on which both differ are conflicts, unless nobody else has changed the feature
/// (`isUntouched`); the feature is given ours then, too.
OgrMerge merge(OGRFeature& feature, OGRwkbGeometryType layerType,
               const QList<const Shapes::GisShape*>& shapes, const QList<const Shapes::GisShape*>& asRead,
               bool isUntouched, const OgrManner& manner, const OgrExactValues& exactly);

/// \throws std::runtime_error when the target's files are not in the state in which they were read
void requireUnchanged(const OgrEditTarget& target);
/// \throws std::runtime_error "Cannot write '...': ..."
[[noreturn]] void failToWrite(const QString& path, const QString& reason);

} // namespace Cartolith::Core::Layers::Internal
