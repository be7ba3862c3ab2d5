// The chain file: any bytes. What is read is written and read again to the same bits, and goes
// through the operations on chains: no crash, no hang, and what holds for every chain.

#include <Sorvane/PolyArcSeg_E.h>

#include "planar/PolyArcSegFile_Impl.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using Chain = PolyArcSegBase<double>;

/// Chains up to this size and turning go through the operations; more would only be slow.
constexpr std::size_t kMostElements = 64;
constexpr double kMostTurns = 100;

void Require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

Chain Read(const std::string& text)
{
    std::istringstream stream(text);
    return Impl::ReadChain(stream);
}

std::string Written(const Chain& chain)
{
    std::ostringstream stream;
    Impl::WriteChain(stream, chain);
    return stream.str();
}

bool IsModest(const Chain& chain)
{
    double turns = 0;
    for (const auto& element : chain.elements) {
        if (const auto* arc = element.AsArc()) {
            const double radius = Geometry::Radius(*arc);
            turns += radius > 1e-12 ? std::fabs(arc->length) / radius : 0;
        }
    }
    return chain.elements.size() <= kMostElements && turns <= kMostTurns;
}

void Exercise(const Chain& chain)
{
    const auto [points, spans] = ToPolyline(chain, chain.tolerance > 0.01 ? chain.tolerance : 0.01);
    Require(spans.size() == chain.elements.size());
    unsigned int next = 0;
    for (const auto& [first, last] : spans) {
        Require(first == next && last >= first);
        next = last;
    }
    Require(next == points.size());

    const double tol = 1e-9;
    const std::vector<double> parameters = PointParametersOnPolyArcSeg(chain, points, tol);
    for (std::size_t i = 0; i < points.size(); ++i) {
        const double single = PointParameterOnPolyArcSeg(chain, points[i], tol);
        Require(std::memcmp(&single, &parameters[i], sizeof single) == 0);
        Vec2d closest;
        PointInPolyArcSegSpace(chain, points[i], i % 2 == 0, &closest);
        const Vec2d again = ClosestPointOnPolyArcSeg(chain, points[i]);
        Require(std::memcmp(&again, &closest, sizeof again) == 0);
    }
    for (const bool normalized : {false, true}) {
        for (const double joint : PolyArcSegParameters(chain, normalized)) {
            Vec2d point;
            PointAtParameterOnPolyArcSeg(chain, joint, normalized, point);
            PointAtParameterOnPolyArcSeg(chain, 0.7 * joint, normalized, point);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Chain chain = Read(std::string(reinterpret_cast<const char*>(data), size));
    if (chain.elements.empty()) {
        return 0;
    }
    const std::string text = Written(chain);
    Require(Written(Read(text)) == text); // 17 digits tell every number from its neighbors
    if (IsModest(chain)) {
        Exercise(chain);
    }
    return 0;
}
