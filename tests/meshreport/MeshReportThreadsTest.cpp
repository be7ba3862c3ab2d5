// The report is the same, bit for bit, on any number of threads and from run to run.

#include "tests/support/ThreadLimit.h"
#include "tests/meshreport/MeshReportTwin.h"
#include "tests/support/MeshGenerators.h"
#include "tests/support/TestSupport.h"

#include <bit>

namespace {

using namespace Velk::Math;
using Sorvane::MeshUtils::CheckMesh;
using Sorvane::MeshUtils::MeshReport;

MeshReport<double> ReportOf(const Support::Soup<double>& soup, int threads)
{
    MeshReport<double> report;
    Support::WithThreads(threads, [&] { report = CheckMesh(soup, 1e-9); });
    return report;
}

TEST(MeshReportThreads, SameBitsOnAnyNumber)
{
    Support::Random random(61);
    auto soup = Support::SoupOf<double>(Support::Sphere(6));
    for (int fault = 0; fault < 600; ++fault) {
        const auto t = static_cast<std::size_t>(random.Below(static_cast<int>(soup.size())));
        switch (random.Below(4)) {
        case 0:
            std::swap(soup[t][0], soup[t][1]);
            break; // misoriented
        case 1:
            soup[t][1] = soup[t][0];
            break; // degenerate
        case 2:
            soup[t][2] = soup[0][0];
            break; // a long spike, folded here and there
        default:
            soup.push_back(soup[t]);
            break; // three slots on each edge
        }
    }
    const MeshReport<double> reference = ReportOf(soup, 1);
    EXPECT_GT(reference.degenerateTriangles.size(), 0U);
    EXPECT_GT(reference.foldedTriangles.size(), 0U);
    EXPECT_GT(reference.misorientedTriangles.size(), 0U);
    EXPECT_GT(reference.nonManifoldSlots.size(), 0U);
    for (const int threads : {2, 3, 4, 2, 4}) {
        // Equality of doubles is that of their bits but for zeros of either sign.
        const MeshReport<double> report = ReportOf(soup, threads);
        EXPECT_EQ(report, reference) << threads;
        EXPECT_EQ(std::bit_cast<std::uint64_t>(report.volume),
                  std::bit_cast<std::uint64_t>(reference.volume));
    }
}

} // namespace
