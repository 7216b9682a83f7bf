// What the log costs: a record that is dropped beside a disabled category of Qt's logging, and a record that
// is written beside fprintf() into a file opened and closed for it.

#include <Cartolith/Core/Common/LogSummary.h>
#include <Cartolith/Core/Common/Logger.h>

#include <QBuffer>
#include <QDateTime>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

#include <cstdio>

namespace {

using namespace Cartolith::Core::Common;

Q_LOGGING_CATEGORY(rival, "rival.load", QtCriticalMsg)

const LogEntry& entry() {
    static const LogEntry one{QStringLiteral("bench.load"),
                              QStringLiteral("vector"),
                              LogLevel::Info,
                              12,
                              {{QStringLiteral("source"), QStringLiteral("data/world-countries.gpkg")},
                               {QStringLiteral("features"), QStringLiteral("177")}}};
    return one;
}

void droppedByUs(benchmark::State& state) {
    Logger::setMode(LoggingMode::Normal);
    for (auto _ : state) {
        Logger::write(entry());
    }
}
BENCHMARK(droppedByUs);

void droppedByQt(benchmark::State& state) {
    for (auto _ : state) {
        qCInfo(rival) << entry().event << entry().elapsedMs;
    }
}
BENCHMARK(droppedByQt);

void writtenByUs(benchmark::State& state) {
    const QTemporaryDir folder;
    Logger::setLogPath(folder.filePath(QStringLiteral("log.tsv")));
    Logger::setMode(LoggingMode::Verbose);
    for (auto _ : state) {
        Logger::write(entry());
    }
    Logger::setMode(LoggingMode::Normal);
    Logger::setLogPath({});
}
BENCHMARK(writtenByUs);

void writtenByStdio(benchmark::State& state) {
    const QTemporaryDir folder;
    const QByteArray path = folder.filePath(QStringLiteral("log.tsv")).toLocal8Bit();
    quint64 sequence = 0;
    for (auto _ : state) {
        std::FILE* const file = std::fopen(path.constData(), "a");
        std::fprintf(file, "%s\t%llu\tinfo\tbench\tbench.load\tvector\t%x\t%d\tsource=%s;features=177\n",
                     QDateTime::currentDateTime().toString(Qt::ISODateWithMs).toUtf8().constData(),
                     static_cast<unsigned long long>(++sequence), 0x7f00U, 12, "data/world-countries.gpkg");
        std::fclose(file);
    }
}
BENCHMARK(writtenByStdio);

void summarised(benchmark::State& state) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("log.tsv"));
    Logger::setLogPath(path);
    Logger::setMode(LoggingMode::Verbose);
    for (int i = 0; i < 50'000; ++i) {
        Logger::write(entry());
    }
    Logger::setMode(LoggingMode::Normal);
    Logger::setLogPath({});
    QFile file(path);
    for (auto _ : state) {
        file.open(QIODevice::ReadOnly);
        benchmark::DoNotOptimize(LogSummary::read(file).records());
        file.close();
    }
    state.SetBytesProcessed(state.iterations() * file.size());
}
BENCHMARK(summarised)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
