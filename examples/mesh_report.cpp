// Tells whether a part is fit to be machined from.
//
//   mesh_report PART
//
// Exit codes: 0 sound, 1 defective, 2 not read.

#include "PartFiles.h"

#include <Sorvane/MeshReport_E.h>

using namespace Velk::Math::Sorvane;

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: mesh_report PART\n");
        return 2;
    }
    Mesh::TriangleSoup<3, double> soup;
    if (!Tell(MeshUtils::ReadMesh(soup, argv[1]), argv[1])) {
        return 2;
    }
    // Corners within the tolerance of each other are joined, and what is no higher than twice of it
    // is a sliver. All lists refer to the mesh that `IndexedPointsFromSoup` makes with it.
    constexpr double kTolerance = 1e-6;
    const auto report = MeshUtils::CheckMesh(soup, kTolerance);
    std::printf("%zu triangles, mean edge %.6g, volume %.8g\n", soup.size(), report.meanEdgeLength,
                report.volume);
    std::printf("%zu edges without two triangles, %zu places of three or more on one edge\n",
                report.openSlots.size(), report.nonManifoldSlots.size());
    std::printf("%zu triangles turned, %zu without height, %zu folded\n",
                report.misorientedTriangles.size(), report.degenerateTriangles.size(),
                report.foldedTriangles.size());

    const bool isSound = report.openSlots.empty() && report.misorientedTriangles.empty() &&
                         report.degenerateTriangles.empty() && report.foldedTriangles.empty() &&
                         report.volume > 0;
    std::printf("%s\n", isSound ? "sound" : "DEFECTIVE");
    return isSound ? 0 : 1;
}
