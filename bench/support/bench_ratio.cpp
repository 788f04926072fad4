#include "support/bench_ratio.h"

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace kvbench {

namespace {

// Keeps the time per iteration of each run while the console reporter prints.
class CollectingReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred)
                continue;
            times[run.benchmark_name()] = run.GetAdjustedRealTime();
            order.push_back(run.benchmark_name());
        }
        ConsoleReporter::ReportRuns(runs);
    }

    std::map<std::string, double> times;
    std::vector<std::string> order;
};

} // namespace

int runAndReport(int argc, char **argv, const char *ours)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    CollectingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    const std::string mine = ours;
    std::printf("\nRatio of %s's time to the peer's (below 1: %s is faster)\n", ours, ours);
    int printed = 0;
    for (const std::string &name : reporter.order) {
        std::size_t slash = name.find('/');
        if (slash == std::string::npos)
            continue;
        std::string testCase = name.substr(0, slash);
        std::string rest = name.substr(slash + 1);
        std::size_t tail = rest.find('/');
        std::string impl = rest.substr(0, tail);
        std::string suffix = tail == std::string::npos ? "" : rest.substr(tail);
        if (impl == mine)
            continue;
        auto it = reporter.times.find(testCase + "/" + mine + suffix);
        if (it == reporter.times.end() || reporter.times[name] <= 0)
            continue;
        std::printf("  %-40s %s / %-14s = %.2f\n", (testCase + suffix).c_str(), ours, impl.c_str(),
                    it->second / reporter.times[name]);
        ++printed;
    }
    if (printed == 0)
        std::printf("  (no pairs ran)\n");
    benchmark::Shutdown();
    return 0;
}

} // namespace kvbench
