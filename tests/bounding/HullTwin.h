// A second way to a convex hull in space, slow and plain: every point is kept in the outside set of
// each face that sees it, distances in floating point decide what a point sees, and faces near its
// edges go with them. Beside the library's hull it is right wherever points are in general
// position.
#pragma once

#include <Velk/Math/VecBase_E.h>
#include <Velk/Math/Vector_E.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>
#include <set>
#include <utility>
#include <vector>

namespace Support {

class HullTwin {
public:
    using Vec = Velk::Math::Vec3d;

    struct Face {
        std::array<int, 3> node;
        Vec origin;
        Vec normal;
        std::vector<int> outside;
        bool isLive = true;
    };

    /// `lengthFloor` as for the coordinate type that is looked at. No solid: no faces.
    HullTwin(const std::vector<Vec>& input, double lengthFloor)
        : points_(input), lengthFloor_(lengthFloor)
    {
        Scale();
        const std::array<int, 4> simplex = Simplex();
        for (double tolerance = tolerance_; simplex[0] >= 0 && tolerance < 1; tolerance *= 10) {
            tolerance_ = tolerance;
            if (Build(simplex)) {
                return;
            }
        }
        faces_.clear();
    }

    /// Of the points, in the order of the input.
    std::set<int> Nodes() const
    {
        std::set<int> nodes;
        for (const Face& face : faces_) {
            if (face.isLive) {
                nodes.insert(face.node.begin(), face.node.end());
            }
        }
        return nodes;
    }

    std::vector<int> Triangles() const
    {
        std::vector<int> triangles;
        for (const Face& face : faces_) {
            if (face.isLive) {
                triangles.insert(triangles.end(), face.node.begin(), face.node.end());
            }
        }
        return triangles;
    }

    /// In the units of the input.
    double Tolerance() const { return tolerance_ / scale_; }

private:
    using Edge = std::pair<int, int>;

    void Scale()
    {
        Vec low = points_.at(0);
        Vec high = low;
        for (const Vec& p : points_) {
            for (int k = 0; k < 3; ++k) {
                low[k] = std::min(low[k], p[k]);
                high[k] = std::max(high[k], p[k]);
            }
        }
        const Vec extent = high - low;
        const double longest = std::max({extent[0], extent[1], extent[2]});
        scale_ = longest > 0 ? 1024 / longest : 1;
        for (Vec& p : points_) {
            p = (p - low) * scale_;
        }
    }

    /// The pair of extremes along the axes farthest apart, the point farthest from their line, the
    /// one farthest from that plane; -1 first for flat sets.
    std::array<int, 4> Simplex()
    {
        const int count = static_cast<int>(points_.size());
        std::array<int, 6> extreme{};
        for (int i = 0; i < count; ++i) {
            for (std::size_t k = 0; k < 3; ++k) {
                const int axis = static_cast<int>(k);
                if (At(i)[axis] < At(extreme[2 * k])[axis]) {
                    extreme[2 * k] = i;
                }
                if (At(i)[axis] > At(extreme[2 * k + 1])[axis]) {
                    extreme[2 * k + 1] = i;
                }
            }
        }
        std::array<int, 4> s = {extreme[0], extreme[0], -1, -1};
        for (const int i : extreme) {
            for (const int j : extreme) {
                if (Length(At(i) - At(j)) > Length(At(s[0]) - At(s[1]))) {
                    s[0] = i;
                    s[1] = j;
                }
            }
        }
        double area = 0;
        for (int i = 0; i < count; ++i) {
            const double here = Length((At(s[1]) - At(s[0])) ^ (At(i) - At(s[0])));
            if (here > area) {
                area = here;
                s[2] = i;
            }
        }
        if (s[2] < 0) {
            return {-1, -1, -1, -1};
        }
        const Vec normal = Normal(s[0], s[1], s[2]);
        double height = 0;
        for (int i = 0; i < count; ++i) {
            const double here = std::abs(normal * (At(i) - At(s[0])));
            if (here > height && i != s[0] && i != s[1] && i != s[2]) {
                height = here;
                s[3] = i;
            }
        }
        double longest = 0;
        for (int i = 0; i < 6 && s[3] >= 0; ++i) {
            constexpr std::size_t kPairs[6][2] = {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}};
            longest = std::max(longest, Length(At(s[kPairs[i][0]]) - At(s[kPairs[i][1]])));
        }
        tolerance_ = longest * 10 * lengthFloor_;
        if (!(height > tolerance_)) {
            return {-1, -1, -1, -1};
        }
        if (normal * (At(s[3]) - At(s[0])) >= 0) {
            std::swap(s[1], s[2]);
        }
        return s;
    }

    /// False when the surface tore, which takes sides or edges that are flat but for noise.
    bool Build(const std::array<int, 4>& s)
    {
        faces_.clear();
        faceOf_.clear();
        isTorn_ = false;
        std::vector<int> all;
        for (int i = 0; i < static_cast<int>(points_.size()); ++i) {
            if (std::find(s.begin(), s.end(), i) == s.end()) {
                all.push_back(i);
            }
        }
        const std::vector<int> first = {AddFace(s[0], s[1], s[2]), AddFace(s[3], s[1], s[0]),
                                        AddFace(s[2], s[1], s[3]), AddFace(s[0], s[2], s[3])};
        Distribute(all, first);
        // A queue: faces are only ever appended.
        for (std::size_t f = 0; f < faces_.size() && !isTorn_; ++f) {
            if (faces_[f].isLive) {
                Grow(static_cast<int>(f));
            }
        }
        for (const auto& [edge, face] : faceOf_) {
            isTorn_ = isTorn_ || faceOf_.count({edge.second, edge.first}) == 0;
        }
        for (const Face& face : faces_) {
            for (const Vec& p : points_) {
                isTorn_ = isTorn_ || (face.isLive && Height(face, p) > 100 * tolerance_);
            }
        }
        return !isTorn_;
    }

    void Grow(int f)
    {
        int farthest = -1;
        double height = lengthFloor_;
        for (const int q : faces_[Sub(f)].outside) {
            if (Height(faces_[Sub(f)], At(q)) > height) {
                height = Height(faces_[Sub(f)], At(q));
                farthest = q;
            }
        }
        if (farthest < 0) {
            faces_[Sub(f)].outside.clear();
            return;
        }
        const std::set<int> visible = Visible(f, farthest);
        std::set<int> gathered;
        std::set<int> touched;
        std::set<Edge> lost;
        for (const int g : visible) {
            Face& face = faces_[Sub(g)];
            gathered.insert(face.outside.begin(), face.outside.end());
            touched.insert(face.node.begin(), face.node.end());
            face.outside.clear();
            face.isLive = false;
            for (std::size_t k = 0; k < 3; ++k) {
                const Edge edge{face.node[k], face.node[(k + 1) % 3]};
                faceOf_.erase(edge);
                lost.insert(edge);
            }
        }
        std::vector<int> added;
        for (const auto& [from, to] : lost) {
            if (faceOf_.count({to, from}) != 0 && from != farthest && to != farthest) {
                added.push_back(AddFace(from, to, farthest));
            }
        }
        std::vector<int> rest;
        for (const int q : gathered) {
            if (q != farthest && touched.count(q) == 0) {
                rest.push_back(q);
            }
        }
        Distribute(rest, added);
    }

    /// From face to face that share a node, as far as they see the point or lie at it.
    std::set<int> Visible(int first, int point) const
    {
        std::set<int> visible = {first};
        std::vector<int> stack = {first};
        while (!stack.empty()) {
            const std::array<int, 3> from = faces_[Sub(stack.back())].node;
            stack.pop_back();
            for (int g = 0; g < static_cast<int>(faces_.size()); ++g) {
                const Face& face = faces_[Sub(g)];
                const bool isNeighbor =
                    std::any_of(face.node.begin(), face.node.end(), [&](int node) {
                        return std::find(from.begin(), from.end(), node) != from.end();
                    });
                if (face.isLive && isNeighbor && IsVisible(face, At(point)) &&
                    visible.insert(g).second) {
                    stack.push_back(g);
                }
            }
        }
        return visible;
    }

    bool IsVisible(const Face& face, const Vec& p) const
    {
        bool isVisible = Height(face, p) > tolerance_;
        for (std::size_t k = 0; k < 3; ++k) {
            const Vec a = At(face.node[k]);
            const Vec along = At(face.node[(k + 1) % 3]) - a;
            const double t = std::clamp(along * (p - a) / (along * along), 0.0, 1.0);
            isVisible = isVisible || Length(p - a - along * t) <= 100 * tolerance_;
        }
        return isVisible;
    }

    void Distribute(const std::vector<int>& points, const std::vector<int>& faces)
    {
        for (const int q : points) {
            for (const int f : faces) {
                if (f >= 0 && Height(faces_[Sub(f)], At(q)) > tolerance_) {
                    faces_[Sub(f)].outside.push_back(q);
                }
            }
        }
    }

    /// -1 when one of the directed edges has its face already.
    int AddFace(int a, int b, int c)
    {
        const Edge edges[3] = {{a, b}, {b, c}, {c, a}};
        for (const Edge& edge : edges) {
            if (faceOf_.count(edge) != 0) {
                isTorn_ = true;
                return -1;
            }
        }
        const int face = static_cast<int>(faces_.size());
        for (const Edge& edge : edges) {
            faceOf_[edge] = face;
        }
        faces_.push_back({{a, b, c}, At(a), Normal(a, b, c), {}, true});
        return face;
    }

    Vec Normal(int a, int b, int c) const
    {
        return Velk::Math::Vector::Normalized((At(b) - At(a)) ^ (At(c) - At(a)), lengthFloor_);
    }

    static double Height(const Face& face, const Vec& p) { return (p - face.origin) * face.normal; }
    static std::size_t Sub(int i) { return static_cast<std::size_t>(i); }
    const Vec& At(int i) const { return points_[Sub(i)]; }

    std::vector<Vec> points_;
    double lengthFloor_;
    double scale_ = 1;
    double tolerance_ = 0;
    std::vector<Face> faces_;
    std::map<Edge, int> faceOf_;
    bool isTorn_ = false;
};

} // namespace Support
