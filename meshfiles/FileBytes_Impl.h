// Bytes in and out of files in large blocks, and numbers of fixed width in little-endian order.
//
// Everything that interprets bytes takes a `ByteReader`, which reads a file or a piece of memory,
// so that tests and fuzzers need no files. Files are read and written through the system's own
// calls: the standard streams do not tell why something failed.
#pragma once

#include "mathbase/Parallel_Impl.h"

#include <Velk/ProgressChecks_E.h>

#include <algorithm>
#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <span>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velk::Math::Sorvane::MeshUtils::Impl {

static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559);

/// Block that fits the second-level cache: what one read brings in is converted while it is near.
inline constexpr std::size_t kBlockBytes = std::size_t{256} * 1024;

/// The system's number of an open file, closed with this object.
class FileHandle {
public:
    explicit FileHandle(int number) : number_(number) {}
    FileHandle(FileHandle&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileHandle& operator=(FileHandle&& other) noexcept
    {
        std::swap(number_, other.number_);
        return *this;
    }
    ~FileHandle() { (void)Close(); }

    bool IsOpen() const { return number_ >= 0; }
    int Number() const { return number_; }
    /// The error of closing: some file systems tell only now that a write has failed.
    std::error_code Close();

private:
    int number_;
};

/// What a path leads to, links followed.
enum class FileKind { Regular, Folder, Other };

/// Bytes that come one after another, from a file or from memory.
class ByteReader {
public:
    explicit ByteReader(const std::filesystem::path& path);
    explicit ByteReader(std::span<const std::byte> bytes);

    /// False when there is no such file or it may not be read. A directory is open, and empty.
    bool IsOpen() const { return isOpen_; }
    FileKind Kind() const { return kind_; }
    /// Why the file is not open, or why reading ended before the file did.
    std::error_code Error() const { return error_; }
    /// Fills `to` with the next `count` bytes and returns how many there were: fewer only at the
    /// end or at a read error, and then never any more.
    std::size_t Read(void* to, std::size_t count);
    /// The same from a place that is told, for regular files and memory; `Read` does not notice.
    /// Safe to call from many threads at once.
    std::size_t ReadAt(std::uint64_t offset, void* to, std::size_t count,
                       std::error_code& error) const;
    /// Number of bytes as far as it can be told beforehand, else 0 (a pipe, a device). That of the
    /// file that is open, even if its name has come to stand for another one.
    std::uint64_t SizeHint() const { return sizeHint_; }

private:
    FileHandle file_{-1};
    std::span<const std::byte> memory_; // the whole of it, when there is no file
    std::size_t memoryRead_ = 0;
    bool isOpen_ = false;
    bool isAtEnd_ = false;
    FileKind kind_ = FileKind::Regular;
    std::error_code error_;
    std::uint64_t sizeHint_ = 0;
};

/// A file to write, or memory in place of one. After the first write that fails nothing more is
/// written.
///
/// A pipe that nobody reads any more, and a file that has reached the size limit of the process,
/// are errors like others: the signals that the system would raise besides are kept from the host.
class ByteWriter {
public:
    /// A file that is there is emptied, one that is not there is made.
    explicit ByteWriter(const std::filesystem::path& path);
    /// A new file with the system's permission bits `mode`; an error when the name is taken.
    static ByteWriter MakeNew(const std::filesystem::path& path, unsigned int mode);
    /// Appends to `memory`, which must outlive the writer. A lack of memory is an exception.
    explicit ByteWriter(std::vector<std::byte>& memory) : memory_(&memory) {}

    bool IsOpen() const { return memory_ != nullptr || file_.IsOpen(); }
    /// Why the file is not open, or why the first write that failed did.
    std::error_code Error() const { return error_; }
    void Write(const void* bytes, std::size_t count);
    void Write(std::string_view text) { Write(text.data(), text.size()); }
    /// Sees to it that what was written is on the disk, if that is where it goes, and closes the
    /// file. The first error of all.
    std::error_code Finish();

private:
    ByteWriter(const std::filesystem::path& path, int flags, unsigned int mode);

    FileHandle file_{-1};
    std::vector<std::byte>* memory_ = nullptr; // null when there is a file
    std::error_code error_;
};

/// Asks the system to back `bytes` at `begin` with large pages where it can. First touches of small
/// pages take most of the time of reading into a new large array: three quarters, measured on a
/// virtual machine.
void PreferLargePages(void* begin, std::size_t bytes);

/// Makes room for `count` items that are about to be read.
template <class Item>
void ReserveForReading(std::vector<Item>& items, std::size_t count)
{
    if (count > items.capacity()) {
        items.reserve(count);
        PreferLargePages(items.data(), items.capacity() * sizeof(Item));
    }
}

/// Value between host order and little-endian order; both ways are the same exchange.
template <class T>
T LittleEndian(T value)
{
    if constexpr (std::endian::native == std::endian::big && sizeof(T) > 1) {
        auto bytes = std::bit_cast<std::array<std::byte, sizeof(T)>>(value);
        std::reverse(bytes.begin(), bytes.end());
        return std::bit_cast<T>(bytes);
    } else {
        return value;
    }
}

/// The little-endian T at `from`, at any alignment.
template <class T>
T LoadLittleEndian(const std::byte* from)
{
    T value;
    std::memcpy(&value, from, sizeof(T));
    return LittleEndian(value);
}

/// Stores `value` little-endian at `to` and returns the place behind it.
template <class T>
std::byte* StoreLittleEndian(std::byte* to, T value)
{
    value = LittleEndian(value);
    std::memcpy(to, &value, sizeof(T));
    return to + sizeof(T);
}

/// Reads one number of fixed width; false when the file ends within it.
template <class T>
bool ReadField(ByteReader& file, T& value)
{
    std::array<std::byte, sizeof(T)> bytes{};
    const bool complete = file.Read(bytes.data(), bytes.size()) == bytes.size();
    value = LoadLittleEndian<T>(bytes.data());
    return complete;
}

/// Turns the Scalars that `items` consist of from little-endian to host order or back.
template <class Scalar, class Item>
void ExchangeOrder(std::span<Item> items)
{
    if constexpr (std::endian::native == std::endian::big) {
        std::byte* at = reinterpret_cast<std::byte*>(items.data());
        for (std::size_t i = 0; i < items.size_bytes() / sizeof(Scalar); ++i) {
            at = StoreLittleEndian(at, LoadLittleEndian<Scalar>(at));
        }
    }
}

/// Fills `items` with `count` Items made of little-endian Scalars. Bytes that the file lacks are
/// zero.
///
/// The array grows block by block under its reserved capacity, so that each block is zeroed, read
/// and left while it is in the cache. The caller has asked `RequireMemory`, see
/// AvailableMemory_Impl.h.
template <class Scalar, class Item>
void ReadArray(ByteReader& file, std::vector<Item>& items, std::size_t count)
{
    static_assert(std::is_trivially_copyable_v<Item> && sizeof(Item) % sizeof(Scalar) == 0);
    ReserveForReading(items, count);
    for (bool complete = true; complete && items.size() < count;) {
        const std::size_t first = items.size();
        items.resize(first + std::min(kBlockBytes / sizeof(Item), count - first));
        const std::span<Item> block = std::span(items).subspan(first);
        complete = file.Read(block.data(), block.size_bytes()) == block.size_bytes();
        ExchangeOrder<Scalar>(block);
    }
    items.resize(count);
}

/// Writes `items`, which consist of Scalars, little-endian.
template <class Scalar, class Item>
void WriteArray(ByteWriter& file, std::span<const Item> items)
{
    static_assert(std::is_trivially_copyable_v<Item> && sizeof(Item) % sizeof(Scalar) == 0);
    if constexpr (std::endian::native == std::endian::little) {
        constexpr std::size_t kItemsAtOnce = (std::size_t{4} << 20U) / sizeof(Item);
        while (!items.empty()) {
            Velk::Progress::Impl::Check();
            const auto some = items.first(std::min(items.size(), kItemsAtOnce));
            file.Write(some.data(), some.size_bytes());
            items = items.subspan(some.size());
        }
    } else {
        std::vector<Item> block;
        while (!items.empty()) {
            const std::size_t count = std::min(items.size(), kBlockBytes / sizeof(Item) + 1);
            block.assign(items.begin(), items.begin() + static_cast<std::ptrdiff_t>(count));
            ExchangeOrder<Scalar>(std::span(block));
            file.Write(block.data(), count * sizeof(Item));
            items = items.subspan(count);
        }
    }
}

/// Writes `itemCount` items in order, each of at most `maximalBytes` bytes. `format(item, to)` puts
/// one item at `to`, returns the place behind it and is called for many items side by side.
///
/// Items are formatted in parts, batch by batch. While one batch goes to the file, which costs the
/// system as much time as formatting costs us, the next one is formatted.
template <class Char, class Format>
void WriteItems(ByteWriter& file, std::size_t itemCount, std::size_t maximalBytes, Format&& format)
{
    constexpr std::size_t kPartBytes = std::size_t{64} * 1024;
    constexpr std::size_t kPartsPerBatch = 16;
    const std::size_t itemsPerPart = std::max<std::size_t>(kPartBytes / maximalBytes, 1);
    const std::size_t partCount = (itemCount + itemsPerPart - 1) / itemsPerPart;
    const std::size_t partBytes = std::min(itemCount, itemsPerPart) * maximalBytes;

    struct Batch {
        std::unique_ptr<Char[]> buffer;
        std::array<std::size_t, kPartsPerBatch> written{};
        std::size_t partCount = 0;
    };
    std::array<Batch, 2> batches;
    Batch* writing = &batches[0];
    Batch* formatting = &batches[1];

    const auto formatPart = [&](std::size_t part, std::size_t slot) {
        const std::size_t firstItem = part * itemsPerPart;
        const std::size_t lastItem = std::min(firstItem + itemsPerPart, itemCount);
        Char* const begin = formatting->buffer.get() + slot * partBytes;
        Char* at = begin;
        for (std::size_t item = firstItem; item < lastItem; ++item) {
            at = format(item, at);
        }
        formatting->written[slot] = static_cast<std::size_t>(at - begin);
    };
    const auto writeBatch = [&] {
        for (std::size_t slot = 0; slot < writing->partCount; ++slot) {
            file.Write(writing->buffer.get() + slot * partBytes, writing->written[slot]);
        }
    };
    for (std::size_t firstPart = 0; firstPart < partCount && !file.Error();
         firstPart += kPartsPerBatch) {
        Velk::Progress::Impl::Check(static_cast<double>(firstPart) /
                                    static_cast<double>(partCount));
        formatting->partCount = std::min(kPartsPerBatch, partCount - firstPart);
        if (!formatting->buffer) {
            formatting->buffer =
                std::make_unique_for_overwrite<Char[]>(formatting->partCount * partBytes);
        }
        // The last task is the writing, so that the task library hands it to the helping thread.
        // At first there is nothing to write, and a small file takes no other thread.
        Parallel::Impl::ApplyParallel(
            std::size_t{0}, formatting->partCount + (writing->partCount > 0 ? 1 : 0),
            [&](std::size_t task) {
                task < formatting->partCount ? formatPart(firstPart + task, task) : writeBatch();
            });
        std::swap(writing, formatting);
    }
    writeBatch();
}

} // namespace Velk::Math::Sorvane::MeshUtils::Impl
