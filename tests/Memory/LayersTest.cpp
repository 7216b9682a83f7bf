#include "Layers/ArrowRows.h"
#include "Layers/Faults.h"
#include "Memory/FailingAllocations.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Layers/GisVectorSaveOptions.h>
#include <Cartolith/Core/Serialization/GisWktReader.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>

using namespace Cartolith::Core;
using Layers::GisLayerOgrVector;
using Layers::GisLayerVector;

// Operations of layers when memory runs out at one request after another: std::bad_alloc, or false where an operation
// says so, reaches the caller, everything is as it was or done, and nothing leaks. CARTOLITH_EVERY_ALLOCATION tries a
// request of every stack, CARTOLITH_ALLOCATION one, of which CARTOLITH_SHOW_ALLOCATION prints it; else some are tried.
namespace {

constexpr int fine = 0;
constexpr int leaks = 10;
constexpr int isOtherwise = 11;
constexpr int threwSomethingElse = 12;

QString textOf(const GisLayerVector& layer) {
    QString text = layer.isOpen() ? QStringLiteral("open ") : QStringLiteral("closed ");
    for (const auto& shape : layer.items()) {
        const auto& attributes = shape->attributes();
        QStringList names = attributes.keys();
        names.sort();
        text += QString::number(shape->id()) + shape->toWkt();
        for (const QString& name : names) {
            text += name + attributes[name].toString();
        }
        text += QLatin1Char(';');
    }
    return text + QString::number(layer.attributeDefinitions().size());
}

QByteArray bytesOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// One operation: set up and looked at with all the memory there is.
class Operation {
public:
    virtual ~Operation() = default;
    virtual void prepare() = 0;
    /// False where that is how failure is reported.
    virtual bool run() = 0;
    virtual QString state() const = 0;
    /// Whether this may be left by a failure, beside the state before.
    virtual bool accepts(const QString& /*state*/) const { return false; }
};

/// In a child process: the nth request of the operation fails.
int childWithFailure(Operation& operation, long nth) {
    long before = 0;
    long grown = 0;
    for (int round = 0; round < 3; ++round) { // caches fill once, a leak comes every time
        operation.prepare();
        const QString old = operation.state();
        before = test::liveBlocks();
        bool done = false;
        bool isThrown = false;
        test::failAllocation(nth);
        try {
            done = operation.run();
        } catch (const std::bad_alloc&) {
            isThrown = true;
        } catch (const std::exception& error) {
            isThrown = true; // what Qt and the system make of a failure: a file that cannot be opened...
        } catch (...) {
            return threwSomethingElse;
        }
        test::stopFailing();
        if (!done || isThrown) {
            const QString now = operation.state();
            if (now != old && !operation.accepts(now)) {
                std::fprintf(stderr, "was %s\nis  %s\n", qPrintable(old), qPrintable(now));
                return isOtherwise;
            }
        }
        operation.prepare(); // everything is given back
        grown = test::liveBlocks() - before;
        if (grown <= 0) {
            return fine;
        }
    }
    // QHash, copied, loses the list of its pieces; QDirIterator loses itself.
    const long lostByQt = test::hasFailedInQt() ? 8 : 1;
    if (grown > lostByQt) {
        std::fprintf(stderr, "%ld blocks each time\n", grown);
    }
    return grown > lostByQt ? leaks : fine;
}

std::string nameOf(int status) {
    if (WIFSIGNALED(status)) {
        return WTERMSIG(status) == SIGABRT ? "it ended the process" : "it crashed";
    }
    switch (WEXITSTATUS(status)) {
    case fine: return "fine";
    case leaks: return "it leaks";
    case isOtherwise: return "it left something else";
    case threwSomethingElse: return "it threw something else";
    default: return "exit code " + std::to_string(WEXITSTATUS(status));
    }
}

void runOutOfMemory(const char* name, Operation& operation) {
    for (int round = 0; round < 2; ++round) { // the second time, what is made once is made
        operation.prepare();
        test::failAllocation(0);
        EXPECT_TRUE(operation.run()) << name;
        test::stopFailing();
    }
    operation.prepare();
    test::failAllocation(0);
    operation.run();
    const long requests = test::stopFailing();
    std::vector<long> tried = test::requestsOfNewStacks();
    if (const char* const only = std::getenv("CARTOLITH_ALLOCATION")) {
        tried = {std::atol(only)};
    }
    const bool isEvery = std::getenv("CARTOLITH_EVERY_ALLOCATION") != nullptr;
    if (isEvery) {
        std::printf("%s: %zu stacks of %ld requests\n", name, tried.size(), requests);
        std::fflush(stdout);
    }
    const std::size_t step = isEvery ? 1 : tried.size() / 15 + 1;
    int failures = 0;
    for (std::size_t i = 0; i < tried.size() && failures < 12; i += step) {
        const long nth = tried[i];
        const pid_t child = ::fork();
        if (child == 0) {
            ::_exit(childWithFailure(operation, nth));
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        if (nameOf(status) != "fine") {
            ++failures;
            ADD_FAILURE() << name << ", request " << nth << " of " << requests << ": " << nameOf(status);
        }
    }
}

class Memory : public testing::Test {
protected:
    QString at(const QString& name) const { return m_dir.filePath(name); }

    std::unique_ptr<GisLayerVector> made() const {
        auto layer = GisLayerVector::createInMemory("lines", Shapes::GisShapeType::Null, {});
        for (int i = 0; i < 5; ++i) {
            auto shape = Serialization::Wkt::GisWktReader::read(QString("LINESTRING (%1 0, %1 1)").arg(i));
            shape->attributes() = {{"n", i}, {"name", QString("line %1, which has a name").arg(i)}, {"r", i / 3.0}};
            layer->addShape(std::move(shape));
        }
        layer->setCoordinateSystem(CoordinateSystems::CoordinateSystemFactory::fromEpsg(4326));
        return layer;
    }

    QTemporaryDir m_dir;
};

const char* const suffixes[] = {"gpkg", "sqlite", "geojson", "geojsonl", "fgb", "shp"};

class Open : public Operation {
public:
    Open(const QString& path, bool isOpen) : m_path(path), m_isOpen(isOpen) {}
    void prepare() override {
        m_layer = std::make_unique<GisLayerOgrVector>(m_path);
        if (m_isOpen) {
            m_layer->open();
        }
    }
    bool run() override { return m_layer->open(); }
    QString state() const override { return textOf(*m_layer); }

private:
    QString m_path;
    bool m_isOpen;
    std::unique_ptr<GisLayerOgrVector> m_layer;
};

TEST_F(Memory, OpenEndsWithBadAlloc) {
    for (const QString suffix : suffixes) {
        const QString path = at("lines." + suffix);
        ASSERT_TRUE(made()->saveAs(path));
        for (const bool isOpen : {false, true}) {
            Open open(path, isOpen);
            runOutOfMemory(qPrintable(suffix + (isOpen ? ", again" : "")), open);
        }
    }
}

/// Opens a Shapefile of which a process was killed while it was replaced.
class Recover : public Open {
public:
    Recover(const GisLayerVector& old, const GisLayerVector& other, const QString& path)
        : Open(path, false), m_old(old), m_other(other), m_path(path) {}
    void prepare() override {
        Open::prepare();
        m_hasRun = false;
        m_isKilled = test::killWithin(
            m_middle, [this] { save(m_old); }, [this] { save(m_other); },
            [this] { return QFileInfo::exists(QString(m_path).replace("/x.", "/.x.") + ".saved"); });
    }
    bool run() override {
        m_hasRun = true;
        return Open::run();
    }
    /// The files are put back by now, or when they are opened again.
    QString state() const override {
        GisLayerOgrVector file(m_path);
        return Open::state() + QString::number(m_hasRun ? file.open() && file.count() == m_old.count() : m_isKilled);
    }

private:
    void save(const GisLayerVector& layer) const {
        layer.saveAs(m_path, {Layers::GisVectorSaveOptions::Existing::Replace, {}, {}});
    }
    const GisLayerVector& m_old;
    const GisLayerVector& m_other;
    QString m_path;
    int m_middle = -1;
    bool m_hasRun = false;
    bool m_isKilled = false;
};

TEST_F(Memory, FilesThatAKilledProcessLeftArePutBackOrStay) {
    const auto old = made();
    const auto other = made();
    other->clearShapes();
    other->addShape(Serialization::Wkt::GisWktReader::read("LINESTRING (7 7, 8 8)"));
    Recover recover(*old, *other, at("x.shp"));
    runOutOfMemory("recovery", recover);
}

class HandOut : public Operation {
public:
    explicit HandOut(std::unique_ptr<GisLayerVector> layer) : m_layer(std::move(layer)) {}
    void prepare() override {}
    bool run() override {
        test::Released<ArrowArrayStream> stream;
        Layers::GisFeatureReader::toArrow(m_layer->read({}), stream, {"geometry", "id", 1, 1 << 20, {}});
        return test::forEachBatch(stream, [](const auto& /*batch*/) {}) == 0;
    }
    QString state() const override { return textOf(*m_layer); }

private:
    std::unique_ptr<GisLayerVector> m_layer;
};

TEST_F(Memory, AnArrowStreamSaysThatThereIsNone) {
    HandOut handOut(made());
    runOutOfMemory("columns", handOut);
}

class SaveAs : public Operation {
public:
    SaveAs(const GisLayerVector& layer, const QString& path, bool isNew)
        : m_layer(layer), m_path(path), m_isNew(isNew) {}
    void prepare() override {
        QDir(QFileInfo(m_path).path()).removeRecursively();
        QDir().mkpath(QFileInfo(m_path).path());
        const QStringList family = m_path.endsWith("shp") ? QStringList{"p", "x"} : QStringList{m_path.right(1)};
        for (const QString& end : m_isNew ? QStringList() : family) {
            QFile file(m_path.chopped(1) + end);
            file.open(QIODevice::WriteOnly);
            file.write("old");
        }
    }
    bool run() override { return m_layer.saveAs(m_path, replace); }
    QString state() const override {
        const QDir folder = QFileInfo(m_path).dir();
        QString text = textOf(m_layer);
        for (const QString& name : folder.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)) {
            text += name + ':' + QString::fromLatin1(bytesOf(folder.filePath(name)).left(3)) + ' ';
        }
        return text;
    }

private:
    const Layers::GisVectorSaveOptions replace{Layers::GisVectorSaveOptions::Existing::Replace, {}, {}};
    const GisLayerVector& m_layer;
    QString m_path;
    bool m_isNew;
};

TEST_F(Memory, SaveAsLeavesTheOldFile) {
    const auto layer = made();
    for (const QString suffix : suffixes) {
        for (const bool isNew : {false, true}) {
            SaveAs save(*layer, at(suffix + "/lines." + suffix), isNew);
            runOutOfMemory(qPrintable(suffix + (isNew ? ", new" : "")), save);
        }
    }
}

/// Commits; saved or not, layer and file agree, and the session goes on or is over.
class Commit : public Operation {
public:
    Commit(std::function<void()> make, const QString& path) : m_make(std::move(make)), m_path(path) {}
    void prepare() override {
        m_layer.reset();
        m_make();
        m_layer = std::make_unique<GisLayerOgrVector>(m_path);
        m_layer->open();
        m_layer->beginEdit();
        m_layer->deleteShapeEdit(2);
        m_layer->setShapeAttributesEdit(1, {{"n", 77}});
        m_layer->addShapeEdit(Serialization::Wkt::GisWktReader::read("LINESTRING (5 5, 6 6)"));
    }
    bool run() override { return m_layer->commitEdit(); }
    QString state() const override {
        GisLayerOgrVector file(m_path);
        file.open();
        return (m_layer->isEditing() && m_layer->isDirty() ? "editing " : "done ") + textOf(*m_layer) + textOf(file);
    }

private:
    std::function<void()> m_make;
    QString m_path;
    std::unique_ptr<GisLayerOgrVector> m_layer;
};

TEST_F(Memory, ACommitIsMadeOrNot) {
    for (const QString suffix : suffixes) {
        QDir(m_dir.path()).mkdir(suffix);
        const QString path = at(suffix + "/lines." + suffix);
        const QString model = at("model." + suffix);
        ASSERT_TRUE(made()->saveAs(model));
        const auto make = [this, path, suffix] {
            const QDir folder = QFileInfo(path).dir();
            for (const QString& name : folder.entryList(QDir::Files | QDir::Hidden)) {
                QFile::remove(folder.filePath(name));
            }
            for (const QString& name : QDir(m_dir.path()).entryList({"model.*"}, QDir::Files)) {
                if (suffix == "shp" || name.endsWith("." + suffix)) {
                    QFile::copy(at(name), folder.filePath("lines." + QFileInfo(name).suffix()));
                }
            }
        };
        Commit commit(make, path);
        runOutOfMemory(qPrintable(suffix), commit);
        for (const QString& name : QDir(m_dir.path()).entryList({"model.*"}, QDir::Files)) {
            QFile::remove(at(name));
        }
    }
}

class Edit : public Operation {
public:
    Edit(const QString& path, std::function<bool(GisLayerVector&)> first, std::function<bool(GisLayerVector&)> edit)
        : m_path(path), m_first(std::move(first)), m_edit(std::move(edit)) {}
    void prepare() override {
        m_layer = std::make_unique<GisLayerOgrVector>(m_path);
        m_layer->open();
        m_layer->beginEdit();
        m_first(*m_layer);
    }
    bool run() override { return m_edit(*m_layer); }
    QString state() const override {
        QString ids;
        for (const qint64 id : m_layer->sourceFeatureIds()) {
            ids += QString::number(id) + ' ';
        }
        return textOf(*m_layer) + ids + m_layer->undoText() + m_layer->redoText();
    }

private:
    QString m_path;
    std::function<bool(GisLayerVector&)> m_first;
    std::function<bool(GisLayerVector&)> m_edit;
    std::unique_ptr<GisLayerOgrVector> m_layer;
};

/// Of a layer on demand, after the steps before it.
class Browse : public Operation {
public:
    enum Step { Opening, Querying, Editing };
    Browse(const QString& path, Step step) : m_path(path), m_step(step) {}
    void prepare() override {
        m_layer = std::make_unique<Layers::GisLayerOgrOnDemand>(m_path);
        if (m_step > Opening) {
            m_layer->open();
        }
        if (m_step > Querying) {
            m_layer->query(m_all);
        }
    }
    bool run() override {
        switch (m_step) {
        case Opening: return m_layer->open();
        case Querying: return m_layer->query(m_all).size() == 5;
        default: return m_layer->beginEdit() && m_layer->setShapeAttributesEdit(1, {{"n", 77}});
        }
    }
    QString state() const override {
        QString text = m_layer->isOpen() ? QStringLiteral("open ") : QStringLiteral("closed ");
        for (const Shapes::GisShape* const shape : m_layer->query(m_all)) {
            text += shape->toWkt() + shape->attributeValue("n").toString();
        }
        return text;
    }

private:
    const Shapes::GisExtent m_all{-9, -9, 9, 9};
    QString m_path;
    Step m_step;
    std::unique_ptr<Layers::GisLayerOgrOnDemand> m_layer;
};

TEST_F(Memory, ALayerOnDemandIsReadAndEditedOrNot) {
    for (const QString suffix : {"gpkg", "fgb"}) {
        const QString path = at("demand." + suffix);
        ASSERT_TRUE(made()->saveAs(path));
        for (const auto step : {Browse::Opening, Browse::Querying, Browse::Editing}) {
            if (step != Browse::Editing || suffix == "gpkg") {
                Browse browse(path, step);
                runOutOfMemory(qPrintable(QString("on demand, %1 of %2").arg(step).arg(suffix)), browse);
            }
        }
    }
}

TEST_F(Memory, EditsHappenOrNot) {
    ASSERT_TRUE(made()->saveAs(at("lines.gpkg")));
    using Act = std::function<bool(GisLayerVector&)>;
    const Act nothing = [](GisLayerVector&) { return true; };
    const Act undo = [](GisLayerVector& layer) { return layer.undoEdit(); };
    const Act redo = [](GisLayerVector& layer) { return layer.redoEdit(); };
    const auto line = [] { return Serialization::Wkt::GisWktReader::read("LINESTRING (5 5, 6 6)"); };
    const struct {
        const char* name;
        Act edit;
    } rows[] = {
        {"add", [&](GisLayerVector& layer) { return layer.addShapeEdit(line()); }},
        {"delete", [](GisLayerVector& layer) { return layer.deleteShapeEdit(2); }},
        {"attributes",
         [](GisLayerVector& layer) {
             return layer.setShapeAttributesEdit(2, {{"n", 7}});
         }},
        {"geometry", [&](GisLayerVector& layer) { return layer.setShapeGeometryEdit(2, line()); }},
    };
    for (const auto& row : rows) {
        const Act undone = [&](GisLayerVector& layer) { return row.edit(layer) && layer.undoEdit(); };
        Edit edit(at("lines.gpkg"), nothing, row.edit);
        Edit undoes(at("lines.gpkg"), row.edit, undo);
        Edit redoes(at("lines.gpkg"), undone, redo);
        runOutOfMemory(row.name, edit);
        runOutOfMemory((std::string("undo ") + row.name).c_str(), undoes);
        runOutOfMemory((std::string("redo ") + row.name).c_str(), redoes);
    }
}

} // namespace
