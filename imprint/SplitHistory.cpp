// Which pieces an edge has been split into.

#include "imprint/SplitHistory_Impl.h"

namespace Velk::Math::Sorvane::Mesh::Impl {

double SplitHistory::SplitEdge::ParameterOf(const Vec3d& point) const
{
    const double squaredLength = along * along;
    return squaredLength > 0 ? (point - start) * along / squaredLength : 0.0;
}

void SplitHistory::Record(int kept, int made, const Vec3d& start, const Vec3d& middle,
                          const Vec3d& end)
{
    auto place = places_.find(kept);
    if (place == places_.end()) {
        SplitEdge& edge = edges_.emplace_back(SplitEdge{start, end - start, {}});
        place = places_.emplace(kept, Place{&edge, edge.pieces.emplace(0.0, kept)}).first;
    }
    SplitEdge& edge = *place->second.edge;
    const auto added = edge.pieces.emplace(edge.ParameterOf(middle), made);
    Forget(made); // a number of an edge that went
    const bool runsUpward = edge.ParameterOf(start) <= edge.ParameterOf(end);
    if (runsUpward) {
        places_.insert_or_assign(made, Place{&edge, added});
    } else {
        // Toward the edge's end lies what was kept.
        places_.insert_or_assign(made, Place{&edge, place->second.piece});
        place = places_.find(kept);
        place->second.piece->second = made;
        place->second.piece = added;
        added->second = kept;
    }
}

void SplitHistory::Forget(int pair)
{
    const auto place = places_.find(pair);
    if (place != places_.end()) {
        place->second.edge->pieces.erase(place->second.piece);
        places_.erase(place);
    }
}

void SplitHistory::Clear()
{
    places_.clear();
    edges_.clear();
}

} // namespace Velk::Math::Sorvane::Mesh::Impl
