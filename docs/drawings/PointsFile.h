// Points in the plane from text files of two numbers to a line, for the example programs.
#pragma once

#include <Velk/Math/VecBase_E.h>

#include <fstream>
#include <locale>
#include <vector>

/// The points up to the end of the file, or up to what is no number; none when it can't be read.
inline std::vector<Velk::Math::Vec2d> PointsOfFile(const char* name)
{
    std::vector<Velk::Math::Vec2d> points;
    std::ifstream file(name);
    file.imbue(std::locale::classic());
    for (Velk::Math::Vec2d point; file >> point.x() >> point.y();) {
        points.push_back(point);
    }
    return points;
}
