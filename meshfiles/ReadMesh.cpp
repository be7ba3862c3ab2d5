// Reading a mesh file of any form.
//
// A binary form is recognized by its size, which its counts announce to the byte: a text or another
// program's file meets that by no accident. Where the sizes of both binary forms are met, the
// indices decide, which are all in range in a TIPC file only. An ASCII STL begins with "solid" and
// is text. What is none of these gets a reason from what its first bytes look like.
//
// Binary arrays are read in blocks: while one is converted, checked and appended, the next one is
// read. Vectors grow within memory that was reserved, by items made in their place.

#include <Sorvane/MeshFiles_E.h>

#include "mathbase/Progress_Impl.h"
#include "mathbase/Values_Impl.h"
#include "meshfiles/AvailableMemory_Impl.h"
#include "meshfiles/MeshFiles_Impl.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <span>
#include <string_view>
#include <type_traits>

namespace Velk::Math::Sorvane::MeshUtils {
namespace Impl {
namespace {

// --- telling the forms apart ---------------------------------------------------------------------

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF"; // that some editors put before a text

std::string_view TextOf(std::span<const std::byte> bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Text that begins with the word "solid". A byte 0 is in no text, and in nearly every binary STL
/// whose header begins with that word: in its count, for one.
bool LooksLikeSolid(std::string_view head)
{
    if (head.find('\0') != std::string_view::npos) {
        return false;
    }
    if (head.starts_with(kByteOrderMark)) {
        head.remove_prefix(kByteOrderMark.size());
    }
    constexpr std::string_view kWhiteSpace = " \t\r\n\v\f";
    head.remove_prefix(std::min(head.find_first_not_of(kWhiteSpace), head.size()));
    constexpr std::string_view kWord = "solid";
    const bool isWord = head.size() >= kWord.size() &&
                        std::equal(kWord.begin(), kWord.end(), head.begin(),
                                   [](char lower, char c) { return (c | 0x20) == lower; });
    return isWord && (head.size() == kWord.size() ||
                      kWhiteSpace.find(head[kWord.size()]) != std::string_view::npos);
}

/// Numbers as they come in files of parts; of arbitrary bytes only every other one is like that.
bool IsUsual(float value)
{
    constexpr float kLeast = 1e-20F;
    constexpr float kGreatest = 1e20F;
    const float size = std::fabs(value);
    return size == 0 || (size >= kLeast && size <= kGreatest);
}

TipcHeader LoadTipcHeader(std::span<const std::byte> head)
{
    TipcHeader header;
    header.pointCount = LoadLittleEndian<std::uint32_t>(head.data());
    header.triangleCount = LoadLittleEndian<std::uint32_t>(head.data() + 4);
    header.hasVertexTags = LoadLittleEndian<std::uint8_t>(head.data() + 8);
    header.hasTriangleTags = LoadLittleEndian<std::uint8_t>(head.data() + 9);
    return header;
}

} // namespace

MeshFileLooks LooksOf(std::span<const std::byte> head)
{
    MeshFileLooks looks;
    looks.isAsciiStl = LooksLikeSolid(TextOf(head));
    if (head.size() >= kStlFrontBytes) {
        const auto count = LoadLittleEndian<std::uint32_t>(head.data() + kStlHeaderBytes);
        looks.hasStlCount = true;
        looks.stlBytes = kStlFrontBytes + std::uint64_t{kStlRecordBytes} * count;
        // Neither text, which is without zeros, nor nothing but zeros; and normal and corners of
        // the first triangle are usual numbers, as far as they are there.
        const std::size_t zeros = static_cast<std::size_t>(
            std::count(head.begin() + kStlHeaderBytes, head.end(), std::byte{0}));
        looks.isPlausibleStl = zeros > 0 && zeros < head.size() - kStlHeaderBytes;
        for (std::size_t i = 0; i < 12; ++i) {
            const std::size_t at = kStlFrontBytes + i * sizeof(float);
            looks.isPlausibleStl =
                looks.isPlausibleStl && (at + sizeof(float) > head.size() ||
                                         IsUsual(LoadLittleEndian<float>(head.data() + at)));
        }
    }
    if (head.size() >= TipcHeader::kBytes) {
        const TipcHeader header = LoadTipcHeader(head);
        looks.hasTipcHeader = header.pointCount > 0 && header.triangleCount > 0 &&
                              header.hasVertexTags <= 1 && header.hasTriangleTags <= 1;
        looks.tipcBytes = TipcHeader::kBytes + header.ArrayBytes();
        constexpr std::uint32_t kLeastText = 0x20202020; // four blanks
        looks.isPlausibleTipc = looks.hasTipcHeader && header.pointCount < kLeastText &&
                                header.triangleCount < kLeastText;
    }
    return looks;
}

namespace {

MeshFileResult Refusal(MeshFileError error, MeshFileForm form)
{
    MeshFileResult result;
    result.error = error;
    result.form = form;
    return result;
}

/// The refusal of a file that has not the size that it announces.
MeshFileResult WrongSize(MeshFileForm form, std::uint64_t announced, std::uint64_t actual)
{
    MeshFileResult result =
        Refusal(actual < announced ? MeshFileError::CutShort : MeshFileError::TooLong, form);
    result.announcedBytes = announced;
    result.actualBytes = actual;
    return result;
}

/// Why a file of `size` bytes is none that is read.
MeshFileResult ReasonFor(const MeshFileLooks& looks, std::uint64_t size)
{
    if (looks.isPlausibleTipc) {
        return WrongSize(MeshFileForm::Tipc, looks.tipcBytes, size);
    }
    if (looks.hasStlCount && looks.isPlausibleStl) {
        return WrongSize(MeshFileForm::BinaryStl, looks.stlBytes, size);
    }
    return Refusal(size == 0 ? MeshFileError::EmptyFile : MeshFileError::UnknownForm,
                   MeshFileForm::Unknown);
}

// --- arrays in blocks ----------------------------------------------------------------------------

/// What became of one block: an error with its place in the whole array.
struct BlockOutcome {
    MeshFileError error = MeshFileError::None;
    std::uint64_t place = 0;
    std::error_code system;
};

/// Reads bytes of which the file's size has told that they are there.
BlockOutcome ReadBytes(const ByteReader& file, std::uint64_t offset, void* to, std::size_t count)
{
    BlockOutcome outcome;
    if (file.ReadAt(offset, to, count, outcome.system) < count) {
        // Somebody is cutting the file.
        outcome.error = outcome.system ? MeshFileError::ReadFailed : MeshFileError::CutShort;
    }
    return outcome;
}

/// Calls `append(bytes, firstItem, itemCount)` for blocks of the `count` items of `itemBytes` that
/// begin at `offset`, one after the other, and reads the next block meanwhile. It answers with an
/// outcome, and may change the bytes. The first outcome that is an error; nothing is appended
/// after.
template <class Append>
BlockOutcome AppendBlocks(const ByteReader& file, std::uint64_t offset, std::size_t count,
                          std::size_t itemBytes, Append&& append)
{
    const std::size_t blockItems = std::min(count, kBlockBytes / itemBytes);
    struct Block {
        std::unique_ptr<std::byte[]> bytes;
        std::size_t count = 0;
        BlockOutcome outcome;
    };
    std::array<Block, 2> blocks;
    const auto read = [&](Block& block, std::size_t first) {
        if (!block.bytes) {
            block.bytes = std::make_unique_for_overwrite<std::byte[]>(blockItems * itemBytes);
        }
        block.count = std::min(blockItems, count - first);
        block.outcome = ReadBytes(file, offset + itemBytes * std::uint64_t{first},
                                  block.bytes.get(), block.count * itemBytes);
    };
    // One thread does both in turn, and touches half the memory.
    const bool readsAhead = Parallel::Impl::ThreadCount() > 1;
    Block* here = &blocks[0];
    Block* next = readsAhead ? &blocks[1] : here;
    read(*here, 0);
    for (std::size_t first = 0; first < count; first += blockItems, std::swap(here, next)) {
        Progress::Impl::Check(static_cast<double>(first) / static_cast<double>(count));
        if (here->outcome.error != MeshFileError::None) {
            return here->outcome;
        }
        BlockOutcome outcome;
        const bool isLast = count - first <= blockItems;
        const auto appendHere = [&] { outcome = append(here->bytes.get(), first, here->count); };
        const auto readNext = [&] { read(*next, first + blockItems); };
        if (!isLast && readsAhead) {
            Parallel::Impl::ApplyInvoke(appendHere, readNext);
        } else {
            appendHere();
            if (!isLast) {
                readNext();
            }
        }
        if (outcome.error != MeshFileError::None) {
            return outcome;
        }
    }
    return {};
}

/// Goes through load(0), load(1), ...
template <class Item, class Load>
struct LoadingIterator {
    using iterator_category = std::forward_iterator_tag;
    using value_type = Item;
    using difference_type = std::ptrdiff_t;
    using pointer = const Item*;
    using reference = Item;

    const Load* load;
    std::size_t number;

    Item operator*() const { return (*load)(number); }
    LoadingIterator& operator++()
    {
        ++number;
        return *this;
    }
    bool operator==(const LoadingIterator& other) const { return number == other.number; }
};

/// Appends load(0), load(1), ... made in their place: a vector that is resized first is filled with
/// zeros for nothing.
template <class Item, class Load>
void AppendLoaded(std::vector<Item>& items, std::size_t count, const Load& load)
{
    using Iterator = LoadingIterator<Item, Load>;
    items.insert(items.end(), Iterator{&load, 0}, Iterator{&load, count});
}

/// True when the `count` little-endian numbers at `bytes` are finite.
///
/// An exponent of ones only means that a number is not finite. Adding one to its last bit carries
/// into the place of the sign, and collecting that takes two operations a number, for several
/// numbers at a time.
template <class Scalar>
bool AreFinite(const std::byte* bytes, std::size_t count)
{
    using Bits = std::conditional_t<sizeof(Scalar) == 4, std::uint32_t, std::uint64_t>;
    constexpr Bits kSign = Bits{1} << (8 * sizeof(Scalar) - 1);
    constexpr Bits kOne = Bits{1} << (std::numeric_limits<Scalar>::digits - 1);
    constexpr Bits kExponent = kSign - kOne;
    Bits carries = 0;
    for (std::size_t i = 0; i < count; ++i) {
        carries |= (LoadLittleEndian<Bits>(bytes + i * sizeof(Scalar)) & kExponent) + kOne;
    }
    return (carries & kSign) == 0;
}

/// The point of three little-endian Scalars at `bytes`.
template <class Scalar, class T>
VecBase<3, T> LoadPoint(const std::byte* bytes)
{
    VecBase<3, T> point;
    for (int axis = 0; axis < 3; ++axis) {
        point[axis] = static_cast<T>(LoadLittleEndian<Scalar>(bytes));
        bytes += sizeof(Scalar);
    }
    return point;
}

/// Looks for a point that does not become a finite one of type T among the `count` points of
/// Scalars at `bytes`, of which the first has the number `firstNumber`.
template <class Scalar, class T>
BlockOutcome CheckPoints(const std::byte* bytes, std::size_t firstNumber, std::size_t count)
{
    constexpr bool kWidens = sizeof(T) >= sizeof(Scalar);
    if (kWidens && AreFinite<Scalar>(bytes, 3 * count)) {
        return {};
    }
    BlockOutcome outcome;
    for (std::size_t i = 0; i < count; ++i) {
        if (!Math::Impl::IsFinite(LoadPoint<Scalar, T>(bytes + 3 * sizeof(Scalar) * i))) {
            outcome.error = MeshFileError::NotFinite;
            outcome.place = firstNumber + i;
            break;
        }
    }
    return outcome;
}

MeshFileResult ResultOf(const BlockOutcome& outcome, MeshFileForm form, std::uint64_t announced)
{
    MeshFileResult result = Refusal(outcome.error, form);
    result.place = outcome.place;
    result.system = outcome.system;
    if (outcome.error == MeshFileError::CutShort) {
        result.announcedBytes = announced;
    }
    return result;
}

bool CanBeNumbered(std::uint64_t pointCount)
{
    return pointCount <= static_cast<std::uint64_t>(std::numeric_limits<int>::max());
}

// --- binary STL ----------------------------------------------------------------------------------

constexpr std::size_t kCornersBytes = 36;

/// Leaves of `count` records only the corners, one triangle after the other.
void DropNormals(std::byte* records, std::size_t count)
{
    constexpr std::size_t kNormalBytes = 12;
    for (std::size_t i = 0; i < count; ++i) {
        std::array<std::byte, kCornersBytes> corners;
        std::memcpy(corners.data(), records + kStlRecordBytes * i + kNormalBytes, kCornersBytes);
        std::memcpy(records + kCornersBytes * i, corners.data(), kCornersBytes);
    }
}

/// Calls `append(corners, count)` for the corners of each block of triangles, 36 bytes for each.
template <class T, class Append>
MeshFileResult ReadStlRecords(const ByteReader& file, std::uint64_t size, Append&& append)
{
    const auto triangleCount = static_cast<std::size_t>((size - kStlFrontBytes) / kStlRecordBytes);
    const BlockOutcome outcome =
        AppendBlocks(file, kStlFrontBytes, triangleCount, kStlRecordBytes,
                     [&](std::byte* records, std::size_t first, std::size_t count) {
                         DropNormals(records, count);
                         const BlockOutcome check =
                             CheckPoints<float, T>(records, 3 * first, 3 * count);
                         append(records, first, count);
                         return check;
                     });
    return ResultOf(outcome, MeshFileForm::BinaryStl, size);
}

template <class T>
MeshFileResult ReadStl(const ByteReader& file, std::uint64_t size,
                       Mesh::IndexedPointsBase<3, T>& mesh)
{
    const std::uint64_t pointCount = 3 * ((size - kStlFrontBytes) / kStlRecordBytes);
    if (!CanBeNumbered(pointCount)) {
        return Refusal(MeshFileError::TooLarge, MeshFileForm::BinaryStl);
    }
    RequireMemory(pointCount * (sizeof(VecBase<3, T>) + sizeof(int)));
    ReserveForReading(mesh.points, pointCount);
    ReserveForReading(mesh.indices, pointCount);
    return ReadStlRecords<T>(
        file, size, [&](const std::byte* corners, std::size_t first, std::size_t count) {
            AppendLoaded(mesh.points, 3 * count, [corners](std::size_t i) {
                return LoadPoint<float, T>(corners + 3 * sizeof(float) * i);
            });
            AppendLoaded(mesh.indices, 3 * count,
                         [first](std::size_t i) { return static_cast<int>(3 * first + i); });
        });
}

template <class T>
MeshFileResult ReadStl(const ByteReader& file, std::uint64_t size, Mesh::TriangleSoup<3, T>& soup)
{
    const std::uint64_t triangleCount = (size - kStlFrontBytes) / kStlRecordBytes;
    RequireMemory(triangleCount * sizeof(Mesh::Triangle<3, T>));
    ReserveForReading(soup, triangleCount);
    return ReadStlRecords<T>(
        file, size, [&](const std::byte* corners, std::size_t, std::size_t count) {
            AppendLoaded(soup, count, [corners](std::size_t i) {
                const std::byte* const at = corners + kCornersBytes * i;
                return Mesh::Triangle<3, T>{LoadPoint<float, T>(at), LoadPoint<float, T>(at + 12),
                                            LoadPoint<float, T>(at + 24)};
            });
        });
}

// --- TIPC ----------------------------------------------------------------------------------------

/// Where the arrays of a TIPC file begin.
struct TipcPlaces {
    std::uint64_t points = TipcHeader::kBytes;
    std::uint64_t indices;
    std::uint64_t vertexTags;
    std::uint64_t triangleTags;

    explicit TipcPlaces(const TipcHeader& header)
        : indices(points + std::uint64_t{24} * header.pointCount),
          vertexTags(indices + std::uint64_t{12} * header.triangleCount),
          triangleTags(vertexTags + std::uint64_t{8} * header.VertexTagCount())
    {
    }
};

/// Reads `count` Items of little-endian Scalars as they lie in the file, and calls
/// `check(bytes, firstItem, itemCount)` for each block, while the next one is read.
template <class Scalar, class Item, class Check>
BlockOutcome ReadItems(const ByteReader& file, std::uint64_t offset, std::size_t count,
                       std::vector<Item>& items, const Check& check)
{
    ReserveForReading(items, count);
    const Item* const data = items.data();
    const auto checked = [&](std::size_t first, std::size_t last) {
        return check(reinterpret_cast<const std::byte*>(data + first), first, last - first);
    };
    std::size_t checkedCount = 0;
    while (checkedCount < count) {
        Progress::Impl::Check(static_cast<double>(checkedCount) / static_cast<double>(count));
        const std::size_t first = items.size();
        BlockOutcome reading;
        BlockOutcome checking;
        const auto readNext = [&] {
            items.resize(std::min(first + kBlockBytes / sizeof(Item), count));
            const std::span<Item> block = std::span(items).subspan(first);
            reading = ReadBytes(file, offset + sizeof(Item) * std::uint64_t{first}, block.data(),
                                block.size_bytes());
            ExchangeOrder<Scalar>(block);
        };
        const auto checkLast = [&] { checking = checked(checkedCount, first); };
        if (first == checkedCount) {
            readNext();
        } else if (first == count) {
            checkLast();
        } else {
            Parallel::Impl::ApplyInvoke(readNext, checkLast);
        }
        checkedCount = first;
        for (const BlockOutcome& outcome : {checking, reading}) {
            if (outcome.error != MeshFileError::None) {
                return outcome;
            }
        }
    }
    return {};
}

template <class T>
BlockOutcome ReadTipcPoints(const ByteReader& file, const TipcHeader& header,
                            std::vector<VecBase<3, T>>& points)
{
    const std::uint64_t place = TipcPlaces(header).points;
    const auto check = [](const std::byte* bytes, std::size_t first, std::size_t count) {
        return CheckPoints<double, T>(bytes, first, count);
    };
    if constexpr (std::is_same_v<T, double>) {
        return ReadItems<double>(file, place, header.pointCount, points, check);
    } else {
        constexpr std::size_t kPointBytes = 3 * sizeof(double);
        ReserveForReading(points, header.pointCount);
        return AppendBlocks(file, place, header.pointCount, kPointBytes,
                            [&](const std::byte* bytes, std::size_t first, std::size_t count) {
                                AppendLoaded(points, count, [bytes](std::size_t i) {
                                    return LoadPoint<double, T>(bytes + kPointBytes * i);
                                });
                                return check(bytes, first, count);
                            });
    }
}

/// Looks for an index that is no point among the `count` indices at `bytes`, of which the first has
/// the number `firstNumber`.
BlockOutcome CheckIndices(const std::byte* bytes, std::size_t firstNumber, std::size_t count,
                          std::uint32_t pointCount)
{
    // The sign bit of an index that is negative, or that leaves a negative rest.
    const auto outside = [=](std::size_t i) {
        std::uint32_t index;
        std::memcpy(&index, bytes + sizeof(int) * i, sizeof(index));
        constexpr std::uint32_t kSign = 0x80000000U;
        return (index | (pointCount - 1 - index)) & kSign;
    };
    std::uint32_t signs = 0;
    for (std::size_t i = 0; i < count; ++i) {
        signs |= outside(i);
    }
    BlockOutcome outcome;
    if (signs != 0) {
        std::size_t bad = 0;
        while (outside(bad) == 0) {
            ++bad;
        }
        outcome.error = MeshFileError::IndexOutOfRange;
        outcome.place = (firstNumber + bad) / 3;
    }
    return outcome;
}

BlockOutcome ReadTipcIndices(const ByteReader& file, const TipcHeader& header,
                             std::vector<int>& indices)
{
    return ReadItems<int>(file, TipcPlaces(header).indices, header.IndexCount(), indices,
                          [&](const std::byte* bytes, std::size_t first, std::size_t count) {
                              return CheckIndices(bytes, first, count, header.pointCount);
                          });
}

BlockOutcome ReadTags(const ByteReader& file, std::uint64_t offset, std::size_t count,
                      std::vector<Tag>* tags)
{
    return tags == nullptr ? BlockOutcome{}
                           : ReadItems<Tag>(file, offset, count, *tags,
                                            [](const std::byte*, std::size_t, std::size_t) {
                                                return BlockOutcome{};
                                            });
}

template <class T>
MeshFileResult ReadTipcMesh(const ByteReader& file, std::uint64_t size, const TipcHeader& header,
                            Mesh::IndexedPointsBase<3, T>& mesh, std::vector<Tag>* vertexTags,
                            std::vector<Tag>* triangleTags)
{
    if (!CanBeNumbered(header.pointCount)) {
        return Refusal(MeshFileError::TooLarge, MeshFileForm::Tipc);
    }
    RequireMemory(header.ArrayBytes());
    const TipcPlaces places(header);
    // The indices first: they tell whether it is a TIPC file at all, see `Recognized`.
    BlockOutcome outcome;
    {
        const Progress::Impl::Phase phase(0.0, 0.4);
        outcome = ReadTipcIndices(file, header, mesh.indices);
    }
    if (outcome.error == MeshFileError::None) {
        const Progress::Impl::Phase phase(0.4, 0.8);
        outcome = ReadTipcPoints(file, header, mesh.points);
    }
    if (outcome.error == MeshFileError::None) {
        const Progress::Impl::Phase phase(0.8, 0.9);
        outcome = ReadTags(file, places.vertexTags, header.VertexTagCount(), vertexTags);
    }
    if (outcome.error == MeshFileError::None) {
        const Progress::Impl::Phase phase(0.9, 1.0);
        outcome = ReadTags(file, places.triangleTags, header.TriangleTagCount(), triangleTags);
    }
    return ResultOf(outcome, MeshFileForm::Tipc, size);
}

// --- all together --------------------------------------------------------------------------------

/// The corners of all triangles of a mesh by value.
template <class T>
void Expand(const Mesh::IndexedPointsBase<3, T>& mesh, Mesh::TriangleSoup<3, T>& soup)
{
    const auto corner = [&](std::size_t i) -> const VecBase<3, T>& {
        return mesh.points[static_cast<std::size_t>(mesh.indices[i])];
    };
    soup.reserve(mesh.indices.size() / 3);
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        Progress::Impl::CheckStep(i / 3);
        soup.push_back({corner(i), corner(i + 1), corner(i + 2)});
    }
}

/// Recognizes the form and reads it by the one function of these that is for it:
/// `readTipc(size, header)`, `readStl(size)` and `readSolids()`. A file that meets the sizes of
/// both binary forms goes to the first of them, and to the second when an index is out of range.
template <class ReadTipcFn, class ReadStlFn, class ReadSolids>
MeshFileResult ReadRecognized(ByteReader& file, ReadTipcFn&& readTipc, ReadStlFn&& readStl,
                              ReadSolids&& readSolids)
{
    std::array<std::byte, kHeadBytes> front;
    std::error_code error;
    const std::size_t headBytes = file.ReadAt(0, front.data(), front.size(), error);
    if (error) {
        MeshFileResult result = Refusal(MeshFileError::ReadFailed, MeshFileForm::Unknown);
        result.system = error;
        return result;
    }
    const std::span<const std::byte> head(front.data(), headBytes);
    const MeshFileLooks looks = LooksOf(head);
    const std::uint64_t size = file.SizeHint();
    const bool isStl = looks.hasStlCount && looks.stlBytes == size;
    if (looks.hasTipcHeader && looks.tipcBytes == size) {
        const MeshFileResult result = readTipc(size, LoadTipcHeader(head));
        if (!isStl || result.error != MeshFileError::IndexOutOfRange) {
            return result;
        }
    }
    if (isStl) {
        return size > kStlFrontBytes ? readStl(size)
                                     : Refusal(MeshFileError::NoTriangles, MeshFileForm::BinaryStl);
    }
    if (looks.isAsciiStl) {
        if (TextOf(head).starts_with(kByteOrderMark)) {
            std::array<std::byte, kByteOrderMark.size()> passedOver{};
            (void)file.Read(passedOver.data(), passedOver.size());
        }
        return readSolids();
    }
    return ReasonFor(looks, size);
}

} // namespace

template <class T>
MeshFileResult ReadMeshBytes(ByteReader& file, Mesh::IndexedPointsBase<3, T>& mesh,
                             std::vector<Tag>* vertexTags, std::vector<Tag>* triangleTags)
{
    return ReadRecognized(
        file,
        [&](std::uint64_t size, const TipcHeader& header) {
            return ReadTipcMesh(file, size, header, mesh, vertexTags, triangleTags);
        },
        [&](std::uint64_t size) {
            mesh.indices.clear(); // of an attempt to read it as TIPC
            return ReadStl(file, size, mesh);
        },
        [&] {
            return ReadAsciiSolids(file, mesh.points, mesh.indices, kAsciiBlockBytes,
                                   kAsciiPieceBytes);
        });
}

template <class T>
MeshFileResult ReadMeshBytes(ByteReader& file, Mesh::TriangleSoup<3, T>& soup)
{
    Mesh::IndexedPointsBase<3, T> mesh;
    const MeshFileResult result = ReadRecognized(
        file,
        [&](std::uint64_t size, const TipcHeader& header) {
            return ReadTipcMesh(file, size, header, mesh, nullptr, nullptr);
        },
        [&](std::uint64_t size) {
            mesh.indices.clear(); // of an attempt to read it as TIPC
            return ReadStl(file, size, soup);
        },
        [&] {
            return ReadAsciiSolids(file, mesh.points, mesh.indices, kAsciiBlockBytes,
                                   kAsciiPieceBytes);
        });
    if (result) {
        Expand(mesh, soup);
    }
    return result;
}

namespace {

/// Can no text that begins with these bytes be an STL, because one of its whole lines is wrong
/// already, or its only line too long?
bool IsBeyondRepair(std::span<const std::byte> bytes)
{
    std::size_t whole = bytes.size();
    while (whole > 0 && bytes[whole - 1] != std::byte{'\n'}) {
        --whole;
    }
    ByteReader text(whole > 0 ? bytes.first(whole) : bytes);
    Mesh::IndexedPointsBase<3, double> mesh;
    const MeshFileError error = ReadMeshBytes(text, mesh, nullptr, nullptr).error;
    return error == MeshFileError::Malformed || error == MeshFileError::NotFinite;
}

} // namespace

MeshFileResult ReadStream(ByteReader& file, std::vector<std::byte>& bytes)
{
    // Each turn asks for as many bytes as there are, until the stream ends or has given all that
    // can belong to a mesh. An endless one that looks like none is not read to its end, nor is a
    // text with a wrong line: what has come of it is looked at in steps that are far apart, so that
    // all looks together cost a fraction of the reading that follows.
    constexpr std::uint64_t kStep = 8;
    std::uint64_t most = kHeadBytes;
    bool isText = false;
    while (bytes.size() < most) {
        Progress::Impl::Check();
        const std::size_t before = bytes.size();
        const auto wanted = static_cast<std::size_t>(
            std::min<std::uint64_t>(most - before, std::max<std::size_t>(before, kHeadBytes)));
        RequireMemory(2 * (before + wanted)); // while the vector moves there are two of it
        bytes.resize(before + wanted);
        const std::size_t arrived = file.Read(bytes.data() + before, wanted);
        bytes.resize(before + arrived);
        if (file.Error()) {
            MeshFileResult result = Refusal(MeshFileError::ReadFailed, MeshFileForm::Unknown);
            result.system = file.Error();
            return result;
        }
        if (arrived < wanted) {
            break;
        }
        if (before == 0) {
            const MeshFileLooks looks = LooksOf(bytes);
            const std::uint64_t stl = looks.isPlausibleStl ? looks.stlBytes + 1 : 0;
            const std::uint64_t tipc = looks.isPlausibleTipc ? looks.tipcBytes + 1 : 0;
            isText = looks.isAsciiStl;
            most = isText ? most : std::max(stl, tipc);
        }
        if (isText && bytes.size() == most && !IsBeyondRepair(bytes)) {
            most *= kStep;
        }
    }
    return {};
}

namespace {

MeshFileResult WhyNotOpen(const std::error_code& error)
{
    const bool isMissing =
        error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory;
    MeshFileResult result = Refusal(
        isMissing ? MeshFileError::NoSuchFile : MeshFileError::NotOpened, MeshFileForm::Unknown);
    result.system = error;
    return result;
}

/// Opens the file, or the bytes of the stream that it is, and reads them by `read`.
template <class Read>
MeshFileResult ReadSource(const std::filesystem::path& path, Read&& read)
{
    ByteReader file(path);
    if (!file.IsOpen()) {
        return WhyNotOpen(file.Error());
    }
    if (file.Kind() == FileKind::Folder) {
        return Refusal(MeshFileError::IsFolder, MeshFileForm::Unknown);
    }
    // Some files that the system makes up as they are read say that they have no bytes.
    if (file.Kind() == FileKind::Other || file.SizeHint() == 0) {
        std::vector<std::byte> bytes;
        const MeshFileResult result = ReadStream(file, bytes);
        if (!result) {
            return result;
        }
        ByteReader memory(bytes);
        return read(memory);
    }
    return read(file);
}

/// The same for bytes that are there.
template <class Read>
MeshFileResult ReadSource(std::span<const std::byte> bytes, Read&& read)
{
    ByteReader memory(bytes);
    return read(memory);
}

} // namespace

#define SORVANE_INSTANTIATE(T)                                                         \
    template MeshFileResult ReadMeshBytes(ByteReader&, Mesh::IndexedPointsBase<3, T>&, \
                                          std::vector<Tag>*, std::vector<Tag>*);       \
    template MeshFileResult ReadMeshBytes(ByteReader&, Mesh::TriangleSoup<3, T>&);
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE

} // namespace Impl

namespace {

/// Reads by `read`, and keeps the outputs of what was read as a whole.
template <class Outputs, class Read>
MeshFileResult Judged(Outputs& outputs, Read&& read)
{
    const MeshFileResult result = Progress::Impl::Stoppable(read, [] {
        MeshFileResult stopped;
        stopped.error = MeshFileError::ReadFailed;
        stopped.system = std::make_error_code(std::errc::operation_canceled);
        return stopped;
    });
    if (result) {
        outputs.Keep();
    }
    return result;
}

/// The mesh, tags or soup of the public functions, read from a path or from memory.
template <class Source, class T>
MeshFileResult ReadInto(Mesh::IndexedPointsBase<3, T>& mesh, const Source& source)
{
    Impl::ClearedOutputs outputs(mesh.points, mesh.indices);
    return Judged(outputs, [&] {
        return Impl::ReadSource(source, [&](Impl::ByteReader& file) {
            return Impl::ReadMeshBytes(file, mesh, nullptr, nullptr);
        });
    });
}

template <class Source, class T>
MeshFileResult ReadInto(Mesh::IndexedPointsBase<3, T>& mesh, std::vector<Impl::Tag>& vertexTags,
                        std::vector<Impl::Tag>& triangleTags, const Source& source)
{
    Impl::ClearedOutputs outputs(mesh.points, mesh.indices, vertexTags, triangleTags);
    return Judged(outputs, [&] {
        return Impl::ReadSource(source, [&](Impl::ByteReader& file) {
            return Impl::ReadMeshBytes(file, mesh, &vertexTags, &triangleTags);
        });
    });
}

template <class Source, class T>
MeshFileResult ReadInto(Mesh::TriangleSoup<3, T>& soup, const Source& source)
{
    Impl::ClearedOutputs outputs(soup);
    return Judged(outputs, [&] {
        return Impl::ReadSource(
            source, [&](Impl::ByteReader& file) { return Impl::ReadMeshBytes(file, soup); });
    });
}

} // namespace

template <class T>
MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, T>& mesh, const std::filesystem::path& path)
{
    return ReadInto(mesh, path);
}

template <class T>
MeshFileResult
ReadMesh(Mesh::IndexedPointsBase<3, T>& mesh, std::vector<unsigned long long>& vertexTags,
         std::vector<unsigned long long>& triangleTags, const std::filesystem::path& path)
{
    return ReadInto(mesh, vertexTags, triangleTags, path);
}

template <class T>
MeshFileResult ReadMesh(Mesh::TriangleSoup<3, T>& soup, const std::filesystem::path& path)
{
    return ReadInto(soup, path);
}

template <class T>
MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, T>& mesh, std::span<const std::byte> bytes)
{
    return ReadInto(mesh, bytes);
}

template <class T>
MeshFileResult
ReadMesh(Mesh::IndexedPointsBase<3, T>& mesh, std::vector<unsigned long long>& vertexTags,
         std::vector<unsigned long long>& triangleTags, std::span<const std::byte> bytes)
{
    return ReadInto(mesh, vertexTags, triangleTags, bytes);
}

template <class T>
MeshFileResult ReadMesh(Mesh::TriangleSoup<3, T>& soup, std::span<const std::byte> bytes)
{
    return ReadInto(soup, bytes);
}

#define SORVANE_INSTANTIATE_FROM(T, Source)                                     \
    template MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, T>&, Source);   \
    template MeshFileResult ReadMesh(Mesh::IndexedPointsBase<3, T>&,            \
                                     std::vector<unsigned long long>&,          \
                                     std::vector<unsigned long long>&, Source); \
    template MeshFileResult ReadMesh(Mesh::TriangleSoup<3, T>&, Source);
#define SORVANE_INSTANTIATE(T)                                \
    SORVANE_INSTANTIATE_FROM(T, const std::filesystem::path&) \
    SORVANE_INSTANTIATE_FROM(T, std::span<const std::byte>)
SORVANE_INSTANTIATE(float)
SORVANE_INSTANTIATE(double)
#undef SORVANE_INSTANTIATE
#undef SORVANE_INSTANTIATE_FROM

} // namespace Velk::Math::Sorvane::MeshUtils
