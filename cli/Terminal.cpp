// Ctrl-C, the progress bar, and the number of threads.

#include "Terminal.h"

#include <Velk/Progress_E.h>
#include <Velk/ThreadLimit_E.h>

#include <csignal>
#include <cstdio>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace Cli {

namespace {

volatile std::sig_atomic_t isStopWanted = 0;

/// Whether the bar is on the screen.
bool isBarShown = false;

void ShowProgress(double fraction)
{
    constexpr int kWidth = 30;
    const int done = static_cast<int>(fraction * kWidth);
    std::string bar(static_cast<std::size_t>(done), '#');
    bar.resize(kWidth, '.');
    std::fprintf(stderr, "\r[%s] %3d %%", bar.c_str(), static_cast<int>(100 * fraction));
    isBarShown = true;
}

} // namespace

void KeepStandardNumbers()
{
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(number, F_GETFD) < 0) {
            // The lowest free number is this one; opened for the wrong direction.
            static_cast<void>(::open("/dev/null", number == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

void WatchSignals()
{
    struct sigaction action = {};
    action.sa_handler = [](int) { isStopWanted = 1; };
    // Once, so that a command that can't hear the first Ctrl-C is ended by the second; and a read
    // from a pipe that waits is broken off.
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int number : {SIGINT, SIGTERM}) {
        struct sigaction before = {};
        sigaction(number, nullptr, &before);
        // In the background of a script it is ignored, and stays so.
        if (before.sa_handler != SIG_IGN) {
            sigaction(number, &action, nullptr);
        }
    }
    std::signal(SIGPIPE, SIG_IGN);
}

bool IsStopWanted() { return isStopWanted != 0; }

void HideProgress()
{
    if (isBarShown) {
        std::fputs("\r\033[K", stderr);
        isBarShown = false;
    }
}

void RunWatched(int threads, bool isQuiet, const std::function<void()>& work)
{
    const Velk::ThreadLimit limit(threads);
    const bool hasBar = !isQuiet && isatty(STDERR_FILENO) == 1;
    const Velk::ProgressScope scope([&](double fraction) {
        if (hasBar) {
            ShowProgress(fraction);
        }
        return !IsStopWanted();
    });
    work();
}

} // namespace Cli
