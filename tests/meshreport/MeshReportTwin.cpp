#include "tests/meshreport/MeshReportTwin.h"

namespace Support {

template Velk::Math::Sorvane::MeshUtils::MeshReport<float> TwinReport(const Soup<float>&, float);
template Velk::Math::Sorvane::MeshUtils::MeshReport<double> TwinReport(const Soup<double>&, double);

} // namespace Support
