// Bodies over profiles and colors of facets; layouts of closed curves in the plane and the surfaces
// that are laid into them.

#include <Sorvane/MeshBuilders_E.h>
#include <Sorvane/MeshQueries_E.h>
#include <Sorvane/Remesh_E.h>
#include <Sorvane/Tessellation_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/Matrix_E.h>
#include <Velk/Math/Transform_E.h>
#include <Velk/Math/Vector_E.h>

#include "tests/support/MeshMeasures.h"
#include "tests/support/Polygons.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <set>
#include <stdexcept>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using Support::IndexedMesh;

using Curve = std::vector<Vec3d>;
using FlatCurve = std::vector<Vec2d>;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

template <class T>
using Profile = std::vector<VecBase<2, T>>;

// --- extruded bodies -----------------------------------------------------------------------------

template <class T>
class ExtrudedBody : public testing::Test {
};
using Scalars = testing::Types<float, double>;
TYPED_TEST_SUITE(ExtrudedBody, Scalars);

template <class T>
Profile<T> Square()
{
    return {{0, 0}, {4, 0}, {4, 2}, {0, 2}, {0, 0}};
}

template <class T>
IndexedMesh Widened(const Mesh::IndexedPointsBase<3, T>& mesh)
{
    IndexedMesh wide;
    wide.indices = mesh.indices;
    for (const auto& p : mesh.points) {
        wide.points.emplace_back(p.x(), p.y(), p.z());
    }
    return wide;
}

template <class T>
Mesh::IndexedPointsBase<3, T> Welded(Mesh::IndexedPointsBase<3, T> mesh)
{
    Mesh::FilterForUniqueness(mesh, T(1e-6));
    return mesh;
}

TYPED_TEST(ExtrudedBody, IsClosedAndOutwardOverACounterClockwiseProfile)
{
    using T = TypeParam;
    const auto body = MeshUtils::CreateExtrudedBodyFromProfile(Square<T>(), T(1), T(4), 3U);
    EXPECT_EQ(body.indices.size() / 3, 4U * 3 * 2 + 2 + 2);
    const IndexedMesh closed = Widened(Welded(body));
    EXPECT_EQ(Support::FaultsOf(closed), Support::EdgeFaults());
    EXPECT_EQ(Support::EulerOf(closed), 2);
    EXPECT_DOUBLE_EQ(Support::VolumeOf(closed), 4.0 * 2 * 3);
    for (const Vec3d& p : closed.points) {
        EXPECT_TRUE(p.z() == 1 || p.z() == 2 || p.z() == 3 || p.z() == 4) << p.z();
    }
}

TYPED_TEST(ExtrudedBody, NoSlicesAreOneSlice)
{
    using T = TypeParam;
    const auto one = MeshUtils::CreateExtrudedBodyFromProfile(Square<T>(), T(0), T(3), 1U);
    EXPECT_EQ(one.indices.size() / 3, 4U * 2 + 4);
    EXPECT_EQ(MeshUtils::CreateExtrudedBodyFromProfile(Square<T>(), T(0), T(3), 0U), one);
}

TYPED_TEST(ExtrudedBody, OnePointMakesNoWallsAndTwoMakeOne)
{
    using T = TypeParam;
    using Points = Profile<T>;
    EXPECT_EQ(MeshUtils::CreateExtrudedBodyFromProfile(Points{}, T(0), T(1), 2U),
              (Mesh::IndexedPointsBase<3, T>()));
    EXPECT_EQ(MeshUtils::CreateExtrudedBodyFromProfile(Points{{1, 2}}, T(0), T(1), 2U),
              (Mesh::IndexedPointsBase<3, T>()));
    const auto wall =
        MeshUtils::CreateExtrudedBodyFromProfile(Points{{0, 0}, {4, 0}}, T(0), T(1), 2U);
    EXPECT_EQ(wall.indices.size() / 3, 4U);
    for (const auto& normal : Mesh::Normals(wall)) {
        EXPECT_EQ(normal, (VecBase<3, T>{0, -1, 0})) << "to the right of the profile's course";
    }
}

TYPED_TEST(ExtrudedBody, TheBottomCapIsTheTopCapTurnedOverAndNeitherIsWelded)
{
    using T = TypeParam;
    const auto body = MeshUtils::CreateExtrudedBodyFromProfile(Square<T>(), T(0), T(3), 1U);
    const std::size_t n = body.indices.size();
    ASSERT_EQ(n, 3U * 12);
    const auto normals = Mesh::Normals(body);
    EXPECT_EQ(normals[8], (VecBase<3, T>{0, 0, 1}));
    EXPECT_EQ(normals[9], (VecBase<3, T>{0, 0, 1}));
    EXPECT_EQ(normals[10], (VecBase<3, T>{0, 0, -1}));
    EXPECT_EQ(normals[11], (VecBase<3, T>{0, 0, -1}));
    for (std::size_t i = n - 12; i < n - 6; i += 3) {
        // Four points a cap.
        EXPECT_EQ(body.indices[i + 6], body.indices[i] + 4);
        EXPECT_EQ(body.indices[i + 7], body.indices[i + 2] + 4);
        EXPECT_EQ(body.indices[i + 8], body.indices[i + 1] + 4);
    }
    EXPECT_EQ(body.points.size(), 8U + 4 + 4);
    EXPECT_EQ(Mesh::BoundaryEdges(body).size(), 16U);
}

TYPED_TEST(ExtrudedBody, WallsOfAnOpenProfileLeaveAGap)
{
    using T = TypeParam;
    Profile<T> open = Square<T>();
    open.pop_back();
    const auto body = MeshUtils::CreateExtrudedBodyFromProfile(open, T(0), T(3), 1U);
    EXPECT_EQ(body.indices.size() / 3, 3U * 2 + 4) << "the caps close it by themselves";
    EXPECT_EQ(Mesh::BoundaryEdges(Welded(body)).size(), 4U);
}

TYPED_TEST(ExtrudedBody, AClockwiseProfileHasInwardWallsAndItsTopCapUp)
{
    using T = TypeParam;
    Profile<T> clockwise = Square<T>();
    std::reverse(clockwise.begin(), clockwise.end());
    const auto body = MeshUtils::CreateExtrudedBodyFromProfile(clockwise, T(0), T(3), 1U);
    const auto normals = Mesh::Normals(body);
    for (std::size_t t = 0; t < 8; ++t) {
        const auto corner = body.points[static_cast<std::size_t>(body.indices[3 * t])];
        const VecBase<3, T> toMiddle = VecBase<3, T>{2, 1, corner.z()} - corner;
        EXPECT_GT(normals[t] * toMiddle, T(0));
    }
    EXPECT_EQ(normals[8].z(), T(1));
    EXPECT_EQ(normals[11].z(), T(-1));
}

TEST(ExtrudedBody, TheUppermostRingHasTheHeightOfItsSlicesNotTheTop)
{
    const double bottom = 1.1;
    const double top = 4.7;
    const unsigned slices = 3;
    const double ring = 3.0 * ((top - bottom) / 3.0) + bottom;
    ASSERT_NE(ring, top) << "other numbers are needed";
    const auto body =
        MeshUtils::CreateExtrudedBodyFromProfile(Square<double>(), bottom, top, slices);
    std::set<double> heights;
    for (const Vec3d& p : body.points) {
        heights.insert(p.z());
    }
    EXPECT_TRUE(heights.contains(ring)) << "of the walls";
    EXPECT_TRUE(heights.contains(top)) << "of the cap";
}

/// The walls by way of a list of triangles, one by one.
template <class T>
Mesh::IndexedPointsBase<3, T> WallsBySoup(const Profile<T>& profile, T bottom, T top, int slices)
{
    Mesh::TriangleSoup<3, T> soup;
    const T h = (top - bottom) / T(slices);
    for (std::size_t i = 0; i + 1 < profile.size(); ++i) {
        const auto at = [&](std::size_t n, T z) {
            return VecBase<3, T>{profile[n].x(), profile[n].y(), z};
        };
        for (int k = 0; k < slices; ++k) {
            const T z0 = T(k) * h + bottom;
            const T z1 = T(k + 1) * h + bottom;
            soup.push_back({at(i, z0), at(i + 1, z0), at(i + 1, z1)});
            soup.push_back({at(i + 1, z1), at(i, z1), at(i, z0)});
        }
    }
    return Mesh::IndexedPointsFromSoup(soup, true, T(sizeof(T) == 4 ? 1e-8 : 1e-12));
}

TYPED_TEST(ExtrudedBody, WallsAreThoseOfAListOfTriangles)
{
    using T = TypeParam;
    Support::Random random(31);
    const T tiny = sizeof(T) == 4 ? T(1e-8) : T(1e-12);
    for (int trial = 0; trial < Support::Rounds(300); ++trial) {
        Profile<T> profile;
        const int count = 2 + random.Below(9);
        for (int i = 0; i < count; ++i) {
            // Places that repeat, and some that nearly do.
            const T shift = T(random.Below(3)) * T(0.6) * tiny;
            profile.push_back({T(random.Below(3)) + shift, T(random.Below(3)) - shift});
        }
        if (sizeof(T) == 4) {
            for (auto& p : profile) {
                p = p * T(1e-2); // so that a float can tell the near ones apart
            }
        }
        const T bottom = T(random.Below(3)) - 1;
        const T top = T(random.Below(3)) - 1; // a body without height, too
        const int slices = 1 + random.Below(4);
        const auto body = MeshUtils::CreateExtrudedBodyFromProfile(profile, bottom, top,
                                                                   static_cast<unsigned>(slices));
        const auto walls = WallsBySoup(profile, bottom, top, slices);
        ASSERT_LE(walls.points.size(), body.points.size());
        ASSERT_LE(walls.indices.size(), body.indices.size());
        EXPECT_TRUE(std::equal(walls.points.begin(), walls.points.end(), body.points.begin()))
            << trial;
        EXPECT_TRUE(std::equal(walls.indices.begin(), walls.indices.end(), body.indices.begin()))
            << trial;
    }
}

TEST(ExtrudedBody, VolumeOfRandomProfilesIsAreaTimesHeight)
{
    Support::Random random(32);
    for (int trial = 0; trial < Support::Rounds(40); ++trial) {
        Support::Polygon star = Support::StarPolygon(3 + random.Below(60), random);
        star.push_back(star.front());
        const double offset = trial % 2 == 0 ? 0.0 : 1e6;
        long double area = 0;
        for (std::size_t i = 0; i + 1 < star.size(); ++i) {
            area += (static_cast<long double>(star[i].x()) * star[i + 1].y() -
                     static_cast<long double>(star[i + 1].x()) * star[i].y()) /
                    2;
        }
        for (Vec2d& p : star) {
            p += Vec2d(offset, -offset);
        }
        auto body = MeshUtils::CreateExtrudedBodyFromProfile(star, -2.0, 1.0, 5U);
        Mesh::FilterForUniqueness(body, 1e-9);
        EXPECT_EQ(Support::FaultsOf(body), Support::EdgeFaults());
        EXPECT_NEAR(Support::VolumeOf(body), 3 * static_cast<double>(area),
                    offset == 0 ? 1e-12 : 1e-8);
    }
}

TEST(ExtrudedBody, HostileInput)
{
    const Profile<double> square = Square<double>();
    EXPECT_THROW((void)MeshUtils::CreateExtrudedBodyFromProfile(square, 0.0, 1.0, 4294967295U),
                 std::length_error);
    // Walls as they come, but no caps.
    const auto nan = MeshUtils::CreateExtrudedBodyFromProfile(
        Profile<double>{{0, 0}, {1, kNan}, {1, 1}, {0, 0}}, 0.0, 1.0, 1U);
    EXPECT_EQ(nan.indices.size() / 3, 6U);
    const auto line = MeshUtils::CreateExtrudedBodyFromProfile(
        Profile<double>{{0, 0}, {1, 1}, {2, 2}, {0, 0}}, 0.0, 1.0, 1U);
    EXPECT_EQ(line.indices.size() / 3, 6U);
    const auto flat = MeshUtils::CreateExtrudedBodyFromProfile(square, 1.0, 1.0, 2U);
    EXPECT_EQ(flat.indices.size() / 3, 16U + 4);
    // Top below bottom: the same body turned over.
    const auto down = MeshUtils::CreateExtrudedBodyFromProfile(square, 3.0, 0.0, 1U);
    EXPECT_EQ(Mesh::Normals(down)[0], (Vec3d{0, 1, 0}));
    EXPECT_EQ(down.points.back().z(), 3.0);
}

// --- colors --------------------------------------------------------------------------------------

using SurfaceMesh =
    HalfEdge::TriangleMesh<HalfEdge::HVertex<3, double>, HalfEdge::HEdge, HalfEdge::HFace>;

/// All live facets, from the links of the mesh.
void ExpectProperColors(const SurfaceMesh& mesh)
{
    unsigned count = 99;
    const std::vector<int> colors = MeshUtils::ColorFacets(mesh, count);
    ASSERT_EQ(colors.size(), mesh.Faces().size());
    std::set<int> used;
    for (const int color : colors) {
        used.insert(color);
        EXPECT_GE(color, 0);
    }
    EXPECT_EQ(used.size(), count);
    EXPECT_LE(count, 4U) << "three neighbors at most";
    for (std::size_t e = 0; e < mesh.Edges().size(); e += 2) {
        const int left = mesh.Edges()[e].face;
        const int right = mesh.Edges()[e + 1].face;
        if (left >= 0 && right >= 0) {
            EXPECT_NE(colors[static_cast<std::size_t>(left)],
                      colors[static_cast<std::size_t>(right)]);
        }
    }
}

TEST(ColorFacets, NeighborsDiffer)
{
    for (const IndexedMesh& mesh :
         {Support::Sphere(3), Support::Torus(12, 7), Support::Grid(9, 5), Support::Tetrahedron(),
          Support::MoebiusStrip(9), Support::Fan(7, true)}) {
        SurfaceMesh surface;
        surface.LoadIndexedPoints(mesh);
        ExpectProperColors(surface);
    }
}

TEST(ColorFacets, DeletedFacetsAndEmptyMeshes)
{
    unsigned count = 99;
    EXPECT_TRUE(MeshUtils::ColorFacets(SurfaceMesh(), count).empty());
    EXPECT_EQ(count, 0U);
    SurfaceMesh mesh;
    mesh.LoadIndexedPoints(Support::Sphere(2));
    ASSERT_TRUE(mesh.CollapseEdge(0, false, false));
    ASSERT_FALSE(mesh.FreeFaces().empty());
    ExpectProperColors(mesh);
}

// --- closed curves to the plane ------------------------------------------------------------------

template <class Point>
std::vector<Point> Closed(std::vector<Point> points)
{
    points.push_back(points.front());
    return points;
}

/// A place in space that is nothing special.
Vec3d Tilted(const Vec2d& p, double height)
{
    const Vec3d u{0.6, 0.0, 0.8};
    const Vec3d v{0.0, 1.0, 0.0};
    const Vec3d w{-0.8, 0.0, 0.6};
    return Vec3d{3, -7, 2} + u * p.x() + v * p.y() + w * height;
}

Curve TiltedCurve(const FlatCurve& flat)
{
    Curve curve;
    for (const Vec2d& p : flat) {
        curve.push_back(Tilted(p, 0));
    }
    return curve;
}

/// Largest difference between the distances of all pairs of points of the two lists.
template <class A, class B>
double Distortion(const A& a, const B& b)
{
    double most = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            most = std::max(most,
                            std::fabs(Vector::Length(a[i] - a[j]) - Vector::Length(b[i] - b[j])));
        }
    }
    return most;
}

/// Pairs of segments that cross well inside of both, by the heights of the ends of each over the
/// other in extended precision.
int CrossingsOf(const FlatCurve& curve)
{
    const auto height = [](const Vec2d& a, const Vec2d& b, const Vec2d& p) {
        const long double dx = static_cast<long double>(b.x()) - a.x();
        const long double dy = static_cast<long double>(b.y()) - a.y();
        return (dx * (static_cast<long double>(p.y()) - a.y()) -
                dy * (static_cast<long double>(p.x()) - a.x())) /
               std::hypot(dx, dy);
    };
    const auto parts = [&](const Vec2d& a, const Vec2d& b, const Vec2d& p, const Vec2d& q) {
        const long double first = height(a, b, p);
        const long double second = height(a, b, q);
        return first * second < 0 && std::min(std::fabs(first), std::fabs(second)) > 1e-9L;
    };
    int count = 0;
    for (std::size_t i = 1; i < curve.size(); ++i) {
        for (std::size_t j = i + 1; j < curve.size(); ++j) {
            const Vec2d& a = curve[i - 1];
            const Vec2d& b = curve[i];
            const Vec2d& c = curve[j - 1];
            const Vec2d& d = curve[j];
            count += parts(a, b, c, d) && parts(c, d, a, b) ? 1 : 0;
        }
    }
    return count;
}

TEST(ClosedCurveToPlane, ThreePointsAndOpenCurvesGiveNothing)
{
    const Curve triangle{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 0}};
    EXPECT_EQ(MeshUtils::Map3DClosedCurveToPlane(triangle).size(), 4U);
    const Curve three{{0, 0, 0}, {1, 0, 0}, {0, 0, 0}};
    const Curve open{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
    Curve ajar = Closed(open);
    ajar.back().z() += 1.5e-12;
    for (const Curve& curve : {Curve(), three, open, ajar}) {
        EXPECT_TRUE(MeshUtils::Map3DClosedCurveToPlane(curve).empty());
        EXPECT_EQ(MeshUtils::TessellatePointStream(curve), IndexedMesh());
    }
    Curve nearly = Closed(open);
    nearly.back().z() += 0.5e-12;
    EXPECT_EQ(MeshUtils::Map3DClosedCurveToPlane(nearly).size(), 5U);
}

TEST(ClosedCurveToPlane, AFlatSimpleCurveKeepsItsShape)
{
    Support::Random random(33);
    for (int trial = 0; trial < Support::Rounds(50); ++trial) {
        const FlatCurve flat = Closed(Support::StarPolygon(3 + random.Below(80), random));
        const Curve curve = TiltedCurve(flat);
        const FlatCurve layout = MeshUtils::Map3DClosedCurveToPlane(curve);
        ASSERT_EQ(layout.size(), curve.size());
        EXPECT_LT(Distortion(layout, curve), 1e-13);
    }
}

TEST(ClosedCurveToPlane, ABowTieBecomesARectangle)
{
    // The diagonals cross in the origin. The stretch between them, the right side, is mirrored in
    // the x axis, which halves their angle. Five points have no tenth, so nothing is smoothed.
    const FlatCurve bow{{-2, -1}, {2, 1}, {2, -1}, {-2, 1}, {-2, -1}};
    const FlatCurve rectangle{{-2, -1}, {2, -1}, {2, 1}, {-2, 1}, {-2, -1}};
    const FlatCurve layout = MeshUtils::Map3DClosedCurveToPlane(TiltedCurve(bow));
    ASSERT_EQ(layout.size(), 5U);
    EXPECT_LT(Distortion(layout, rectangle), 1e-13);
}

TEST(ClosedCurveToPlane, AFigureEightHasOneLoopMirrored)
{
    for (const int count : {8, 21, 40, 200, 1000}) {
        FlatCurve eight;
        for (int i = 0; i < count; ++i) {
            const double t = kTwoPi<double> * (i + 0.3) / count;
            eight.push_back({10 * std::cos(t), 5 * std::sin(2 * t)});
        }
        eight = Closed(eight);
        ASSERT_EQ(CrossingsOf(eight), 1);
        const FlatCurve layout = MeshUtils::Map3DClosedCurveToPlane(TiltedCurve(eight));
        ASSERT_EQ(layout.size(), eight.size());
        EXPECT_EQ(CrossingsOf(layout), 0) << count;
        EXPECT_EQ(layout.front(), layout.back());
        // The two loops, of 66.7 each, cancel; one of them turned over, they add up. Smoothing
        // makes the waist between them wider.
        EXPECT_NEAR(Vector::SignedArea(eight), 0, 3.0);
        EXPECT_GT(std::fabs(Vector::SignedArea(layout)), 100.0) << count;
        EXPECT_LT(std::fabs(Vector::SignedArea(layout)), 200.0) << "the box around it";
    }
}

/// What the operation is defined as: all pairs in order, from the start after each mirroring.
FlatCurve UntangledOneByOne(const Curve& curve, int& mirrorings)
{
    Vec3d origin;
    Vec3d normal;
    Transform::PlaneOfPoints(curve, origin, normal);
    TransformBase<3> toPlane = Transform::BuildTransformAxisOrigin(normal, origin);
    EXPECT_TRUE(Matrix::Invert(toPlane.matrix, 1e-15));
    FlatCurve points;
    for (const Vec3d& p : curve) {
        const Vec3d q = toPlane * p;
        points.emplace_back(q.x(), q.y());
    }
    const int n = static_cast<int>(points.size());
    const auto at = [&](int i) -> Vec2d& { return points[static_cast<std::size_t>(i)]; };
    const auto smooth = [](FlatCurve& span) {
        for (int pass = 0; pass < 1001; ++pass) {
            const FlatCurve last = span;
            for (std::size_t i = 1; i + 1 < span.size(); ++i) {
                span[i] = (last[i - 1] + last[i + 1]) * 0.5;
            }
        }
    };
    mirrorings = 0;
    for (bool crosses = true; crosses;) {
        crosses = false;
        for (int i = 1; i < n && !crosses; ++i) {
            for (int j = i + 1; j < n && !crosses; ++j) {
                Vec2d hit;
                bool overlap = false;
                if (!Intersect::SegmentSegment(at(i - 1), at(i), at(j - 1), at(j), hit, overlap,
                                               false, 1e-12)) {
                    continue;
                }
                if (overlap) {
                    return {};
                }
                if (mirrorings == 2000) {
                    return {}; // a circle: others are done after dozens
                }
                crosses = true;
                ++mirrorings;
                const Vec2d u = ((at(j - 1) - at(j)) + (at(i) - at(i - 1))) * 0.5;
                const Vec2d a = hit - u * 0.5;
                const Vec2d d = (hit + u * 0.5) - a;
                for (int k = i; k < j; ++k) {
                    const double t = Vector::Length(d) > 1e-12 ? ((at(k) - a) * d) / (d * d) : 0.0;
                    at(k) += ((a + d * t) - at(k)) * 2.0;
                }
                const int w = n / 10;
                const int lo1 = std::max(0, i - w);
                const int hi1 = std::min(i + w, j - 1);
                const int lo2 = std::max(i + w, j - w - 1);
                const int hi2 = std::min(j + w, n) - 1;
                FlatCurve one(points.begin() + lo1, points.begin() + hi1);
                FlatCurve two;
                if (lo2 < hi2) {
                    two.assign(points.begin() + lo2, points.begin() + hi2);
                }
                smooth(one);
                smooth(two);
                std::copy(one.begin(), one.end(), points.begin() + lo1);
                std::copy(two.begin(), two.end(), points.begin() + (two.empty() ? 0 : lo2));
            }
        }
    }
    return points;
}

TEST(ClosedCurveToPlane, RandomCurvesAreUntangledAsOneByOne)
{
    Support::Random random(34);
    int overlaps = 0;
    int tangles = 0;
    int most = 0;
    int circles = 0;
    for (int trial = 0; trial < Support::Rounds(1500); ++trial) {
        // On a coarse grid: ends that touch, T-contacts, stretches run twice.
        const int count = 4 + random.Below(8);
        FlatCurve flat;
        for (int i = 0; i < count; ++i) {
            flat.emplace_back(random.Below(6), random.Below(6));
        }
        const Curve curve = Closed(TiltedCurve(flat));
        Vec3d origin;
        Vec3d normal;
        Transform::PlaneOfPoints(curve, origin, normal);
        if (normal == Vec3d()) {
            EXPECT_TRUE(MeshUtils::Map3DClosedCurveToPlane(curve).empty()) << "on one line";
            continue;
        }
        int mirrorings = 0;
        const FlatCurve expected = UntangledOneByOne(curve, mirrorings);
        ASSERT_EQ(MeshUtils::Map3DClosedCurveToPlane(curve), expected) << "trial " << trial;
        overlaps += expected.empty() ? 1 : 0;
        tangles += mirrorings > 0 ? 1 : 0;
        circles += mirrorings == 2000 ? 1 : 0;
        most = mirrorings < 2000 ? std::max(most, mirrorings) : most;
        ASSERT_EQ(CrossingsOf(expected), 0);
    }
    EXPECT_GT(overlaps, Support::Rounds(50, 1));
    EXPECT_GT(tangles, Support::Rounds(300, 1));
    EXPECT_GT(most, 3);
    EXPECT_LT(most, 200);
    EXPECT_LT(circles, Support::Rounds(30));
}

TEST(ClosedCurveToPlane, LongRandomCurvesAreUntangledAsOneByOne)
{
    Support::Random random(35);
    for (int trial = 0; trial < Support::Rounds(25, 3); ++trial) {
        // A wandering band of waves about a circle, with heights.
        const int count = 20 + random.Below(150);
        Curve curve;
        for (int i = 0; i < count; ++i) {
            const double t = kTwoPi<double> * i / count;
            const double r = 5 + 2 * std::sin(7 * t) + random.Between(-1, 1);
            const double s = t + 0.7 * std::sin(3 * t + trial);
            curve.push_back(Tilted({r * std::cos(s), r * std::sin(s)}, random.Between(-1, 1)));
        }
        curve = Closed(curve);
        int mirrorings = 0;
        const FlatCurve expected = UntangledOneByOne(curve, mirrorings);
        EXPECT_EQ(MeshUtils::Map3DClosedCurveToPlane(curve), expected) << trial;
    }
}

TEST(ClosedCurveToPlane, FoldsAtAPlaceThatManySegmentsShareAreFound)
{
    // Spokes from one place in even directions, there and back by another way; one of them is run
    // back over half of itself. So many segments that end in one place are a crowd.
    FlatCurve flat;
    const int spokes = 300;
    for (int i = 0; i < spokes; ++i) {
        const double t = kTwoPi<double> * i / spokes;
        const double s = kTwoPi<double> * (i + 0.5) / spokes;
        flat.push_back({0, 0});
        flat.push_back({3 * std::cos(t), 3 * std::sin(t)});
        flat.push_back({3 * std::cos(s), 3 * std::sin(s)});
    }
    const FlatCurve star = Closed(flat);
    EXPECT_EQ(MeshUtils::Map3DClosedCurveToPlane(TiltedCurve(star)).size(), star.size());
    flat[3 * 200 + 2] = flat[3 * 200 + 1] * 0.5;
    EXPECT_TRUE(MeshUtils::Map3DClosedCurveToPlane(TiltedCurve(Closed(flat))).empty());
}

TEST(ClosedCurveToPlane, ARepeatedPointInsideAnotherSegmentEnds)
{
    // Mirroring in the line of that segment leaves everything as it was, for ever.
    const FlatCurve flat{{0, 0},   {0, 0},  {1, 3}, {4, 3}, {4, -2},
                         {-2, -2}, {-2, 0}, {2, 0}, {2, 1}, {0, 0}};
    EXPECT_TRUE(MeshUtils::Map3DClosedCurveToPlane(TiltedCurve(flat)).empty());
    EXPECT_EQ(MeshUtils::TessellatePointStream(TiltedCurve(flat)), IndexedMesh());
}

TEST(ClosedCurveToPlane, HostileInput)
{
    const auto isRefused = [](const Curve& curve) {
        return MeshUtils::Map3DClosedCurveToPlane(curve).empty() &&
               MeshUtils::TessellatePointStream(curve) == IndexedMesh();
    };
    EXPECT_TRUE(isRefused({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {0, 0, 0}})) << "a line";
    EXPECT_TRUE(isRefused(Curve(9, Vec3d{1, 2, 3}))) << "a point";
    EXPECT_TRUE(isRefused(TiltedCurve({{0, 0}, {4, 0}, {4, 3}, {4, 1}, {0, 0}}))) << "a fold";
    for (const double bad : {kNan, kInf, -kInf, 1e200}) {
        EXPECT_TRUE(isRefused({{0, 0, 0}, {1, 0, 0}, {1, bad, 0}, {0, 1, 0}, {0, 0, 0}})) << bad;
        EXPECT_TRUE(isRefused({{bad, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {bad, 0, 0}})) << bad;
    }
    // Repeated points are no crossing.
    const FlatCurve repeated{{0, 0}, {0, 0}, {4, 0}, {4, 0}, {4, 0}, {4, 3}, {0, 0}, {0, 0}};
    EXPECT_EQ(MeshUtils::Map3DClosedCurveToPlane(TiltedCurve(repeated)).size(), 8U);
    EXPECT_FALSE(MeshUtils::TessellatePointStream(TiltedCurve(repeated)).indices.empty());
    // Far off and in all sizes.
    for (const double scale : {1e-6, 1.0, 1e6, 1e100}) {
        Curve bow = TiltedCurve({{-2, -1}, {2, 1}, {2, -1}, {-2, 1}, {-2, -1}});
        for (Vec3d& p : bow) {
            p = p * scale + Vec3d{scale * 1e6, 0, 0};
        }
        const FlatCurve layout = MeshUtils::Map3DClosedCurveToPlane(bow);
        ASSERT_EQ(layout.size(), 5U) << scale;
        EXPECT_NEAR(std::fabs(Vector::SignedArea(layout)) / scale / scale, 8.0, 1e-6) << scale;
    }
}

// --- surfaces into closed curves -----------------------------------------------------------------

/// The boundary of a mesh as pairs of places, as its triangles run it.
std::multiset<std::pair<std::array<double, 3>, std::array<double, 3>>>
BoundaryPlaces(const IndexedMesh& mesh)
{
    std::multiset<std::pair<std::array<double, 3>, std::array<double, 3>>> places;
    const auto place = [&](int n) {
        const Vec3d& p = mesh.points[static_cast<std::size_t>(n)];
        return std::array<double, 3>{p.x(), p.y(), p.z()};
    };
    for (const auto& [a, b] : Mesh::BoundaryEdges(mesh)) {
        places.insert(std::minmax(place(a), place(b)));
    }
    return places;
}

std::multiset<std::pair<std::array<double, 3>, std::array<double, 3>>>
SegmentPlaces(const Curve& curve)
{
    std::multiset<std::pair<std::array<double, 3>, std::array<double, 3>>> places;
    for (std::size_t i = 0; i + 1 < curve.size(); ++i) {
        const std::array<double, 3> a{curve[i].x(), curve[i].y(), curve[i].z()};
        const std::array<double, 3> b{curve[i + 1].x(), curve[i + 1].y(), curve[i + 1].z()};
        places.insert(std::minmax(a, b));
    }
    return places;
}

TEST(SurfaceIntoCurve, ListsThatDontMatchGiveAnEmptyMesh)
{
    const FlatCurve flat{{0, 0}, {1, 0}, {1, 1}, {0, 1}, {0, 0}};
    const Curve curve = TiltedCurve(flat);
    ASSERT_FALSE(MeshUtils::UnprojectFlatTessellationTo3D(flat, curve).indices.empty());
    FlatCurve longer = flat;
    longer.insert(longer.begin() + 2, {1, 0.5});
    FlatCurve open = flat;
    open.back() = {0, 0.5};
    Curve openInSpace = curve;
    openInSpace.back() += Vec3d{0, 0, 1e-11};
    Curve nan = curve;
    nan[2].z() = kNan;
    EXPECT_EQ(MeshUtils::UnprojectFlatTessellationTo3D(longer, curve), IndexedMesh());
    EXPECT_EQ(MeshUtils::UnprojectFlatTessellationTo3D(open, curve), IndexedMesh());
    EXPECT_EQ(MeshUtils::UnprojectFlatTessellationTo3D(flat, openInSpace), IndexedMesh());
    EXPECT_EQ(MeshUtils::UnprojectFlatTessellationTo3D(flat, nan), IndexedMesh());
    EXPECT_EQ(MeshUtils::UnprojectFlatTessellationTo3D({}, {}), IndexedMesh());
    EXPECT_EQ(MeshUtils::UnprojectFlatTessellationTo3D({{1, 2}}, {{1, 2, 3}}), IndexedMesh());
    EXPECT_EQ(MeshUtils::UnprojectFlatTessellationTo3D({{1, 2}, {1, 2}}, {{1, 2, 3}, {1, 2, 3}}),
              IndexedMesh());
}

TEST(SurfaceIntoCurve, ALayoutThatCrossesItselfHasNoSurface)
{
    const FlatCurve bow{{-2, -1}, {2, 1}, {2, -1}, {-2, 1}, {-2, -1}};
    EXPECT_EQ(MeshUtils::UnprojectFlatTessellationTo3D(bow, TiltedCurve(bow)), IndexedMesh())
        << "the crossing has no place in space";
}

TEST(SurfaceIntoCurve, OfAPlaceThatComesTwiceTheFirstCounts)
{
    const FlatCurve flat{{0, 0}, {2, 1}, {2, -1}, {0, 0}, {-2, 1}, {-2, -1}, {0, 0}};
    Curve curve;
    for (const Vec2d& p : flat) {
        curve.push_back({p.x(), p.y(), 0});
    }
    curve.front().z() = curve.back().z() = 5;
    curve[3].z() = 7;
    const IndexedMesh surface = MeshUtils::UnprojectFlatTessellationTo3D(flat, curve);
    ASSERT_FALSE(surface.indices.empty());
    std::set<double> heights;
    for (const int i : surface.indices) {
        heights.insert(surface.points[static_cast<std::size_t>(i)].z());
    }
    EXPECT_TRUE(heights.contains(5));
    EXPECT_EQ(*heights.rbegin(), 5) << "not the second one";
}

TEST(SurfaceIntoCurve, AFlatCurveGetsAFlatSurface)
{
    Support::Random random(36);
    for (int trial = 0; trial < Support::Rounds(12); ++trial) {
        const FlatCurve flat = Closed(Support::StarPolygon(5 + random.Below(60), random));
        const Curve curve = TiltedCurve(flat);
        const IndexedMesh surface = MeshUtils::TessellatePointStream(curve);
        ASSERT_FALSE(surface.indices.empty());
        EXPECT_EQ(Support::EulerOf(surface), 1);
        EXPECT_EQ(BoundaryPlaces(surface), SegmentPlaces(curve)) << "the curve, to the bit";
        double area = 0;
        for (const double a : Mesh::Areas(surface)) {
            area += a;
        }
        EXPECT_GE(area, std::fabs(Vector::SignedArea(flat)) - 1e-10);
        for (const Vec3d& p : surface.points) {
            EXPECT_NEAR((p - Vec3d{3, -7, 2}) * Vec3d(-0.8, 0.0, 0.6), 0, 1e-12);
        }
    }
}

TEST(SurfaceIntoCurve, StraightStretchesOfUnevenSegmentsKeepTheirPoints)
{
    // Remeshing slides boundary points along straight stretches; the surface would no longer fit
    // the neighbor that shares them.
    for (const double offset : {0.0, 1e6}) {
        Curve curve;
        for (const double x : {0.0, 0.3, 1.0, 1.1, 2.7, 3.0}) {
            curve.push_back({x + offset, 0, 0});
        }
        for (const double x : {3.0, 2.0, 1.9, 0.4, 0.0}) {
            curve.push_back({x + offset, 2, 0.25});
        }
        curve = Closed(curve);
        const IndexedMesh surface = MeshUtils::TessellatePointStream(curve);
        ASSERT_GT(surface.indices.size() / 3, 10U);
        EXPECT_TRUE(BoundaryPlaces(surface) == SegmentPlaces(curve)) << offset;
        EXPECT_EQ(Support::EulerOf(surface), 1);
    }
}

/// A circle that rises and falls twice.
Curve SaddleCurve(int count, double radius, double height)
{
    Curve curve;
    for (int i = 0; i < count; ++i) {
        const double t = kTwoPi<double> * i / count;
        curve.push_back({radius * std::cos(t), radius * std::sin(t), height * std::cos(2 * t)});
    }
    return Closed(curve);
}

TEST(SurfaceIntoCurve, ASaddleIsARelaxedSurfaceWithTheCurveAsItsBoundary)
{
    const double height = 0.3;
    const Curve curve = SaddleCurve(48, 1, height);
    const IndexedMesh surface = MeshUtils::TessellatePointStream(curve);
    EXPECT_TRUE(BoundaryPlaces(surface) == SegmentPlaces(curve));
    EXPECT_EQ(Support::EulerOf(surface), 1);
    EXPECT_EQ(Support::FaultsOf(surface).overfull, 0);
    // Triangles that fill a circle of radius 1 at the curve's segment length.
    const double segment = kTwoPi<double> / 48;
    const double expected = kPi<double> / (std::sqrt(3.0) / 4 * segment * segment);
    EXPECT_GT(static_cast<double>(surface.indices.size()) / 3, 0.6 * expected);
    EXPECT_LT(static_cast<double>(surface.indices.size()) / 3, 1.7 * expected);

    // Off the boundary every point is the mean of its neighbors, as far as relaxation has come.
    const auto rings = Mesh::NodeRings(surface);
    std::set<int> boundary;
    for (const auto& [a, b] : Mesh::BoundaryEdges(surface)) {
        boundary.insert({a, b});
    }
    double unrest = 0;
    double off = 0;
    for (std::size_t n = 0; n < rings.size(); ++n) {
        const Vec3d& p = surface.points[n];
        off = std::max(off, std::fabs(p.z() - height * (p.x() * p.x() - p.y() * p.y())));
        if (boundary.contains(static_cast<int>(n))) {
            continue;
        }
        Vec3d mean;
        for (const int m : rings[n]) {
            mean += surface.points[static_cast<std::size_t>(m)];
        }
        unrest = std::max(unrest, Vector::Length(mean / double(rings[n].size()) - p));
    }
    EXPECT_LT(unrest, 1e-5);
    // The surface of least bending energy of springs over this curve is near the harmonic one,
    // height * r^2 * cos(2 t).
    EXPECT_LT(off, 0.02);
}

/// What the surface is defined as, for a curve without straight stretches and without places that
/// come twice: the layout's triangles in space, remeshed, and relaxed round by round over all
/// nodes. `rounds` receives the number of rounds.
IndexedMesh SurfaceOneByOne(const FlatCurve& flat, const Curve& curve, int& rounds)
{
    const auto triangles = Mesh::TessellateFlatBoundary(flat);
    IndexedMesh lifted;
    lifted.indices = triangles.indices;
    for (const Vec2d& p : triangles.points) {
        const auto place = std::find(flat.begin(), flat.end() - 1, p);
        EXPECT_NE(place, flat.end() - 1);
        lifted.points.push_back(curve[static_cast<std::size_t>(place - flat.begin())]);
    }
    double length = 0;
    for (std::size_t k = 0; k + 2 < curve.size(); ++k) {
        length += Vector::Length(curve[k + 1] - curve[k]);
    }
    length /= static_cast<double>(curve.size() - 2);
    IndexedMesh surface;
    Mesh::IsotropicRemesh(lifted, surface, 120.0, length, 10, true);
    // Remeshing leaves rounding errors on points of the boundary, which are to be those given.
    for (const auto& edge : Mesh::BoundaryEdges(surface)) {
        Vec3d& p = surface.points[static_cast<std::size_t>(edge.first)];
        p = *std::min_element(curve.begin(), curve.end(), [&](const Vec3d& a, const Vec3d& b) {
            return Vector::Length(a - p) < Vector::Length(b - p);
        });
    }
    SurfaceMesh mesh;
    mesh.LoadIndexedPoints(surface);
    for (rounds = 0; rounds < 500;) {
        Curve next;
        double most = 0;
        for (int n = 0; n < mesh.NodeCount(); ++n) {
            next.push_back(mesh.NodeRecord(n)->position);
            const std::vector<int> ring = mesh.NodeNodes(n);
            if (mesh.IsBoundaryNode(n) || ring.empty()) {
                continue;
            }
            Vec3d mean;
            for (const int m : ring) {
                mean += mesh.NodeRecord(m)->position;
            }
            next.back() = mean / static_cast<double>(ring.size());
            most = std::max(most, Vector::Length(next.back() - mesh.NodeRecord(n)->position));
        }
        for (int n = 0; n < mesh.NodeCount(); ++n) {
            mesh.NodeRecord(n)->position = next[static_cast<std::size_t>(n)];
        }
        ++rounds;
        if (most < 1e-6) {
            break;
        }
    }
    mesh.ExportIndexedPoints(surface, 1e-12);
    return surface;
}

TEST(SurfaceIntoCurve, IsWhatItIsDefinedAs)
{
    Support::Random random(37);
    int atRest = 0;
    int outOfRounds = 0;
    for (const double size : {0.01, 1.0, 300.0}) {
        for (const int count : {12, size > 1 ? 60 : 40}) {
            // A closing segment far longer than the others. Rough heights fold the triangles
            // before they are remeshed, some of them beyond the angle that keeps a crease; smooth
            // ones make a fine surface, which takes long to come to rest.
            const double rough = count == 60 ? 0.02 : 0.7;
            FlatCurve flat;
            Curve curve;
            for (int i = 0; i < count; ++i) {
                const double t = (kTwoPi<double> - 0.9) * i / (count - 1);
                flat.push_back(Vec2d{std::cos(t), std::sin(t)} * size);
                curve.push_back(
                    Tilted(flat.back(), size * (0.4 * std::cos(2 * t) + random.Between(0, rough))));
            }
            flat = Closed(flat);
            curve = Closed(curve);
            int rounds = 0;
            const IndexedMesh expected = SurfaceOneByOne(flat, curve, rounds);
            const IndexedMesh surface = MeshUtils::UnprojectFlatTessellationTo3D(flat, curve);
            EXPECT_TRUE(surface == expected) << size << ", " << count;
            EXPECT_FALSE(surface.indices.empty());
            atRest += rounds < 500 ? 1 : 0;
            outOfRounds += rounds == 500 ? 1 : 0;
        }
    }
    EXPECT_GT(atRest, 0);
    EXPECT_GT(outOfRounds, 0);
}

TEST(SurfaceIntoCurve, PointsOfTheCurveThatAreNearEachOtherStayTwo)
{
    Curve curve;
    for (int i = 0; i < 40; ++i) {
        const double t = kTwoPi<double> * i / 40;
        curve.push_back({std::cos(t), std::sin(t), 0.1 * std::cos(2 * t)});
        if (i % 10 == 3) {
            curve.push_back(curve.back() + Vec3d{-1e-10 * std::sin(t), 1e-10 * std::cos(t), 0});
        }
    }
    curve = Closed(curve);
    const IndexedMesh surface = MeshUtils::TessellatePointStream(curve);
    ASSERT_FALSE(surface.indices.empty());
    EXPECT_TRUE(BoundaryPlaces(surface) == SegmentPlaces(curve));
}

TEST(SurfaceIntoCurve, ClosesAHole)
{
    // A sphere without its cap: the rim is a circle, which the cover closes.
    IndexedMesh open = Support::Sphere(4);
    std::set<int> dropped;
    for (std::size_t t = 0; t < open.indices.size() / 3; ++t) {
        if (Support::PointOf(open, 3 * t).z() > 0.6 &&
            Support::PointOf(open, 3 * t + 1).z() > 0.6 &&
            Support::PointOf(open, 3 * t + 2).z() > 0.6) {
            dropped.insert(static_cast<int>(t));
        }
    }
    open = Support::Without(open, dropped);
    std::map<int, int> next;
    for (const auto& [a, b] : Mesh::BoundaryEdges(open)) {
        next[a] = b;
    }
    Curve rim;
    for (int n = next.begin()->first; rim.size() < next.size(); n = next[n]) {
        rim.push_back(open.points[static_cast<std::size_t>(n)]);
    }
    const IndexedMesh cover = MeshUtils::TessellatePointStream(Closed(rim));
    ASSERT_FALSE(cover.indices.empty());
    Mesh::Append(open, cover);
    Mesh::FilterForUniqueness(open, 1e-12);
    Mesh::MatchNormals(open);
    EXPECT_EQ(Support::FaultsOf(open), Support::EdgeFaults());
    EXPECT_EQ(Support::EulerOf(open), 2);
    // The sphere less a cap of height 0.4, give or take the jagged rim.
    const double cap = kPi<double> * 0.16 * (3 - 0.4) / 3;
    EXPECT_NEAR(std::fabs(Support::VolumeOf(open)), 4 * kPi<double> / 3 - cap, 0.15);
}

TEST(SurfaceIntoCurve, SameBitsForAnyNumberOfThreads)
{
    const Curve curve = SaddleCurve(130, 1, 0.4);
    IndexedMesh one;
    Support::WithThreads(1, [&] { one = MeshUtils::TessellatePointStream(curve); });
    ASSERT_GT(one.points.size(), 1100U) << "several chunks";
    for (const int threads : {2, 4}) {
        Support::WithThreads(threads, [&] {
            EXPECT_TRUE(MeshUtils::TessellatePointStream(curve) == one) << threads;
        });
    }
}

} // namespace
