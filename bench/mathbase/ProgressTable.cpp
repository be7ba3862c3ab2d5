// How long operations go on after their host wants to stop: the table of docs/progress.md.
//
//   progress_table [--size N] [--trace MS] [NAME ...]     operations of these names, or all
//   progress_table --alone [--size N] NAME              without a scope, for tools that count
//
// Each operation runs on one thread, on a generated input: without a scope, in a scope that goes
// on, and in scopes that stop at places spread over the run. Gaps between two looks at the scope
// and the way from the stop to the return are processor times of the thread. `--trace` writes where
// a gap of more than so many milliseconds was, as addresses for addr2line.

#include "tests/support/LongOperations.h"
#include "tests/support/ThreadLimit.h"

#include <Velk/Progress_E.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <execinfo.h>
#include <string>
#include <sys/time.h>
#include <unistd.h>

namespace {

using Support::LongOperation;
using Support::Outcome;

constexpr int kStops = 8;

double Milliseconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return 1e3 * static_cast<double>(now.tv_sec) + 1e-6 * static_cast<double>(now.tv_nsec);
}

int traced = 0;
bool isAlone = false;

void Arm(int milliseconds)
{
    itimerval timer{};
    timer.it_value.tv_sec = milliseconds / 1000;
    timer.it_value.tv_usec = milliseconds % 1000 * 1000;
    setitimer(ITIMER_PROF, &timer, nullptr);
}

void WriteGap(int)
{
    void* frames[64];
    const int count = backtrace(frames, 64);
    const char title[] = "--- gap\n";
    if (write(STDERR_FILENO, title, sizeof title - 1) > 0) {
        backtrace_symbols_fd(frames, count, STDERR_FILENO);
    }
}

struct Run {
    Outcome outcome;
    long checks = 0;
    double longestGap = 0;
    double whole = 0;
    double sinceStop = 0;
};

/// In a scope that stops at its check number `stopAt`; never for a negative one.
Run Watch(const std::function<Outcome()>& call, long stopAt)
{
    Run run;
    double stopped = 0;
    const double begin = Milliseconds();
    double last = begin;
    const Velk::ProgressScope scope(
        [&](double) {
            const double now = Milliseconds();
            run.longestGap = std::max(run.longestGap, now - last);
            ++run.checks;
            if (traced > 0) {
                Arm(traced);
            }
            last = Milliseconds();
            stopped = last;
            return run.checks != stopAt;
        },
        std::chrono::milliseconds(0));
    if (traced > 0) {
        Arm(traced);
    }
    double end = 0;
    Support::WhenResultsAreThere() = [&] {
        end = Milliseconds();
        Arm(0);
    };
    run.outcome = call();
    Support::WhenResultsAreThere() = nullptr;
    run.longestGap = std::max(run.longestGap, end - last);
    run.whole = end - begin;
    run.sinceStop = end - stopped;
    return run;
}

void Measure(const LongOperation& operation, std::int64_t size)
{
    const auto call = operation.prepare(size);
    const double begin = Milliseconds();
    const Outcome alone = call();
    const double whole = Milliseconds() - begin;
    if (isAlone) {
        std::printf("%s,\"%s\",%.0f\n", operation.family, operation.name, whole);
        return;
    }
    const Run watched = Watch(call, -1);
    double longest = 0;
    bool isNeutral = true;
    for (int i = 0; i < kStops && watched.checks > 0 && traced == 0; ++i) {
        const Run stopped = Watch(call, 1 + (2 * i + 1) * watched.checks / (2 * kStops));
        longest = std::max(longest, stopped.sinceStop);
        isNeutral = isNeutral && stopped.outcome.isNeutral;
    }
    std::printf("%s,\"%s\",\"%s\",%lld,%.0f,%ld,%.1f,%.1f%s%s\n", operation.family, operation.name,
                operation.input, static_cast<long long>(size), whole, watched.checks,
                watched.longestGap, longest,
                alone.bits == watched.outcome.bits ? "" : ",OTHER BITS",
                isNeutral ? "" : ",NOT NEUTRAL");
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    std::int64_t size = 1'000'000;
    std::vector<std::string> names;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--size") == 0 && i + 1 < argc) {
            size = std::atoll(argv[++i]);
        } else if (std::strcmp(argv[i], "--trace") == 0 && i + 1 < argc) {
            traced = std::atoi(argv[++i]);
        } else if (std::strcmp(argv[i], "--alone") == 0) {
            isAlone = true;
        } else {
            names.emplace_back(argv[i]);
        }
    }
    if (traced > 0) {
        std::signal(SIGPROF, WriteGap);
    }
    std::printf("family,operation,input,size,whole,checks,gap,stop\n");
    Support::WithThreads(1, [&] {
        for (const LongOperation& operation : Support::LongOperations()) {
            const std::string name = operation.name;
            if (names.empty() || std::any_of(names.begin(), names.end(), [&](const auto& begin) {
                    return name.rfind(begin, 0) == 0 || operation.family == begin;
                })) {
                Measure(operation, size);
            }
        }
    });
    return 0;
}
