// Breaking and splitting at parameters against the rules by the book, which are about numbers
// alone: where the joints come to lie, and at which of them the chain comes apart.

#include <Sorvane/ChainBreaking_E.h>

#include "tests/planar/ChainSupport.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane::Planar;
using namespace Support;
using Numbers = std::vector<double>;

/// Lengths from the start at which the elements begin, and the whole length.
Numbers JointsOf(const std::vector<ArcSegBase<double>>& elements)
{
    Numbers joints{0};
    for (const auto& element : elements) {
        joints.push_back(joints.back() + LengthOf(element));
    }
    return joints;
}

bool IsNearAny(double number, const Numbers& others, double tol)
{
    return std::any_of(others.begin(), others.end(),
                       [&](double other) { return std::fabs(number - other) <= tol; });
}

/// The joints after breaking, as lengths. `parameters` ascending.
Numbers BreakSlowly(const Numbers& joints, const Numbers& parameters, double unit, double tol)
{
    Numbers broken{0};
    for (std::size_t k = 1; k < joints.size(); ++k) {
        Numbers own;
        for (const double parameter : parameters) {
            const double length = parameter * unit;
            const bool isAtJoint = std::any_of(joints.begin(), joints.end(), [&](double joint) {
                return std::fabs(parameter - joint / unit) <= tol;
            });
            if (!isAtJoint && length > joints[k - 1] && length < joints[k]) {
                own.push_back(length);
            }
        }
        if (joints[k] - joints[k - 1] > tol) {
            double behind = joints[k];
            for (auto length = own.rbegin(); length != own.rend(); ++length) {
                if (!(*length - joints[k - 1] > tol && behind - *length > tol)) {
                    return joints; // gives up
                }
                behind = *length;
            }
            broken.insert(broken.end(), own.begin(), own.end());
        }
        broken.push_back(joints[k]);
    }
    return broken;
}

/// The joints at which the chain comes apart, its start and end among them.
Numbers SplitSlowly(const Numbers& joints, const Numbers& parameters, double unit, double tol)
{
    const Numbers broken = BreakSlowly(joints, parameters, unit, tol);
    const Numbers ends{0, broken.back() / unit};
    Numbers cuts{0};
    for (const double parameter : parameters) {
        if (parameter <= ends[0] || parameter >= ends[1] || IsNearAny(parameter, ends, tol)) {
            continue;
        }
        const double cut = *std::find_if(broken.begin(), broken.end(), [&](double joint) {
            return joint / unit >= parameter - tol;
        });
        if (cut > cuts.back() && cut < broken.back()) {
            cuts.push_back(cut);
        }
    }
    cuts.push_back(broken.back());
    return cuts;
}

void ExpectNear(const Numbers& a, const Numbers& b)
{
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t i = 0; i < a.size(); ++i) {
        EXPECT_NEAR(a[i], b[i], 1e-11);
    }
}

TEST(ChainBreakingTwin, JointsAndCutsAreThoseByTheBook)
{
    Random random(61);
    for (const double tol : {1e-9, 1e-6, 1e-3, 1e-2}) {
        for (int trial = 0; trial < 1500; ++trial) {
            SCOPED_TRACE(trial);
            const auto chain = RandomChain<double>(random, 1 + random.Below(6));
            const Numbers joints = JointsOf(chain.elements);
            const bool normalized = random.Below(2) == 0;
            const double unit = normalized ? joints.back() : 1;
            // Anywhere, at joints, at each other, and up to two tolerances off.
            Numbers parameters;
            for (int i = random.Below(5); i >= 0; --i) {
                const auto any = [&](const Numbers& numbers) {
                    return numbers[static_cast<std::size_t>(
                        random.Below(static_cast<int>(numbers.size())))];
                };
                const int kind = random.Below(4);
                double place = random.Between(-0.1, 1.1) * joints.back() / unit;
                place = kind == 0 ? any(joints) / unit : place;
                place = kind == 1 && !parameters.empty() ? any(parameters) : place;
                place += random.Below(2) == 0 ? random.Between(-2, 2) * tol : 0;
                parameters.push_back(place);
            }
            const auto broken = BreakAtParams(chain, parameters, normalized, tol);
            const auto parts = Split(chain, parameters, normalized, tol);
            std::sort(parameters.begin(), parameters.end());
            ExpectNear(JointsOf(broken.elements), BreakSlowly(joints, parameters, unit, tol));
            Numbers cuts{0};
            for (const auto& part : parts) {
                cuts.push_back(cuts.back() + JointsOf(part.elements).back());
            }
            ExpectNear(cuts, SplitSlowly(joints, parameters, unit, tol));
        }
    }
}

} // namespace
