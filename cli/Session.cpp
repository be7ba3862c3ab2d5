// What all commands have in common: values of options, reading, telling, writing.

#include "Session.h"

#include "Terminal.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <span>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Cli {

namespace fs = std::filesystem;
using Velk::Math::Sorvane::MeshUtils::MeshFileError;
using Velk::Math::Sorvane::MeshUtils::MeshFileForm;
using Velk::Math::Sorvane::MeshUtils::MeshFileResult;

namespace {

/// What to do about a mesh file that can't be read or written; with a semicolon before it.
std::string AdviceFor(MeshFileError error)
{
    switch (error) {
    case MeshFileError::NoSuchFile:
        return "; check the name and the folder";
    case MeshFileError::NoSuchFolder:
        return "; make the folder first";
    case MeshFileError::NotOpened:
        return "; mind the permissions of the file and of its folder";
    case MeshFileError::IsFolder:
        return "; name a file in it";
    case MeshFileError::CutShort:
        return "; copy the file again, or export it again, it was broken off";
    case MeshFileError::EmptyFile:
    case MeshFileError::NoTriangles:
        return "; export the part again, as triangles";
    case MeshFileError::TooLong:
    case MeshFileError::Malformed:
    case MeshFileError::IndexOutOfRange:
        return "; export the part again, as a binary STL";
    case MeshFileError::NotFinite:
        return "; scale the part down, or export it again";
    case MeshFileError::UnknownForm:
        return "; export the part as STL (text or binary) or TIPC";
    case MeshFileError::UnknownExtension:
        return "; end the name with .stl or .tipc";
    case MeshFileError::Flattened:
        return "; scale it up, move it to the origin, or write it as .tipc";
    case MeshFileError::WriteFailed:
    case MeshFileError::NotReplaced:
        return "; the old file, if any, is as it was";
    default:
        return {};
    }
}

/// What to do about a file that can't be opened or made.
const char* AdviceFor(int number)
{
    return number == ENOENT                      ? "; check the name and the folder"
           : number == EACCES || number == EPERM ? "; mind the permissions of the file and of its "
                                                   "folder"
                                                 : "";
}

[[noreturn]] void ThrowSystem(const std::string& name, int number, const char* advice)
{
    throw Failure(Exit::Files, name + ": " + std::strerror(number) + advice);
}

/// All of it, or an exception.
void WriteBytes(int file, std::string_view bytes, const std::string& name)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(file, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            // Whoever closes a pipe knows why: nothing is told then.
            if (errno == EPIPE) {
                throw Failure(Exit::Files, "");
            }
            ThrowSystem(name, errno, "; make room there, or write elsewhere");
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

[[noreturn]] void ThrowStandardOutput(int number)
{
    // Whoever closes a pipe knows why: nothing is told then.
    if (number == EPIPE) {
        throw Failure(Exit::Files, "");
    }
    ThrowSystem("standard output", number, "; make room there, or write elsewhere");
}

/// The number of an open file, which is closed with the object unless it is the standard input.
class InputFile {
public:
    explicit InputFile(const std::string& input)
        : number_(input == "-" ? STDIN_FILENO
                               : ::open(input.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY))
    {
    }
    ~InputFile()
    {
        if (number_ > STDIN_FILENO) {
            ::close(number_);
        }
    }
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    int Number() const { return number_; }

private:
    int number_;
};

/// Reads up to `room` bytes; fewer than one at the end, and -1 where the system fails.
ssize_t ReadSome(int file, void* to, std::size_t room)
{
    while (true) {
        Session::CheckStopped();
        const ssize_t arrived = ::read(file, to, room);
        if (arrived >= 0 || errno != EINTR) {
            return arrived;
        }
    }
}

/// What has no size of its own may never end: a pipe is read to this length and no farther.
constexpr std::size_t kMostPipedText = std::size_t{512} << 20U;
constexpr std::size_t kMostPipedPart = std::size_t{4} << 30U;

[[noreturn]] void ThrowEndless(const std::string& name, std::size_t most)
{
    throw Failure(Exit::Files, name + ": more than " + std::to_string(most >> 20U) +
                                   " MB come without an end; put them into a file and name that");
}

/// All bytes of a file or of a pipe, which can be read once only. Devices are refused: some give
/// bytes for ever.
std::string BytesOf(const std::string& input, const std::string& name, bool& isPipe)
{
    const InputFile file(input);
    struct stat status = {};
    if (file.Number() < 0 || ::fstat(file.Number(), &status) != 0) {
        const int number = errno;
        Session::CheckStopped();
        ThrowSystem(name, number, AdviceFor(number));
    }
    if (S_ISDIR(status.st_mode)) {
        throw Failure(Exit::Files, name + ": is a folder; name a file in it");
    }
    if (S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode)) {
        throw Failure(Exit::Files, name + ": is a device; name a file, or pipe one in");
    }
    isPipe = input == "-" || !S_ISREG(status.st_mode);
    // Files that the system makes up as they are read say that they have no bytes.
    constexpr std::size_t kLeast = 4096;
    const bool hasSize = S_ISREG(status.st_mode) && status.st_size > 0;
    std::string bytes(hasSize ? static_cast<std::size_t>(status.st_size) + 1 : kLeast, '\0');
    std::size_t filled = 0;
    while (true) {
        const ssize_t arrived =
            ReadSome(file.Number(), bytes.data() + filled, bytes.size() - filled);
        if (arrived < 0) {
            ThrowSystem(name, errno, "");
        }
        filled += static_cast<std::size_t>(arrived);
        if (arrived == 0 || (hasSize && filled == bytes.size())) {
            break; // what is being written to is read as long as it was when it was opened
        }
        if (!hasSize && filled > kMostPipedText) {
            ThrowEndless(name, kMostPipedText);
        }
        if (filled == bytes.size()) {
            bytes.resize(std::min(filled + filled / 2, kMostPipedText + 1));
        }
    }
    bytes.resize(std::min(filled, hasSize ? static_cast<std::size_t>(status.st_size) : filled));
    return bytes;
}

/// Do the first bytes of a part show already that the rest can't be one, so that it need not be
/// waited for? It may never end.
bool IsHopeless(std::span<const std::byte> bytes, MeshFileResult& result)
{
    Part part;
    result = Velk::Math::Sorvane::MeshUtils::ReadMesh(part, bytes);
    if (result.error == MeshFileError::UnknownForm || result.form != MeshFileForm::AsciiStl) {
        return result.error == MeshFileError::UnknownForm;
    }
    // Of a text the whole lines: the last one may go on.
    const auto end = std::find(bytes.rbegin(), bytes.rend(), std::byte{'\n'});
    if (end != bytes.rend()) {
        result = Velk::Math::Sorvane::MeshUtils::ReadMesh(
            part, bytes.first(static_cast<std::size_t>(bytes.rend() - end)));
    }
    return result.error == MeshFileError::Malformed || result.error == MeshFileError::NotFinite;
}

/// The part that comes through the standard input, which is read where it stands and never opened
/// by a name: a socket can't be.
MeshFileResult ReadStandardInput(Part& part)
{
    struct stat status = {};
    MeshFileResult result;
    const bool isThere = ::fstat(STDIN_FILENO, &status) == 0;
    if (isThere && S_ISDIR(status.st_mode)) {
        result.error = MeshFileError::IsFolder;
        return result;
    }
    const bool hasSize = isThere && S_ISREG(status.st_mode) && status.st_size > 0;
    // Looks far apart, which together cost a fraction of the reading that follows.
    constexpr std::size_t kHeadBytes = 4096;
    constexpr std::size_t kStep = 8;
    std::size_t nextLook = kHeadBytes;
    std::vector<std::byte> bytes;
    std::size_t filled = 0;
    while (true) {
        bytes.resize(std::max(kHeadBytes, filled + filled / 2));
        const ssize_t arrived =
            ReadSome(STDIN_FILENO, bytes.data() + filled, bytes.size() - filled);
        if (arrived < 0) {
            result.error = MeshFileError::ReadFailed;
            result.system = std::error_code(errno, std::system_category());
            return result;
        }
        filled += static_cast<std::size_t>(arrived);
        const auto there = std::span(bytes).first(filled);
        if (arrived == 0) {
            return Velk::Math::Sorvane::MeshUtils::ReadMesh(part, there);
        }
        if (filled >= nextLook) {
            if (IsHopeless(there, result)) {
                return result;
            }
            nextLook *= kStep;
        }
        if (!hasSize && filled > kMostPipedPart) {
            ThrowEndless("standard input", kMostPipedPart);
        }
    }
}

/// A file that is gone when the object is.
class TemporaryFile {
public:
    explicit TemporaryFile(const fs::path& beside)
    {
        path_ = beside.string() + ".XXXXXX";
        file_ = ::mkstemp(path_.data());
        if (file_ < 0) {
            path_.clear();
        }
    }
    ~TemporaryFile()
    {
        if (file_ >= 0) {
            ::close(file_);
        }
        if (!path_.empty()) {
            ::unlink(path_.c_str());
        }
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    int Number() const { return file_; }
    const std::string& Path() const { return path_; }
    void Keep() { path_.clear(); }

private:
    std::string path_;
    int file_ = -1;
};

/// What a chain of symbolic links leads to, whether that exists or not.
fs::path LinksFollowed(fs::path path)
{
    constexpr int kMostLinks = 40; // as many as the system follows
    std::error_code error;
    for (int i = 0; i < kMostLinks && fs::is_symlink(path, error); ++i) {
        const fs::path next = fs::read_symlink(path, error);
        if (error) {
            break;
        }
        path = next.is_absolute() ? next : path.parent_path() / next;
    }
    return path;
}

} // namespace

std::optional<double> NumberOf(std::string_view text)
{
    if (text.starts_with('+') && !text.starts_with("+-")) {
        text.remove_prefix(1);
    }
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isNumber = error == std::errc{} && end == text.data() + text.size() &&
                          std::isfinite(number) && !text.empty();
    return isNumber ? std::optional(number) : std::nullopt;
}

std::optional<std::vector<double>> NumbersOf(std::string_view text)
{
    std::vector<double> numbers;
    for (bool isLast = false; !isLast;) {
        const std::size_t comma = text.find(',');
        isLast = comma == std::string_view::npos;
        const std::optional<double> number = NumberOf(text.substr(0, comma));
        if (!number) {
            return std::nullopt;
        }
        numbers.push_back(*number);
        text.remove_prefix(isLast ? text.size() : comma + 1);
    }
    return numbers;
}

std::string NameOf(const std::string& input) { return input == "-" ? "standard input" : input; }

void PutStandardOutput(const std::string& text)
{
    errno = 0;
    if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
        ThrowStandardOutput(errno);
    }
}

Session::Session(Call call) : call_(std::move(call)), options_(AllOptions(Command()))
{
    result_["command"] = Command().name;
    isOutputToStandardOutput_ =
        (HasOutput() && Output() == "-") || (WantsPicture() && Text("--svg") == "-");
    if (HasOutput() && WantsPicture() && Output() == "-" && Text("--svg") == "-") {
        RefuseUse("only one of -o and --svg can write to the standard output");
    }
    if (HasOutput() && WantsPicture() && Output() == Text("--svg") && Output() != "/dev/null") {
        RefuseUse("-o and --svg name the same file");
    }
    if (isOutputToStandardOutput_ && WantsJson()) {
        RefuseUse("--json writes to the standard output: give -o and --svg a file");
    }
    const auto readsStandardInput = [&](const Option& option) {
        return option.isRead && Has(option.name) && Text(option.name) == "-";
    };
    if (std::count(Inputs().begin(), Inputs().end(), "-") +
            std::count_if(options_.begin(), options_.end(), readsStandardInput) >
        1) {
        RefuseUse("only one input can be the standard input");
    }
}

const Option& Session::OptionOf(const std::string& name) const
{
    const auto found = std::find_if(options_.begin(), options_.end(),
                                    [&](const Option& option) { return option.name == name; });
    if (found == options_.end()) {
        throw std::logic_error("no option " + name);
    }
    return *found;
}

std::string Session::Text(const std::string& option) const
{
    const auto typed = call_.values.find(option);
    return typed != call_.values.end() ? typed->second : OptionOf(option).byDefault;
}

double Session::Number(const std::string& option) const { return NumberOf(Text(option)).value(); }

long long Session::Count(const std::string& option) const
{
    return static_cast<long long>(Number(option));
}

std::vector<double> Session::Numbers(const std::string& option) const
{
    return NumbersOf(Text(option)).value();
}

Velk::Math::Vec3d Session::Vector(const std::string& option) const
{
    const std::vector<double> numbers = Numbers(option);
    return {numbers.at(0), numbers.at(1), numbers.at(2)};
}

void Session::RefuseUse(const std::string& message) const
{
    throw Failure(Exit::WrongUse, message);
}

// --- reading
// --------------------------------------------------------------------------------------

Part Session::ReadPart(const std::string& input, MeshFileForm* form)
{
    if (input == "-" && isatty(STDIN_FILENO) == 1) {
        RefuseUse("nothing comes through the standard input: name a file, or pipe one in");
    }
    Part part;
    const MeshFileResult result = input == "-"
                                      ? ReadStandardInput(part)
                                      : Velk::Math::Sorvane::MeshUtils::ReadMesh(part, input);
    CheckStopped();
    if (!result) {
        throw Failure(Exit::Files,
                      NameOf(input) + ": " + MeshFileText(result) + AdviceFor(result.error));
    }
    if (form) {
        *form = result.form;
    }
    return part;
}

Part Session::ReadWeldedPart(const std::string& input, double tolerance)
{
    Part part = ReadPart(input);
    Velk::Math::Sorvane::Mesh::FilterForUniqueness(part, tolerance);
    return part;
}

std::string Session::ReadText(const std::string& input)
{
    if (input == "-" && isatty(STDIN_FILENO) == 1) {
        RefuseUse("nothing comes through the standard input: name a file, or pipe one in");
    }
    if (const auto known = pipedTexts_.find(input); known != pipedTexts_.end()) {
        return known->second;
    }
    bool isPipe = false;
    std::string text = BytesOf(input, NameOf(input), isPipe);
    CheckStopped();
    if (isPipe) {
        pipedTexts_.emplace(input, text);
    }
    return text;
}

// --- telling
// --------------------------------------------------------------------------------------

void Session::Print(const char* format, ...)
{
    if (WantsJson() || Has("--quiet")) {
        return;
    }
    HideProgress();
    std::va_list arguments;
    va_start(arguments, format);
    errno = 0;
    const int written =
        std::vfprintf(isOutputToStandardOutput_ ? stderr : stdout, format, arguments);
    const int number = errno;
    va_end(arguments);
    if (written < 0 && !isOutputToStandardOutput_) {
        ThrowStandardOutput(number);
    }
}

void Session::Defect(const std::string& name, const std::string& words)
{
    CheckStopped();
    defects_.push_back(name);
    if (!words.empty() && !Has("--quiet")) {
        HideProgress();
        std::fflush(stdout);
        std::fprintf(stderr, "sorvane %s: warning: %s\n", Command().name.c_str(), words.c_str());
    }
}

// --- writing
// --------------------------------------------------------------------------------------

void Session::WritePart(const Part& part, const std::string& path)
{
    std::string extension = fs::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    WritePart(part, path, extension == ".tipc" ? MeshFileForm::Tipc : MeshFileForm::BinaryStl);
}

void Session::WritePart(const Part& part, const std::string& path, MeshFileForm form)
{
    CheckStopped();
    const bool isFile = path != "-";
    std::vector<std::byte> bytes;
    const MeshFileResult result =
        isFile ? Velk::Math::Sorvane::MeshUtils::WriteMesh(part, path, form)
               : Velk::Math::Sorvane::MeshUtils::WriteMesh(part, bytes, form);
    if (!result) {
        throw Failure(Exit::Files, (isFile ? path : "standard output") + ": " +
                                       MeshFileText(result) + AdviceFor(result.error));
    }
    if (!isFile) {
        // The standard output is written to where it stands, and never opened by a name, which
        // would wait for a reader that has gone away, or replace a file that the shell has opened.
        WriteBytes(STDOUT_FILENO, {reinterpret_cast<const char*>(bytes.data()), bytes.size()},
                   "standard output");
    }
    TellWritten(path);
}

void Session::WriteText(std::string_view text, const std::string& path)
{
    CheckStopped();
    struct stat status = {};
    const bool isThere = ::stat(path.c_str(), &status) == 0;
    if (path == "-") {
        WriteBytes(STDOUT_FILENO, text, "standard output");
    } else if (isThere && S_ISDIR(status.st_mode)) {
        throw Failure(Exit::Files, path + ": is a folder; name a file in it");
    } else if (isThere && !S_ISREG(status.st_mode)) {
        const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
        if (file < 0) {
            ThrowSystem(path, errno, AdviceFor(errno));
        }
        WriteBytes(file, text, path);
        ::close(file);
    } else if (isThere && ::access(path.c_str(), W_OK) != 0) {
        ThrowSystem(path, errno, "; it is as it was");
    } else {
        // A link stays one: what it leads to is replaced.
        const fs::path target = LinksFollowed(path);
        TemporaryFile file(target);
        if (file.Number() < 0) {
            ThrowSystem(path, errno,
                        errno == ENOENT ? "; make the folder first" : AdviceFor(errno));
        }
        WriteBytes(file.Number(), text, path);
        const mode_t mask = ::umask(0);
        ::umask(mask);
        const mode_t mode = isThere ? status.st_mode & 07777U : 0666U & ~mask;
        if (::fchmod(file.Number(), mode) != 0 || ::fsync(file.Number()) != 0 ||
            std::rename(file.Path().c_str(), target.c_str()) != 0) {
            ThrowSystem(path, errno, "; the old file, if any, is as it was");
        }
        file.Keep();
    }
    TellWritten(path);
}

void Session::WritePicture(const Velk::Math::Sorvane::Drawing::SvgWriter& picture)
{
    WriteText(picture.Text(), Text("--svg"));
}

void Session::TellWritten(const std::string& path)
{
    result_["written"].Add(path);
    if (path != "-") {
        Print("wrote         %s\n", path.c_str());
    }
}

void Session::CheckStopped()
{
    if (IsStopWanted()) {
        throw Failure(Exit::Interrupted, "stopped; nothing more is written");
    }
}

Exit Session::Finish()
{
    CheckStopped();
    HideProgress();
    if (WantsJson()) {
        result_["defects"] = defects_;
    }
    PutStandardOutput(WantsJson() ? JsonText(result_) : std::string());
    return HasDefects() ? Exit::Defective : Exit::Done;
}

} // namespace Cli
