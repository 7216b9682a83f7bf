#include "Arguments.h"
#include "Commands.h"

#include <Cartolith/Core/Common/Logger.h>
#include <Cartolith/Map/Output/OutputFile.h>

#include <QCommandLineParser>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

using namespace Cartolith::Core::Common;

namespace {

const char* const logText = R"(cartolith-map log: what a log says, and whether one run was slower than another

  cartolith-map log summary FILE [-o OUT]
  cartolith-map log compare BASELINE CANDIDATE [-o OUT]

summary prints for each channel and event how many records, warnings and errors there are, and count, total, least,
median, 95th percentile and largest of the elapsed times and of the fields that are numbers.

compare sets the events of two logs side by side: the medians of their times, how many milliseconds the candidate is
slower, the range in which that lies, and whether it is faster, slower or the same. What counts are processes, each with
the median of its times: run the work ten times for each log, all into one file. Fewer than seven say nothing.

  -o, --output OUT          write the table to a file too, tab-separated for a name ending in .tsv, else aligned

Exit code: 0; compare 1 when something is slower or is not timed in the candidate any more; 2 when a file cannot be
read, is no log, or an output cannot be written.

Example
  cartolith-map --log run.tsv render data/world-countries.gpkg -o world.png
  cartolith-map log summary run.tsv
)";

/// Through the same writer as the file, so that both say the same.
void print(const QList<QStringList>& table) {
    std::fputs(Logger::alignedText(table).constData(), stdout);
}

/// A summary of something that is no log would say that all is well.
LogSummary summaryOf(const QString& file) {
    LogSummary summary = Logger::summarizeLogFile(file);
    if (summary.records() == 0) {
        throw std::runtime_error(
            QStringLiteral("there is no record of a log in '%1'").arg(file).toStdString());
    }
    return summary;
}

/// The log is what was measured: it is not to be replaced by what is said about it.
void checkOutput(const QString& output, const QStringList& files) {
    Arguments::requireUnread(output, files);
    if (!output.isEmpty()) {
        Cartolith::Map::Output::OutputFile::requireWritable(output);
    }
}

void printCounts(const LogSummary& summary, const QString& of) {
    std::printf("%s%lld records, %lld lines that are no records\n", qPrintable(of),
                static_cast<long long>(summary.records()), static_cast<long long>(summary.badLines()));
    if (summary.dropped() > 0) {
        std::printf("%lld values not counted: too many different events or fields\n",
                    static_cast<long long>(summary.dropped()));
    }
}

int summarize(const QStringList& files, const QString& output) {
    if (files.size() != 1) {
        throw UsageError(QStringLiteral("log summary wants one FILE"));
    }
    checkOutput(output, files);
    const LogSummary summary = summaryOf(files[0]);
    print(summary.table());
    printCounts(summary, {});
    if (!output.isEmpty()) {
        Logger::writeLogSummary(summary, output);
    }
    return 0;
}

int compare(const QStringList& files, const QString& output) {
    if (files.size() != 2) {
        throw UsageError(QStringLiteral("log compare wants two files, BASELINE and CANDIDATE"));
    }
    checkOutput(output, files);
    const LogSummary baseline = summaryOf(files[0]);
    const LogSummary candidate = summaryOf(files[1]);
    const LogComparison comparison(baseline, candidate);
    print(comparison.table());
    printCounts(baseline, QStringLiteral("baseline: "));
    printCounts(candidate, QStringLiteral("candidate: "));
    if (!output.isEmpty()) {
        Logger::writeLogComparison(comparison, output);
    }
    using Verdict = LogComparison::Verdict;
    const auto& rows = comparison.rows();
    const auto worse = std::count_if(rows.begin(), rows.end(), [](const LogComparison::Row& row) {
        return row.verdict == Verdict::Slower ||
               (row.verdict == Verdict::MissingCandidate && row.baselineCount > 0);
    });
    std::printf("%lld of %lld events slower or missing\n", static_cast<long long>(worse),
                static_cast<long long>(rows.size()));
    return worse > 0 ? 1 : 0;
}

} // namespace

QString Commands::logHelp() {
    return QString::fromUtf8(logText);
}

int Commands::log(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.addOption({{"o", "output"}, "", "file"});
    if (!parser.parse(QStringList{QStringLiteral("log")} + arguments)) {
        throw UsageError(parser.errorText());
    }
    const QString action = parser.positionalArguments().value(0);
    const QStringList files = parser.positionalArguments().mid(1);
    // 1 says that something is slower, so nothing else may.
    try {
        if (action == QLatin1String("summary")) {
            return summarize(files, parser.value("output"));
        }
        if (action == QLatin1String("compare")) {
            return compare(files, parser.value("output"));
        }
    } catch (const UsageError&) {
        throw;
    } catch (const std::runtime_error& error) {
        std::fprintf(stderr, "cartolith-map: %s\n", error.what());
        return 2;
    }
    throw UsageError(QStringLiteral("log wants summary or compare, not '%1'").arg(action));
}
