#include "Arguments.h"
#include "Commands.h"

#include <Cartolith/Core/Common/Logger.h>

#include <QCommandLineParser>

#include <cstdio>

using namespace Cartolith::Core::Common;

namespace {

const char* const logText = R"(cartolith-map log: what a log says, and whether one run was slower than another

  cartolith-map log summary FILE [-o OUT]
  cartolith-map log compare BASELINE CANDIDATE [-o OUT]

summary prints for each channel and event how many records, warnings and errors there are, and count, total, least,
median, 95th percentile and largest of the elapsed times and of the fields that are numbers.

compare sets the events of two logs side by side: the ratio of the medians of their times, the noise in it, and whether
the candidate is faster, slower or the same. Fewer than five times on a side say nothing.

  -o, --output OUT          write the table to a file too, tab-separated for a name ending in .tsv, else aligned

Exit code: summary 0; compare 0 when nothing is slower, 1 when something is slower or missing in the candidate.

Example
  cartolith-map --log run.tsv render data/world-countries.gpkg -o world.png
  cartolith-map log summary run.tsv
)";

/// Through the same writer as the file, so that both say the same.
void print(const QList<QStringList>& table) {
    std::fputs(Logger::alignedText(table).constData(), stdout);
}

int summarize(const QStringList& files, const QString& output) {
    if (files.size() != 1) {
        throw UsageError(QStringLiteral("log summary wants one FILE"));
    }
    const LogSummary summary = Logger::summarizeLogFile(files[0]);
    print(summary.table());
    std::printf("%lld records, %lld lines that are no records\n", static_cast<long long>(summary.records()),
                static_cast<long long>(summary.badLines()));
    if (summary.dropped() > 0) {
        std::printf("%lld values not counted: too many different events or fields\n",
                    static_cast<long long>(summary.dropped()));
    }
    if (!output.isEmpty()) {
        Logger::writeLogSummary(summary, output);
    }
    return 0;
}

int compare(const QStringList& files, const QString& output) {
    if (files.size() != 2) {
        throw UsageError(QStringLiteral("log compare wants two files, BASELINE and CANDIDATE"));
    }
    const LogComparison comparison(Logger::summarizeLogFile(files[0]), Logger::summarizeLogFile(files[1]));
    print(comparison.table());
    if (!output.isEmpty()) {
        Logger::writeLogComparison(comparison, output);
    }
    const int worse = comparison.count(LogComparison::Verdict::Slower) +
                      comparison.count(LogComparison::Verdict::MissingCandidate);
    std::printf("%d of %lld events slower or missing\n", worse,
                static_cast<long long>(comparison.rows().size()));
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
    if (action == QLatin1String("summary")) {
        return summarize(files, parser.value("output"));
    }
    if (action == QLatin1String("compare")) {
        return compare(files, parser.value("output"));
    }
    throw UsageError(QStringLiteral("log wants summary or compare, not '%1'").arg(action));
}
