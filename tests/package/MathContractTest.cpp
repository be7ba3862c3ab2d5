// The math base as other code relies on it: each of its 165 operations can be taken by its exact
// signature from the library that a host links. A missing instantiation doesn't link.

#include <Velk/Diagnostics_E.h>
#include <Velk/Math/Intersect_E.h>
#include <Velk/Math/MapColoring_E.h>
#include <Velk/Math/Transform_E.h>
#include <Velk/Math/Vector_E.h>

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace Velk::Math;

/// The bytes of a function's address, so that distinct operations can be counted.
template <class Function> std::string Address(Function function)
{
    std::string bytes(sizeof function, '\0');
    std::memcpy(bytes.data(), &function, sizeof function);
    return bytes;
}

// clang-format off
std::vector<std::string> AllOperations()
{
    return {
        Address<float (*)(const VecBase<2, float>&, const VecBase<2, float>&)>(&Vector::operator^),
        Address<VecBase<3, float> (*)(const VecBase<3, float>&, const VecBase<3, float>&)>(&Vector::operator^),
        Address<float (*)(const VecBase<2, float>&, const VecBase<2, float>&)>(&Vector::Cross),
        Address<float (*)(const VecBase<2, float>&, const VecBase<2, float>&, float)>(&Vector::AngleBetween),
        Address<float (*)(const VecBase<2, float>&, const VecBase<2, float>&, float)>(&Vector::Cotangent),
        Address<void (*)(std::vector<VecBase<2, float>>&, float)>(&Vector::FilterForUniqueness),
        Address<std::vector<int> (*)(std::vector<VecBase<2, float>>&, float)>(&Vector::FilterForUniquenessAndIndex),
        Address<int (*)(const std::vector<VecBase<2, float>>&, const VecBase<2, float>&, float)>(&Vector::IndexInUniqueVector),
        Address<float (*)(const VecBase<3, float>&, const VecBase<3, float>&, float)>(&Vector::AngleBetween),
        Address<float (*)(const VecBase<3, float>&, const VecBase<3, float>&, float)>(&Vector::Cotangent),
        Address<void (*)(std::vector<VecBase<3, float>>&, float)>(&Vector::FilterForUniqueness),
        Address<std::vector<int> (*)(std::vector<VecBase<3, float>>&, float)>(&Vector::FilterForUniquenessAndIndex),
        Address<int (*)(const std::vector<VecBase<3, float>>&, const VecBase<3, float>&, float)>(&Vector::IndexInUniqueVector),
        Address<float (*)(const VecBase<2, float>&, float)>(&Vector::AngleSweep),
        Address<VecBase<2, float> (*)(const VecBase<2, float>&)>(&Vector::CartesianToPolar),
        Address<VecBase<2, float> (*)(const VecBase<2, float>&)>(&Vector::PolarToCartesian),
        Address<VecBase<3, float> (*)(const VecBase<3, float>&)>(&Vector::SphericalToCartesian),
        Address<VecBase<2, float> (*)(const VecBase<2, float>&, const VecBase<2, float>&)>(&Vector::Reflect),
        Address<float (*)(const std::vector<VecBase<2, float>>&)>(&Vector::Length),
        Address<float (*)(const std::vector<VecBase<2, float>>&)>(&Vector::SignedArea),
        Address<bool (*)(const VecBase<3, float>&, const VecBase<3, float>&, const VecBase<3, float>&, const VecBase<3, float>&, float&, float&, float&, float)>(&Vector::BarycentricCoordinates),
        Address<CheckedIdx (*)(const std::vector<VecBase<2, float>>&, const VecBase<2, float>&, float)>(&Vector::SearchInUniqueVector),
        Address<std::vector<SegBase<float>> (*)(const std::vector<VecBase<2, float>>&)>(&Vector::PointStreamToSegments),
        Address<std::vector<SegBase<float>> (*)(const std::vector<std::vector<VecBase<2, float>>>&)>(&Vector::PolyPointStreamToSegments),
        Address<std::vector<std::vector<VecBase<2, float>>> (*)(const std::vector<SegBase<float>>&, float)>(&Vector::SegmentsToPolyPointStream),
        Address<double (*)(const VecBase<2, double>&, const VecBase<2, double>&)>(&Vector::operator^),
        Address<VecBase<3, double> (*)(const VecBase<3, double>&, const VecBase<3, double>&)>(&Vector::operator^),
        Address<double (*)(const VecBase<2, double>&, const VecBase<2, double>&)>(&Vector::Cross),
        Address<double (*)(const VecBase<2, double>&, const VecBase<2, double>&, double)>(&Vector::AngleBetween),
        Address<double (*)(const VecBase<2, double>&, const VecBase<2, double>&, double)>(&Vector::Cotangent),
        Address<void (*)(std::vector<VecBase<2, double>>&, double)>(&Vector::FilterForUniqueness),
        Address<std::vector<int> (*)(std::vector<VecBase<2, double>>&, double)>(&Vector::FilterForUniquenessAndIndex),
        Address<int (*)(const std::vector<VecBase<2, double>>&, const VecBase<2, double>&, double)>(&Vector::IndexInUniqueVector),
        Address<double (*)(const VecBase<3, double>&, const VecBase<3, double>&, double)>(&Vector::AngleBetween),
        Address<double (*)(const VecBase<3, double>&, const VecBase<3, double>&, double)>(&Vector::Cotangent),
        Address<void (*)(std::vector<VecBase<3, double>>&, double)>(&Vector::FilterForUniqueness),
        Address<std::vector<int> (*)(std::vector<VecBase<3, double>>&, double)>(&Vector::FilterForUniquenessAndIndex),
        Address<int (*)(const std::vector<VecBase<3, double>>&, const VecBase<3, double>&, double)>(&Vector::IndexInUniqueVector),
        Address<double (*)(const VecBase<2, double>&, double)>(&Vector::AngleSweep),
        Address<VecBase<2, double> (*)(const VecBase<2, double>&)>(&Vector::CartesianToPolar),
        Address<VecBase<2, double> (*)(const VecBase<2, double>&)>(&Vector::PolarToCartesian),
        Address<VecBase<3, double> (*)(const VecBase<3, double>&)>(&Vector::SphericalToCartesian),
        Address<VecBase<2, double> (*)(const VecBase<2, double>&, const VecBase<2, double>&)>(&Vector::Reflect),
        Address<double (*)(const std::vector<VecBase<2, double>>&)>(&Vector::Length),
        Address<double (*)(const std::vector<VecBase<2, double>>&)>(&Vector::SignedArea),
        Address<bool (*)(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, double&, double&, double&, double)>(&Vector::BarycentricCoordinates),
        Address<CheckedIdx (*)(const std::vector<VecBase<2, double>>&, const VecBase<2, double>&, double)>(&Vector::SearchInUniqueVector),
        Address<std::vector<SegBase<double>> (*)(const std::vector<VecBase<2, double>>&)>(&Vector::PointStreamToSegments),
        Address<std::vector<SegBase<double>> (*)(const std::vector<std::vector<VecBase<2, double>>>&)>(&Vector::PolyPointStreamToSegments),
        Address<std::vector<std::vector<VecBase<2, double>>> (*)(const std::vector<SegBase<double>>&, double)>(&Vector::SegmentsToPolyPointStream),
        Address<std::vector<VecBase<3, double>> (*)(const std::vector<VecBase<3, double>>&)>(&Vector::CartesianToSpherical),
        Address<std::vector<VecBase<3, double>> (*)(const std::vector<VecBase<3, double>>&)>(&Vector::SphericalToCartesian),
        Address<bool (*)(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, double&, double&, double&, double)>(&Vector::BarycentricCoordinates),
        Address<CheckedIdx (*)(const std::vector<VecBase<3, double>>&, const VecBase<3, double>&, double)>(&Vector::SearchInUniqueVector),
        Address<std::vector<VecBase<3, double>> (*)(const std::vector<VecBase<3, double>>&, double)>(&Vector::RemoveRepeats),
        Address<std::vector<VecBase<3, double>> (*)(const std::vector<VecBase<3, double>>&, double)>(&Vector::ResampleStream),
        Address<std::vector<double> (*)(const std::vector<VecBase<2, double>>&, bool)>(&Vector::PointStreamParameters),
        Address<std::vector<double> (*)(const std::vector<VecBase<3, double>>&, bool)>(&Vector::PointStreamParameters),
        Address<std::vector<std::array<VecBase<2, double>, 2>> (*)(const std::vector<VecBase<2, double>>&)>(&Vector::PointStreamToLineSegments),
        Address<std::vector<std::vector<VecBase<3, double>>> (*)(const std::vector<std::array<VecBase<3, double>, 2>>&, double)>(&Vector::LineSegmentsToPolyPointStream),
        Address<bool (*)(MatBase<2, 2, double>&, double)>(&Matrix::Invert),
        Address<bool (*)(MatBase<3, 3, double>&, double)>(&Matrix::Invert),
        Address<bool (*)(MatBase<4, 4, double>&, double)>(&Matrix::Invert),
        Address<double (*)(const MatBase<2, 2, double>&)>(&Matrix::Determinant),
        Address<MatBase<3, 3, double> (*)(const VecBase<3, double>&)>(&Matrix::RotationFromZ),
        Address<VecBase<2, float> (*)(const TransformBase<2>&, const VecBase<2, float>&)>(&Transform::operator*),
        Address<VecBase<2, float>& (*)(VecBase<2, float>&, const TransformBase<2>&)>(&Transform::operator*=),
        Address<VecBase<2, double> (*)(const TransformBase<2>&, const VecBase<2, double>&)>(&Transform::operator*),
        Address<VecBase<2, double>& (*)(VecBase<2, double>&, const TransformBase<2>&)>(&Transform::operator*=),
        Address<VecBase<3, float> (*)(const TransformBase<3>&, const VecBase<3, float>&)>(&Transform::operator*),
        Address<VecBase<3, float>& (*)(VecBase<3, float>&, const TransformBase<3>&)>(&Transform::operator*=),
        Address<VecBase<3, double> (*)(const TransformBase<3>&, const VecBase<3, double>&)>(&Transform::operator*),
        Address<VecBase<3, double>& (*)(VecBase<3, double>&, const TransformBase<3>&)>(&Transform::operator*=),
        Address<std::vector<VecBase<3, double>> (*)(const TransformBase<3>&, const std::vector<VecBase<3, double>>&)>(&Transform::operator*),
        Address<TransformBase<3> (*)(const VecBase<3, double>&)>(&Transform::BuildTranslationTransform),
        Address<TransformBase<2> (*)(const VecBase<2, double>&)>(&Transform::BuildTranslationTransform2D),
        Address<TransformBase<3> (*)(const MatBase<3, 3, double>&)>(&Transform::BuildRotationTransform),
        Address<TransformBase<2> (*)(double)>(&Transform::BuildRotationFromAngle),
        Address<TransformBase<3> (*)(const VecBase<3, double>&, double)>(&Transform::BuildRotationFromAxisAngle),
        Address<TransformBase<3> (*)(double)>(&Transform::BuildScaleTransform),
        Address<TransformBase<3> (*)(const MatBase<3, 3, double>&, const VecBase<3, double>&, double)>(&Transform::BuildTransform),
        Address<TransformBase<2> (*)(const MatBase<2, 2, double>&, const VecBase<2, double>&, double)>(&Transform::BuildTransform2D),
        Address<TransformBase<3> (*)(const VecBase<3, double>&, const VecBase<3, double>&)>(&Transform::BuildTransformAxisOrigin),
        Address<TransformBase<3> (*)(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&)>(&Transform::BuildTransformThreePoints),
        Address<TransformBase<3> (*)(const TransformBase<3>&, const TransformBase<3>&)>(&Transform::BuildRelativeTransform),
        Address<TransformBase<2> (*)(const VecBase<2, double>&, const VecBase<2, double>&)>(&Transform::BuildMirrorAboutLine),
        Address<TransformBase<3> (*)(const TransformBase<2>&)>(&Transform::InflateDimension),
        Address<void (*)(const std::vector<VecBase<3, float>>&, VecBase<3, float>&, VecBase<3, float>&)>(&Transform::PlaneOfPolygon),
        Address<void (*)(const std::vector<VecBase<3, float>>&, VecBase<3, float>&, VecBase<3, float>&)>(&Transform::PlaneOfPoints),
        Address<void (*)(const std::vector<VecBase<3, double>>&, VecBase<3, double>&, VecBase<3, double>&)>(&Transform::PlaneOfPolygon),
        Address<void (*)(const std::vector<VecBase<3, double>>&, VecBase<3, double>&, VecBase<3, double>&)>(&Transform::PlaneOfPoints),
        Address<std::array<VecBase<2, float>, 2> (ArcBase<float>::*)() const>(&Geometry::ArcBase<float>::Bounds),
        Address<ArcBase<float> (*)(const VecBase<2, float>&, const VecBase<2, float>&, const VecBase<2, float>&)>(&Geometry::ArcThroughPoints),
        Address<ArcBase<float> (*)(const std::vector<VecBase<2, float>>&, float*, float*)>(&Geometry::FitCircle<1, float>),
        Address<bool (*)(const VecBase<2, float>&, const VecBase<2, float>&, const VecBase<2, float>&, float, ArcBase<float>&, float)>(&Geometry::FilletSequence),
        Address<bool (*)(const VecBase<2, float>&, const VecBase<2, float>&, const VecBase<2, float>&, const VecBase<2, float>&, float&)>(&Geometry::FilletRadiusThroughPoint),
        Address<float (*)(float, float)>(&Geometry::ApparentArcRadius),
        Address<float (*)(const VecBase<2, float>&, const VecBase<2, float>&, const VecBase<2, float>&)>(&Geometry::ApparentArcTolerance),
        Address<float (*)(float, float)>(&Geometry::AngleStep),
        Address<float (*)(const VecBase<2, float>&, const VecBase<2, float>&, const VecBase<2, float>&)>(&Geometry::DiscreteCurvature),
        Address<std::vector<VecBase<2, float>> (*)(const ArcBase<float>&, float)>(&Geometry::Tessellate),
        Address<std::vector<SegBase<float>> (*)(const SegBase<float>&, float, bool, float)>(&Geometry::Split),
        Address<bool (*)(const SegBase<float>&, float, SegBase<float>&, float)>(&Geometry::Offset),
        Address<bool (*)(const SegBase<float>&, const SegBase<float>&, float)>(&Geometry::IsEqual),
        Address<std::vector<ArcBase<float>> (*)(const ArcBase<float>&, float, bool, float)>(&Geometry::Split),
        Address<bool (*)(const ArcBase<float>&, float, ArcBase<float>&, float)>(&Geometry::Offset),
        Address<bool (*)(const ArcBase<float>&, const ArcBase<float>&, float)>(&Geometry::IsEqual),
        Address<bool (*)(const SegBase<float>&, const SegBase<float>&, float)>(&Geometry::IsTangent),
        Address<std::array<VecBase<2, double>, 2> (ArcBase<double>::*)() const>(&Geometry::ArcBase<double>::Bounds),
        Address<ArcBase<double> (*)(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&)>(&Geometry::ArcThroughPoints),
        Address<ArcBase<double> (*)(const std::vector<VecBase<2, double>>&, double*, double*)>(&Geometry::FitCircle<1, double>),
        Address<bool (*)(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, double, ArcBase<double>&, double)>(&Geometry::FilletSequence),
        Address<bool (*)(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, double&)>(&Geometry::FilletRadiusThroughPoint),
        Address<double (*)(double, double)>(&Geometry::ApparentArcRadius),
        Address<double (*)(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&)>(&Geometry::ApparentArcTolerance),
        Address<double (*)(double, double)>(&Geometry::AngleStep),
        Address<double (*)(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&)>(&Geometry::DiscreteCurvature),
        Address<std::vector<VecBase<2, double>> (*)(const ArcBase<double>&, double)>(&Geometry::Tessellate),
        Address<std::vector<SegBase<double>> (*)(const SegBase<double>&, double, bool, double)>(&Geometry::Split),
        Address<bool (*)(const SegBase<double>&, double, SegBase<double>&, double)>(&Geometry::Offset),
        Address<bool (*)(const SegBase<double>&, const SegBase<double>&, double)>(&Geometry::IsEqual),
        Address<std::vector<ArcBase<double>> (*)(const ArcBase<double>&, double, bool, double)>(&Geometry::Split),
        Address<bool (*)(const ArcBase<double>&, double, ArcBase<double>&, double)>(&Geometry::Offset),
        Address<bool (*)(const ArcBase<double>&, const ArcBase<double>&, double)>(&Geometry::IsEqual),
        Address<bool (*)(const SegBase<double>&, const SegBase<double>&, double)>(&Geometry::IsTangent),
        Address<ArcBase<double> (*)(const std::vector<VecBase<2, double>>&, double*, double*)>(&Geometry::FitCircle<0, double>),
        Address<bool (*)(const VecBase<2, float>&, const VecBase<2, float>&, const VecBase<2, float>&, const VecBase<2, float>&, VecBase<2, float>&, bool&, bool, float)>(&Intersect::SegmentSegment),
        Address<int (*)(const VecBase<2, float>&, const VecBase<2, float>&, float, const VecBase<2, float>&, const VecBase<2, float>&, VecBase<2, float>&, float&, VecBase<2, float>&, float&, bool, float)>(&Intersect::ArcSegment),
        Address<VecBase<2, float> (*)(const VecBase<2, float>&, const VecBase<2, float>&, float, const VecBase<2, float>&, float&, bool)>(&Intersect::ClosestPointOnArc),
        Address<VecBase<2, float> (*)(const VecBase<2, float>&, const VecBase<2, float>&, const VecBase<2, float>&, const VecBase<2, float>&)>(&Intersect::ClosestPointOnTriangle),
        Address<bool (*)(const VecBase<3, float>&, const VecBase<3, float>&, const VecBase<3, float>&, const VecBase<3, float>&, bool, float&, float&, VecBase<3, float>&, VecBase<3, float>&)>(&Intersect::ClosestPointsOfTwoLines),
        Address<bool (*)(const VecBase<2, float>&, const VecBase<2, float>&, const VecBase<2, float>&, const VecBase<2, float>&, float)>(&Intersect::PointInOrOnTriangle),
        Address<float (*)(const VecBase<2, float>&, const VecBase<2, float>&, const VecBase<2, float>&, bool)>(&Intersect::DistanceToAABB),
        Address<float (*)(const VecBase<3, float>&, const VecBase<3, float>&, const VecBase<3, float>&, bool)>(&Intersect::DistanceToAABB),
        Address<bool (*)(const VecBase<3, float>&, const VecBase<3, float>&, const VecBase<3, float>&, VecBase<3, float>&, float&, bool, float)>(&Intersect::FindCircumsphere),
        Address<bool (*)(std::vector<SegBase<float>>&, float)>(&Intersect::CutAtIntersections),
        Address<bool (*)(std::vector<SegBase<float>>&, std::vector<ArcBase<float>>&, float)>(&Intersect::CutAtIntersections),
        Address<bool (*)(const std::vector<SegBase<float>>&, std::vector<VecBase<2, float>>&, float)>(&Intersect::TraceOuterLoop),
        Address<std::vector<std::vector<PolyNodeDescriptor>> (*)(const std::vector<std::vector<VecBase<2, float>>>&, const std::vector<std::vector<VecBase<2, float>>>&, float)>(&Intersect::IntersectPolylines),
        Address<bool (*)(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, VecBase<2, double>&, bool&, bool, double)>(&Intersect::SegmentSegment),
        Address<int (*)(const VecBase<2, double>&, const VecBase<2, double>&, double, const VecBase<2, double>&, const VecBase<2, double>&, VecBase<2, double>&, double&, VecBase<2, double>&, double&, bool, double)>(&Intersect::ArcSegment),
        Address<VecBase<2, double> (*)(const VecBase<2, double>&, const VecBase<2, double>&, double, const VecBase<2, double>&, double&, bool)>(&Intersect::ClosestPointOnArc),
        Address<VecBase<2, double> (*)(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&)>(&Intersect::ClosestPointOnTriangle),
        Address<bool (*)(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, bool, double&, double&, VecBase<3, double>&, VecBase<3, double>&)>(&Intersect::ClosestPointsOfTwoLines),
        Address<bool (*)(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, double)>(&Intersect::PointInOrOnTriangle),
        Address<double (*)(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, bool)>(&Intersect::DistanceToAABB),
        Address<double (*)(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, bool)>(&Intersect::DistanceToAABB),
        Address<bool (*)(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, VecBase<3, double>&, double&, bool, double)>(&Intersect::FindCircumsphere),
        Address<bool (*)(std::vector<SegBase<double>>&, double)>(&Intersect::CutAtIntersections),
        Address<bool (*)(std::vector<SegBase<double>>&, std::vector<ArcBase<double>>&, double)>(&Intersect::CutAtIntersections),
        Address<bool (*)(const std::vector<SegBase<double>>&, std::vector<VecBase<2, double>>&, double)>(&Intersect::TraceOuterLoop),
        Address<std::vector<std::vector<PolyNodeDescriptor>> (*)(const std::vector<std::vector<VecBase<2, double>>>&, const std::vector<std::vector<VecBase<2, double>>>&, double)>(&Intersect::IntersectPolylines),
        Address<bool (*)(const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, const VecBase<2, double>&, VecBase<2, double>&, double)>(&Intersect::LineLine),
        Address<VecBase<3, double> (*)(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&)>(&Intersect::ClosestPointOnTriangle),
        Address<bool (*)(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, VecBase<3, double>&, VecBase<3, double>&, VecBase<3, double>&)>(&Intersect::ProjectZAxisOnTriangle),
        Address<bool (*)(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, VecBase<3, double>*, double*, bool, double)>(&Intersect::RayTriangleHitPoint),
        Address<bool (*)(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, double)>(&Intersect::SegmentTriangle),
        Address<bool (*)(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, VecBase<3, double>*, double)>(&Intersect::SegmentTriangleHitPoint),
        Address<bool (*)(const VecBase<3, double>&, double, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&)>(&Intersect::SphereTriangle),
        Address<bool (*)(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, double)>(&Intersect::TriangleTriangle),
        Address<bool (*)(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, VecBase<3, double>&, VecBase<3, double>&, bool&, double)>(&Intersect::TriangleTriangle),
        Address<bool (*)(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, bool)>(&Intersect::AABBAABB),
        Address<bool (*)(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&)>(&Intersect::TriangleAABB),
        Address<bool (*)(const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, const VecBase<3, double>&, VecBase<3, double>&, double&)>(&Intersect::RayAABB),
        Address<std::vector<int> (*)(const std::vector<std::vector<int>>&, unsigned int&)>(&Velk::Math::MapColoring),
    };
}
// clang-format on

TEST(MathContract, HoldsAll165Operations)
{
    const std::vector<std::string> operations = AllOperations();
    EXPECT_EQ(operations.size(), 165U); // 60 vector, 5 matrix, 26 transform, 35 geometry, 38 intersect, 1
    EXPECT_EQ(std::set<std::string>(operations.begin(), operations.end()).size(), 165U);
    EXPECT_NE(&Velk::Diagnostics::Details::InvokeCurrentAssertHandler, nullptr);
}

} // namespace
