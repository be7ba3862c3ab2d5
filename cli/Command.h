// What a command of `sorvane` is: its words, its options as data, and the function that does the
// work.
//
// The grammar, the help, the manual page and the completion of the shell are all made from these
// records, so that none of them can tell something else than the others.
#pragma once

#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace Cli {

class Session;

/// What the program ends with.
enum class Exit : int {
    Done = 0, ///< done, and nothing is wrong with the part
    Defective =
        1, ///< done, but the part has defects, or the result does not hold what was asked for
    WrongUse = 2,     ///< the words on the command line make no sense
    Files = 3,        ///< something can't be read or written
    Interrupted = 130 ///< stopped by Ctrl-C
};

/// What stands behind an option.
enum class OptionKind {
    Flag,    ///< nothing
    Number,  ///< a finite number
    Count,   ///< a whole number
    Numbers, ///< finite numbers with commas between them
    Text,    ///< anything
    Choice,  ///< one of some words
    File     ///< a path
};

/// An option of a command. Made by the functions of `Opt`.
struct Option {
    std::string name; ///< with its dashes: "--angle"
    OptionKind kind = OptionKind::Flag;
    std::string value;     ///< what the help calls the value, in capitals: "DEGREES"
    std::string help;      ///< a sentence without its first capital and last dot; with the unit
    std::string byDefault; ///< as it would be typed; empty: there is none
    std::vector<std::string> choices;
    double least = -std::numeric_limits<double>::infinity();
    double most = std::numeric_limits<double>::infinity();
    std::size_t howMany = 0; ///< of `Numbers`: how many there must be; 0 for any number from 1 on
    bool isRead = false;     ///< of `File`: it is read, as an input is, and may be "-"
    /// It changes nothing without one of these: typed alone it is refused, since whoever types it
    /// expects something of it.
    std::vector<std::string> needs;
    std::vector<std::string> excludes; ///< with one of these it changes nothing: refused as well

    /// The same with the value that it has when it is not given.
    Option Default(std::string text) &&
    {
        byDefault = std::move(text);
        return std::move(*this);
    }
    /// The same for numbers from `low` to `high` only.
    Option Within(double low, double high) &&
    {
        least = low;
        most = high;
        return std::move(*this);
    }
    /// The same for numbers from `low` on.
    Option From(double low) && { return std::move(*this).Within(low, most); }
    /// The same for numbers above 0.
    Option Positive() &&
    {
        return std::move(*this).From(std::numeric_limits<double>::denorm_min());
    }
    /// The same that means something beside one of these options only.
    Option With(std::vector<std::string> options) &&
    {
        needs = std::move(options);
        return std::move(*this);
    }
    /// The same that means nothing beside one of these options.
    Option Without(std::vector<std::string> options) &&
    {
        excludes = std::move(options);
        return std::move(*this);
    }
    /// The same for a file that is read.
    Option Read() &&
    {
        isRead = true;
        return std::move(*this);
    }
    /// The same for lists of `count` numbers.
    Option Exactly(std::size_t count) &&
    {
        howMany = count;
        return std::move(*this);
    }
};

namespace Opt {
inline Option Make(OptionKind kind, std::string name, std::string value, std::string help)
{
    Option option;
    option.kind = kind;
    option.name = std::move(name);
    option.value = std::move(value);
    option.help = std::move(help);
    return option;
}
inline Option Flag(std::string name, std::string help)
{
    return Make(OptionKind::Flag, std::move(name), {}, std::move(help));
}
inline Option Number(std::string name, std::string value, std::string help)
{
    return Make(OptionKind::Number, std::move(name), std::move(value), std::move(help));
}
inline Option Count(std::string name, std::string value, std::string help)
{
    return Make(OptionKind::Count, std::move(name), std::move(value), std::move(help)).From(0);
}
inline Option Numbers(std::string name, std::string value, std::string help)
{
    return Make(OptionKind::Numbers, std::move(name), std::move(value), std::move(help));
}
inline Option Text(std::string name, std::string value, std::string help)
{
    return Make(OptionKind::Text, std::move(name), std::move(value), std::move(help));
}
inline Option File(std::string name, std::string value, std::string help)
{
    return Make(OptionKind::File, std::move(name), std::move(value), std::move(help));
}
inline Option Choice(std::string name, std::string value, std::vector<std::string> choices,
                     std::string help)
{
    Option option = Make(OptionKind::Choice, std::move(name), std::move(value), std::move(help));
    option.choices = std::move(choices);
    return option;
}
} // namespace Opt

/// A line that really runs in a folder with the files of examples/data, and what it does.
struct Example {
    std::string line;
    std::string says;
};

/// One word behind `sorvane`.
struct Command {
    std::string name;
    std::string summary;     ///< what it does in one line, without a dot
    std::string description; ///< paragraphs with an empty line between them; may be empty

    /// What the inputs are called, one after another: {"PART"}, {"PART", "OTHER"}. "-" stands for
    /// the standard input. The last one may be left out where `leastInputs` is smaller, and
    /// repeated where `mostInputs` is greater than their number.
    std::vector<std::string> inputs = {"PART"};
    std::size_t leastInputs = 1;
    std::size_t mostInputs = 1;

    // The options that all commands share are offered where there is a text of what they mean here.
    std::string output;                      ///< -o, --output
    std::string tolerance;                   ///< --tolerance; not negative
    std::string toleranceDefault;            ///< as it would be typed; empty: there is none
    std::vector<std::string> toleranceNeeds; ///< as `Option::needs`
    std::string picture;                     ///< --svg
    std::vector<Option> options; ///< all others but --json, --threads, --quiet and --help
    std::string defects;         ///< when it ends with 1: "the part has defects"; empty: never
    std::vector<Example> examples;
    std::function<void(Session&)> run;
};

/// All commands, in the order in which the help names them.
const std::vector<Command>& Commands();

/// The command of that name; null without one.
const Command* FindCommand(const std::string& name);

/// The options of a command with those that it shares with others, as the help lists them.
std::vector<Option> AllOptions(const Command& command);

} // namespace Cli
