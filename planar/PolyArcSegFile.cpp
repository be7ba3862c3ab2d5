// The text file of a chain.
//
// The reader trusts nothing: no memory is taken for the count stated, and every failed extraction
// ends it, be it the end of the file or a word where a number should be.

#include <Sorvane/AssertSites_E.h>
#include <Sorvane/PolyArcSeg_E.h>

#include "planar/PolyArcSegFile_Impl.h"

#include <array>
#include <fstream>
#include <iomanip>
#include <locale>
#include <string>

namespace Velk::Math::Sorvane::Planar {

namespace {

constexpr double kDefaultTolerance = 1e-12;
/// Tells every double from its neighbors.
constexpr int kDigits = 17;

/// The tolerance after the count. Only what begins like a number is read as one: some number
/// parsers take the A of an arc for a hexadecimal digit.
double ReadTolerance(std::istream& stream)
{
    stream >> std::ws;
    const int next = stream.peek();
    const bool isNumber = (next >= '0' && next <= '9') || next == '+' || next == '-' || next == '.';
    double tolerance = kDefaultTolerance;
    if (isNumber && !(stream >> tolerance)) {
        tolerance = kDefaultTolerance;
    }
    return tolerance;
}

template <std::size_t N>
bool ReadNumbers(std::istream& stream, std::array<double, N>& numbers)
{
    for (double& number : numbers) {
        if (!(stream >> number)) {
            return false;
        }
    }
    return true;
}

/// Reads what follows `keyword` and appends it. False when a number can't be read. An element that
/// the chain refuses has been read for all that.
bool ReadElement(std::istream& stream, char keyword, PolyArcSegBase<double>& chain)
{
    if (keyword == 'A') {
        std::array<double, 5> v{};
        if (!ReadNumbers(stream, v)) {
            return false;
        }
        chain.AppendArc({v[2], v[3]}, {v[0], v[1]}, v[4]);
        return true;
    }
    std::array<double, 4> v{};
    if (!ReadNumbers(stream, v)) {
        return false;
    }
    chain.AppendSegment({v[0], v[1]}, {v[2], v[3]});
    return true;
}

void ReadElements(std::istream& stream, int count, PolyArcSegBase<double>& chain)
{
    int taken = 0;
    char keyword = 0;
    while (taken < count && stream >> keyword) {
        if (keyword != 'A' && keyword != 'L') {
            continue;
        }
        if (!ReadElement(stream, keyword, chain)) {
            return;
        }
        ++taken;
    }
}

void WriteElement(std::ostream& stream, const Geometry::SegBase<double>& segment)
{
    stream << "L\t" << segment.start.x() << '\t' << segment.start.y() << '\t' << segment.end.x()
           << '\t' << segment.end.y() << '\n';
}

void WriteElement(std::ostream& stream, const Geometry::ArcBase<double>& arc)
{
    stream << "A\t" << arc.start.x() << '\t' << arc.start.y() << '\t' << arc.center.x() << '\t'
           << arc.center.y() << '\t' << arc.length << '\n';
}

} // namespace

PolyArcSegBase<double> Impl::ReadChain(std::istream& stream)
{
    PolyArcSegBase<double> chain;
    int count = 0;
    try {
        // A stream keeps to itself what is thrown inside its operators and only calls itself bad;
        // memory that ran out in the middle of a number would then be the end of a shorter chain.
        // With this it throws on.
        stream.exceptions(std::ios_base::badbit);
        stream.imbue(std::locale::classic());
        stream >> count;
        if (count >= 1) {
            chain.tolerance = ReadTolerance(stream);
            ReadElements(stream, count, chain);
        }
    } catch (const std::ios_base::failure&) {
        // A device that can't be read any further: an end like that of the file.
    }
    if (count < 1) {
        AssertSites::Report(AssertSites::kChainFileHasNoElements);
        return {};
    }
    if (chain.elements.size() != static_cast<std::size_t>(count)) {
        AssertSites::Report(AssertSites::kChainFileHasAnotherCount);
    }
    return chain;
}

void Impl::WriteChain(std::ostream& stream, const PolyArcSegBase<double>& chain)
{
    stream.imbue(std::locale::classic());
    stream << std::setprecision(kDigits);
    stream << '\n' << chain.elements.size() << '\t' << chain.tolerance << '\n';
    for (const ArcSegBase<double>& element : chain.elements) {
        element.Visit([&stream](const auto& e) { WriteElement(stream, e); });
    }
}

bool WritePolySegArcToFile(const PolyArcSegBase<double>& chain, std::string path)
{
    std::ofstream file(path);
    if (!file.is_open()) {
        return false;
    }
    Impl::WriteChain(file, chain);
    file.close();
    return file.good();
}

PolyArcSegBase<double> ReadPolySegArcFromFile(std::string path)
{
    std::ifstream file(path);
    if (!file.is_open()) {
        AssertSites::Report(AssertSites::kChainFileDoesNotOpen);
        return {};
    }
    return Impl::ReadChain(file);
}

} // namespace Velk::Math::Sorvane::Planar
