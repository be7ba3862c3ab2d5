// What a handler receives of the places that report. Which call reports which place is tested with
// that call.

#include <Sorvane/AssertSites_E.h>

#include "tests/support/TestSupport.h"

#include <string>

namespace {

namespace AssertSites = Velk::Math::Sorvane::AssertSites;

TEST(AssertSites, AReportCarriesTheThreeFields)
{
    Support::ExpectAssertions(1);
    AssertSites::Report({"Somewhere", 12, "Space::Function"});
    EXPECT_EQ(Support::LastAssertion(), "Somewhere:12 Space::Function");
}

TEST(AssertSites, KeepTheNumbersThatHostsEvaluate)
{
    const auto place = [](const AssertSites::AssertSite& site) {
        return std::string(site.sourceFile) + ":" + std::to_string(site.line);
    };
    EXPECT_EQ(place(AssertSites::kUnfilteredOfMovedFrom), "PlanarBoundaries_Impl:816");
    EXPECT_EQ(place(AssertSites::kAppendSegmentsToMovedFrom), "PlanarBoundaries_Impl:861");
    EXPECT_EQ(place(AssertSites::kAppendPolylinesToMovedFrom), "PlanarBoundaries_Impl:920");
    EXPECT_EQ(place(AssertSites::kProcessOfMovedFrom), "PlanarBoundaries_Impl:975");
    EXPECT_EQ(place(AssertSites::kGetVertex), "HalfEdgeMesh_E:1276");
    EXPECT_EQ(place(AssertSites::kRotateNode), "HalfEdgeMesh_E:921");
    EXPECT_EQ(place(AssertSites::kInsertEdge), "DelaunayTriangulation_E:833");
    EXPECT_EQ(place(AssertSites::kMapPointsToTriangleBarycentric), "Triangle_Impl:330");
    EXPECT_EQ(place(AssertSites::kClosestPointOnContent<float>), "QuadtreeArcSegTree_E:338");
    EXPECT_EQ(place(AssertSites::kClosestPointOnContent<double>), "QuadtreeArcSegTree_E:338");
    EXPECT_EQ(place(AssertSites::kChainFileDoesNotOpen), "PolyArcSeg:124");
    EXPECT_EQ(place(AssertSites::kChainFileHasNoElements), "PolyArcSeg:134");
    EXPECT_EQ(place(AssertSites::kChainFileHasAnotherCount), "PolyArcSeg:171");
    EXPECT_EQ(place(AssertSites::kStarIsNotRemoved), "Remesher_Impl:286");
    EXPECT_EQ(place(AssertSites::kStarIsNotClosed), "Remesher_Impl:293");
    EXPECT_EQ(place(AssertSites::kMaximizeAspectRatio), "MeshUtilities:1252");
}

} // namespace
