// Points files: one point a line as text, with the 17 digits that tell every double from its
// neighbors.

#include <Sorvane/MeshFiles_E.h>

#include "meshfiles/FileBytes_Impl.h"
#include "meshfiles/NumberText_Impl.h"

#include <utility>

namespace Velk::Math::Sorvane::MeshUtils {

template <int N>
bool WriteArdenwickPointsFile(const std::vector<VecBase<N, double>>& points, std::string fileName)
{
    if (points.empty()) {
        return false;
    }
    Impl::ByteWriter file(fileName);
    if (!file.IsOpen()) {
        return false;
    }
    constexpr std::size_t kLongestLine = N * (Impl::kLongestNumber + 1);
    const auto writeLine = [&points](std::size_t point, char* to) {
        for (const double coordinate : points[point]) {
            to = Impl::WriteNumber17(to, coordinate);
            *to++ = ' ';
        }
        to[-1] = '\n';
        return to;
    };
    Impl::WriteItems<char>(file, points.size(), kLongestLine, writeLine);
    return true;
}

template bool WriteArdenwickPointsFile(const std::vector<VecBase<2, double>>&, std::string);
template bool WriteArdenwickPointsFile(const std::vector<VecBase<3, double>>&, std::string);

} // namespace Velk::Math::Sorvane::MeshUtils
