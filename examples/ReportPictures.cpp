// The findings of a mesh report to look at: as a picture (SVG) and as a mesh (STL).

#include "ReportPictures.h"

#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>

using namespace Velk::Math;

namespace {

/// Above so many triangles a picture shows the faults only.
constexpr std::size_t kMostTrianglesDrawn = 40'000;
constexpr double kPictureWidth = 900;
constexpr double kMargin = 40;
constexpr double kLegendHeight = 150;

constexpr const char* kTurnedColor = "#f28e1c";
constexpr const char* kFoldedColor = "#8e44ad";
constexpr const char* kSliverColor = "#e6007e";
constexpr const char* kBoundaryColor = "#0057d9";
constexpr const char* kCrowdedColor = "#d60000";

bool IsFinite(const Vec3d& p)
{
    return std::isfinite(p.x()) && std::isfinite(p.y()) && std::isfinite(p.z());
}

/// Parallel projection from the front right, 30 degrees above the horizon.
class View {
public:
    explicit View(const Findings& findings)
    {
        const auto [low, high] = findings.Box();
        Vec2d least(1e300, 1e300);
        Vec2d greatest(-1e300, -1e300);
        for (int corner = 0; corner < 8; ++corner) {
            const Vec3d p((corner & 1) != 0 ? high.x() : low.x(),
                          (corner & 2) != 0 ? high.y() : low.y(),
                          (corner & 4) != 0 ? high.z() : low.z());
            for (int axis = 0; axis < 2; ++axis) {
                const double q = axis == 0 ? p * kRight : p * kUp;
                least[axis] = std::min(least[axis], q);
                greatest[axis] = std::max(greatest[axis], q);
            }
        }
        const double extent =
            std::max({greatest.x() - least.x(), greatest.y() - least.y(), 1e-300});
        scale_ = (kPictureWidth - 2 * kMargin) / extent;
        origin_ = Vec2d(least.x(), greatest.y());
        height_ = (greatest.y() - least.y()) * scale_ + 2 * kMargin;
    }

    double Height() const { return height_; }
    double Depth(const Vec3d& p) const { return p * kForward; }
    double Facing(const Vec3d& normal) const { return -(normal * kForward); }

    std::string At(const Vec3d& p) const
    {
        char text[64];
        std::snprintf(text, sizeof text, "%.2f %.2f", (p * kRight - origin_.x()) * scale_ + kMargin,
                      (origin_.y() - p * kUp) * scale_ + kMargin);
        return text;
    }

private:
    // The camera stands at azimuth -60 degrees and elevation 30.
    static constexpr double kHalf = 0.5;
    static constexpr double kCos30 = 0.86602540378443865;
    inline static const Vec3d kRight{kCos30, kHalf, 0};
    inline static const Vec3d kUp{-kHalf * kHalf, kCos30* kHalf, kCos30};
    inline static const Vec3d kForward{-kHalf * kCos30, kCos30* kCos30, -kHalf};

    double scale_ = 1;
    double height_ = 0;
    Vec2d origin_;
};

/// Writes shapes of one findings record in one view.
class Drawing {
public:
    Drawing(std::ostream& out, const Findings& findings)
        : out_(out), findings_(findings), view_(findings)
    {
    }

    const View& TheView() const { return view_; }

    void Triangle(int triangle, const std::string& style)
    {
        const int* const corner = findings_.Corners(triangle);
        if (std::all_of(corner, corner + 3, [&](int c) { return IsFinite(findings_.Point(c)); })) {
            out_ << "<path d=\"M" << view_.At(findings_.Point(corner[0])) << 'L'
                 << view_.At(findings_.Point(corner[1])) << 'L'
                 << view_.At(findings_.Point(corner[2])) << "Z\" " << style << "/>\n";
        }
    }

    void Edges(const std::vector<Findings::Edge>& edges, const char* color)
    {
        out_ << "<g stroke=\"" << color << "\" stroke-width=\"3.5\" stroke-linecap=\"round\">\n";
        for (const auto& [a, b] : edges) {
            if (IsFinite(findings_.Point(a)) && IsFinite(findings_.Point(b))) {
                out_ << "<path d=\"M" << view_.At(findings_.Point(a)) << 'L'
                     << view_.At(findings_.Point(b)) << "\"/>\n";
            }
        }
        out_ << "</g>\n";
    }

    /// The part in gray: triangles seen from behind first and darker, and far ones before near
    /// ones.
    void Part()
    {
        const std::size_t count = findings_.mesh.indices.size() / 3;
        if (count > kMostTrianglesDrawn) {
            return;
        }
        std::vector<Face> faces;
        for (int t = 0; t < static_cast<int>(count); ++t) {
            const int* const corner = findings_.Corners(t);
            const Vec3d& p = findings_.Point(corner[0]);
            const Vec3d& q = findings_.Point(corner[1]);
            const Vec3d& r = findings_.Point(corner[2]);
            const double depth = view_.Depth(p + q + r);
            if (std::isfinite(depth)) {
                faces.push_back({t, view_.Facing(Normalized((q - p) ^ (r - p), 0.0)), depth});
            }
        }
        std::sort(faces.begin(), faces.end(), [](const Face& f, const Face& g) {
            return (f.facing > 0) != (g.facing > 0) ? g.facing > 0 : f.depth > g.depth;
        });
        out_ << "<g stroke=\"#8a8f98\" stroke-width=\"0.4\" stroke-linejoin=\"round\">\n";
        for (const Face& face : faces) {
            const int gray = face.facing > 0 ? 170 + static_cast<int>(75 * face.facing) : 130;
            char style[48];
            std::snprintf(style, sizeof style, "fill=\"#%02x%02x%02x\"", gray, gray,
                          std::min(gray + 6, 255));
            Triangle(face.triangle, style);
        }
        out_ << "</g>\n";
    }

    void Triangles(const std::vector<int>& triangles, const char* color, double strokeWidth)
    {
        char style[128];
        std::snprintf(style, sizeof style,
                      "fill=\"%s\" fill-opacity=\"0.45\" stroke=\"%s\" stroke-width=\"%.1f\"",
                      color, color, strokeWidth);
        for (const int t : triangles) {
            Triangle(t, style);
        }
    }

    void LegendLine(int line, const char* color, std::size_t count, const char* words)
    {
        const double y = view_.Height() + 24 * line;
        out_ << "<rect x=\"" << kMargin << "\" y=\"" << y - 12
             << "\" width=\"22\" height=\"14\" fill=\"" << color << "\"/><text x=\"" << kMargin + 34
             << "\" y=\"" << y << "\">" << words << ": " << count << "</text>\n";
    }

private:
    struct Face {
        int triangle;
        double facing; // cosine between the normal and the way to the viewer
        double depth;
    };

    std::ostream& out_;
    const Findings& findings_;
    View view_;
};

std::string Escaped(const std::string& text)
{
    std::string escaped;
    for (const char c : text) {
        switch (c) {
        case '<':
            escaped += "&lt;";
            break;
        case '&':
            escaped += "&amp;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

/// Triangles by value, for a file.
struct LooseMesh : Sorvane::Mesh::IndexedPointsBase<3, double> {
    void Add(const Vec3d& a, const Vec3d& b, const Vec3d& c)
    {
        for (const Vec3d& p : {a, b, c}) {
            indices.push_back(static_cast<int>(points.size()));
            points.push_back(p);
        }
    }

    /// A prism of three faces along a-b, open at the ends.
    void AddRod(const Vec3d& a, const Vec3d& b, double radius)
    {
        const Vec3d along = Normalized(b - a, 0.0);
        const Vec3d any = std::fabs(along.x()) < 0.6 ? Vec3d(1, 0, 0) : Vec3d(0, 1, 0);
        const Vec3d across = Normalized(along ^ any, 0.0);
        const Vec3d upward = along ^ across;
        std::array<Vec3d, 3> spokes;
        for (int i = 0; i < 3; ++i) {
            const double angle = kTwoPi<double> * i / 3;
            spokes[static_cast<std::size_t>(i)] =
                radius * (std::cos(angle) * across + std::sin(angle) * upward);
        }
        for (std::size_t i = 0; i < 3; ++i) {
            const Vec3d& s = spokes[i];
            const Vec3d& t = spokes[(i + 1) % 3];
            Add(a + s, a + t, b + t);
            Add(a + s, b + t, b + s);
        }
    }
};

} // namespace

std::array<Vec3d, 2> Findings::Box() const
{
    constexpr double kMax = std::numeric_limits<double>::max();
    std::array<Vec3d, 2> box{Vec3d(kMax, kMax, kMax), Vec3d(-kMax, -kMax, -kMax)};
    for (const Vec3d& p : mesh.points) {
        for (int axis = 0; IsFinite(p) && axis < 3; ++axis) {
            box[0][axis] = std::min(box[0][axis], p[axis]);
            box[1][axis] = std::max(box[1][axis], p[axis]);
        }
    }
    return box[0].x() <= box[1].x() ? box : std::array<Vec3d, 2>{};
}

bool WriteSvg(const Findings& findings, const std::string& title, const std::filesystem::path& path)
{
    std::ofstream out(path);
    out.imbue(std::locale::classic());
    Drawing drawing(out, findings);
    const double height = drawing.TheView().Height() + kLegendHeight;
    out << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " << kPictureWidth << ' '
        << height << "\" font-family=\"sans-serif\" font-size=\"16\">\n<title>" << Escaped(title)
        << "</title>\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    drawing.Part();
    drawing.Triangles(findings.turned, kTurnedColor, 1.2);
    drawing.Triangles(findings.folded, kFoldedColor, 1.2);
    drawing.Triangles(findings.slivers, kSliverColor, 3);
    drawing.Edges(findings.boundaryEdges, kBoundaryColor);
    drawing.Edges(findings.crowdedEdges, kCrowdedColor);
    drawing.LegendLine(0, kBoundaryColor, findings.boundaryEdges.size(), "open edges");
    drawing.LegendLine(1, kCrowdedColor, findings.crowdedEdges.size(),
                       "edges shared by three or more triangles");
    drawing.LegendLine(2, kTurnedColor, findings.turned.size(),
                       "triangles wound against a neighbor");
    drawing.LegendLine(3, kSliverColor, findings.slivers.size(), "slivers");
    drawing.LegendLine(4, kFoldedColor, findings.folded.size(), "folded triangles");
    out << "</svg>\n";
    return out.flush().good();
}

Sorvane::Mesh::IndexedPointsBase<3, double> FaultMesh(const Findings& findings)
{
    const auto [low, high] = findings.Box();
    const double radius = 0.003 * Length(high - low);
    LooseMesh faults;
    for (const auto* list : {&findings.turned, &findings.folded}) {
        for (const int t : *list) {
            const int* const corner = findings.Corners(t);
            faults.Add(findings.Point(corner[0]), findings.Point(corner[1]),
                       findings.Point(corner[2]));
        }
    }
    for (const auto* list : {&findings.boundaryEdges, &findings.crowdedEdges}) {
        for (const auto& [a, b] : *list) {
            faults.AddRod(findings.Point(a), findings.Point(b), radius);
        }
    }
    for (const int t : findings.slivers) {
        const int* const corner = findings.Corners(t);
        for (int k = 0; k < 3; ++k) {
            faults.AddRod(findings.Point(corner[k]), findings.Point(corner[(k + 1) % 3]), radius);
        }
    }
    return faults;
}
