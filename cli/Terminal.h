// Ctrl-C, the progress bar, and the number of threads: what a command has to do with the system
// around it.
#pragma once

#include <functional>

namespace Cli {

/// Sees to it that no file of ours gets the number of a standard stream that was closed by the
/// caller; using that stream is an error still.
void KeepStandardNumbers();

/// Ctrl-C and the request to end are noted from here on, and a reader that goes away is an error of
/// writing and no signal. A second Ctrl-C ends the program at once.
void WatchSignals();
/// Has the user asked for an end?
bool IsStopWanted();

/// Takes the bar from the terminal, before other words go there.
void HideProgress();

/// Runs `work` with at most `threads` threads, 0 for as many as there are; with a progress bar on
/// the standard error where that is a terminal and `isQuiet` is false.
void RunWatched(int threads, bool isQuiet, const std::function<void()>& work);

} // namespace Cli
