// Groups of normals by direction: what they have to be on bodies, and a literal twin that looks at
// all directions and all pairs of them.

#include <Sorvane/MeshBuilders_E.h>
#include <Sorvane/Triangle_E.h>
#include <Velk/Math/Vector_E.h>

#include "tests/support/MeshGenerators.h"
#include "tests/support/Rounds.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <utility>

namespace {

using namespace Velk::Math;
using namespace Velk::Math::Sorvane;
using MeshUtils::RepresentativeNormalGrouping;
using Support::IndexedMesh;

using Normals = std::vector<Vec3d>;
using Groups = std::vector<int>;

std::size_t CountOf(const Groups& groups)
{
    return std::set<int>(groups.begin(), groups.end()).size();
}

/// The operation as it is defined: every normal against every direction, a table of all pairs of
/// directions, and an ordered list of them.
Groups GroupedOneByOne(const Normals& normals, double resolution)
{
    Normals units = normals;
    for (Vec3d& normal : units) {
        normal = Vector::Normalized(normal, 1e-12);
    }
    const double s = std::max(1e-15, resolution / (2 * kPi<double>));
    const double s2 = std::max(1e-15, resolution / (2 * kPi<double>)*0.5);
    Normals representatives = Vector::CartesianToSpherical(normals);
    for (Vec3d& r : representatives) {
        r = {1, std::round(r[1] / kPi<double> / s) * s * kPi<double>,
             std::round(r[2] / (2 * kPi<double>) / s2) * s2 * (2 * kPi<double>)};
    }
    representatives = Vector::SphericalToCartesian(representatives);
    Groups groups = Vector::FilterForUniquenessAndIndex(representatives, 1e-12);
    double previous = DBL_MAX;
    std::size_t count = representatives.size();
    for (int round = 0; round < 2000; ++round) {
        std::vector<std::size_t> assigned(units.size(), 0);
        Normals sums(representatives.size());
        for (std::size_t i = 0; i < units.size(); ++i) {
            double greatest = -DBL_MAX;
            for (std::size_t k = 0; k < representatives.size(); ++k) {
                const double dot = representatives[k] * units[i];
                if (dot > greatest) {
                    greatest = dot;
                    assigned[i] = k;
                }
            }
            sums[assigned[i]] += units[i];
        }
        Normals all;
        for (std::size_t i = 0; i < units.size(); ++i) {
            all.push_back(Vector::Normalized(sums[assigned[i]], 1e-12));
        }
        groups = Vector::FilterForUniquenessAndIndex(all, 1e-12);
        representatives = all;
        double sum = 0;
        if (round < 1999) {
            std::multimap<double, std::pair<std::size_t, std::size_t>> gaps;
            for (std::size_t i = 0; i < representatives.size(); ++i) {
                for (std::size_t j = i + 1; j < representatives.size(); ++j) {
                    const double dot = representatives[i] * representatives[j];
                    gaps.insert({1 - dot, {i, j}});
                    sum += dot;
                }
            }
            std::set<std::size_t> dropped;
            for (const auto& [gap, pair] : gaps) {
                if (std::acos(1 - gap) > resolution * 0.5 ||
                    dropped.size() > representatives.size() / 4) {
                    break;
                }
                dropped.insert(pair.second);
            }
            Normals kept;
            for (std::size_t i = 0; i < representatives.size(); ++i) {
                if (!dropped.contains(i)) {
                    kept.push_back(representatives[i]);
                }
            }
            representatives = kept;
        }
        if (std::fabs(sum * 1e-6) >= std::fabs(sum - previous) && representatives.size() == count) {
            break;
        }
        previous = sum;
        count = representatives.size();
    }
    return groups;
}

/// Directions about a few of them, and some far from all.
Normals Bundles(Support::Random& random, int bundles, int count, double width)
{
    Normals middles;
    for (int i = 0; i < bundles; ++i) {
        middles.push_back(random.Vector<3, double>(-1, 1));
    }
    Normals normals;
    for (int i = 0; i < count; ++i) {
        const Vec3d& middle = middles[static_cast<std::size_t>(random.Below(bundles))];
        normals.push_back(Vector::Normalized(middle, 1e-12) +
                          random.Vector<3, double>(-width, width));
    }
    return normals;
}

TEST(NormalGroups, AreThoseOfLookingAtAllDirections)
{
    Support::Random random(41);
    int several = 0;
    for (int trial = 0; trial < Support::Rounds(48, 6); ++trial) {
        const double width = trial % 4 == 0 ? 1.0 : trial % 4 == 1 ? 0.3 : 0.05;
        const Normals normals = Bundles(random, 1 + random.Below(8), 1 + random.Below(180), width);
        for (const double resolution : {0.02, 0.1, 0.3, 0.8, 2.0, 7.0}) {
            const Groups expected = GroupedOneByOne(normals, resolution);
            ASSERT_EQ(RepresentativeNormalGrouping(normals, resolution), expected)
                << "trial " << trial << ", " << resolution;
            several += CountOf(expected) > 3 ? 1 : 0;
        }
    }
    EXPECT_GT(several, Support::Rounds(60, 5));
}

TEST(NormalGroups, AreThoseOfLookingAtAllDirectionsOnBodies)
{
    for (const IndexedMesh& mesh : {Support::Sphere(3), Support::Torus(24, 12), Support::Cube(),
                                    Support::Octahedron(), Support::WavySheet<double>(300)}) {
        const Normals normals = Mesh::Normals(mesh);
        for (const double resolution : {0.05, 0.25, 1.0, 3.0}) {
            const Groups expected = GroupedOneByOne(normals, resolution);
            EXPECT_EQ(RepresentativeNormalGrouping(normals, resolution), expected) << resolution;
            EXPECT_EQ(RepresentativeNormalGrouping(mesh, resolution), expected) << resolution;
        }
    }
}

TEST(NormalGroups, ManyNormalsOfEachOfManyDirections)
{
    // Enough of both that directions have lists of those around them, and that the lists are cut
    // off.
    const IndexedMesh torus = Support::Torus(Support::FullOr(64, 32), Support::FullOr(32, 16));
    Normals normals = Mesh::Normals(torus);
    // Some that cancel each other in the mean, and one alone on the far side.
    normals.insert(normals.end(), {{0, 0, 0}, {-0.6, 0.1, 0.3}, {0.6, -0.1, -0.3}});
    const Groups groups = RepresentativeNormalGrouping(normals, 0.4);
    EXPECT_GT(CountOf(groups), 40U);
    EXPECT_LT(CountOf(groups), normals.size() / 8);
    EXPECT_EQ(groups, GroupedOneByOne(normals, 0.4));
}

TEST(NormalGroups, ManyNearAPoleAndInItsRings)
{
    // The grid of directions is dense at the poles: its first ring alone has a place for each step
    // of the azimuth.
    Support::Random random(42);
    Normals normals;
    for (int i = 0; i < Support::Rounds(400); ++i) {
        const double a = random.Between(0, kTwoPi<double>);
        const double r = random.Between(0, 0.12);
        normals.push_back({r * std::cos(a), r * std::sin(a), i % 3 == 0 ? -1.0 : 1.0});
    }
    for (const double resolution : {0.02, 0.05, 0.1}) {
        EXPECT_EQ(RepresentativeNormalGrouping(normals, resolution),
                  GroupedOneByOne(normals, resolution));
    }
}

TEST(NormalGroups, ACubeHasSixAndTheyAscend)
{
    // By x, then y, then z of the direction.
    const Groups groups = RepresentativeNormalGrouping(Support::Cube(), 0.3);
    EXPECT_EQ(groups, (Groups{2, 2, 3, 3, 1, 1, 4, 4, 0, 0, 5, 5}));
}

TEST(NormalGroups, FacesOfANoisyBodyAreFound)
{
    // Six directions, each normal up to 3 degrees off; 15 degrees of resolution tell them apart.
    Support::Random random(43);
    const Normals faces{{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}};
    Normals normals;
    std::vector<int> face;
    for (int i = 0; i < 3000; ++i) {
        face.push_back(random.Below(6));
        // Lengths do not matter.
        normals.push_back(
            (faces[static_cast<std::size_t>(face.back())] + random.Vector<3, double>(-0.03, 0.03)) *
            random.Between(0.1, 100));
    }
    const Groups groups = RepresentativeNormalGrouping(normals, 0.26);
    EXPECT_EQ(CountOf(groups), 6U);
    std::map<int, int> groupOf;
    for (std::size_t i = 0; i < groups.size(); ++i) {
        EXPECT_EQ(groupOf.try_emplace(face[i], groups[i]).first->second, groups[i]);
    }
}

TEST(NormalGroups, AResolutionOfZeroDropsNothing)
{
    // Distinct directions stay apart, equal ones together; the least grid is far finer than these.
    Support::Random random(44);
    Normals normals;
    for (int i = 0; i < 500; ++i) {
        normals.push_back(random.Vector<3, double>(-1, 1));
    }
    Normals twice = normals;
    twice.insert(twice.end(), normals.begin(), normals.end());
    for (const double resolution : {0.0, -0.0, -1.0, -std::numeric_limits<double>::infinity(),
                                    std::numeric_limits<double>::quiet_NaN(), 1e-300}) {
        const Groups groups = RepresentativeNormalGrouping(twice, resolution);
        EXPECT_EQ(CountOf(groups), 500U) << resolution;
        EXPECT_TRUE(std::equal(groups.begin(), groups.begin() + 500, groups.begin() + 500));
    }
}

TEST(NormalGroups, AtAResolutionOfZeroADotProductThatRoundsToOneIsNoGap)
{
    const Normals near{{0.6, 0.8, 0}, {0.6 - 0.8e-9, 0.8 + 0.6e-9, 0}};
    const Normals apart{{0.6, 0.8, 0}, {0.6 - 0.8e-6, 0.8 + 0.6e-6, 0}};
    EXPECT_EQ(RepresentativeNormalGrouping(near, 0.0), (Groups{0, 0}));
    EXPECT_EQ(RepresentativeNormalGrouping(apart, 0.0), (Groups{1, 0}));
}

TEST(NormalGroups, ADotProductThatRoundsToMoreThanOneIsNoGapEither)
{
    // Its arc cosine is not a number, which ends nothing.
    Support::Random random(46);
    int count = 0;
    for (int trial = 0; trial < 2000 && count < 20; ++trial) {
        const Vec3d a = Vector::Normalized(random.Vector<3, double>(-1, 1), 1e-12);
        const Vec3d b = Vector::Normalized(a + random.Vector<3, double>(-1e-9, 1e-9), 1e-12);
        // Each is nearer to itself than to the other, so that both remain until pairs are dropped.
        if (a * b > 1 && a * a >= a * b && b * b >= a * b) {
            ++count;
            EXPECT_EQ(CountOf(RepresentativeNormalGrouping({a, b}, 0.0)), 1U) << trial;
        }
    }
    EXPECT_GT(count, 5);
}

TEST(NormalGroups, FromFourPiOnAllAreOneGroup)
{
    const Normals normals = Mesh::Normals(Support::Sphere(2));
    EXPECT_EQ(CountOf(RepresentativeNormalGrouping(normals, 12.6)), 1U);
    EXPECT_EQ(CountOf(RepresentativeNormalGrouping(normals, 100)), 1U);
}

TEST(NormalGroups, OfFewDirectionsOneMayStillBeDropped)
{
    // Two directions 0.15 apart, on two places of the grid, become one: a quarter of two is none,
    // but the first pair is taken all the same.
    const Normals two{{std::sin(0.7), 0, std::cos(0.7)}, {std::sin(0.85), 0, std::cos(0.85)}};
    EXPECT_EQ(RepresentativeNormalGrouping(two, 0.4), (Groups{0, 0}));
    EXPECT_EQ(RepresentativeNormalGrouping(two, 0.25), (Groups{0, 1}));
}

TEST(NormalGroups, HostileInput)
{
    constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
    constexpr double kInf = std::numeric_limits<double>::infinity();
    EXPECT_TRUE(RepresentativeNormalGrouping(Normals(), 0.3).empty());
    EXPECT_TRUE(RepresentativeNormalGrouping(IndexedMesh(), 0.3).empty());
    EXPECT_EQ(RepresentativeNormalGrouping(Normals{{0, 0, 3}}, 0.3), Groups{0});
    EXPECT_EQ(RepresentativeNormalGrouping(Normals(7, Vec3d(1, 2, 3)), 0.3), Groups(7, 0));
    EXPECT_EQ(RepresentativeNormalGrouping(Normals(5), 0.3), Groups(5, 0));
    // Directions that are none go to the first group and move nothing.
    const Normals sound{{0, 0, 1}, {0, 1, 0}, {-1, 0, 0}, {0, 0.1, 1}};
    const Groups groups = RepresentativeNormalGrouping(sound, 0.5);
    Normals mixed = sound;
    mixed.insert(mixed.end(), {{kNan, 0, 1}, {kInf, 0, 0}, {0, 0, 0}, {1e-13, 0, 0}});
    Groups expected = groups;
    expected.insert(expected.end(), 4, 0);
    EXPECT_EQ(RepresentativeNormalGrouping(mixed, 0.5), expected);
    // Of any resolution, and of sizes without a squared length.
    for (const double resolution : {1e-9, 1.0, 3.2, 12.0, 25.2, 1e300, kInf}) {
        EXPECT_EQ(RepresentativeNormalGrouping(mixed, resolution).size(), mixed.size());
    }
    EXPECT_EQ(RepresentativeNormalGrouping(sound, kInf), Groups(4, 0));
    EXPECT_EQ(RepresentativeNormalGrouping(Normals{{1e200, 0, 0}, {0, 1, 0}}, 0.3).size(), 2U);
    // Two that cancel each other leave a direction that is none.
    EXPECT_EQ(RepresentativeNormalGrouping(Normals{{0, 0, 1}, {0, 0, -1}}, 40.0), Groups(2, 0));
}

TEST(NormalGroups, SameForAnyNumberOfThreads)
{
    Support::Random random(45);
    const Normals normals = Bundles(random, 30, 2000, 0.2);
    Groups one;
    Support::WithThreads(1, [&] { one = RepresentativeNormalGrouping(normals, 0.15); });
    ASSERT_GT(CountOf(one), 20U);
    Support::WithThreads(4, [&] { EXPECT_EQ(RepresentativeNormalGrouping(normals, 0.15), one); });
}

TEST(NormalGroups, FineResolutionOfManyDirectionsNeedsNoTable)
{
    // Directions none of which is near another: a table of all pairs would take half a gigabyte.
    const int count = Support::Rounds(8'000);
    Normals normals;
    for (int i = 0; i < count; ++i) {
        const double z = 1 - (2.0 * i + 1) / count;
        const double a = 2.399963229728653 * i;
        const double r = std::sqrt(1 - z * z);
        normals.push_back({r * std::cos(a), r * std::sin(a), z});
    }
    EXPECT_EQ(CountOf(RepresentativeNormalGrouping(normals, 1e-6)),
              static_cast<std::size_t>(count));
}

} // namespace
