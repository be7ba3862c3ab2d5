// Help, manual page and shell completion, all from the records of the commands.

#include "Pages.h"

#include <Sorvane/Version_E.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace Cli {

namespace {

constexpr std::size_t kWidth = 79;

/// Of the manual page, changed with the grammar: a page that told the day of its build would differ
/// from build to build.
constexpr const char* kPageDate = "2026-11-22";

std::string VersionText()
{
    const auto version = Velk::Math::Sorvane::Version();
    return std::to_string(version.major) + '.' + std::to_string(version.minor) + '.' +
           std::to_string(version.patch);
}

/// Words to lines of the page's width, each of them behind `indent` blanks; the first one goes on
/// at `column`.
std::string Wrapped(std::string_view words, std::size_t indent, std::size_t column)
{
    std::string text;
    std::size_t at = column;
    bool isFirst = true;
    while (!words.empty()) {
        const std::size_t end = std::min(words.find(' '), words.size());
        const std::string_view word = words.substr(0, end);
        if (!isFirst && at + 1 + word.size() > kWidth) {
            text += '\n' + std::string(indent, ' ');
            at = indent;
            isFirst = true;
        }
        text += isFirst ? "" : " ";
        text += word;
        at += word.size() + (isFirst ? 0 : 1);
        isFirst = false;
        words.remove_prefix(std::min(end + 1, words.size()));
    }
    return text + '\n';
}

std::vector<std::string> ParagraphsOf(const std::string& text)
{
    std::vector<std::string> paragraphs;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find("\n\n", at), text.size());
        std::string paragraph = text.substr(at, end - at);
        std::replace(paragraph.begin(), paragraph.end(), '\n', ' ');
        paragraphs.push_back(std::move(paragraph));
        at = end == text.size() ? end : end + 2;
    }
    return paragraphs;
}

std::string Names(const Option& option)
{
    return option.name == "--output"  ? "-o, --output"
           : option.name == "--quiet" ? "-q, --quiet"
                                      : option.name;
}

std::string Joined(const std::vector<std::string>& words, const char* between)
{
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : between) + word;
    }
    return text;
}

std::string ValueOf(const Option& option)
{
    return option.kind == OptionKind::Choice ? Joined(option.choices, "|") : option.value;
}

/// The sentence of an option, with its default.
std::string HelpOf(const Option& option)
{
    return option.help + (option.byDefault.empty() ? "" : " (" + option.byDefault + " by default)");
}

std::string Usage(const Command& command)
{
    std::string text = "sorvane " + command.name;
    for (std::size_t i = 0; i < command.inputs.size(); ++i) {
        const bool isLast = i + 1 == command.inputs.size();
        const std::string word =
            command.inputs[i] + (isLast && command.mostInputs > i + 1 ? "..." : "");
        text += i < command.leastInputs ? " " + word : " [" + word + "]";
    }
    return text + " [OPTION...]";
}

constexpr const char* kPromise = "A PART is a mesh file of any form (STL as text or binary, TIPC), "
                                 "told by its content; - reads it from the "
                                 "standard input. Lengths have the unit of the file, angles are in "
                                 "degrees. -o - writes to the standard "
                                 "output. A file that is written replaces the old one when it is "
                                 "whole, or the old one stays as it was.";

struct Code {
    const char* number;
    std::string meaning;
};

std::vector<Code> CodesOf(const Command* command)
{
    const std::string defects = command ? command->defects : "done, but the part has defects";
    std::vector<Code> codes{{"0", "done"}};
    if (!defects.empty()) {
        codes.push_back({"1", defects});
    }
    codes.push_back({"2", "wrong use"});
    codes.push_back({"3", "something can't be read or written"});
    codes.push_back({"130", "stopped by Ctrl-C, with no half file left"});
    return codes;
}

// --- the manual's own marks
// -----------------------------------------------------------------------

/// Text for roff: a backslash, a dash, and a dot or quote at the beginning of a line mean something
/// there.
std::string RoffLine(std::string_view lines)
{
    std::string escaped;
    for (const char c : lines) {
        if (c == '\\') {
            escaped += "\\e";
        } else if (c == '-') {
            escaped += "\\-";
        } else {
            if ((escaped.empty() || escaped.back() == '\n') && (c == '.' || c == '\'')) {
                escaped += "\\&";
            }
            escaped += c;
        }
    }
    return escaped;
}

/// A paragraph for roff, in lines of the page's width.
std::string Roff(std::string_view text)
{
    std::string lines = Wrapped(text, 0, 0);
    lines.pop_back();
    return RoffLine(lines);
}

} // namespace

std::vector<Option> AllOptions(const Command& command)
{
    std::vector<Option> options;
    if (!command.output.empty()) {
        options.push_back(Opt::File("--output", "FILE", command.output));
    }
    if (!command.tolerance.empty()) {
        options.push_back(Opt::Number("--tolerance", "LENGTH", command.tolerance)
                              .From(0)
                              .Default(command.toleranceDefault)
                              .With(command.toleranceNeeds));
    }
    options.insert(options.end(), command.options.begin(), command.options.end());
    if (!command.picture.empty()) {
        options.push_back(Opt::File("--svg", "FILE", command.picture));
    }
    options.push_back(Opt::Flag("--json",
                                "write the result as JSON to the standard output, and no text; "
                                "what is no finite number is null there"));
    options.push_back(
        Opt::Count("--threads", "N", "work on N threads at most; the result is the same")
            .Within(1, 1024));
    options.push_back(Opt::Flag("--quiet", "write no text and show no progress; errors are told"));
    return options;
}

const Command* FindCommand(const std::string& name)
{
    const auto found = std::find_if(Commands().begin(), Commands().end(),
                                    [&](const Command& command) { return command.name == name; });
    return found != Commands().end() ? &*found : nullptr;
}

std::string VersionLine() { return "sorvane " + VersionText() + '\n'; }

std::string MainHelp()
{
    std::string text = "usage: sorvane COMMAND INPUT... [OPTION...]\n\n";
    text += Wrapped(
        "Geometry of parts and tool paths: a mesh or a chain in, figures, meshes and pictures out.",
        0, 0);
    text += "\ncommands:\n";
    for (const Command& command : Commands()) {
        std::string line = "  " + command.name;
        line.resize(14, ' ');
        text += line + Wrapped(command.summary, 14, 14);
    }
    text += '\n' + Wrapped(kPromise, 0, 0);
    text += "\nexit codes:\n";
    for (const Code& code : CodesOf(nullptr)) {
        std::string line = std::string("  ") + code.number;
        line.resize(7, ' ');
        text += line + Wrapped(code.meaning, 7, 7);
    }
    text += "\nsorvane COMMAND --help tells the options of a command, with an example;\n"
            "sorvane --version tells the version.\n";
    return text;
}

std::string CommandHelp(const Command& command)
{
    std::string text = "usage: " + Usage(command) + "\n\n";
    text += Wrapped(command.summary + ".", 0, 0);
    for (const std::string& paragraph : ParagraphsOf(command.description)) {
        text += '\n' + Wrapped(paragraph, 0, 0);
    }
    text += "\noptions:\n";
    for (const Option& option : AllOptions(command)) {
        const std::string value = ValueOf(option);
        const std::string names = "  " + Names(option) + (value.empty() ? "" : " " + value);
        constexpr std::size_t kColumn = 24;
        text += names;
        text += names.size() + 2 > kColumn ? '\n' + std::string(kColumn, ' ')
                                           : std::string(kColumn - names.size(), ' ');
        text += Wrapped(HelpOf(option), kColumn, kColumn);
    }
    text += '\n' + Wrapped(kPromise, 0, 0);
    text += "\nexit codes:\n";
    for (const Code& code : CodesOf(&command)) {
        std::string line = std::string("  ") + code.number;
        line.resize(7, ' ');
        text += line + Wrapped(code.meaning, 7, 7);
    }
    for (const Example& example : command.examples) {
        text += "\nexample: " + Wrapped(example.says, 9, 9);
        text += "  " + example.line + '\n';
    }
    return text;
}

std::string ManualPage()
{
    std::string text = ".\\\" Made from the commands' own records by: sorvane --man\n"
                       ".TH SORVANE 1 " +
                       std::string(kPageDate) + " \"Sorvane " + VersionText() +
                       "\" \"User Commands\"\n"
                       ".SH NAME\n"
                       "sorvane \\- geometry of parts and tool paths\n"
                       ".SH SYNOPSIS\n"
                       ".B sorvane\n"
                       ".I command input\\fR... [\\fIoption\\fR...]\n"
                       ".SH DESCRIPTION\n";
    text += Roff(kPromise) + "\n.SH COMMANDS\n";
    for (const Command& command : Commands()) {
        text += ".SS " + Roff(Usage(command)) + '\n' + Roff(command.summary + ".") + '\n';
        for (const std::string& paragraph : ParagraphsOf(command.description)) {
            text += ".PP\n" + Roff(paragraph) + '\n';
        }
        const std::vector<Option> all = AllOptions(command);
        for (const Option& option : all) {
            if (option.name == "--json" || option.name == "--threads" || option.name == "--quiet") {
                continue; // told once for all
            }
            const std::string value = ValueOf(option);
            text += ".TP\n\\fB" + Roff(Names(option)) + "\\fR" +
                    (value.empty() ? "" : " \\fI" + Roff(value) + "\\fR") + '\n' +
                    Roff(HelpOf(option)) + '\n';
        }
        if (!command.defects.empty()) {
            text += ".PP\n" + Roff("Exit code 1: " + command.defects + ".") + '\n';
        }
        for (const Example& example : command.examples) {
            text += ".PP\n" + Roff("Example: " + example.says) + "\n.PP\n.nf\n.RS\n" +
                    RoffLine(example.line) + "\n.RE\n.fi\n";
        }
    }
    text += ".SH OPTIONS OF ALL COMMANDS\n";
    for (const Option& option : AllOptions(Command())) {
        const std::string value = ValueOf(option);
        text += ".TP\n\\fB" + Roff(Names(option)) + "\\fR" +
                (value.empty() ? "" : " \\fI" + Roff(value) + "\\fR") + '\n' +
                Roff(HelpOf(option)) + '\n';
    }
    text += ".SH EXIT STATUS\n";
    for (const Code& code : CodesOf(nullptr)) {
        text += std::string(".TP\n") + code.number + '\n' + Roff(code.meaning) + '\n';
    }
    return text;
}

std::string BashCompletion()
{
    std::vector<std::string> names;
    std::string cases;
    std::string values;
    for (const Command& command : Commands()) {
        names.push_back(command.name);
        std::vector<std::string> words{"--help"};
        for (const Option& option : AllOptions(command)) {
            words.push_back(option.name);
            if (option.kind == OptionKind::Choice) {
                values += "    " + command.name + option.name + ") words='" +
                          Joined(option.choices, " ") + "' ;;\n";
            } else if (option.kind != OptionKind::File && option.kind != OptionKind::Flag) {
                values += "    " + command.name + option.name + ") return ;;\n";
            }
        }
        cases += "    " + command.name + ") words='" + Joined(words, " ") + "' ;;\n";
    }
    return "# Completion of sorvane for bash. Made from the commands' own records by: sorvane "
           "--bash-completion\n"
           "_sorvane()\n{\n"
           "  local word=${COMP_WORDS[COMP_CWORD]} words=''\n"
           "  COMPREPLY=()\n"
           "  if [ \"$COMP_CWORD\" -eq 1 ]; then\n"
           "    COMPREPLY=($(compgen -W '" +
           Joined(names, " ") +
           " --help --version' -- \"$word\"))\n"
           "    return\n"
           "  fi\n"
           "  case ${COMP_WORDS[1]}${COMP_WORDS[COMP_CWORD-1]} in\n" +
           values +
           "  esac\n"
           "  if [ -n \"$words\" ]; then\n"
           "    COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n"
           "    return\n"
           "  fi\n"
           "  case $word in\n"
           "    -*) ;;\n"
           "    *) mapfile -t COMPREPLY < <(compgen -f -- \"$word\"); return ;;\n"
           "  esac\n"
           "  case ${COMP_WORDS[1]} in\n" +
           cases +
           "  esac\n"
           "  COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n"
           "}\n"
           "complete -o filenames -F _sorvane sorvane\n";
}

} // namespace Cli
