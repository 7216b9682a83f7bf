// What a large layer takes: rows a second beside plain OGR, resident memory, and the time of edits. A program
// of its own, for memory is measured in a fresh process.
//
//   cartolith-large-layers points|polygons COUNT FILE
//
// makes the file (.gpkg or .fgb) where there is none; always the same data for one count.
//
//   cartolith-large-layers edits COUNT
//
// edits so many points in memory.
//
//   cartolith-large-layers windows COUNT FILE
//
// asks for windows of some 1,000 polygons of the file, beside plain OGR. For FILE, a server does too:
// scripts/lib/postgis sh -c 'PROGRAM windows COUNT "$CARTOLITH_TEST_POSTGIS"';
//
//   cartolith-large-layers open COUNT FILE
//
// what a layer takes as it is open, beside plain OGR;
//
//   cartolith-large-layers columns COUNT FILE
//
// goes over the polygons of the file as batches of columns, and as features;
//
//   cartolith-large-layers hilbert COUNT FILE.gpkg
//
// windows of the file, and of a copy saved in Hilbert order;
//
//   cartolith-large-layers picture COUNT FILE
//
// a picture of everything, of a sample and of overviews;
//
//   cartolith-large-layers cancel COUNT FILE
//
// how long a query of everything goes on after cancel().

#include <Cartolith/Core/Layers/Commands/GisDeleteShapeCommand.h>
#include <Cartolith/Core/Layers/Commands/GisMacroCommand.h>
#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Layers/GisVectorOverviews.h>
#include <Cartolith/Core/Layers/GisVectorSaveOptions.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QFileInfo>
#include <ogr_recordbatch.h>
#include <ogrsf_frmts.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>
#include <malloc.h>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace Cartolith::Core;

struct DatasetCloser {
    void operator()(GDALDataset* dataset) const { GDALClose(dataset); }
};
using Dataset = std::unique_ptr<GDALDataset, DatasetCloser>;

Dataset openFile(const std::string& path) {
    Dataset dataset(static_cast<GDALDataset*>(
        GDALOpenEx(path.c_str(), GDAL_OF_VECTOR | GDAL_OF_READONLY, nullptr, nullptr, nullptr)));
    if (dataset == nullptr) {
        throw std::runtime_error(path + ": it cannot be opened");
    }
    return dataset;
}

constexpr double size = 1'000'000.0; // of the square that everything lies in, in metres

void setFields(OGRFeature& feature, int number, bool isPolygon) {
    static constexpr std::array<const char*, 8> kinds{"field", "wood", "meadow", "garden",
                                                      "road",  "yard", "water",  "building"};
    feature.SetField(0, number);
    feature.SetField(1, std::sqrt(static_cast<double>(number)));
    feature.SetField(2, kinds[static_cast<std::size_t>(number) % kinds.size()]);
    if (isPolygon) {
        feature.SetField(3, ("parcel " + std::to_string(number)).c_str());
    }
}

void makeFile(const std::string& path, bool isPolygon, int count) {
    const bool isPackage = path.ends_with(".gpkg");
    GDALDriver* const driver = GetGDALDriverManager()->GetDriverByName(isPackage ? "GPKG" : "FlatGeobuf");
    const Dataset dataset(driver->Create(path.c_str(), 0, 0, 0, GDT_Unknown, nullptr));
    OGRSpatialReference system;
    system.importFromEPSG(3006);
    OGRLayer* const layer =
        dataset == nullptr
            ? nullptr
            : dataset->CreateLayer("features", &system, isPolygon ? wkbPolygon : wkbPoint, nullptr);
    if (layer == nullptr) {
        throw std::runtime_error(path + ": it cannot be made");
    }
    const std::vector<std::pair<const char*, OGRFieldType>> fields{
        {"number", OFTInteger}, {"root", OFTReal}, {"kind", OFTString}, {"name", OFTString}};
    for (int i = 0; i < (isPolygon ? 4 : 3); ++i) {
        OGRFieldDefn field(fields[static_cast<std::size_t>(i)].first,
                           fields[static_cast<std::size_t>(i)].second);
        layer->CreateField(&field);
    }
    dataset->StartTransaction();
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> coordinate(0.0, size);
    for (int i = 0; i < count; ++i) {
        OGRFeature feature(layer->GetLayerDefn());
        setFields(feature, i, isPolygon);
        const double x = coordinate(random);
        const double y = coordinate(random);
        if (isPolygon) {
            constexpr int corners = 8; // and the first once more
            OGRLinearRing ring;
            for (int corner = 0; corner <= corners; ++corner) {
                const double angle = M_PI / 4.0 * (corner % corners);
                ring.addPoint(x + 10.0 * std::cos(angle), y + 10.0 * std::sin(angle));
            }
            OGRPolygon polygon;
            polygon.addRing(&ring);
            feature.SetGeometry(&polygon);
        } else {
            const OGRPoint point(x, y);
            feature.SetGeometry(&point);
        }
        if (layer->CreateFeature(&feature) != OGRERR_NONE) {
            throw std::runtime_error(path + ": a feature cannot be written");
        }
    }
    dataset->CommitTransaction();
}

/// The same in a server's table, of other random numbers.
void makeTable(const std::string& path, int count) {
    const Dataset server(static_cast<GDALDataset*>(
        GDALOpenEx(path.c_str(), GDAL_OF_VECTOR | GDAL_OF_UPDATE, nullptr, nullptr, nullptr)));
    OGRLayer* const made = server != nullptr ? server->GetLayerByName("features") : nullptr;
    if (made != nullptr && made->GetFeatureCount() == count) {
        return;
    }
    const std::string half = std::to_string(size);
    for (const std::string& statement :
         {std::string("DROP TABLE IF EXISTS features"),
          std::string("CREATE TABLE features (id int, number int, root float8, kind text, name text, geom "
                      "geometry(Polygon,3006))"),
          std::string("SELECT setseed(0.5) AS seed"),
          "INSERT INTO features SELECT i, i, sqrt(i), "
          "('{field,wood,meadow,garden,road,yard,water,building}'::text[])[1 + i % 8], 'parcel ' || i, "
          "ST_Buffer(ST_SetSRID(ST_Point(random() * " +
              half + ", random() * " + half + "), 3006), 10, 2) FROM generate_series(1, " +
              std::to_string(count) + ") i",
          std::string("ALTER TABLE features ADD PRIMARY KEY (id)"),
          std::string("CREATE INDEX ON features USING gist (geom)"),
          std::string("VACUUM ANALYZE features")}) {
        if (server != nullptr) {
            server->ReleaseResultSet(server->ExecuteSQL(statement.c_str(), nullptr, nullptr));
        }
    }
}

double residentMegabytes() {
    malloc_trim(0);
    std::ifstream status("/proc/self/statm");
    long pages = 0;
    long resident = 0;
    status >> pages >> resident;
    return static_cast<double>(resident * sysconf(_SC_PAGESIZE)) / 1e6;
}

/// Of the processor, in this process: less disturbed by what else the machine does than the clock on the
/// wall.
double secondsOf(const std::function<void()>& work) {
    const std::clock_t start = std::clock();
    work();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

/// On the wall: with a server, which works while this process waits.
double waitFor(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void inNewProcess(const std::function<void()>& work) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        work();
        std::fflush(stdout);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0) {
        throw std::runtime_error("the measurement ended early");
    }
}

void walk(const std::string& path, int count) {
    const double seconds = secondsOf([&] {
        const Dataset dataset = openFile(path);
        int seen = 0;
        for (auto& feature : *dataset->GetLayer(0)) {
            seen += feature->GetGeometryRef() != nullptr ? 1 : 0;
        }
        if (seen != count) {
            throw std::runtime_error(path + ": it was made with another count");
        }
    });
    std::printf("plain OGR     %6.2f s  %5.2f million rows a second\n", seconds, count / seconds / 1e6);
}

void open(const std::string& path, int count, double geometryBytes) {
    const double before = residentMegabytes();
    Layers::GisLayerOgrVector layer(QString::fromStdString(path));
    layer.setUsesIndexFile(false);
    double seconds = secondsOf([&] { layer.open(); });
    std::printf("open()        %6.2f s  %5.2f million rows a second\n", seconds, count / seconds / 1e6);
    const auto tell = [&](const char* what) {
        const double used = residentMegabytes() - before;
        std::printf("%-13s %6.0f MB  %5.0f bytes a feature beside its geometry\n", what, used,
                    used * 1e6 / count - geometryBytes);
    };
    tell("shapes");
    seconds = secondsOf([&] { layer.buildSpatialIndex(); });
    std::printf("index         %6.2f s\n", seconds);
    tell("with index");
    // Drawing asks each shape for its style and label.
    qsizetype letters = 0;
    for (const auto& shape : layer.items()) {
        letters += shape->attributeValue(QStringLiteral("kind")).toString().size();
        letters += static_cast<qsizetype>(shape->attributeValue(QStringLiteral("root")).toDouble());
    }
    tell(letters > 0 ? "asked for all" : "");
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// Each question to one and then to the other, so that what else the machine does meets both.
void askWindows(const std::string& path, int count) {
    const Dataset dataset = openFile(path);
    OGRLayer& plain = *dataset->GetLayer(0);
    Layers::GisLayerOgrOnDemand layer(QString::fromStdString(path));
    const auto openPlain = [&path] { openFile(path)->GetLayer(0)->GetSpatialRef(); };
    openPlain(); // what a process does once, as PROJ is asked for a system
    layer.open();
    std::array<std::vector<double>, 4> opening;
    constexpr int openings = 21;
    for (int i = 0; i < openings; ++i) {
        opening[3].push_back(waitFor([&] { opening[1].push_back(secondsOf(openPlain)); }));
        opening[2].push_back(waitFor([&] { opening[0].push_back(secondsOf([&] { layer.open(); })); }));
    }
    std::printf(
        "open()         %8.3f ms (median), plain OGR %.3f ms, ratio %.2f; on the wall %.3f and %.3f ms\n",
        median(opening[0]) * 1e3, median(opening[1]) * 1e3, median(opening[0]) / median(opening[1]),
        median(opening[2]) * 1e3, median(opening[3]) * 1e3);
    std::mt19937_64 random(7);
    const double side = size * std::sqrt(1000.0 / count);
    constexpr int windows = 200;
    for (const double width : {side, 1.0}) {
        std::uniform_real_distribution<double> coordinate(0.0, size - width);
        std::vector<double> ours;
        std::vector<double> theirs;
        std::vector<double> ourWaits;
        std::vector<double> theirWaits;
        layer.open(); // with nothing in its cache
        qsizetype found = 0;
        qsizetype foundPlain = 0;
        for (int i = 0; i < windows; ++i) {
            const double x = coordinate(random);
            const double y = coordinate(random);
            const auto askPlain = [&] {
                plain.SetSpatialFilterRect(x, y, x + width, y + width);
                for (auto& feature : plain) {
                    OGREnvelope box;
                    feature->GetGeometryRef()->getEnvelope(&box);
                    ++foundPlain;
                }
                plain.ResetReading();
            };
            const auto ask = [&] {
                if (width == side) {
                    found += layer.query({x, y, x + width, y + width}).size();
                } else {
                    found += layer.findShapeAt({x + width / 2, y + width / 2}, width / 2) != nullptr ? 1 : 0;
                }
            };
            theirWaits.push_back(waitFor([&] { theirs.push_back(secondsOf(askPlain)); }));
            ourWaits.push_back(waitFor([&] { ours.push_back(secondsOf(ask)); }));
        }
        std::printf(
            "%-14s %8.3f ms (median), plain OGR %.3f ms, ratio %.2f; on the wall %.3f and %.3f ms; %lld and "
            "%lld found\n",
            width == side ? "query()" : "findShapeAt()", median(ours) * 1e3, median(theirs) * 1e3,
            median(ours) / median(theirs), median(ourWaits) * 1e3, median(theirWaits) * 1e3,
            static_cast<long long>(found), static_cast<long long>(foundPlain));
    }
}

/// Not in a process that another made by fork(): there, the pages of a library count as they are met again.
void weighOpen(const std::string& path) {
    const Dataset dataset = openFile(path);
    OGRLayer& plain = *dataset->GetLayer(0);
    double before = residentMegabytes();
    const auto tell = [&before](const char* what) {
        const double now = residentMegabytes();
        std::printf("%-48s %6.2f MB more\n", what, now - before);
        before = now;
    };
    plain.GetSpatialRef();
    tell("plain OGR, open, asked for its system");
    OGRFeature::DestroyFeature(plain.GetNextFeature());
    plain.ResetReading();
    tell("and for a feature");
    std::array<std::unique_ptr<Layers::GisLayerOgrOnDemand>, 2> layers;
    for (auto& layer : layers) {
        layer = std::make_unique<Layers::GisLayerOgrOnDemand>(QString::fromStdString(path));
        layer->open();
        tell("a layer on demand");
    }
}

qint64 rowsOf(ArrowArrayStream& stream) {
    qint64 rows = 0;
    for (ArrowArray batch = {}; stream.get_next(&stream, &batch) == 0 && batch.release != nullptr;) {
        rows += batch.length;
        batch.release(&batch);
    }
    stream.release(&stream);
    return rows;
}

qint64 rowsOf(Layers::GisFeatureReader& reader) {
    qint64 rows = 0;
    for (; reader.next(); ++rows) {
        reader.shape();
    }
    return rows;
}

/// One after the other, so that what else the machine does meets all of them.
void readColumns(const std::string& path, int count) {
    const Dataset dataset = openFile(path);
    Layers::GisLayerOgrVector layer(QString::fromStdString(path));
    layer.open();
    const auto fromSource = [&path] {
        return Layers::GisFeatureReader::fromSource(QString::fromStdString(path), {}, {});
    };
    const auto throughArrow = [](std::unique_ptr<Layers::GisFeatureReader> reader) {
        ArrowArrayStream stream = {};
        Layers::GisFeatureReader::toArrow(std::move(reader), stream);
        return rowsOf(stream);
    };
    const std::vector<std::pair<const char*, std::function<qint64()>>> ways{
        {"OGR's GetArrowStream()",
         [&] {
             ArrowArrayStream stream = {};
             dataset->GetLayer(0)->ResetReading();
             dataset->GetLayer(0)->GetArrowStream(&stream, nullptr);
             return rowsOf(stream);
         }},
        {"the file, next()", [&] { return rowsOf(*fromSource()); }},
        {"the file, toArrow()", [&] { return throughArrow(fromSource()); }},
        {"the layer, next()", [&] { return rowsOf(*layer.read({})); }},
        {"the layer, toArrow()", [&] { return throughArrow(layer.read({})); }},
    };
    std::vector<std::vector<double>> seconds(ways.size());
    constexpr int runs = 5;
    for (int run = 0; run < runs; ++run) {
        for (std::size_t i = 0; i < ways.size(); ++i) {
            seconds[i].push_back(secondsOf([&] {
                if (ways[i].second() != count) {
                    throw std::runtime_error(path + ": it was made with another count");
                }
            }));
        }
    }
    for (std::size_t i = 0; i < ways.size(); ++i) {
        const double typical = median(seconds[i]);
        std::printf("%-24s %6.2f s  %5.2f million rows a second\n", ways[i].first, typical,
                    count / typical / 1e6);
    }
}

double millisecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

std::string inHilbertOrder(const std::string& path) {
    const std::string ordered = path + ".hilbert.gpkg";
    if (!QFileInfo::exists(QString::fromStdString(ordered))) {
        inNewProcess([&] {
            Layers::GisLayerOgrVector layer(QString::fromStdString(path));
            layer.setUsesIndexFile(false);
            layer.open();
            Layers::GisVectorSaveOptions options;
            options.order = Layers::GisVectorSaveOptions::Order::Hilbert;
            layer.saveAs(QString::fromStdString(ordered), options);
        });
    }
    return ordered;
}

void lookAtEverything(const QString& path) {
    using Layers::GisVectorOverviews;
    constexpr int pixels = 900; // the lower side of the picture
    const auto look = [&path](const char* what) {
        const double before = residentMegabytes();
        const auto start = std::chrono::steady_clock::now();
        Layers::GisLayerOgrOnDemand layer(path);
        Layers::GisLayerOgrOnDemand::Picture seen;
        const double seconds = secondsOf([&] {
            layer.open();
            seen = layer.queryPicture({-100, -100, size + 100, size + 100}, size / pixels);
        });
        std::printf("%-10s %8.0f ms with open(), of the processor %.0f ms, %.0f MB; %s\n", what,
                    millisecondsSince(start), seconds * 1e3, residentMegabytes() - before,
                    qPrintable(seen.text()));
    };
    if (!GisVectorOverviews::find(path)) {
        inNewProcess([&] { look("sample"); });
        const auto start = std::chrono::steady_clock::now();
        GisVectorOverviews::build(path);
        std::printf("%-10s %8.0f ms\n", "to build", millisecondsSince(start));
    }
    for (int i = 0; i < 3; ++i) {
        inNewProcess([&] { look("overviews"); });
    }
}

void cancelQueries(const QString& path) {
    constexpr int rounds = 50;
    std::mt19937 random(1);
    std::vector<double> delays;
    Layers::GisLayerOgrOnDemand layer(path);
    layer.open();
    layer.setCacheBudget(1LL << 40U);
    for (int i = 0; i < rounds; ++i) {
        layer.open();
        std::chrono::steady_clock::time_point cancelled;
        std::thread other([&] {
            std::this_thread::sleep_for(std::chrono::microseconds(500 + random() % 50'000));
            cancelled = std::chrono::steady_clock::now();
            layer.cancel();
        });
        layer.query({-1, -1, size + 1, size + 1});
        const auto end = std::chrono::steady_clock::now();
        other.join();
        if (layer.lastReading() == Layers::GisLayerOgrOnDemand::Reading::Cancelled) {
            delays.push_back(std::chrono::duration<double, std::milli>(end - cancelled).count());
        }
    }
    std::printf("cancel()   %zu of %d, back within %.2f ms (median), %.2f ms (longest)\n", delays.size(),
                rounds, median(delays), *std::max_element(delays.begin(), delays.end()));
}

void edit(int count) {
    using Shapes::GisShapePoint;
    std::mt19937 random(1);
    std::uniform_real_distribution<double> coordinate(0.0, size);
    const auto layer = Layers::GisLayerVector::createInMemory({}, Shapes::GisShapeType::Point, {});
    for (int i = 0; i < count; ++i) {
        const double x = coordinate(random);
        layer->addPoint({x, coordinate(random)});
    }
    const auto query = [&] { layer->query({size / 2, size / 2, size / 2 + 1000.0, size / 2 + 1000.0}); };
    const auto tell = [](const char* what, double seconds) {
        std::printf("%-36s %10.3f ms\n", what, seconds * 1e3);
    };
    tell("the first query, which builds", secondsOf(query));
    layer->beginEdit();
    constexpr int moves = 1000;
    tell("a point moved, and a query",
         secondsOf([&] {
             for (int i = 0; i < moves; ++i) {
                 const int id = 1 + static_cast<int>(random() % static_cast<unsigned int>(count));
                 layer->setShapeGeometryEdit(id, std::make_unique<GisShapePoint>(size / 2, size / 2));
                 query();
             }
         }) / moves);
    constexpr int deletions = 10'000;
    auto macro = std::make_unique<Layers::Commands::GisMacroCommand>(QStringLiteral("Delete"));
    for (int i = 0; i < deletions; ++i) {
        const int id = 1 + static_cast<int>(random() % static_cast<unsigned int>(count - deletions));
        macro->append(std::make_unique<Layers::Commands::GisDeleteShapeCommand>(id));
    }
    tell("10,000 deletions in a macro", secondsOf([&] { layer->executeEditCommand(std::move(macro)); }));
    tell("a query", secondsOf(query));
    tell("the deletions undone", secondsOf([&] { layer->undoEdit(); }));
    tell("a query", secondsOf(query));
}

} // namespace

int main(int argc, char** argv) try {
    const std::string kind = argc > 1 ? argv[1] : "";
    if (kind == "edits" && argc == 3) {
        edit(std::max(std::atoi(argv[2]), 20'000));
        return 0;
    }
    constexpr std::array kinds{"points",  "polygons", "windows", "open",
                               "columns", "hilbert",  "picture", "cancel"};
    if (argc != 4 || std::find(kinds.begin(), kinds.end(), kind) == kinds.end()) {
        std::fputs("cartolith-large-layers points|polygons|windows|open|columns|hilbert|picture|cancel COUNT "
                   "FILE | edits COUNT\n",
                   stderr);
        return 2;
    }
    const bool isPolygon = kind != "points";
    const int count = std::atoi(argv[2]);
    const std::string path = argv[3];
    GDALAllRegister();
    if (path.starts_with("PG:")) {
        makeTable(path, count);
    } else if (!QFileInfo::exists(QString::fromStdString(path))) {
        makeFile(path, isPolygon, count);
    }
    if (kind == "open") {
        weighOpen(path);
        return 0;
    }
    if (kind == "columns") {
        inNewProcess([&] { readColumns(path, count); });
        return 0;
    }
    if (kind == "picture") {
        lookAtEverything(QString::fromStdString(path));
        return 0;
    }
    if (kind == "cancel") {
        cancelQueries(QString::fromStdString(path));
        return 0;
    }
    if (kind == "hilbert") {
        const std::string ordered = inHilbertOrder(path);
        for (int i = 0; i < 6; ++i) {
            std::puts(i % 2 == 0 ? "as made:" : "in Hilbert order:");
            inNewProcess([&] { askWindows(i % 2 == 0 ? path : ordered, count); });
        }
        return 0;
    }
    if (kind == "windows") {
        inNewProcess([&] { walk(path, count); });
        for (int i = 0; i < 3; ++i) {
            inNewProcess([&] { askWindows(path, count); });
        }
        return 0;
    }
    constexpr double vertexBytes = 40.0;
    inNewProcess([&] { walk(path, count); });
    for (int i = 0; i < 3; ++i) {
        inNewProcess([&] { walk(path, count); });
        inNewProcess([&] { open(path, count, vertexBytes * (isPolygon ? 9.0 : 1.0)); });
    }
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "cartolith-large-layers: %s\n", error.what());
    return 1;
}
