// Status, errors, progress and lists of lines of the C interface.

#include "Guard.h"
#include "Handles.h"

#include <Sorvane/Version_E.h>
#include <Velk/Progress_E.h>
#include <Velk/ThreadLimit_E.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <new>
#include <stdexcept>

struct sorvane_threads {
    Velk::ThreadLimit limit;
};

struct sorvane_progress {
    Velk::ProgressScope scope;
    sorvane_progress* outer;
};

namespace SorvaneC {

namespace {

// The scopes of this thread, the innermost first.
thread_local sorvane_progress* innermost = nullptr;

void Fill(sorvane_error* error, sorvane_status status, const char* message, long long index) noexcept
{
    if (error == nullptr) {
        return;
    }
    error->status = status;
    error->index = index;
    std::size_t length = std::min(std::strlen(message), sizeof(error->message) - 1);
    if (message[length] != 0) {
        // Cut between characters: bytes 10xxxxxx go on one that begins before.
        while (length > 0 && (static_cast<unsigned char>(message[length]) & 0xC0U) == 0x80U) {
            --length;
        }
    }
    std::memcpy(error->message, message, length);
    error->message[length] = 0;
}

} // namespace

std::string Text(double value)
{
    constexpr std::size_t kLongest = 32; // of the shortest form of a `double`
    char digits[kLongest];
    return {digits, std::to_chars(digits, digits + kLongest, value).ptr};
}

void BadArgument(std::string message, long long index)
{
    throw Failure{SORVANE_BAD_ARGUMENT, std::move(message), index};
}

void BadIndex(std::string message, long long index)
{
    throw Failure{SORVANE_BAD_INDEX, std::move(message), index};
}

void Failed(std::string message, long long index)
{
    throw Failure{SORVANE_FAILED, std::move(message), index};
}

sorvane_status Report(sorvane_error* error) noexcept
{
    sorvane_status status = SORVANE_INTERNAL;
    try {
        throw;
    } catch (const Failure& failure) {
        status = failure.status;
        Fill(error, status, failure.message.c_str(), failure.index);
    } catch (const std::bad_alloc&) {
        status = SORVANE_OUT_OF_MEMORY;
        Fill(error, status, "out of memory", -1);
    } catch (const std::length_error&) {
        // What would not fit into 2^31 - 1 elements does not fit into the memory of its result either.
        status = SORVANE_OUT_OF_MEMORY;
        Fill(error, status, "the result has more elements than can be counted", -1);
    } catch (const std::exception& exception) {
        Fill(error, status, exception.what(), -1);
    } catch (...) {
        Fill(error, status, "unknown exception", -1);
    }
    return status;
}

bool IsStopped() noexcept { return innermost != nullptr && innermost->scope.WasStopped(); }

sorvane_status ReportStop(sorvane_error* error) noexcept
{
    Fill(error, SORVANE_STOPPED, "stopped by the report of a progress scope", -1);
    return SORVANE_STOPPED;
}

void CheckArray(const void* array, std::size_t count, const char* name)
{
    if (array == nullptr && count > 0) {
        BadArgument(std::string(name) + " is NULL and its count is " + std::to_string(count));
    }
    if (count > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        BadArgument(std::string(name) + " has more than 2147483647 elements");
    }
}

template <int D>
std::vector<VecBase<D, double>> PointsOf(const double* points, std::size_t count, const char* name)
{
    CheckArray(points, count, name);
    std::vector<VecBase<D, double>> result(count);
    if (count > 0) {
        static_assert(sizeof(VecBase<D, double>) == D * sizeof(double));
        std::memcpy(result.front().data(), points, count * sizeof(VecBase<D, double>));
    }
    return result;
}

template <int D>
void AddLine(sorvane_lines& lines, const std::vector<VecBase<D, double>>& points, bool isClosed)
{
    lines.dimension = D;
    if (points.size() > static_cast<std::size_t>(std::numeric_limits<int>::max() - lines.starts.back())) {
        throw std::length_error("lines");
    }
    for (const VecBase<D, double>& point : points) {
        lines.points.insert(lines.points.end(), point.begin(), point.end());
    }
    lines.starts.push_back(lines.starts.back() + static_cast<int>(points.size()));
    lines.closed.push_back(isClosed ? 1 : 0);
}

template std::vector<VecBase<2, double>> PointsOf(const double*, std::size_t, const char*);
template std::vector<VecBase<3, double>> PointsOf(const double*, std::size_t, const char*);
template void AddLine(sorvane_lines&, const std::vector<VecBase<2, double>>&, bool);
template void AddLine(sorvane_lines&, const std::vector<VecBase<3, double>>&, bool);

} // namespace SorvaneC

using namespace SorvaneC;

const char* sorvane_status_name(sorvane_status status)
{
    switch (NumberOf(status)) {
    case SORVANE_OK: return "SORVANE_OK";
    case SORVANE_BAD_ARGUMENT: return "SORVANE_BAD_ARGUMENT";
    case SORVANE_BAD_INDEX: return "SORVANE_BAD_INDEX";
    case SORVANE_OUT_OF_MEMORY: return "SORVANE_OUT_OF_MEMORY";
    case SORVANE_FILE_ERROR: return "SORVANE_FILE_ERROR";
    case SORVANE_FAILED: return "SORVANE_FAILED";
    case SORVANE_STOPPED: return "SORVANE_STOPPED";
    case SORVANE_INTERNAL: return "SORVANE_INTERNAL";
    }
    return "unknown status";
}

void sorvane_version(int* major, int* minor, int* patch)
{
    const Velk::Math::Sorvane::VersionNumber version = Velk::Math::Sorvane::Version();
    if (major != nullptr) {
        *major = version.major;
    }
    if (minor != nullptr) {
        *minor = version.minor;
    }
    if (patch != nullptr) {
        *patch = version.patch;
    }
}

sorvane_status sorvane_progress_open(sorvane_report report, void* user, sorvane_progress** progress,
                                     sorvane_error* error)
{
    try {
        Result(progress, "progress");
        if (report == nullptr) {
            BadArgument("report is NULL");
        }
        *progress = new sorvane_progress{
            Velk::ProgressScope([report, user](double fraction) { return report(fraction, user) != 0; }), innermost};
        innermost = *progress;
        return SORVANE_OK;
    } catch (...) {
        return Report(error);
    }
}

int sorvane_progress_was_stopped(const sorvane_progress* progress)
{
    return progress != nullptr && progress->scope.WasStopped() ? 1 : 0;
}

void sorvane_progress_close(sorvane_progress* progress)
{
    if (progress != nullptr) {
        innermost = progress->outer;
        delete progress;
    }
}

sorvane_status sorvane_threads_open(int threads, sorvane_threads** limit, sorvane_error* error)
{
    try {
        Result(limit, "limit");
        if (threads < 1) {
            BadArgument("threads is " + std::to_string(threads) + "; there must be 1 at least");
        }
        *limit = new sorvane_threads{Velk::ThreadLimit(threads)};
        return SORVANE_OK;
    } catch (...) {
        return Report(error);
    }
}

int sorvane_threads_current(void) { return Velk::ThreadLimit::Current(); }

void sorvane_threads_close(sorvane_threads* limit) { delete limit; }

int sorvane_lines_dimension(const sorvane_lines* lines) { return lines->dimension; }

size_t sorvane_lines_count(const sorvane_lines* lines) { return lines->closed.size(); }

const double* sorvane_lines_points(const sorvane_lines* lines, size_t* count)
{
    return Elements(lines->points, count, static_cast<std::size_t>(lines->dimension));
}

const int* sorvane_lines_starts(const sorvane_lines* lines, size_t* count) { return Elements(lines->starts, count); }

const int* sorvane_lines_closed(const sorvane_lines* lines, size_t* count) { return Elements(lines->closed, count); }

void sorvane_lines_free(sorvane_lines* lines) { delete lines; }
