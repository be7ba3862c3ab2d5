// Pieces of an offset to chains, in their directions.
//
//   1. Of pieces that coincide, as many in one direction as in the other leave a center line, and a
//      surplus of one direction leaves one piece.
//   2. In each vertex an incoming piece is followed by an outgoing one: round the vertex, counter-
//      clockwise, the side that they bound lies between the two, and so they match like brackets.
//   3. A chain that comes back to a vertex parts there into two curves that touch.
//   4. Where pieces run head to head, as beside a chain that crosses itself, directions don't
//   count.

#include "planar/PlanarOffsetLinks_Impl.h"

#include <Velk/Math/Vector_E.h>

#include "mathbase/Buckets_Impl.h"
#include "mathbase/DisjointSets_Impl.h"
#include "planar/ChainBreaking_Impl.h"
#include "planar/ChainElement_Impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <tuple>
#include <utility>

namespace Velk::Math::Sorvane::Planar::Impl {

namespace {

constexpr int kNone = -1;

/// Pieces between the same ends coincide when their middles are no farther apart than this, in
/// parts of the tolerance: the ends of each lie within it of the vertex, per coordinate.
constexpr double kSamePiece = 4.0;

bool HasSameVertices(const ElementLink& a, const ElementLink& b)
{
    return std::minmax(a.from, a.to) == std::minmax(b.from, b.to);
}

/// The place at a length along a piece from its start or, the other way, from its end.
Vec2d PlaceOn(const ArcSegBase<double>& element, const Vec2d& end, double length, bool fromEnd)
{
    const ArcBase<double>* const arc = element.AsArc();
    const Vec2d from = fromEnd ? end : element.StartPoint();
    if (arc == nullptr) {
        const Vec2d to = fromEnd ? element.StartPoint() : end;
        return from + (to - from) * (length / Distance(from, to));
    }
    const Vec2d spoke = from - arc->center;
    const double sense = (arc->length < 0) != fromEnd ? -1.0 : 1.0;
    const double angle = sense * length / Vector::Length(spoke);
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    return arc->center + Vec2d(c * spoke.x() - s * spoke.y(), s * spoke.x() + c * spoke.y());
}

/// Adds pieces to a list.
void Put(const KeptPieces& pieces, int number, KeptPieces& list)
{
    const auto i = static_cast<std::size_t>(number);
    list.elements.push_back(pieces.elements[i]);
    list.ends.push_back(pieces.ends[i]);
}

/// The pieces of vertices where directions count.
class DirectedPieces {
public:
    /// Chains no longer than `crumb` are left out.
    DirectedPieces(const KeptPieces& pieces, double tol, double bridge, double crumb)
        : pieces_(pieces), tol_(tol), bridge_(bridge), crumb_(crumb)
    {
    }

    void Take(const ElementLink& link) { links_.push_back(link); }

    /// Takes pieces between the same two vertices.
    void TakeGroup(std::span<const ElementLink> group)
    {
        // Of each curve the first piece and by how many more run as it does than against it.
        struct Curve {
            Vec2d middle;
            const ElementLink* forward = nullptr;
            const ElementLink* backward = nullptr;
            int surplus = 0;
        };
        std::vector<Curve> curves;
        for (const ElementLink& link : group) {
            const Vec2d middle = Place(link.element, 0.5 * LengthOf(link.element), false);
            auto curve = std::find_if(curves.begin(), curves.end(), [&](const Curve& known) {
                return Distance(known.middle, middle) <= kSamePiece * tol_;
            });
            if (curve == curves.end()) {
                curve = curves.insert(curves.end(), Curve{middle});
            }
            const bool isForward = link.from == group.front().from;
            curve->surplus += isForward ? 1 : -1;
            const ElementLink*& first = isForward ? curve->forward : curve->backward;
            first = first == nullptr ? &link : first;
        }
        // Two of one direction that do not coincide are a flaw of the trimming, where the first
        // will do.
        const ElementLink* forward = nullptr;
        const ElementLink* backward = nullptr;
        for (const Curve& curve : curves) {
            if (curve.surplus > 0) {
                forward = forward == nullptr ? curve.forward : forward;
            } else if (curve.surplus < 0) {
                backward = backward == nullptr ? curve.backward : backward;
            } else {
                Put(pieces_, std::min(curve.forward->element, curve.backward->element),
                    centerLines_);
            }
        }
        for (const ElementLink* const link : {forward, backward}) {
            if (link != nullptr) {
                links_.push_back(*link);
            }
        }
    }

    /// The chains of what was taken, each in the direction of its pieces.
    void AppendChains(int vertexCount, std::vector<PolyArcSegBase<double>>& chains)
    {
        // The least number first, as where directions don't count.
        std::sort(links_.begin(), links_.end(),
                  [](const ElementLink& a, const ElementLink& b) { return a.element < b.element; });
        bool hasBranches = false;
        std::vector<int> next = Successors(vertexCount, hasBranches);
        if (hasBranches) {
            PartAtVertices(vertexCount, next);
        }
        std::vector<char> isFollower(links_.size(), 0);
        for (const int follower : next) {
            if (follower >= 0) {
                isFollower[static_cast<std::size_t>(follower)] = 1;
            }
        }
        std::vector<char> isUsed(links_.size(), 0);
        for (const bool isOpen : {true, false}) {
            for (std::size_t first = 0; first < links_.size(); ++first) {
                if (isUsed[first] != 0 || (isOpen && isFollower[first] != 0)) {
                    continue;
                }
                KeptPieces chain;
                int i = static_cast<int>(first);
                while (i >= 0 && isUsed[static_cast<std::size_t>(i)] == 0) {
                    isUsed[static_cast<std::size_t>(i)] = 1;
                    Put(pieces_, links_[static_cast<std::size_t>(i)].element, chain);
                    i = next[static_cast<std::size_t>(i)];
                }
                Append(ChainInOrder(chain.elements, chain.ends, tol_, bridge_), chains);
            }
        }
        for (PolyArcSegBase<double>& line :
             CombineWithEnds(centerLines_.elements, centerLines_.ends, tol_, bridge_)) {
            Append(std::move(line), chains);
        }
    }

private:
    /// An end of a piece as its vertex sees it.
    struct Ray {
        int link;
        bool isIncoming;
    };

    void Append(PolyArcSegBase<double> chain, std::vector<PolyArcSegBase<double>>& chains) const
    {
        if (RunningLengths(chain).back() > crumb_) {
            chains.push_back(std::move(chain));
        }
    }

    double LengthOf(int number) const
    {
        return WideLength(pieces_.elements[static_cast<std::size_t>(number)]);
    }

    Vec2d Place(int number, double length, bool fromEnd) const
    {
        const auto i = static_cast<std::size_t>(number);
        return PlaceOn(pieces_.elements[i], pieces_.ends[i], length, fromEnd);
    }

    /// For each link the one that follows it, or -1; and whether more than two meet anywhere.
    std::vector<int> Successors(int vertexCount, bool& hasBranches) const
    {
        using Rays = Math::Impl::Buckets<Ray, int>;
        Rays rays(static_cast<std::size_t>(vertexCount), [&](const auto& put) {
            for (std::size_t i = 0; i < links_.size(); ++i) {
                put(links_[i].from, Ray{static_cast<int>(i), false});
                put(links_[i].to, Ray{static_cast<int>(i), true});
            }
        });
        std::vector<int> next(links_.size(), -1);
        for (int vertex = 0; vertex < vertexCount; ++vertex) {
            const std::span<Ray> own = rays[vertex];
            if (own.size() > 2) {
                hasBranches = true;
                SortRound(own);
            }
            std::vector<int> incoming;
            for (int turn = 0; turn < 2; ++turn) {
                for (Ray& ray : own) {
                    if (ray.link < 0) {
                        continue;
                    }
                    if (ray.isIncoming) {
                        if (turn == 0) {
                            incoming.push_back(ray.link);
                        }
                    } else if (!incoming.empty()) {
                        next[static_cast<std::size_t>(incoming.back())] = ray.link;
                        incoming.pop_back();
                        ray.link = -1;
                    }
                }
            }
        }
        return next;
    }

    /// Where the side that chains bound is in one piece round a touch, as about two posts, the
    /// brackets make one chain of two curves. It parts where it comes back to a vertex.
    void PartAtVertices(int vertexCount, std::vector<int>& next) const
    {
        std::vector<int> previous(next.size(), kNone);
        const auto join = [&](int before, int after) {
            next[static_cast<std::size_t>(before)] = after;
            previous[static_cast<std::size_t>(after)] = before;
        };
        for (std::size_t i = 0; i < next.size(); ++i) {
            if (next[i] >= 0) {
                join(static_cast<int>(i), next[i]);
            }
        }
        std::vector<int> leaving(static_cast<std::size_t>(vertexCount), kNone); // on the way so far
        const auto leavingFrom = [&](int i) -> int& {
            return leaving[static_cast<std::size_t>(links_[static_cast<std::size_t>(i)].from)];
        };
        std::vector<char> isPassed(next.size(), 0);
        std::vector<int> way;
        const auto follow = [&](int i) {
            while (i >= 0) {
                isPassed[static_cast<std::size_t>(i)] = 1;
                way.push_back(i);
                leavingFrom(i) = i;
                const int after = next[static_cast<std::size_t>(i)];
                if (after == way.front()) {
                    break;
                }
                const int back = after >= 0 ? leavingFrom(after) : kNone;
                const int before = back >= 0 ? previous[static_cast<std::size_t>(back)] : kNone;
                if (before >= 0) {
                    join(i, back);
                    join(before, after);
                    do {
                        i = way.back();
                        way.pop_back();
                        leavingFrom(i) = kNone;
                    } while (i != back);
                }
                i = after;
            }
            for (const int passed : way) {
                leavingFrom(passed) = kNone;
            }
            way.clear();
        };
        for (const bool isOpen : {true, false}) {
            for (std::size_t i = 0; i < next.size(); ++i) {
                if (isPassed[i] == 0 && (!isOpen || previous[i] < 0)) {
                    follow(static_cast<int>(i));
                }
            }
        }
    }

    /// Sorts rays counter-clockwise, by where each is at the same length from the vertex: so those
    /// with a common tangent are sorted by curvature.
    void SortRound(std::span<Ray> rays) const
    {
        const auto element = [this](const Ray& ray) {
            return links_[static_cast<std::size_t>(ray.link)].element;
        };
        double length = LengthOf(element(rays.front()));
        for (const Ray& ray : rays) {
            const ArcSegBase<double>& piece =
                pieces_.elements[static_cast<std::size_t>(element(ray))];
            length = std::min(length, WideLength(piece));
            if (const ArcBase<double>* const arc = piece.AsArc()) {
                length = std::min(length, Distance(arc->center, arc->start));
            }
        }
        std::vector<std::pair<double, Ray>> byAngle;
        byAngle.reserve(rays.size());
        for (const Ray& ray : rays) {
            const Vec2d from = Place(element(ray), 0.0, ray.isIncoming);
            const Vec2d away = Place(element(ray), 0.5 * length, ray.isIncoming) - from;
            byAngle.emplace_back(std::atan2(away.y(), away.x()), ray);
        }
        std::stable_sort(byAngle.begin(), byAngle.end(),
                         [](const auto& a, const auto& b) { return a.first < b.first; });
        std::transform(byAngle.begin(), byAngle.end(), rays.begin(),
                       [](const auto& entry) { return entry.second; });
    }

    const KeptPieces& pieces_;
    double tol_;
    double bridge_;
    double crumb_;
    std::vector<ElementLink> links_;
    KeptPieces centerLines_;
};

/// Pieces that lead back to the vertex they come from, a chain each, and of copies one: in the
/// direction that most of them have.
void AppendLoops(const KeptPieces& pieces, const std::vector<ElementLink>& loops, double tol,
                 double bridge, std::vector<PolyArcSegBase<double>>& chains)
{
    struct Loop {
        int vertex;
        int number;
        Vec2d middle;
        double sense; // of the turning
    };
    std::vector<Loop> found;
    for (const ElementLink& link : loops) {
        const auto i = static_cast<std::size_t>(link.element);
        const ArcBase<double>* const arc = pieces.elements[i].AsArc();
        if (arc == nullptr) {
            continue; // a segment within reach of its vertex
        }
        const Vec2d middle =
            PlaceOn(pieces.elements[i], pieces.ends[i], 0.5 * std::fabs(arc->length), false);
        if (Distance(middle, arc->start) > kSamePiece * tol) {
            found.push_back({link.from, link.element, middle, arc->length > 0 ? 1.0 : -1.0});
        }
    }
    // Loops of one vertex that coincide have their middles on one spot; those of circles that touch
    // there lie apart.
    std::sort(found.begin(), found.end(), [](const Loop& a, const Loop& b) {
        return std::tie(a.vertex, a.number) < std::tie(b.vertex, b.number);
    });
    std::vector<Loop> curves;
    std::vector<double> surplus;
    std::size_t ofVertex = 0; // where the curves of the current vertex begin
    for (const Loop& loop : found) {
        if (ofVertex < curves.size() && curves[ofVertex].vertex != loop.vertex) {
            ofVertex = curves.size();
        }
        std::size_t same = ofVertex;
        while (same < curves.size() &&
               Distance(curves[same].middle, loop.middle) > kSamePiece * tol) {
            ++same;
        }
        if (same == curves.size()) {
            curves.push_back(loop);
            surplus.push_back(0.0);
        }
        surplus[same] += loop.sense;
        if (curves[same].sense * surplus[same] < 0.0) {
            curves[same] = loop;
        }
    }
    for (const Loop& curve : curves) {
        const auto i = static_cast<std::size_t>(curve.number);
        chains.push_back(ChainInOrder({pieces.elements[i]}, {pieces.ends[i]}, tol, bridge));
    }
}

} // namespace

std::vector<PolyArcSegBase<double>> LinkedPieces(const KeptPieces& pieces, double tol,
                                                 double bridge, double crumb)
{
    ElementLinks graph = LinksOfElements(pieces.elements, pieces.ends, tol);
    std::vector<ElementLink>& links = graph.links;

    // A vertex with more than two pieces, or with two of the same two vertices, is a branch; one
    // with two that both come or both go is a clash.
    struct Vertex {
        int degree = 0;
        int surplus = 0; // of outgoing pieces
        int other = -1;  // the vertex that the first piece leads to
        bool isBranch = false;
    };
    std::vector<Vertex> vertices(static_cast<std::size_t>(graph.vertexCount));
    Math::Impl::DisjointSets components(vertices.size());
    for (const ElementLink& link : links) {
        components.Join(link.from, link.to);
        for (const bool isOutgoing : {true, false}) {
            const int other = isOutgoing ? link.to : link.from;
            Vertex& own = vertices[static_cast<std::size_t>(isOutgoing ? link.from : link.to)];
            own.isBranch =
                own.isBranch || own.degree > 1 || (own.degree == 1 && own.other == other);
            own.other = other;
            own.surplus += isOutgoing ? 1 : -1;
            ++own.degree;
        }
    }
    enum class Kind : char { Directed, Clashing, Branched };
    std::vector<Kind> kinds(vertices.size(), Kind::Directed); // by the name of the component
    for (std::size_t i = 0; i < vertices.size(); ++i) {
        Kind& kind = kinds[static_cast<std::size_t>(components.Find(static_cast<int>(i)))];
        const bool isClash = vertices[i].degree == 2 && vertices[i].surplus != 0;
        kind = std::max(kind, vertices[i].isBranch ? Kind::Branched
                              : isClash            ? Kind::Clashing
                                                   : Kind::Directed);
    }

    DirectedPieces directed(pieces, tol, bridge, 0.0);
    DirectedPieces branches(pieces, tol, bridge, std::max(crumb, bridge));
    KeptPieces clashing;
    std::vector<ElementLink> branched;
    for (const ElementLink& link : links) {
        switch (kinds[static_cast<std::size_t>(components.Find(link.from))]) {
        case Kind::Directed:
            directed.Take(link);
            break;
        case Kind::Clashing:
            Put(pieces, link.element, clashing);
            break;
        case Kind::Branched:
            branched.push_back(link);
            break;
        }
    }
    std::sort(branched.begin(), branched.end(), [](const ElementLink& a, const ElementLink& b) {
        const auto [lowA, highA] = std::minmax(a.from, a.to);
        const auto [lowB, highB] = std::minmax(b.from, b.to);
        return std::tie(lowA, highA, a.element) < std::tie(lowB, highB, b.element);
    });
    for (auto from = branched.begin(); from != branched.end();) {
        const auto to = std::find_if_not(from, branched.end(), [&](const ElementLink& link) {
            return HasSameVertices(link, *from);
        });
        branches.TakeGroup(std::span<const ElementLink>(from, to));
        from = to;
    }
    std::vector<PolyArcSegBase<double>> chains =
        CombineWithEnds(clashing.elements, clashing.ends, tol, bridge);
    directed.AppendChains(graph.vertexCount, chains);
    branches.AppendChains(graph.vertexCount, chains);
    AppendLoops(pieces, graph.loops, tol, bridge, chains);
    return chains;
}

} // namespace Velk::Math::Sorvane::Planar::Impl
