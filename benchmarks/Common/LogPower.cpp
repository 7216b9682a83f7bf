// How often LogComparison finds a difference that is there, and one that is not: the table of
// docs/diagnostics.md.

#include "../../tests/Common/LogRuns.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    const int comparisons = argc > 1 ? std::atoi(argv[1]) : 10'000;
    const auto seed = argc > 2 ? static_cast<unsigned int>(std::atoi(argv[2])) : 1U;
    if (comparisons < 1) {
        std::fprintf(stderr, "log-power [COMPARISONS] [SEED]\n");
        return 2;
    }
    const struct {
        const char* name;
        test::LogRuns runs;
    } rows[] = {
        {"3 % of noise", {}},
        {"the same, 40 ms", {.typical = 40}},
        {"10 % of noise", {.noise = 0.10}},
        {"a long tail of 5 %", {.noise = 0.05, .skewed = true}},
        {"20 times a process, 3 % of noise", {.times = 20}},
        {"20 times a process, 3 % between processes", {.times = 20, .offset = 0.03}},
    };
    std::printf("%d comparisons each, seed %u\n\n", comparisons, seed);
    std::printf(
        "| times | slower by | 7 processes | 10 | 14 | 20 | 30 |\n| --- | ---: | ---: | ---: | ---: | ---: | "
        "---: |\n");
    for (const auto& row : rows) {
        for (const double slower : {0.0, 0.03, 0.05, 0.10}) {
            std::printf("| %s | %.0f %% |", row.name, slower * 100);
            for (const int processes : {7, 10, 14, 20, 30}) {
                std::mt19937 random(seed);
                test::LogRuns runs = row.runs;
                runs.processes = processes;
                std::printf(" %.1f |", 100.0 * runs.found(1.0 + slower, comparisons, random));
            }
            std::printf("\n");
            std::fflush(stdout);
        }
    }
    return 0;
}
