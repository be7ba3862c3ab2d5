// The tables of drops that another program made, with the tools they were made with.
#pragma once

#include "tests/support/ContactOracle.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

namespace Support {

struct DropTable {
    const char* table; ///< in drop_cutter/ of the shared data
    const char* mesh;
    ShapedTool tool;
};
inline void PrintTo(const DropTable& c, std::ostream* os) { *os << c.table; }

inline std::vector<DropTable> DropTables()
{
    constexpr const char* kFtc06 = "meshes_nist/nist_ftc_06_asme1_rd.stl";
    constexpr const char* kVoron = "meshes_cad/voron_z_joint_upper_x4.stl";
    return {{"ftc06_ball_d10_40x40.csv", kFtc06, BallTool(5)},
            {"ftc06_cyl_d10_40x40.csv", kFtc06, FlatTool(5)},
            {"ftc06_bull_d12_40x40.csv", kFtc06, BullTool(4.5, 1.5)},
            {"voron_z_joint_ball_d3_40x40.csv", kVoron, BallTool(1.5)},
            {"voron_z_joint_cyl_d3_40x40.csv", kVoron, FlatTool(1.5)},
            {"voron_z_joint_bull_d3_40x40.csv", kVoron, BullTool(1.125, 0.375)}};
}

inline std::string NameOf(const DropTable& table)
{
    const std::string name = table.table;
    return name.substr(0, name.find("_40x40"));
}

/// x, y and height of the tip, row by row. Where nothing is touched the height is 1000 below the
/// part.
inline std::vector<Velk::Math::Vec3d> RowsOf(const std::filesystem::path& file)
{
    std::vector<Velk::Math::Vec3d> rows;
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line); // names of the columns
    while (std::getline(stream, line)) {
        std::replace(line.begin(), line.end(), ',', ' ');
        std::istringstream numbers(line);
        Velk::Math::Vec3d row;
        numbers >> row[0] >> row[1] >> row[2];
        rows.push_back(row);
    }
    return rows;
}

inline double BottomOf(const std::vector<Velk::Math::Vec3d>& soup)
{
    double bottom = std::numeric_limits<double>::max();
    for (const Velk::Math::Vec3d& p : soup) {
        bottom = std::min(bottom, p.z());
    }
    return bottom;
}

} // namespace Support
