#include "Layers/Faults.h"

#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Layers/GisVectorSaveOptions.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <sys/stat.h>

using namespace Cartolith::Core;
using Layers::GisLayerOgrVector;
using Layers::GisLayerVector;
using Layers::GisVectorSaveOptions;
using testing::HasSubstr;

namespace {

constexpr int count = 50;

GisVectorSaveOptions replacing() {
    GisVectorSaveOptions options;
    options.existing = GisVectorSaveOptions::Existing::Replace;
    options.wait = std::chrono::minutes(2);
    return options;
}

/// Points whose attribute is their y; where they lie tells one state from the next.
std::unique_ptr<GisLayerVector> pointsAt(int x) {
    auto layer = GisLayerVector::createInMemory("p", Shapes::GisShapeType::Point, {});
    for (int i = 0; i < count; ++i) {
        layer->addPoint({x * 1.0, x + i * 1.0});
        layer->setShapeAttributesById(i + 1, {{"v", x + i}});
    }
    return layer;
}

/// Empty when it is done, else the reason why not.
QString save(int x, const QString& path, const GisVectorSaveOptions& options = replacing()) {
    try {
        return pointsAt(x)->saveAs(path, options) ? "" : "cancelled";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

constexpr int absent = -1;
constexpr int mixed = -2;

/// Where the points are in a file. \throws what open() throws
int stateOf(GisLayerOgrVector& layer) {
    layer.setSaveWait(std::chrono::minutes(2));
    layer.open();
    const int x = layer.count() > 0 ? layer.attributeValueForRow(0, "v").toInt() : mixed;
    bool isWhole = layer.count() == count;
    for (int i = 0; isWhole && i < count; ++i) {
        const auto& point = static_cast<const Shapes::GisShapePoint&>(*layer.getShape(i + 1));
        isWhole = point.x() == x && point.y() == x + i && layer.attributeValueForRow(i, "v") == x + i;
    }
    return isWhole ? x : mixed;
}

int stateOf(const QString& path) {
    if (!QFile::exists(path)) {
        return absent;
    }
    try {
        GisLayerOgrVector layer(path);
        return stateOf(layer);
    } catch (const std::runtime_error&) {
        if (!QFile::exists(path)) { // it was a part of what a killed process left
            return absent;
        }
        throw;
    }
}

std::string reasonNotToOpen(const QString& path) {
    GisLayerOgrVector layer(path);
    layer.setSaveWait(std::chrono::milliseconds(20));
    try {
        layer.open();
        return "opened";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

/// Where nothing waits for a disk.
QString memoryFolder() {
    return (QFileInfo("/dev/shm").isWritable() ? QString("/dev/shm") : QDir::tempPath()) + "/cartolith-XXXXXX";
}

class SavingFaults : public testing::Test {
protected:
    QString at(const QString& name) const { return m_dir.filePath(name); }
    QStringList files() const {
        return QDir(m_dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }
    void clear() const {
        QDir(m_dir.path()).removeRecursively();
        QDir().mkpath(m_dir.path());
    }
    /// Dies in the midst of replacing a Shapefile that is at 1 by one that is at 2.
    bool killInTheMiddle() const;

    QTemporaryDir m_dir{memoryFolder()};
};

/// One way to save 2, over 1 or nothing.
struct Operation {
    const char* name;
    const char* suffix;
    bool isNew;
    bool isEdit;
};

class EveryFault : public SavingFaults, public testing::WithParamInterface<Operation> {
protected:
    QString path() const { return at(QString("x.") + GetParam().suffix); }
    int before() const { return GetParam().isNew ? absent : 1; }

    /// Saves; empty when it is done, else the reason why not. An edit goes on in the same layer.
    QString attempt() {
        if (!GetParam().isEdit) {
            auto options = replacing();
            options.existing = GetParam().isNew ? GisVectorSaveOptions::Existing::Refuse : options.existing;
            return save(2, path(), options);
        }
        if (!m_layer) {
            m_layer.emplace(path());
            m_layer->open();
            m_layer->beginEdit();
            for (int i = 0; i < count; ++i) {
                m_layer->setShapeGeometryEdit(i + 1, std::make_unique<Shapes::GisShapePoint>(2.0, 2.0 + i));
                m_layer->setShapeAttributesEdit(i + 1, {{"v", 2 + i}});
            }
        }
        return m_layer->commitEdit() ? QString() : m_layer->lastError();
    }

    /// What the caller is told, and whether it is true.
    enum Told { done = 1, placed = 2, asTold = 4, retried = 8 };
    int saveAndRetry() {
        int told = 0;
        try {
            const QString reason = attempt();
            told = reason.isEmpty() ? done : reason.contains("the new file is in its place") ? placed : 0;
            told |= stateOf(path()) == (told != 0 ? 2 : before()) ? asTold : 0;
            told |= reason.isEmpty() || attempt().isEmpty() ? retried : 0;
        } catch (const std::runtime_error&) { // of open(), to which the fault happened
        }
        return told;
    }

    std::optional<GisLayerOgrVector> m_layer;
};

TEST_P(EveryFault, LeavesTheOldStateOrTheNewAndTheCallerKnowsWhich) {
    const auto prepare = [this] {
        clear();
        ASSERT_TRUE(GetParam().isNew || save(1, path()).isEmpty());
    };
    for (const auto fault : {test::Fault::FailOnce, test::Fault::FailOn, test::Fault::Kill}) {
        SCOPED_TRACE(static_cast<int>(fault));
        int failures = 0;
        const bool traced = test::withFaults(
            fault, 60, prepare, [this] { return saveAndRetry(); },
            [&](int told) {
                const int state = stateOf(path());
                if (told < 0) {
                    EXPECT_TRUE(state == before() || state == 2) << state;
                } else if (fault != test::Fault::FailOn && (told & retried) != 0) {
                    EXPECT_TRUE((told & asTold) != 0 && state == 2) << told << ", " << state;
                } else {
                    EXPECT_EQ(state, (told & (done | placed)) != 0 ? 2 : before());
                    EXPECT_TRUE(fault == test::Fault::FailOn || told == 0) << "no retry: " << told;
                }
                failures += told < 0 || (told & done) == 0 ? 1 : 0;
                EXPECT_EQ(save(3, path()), "");
                EXPECT_EQ(stateOf(path()), 3);
                EXPECT_EQ(files().filter("sav").join(" ").toStdString(), "") << "litter";
            });
        if (!traced) {
            GTEST_SKIP() << "processes cannot be traced here";
        }
        EXPECT_GT(failures, 3);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Operations, EveryFault,
    testing::Values(Operation{"newShapefile", "shp", true, false}, Operation{"shapefile", "shp", false, false},
                    Operation{"editOfShapefile", "shp", false, true}, Operation{"newGeoPackage", "gpkg", true, false},
                    Operation{"geoPackage", "gpkg", false, false}, Operation{"editOfGeoPackage", "gpkg", false, true},
                    Operation{"geoJson", "geojson", false, false}, Operation{"editOfGeoJson", "geojson", false, true},
                    Operation{"flatGeobuf", "fgb", false, false}, Operation{"editOfFlatGeobuf", "fgb", false, true}),
    [](const auto& row) { return row.param.name; });

} // namespace
