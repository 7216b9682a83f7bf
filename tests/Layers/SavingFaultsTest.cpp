#include "Layers/Faults.h"
#include "Layers/Saving.h"
#include "TestSeed.h"

#include <Cartolith/Core/Layers/GisAttributeDefinition.h>

#include <QDirIterator>
#include <QFileInfo>

#include <optional>
#include <random>
#include <set>
#include <sys/file.h>
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

GisVectorSaveOptions shortly() {
    GisVectorSaveOptions options = replacing();
    options.wait = std::chrono::milliseconds(20);
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
    layer.setSaveWait(std::chrono::milliseconds(0));
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

class SavingFaults : public test::InAFolder {
protected:
    SavingFaults() : InAFolder(memoryFolder()) {}

    void clear() const {
        QDir(m_dir.path()).removeRecursively();
        QDir().mkpath(m_dir.path());
    }
    QByteArray bytesOfAll() const {
        QByteArray all;
        QDirIterator entries(m_dir.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        QStringList names;
        while (entries.hasNext()) {
            names.append(entries.next());
        }
        names.sort();
        for (const QString& name : std::as_const(names)) {
            QFile file(name);
            all += name.toUtf8() + (file.open(QIODevice::ReadOnly) ? file.readAll() : "-");
        }
        return all;
    }

    /// A process dies in the midst of replacing a Shapefile that is at 1 by one that is at 2.
    bool killInTheMiddle() const {
        static int middle = -1;
        return test::killWithin(
            middle,
            [this] {
                clear();
                EXPECT_EQ(save(1, at("x.shp")), "");
            },
            [this] { save(2, at("x.shp")); }, [this] { return QFile::exists(at(".x.shp.saved")); });
    }
};

void copyAside(const QString& from, const QString& to) {
    QDir().mkpath(to);
    for (const QString& name : QDir(from).entryList(QDir::Files | QDir::Hidden)) {
        QFile::copy(from + "/" + name, to + "/" + name);
    }
}

bool append(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::Append) && file.write("x") == 1;
}

constexpr uid_t stranger = 54321;

TEST_F(SavingFaults, OldFilesArePutBackOnlyFromWhatThisLibraryLeft) {
    const QString folder = at(".x.shp.saved");
    QFile held;
    const auto hold = [&held](const QString& lock) {
        held.setFileName(lock);
        return held.open(QIODevice::ReadWrite) && ::flock(held.handle(), LOCK_EX | LOCK_NB) == 0;
    };
    const auto replaceInManifest = [&folder](const QByteArray& found, const QByteArray& by) {
        QFile manifest(folder + "/x.shp.manifest");
        const bool isOpen = manifest.open(QIODevice::ReadWrite);
        QByteArray text = manifest.readAll();
        const qsizetype at = text.indexOf(found);
        text.replace(at, found.size(), by);
        return isOpen && at > 0 && manifest.resize(0) && manifest.seek(0) && manifest.write(text) == text.size();
    };
    const struct {
        const char* name;
        std::function<bool()> arrange;
        const char* path;
        const char* reason; ///< none: the old files are there
        bool needsRoot = false;
    } rows[] = {
        {"as it was left", [] { return true; }, "x.shp", nullptr},
        {"as it was left, by its folder", [] { return true; }, "", nullptr},
        {"from a copy of the folder",
         [&] {
             copyAside(folder, at("copy"));
             return QDir(folder).removeRecursively() && QFile::rename(at("copy"), folder);
         },
         "x.shp", "it is a copy"},
        {"from a copy of everything",
         [&] {
             copyAside(m_dir.path(), at("copy"));
             copyAside(folder, at("copy/.x.shp.saved"));
             return true;
         },
         "copy/x.shp", "it is a copy"},
        {"others may write", [&] { return ::chmod(folder.toUtf8().constData(), 0777) == 0; }, "x.shp",
         "others can write to it"},
        {"a file more", [&] { return append(folder + "/more"); }, "x.shp", "it has 'more'"},
        {"a manifest less", [&] { return QFile::remove(folder + "/x.shp.manifest"); }, "x.shp", "or damaged"},
        {"a manifest cut short", [&] { return QFile::resize(folder + "/x.shp.manifest", 300); }, "x.shp", "or damaged"},
        {"a file twice in it", [&] { return replaceInManifest("file x.shx\n", "file x.shp\n"); }, "x.shp",
         "or damaged"},
        {"the folder itself in it", [&] { return replaceInManifest("file x.shx\n", "file ..\n"); }, "x.shp",
         "or damaged"},
        {"a state twice in it", [&] { return replaceInManifest("after", "before"); }, "x.shp", "or damaged"},
        {"an old file changed", [&] { return append(folder + "/x.shx.old"); }, "x.shp", "'x.shx' as it was"},
        {"a file changed since", [&] { return append(at("x.shp")); }, "x.shp", "'x.shp' was changed since"},
        {"through links",
         [&] {
             bool done = QDir().mkpath(at("links"));
             for (const QString suffix : {"shp", "shx", "dbf", "cpg"}) {
                 done = done && QFile::link(at("x." + suffix), at("links/x." + suffix));
             }
             return done;
         },
         "links/x.shp", "not done through a link"},
        {"while it goes on", [&] { return hold(folder + "/x.shp.lock"); }, "x.shp", "saved by another process"},
        {"of another user",
         [&] {
             for (const QString& name : files()) {
                 EXPECT_EQ(::chown(at(name).toUtf8().constData(), stranger, stranger), 0);
             }
             return true;
         },
         "x.shp", "another user is saving it", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        if (!killInTheMiddle()) {
            GTEST_SKIP() << "processes cannot be traced here";
        }
        if (row.needsRoot && ::geteuid() != 0) {
            continue;
        }
        ASSERT_TRUE(row.arrange());
        const QByteArray before = bytesOfAll();
        if (row.reason == nullptr) {
            EXPECT_EQ(reasonNotToOpen(at(row.path)), "opened") << "with no time to wait";
            EXPECT_EQ(stateOf(at(row.path)), 1);
            EXPECT_EQ(files().filter("sav"), QStringList());
            continue;
        }
        EXPECT_THAT(reasonNotToOpen(at(row.path)), HasSubstr(row.reason));
        EXPECT_THAT(reasonNotToOpen(at(row.path)), HasSubstr("Cannot read '"));
        EXPECT_EQ(bytesOfAll(), before) << "nothing is touched";
        if (row.path != QString("links/x.shp")) { // which may be written to, as that is a save
            EXPECT_THAT(save(3, at(row.path), shortly()).toStdString(), HasSubstr(row.reason));
            EXPECT_EQ(bytesOfAll(), before);
        }
        if (held.isOpen()) {
            held.close();
            EXPECT_EQ(stateOf(at("x.shp")), 1) << "now it does not go on";
        }
    }
    // A user who cannot look into the folder
    ASSERT_TRUE(killInTheMiddle() && ::chmod(m_dir.path().toUtf8().constData(), 0755) == 0);
    EXPECT_TRUE(::geteuid() != 0 || test::onAFullDisk(1 << 20, [this] {
                    return ::setuid(stranger) == 0 &&
                           reasonNotToOpen(at("x.shp")).find("another user is saving it") != std::string::npos;
                }));
}

TEST_F(SavingFaults, ARecoveryThatFailsOrIsKilledIsTakenUpAgain) {
    const QString path = at("x.shp");
    for (const auto fault : {test::Fault::FailOnce, test::Fault::FailOn, test::Fault::Kill}) {
        SCOPED_TRACE(static_cast<int>(fault));
        const bool traced = test::withFaults(
            fault, 100, [this] { killInTheMiddle(); }, [&path] { return reasonNotToOpen(path) == "opened" ? 1 : 0; },
            [&](int /*told*/) {
                EXPECT_EQ(stateOf(path), 1);
                EXPECT_EQ(files().filter("sav").join(" ").toStdString(), "") << "litter";
            });
        if (!traced) {
            GTEST_SKIP() << "processes cannot be traced here";
        }
    }
}

TEST_F(SavingFaults, AnotherUsersFilesAreNeitherAppliedNorTouched) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "files of two users are made by root only";
    }
    if (!killInTheMiddle()) {
        GTEST_SKIP() << "processes cannot be traced here";
    }
    const QString aside = at("aside");
    copyAside(at(".x.shp.saved"), aside);
    ASSERT_EQ(stateOf(at("x.shp")), 1);
    ASSERT_EQ(save(1, at("x.gpkg")), "");
    ASSERT_EQ(::chmod(m_dir.path().toUtf8().constData(), 01777), 0);
    const auto plant = [&](const QString& name) { // what a second user can do to files of the first
        QStringList made{name};
        if (name.endsWith("-journal") || name.endsWith("-wal")) {
            EXPECT_TRUE(append(at(name)));
        } else {
            copyAside(aside, at(name));
            for (const QString& file : QStringList{"x.shp.remove", "x.dbf", "x.shp"}) {
                append(at(name + "/" + file));
                made.append(name + "/" + file);
            }
        }
        if (name == ".x.shp.saved" && append(at("x.qix"))) { // by which it is not the other's Shapefile
            made.append("x.qix");
        }
        for (const QString& file : std::as_const(made)) {
            EXPECT_EQ(::chown(at(file).toUtf8().constData(), stranger, stranger), 0);
        }
    };
    for (const QString name : {".x.shp.saved", ".x.shp.saving-abcdef", "x.gpkg-journal", "x.gpkg-wal"}) {
        SCOPED_TRACE(name.toStdString());
        plant(name);
        const QByteArray before = bytesOfAll();
        const QString path = at(name.contains("gpkg") ? "x.gpkg" : "x.shp");
        EXPECT_THAT(reasonNotToOpen(path),
                    HasSubstr(path.endsWith("shp") ? "opened" : "'" + name.toStdString() + "' beside it"));
        EXPECT_EQ(bytesOfAll(), before);
        QDir(at(name)).removeRecursively();
        QFile::remove(at(name));
        EXPECT_EQ(stateOf(path), 1);
    }
}

TEST_F(SavingFaults, ADatabaseThatSomebodyWritesToIsNotReplaced) {
    for (const QString suffix : {"gpkg", "sqlite"}) {
        for (const bool isLogged : {false, true}) {
            SCOPED_TRACE(suffix.toStdString() + (isLogged ? ", with a log" : ", with a journal"));
            clear();
            const QString path = at("x." + suffix);
            ASSERT_EQ(save(1, path), "");
            GDALDatasetUniquePtr other;
            auto options = shortly();
            options.progress = [&](double done) {
                if (done == 1.0) {
                    other = test::openToWrite(path);
                    test::execute(*other, isLogged ? "PRAGMA journal_mode = WAL" : "BEGIN");
                    test::execute(*other,
                                  isLogged ? "PRAGMA wal_checkpoint(TRUNCATE)" : "UPDATE p SET v = 77 WHERE fid = 1");
                }
                return true;
            };
            EXPECT_THAT(save(2, path, options).toStdString(), HasSubstr("database in use"));
            test::execute(*other, isLogged ? "UPDATE p SET v = 77 WHERE fid = 1" : "COMMIT");
            other.reset();
            GisLayerOgrVector layer(path);
            EXPECT_TRUE(layer.open() && layer.attributeValueForRow(0, "v") == 77) << "what they have saved stays";
            EXPECT_EQ(save(2, path, shortly()).toStdString(), "");
            QFile journal(path + "-journal"); // one that could be removed
            ASSERT_TRUE(journal.open(QIODevice::WriteOnly) && journal.putChar(0) && journal.flush());
            EXPECT_THAT(save(3, path, {}).toStdString(), HasSubstr("there is such a file"));
            EXPECT_TRUE(journal.exists()) << "a refusal touches nothing";
        }
    }
}

/// Does the action in a process of its own.
pid_t inAProcess(const std::function<int()>& action) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(action());
    }
    return child;
}

/// Adds points with these values to a file until there is a file "stop"; what was saved is in a list beside it.
int keepAdding(const QString& path, const QString& list, int value, int last) {
    QFile saved(list);
    saved.open(QIODevice::Append | QIODevice::Unbuffered);
    for (; value < last && !QFile::exists(QFileInfo(path).dir().filePath("stop")); ++value) {
        try {
            GisLayerOgrVector layer(path);
            if (layer.open() && layer.beginEdit() &&
                layer.addShapeEdit(test::shapeOf(QString("POINT (%1 %1)").arg(value), {{"v", value}})) &&
                layer.commitEdit()) {
                saved.write(QByteArray::number(value) + '\n');
            }
        } catch (const std::runtime_error&) { // others are at it all the time
        }
    }
    return 0;
}

/// The values in a file, each of which is where it says, but for the first ones.
std::multiset<int> addedTo(const QString& path) {
    GisLayerOgrVector layer(path);
    layer.open();
    std::multiset<int> values;
    for (int row = count; row < layer.count(); ++row) {
        const int value = layer.attributeValueForRow(row, "v").toInt();
        values.insert(static_cast<const Shapes::GisShapePoint&>(*layer.rawShapes()[row]).x() == value ? value : mixed);
    }
    return values;
}

/// Twenty commits of each; with CARTOLITH_ALL_FAULTS for twenty seconds, while they are killed and started again.
TEST_F(SavingFaults, NoCommitOfSeveralWritersIsLost) {
    constexpr int writers = 4;
    const bool isLong = qEnvironmentVariableIsSet("CARTOLITH_ALL_FAULTS");
    for (const QString suffix : {"geojson", "fgb", "gpkg", "sqlite", "shp"}) {
        SCOPED_TRACE(suffix.toStdString());
        clear();
        const QString path = at("x." + suffix);
        ASSERT_EQ(save(0, path), "");
        int next = 1000;
        const auto start = [&] {
            next += 1000;
            return inAProcess(
                [&] { return keepAdding(path, at(QString("saved-%1").arg(next)), next, next + (isLong ? 1000 : 20)); });
        };
        const auto read = [&] {
            for (std::size_t most = 0; !QFile::exists(at("stop"));) {
                try {
                    const auto values = addedTo(path);
                    if (values.count(mixed) > 0 || values.size() < most) {
                        return 1;
                    }
                    most = values.size();
                } catch (const std::runtime_error&) {
                    if (!isLong && suffix != "gpkg" && suffix != "sqlite") { // which a reader may find locked
                        return 2;
                    }
                }
            }
            return 0;
        };
        pid_t running[] = {start(), start(), start(), start()};
        const pid_t readers[] = {inAProcess(read), inAProcess(read)};
        std::mt19937 random(test::seed());
        int kills = 0;
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(isLong ? 20 : 0);
        for (; std::chrono::steady_clock::now() < end; ++kills) {
            ::usleep(static_cast<useconds_t>(random() % 60'000));
            pid_t& victim = running[random() % writers];
            ::kill(victim, SIGKILL);
            ::waitpid(victim, nullptr, 0);
            victim = start();
        }
        isLong&& append(at("stop"));
        for (const pid_t writer : running) {
            ::waitpid(writer, nullptr, 0);
        }
        isLong || append(at("stop"));
        for (const pid_t reader : readers) {
            int status = 0;
            ::waitpid(reader, &status, 0);
            EXPECT_EQ(status, 0) << "a mixture, fewer than before, or an error";
        }
        const auto found = addedTo(path);
        int saved = 0;
        int lost = 0;
        for (const QString& name : files().filter("saved-")) {
            QFile list(at(name));
            ASSERT_TRUE(list.open(QIODevice::ReadOnly));
            while (!list.atEnd()) {
                ++saved;
                lost += found.count(list.readLine().trimmed().toInt()) == 1 ? 0 : 1;
            }
        }
        EXPECT_EQ(lost, 0) << "of " << saved << " commits, " << kills << " processes killed";
        EXPECT_TRUE(saved > 0 && static_cast<int>(found.size()) <= saved + kills && found.count(mixed) == 0);
    }
}

TEST_F(SavingFaults, ASaveThatGoesOnIsLeftAlone) {
    for (const QString suffix : {"shp", "gpkg", "geojson"}) {
        const QString path = at("x." + suffix);
        ASSERT_EQ(save(1, path), "");
        auto options = replacing();
        options.progress = [&](double) { return stateOf(path) == 1 && save(3, path).isEmpty() && stateOf(path) == 3; };
        EXPECT_EQ(save(2, path, options), "") << "the last one counts";
        EXPECT_EQ(stateOf(path), 2);
        GisLayerOgrVector layer(path);
        ASSERT_TRUE(layer.open() && layer.beginEdit() && layer.deleteShapeEdit(1));
        ASSERT_EQ(save(3, path), "");
        EXPECT_FALSE(layer.commitEdit());
        EXPECT_EQ(stateOf(path), 3);
    }
}

TEST_F(SavingFaults, OfSeveralNewFilesOfANameOneIsMade) {
    for (const QString suffix : {"geojson", "gpkg", "shp"}) {
        for (int round = 0; round < 10; ++round) {
            clear();
            const auto make = [&] { return save(1, at("x." + suffix), {}).isEmpty() ? 1 : 0; };
            int made = 0;
            for (const pid_t child : {inAProcess(make), inAProcess(make), inAProcess(make), inAProcess(make)}) {
                int status = 0;
                ::waitpid(child, &status, 0);
                made += WEXITSTATUS(status);
            }
            EXPECT_TRUE(made == 1 && stateOf(at("x." + suffix)) == 1) << suffix.toStdString() << ", " << made;
        }
    }
}

TEST_F(SavingFaults, NewFilesHaveTheRightsOfTheOldOnes) {
    for (const QString suffix : {"shp", "gpkg", "geojson"}) {
        ASSERT_EQ(save(1, at("x." + suffix)), "");
        const QByteArray path = at("x." + suffix).toUtf8();
        const gid_t group = ::geteuid() == 0 ? stranger : ::getegid();
        QFile::remove(at("x.cpg"));
        ASSERT_TRUE(::chown(path.constData(), static_cast<uid_t>(-1), group) == 0 &&
                    ::chmod(path.constData(), 0640) == 0);
        ASSERT_EQ(save(2, at("x." + suffix)), "");
        for (const QByteArray& name : {path, at("x.cpg").toUtf8()}) {
            struct stat found {};
            ASSERT_TRUE(::stat(name.constData(), &found) == 0 || suffix != "shp");
            EXPECT_TRUE(found.st_nlink == 0 || ((found.st_mode & 07777) == 0640 && found.st_gid == group))
                << name.constData();
        }
    }
}

/// One way to save 2, over 1 or nothing.
struct Operation {
    const char* name;
    const char* suffix;
    bool isNew = false;
    bool isEdit = false;
    int most = 100; ///< calls that fail, of those of an operation
    bool failsTwice = false;
};

class EveryFault : public SavingFaults, public testing::WithParamInterface<Operation> {
protected:
    QString path() const { return at(QString("x.") + GetParam().suffix); }
    int before() const { return GetParam().isNew ? absent : 1; }

    /// Saves; empty when it is done, else the reason why not. An edit goes on in the same layer.
    QString attempt() {
        if (!GetParam().isEdit) {
            auto options = replacing();
            if (GetParam().isNew && !m_isPlaced) {
                options.existing = GisVectorSaveOptions::Existing::Refuse;
            }
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
            m_isPlaced = told == placed;
            told |= stateOf(path()) == (told != 0 ? 2 : before()) ? asTold : 0;
            told |= reason.isEmpty() || attempt().isEmpty() ? retried : 0;
        } catch (const std::runtime_error&) { // of open(), to which the fault happened
        }
        return told;
    }

    std::optional<GisLayerOgrVector> m_layer;
    bool m_isPlaced = false; // a new file that is to be replaced from now on
};

TEST_P(EveryFault, LeavesTheOldStateOrTheNewAndTheCallerKnowsWhich) {
    const auto prepare = [this] {
        clear();
        ASSERT_TRUE(GetParam().isNew || save(1, path()).isEmpty());
    };
    for (const auto fault : {test::Fault::FailOnce, test::Fault::FailTwice, test::Fault::FailOn, test::Fault::Kill}) {
        if (fault == test::Fault::FailTwice && !GetParam().failsTwice) {
            continue;
        }
        SCOPED_TRACE(static_cast<int>(fault));
        int failures = 0;
        const bool traced = test::withFaults(
            fault, qEnvironmentVariableIsSet("CARTOLITH_ALL_FAULTS") ? 1 << 20 : GetParam().most, prepare,
            [this] { return saveAndRetry(); },
            [&](int told) {
                const int state = stateOf(path());
                if (told < 0) {
                    EXPECT_TRUE(state == before() || state == 2) << state;
                } else if (fault == test::Fault::FailTwice && told == placed + asTold) {
                    ADD_FAILURE() << "it cannot be tried again";
                } else if (fault != test::Fault::FailOn && (told & retried) != 0) {
                    EXPECT_TRUE((told & asTold) != 0 && state == 2) << told << ", " << state;
                } else {
                    EXPECT_EQ(state, (told & (done | placed)) != 0 ? 2 : before());
                    EXPECT_TRUE(fault != test::Fault::FailOnce || told == 0) << "no retry: " << told;
                }
                failures += told < 0 || (told & done) == 0 ? 1 : 0;
                EXPECT_EQ(save(3, path()).toStdString(), "");
                EXPECT_EQ(stateOf(path()), 3);
                EXPECT_EQ(files().filter("sav").join(" ").toStdString(), "") << "litter";
            });
        if (!traced) {
            GTEST_SKIP() << "processes cannot be traced here";
        }
        EXPECT_GT(failures, 1);
    }
    for (const std::uint64_t bytes : {0U, 100U, 1000U}) {
        prepare();
        EXPECT_FALSE(test::onAFullDisk(bytes, [this] { return attempt().isEmpty(); })) << bytes;
        EXPECT_EQ(stateOf(path()), before()) << "after a full disk of " << bytes;
    }
}

constexpr int some = 8; // of many, each of which takes long; CARTOLITH_ALL_FAULTS has them all

INSTANTIATE_TEST_SUITE_P(Operations, EveryFault,
                         testing::Values(Operation{"newShapefile", "shp", true}, Operation{"shapefile", "shp"},
                                         Operation{"editOfShapefile", "shp", false, true},
                                         Operation{"newGeoPackage", "gpkg", true, false, some},
                                         Operation{"geoPackage", "gpkg", false, false, some},
                                         Operation{"editOfGeoPackage", "gpkg", false, true, some},
                                         Operation{"newSqlite", "sqlite", true, false, some},
                                         Operation{"editOfSqlite", "sqlite", false, true, some},
                                         Operation{"newGeoJson", "geojson", true}, Operation{"geoJson", "geojson"},
                                         Operation{"lines", "geojsonl"},
                                         Operation{"editOfGeoJson", "geojson", false, true, 100, true},
                                         Operation{"flatGeobuf", "fgb"},
                                         Operation{"editOfFlatGeobuf", "fgb", false, true}),
                         [](const auto& row) { return row.param.name; });

} // namespace
