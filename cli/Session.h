// What a running command works with: the values of its options, its inputs, and where its words,
// figures, meshes and pictures go. All that commands have in common is done here, so that it is the
// same for all.
#pragma once

#include "Command.h"
#include "Json.h"

#include <Sorvane/IndexedMesh_E.h>
#include <Sorvane/MeshFiles_E.h>
#include <Sorvane/SvgWriter_E.h>
#include <Velk/Math/VecBase_E.h>

#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Cli {

using Part = Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>;

/// Ends the command at once with a message.
class Failure : public std::runtime_error {
public:
    Failure(Exit code, const std::string& message) : std::runtime_error(message), code_(code) {}
    Exit Code() const { return code_; }

private:
    Exit code_;
};

/// What was typed, checked against the grammar: all values are of the kind and in the range of
/// their option.
struct Call {
    const Command* command = nullptr;
    std::vector<std::string> inputs;
    std::map<std::string, std::string> values; ///< by the option's name; flags have an empty one
};

/// The finite number that `text` is as a whole.
std::optional<double> NumberOf(std::string_view text);
/// The finite numbers with commas between them that `text` is as a whole.
std::optional<std::vector<double>> NumbersOf(std::string_view text);

/// What a message calls an input: "standard input" for -.
std::string NameOf(const std::string& input);

/// Writes to the standard output, after what stands in its buffer; ends with exit code 3 when it
/// can't.
void PutStandardOutput(const std::string& text);

class Session {
public:
    explicit Session(Call call);

    // --- what was typed -------------------------------------------------------------------------

    const Cli::Command& Command() const { return *call_.command; }
    const std::vector<std::string>& Inputs() const { return call_.inputs; }
    const std::string& Input(std::size_t number = 0) const { return call_.inputs.at(number); }

    /// Was the option typed?
    bool Has(const std::string& option) const { return call_.values.contains(option); }
    /// The option's value, or its default. It must have either.
    std::string Text(const std::string& option) const;
    double Number(const std::string& option) const;
    long long Count(const std::string& option) const;
    std::vector<double> Numbers(const std::string& option) const;
    /// Of an option of three numbers.
    Velk::Math::Vec3d Vector(const std::string& option) const;
    double Tolerance() const { return Number("--tolerance"); }
    bool HasOutput() const { return Has("--output"); }
    std::string Output() const { return Text("--output"); }
    bool WantsPicture() const { return Has("--svg"); }
    bool WantsJson() const { return Has("--json"); }

    /// Ends with exit code 2 and a hint to the command's help.
    [[noreturn]] void RefuseUse(const std::string& message) const;

    // --- reading --------------------------------------------------------------------------------
    // "-" is the standard input. What can't be read ends the command with its reason.

    /// A mesh file of any form, as it is.
    Part ReadPart(const std::string& input,
                  Velk::Math::Sorvane::MeshUtils::MeshFileForm* form = nullptr);
    /// The same with corners within `tolerance` on every axis joined.
    Part ReadWeldedPart(const std::string& input, double tolerance);
    /// A text file, or what comes through a pipe; a device is refused. The same pipe gives the same
    /// text as often as it is asked for.
    std::string ReadText(const std::string& input);

    // --- telling --------------------------------------------------------------------------------

    /// Text for people, as `std::printf` forms it. It goes to the standard output, but nowhere with
    /// --json or
    /// --quiet, and to the standard error where the result itself goes to the standard output.
    [[gnu::format(printf, 2, 3)]] void Print(const char* format, ...);
    /// What --json writes when the command is done, an object that has "command" already.
    Json& Result() { return result_; }
    /// Something is wrong with the part or the result: the command goes on, and ends with 1. The
    /// name goes to "defects" of the result, the words after "warning:" to the standard error when
    /// there are any, but with --quiet.
    void Defect(const std::string& name, const std::string& words = {});
    bool HasDefects() const { return !defects_.empty(); }

    // --- writing --------------------------------------------------------------------------------
    // A file is replaced when the new one is whole, or stays as it was. "-" is the standard output.

    /// To the file of -o or another one; the form is the extension's, binary STL without a known
    /// one.
    void WritePart(const Part& part) { WritePart(part, Output()); }
    void WritePart(const Part& part, const std::string& path);
    void WritePart(const Part& part, const std::string& path,
                   Velk::Math::Sorvane::MeshUtils::MeshFileForm form);
    void WriteText(std::string_view text, const std::string& path);
    /// To the file of --svg.
    void WritePicture(const Velk::Math::Sorvane::Drawing::SvgWriter& picture);

    /// After each long call of the library: ends the command when the user wants it stopped.
    static void CheckStopped();

    /// The exit code, when all was done. Writes what --json asks for.
    Exit Finish();

private:
    const Option& OptionOf(const std::string& name) const;
    void TellWritten(const std::string& path);

    Call call_;
    std::vector<Option> options_; // all of the command's
    Json result_;
    std::vector<std::string> defects_;
    std::map<std::string, std::string> pipedTexts_; // by input
    bool isOutputToStandardOutput_ = false;
};

} // namespace Cli
