#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/Layers/Ogr/FeatureTraceInternal.h>
#include <Cartolith/Core/Layers/Ogr/PendingEditsInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTextInternal.h>

#include <exception>
#include <new>
#include <unordered_map>
#include <unordered_set>

namespace Cartolith::Core::Layers::Internal {

OgrEdits pendingEdits(const QString& path, const OgrReadState& read, const FeatureTrace& trace,
                      const std::vector<std::unique_ptr<Shapes::GisShape>>& items,
                      const std::function<bool(qint64 feature)>& isLeftAlone) {
    if (read.features.find(FeatureTrace::none) != nullptr) {
        failToWrite(
            path,
            QStringLiteral("feature %1: a table with a row of this id can be read only; save it as another")
                .arg(FeatureTrace::none));
    }
    const auto& entries = trace.entries();
    std::unordered_set<qint64> touched;
    std::unordered_map<qint64, int> left;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        ++left[entries[i].feature];
        if (items[i] != nullptr && entries[i].isChanged(*items[i])) {
            touched.insert(entries[i].feature);
        }
    }
    OgrEdits edits;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const Shapes::GisShape* const shape = items[i].get();
        const qint64 feature = entries[i].feature;
        if (shape != nullptr && feature == FeatureTrace::none) {
            edits.added.append(shape);
        } else if (shape != nullptr && touched.contains(feature)) {
            const auto* const original = entries[i].original.get();
            edits.updated[feature].append(shape);
            edits.asRead[feature].append(original != nullptr ? original->shape.get() : shape);
        }
    }
    for (const ReadFeature& feature : read.features) {
        const qint64 id = feature.id;
        const auto found = left.find(id);
        const int now = found != left.end() ? found->second : 0;
        const auto refuse = [&](const char* why) {
            failToWrite(path,
                        QStringLiteral("feature %1: %2").arg(read.sourceId(id)).arg(QLatin1String(why)));
        };
        if (now == 0 && isLeftAlone && isLeftAlone(id)) {
            edits.leftAlone.insert(id);
            continue;
        }
        if (now == 0 && feature.isPartlyRead) {
            refuse("it has parts that are not in the layer and would be lost");
        }
        if (now > 0 && now < static_cast<int>(feature.shapes)) {
            refuse("it is several shapes here, of which some cannot be deleted alone");
        }
        if (now == 0) {
            edits.deleted.insert(id);
        }
    }
    return edits;
}

void describe(Common::Internal::LogStep& step, const QString& path, const OgrEdits& edits) {
    step.set("source", shownPath(path));
    step.set("deleted", static_cast<qint64>(edits.deleted.size()));
    step.set("updated", static_cast<qint64>(edits.updated.size()));
    step.set("added", edits.added.size());
}

bool trySaving(const QString& path, bool isCommandRunning, QString& lastError,
               const std::function<void()>& save) {
    lastError = {};
    if (isCommandRunning) {
        lastError = QStringLiteral("Cannot write '%1': an edit command is running").arg(shownPath(path));
        return false;
    }
    try {
        save();
    } catch (const std::bad_alloc&) {
        lastError = QStringLiteral("Cannot write: there is not enough memory"); // needs none itself
        return false;
    } catch (const std::exception& error) {
        lastError = QString::fromUtf8(error.what());
        return false;
    }
    return true;
}

} // namespace Cartolith::Core::Layers::Internal
