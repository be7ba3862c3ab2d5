// Holes of real parts against the exact faces of the solids behind them.

#include "tests/support/DrilledSolid.h"
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using namespace Velk::Math;
using namespace Sorvane::MeshUtils;
using namespace Support;

struct Solid {
    const char* name;
    /// Bores of a full turn: what the description of the data counts by radius and axis, and in one
    /// part three more, where two bores of one radius have one axis.
    std::size_t bores;
};

class DetectDrillHolesParts : public testing::TestWithParam<Solid> {
protected:
    void SetUp() override
    {
        const std::string stem = std::string("meshes_nist/nist_") + GetParam().name;
        meshFile_ = SharedData(stem + ".stl");
        const auto facts = SharedData(stem + ".expected.json");
        SORVANE_NEED_DATA(meshFile_);
        SORVANE_NEED_DATA(facts);
        mesh_ = ReadPartMesh(meshFile_);
        bores_ = ReadExactBores(facts);
        ASSERT_EQ(bores_.size(), GetParam().bores);
    }

    /// The one bore of which a fillet has taken an end: it has no circle there, and so is no hole.
    bool HasAFilletForAnEnd(const ExactBore& bore) const
    {
        return std::string(GetParam().name) == "ftc_11_asme1_rb" && bore.radius == 16;
    }

    static bool IsBore(const ExactBore& bore, const DrillHoleStack& stack, const HoleStep& step)
    {
        return DistanceFromAxis(bore, stack.entry + step.from * stack.axis) < 0.02 &&
               DistanceFromAxis(bore, stack.entry + step.to * stack.axis) < 0.02 &&
               std::fabs(step.diameter / 2 - bore.radius) < 0.02 &&
               std::fabs(step.to - step.from - bore.length) < 0.02;
    }

    std::filesystem::path meshFile_;
    HoleMesh mesh_;
    std::vector<ExactBore> bores_;
};

TEST_P(DetectDrillHolesParts, EveryBoreHasAHoleAndEveryHoleABore)
{
    const auto holes = FindHoles(mesh_);
    for (const ExactBore& bore : bores_) {
        EXPECT_EQ(HolesOnBore(bore, holes).empty(), HasAFilletForAnEnd(bore)) << bore.radius;
    }
    for (const MeshHole& hole : holes) {
        EXPECT_TRUE(std::any_of(bores_.begin(), bores_.end(), [&](const ExactBore& bore) {
            return IsOnBore(bore, hole);
        })) << hole.top.radius;
    }
}

TEST_P(DetectDrillHolesParts, StacksAreTheExactBores)
{
    std::vector<bool> isFound(bores_.size());
    for (const DrillHoleStack& stack :
         DrillHoleStacks(mesh_, kCreaseAngle, kFitTolerance, kFraction, kAxisTolerance)) {
        for (const HoleStep& step : stack.steps) {
            if (step.isCone) {
                continue;
            }
            // A cylinder is a bore of this axis, diameter and length, and no two of one bore; 0.02
            // is the tolerance of the fit.
            std::size_t i = 0;
            while (i < bores_.size() && (isFound[i] || !IsBore(bores_[i], stack, step))) {
                ++i;
            }
            ASSERT_LT(i, bores_.size()) << "no bore of diameter " << step.diameter;
            isFound[i] = true;
        }
    }
    for (std::size_t i = 0; i < bores_.size(); ++i) {
        EXPECT_NE(isFound[i], HasAFilletForAnEnd(bores_[i])) << bores_[i].radius;
    }
}

INSTANTIATE_TEST_SUITE_P(Solids, DetectDrillHolesParts,
                         testing::Values(Solid{"ctc_01_asme1_rd", 10}, Solid{"ctc_03_asme1_rc", 15},
                                         Solid{"ctc_05_asme1_rd", 31}, Solid{"ftc_06_asme1_rd", 22},
                                         Solid{"ftc_09_asme1_rd", 29}, Solid{"ftc_11_asme1_rb", 1}),
                         [](const auto& solid) { return std::string(solid.param.name); });

/// A part as it was tessellated, with triangles that name a corner twice, and without them.
struct Twins {
    const char* defective;
    const char* clean;
    std::size_t repeated;
};

class WithDefectiveTriples : public testing::TestWithParam<Twins> {};

TEST_P(WithDefectiveTriples, NoEdgeNoArcAndNoHoleIsLost)
{
    const auto defectiveFile = SharedData(GetParam().defective);
    const auto cleanFile = SharedData(GetParam().clean);
    SORVANE_NEED_DATA(defectiveFile);
    SORVANE_NEED_DATA(cleanFile);
    const HoleMesh defective = ReadPartMesh(defectiveFile);
    const HoleMesh clean = ReadPartMesh(cleanFile);
    ASSERT_EQ(defective.indices.size(), clean.indices.size() + 3 * GetParam().repeated);
    ASSERT_EQ(defective.points, clean.points);

    auto edges = DetectSharpEdges(defective, kCreaseAngle, true);
    auto cleanEdges = DetectSharpEdges(clean, kCreaseAngle, true);
    std::sort(edges.begin(), edges.end());
    std::sort(cleanEdges.begin(), cleanEdges.end());
    EXPECT_EQ(edges, cleanEdges);
    EXPECT_EQ(DetectArcs(defective, kCreaseAngle, kFitTolerance, kFraction),
              DetectArcs(clean, kCreaseAngle, kFitTolerance, kFraction));
    EXPECT_EQ(FindHoles(defective), FindHoles(clean));
    EXPECT_EQ(DrillHoleStacks(defective, kCreaseAngle, kFitTolerance, kFraction, kAxisTolerance),
              DrillHoleStacks(clean, kCreaseAngle, kFitTolerance, kFraction, kAxisTolerance));
}

INSTANTIATE_TEST_SUITE_P(Parts, WithDefectiveTriples,
                         testing::Values(Twins{"with_degenerate/nist_ctc_05.stl",
                                               "meshes_nist/nist_ctc_05_asme1_rd.stl", 21},
                                         Twins{"with_degenerate/nist_ftc_06.stl",
                                               "meshes_nist/nist_ftc_06_asme1_rd.stl", 8}),
                         [](const auto& twins) {
                             return std::string(twins.index == 0 ? "ctc_05" : "ftc_06");
                         });

} // namespace
