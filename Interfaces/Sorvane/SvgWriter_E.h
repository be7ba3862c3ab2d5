// Pictures of results as SVG: chains, regions, triangulations, meshes in a view, points and labels, with
// a legend. For looking at, not for machines: coordinates are rounded to a hundredth of a pixel, those of
// meshes to a tenth.
//
// A writer collects what it is given, in the order in which it is to be painted, and fits the picture to
// it at the end, with a margin that holds labels, points and lines as well. y runs upward in the plane.
// What is not finite, or beyond 1e100, is left out. Text and colors may hold any bytes: what is not UTF-8
// is shown as a replacement character. Numbers are written the same in every locale.
#pragma once

#include <Sorvane/ArcSegChain_E.h>
#include <Sorvane/Export_E.h>
#include <Sorvane/IndexedMesh_E.h>
#include <Velk/Math/VecBase_E.h>

#include <string>
#include <string_view>
#include <vector>

namespace Velk::Math::Sorvane::Drawing {

/// How something is painted. Colors are those of SVG: a name, "#rrggbb" or "none".
struct SORVANE_API SvgStyle {
    std::string stroke = "#1f4e79"; ///< color of lines
    std::string fill = "none";      ///< color of what lines enclose, and of points
    double width = 1.5;             ///< of lines, in pixels, 1000 at most; half the radius of points
    bool isDashed = false;          ///< lines in dashes of four widths
    double opacity = 1;             ///< of the fill: 0 lets all through, 1 nothing

    friend bool operator==(const SvgStyle&, const SvgStyle&) = default;
};

/// From where a mesh is seen: along parallel rays. Lengths of the two vectors do not matter; a view
/// without directions (zero, parallel or not finite) is one from above.
struct SORVANE_API SvgView {
    Vec3d toward{1, 2, 1.5}; ///< from the mesh to the eye
    Vec3d up{0, 0, 1};       ///< what is upward in the picture, as far as the direction to the eye lets it
    Vec2d shift{0, 0};       ///< where the origin of space lies in the picture: to put views side by side

    friend bool operator==(const SvgView&, const SvgView&) = default;
};

/// What is special about triangles of a mesh in a picture. `style` and the entries of `triangles` are
/// places in `styles`; where there is none, a line is left out and a triangle has the style of its mesh.
struct SORVANE_API SvgMeshMarks {
    /// A line on a triangle, such as an edge or a level line. It is painted right after the triangle, if
    /// that faces the eye, and like it hidden by what is nearer.
    struct Line {
        int triangle = -1; ///< number of the triangle of the mesh that it lies on
        Vec3d start;       ///< where it begins
        Vec3d end;         ///< where it ends
        int style = -1;    ///< place in `styles`
    };

    std::vector<SvgStyle> styles; ///< what `triangles` and `lines` name by their places
    std::vector<int> triangles;   ///< style of each triangle, of the first ones only if it is shorter; not shaded
    std::vector<Line> lines;      ///< in any order
};

/// A picture under construction. A value: pictures may be copied and continued.
class SvgWriter {
public:
    /// `size`: the longer side of the drawing in pixels, without margin and legend, from 1 to 16,384; 640
    /// for one that is not positive and finite.
    SORVANE_API explicit SvgWriter(double size);

    /// The elements of a chain as true arcs and lines, joints with gaps as they are.
    SORVANE_API void AddChain(const Planar::PolyArcSegBase<double>& chain, const SvgStyle& style);
    /// Lines from point to point.
    SORVANE_API void AddPolyline(const std::vector<Vec2d>& points, const SvgStyle& style);
    /// Closed loops filled together: what an odd number of them enclose is inside.
    SORVANE_API void AddRegion(const std::vector<std::vector<Vec2d>>& loops, const SvgStyle& style);
    /// Each triangle of a triangulation, whichever way it runs. Triangles with indices out of range are
    /// left out.
    SORVANE_API void AddTriangles(const Mesh::IndexedPointsBase<2, double>& mesh,
                                  const SvgStyle& style);
    /// The triangles of a mesh that face the eye, what is nearer over what is farther. A fill of the form
    /// "#rrggbb" is darker the more a triangle turns away, and so is a stroke that equals it. All meshes
    /// of a picture share its plane, the first coordinate to the right of the view and the second upward.
    SORVANE_API void AddMesh(const Mesh::IndexedPointsBase<3, double>& mesh, const SvgView& view,
                             const SvgStyle& style);
    /// The same, with triangles of other styles and with lines on them.
    SORVANE_API void AddMesh(const Mesh::IndexedPointsBase<3, double>& mesh, const SvgView& view,
                             const SvgStyle& style, const SvgMeshMarks& marks);
    /// A disc at each point, of twice the style's width in radius whatever the picture's scale.
    SORVANE_API void AddPoints(const std::vector<Vec2d>& points, const SvgStyle& style);
    /// Text that begins beside a point, in the style's stroke color.
    SORVANE_API void AddLabel(const Vec2d& point, std::string_view text, const SvgStyle& style);
    /// A line of the legend below the drawing: a sample of the style, and what it means.
    SORVANE_API void AddLegend(std::string_view text, const SvgStyle& style);
    /// The name that viewers show for the picture; none without it.
    SORVANE_API void SetTitle(std::string_view title);

    /// Where a point of space lies in the plane of a picture with this view.
    SORVANE_API static Vec2d Projected(const Vec3d& point, const SvgView& view);

    /// The picture as an SVG document.
    SORVANE_API std::string Text() const;
    /// Writes it; false when the file can't be opened, or not be written completely.
    SORVANE_API bool Write(const std::string& path) const;

private:
    enum class Verb : unsigned char { Move, Line, Arc, Close };
    struct Step {
        Verb verb = Verb::Move;
        Vec2d to;
        double radius = 0;
        double sagitta = 0;
        bool isLeft = false;
    };
    enum class Kind : unsigned char { Path, Disc, Label };
    struct Item {
        Kind kind = Kind::Path;
        SvgStyle style;
        std::vector<Step> steps;
        std::string text;
        bool isCoarse = false;  // in tenths of a pixel: meshes are many triangles
        bool isWinding = false; // what loops of one sense wind round is inside, not what an odd number does
    };
    struct Frame;
    class Pen;

    void Include(const Vec2d& point);
    void AppendElement(const Geometry::SegBase<double>& segment, Item& item);
    void AppendElement(const Geometry::ArcBase<double>& arc, Item& item);
    void AppendLoop(const std::vector<Vec2d>& points, bool isClosed, Item& item);
    void Append(Item item);
    Frame FitFrame() const;
    static void WritePath(const Item& item, const Frame& frame, bool isAlone, std::string& text);
    static void WriteItem(const Item& item, const Frame& frame, bool isAlone, std::string& text);

    double size_ = 640;
    std::string title_;
    bool isEmpty_ = true;
    Vec2d low_;
    Vec2d high_;
    std::vector<Item> items_;
    std::vector<Item> legend_;
};

} // namespace Velk::Math::Sorvane::Drawing
