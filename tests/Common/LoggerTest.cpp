#include "LogRuns.h"
#include "TestSeed.h"

#include <Cartolith/Core/Common/Logger.h>

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QThread>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <random>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace Cartolith::Core::Common;

namespace {

const char* const header = "timestamp\tsequence\tlevel\tcategory\tchannel\tevent\tthread_id\telapsed_ms\tfields";

QStringList linesOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts)
                                          : QStringList();
}

/// Every test has a log of its own and leaves the process as it was.
class LoggerTest : public testing::Test {
protected:
    void SetUp() override { Logger::setLogPath(path); }
    void TearDown() override {
        Logger::setMode(LoggingMode::Normal);
        Logger::setMinimumLevel(LogLevel::Trace);
        Logger::resetChannelConfiguration();
        Logger::clearContextFields();
        Logger::setLogPath(QString());
    }

    /// The cells of the record last written; nothing when there is none.
    QStringList last() const {
        const QStringList lines = linesOf(path);
        return lines.isEmpty() ? QStringList() : lines.constLast().split(u'\t');
    }
    qsizetype records() const { return std::max<qsizetype>(linesOf(path).size() - 1, 0); }

    QTemporaryDir folder;
    QString path = folder.filePath("log.tsv");
};

} // namespace

TEST_F(LoggerTest, ModeLevelAndChannelDecideWhatIsWritten) {
    struct Case {
        LoggingMode mode;
        LogLevel minimum;
        LogLevel level;
        bool switchedOff;
        bool written;
    };
    const auto normal = LoggingMode::Normal;
    const auto verbose = LoggingMode::Verbose;
    const Case cases[] = {
        {normal, LogLevel::Trace, LogLevel::Info, false, false},
        {normal, LogLevel::Trace, LogLevel::Warning, false, true},
        {normal, LogLevel::Error, LogLevel::Warning, false, false},
        {normal, LogLevel::Trace, LogLevel::Error, true, true},
        {verbose, LogLevel::Trace, LogLevel::Trace, false, true},
        {verbose, LogLevel::Warning, LogLevel::Debug, false, false},
        {verbose, LogLevel::Trace, LogLevel::Info, true, false},
        {verbose, LogLevel::Trace, LogLevel::Warning, true, true},
    };
    for (const Case& c : cases) {
        Logger::setMode(c.mode);
        Logger::setMinimumLevel(c.minimum);
        Logger::setEnabled(" Viewer.Render", !c.switchedOff);
        EXPECT_EQ(Logger::isEnabled("VIEWER.render "), c.mode == verbose && !c.switchedOff);
        EXPECT_EQ(Logger::disabledChannels(), c.switchedOff ? QList<QString>{"viewer.render"} : QList<QString>());
        const qsizetype before = records();
        Logger::writeEvent("viewer.RENDER", "draw", c.level, 1, {});
        EXPECT_EQ(records() - before, c.written ? 1 : 0) << &c - cases;
    }
}

TEST_F(LoggerTest, ARecordIsNineCellsInOneLine) {
    struct Case {
        LogEntry entry;
        QStringList cells; ///< level, category, channel, event, elapsed, fields
    };
    const LogLevel warning = LogLevel::Warning;
    const Case cases[] = {
        {{" Viewer.Render.Metrics ", " draw ", warning, 12, {}},
         {"warning", "viewer", "viewer.render.metrics", "draw", "12", "app=map;run=1"}},
        {{"  ", "", LogLevel::Error, -1, {}}, {"error", "general", "general", "general", "-1", "app=map;run=1"}},
        {{".x", "", warning, -1, {}}, {"warning", ".x", ".x", "x", "-1", "app=map;run=1"}},
        {{"a.", "", warning, -1, {}}, {"warning", "a", "a.", "a.", "-1", "app=map;run=1"}},
        {{"a\tb", "c\r\nd", warning, 0, {{" k\t", "v\nw=;"}, {" ", "x"}}},
         {"warning", "a b", "a b", "c  d", "0", "app=map;run=1;k=v w=;"}},
        {{"a",
          "",
          warning,
          -5,
          {{"step", "two"}, {"event", ""}, {"elapsed", "7"}, {"total_ms", "x"}, {"elapsed_ms", "250"}}},
         {"warning", "a", "a", "two", "250", "app=map;run=1;step=two;event=;elapsed=7;total_ms=x;elapsed_ms=250"}},
        {{"a", "b", warning, 3, {{"app", "own"}, {"run", ""}}}, {"warning", "a", "a", "b", "3", "run=1;app=own;run="}},
        {{"a", "b", static_cast<LogLevel>(9), 3, {}}, {"info", "a", "a", "b", "3", "app=map;run=1"}},
    };
    Logger::setContextFields({{"app", "map"}, {" ", "nobody"}});
    Logger::setContextField("run", "0");
    Logger::setContextField("run", "1");
    for (const Case& c : cases) {
        Logger::write(c.entry);
        const QStringList cells = last();
        ASSERT_EQ(cells.size(), 9) << &c - cases;
        EXPECT_EQ((QStringList{cells[2], cells[3], cells[4], cells[5], cells[7], cells[8]}), c.cells);
        static const QRegularExpression time("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}$");
        EXPECT_TRUE(time.match(cells[0]).hasMatch()) << cells[0].toStdString();
        EXPECT_EQ(cells[6], QString::number(reinterpret_cast<quintptr>(QThread::currentThreadId()), 16));
    }
    EXPECT_EQ(linesOf(path).count(header), 1);
    EXPECT_EQ(linesOf(path).constFirst(), header);
}

TEST_F(LoggerTest, TheTimeIsLocalInZonesWithOddOffsets) {
    const QByteArray before = qgetenv("TZ");
    for (const char* const zone : {"Asia/Kathmandu", "Australia/Eucla", "America/St_Johns"}) {
        qputenv("TZ", zone);
        tzset();
        Logger::writeEvent("a", "b", LogLevel::Error, 0, {});
        const QDateTime written = QDateTime::fromString(last().value(0), Qt::ISODateWithMs);
        EXPECT_LT(std::abs(written.msecsTo(QDateTime::currentDateTime())), 60'000) << zone;
        EXPECT_NE(QDateTime::currentDateTime().offsetFromUtc() % 3600, 0) << zone << " is not known here";
    }
    before.isNull() ? qunsetenv("TZ") : qputenv("TZ", before);
    tzset();
}

TEST_F(LoggerTest, ThreadsAndProcessesDoNotTearLines) {
    constexpr int each = 300;
    const QString text = QString(700, u'x') + u'\t' + QString(700, u'ü');
    const auto writeAll = [&text](const QString& who) {
        for (int i = 0; i < each; ++i) {
            Logger::writeEvent("stress", who, LogLevel::Error, i, {{"text", text}});
        }
    };
    for (int i = 0; i < 3; ++i) {
        if (fork() == 0) {
            writeAll(QStringLiteral("process%1").arg(i));
            _exit(0);
        }
    }
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back(writeAll, QStringLiteral("thread%1").arg(i));
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    while (wait(nullptr) > 0) {
    }
    const QStringList lines = linesOf(path);
    EXPECT_EQ(lines.size(), 1 + 11 * each);
    EXPECT_EQ(lines.constFirst(), header);
    EXPECT_EQ(lines.count(header), 1);
    const LogSummary summary = Logger::summarizeLogFile(path);
    EXPECT_EQ(summary.badLines(), 0);
    EXPECT_EQ(summary.events().size(), 11);
    for (const LogSummary::Event& event : summary.events()) {
        EXPECT_EQ(event.errors, each);
        EXPECT_EQ(event.elapsed.maximum(), each - 1);
    }
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files), QStringList{"log.tsv"});
}

TEST_F(LoggerTest, WhatCannotBeWrittenIsLostAndLeavesAGap) {
    const auto write = [] { Logger::writeEvent("a", "b", LogLevel::Error, 1, {{"text", QString(300, u'x')}}); };
    write();
    const qlonglong sequence = last().value(1).toLongLong();
    for (const QString& impossible : {folder.filePath("no/such/folder.tsv"), QString("/dev/full"), folder.path(),
                                      QString("/proc/read-only-even-for-root.tsv")}) {
        Logger::setLogPath(impossible);
        EXPECT_NO_THROW(write());
    }
    Logger::setLogPath(path);
    write();
    EXPECT_EQ(last().value(1).toLongLong(), sequence + 5);

    // A disk that is full in the middle of a record: what got in costs no other record.
    const qint64 size = QFile(path).size();
    if (fork() == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{static_cast<rlim_t>(size) + 100, static_cast<rlim_t>(size) + 100};
        setrlimit(RLIMIT_FSIZE, &limit);
        write();
        _exit(0);
    }
    wait(nullptr);
    EXPECT_EQ(QFile(path).size(), size + 100);
    write();
    EXPECT_EQ(Logger::summarizeLogFile(path).records(), 3);
    EXPECT_EQ(Logger::summarizeLogFile(path).badLines(), 1);
}

TEST_F(LoggerTest, ATornLineIsEnded) {
    const struct {
        const char* name;
        QByteArray before;
        qint64 bad;
    } rows[] = {
        {"within a record", QByteArray(header) + "\n2026-01-01T00:00:00.000\t7\terr", 1},
        {"within the first cell", QByteArray(header) + "\n20", 1},
        {"before the line feed", QByteArray(header) + "\nt\t1\terror\ta\ta\tb\t1\t1\t", 1},
        {"within a number", QByteArray(header) + "\nt\t1\terror\ta\ta\tb\t1\t12", 1},
        {"within the fields", QByteArray(header) + "\nt\t1\terror\ta\ta\tb\t1\t12\tshapes=12", 1},
        {"within the header", QByteArray(header).left(5), 1},
        {"a whole line", QByteArray(header) + '\n', 0},
        {"nothing", {}, 0},
    };
    for (const auto& row : rows) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(row.before);
        file.close();
        Logger::writeEvent("x.y", "first", LogLevel::Error, 1, {});
        Logger::writeEvent("x.y", "second", LogLevel::Error, 1, {});
        const LogSummary summary = Logger::summarizeLogFile(path);
        EXPECT_EQ(summary.events().value({"x.y", "first"}).records, 1) << row.name;
        EXPECT_EQ(summary.events().value({"x.y", "second"}).records, 1) << row.name;
        EXPECT_EQ(summary.badLines(), row.bad) << row.name;
        EXPECT_FALSE(linesOf(path).join(u'|').contains("||")) << row.name;
    }
    // Who may write to a log need not be allowed to read it.
    QFile::setPermissions(path, QFileDevice::WriteOwner);
    Logger::writeEvent("x.y", "third", LogLevel::Error, 1, {});
    QFile::setPermissions(path, QFileDevice::WriteOwner | QFileDevice::ReadOwner);
    EXPECT_EQ(last().value(5), "third");
}

// Long records, so that a kill often falls into the middle of one.
TEST_F(LoggerTest, KilledWritersCostNoOtherRecord) {
    constexpr int rounds = 15;
    constexpr int writers = 3;
    auto* const done = static_cast<std::atomic<int>*>(mmap(nullptr, sizeof(std::atomic<int>) * rounds * writers,
                                                           PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    const QString text(200'000, u'x');
    std::mt19937 random(test::seed());
    for (int round = 0; round < rounds; ++round) {
        pid_t ids[writers];
        for (int writer = 0; writer < writers; ++writer) {
            const int number = round * writers + writer;
            ids[writer] = fork();
            if (ids[writer] == 0) {
                for (int i = 1;; ++i) {
                    Logger::writeEvent("killed", QString::number(number), LogLevel::Error, i, {{"text", text}});
                    done[number] = i;
                }
            }
        }
        while (done[round * writers] < 5) {
            usleep(500);
        }
        for (const pid_t id : ids) { // one after the other: the others go on
            usleep(static_cast<useconds_t>(random() % 1500));
            kill(id, SIGKILL);
        }
        while (wait(nullptr) > 0) {
        }
    }
    const LogSummary summary = Logger::summarizeLogFile(path);
    for (int number = 0; number < rounds * writers; ++number) {
        const LogSummary::Event event = summary.events().value({"killed", QString::number(number)});
        EXPECT_GE(event.records, done[number]) << number << ", seed " << test::seed();
        EXPECT_LE(event.records, done[number] + 1) << number;
    }
    EXPECT_LE(summary.badLines(), rounds * writers);
    RecordProperty("torn", static_cast<int>(summary.badLines()));
    munmap(done, sizeof(std::atomic<int>) * rounds * writers);
}

TEST(LogSummary, CountsBadLinesAndKeepsSeriesOfNumbers) {
    const auto record = [](const char* level, const char* event, const char* elapsed, const char* fields) {
        return QByteArray("2026-01-01T00:00:00.000\t1\t") + level + "\tc\tc.d\t" + event + "\t1f\t" + elapsed + '\t' +
               fields + '\n';
    };
    QByteArray log = QByteArray(header) + '\n';
    for (int i = 1; i <= 20; ++i) {
        log += record("info", "draw", QByteArray::number(i).constData(), "shapes=2.5;name=x;empty=;a=b=3;n=nan");
    }
    log += record("warning", "draw", "-1", "") + record("error", "save", "7", "");
    log += "not a record\n\n" + QByteArray(header) + '\n'; // the second is a header of another process
    log += record("info", QByteArray(300, 'x'), "1", "") + record("loud", "draw", "1", "") +
           record("info", "draw", "soon", "");
    log += QByteArray(3 << 20, 'x') + '\n' + record("info", "draw", "1", "").chopped(1);
    QBuffer buffer(&log);
    buffer.open(QIODevice::ReadOnly);
    const LogSummary summary = LogSummary::read(buffer);
    EXPECT_EQ(summary.records(), 22);
    EXPECT_EQ(summary.badLines(), 6);
    ASSERT_EQ(summary.events().size(), 2);
    const LogSummary::Event draw = summary.events().value({"c.d", "draw"});
    EXPECT_EQ(draw.records, 21);
    EXPECT_EQ(draw.warnings, 1);
    EXPECT_EQ(draw.elapsed.count(), 20);
    EXPECT_EQ(draw.elapsed.total(), 210);
    EXPECT_EQ(draw.elapsed.median(), 10.5);
    EXPECT_EQ(draw.elapsed.quantile(0.95), 19);
    EXPECT_EQ(draw.elapsed.processMedians().size(), 20); // the sequence is 1 in each
    EXPECT_EQ(draw.numbers.keys(), QStringList{"shapes"});
    EXPECT_EQ(summary.table().size(), 4);

    LogSeries many; // more than are kept
    for (int i = 0; i < 200'000; ++i) {
        many.add(static_cast<double>((i * 7919LL) % 200'000));
    }
    EXPECT_NEAR(many.median(), 100'000, 4'000);
    EXPECT_EQ(many.maximum(), 199'999);
}

TEST(LogComparison, TellsDifferencesFromNoise) {
    const auto summaryOf = [](const QList<int>& times) {
        QByteArray log;
        for (const int time : times) {
            log += "t\t1\tinfo\tc\tc\te\t1\t" + QByteArray::number(time) + "\t\n";
        }
        QBuffer buffer(&log);
        buffer.open(QIODevice::ReadOnly);
        return LogSummary::read(buffer);
    };
    using Verdict = LogComparison::Verdict;
    struct Case {
        QList<int> baseline;
        QList<int> candidate;
        Verdict verdict;
    };
    const Case cases[] = {
        {{100, 101, 99, 100, 102, 99, 100}, {120, 121, 119, 120, 118, 119, 120}, Verdict::Slower},
        {{120, 121, 119, 120, 118, 119, 120}, {100, 101, 99, 100, 102, 99, 100}, Verdict::Faster},
        {{100, 101, 99, 100, 102, 99, 100}, {103, 104, 102, 103, 103, 103, 103}, Verdict::Slower},
        {{200, 201, 199, 200, 202, 199, 200}, {203, 204, 202, 203, 203, 203, 203}, Verdict::Same}, // below 2 %
        {{60, 100, 140, 90, 110, 80, 99}, {80, 120, 160, 110, 130, 100, 119}, Verdict::Same},      // within the noise
        {{0, 0, 0, 0, 50, 50, 50}, {50, 50, 50, 50, 0, 0, 0}, Verdict::Same},                      // two modes
        {QList<int>(9, 1), QList<int>(9, 2), Verdict::Same}, // within what the clock tells
        {QList<int>(9, 0), QList<int>(9, 0), Verdict::Same},
        {QList<int>(9, 0), QList<int>(9, 50), Verdict::Slower},
        {QList<int>(6, 100), QList<int>(9, 500), Verdict::TooFew},
        {{}, {5}, Verdict::MissingBaseline},
        {{5}, {}, Verdict::MissingCandidate},
        {{-1}, {}, Verdict::MissingCandidate}, // never timed
    };
    for (const Case& c : cases) {
        const LogComparison comparison(summaryOf(c.baseline), summaryOf(c.candidate));
        ASSERT_EQ(comparison.rows().size(), 1) << &c - cases;
        EXPECT_EQ(comparison.rows().constFirst().verdict, c.verdict) << &c - cases;
        EXPECT_EQ(comparison.count(c.verdict), 1);
    }
}

// What may be called a difference in a hundred comparisons of logs that are alike, and what has to be found.
TEST(LogComparison, FindsWhatIsThereAndMoreOfItInMoreRuns) {
    const test::LogRuns oneTimeEach;
    const test::LogRuns tail{.noise = 0.05, .skewed = true};
    const test::LogRuns offsets{.times = 20, .offset = 0.03};
    const struct {
        const char* name;
        test::LogRuns runs;
        double least[3]; ///< share found of what is 5 % slower, with 7, 10 and 20 processes
    } rows[] = {
        {"one time each, 3 % of noise", oneTimeEach, {0.33, 0.62, 0.95}},
        {"a long tail", tail, {0.05, 0.12, 0.42}},
        {"processes that differ by 3 %", offsets, {0.27, 0.55, 0.93}},
    };
    for (const auto& row : rows) {
        std::mt19937 random(test::seed());
        double before = 0.0;
        for (int i = 0; i < 3; ++i) {
            test::LogRuns runs = row.runs;
            runs.processes = std::array{7, 10, 20}[static_cast<std::size_t>(i)];
            EXPECT_LE(runs.found(1.0, 400, random), 0.03) << row.name << ", " << runs.processes << " alike";
            const double found = runs.found(1.05, 200, random);
            EXPECT_GE(found, row.least[i]) << row.name << ", " << runs.processes;
            EXPECT_GE(found, before) << row.name << ", " << runs.processes << ": more runs find less";
            before = found;
        }
    }
    // One process tells nothing of another, however often it did the work.
    std::mt19937 random(test::seed());
    const test::LogRuns alone{.processes = 1, .times = 500, .offset = 0.03};
    const LogComparison comparison(alone.summary(1.0, random), alone.summary(1.0, random));
    EXPECT_EQ(comparison.count(LogComparison::Verdict::TooFew), 1);
    EXPECT_EQ(comparison.rows().constFirst().baselineProcesses, 1);
}

TEST(LogComparison, TheShiftIsThatOfAllPairs) {
    std::mt19937 random(test::seed());
    for (int run = 0; run < 200; ++run) {
        const bool whole = run % 2 == 0; // milliseconds, or hardly two times alike
        const test::LogRuns one{.processes = 7 + run % 30, .typical = whole ? 9.0 : 1e12};
        const test::LogRuns other{.processes = 7 + run % 7, .typical = one.typical, .noise = 0.1};
        const LogSummary baseline = one.summary(1.0, random);
        const LogSummary candidate = other.summary(1.0 + run % 5 * 0.05, random);
        std::vector<double> differences;
        for (const double x : candidate.events().first().elapsed.processMedians()) {
            for (const double y : baseline.events().first().elapsed.processMedians()) {
                differences.push_back(x - y);
            }
        }
        std::sort(differences.begin(), differences.end());
        const std::size_t count = differences.size();
        const LogComparison::Row row = LogComparison(baseline, candidate).rows().constFirst();
        EXPECT_NEAR(row.shift, (differences[(count - 1) / 2] + differences[count / 2]) / 2.0, whole ? 1.0 : 1e-3);
        EXPECT_TRUE(row.shiftLow <= row.shift && row.shift <= row.shiftHigh);
        if (!whole) { // as many of the differences lie beyond the one end as beyond the other
            const auto below = std::lower_bound(differences.begin(), differences.end(), row.shiftLow - 1e-3);
            const auto above = std::upper_bound(differences.begin(), differences.end(), row.shiftHigh + 1e-3);
            EXPECT_EQ(below - differences.begin(), differences.end() - above);
            EXPECT_EQ(row.verdict == LogComparison::Verdict::Slower, row.shiftLow > 0.0 && row.ratio > 1.02) << run;
        }
    }
}

TEST(LogSummary, TellsProcessesApart) {
    const auto line = [](int sequence, const char* thread) {
        return "t\t" + QByteArray::number(sequence) + "\tinfo\tc\tc\te\t" + thread + "\t5\t\n";
    };
    const struct {
        const char* name;
        QByteArray log;
        qint64 processes;
    } rows[] = {
        {"one after the other", line(1, "a") + line(2, "a") + line(1, "b") + line(2, "b"), 2},
        {"with the same threads", line(1, "a") + line(2, "a") + line(1, "a") + line(2, "a") + line(3, "a"), 2},
        {"side by side", line(1, "a") + line(1, "b") + line(2, "b") + line(2, "a") + line(3, "a") + line(3, "b"), 2},
        {"threads of one", line(1, "a") + line(2, "b") + line(3, "a") + line(4, "c") + line(5, "b"), 1},
        {"with records lost", line(1, "a") + line(5, "a") + line(9, "a"), 1},
        {"without its beginning", line(7, "a") + line(8, "a") + line(1, "a"), 2},
        {"without numbers", "t\tx\tinfo\tc\tc\te\ta\t5\t\nt\t\tinfo\tc\tc\te\ta\t5\t\n", 1},
    };
    for (const auto& row : rows) {
        QByteArray log = row.log;
        QBuffer buffer(&log);
        buffer.open(QIODevice::ReadOnly);
        const LogSummary summary = LogSummary::read(buffer);
        EXPECT_EQ(summary.processes(), row.processes) << row.name;
        EXPECT_EQ(summary.events().first().elapsed.processMedians().size(), row.processes) << row.name;
    }
}

TEST_F(LoggerTest, TablesAreWrittenAsTsvAndAsAlignedText) {
    Logger::setMode(LoggingMode::Verbose);
    Logger::writeLoadMetrics({{"open", 4, "roads", 10}, {"index", 12, "roads", -1}});
    Logger::writeLoadMetric("open", 6, "rails", 20);
    const LogSummary summary = Logger::summarizeLogFile(path);
    Logger::writeLogSummary(summary, folder.filePath("s.tsv"));
    Logger::writeLogSummary(summary, folder.filePath("s.txt"));
    EXPECT_EQ(linesOf(folder.filePath("s.tsv")).value(3), "library.load\topen\telapsed_ms\t2\t0\t0\t2\t10\t4\t5\t6\t6");
    EXPECT_EQ(linesOf(folder.filePath("s.txt")).value(3).simplified(),
              "library.load open elapsed_ms 2 0 0 2 10 4 5 6 6");
    Logger::writeLogComparison({summary, summary}, folder.filePath("c.txt"));
    EXPECT_TRUE(linesOf(folder.filePath("c.txt")).value(1).endsWith("too few"));
    Logger::writeTsv(folder.filePath("t.tsv"), {{"a\tb", "c"}, {"d"}});
    EXPECT_EQ(linesOf(folder.filePath("t.tsv")), (QStringList{"a b\tc", "d"}));
    EXPECT_THROW(Logger::writeTsv(folder.filePath("no/t.tsv"), {}), std::runtime_error);
    EXPECT_THROW(Logger::summarizeLogFile(folder.filePath("none.tsv")), std::runtime_error);
    EXPECT_THROW(Logger::summarizeLogFile(folder.path()), std::runtime_error);
}
