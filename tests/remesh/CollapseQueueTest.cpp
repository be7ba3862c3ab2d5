// The queue of a decimation gives out what the plainest one would: at every time the least of what
// is in it, however much of that waits without order, lies in the heap, or is taken out ahead.

#include "remesh/CollapseQueue_Impl.h"

#include "tests/support/Random.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <utility>

namespace {

using Velk::Math::Sorvane::HalfEdge::Impl::CollapseQueue;

TEST(CollapseQueue, GivesTheLeastWhateverComesInBetween)
{
    const auto noneIsDead = [](int) { return false; };
    // Costs of few values are often equal; of many values hardly ever.
    for (const int values : {1, 5, 1'000'000}) {
        for (const int initial : {0, 3, 60, 20'000}) {
            Support::Random random(static_cast<std::uint64_t>(values + initial));
            CollapseQueue queue;
            std::multiset<std::pair<double, int>> model;
            const auto push = [&](double cost) {
                const int edge = random.Below(50);
                queue.Push(cost, edge);
                model.insert({cost, edge});
            };
            for (int i = 0; i < initial; ++i) {
                push(random.Below(values));
            }
            CollapseQueue::Entry entry{};
            while (queue.Pop(entry, noneIsDead)) {
                ASSERT_FALSE(model.empty());
                ASSERT_EQ(std::make_pair(entry.cost, entry.edge), *model.begin());
                model.erase(model.begin());
                // Those known ahead are some of the next ones, in order.
                auto next = model.begin();
                for (const CollapseQueue::Upcoming& upcoming : queue.Next()) {
                    ASSERT_EQ(std::make_pair(upcoming.entry.cost, upcoming.entry.edge), *next);
                    ++next;
                }
                // Cheaper than all that is there, about as cheap as the next ones, or anything.
                switch (random.Below(7)) {
                case 0:
                    push(entry.cost - 1.0);
                    break;
                case 1:
                    push(entry.cost);
                    push(entry.cost + random.Below(3));
                    break;
                case 2:
                    push(random.Below(values));
                    break;
                default:
                    break;
                }
            }
            EXPECT_TRUE(model.empty());
            EXPECT_TRUE(queue.IsEmpty());
        }
    }
}

} // namespace
