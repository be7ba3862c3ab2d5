// The words on the command line, told apart by CLI11 and checked against the options' records. The
// only file that includes CLI11.

#include "Grammar.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Cli {

namespace {

std::string Plain(double number)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%g", number);
    return text.data();
}

/// What an option wants, for a message.
std::string Wanted(const Option& option)
{
    std::string words;
    switch (option.kind) {
    case OptionKind::Choice:
        for (const std::string& choice : option.choices) {
            words += (words.empty() ? "one of " : ", ") + choice;
        }
        return words;
    case OptionKind::Count:
        words = "a whole number";
        break;
    case OptionKind::Numbers:
        words = option.howMany == 0 ? "numbers with commas between them"
                                    : std::to_string(option.howMany) +
                                          " numbers with commas between them, such as " +
                                          (option.howMany == 3 ? "0,0,1" : "1,2");
        break;
    default:
        words = "a number";
    }
    const bool hasLeast = std::isfinite(option.least);
    const bool hasMost = std::isfinite(option.most);
    if (hasLeast && option.least > 0 && option.least < 1e-300) {
        words += " above 0";
    } else if (hasLeast && hasMost) {
        words += " from " + Plain(option.least) + " to " + Plain(option.most);
    } else if (hasLeast) {
        words += ", " + Plain(option.least) + " or more";
    } else if (hasMost) {
        words += ", " + Plain(option.most) + " at most";
    }
    return words;
}

bool IsWanted(const Option& option, const std::string& text)
{
    const auto isInRange = [&](double number) {
        return number >= option.least && number <= option.most;
    };
    switch (option.kind) {
    case OptionKind::Number: {
        const auto number = NumberOf(text);
        return number && isInRange(*number);
    }
    case OptionKind::Count: {
        constexpr double kMost = 1e15;
        const auto number = NumberOf(text);
        return number && isInRange(*number) && std::fabs(*number) < kMost &&
               std::floor(*number) == *number;
    }
    case OptionKind::Numbers: {
        const auto numbers = NumbersOf(text);
        return numbers && (option.howMany == 0 || numbers->size() == option.howMany) &&
               std::all_of(numbers->begin(), numbers->end(), isInRange);
    }
    case OptionKind::Choice:
        return std::find(option.choices.begin(), option.choices.end(), text) !=
               option.choices.end();
    case OptionKind::File:
        return !text.empty();
    case OptionKind::Text:
    case OptionKind::Flag:
        break;
    }
    return true;
}

[[noreturn]] void Refuse(const std::string& message) { throw Failure(Exit::WrongUse, message); }

/// As it is typed: of two names the short one.
std::string Typed(const std::string& option) { return option == "--output" ? "-o" : option; }

/// Options that would change nothing are errors of whoever typed them.
void RefuseIdle(const Call& call, const std::vector<Option>& options)
{
    const auto isTyped = [&](const std::string& name) { return call.values.contains(name); };
    for (const Option& option : options) {
        if (!isTyped(option.name)) {
            continue;
        }
        if (!option.needs.empty() &&
            std::none_of(option.needs.begin(), option.needs.end(), isTyped)) {
            std::string words;
            for (const std::string& name : option.needs) {
                words += (words.empty() ? "" : " or ") + Typed(name);
            }
            Refuse(Typed(option.name) + " does nothing without " + words);
        }
        const auto other = std::find_if(option.excludes.begin(), option.excludes.end(), isTyped);
        if (other != option.excludes.end()) {
            Refuse(Typed(option.name) + " does nothing with " + Typed(*other));
        }
    }
}

} // namespace

std::string Nearest(const std::string& word, const std::vector<std::string>& known)
{
    // Levenshtein's distance, row by row.
    const auto distance = [](const std::string& a, const std::string& b) {
        std::vector<std::size_t> row(b.size() + 1);
        for (std::size_t j = 0; j <= b.size(); ++j) {
            row[j] = j;
        }
        for (std::size_t i = 1; i <= a.size(); ++i) {
            std::size_t diagonal = row[0];
            row[0] = i;
            for (std::size_t j = 1; j <= b.size(); ++j) {
                const std::size_t above = row[j];
                row[j] = std::min(
                    {above + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0U : 1U)});
                diagonal = above;
            }
        }
        return row.back();
    };
    std::string nearest;
    std::size_t least = word.size() / 3 + 2;
    for (const std::string& candidate : known) {
        const std::size_t d =
            candidate.starts_with(word) && word.size() > 1 ? 0 : distance(word, candidate);
        if (d < least) {
            least = d;
            nearest = candidate;
        }
    }
    return nearest;
}

Call ParseCall(const Command& command, const std::vector<std::string>& words)
{
    const std::vector<Option> options = AllOptions(command);
    CLI::App app;
    app.set_help_flag();
    app.allow_extras();
    Call call;
    call.command = &command;
    std::map<std::string, std::string> texts; // stays where it is: CLI11 keeps addresses
    std::map<std::string, CLI::Option*> made;
    for (const Option& option : options) {
        const std::string names = option.name == "--output"  ? "-o,--output"
                                  : option.name == "--quiet" ? "-q,--quiet"
                                                             : option.name;
        if (option.kind == OptionKind::Flag) {
            made[option.name] = app.add_flag(names);
        } else {
            made[option.name] = app.add_option(names, texts[option.name])->take_last();
        }
    }
    app.add_option("inputs", call.inputs)->expected(0, 1 << 20);

    const auto dashes = std::find(words.begin(), words.end(), "--");
    std::vector<std::string> reversed(std::make_reverse_iterator(dashes), words.rend());
    try {
        app.parse(reversed);
    } catch (const CLI::ArgumentMismatch&) {
        // Only the last word can lack its value: all others take what follows, whatever it is.
        Refuse(*(dashes - 1) + " wants a value");
    } catch (const CLI::ParseError& error) {
        Refuse(error.what());
    }
    if (const std::vector<std::string> unknown = app.remaining(); !unknown.empty()) {
        std::vector<std::string> names;
        for (const Option& option : options) {
            names.push_back(option.name);
        }
        const std::string nearest = Nearest(unknown.front(), names);
        Refuse("unknown option " + unknown.front() +
               (nearest.empty() ? "" : "; did you mean " + nearest + "?"));
    }
    if (dashes != words.end()) {
        call.inputs.insert(call.inputs.end(), dashes + 1, words.end());
    }
    for (const Option& option : options) {
        if (made[option.name]->count() == 0) {
            continue;
        }
        if (option.kind != OptionKind::Flag && made[option.name]->count() > 1) {
            Refuse(option.name + " is given twice");
        }
        const std::string& text = texts[option.name];
        if (option.kind != OptionKind::Flag && !IsWanted(option, text)) {
            const bool isPath = option.kind == OptionKind::File;
            Refuse(option.name + (isPath ? " wants the name of a file"
                                         : " wants " + Wanted(option) + ", not \"" + text + "\""));
        }
        call.values[option.name] = option.kind == OptionKind::Flag ? std::string() : text;
    }
    RefuseIdle(call, options);
    if (call.inputs.size() < command.leastInputs) {
        Refuse(command.inputs[std::min(call.inputs.size(), command.inputs.size() - 1)] +
               " is missing: name a file, or - to read the standard input");
    }
    if (call.inputs.size() > command.mostInputs) {
        Refuse("one input too many: " + call.inputs[command.mostInputs]);
    }
    return call;
}

} // namespace Cli
