// Every long operation in a progress scope: the same bits when nobody stops, the neutral result
// wherever it is stopped, and the same bits again afterwards.

#include "tests/support/LongOperations.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ThreadLimit.h"

#include <Velk/Progress_E.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <limits>
#include <new>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using Support::LongOperation;
using Support::Outcome;
using Velk::ProgressScope;

constexpr std::int64_t kSize = 1200;
/// Never, for a scope that counts its reports.
constexpr int kNever = -1;

struct Heard {
    Outcome outcome;
    int reports = 0;
    int falls = 0; // of the fraction, from one report to the next
    double lowest = 1;
    double highest = 0;
    bool wasStopped = false;
};

/// The call in a scope that stops at the report of that number, and is asked at every check.
Heard InScope(const std::function<Outcome()>& call, int stopAt)
{
    Heard heard;
    double last = 0;
    const ProgressScope scope(
        [&](double fraction) {
            ++heard.reports;
            heard.falls += fraction < last ? 1 : 0;
            heard.lowest = std::min(heard.lowest, fraction);
            heard.highest = std::max(heard.highest, fraction);
            last = fraction;
            return heard.reports != stopAt;
        },
        std::chrono::milliseconds(0));
    heard.outcome = call();
    heard.wasStopped = scope.WasStopped();
    return heard;
}

class ProgressOfOperations : public testing::TestWithParam<LongOperation> {};

TEST_P(ProgressOfOperations, GoesOnWithTheSameBits)
{
    const auto call = GetParam().prepare(kSize);
    const Outcome alone = call();
    EXPECT_FALSE(alone.isNeutral);
    for (const int threads : {1, 4}) {
        Support::WithThreads(threads, [&] {
            const Heard heard = InScope(call, kNever);
            EXPECT_EQ(heard.outcome.bits, alone.bits) << threads;
            EXPECT_GT(heard.reports, 0);
            EXPECT_GE(heard.lowest, 0);
            EXPECT_LE(heard.highest, 1);
            // It begins anew with each of the operations that the call consists of.
            EXPECT_LT(heard.falls, GetParam().calls);
            EXPECT_FALSE(heard.wasStopped);
        });
    }
}

TEST_P(ProgressOfOperations, StopsEverywhere)
{
    if (!Support::CanLimitThreads()) {
        GTEST_SKIP() << "which checks come, and when, is known for one thread only";
    }
    const auto call = GetParam().prepare(kSize);
    const Outcome alone = call();
    Support::WithThreads(1, [&] {
        // The first ones, the last one, and some between: without other threads they are always
        // the same.
        const int count = InScope(call, kNever).reports;
        std::set<int> places{1, 2, count};
        for (int i = 1; i < 7; ++i) {
            places.insert(count * i / 7);
        }
        for (const int place : places) {
            if (place < 1 || place > count) {
                continue;
            }
            SCOPED_TRACE(std::to_string(place) + " of " + std::to_string(count));
            const Heard heard = InScope(call, place);
            EXPECT_TRUE(heard.wasStopped);
            EXPECT_TRUE(heard.outcome.isNeutral);
            EXPECT_EQ(heard.reports, place); // nothing is asked afterwards
        }
    });
    EXPECT_EQ(call().bits, alone.bits);
}

TEST_P(ProgressOfOperations, StopsOnSeveralThreads)
{
    const auto call = GetParam().prepare(kSize);
    const Outcome alone = call();
    Support::WithThreads(4, [&] {
        for (const int place : {1, 3, 10}) {
            const Heard heard = InScope(call, place);
            // Which checks fall to this thread depends on the others: there may be fewer.
            if (heard.wasStopped) {
                EXPECT_TRUE(heard.outcome.isNeutral) << place;
            } else {
                EXPECT_EQ(heard.outcome.bits, alone.bits) << place;
            }
        }
    });
    EXPECT_EQ(call().bits, alone.bits);
}

TEST_P(ProgressOfOperations, WhatAReportThrowsComesOut)
{
    struct Leave {};
    const auto call = GetParam().prepare(kSize);
    const Outcome alone = call();
    for (const int place : {1, 2, 7, 40}) {
        int reports = 0;
        const ProgressScope scope(
            [&](double) {
                if (++reports == place) {
                    throw Leave();
                }
                return true;
            },
            std::chrono::milliseconds(0));
        bool hasLeft = false;
        try {
            call();
        } catch (const Leave&) {
            hasLeft = true;
        }
        EXPECT_EQ(hasLeft, reports >= place) << place;
        EXPECT_FALSE(scope.WasStopped());
    }
    EXPECT_EQ(call().bits, alone.bits);
}

TEST_P(ProgressOfOperations, IsNeutralAtOnceInAStoppedScope)
{
    const auto call = GetParam().prepare(kSize);
    bool isOver = false;
    const ProgressScope scope(
        [&](double) {
            EXPECT_FALSE(isOver);
            isOver = true;
            return false;
        },
        std::chrono::milliseconds(0));
    call();
    EXPECT_TRUE(scope.WasStopped());
    EXPECT_TRUE(call().isNeutral);
}

INSTANTIATE_TEST_SUITE_P(All, ProgressOfOperations, testing::ValuesIn(Support::LongOperations()),
                         [](const auto& test) {
                             std::string name = test.param.name;
                             std::erase_if(name, [](char c) { return std::isalnum(c) == 0; });
                             return name;
                         });

using Velk::Math::Vec3d;
using Mesh = Velk::Math::Sorvane::Mesh::IndexedPointsBase<3, double>;

/// Area of the mesh; NaN where two triangles run through an edge in the same direction.
double AreaOfSurface(const Mesh& mesh)
{
    std::set<std::pair<int, int>> halfEdges;
    double area = 0;
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        std::array<Vec3d, 3> corner;
        for (std::size_t k = 0; k < 3; ++k) {
            corner[k] = mesh.points.at(static_cast<std::size_t>(mesh.indices[i + k]));
            if (!halfEdges.emplace(mesh.indices[i + k], mesh.indices[i + (k + 1) % 3]).second) {
                return std::numeric_limits<double>::quiet_NaN();
            }
        }
        area += Length((corner[1] - corner[0]) ^ (corner[2] - corner[0])) / 2;
    }
    return area;
}

/// What a stop leaves of an imprint is a whole surface, on which one may go on.
TEST(ProgressOfImprints, StopLeavesASoundMesh)
{
    using Velk::Math::Sorvane::Mesh::MeshImprint;
    const Mesh sheet = Support::LongOperationInputs::Sheet(400);
    const double area = AreaOfSurface(sheet);
    const std::vector<Vec3d> loop = Support::LongOperationInputs::LoopOnSheet(sheet, 60);
    int stops = 0;
    for (int place = 1; place < 200; place += 3) {
        SCOPED_TRACE(place);
        MeshImprint imprint(sheet, 1e-6);
        {
            int reports = 0;
            const ProgressScope scope([&](double) { return ++reports != place; },
                                      std::chrono::milliseconds(0));
            std::vector<Vec3d> path = loop;
            const bool isImprinted = imprint.ImprintPath(path, true, true);
            EXPECT_EQ(isImprinted, !scope.WasStopped());
            stops += scope.WasStopped() ? 1 : 0;
        }
        Mesh cut;
        std::vector<unsigned char> flags;
        ASSERT_TRUE(imprint.Export(cut, flags));
        EXPECT_NEAR(AreaOfSurface(cut), area, 1e-6 * area);
        std::vector<Vec3d> path = loop;
        EXPECT_TRUE(imprint.ImprintPath(path, true, true));
        EXPECT_TRUE(imprint.PaintInsideOutside());
        EXPECT_TRUE(imprint.Export(cut, true));
        EXPECT_LT(AreaOfSurface(cut), 0.9 * area);
    }
    EXPECT_GT(stops, 10);
}

/// A stop is no failure: the union may be asked for again.
TEST(ProgressOfUnions, StopKeepsTheBatches)
{
    using Velk::Math::Sorvane::Planar::BufferredUnion;
    using Loops = BufferredUnion::Polylines;
    const Loops squares{{{0, 0}, {2, 0}, {2, 2}, {0, 2}, {0, 0}},
                        {{1, 1}, {3, 1}, {3, 3}, {1, 3}, {1, 1}}};
    BufferredUnion all({-1, -1}, {4, 4}, 100);
    ASSERT_TRUE(all.Append(squares));
    {
        const ProgressScope scope([](double) { return false; }, std::chrono::milliseconds(0));
        EXPECT_TRUE(all.Process().empty());
        EXPECT_TRUE(scope.WasStopped());
    }
    EXPECT_TRUE(all.IsValid());
    {
        const ProgressScope scope([](double) -> bool { throw std::bad_alloc(); },
                                  std::chrono::milliseconds(0));
        EXPECT_THROW(all.Process(), std::bad_alloc); // of the host, not for the result
    }
    EXPECT_TRUE(all.IsValid());
    const Loops loops = all.Process();
    ASSERT_EQ(loops.size(), 1U);
    double doubledArea = 0;
    for (std::size_t i = 0; i + 1 < loops[0].size(); ++i) {
        doubledArea += loops[0][i] ^ loops[0][i + 1];
    }
    EXPECT_NEAR(doubledArea, 14, 1e-6); // two squares of 4 that share 1
}

} // namespace
