// Whether normals turn by an angle or more at an edge, for many edges and one angle.
#pragma once

#include "remesh/FeatureMarks_Impl.h"

#include <cmath>

namespace Velk::Math::Sorvane::HalfEdge::Impl {

/// Answers as `EdgeTurn(a, b, c, d) >= angle` does, mostly from cosines.
class CreaseTest {
public:
    /// `angle` in radians.
    explicit CreaseTest(double angle)
        : angle_(angle), cosine_(std::cos(angle)), hasCosine_(angle > 0 && angle < kPi<double>)
    {
    }

    bool operator()(const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& d) const
    {
        const Vec3d ab = b - a;
        const Vec3d left = ab ^ (c - a);
        const Vec3d right = (d - a) ^ ab;
        const double dot = left * right;
        const double leftSquared = left * left;
        const double rightSquared = right * right;
        // Within these bounds nothing has become too large or too small for the cosine to be good
        // to the margin, which is far above its rounding. Comparisons are false for NaN. Each by
        // itself: of a tiny and a huge one the product is in between.
        if (hasCosine_ && leftSquared > kLeast && leftSquared < kGreatest &&
            rightSquared > kLeast && rightSquared < kGreatest) {
            const double lengths = std::sqrt(leftSquared * rightSquared);
            if (dot > (cosine_ + kMargin) * lengths) {
                return false;
            }
            if (dot < (cosine_ - kMargin) * lengths) {
                return true;
            }
        }
        return EdgeTurn(a, b, c, d) >= angle_;
    }

private:
    static constexpr double kMargin = 1e-12;
    static constexpr double kLeast = 1e-100;
    static constexpr double kGreatest = 1e100;

    double angle_;
    double cosine_;
    bool hasCosine_;
};

} // namespace Velk::Math::Sorvane::HalfEdge::Impl
