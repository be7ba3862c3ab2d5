// The command `sorvane`: finds the command that is meant, runs it, and turns what went wrong into
// words and an exit code.

#include "Grammar.h"
#include "Pages.h"
#include "Session.h"
#include "Terminal.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace {

using namespace Cli;

int CodeOf(Exit code) { return static_cast<int>(code); }

int Tell(const Failure& failure, const std::string& command)
{
    HideProgress();
    std::fflush(stdout);
    if (*failure.what() != '\0') {
        const std::string name = command.empty() ? "sorvane" : "sorvane " + command;
        std::fprintf(stderr, "%s: %s\n", name.c_str(), failure.what());
        if (failure.Code() == Exit::WrongUse) {
            std::fprintf(stderr, "%s --help tells how it is used\n", name.c_str());
        }
    }
    return CodeOf(failure.Code());
}

/// A page to the standard output.
int Show(const std::string& text)
{
    try {
        PutStandardOutput(text);
    } catch (const Failure& failure) {
        return Tell(failure, {});
    }
    return CodeOf(Exit::Done);
}

int RunCommand(const Command& command, const std::vector<std::string>& words)
{
    Session session(ParseCall(command, words));
    Exit code = Exit::Done;
    RunWatched(session.Has("--threads") ? static_cast<int>(session.Count("--threads")) : 0,
               session.Has("--quiet"), [&] {
                   command.run(session);
                   code = session.Finish();
               });
    return CodeOf(code);
}

int Run(const std::vector<std::string>& words)
{
    if (words.empty()) {
        std::fputs(MainHelp().c_str(), stderr);
        return CodeOf(Exit::WrongUse);
    }
    const std::string& first = words.front();
    if (first == "--help" || first == "-h" || (first == "help" && words.size() == 1)) {
        return Show(MainHelp());
    }
    if (first == "--version") {
        return Show(VersionLine());
    }
    if (first == "--man") {
        return Show(ManualPage());
    }
    if (first == "--bash-completion") {
        return Show(BashCompletion());
    }
    const std::string& name = first == "help" ? words[1] : first;
    const Command* command = FindCommand(name);
    if (!command) {
        std::vector<std::string> known;
        for (const Command& candidate : Commands()) {
            known.push_back(candidate.name);
        }
        const std::string nearest = Nearest(name, known);
        return Tell(
            Failure(Exit::WrongUse, "unknown command " + name +
                                        (nearest.empty() ? "" : "; did you mean " + nearest + "?")),
            {});
    }
    const std::vector<std::string> rest(words.begin() + 1, words.end());
    // Behind two dashes there are inputs, whatever they look like.
    const auto inputs = std::find(rest.begin(), rest.end(), "--");
    const auto asks = [&](const char* word) {
        return std::find(rest.begin(), inputs, word) != inputs;
    };
    if (first == "help" || asks("--help") || asks("-h")) {
        return Show(CommandHelp(*command));
    }
    try {
        return RunCommand(*command, rest);
    } catch (const Failure& failure) {
        // A call that was stopped gave its neutral result, which what follows it may find wanting.
        return IsStopWanted() && failure.Code() != Exit::Interrupted
                   ? Tell(Failure(Exit::Interrupted, "stopped; nothing more is written"), name)
                   : Tell(failure, name);
    } catch (const std::bad_alloc&) {
        return Tell(
            Failure(Exit::Files,
                    "there is not enough memory for this; try a larger tolerance or length"),
            name);
    } catch (const std::length_error&) {
        return Tell(Failure(Exit::Files,
                            "the result has more triangles than can be numbered; try a larger "
                            "tolerance or length"),
                    name);
    } catch (const std::system_error& error) {
        return Tell(Failure(Exit::Files, error.what()), name);
    } catch (const std::runtime_error& error) {
        // The system gives no more threads.
        return Tell(Failure(Exit::Files,
                            std::string(error.what()) + "; free some memory, or try --threads 1"),
                    name);
    } catch (const std::exception& error) {
        return Tell(Failure(Exit::Files, error.what()), name);
    }
}

} // namespace

int main(int argc, char** argv)
{
    KeepStandardNumbers();
    WatchSignals();
    return Run({argv + 1, argv + std::max(argc, 1)});
}
