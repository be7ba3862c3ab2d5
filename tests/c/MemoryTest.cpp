// Where memory runs out, whichever allocation it is, a function of the C interface says so, gives
// no handle, and loses nothing (the address sanitizer looks for that).

#include "tests/support/FailingAllocation.h"
#include "tests/support/ThreadLimit.h"

#include <sorvane.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <new>
#include <stdexcept>
#include <vector>

namespace {

/// Runs a call that makes a handle with each of its allocations failing in turn; the number of
/// failures met.
template <class Handle>
std::size_t FailEach(const std::function<sorvane_status(Handle**, sorvane_error*)>& make,
                     void (*release)(Handle*))
{
    for (std::size_t k = 1;; ++k) {
        SCOPED_TRACE("allocation " + std::to_string(k) + " fails");
        Handle* handle = nullptr;
        sorvane_error error{};
        sorvane_status status = SORVANE_OK;
        bool hasFailed = false;
        Support::WithThreads(1, [&] {
            const Support::FailingAllocation failure(k);
            status = make(&handle, &error);
            hasFailed = failure.HasFailed();
        });
        if (!hasFailed) {
            EXPECT_EQ(SORVANE_OK, status) << error.message;
            EXPECT_NE(nullptr, handle);
            release(handle);
            return k - 1;
        }
        // A call may do without some memory that it would have liked to have.
        if (status == SORVANE_OK) {
            EXPECT_NE(nullptr, handle);
            release(handle);
        } else {
            EXPECT_EQ(SORVANE_OUT_OF_MEMORY, status) << error.message;
            EXPECT_STREQ("out of memory", error.message);
            EXPECT_EQ(nullptr, handle);
        }
    }
}

class CMemory : public testing::Test {
protected:
    CMemory()
    {
        // A wavy square of 8 x 8 cells with two tags.
        std::vector<double> points;
        std::vector<int> triangles;
        std::vector<unsigned long long> tags;
        for (int y = 0; y <= 8; ++y) {
            for (int x = 0; x <= 8; ++x) {
                points.insert(points.end(), {1.0 * x, 1.0 * y, 0.1 * std::sin(x + 2.0 * y)});
            }
        }
        for (int a = 0; a < 72; ++a) {
            if (a % 9 != 8) {
                triangles.insert(triangles.end(), {a, a + 1, a + 10, a, a + 10, a + 9});
                tags.insert(tags.end(), 2, a % 9 < 4 ? 1 : 1ULL << 60);
            }
        }
        sorvane_mesh* plain = nullptr;
        sorvane_mesh_new(points.data(), points.size() / 3, triangles.data(), triangles.size() / 3,
                         &plain, nullptr);
        sorvane_mesh_with_tags(plain, nullptr, 0, tags.data(), tags.size(), &mesh, nullptr);
        sorvane_mesh_free(plain);
    }
    ~CMemory() override { sorvane_mesh_free(mesh); }
    CMemory(const CMemory&) = delete;
    CMemory& operator=(const CMemory&) = delete;

    void Expect(const std::function<sorvane_status(sorvane_mesh**, sorvane_error*)>& make)
    {
        EXPECT_LT(0U, FailEach<sorvane_mesh>(make, sorvane_mesh_free));
    }

    /// The same for a call that makes no handle.
    static void ExpectNumbers(const std::function<sorvane_status(sorvane_error*)>& call)
    {
        static int done;
        EXPECT_LT(0U, FailEach<int>(
                          [&](int** out, sorvane_error* error) {
                              const sorvane_status status = call(error);
                              *out = status == SORVANE_OK ? &done : nullptr;
                              return status;
                          },
                          [](int*) {}));
    }

    sorvane_mesh* mesh = nullptr;
};

} // namespace

TEST_F(CMemory, MeshesOfMeshes)
{
    Expect([&](auto out, auto error) { return sorvane_mesh_weld(mesh, 1e-6, out, error); });
    Expect([&](auto out, auto error) {
        return sorvane_mesh_match_normals(mesh, out, nullptr, error);
    });
    Expect([&](auto out, auto error) { return sorvane_mesh_joined(&mesh, 1, out, error); });
    Expect([&](auto out, auto error) {
        const int list[3] = {1, 2, 5};
        return sorvane_mesh_part(mesh, list, 3, out, error);
    });
    Expect([&](auto out, auto error) {
        return sorvane_mesh_refine(mesh, SORVANE_MIDPOINTS, 1, out, error);
    });
}

TEST_F(CMemory, RemeshingAndDecimation)
{
    Expect([&](auto out, auto error) {
        sorvane_remesh_options options;
        sorvane_remesh_options_init(&options);
        options.iterations = 1;
        return sorvane_mesh_remesh(mesh, &options, out, error);
    });
    Expect([&](auto out, auto error) {
        return sorvane_mesh_decimate(mesh, nullptr, out, nullptr, error);
    });
    Expect([&](auto out, auto error) { return sorvane_mesh_improve(mesh, 1, 0.01, out, error); });
}

TEST_F(CMemory, ReportsAndComponents)
{
    EXPECT_LT(0U, FailEach<sorvane_mesh_report>(
                      [&](auto out, auto error) {
                          return sorvane_mesh_report_new(mesh, 1e-6, out, error);
                      },
                      sorvane_mesh_report_free));
    EXPECT_LT(0U, FailEach<sorvane_components>(
                      [&](auto out, auto error) {
                          return sorvane_mesh_components(mesh, SORVANE_SHARED_EDGE, out, error);
                      },
                      sorvane_components_free));
}

TEST_F(CMemory, HullsAndTriangulations)
{
    std::size_t count = 0;
    const double* points = sorvane_mesh_points(mesh, &count);
    Expect([&](auto out, auto error) { return sorvane_hull_3d(points, count, out, error); });
    std::vector<double> flat;
    for (std::size_t i = 0; i < count; ++i) {
        flat.insert(flat.end(), {points[3 * i], points[3 * i + 1]});
    }
    Expect([&](auto out, auto error) {
        return sorvane_delaunay(flat.data(), count, nullptr, 0, 0, out, error);
    });
    EXPECT_LT(0U, FailEach<sorvane_lines>(
                      [&](auto out, auto error) {
                          return sorvane_hull_2d(flat.data(), count, out, error);
                      },
                      sorvane_lines_free));
}

TEST_F(CMemory, SectionsAndHalves)
{
    const double normal[3] = {1, 0, 0};
    const double heights[3] = {1.5, 2.5, 4};
    const double place[3] = {3.3, 0, 0};
    EXPECT_LT(0U, FailEach<sorvane_sections>(
                      [&](auto out, auto error) {
                          return sorvane_mesh_sections(mesh, normal, heights, 3, nullptr, out,
                                                       error);
                      },
                      sorvane_sections_free));
    EXPECT_LT(0U, FailEach<sorvane_slicer>(
                      [&](auto out, auto error) {
                          return sorvane_slicer_new(mesh, normal, out, error);
                      },
                      sorvane_slicer_free));
    Expect([&](auto out, auto error) {
        // Of the two halves neither is left behind when the other can't be made.
        sorvane_mesh* above = nullptr;
        const sorvane_status status = sorvane_mesh_split(mesh, normal, place, 1e-9, out, nullptr,
                                                         &above, nullptr, error);
        EXPECT_EQ(status == SORVANE_OK, above != nullptr);
        sorvane_mesh_free(above);
        return status;
    });
}

TEST_F(CMemory, SearchTreesAndFeatures)
{
    const double origin[3] = {3.3, 2.2, 9};
    const double down[3] = {0, 0, -1};
    EXPECT_LT(0U, FailEach<sorvane_triangle_tree>(
                      [&](auto out, auto error) {
                          return sorvane_triangle_tree_new(mesh, out, error);
                      },
                      sorvane_triangle_tree_free));
    sorvane_triangle_tree* tree = nullptr;
    ASSERT_EQ(SORVANE_OK, sorvane_triangle_tree_new(mesh, &tree, nullptr));
    EXPECT_LT(0U, FailEach<sorvane_lists>(
                      [&](auto out, auto error) {
                          return sorvane_triangle_tree_on_lines(tree, origin, down, 1, out, error);
                      },
                      sorvane_lists_free));
    sorvane_triangle_tree_free(tree);
    EXPECT_LT(0U, FailEach<sorvane_holes>(
                      [&](auto out, auto error) {
                          return sorvane_mesh_drill_holes(mesh, nullptr, out, error);
                      },
                      sorvane_holes_free));
    EXPECT_LT(0U, FailEach<sorvane_clusters>(
                      [&](auto out, auto error) {
                          return sorvane_mesh_facet_clusters(mesh, 1e-6, out, error);
                      },
                      sorvane_clusters_free));
}

TEST_F(CMemory, ImprintsAndSolids)
{
    const double line[9] = {0.5, 0.25, 0.1 * std::sin(0.5), 2.5, 0.25, 0.25, 2.5, 3.5, 0.125};
    const int starts[2] = {0, 3};
    sorvane_imprint_options options;
    sorvane_imprint_options_init(&options);
    options.tolerance = 0.5;
    EXPECT_LT(0U, FailEach<sorvane_imprint>(
                      [&](auto out, auto error) {
                          return sorvane_mesh_imprint(mesh, line, 3, starts, 1, nullptr, &options,
                                                      out, error);
                      },
                      sorvane_imprint_free));
    sorvane_sweep* sweep = nullptr;
    ASSERT_EQ(SORVANE_OK, sorvane_sweep_new(mesh, &sweep, nullptr));
    Expect([&](auto out, auto error) { return sorvane_sweep_along(sweep, line, 3, out, error); });
    sorvane_sweep_free(sweep);
    sorvane_grid grid;
    sorvane_grid_init(&grid);
    const double values[8] = {-1, 1, 1, 1, 1, 1, 1, 1};
    EXPECT_LT(0U, FailEach<sorvane_volume>(
                      [&](auto out, auto error) {
                          return sorvane_volume_new(&grid, values, 8, nullptr, out, error);
                      },
                      sorvane_volume_free));
    sorvane_volume* volume = nullptr;
    ASSERT_EQ(SORVANE_OK, sorvane_volume_new(&grid, values, 8, nullptr, &volume, nullptr));
    Expect([&](auto out, auto error) { return sorvane_volume_surface(volume, out, error); });
    sorvane_volume_free(volume);
    const double profile[8] = {0, 0, 2, 0, 2, 1, 0, 1};
    Expect([&](auto out, auto error) {
        return sorvane_mesh_extrude(profile, 4, 0, 1, 1, out, error);
    });
}

TEST_F(CMemory, ChainsAndRegions)
{
    const double outline[8] = {0, 0, 8, 0, 8, 5, 0, 5};
    const double other[8] = {4, 2, 12, 3, 11, 9, 5, 8};
    const int starts[2] = {0, 4};
    sorvane_chain* chain = nullptr;
    sorvane_region* a = nullptr;
    sorvane_region* b = nullptr;
    ASSERT_EQ(SORVANE_OK, sorvane_chain_from_points(outline, 4, 1, 1e-9, &chain, nullptr));
    ASSERT_EQ(SORVANE_OK, sorvane_region_new(outline, 4, starts, 1, &a, nullptr));
    ASSERT_EQ(SORVANE_OK, sorvane_region_new(other, 4, starts, 1, &b, nullptr));
    const auto chains = [](const auto& make) {
        EXPECT_LT(0U, FailEach<sorvane_chains>(make, sorvane_chains_free));
    };
    chains([&](auto out, auto error) { return sorvane_chain_offset(chain, 1, 1e-6, out, error); });
    chains([&](auto out, auto error) {
        const double place = 3;
        return sorvane_chain_split(chain, &place, 1, 0, 1e-9, out, error);
    });
    const auto regions = [](const auto& make) {
        EXPECT_LT(0U, FailEach<sorvane_region>(make, sorvane_region_free));
    };
    // First of all unions, so that what one of them keeps for the next is made here.
    regions([&](auto out, auto error) { return sorvane_region_union(a, nullptr, out, error); });
    regions([&](auto out, auto error) { return sorvane_region_intersection(a, b, out, error); });
    regions([&](auto out, auto error) { return sorvane_region_offset(a, -1, 0.1, out, error); });
    regions([&](auto out, auto error) {
        return sorvane_mesh_silhouette(mesh, nullptr, nullptr, out, error);
    });
    const auto groups = [](const auto& make) {
        EXPECT_LT(0U, FailEach<sorvane_line_groups>(make, sorvane_line_groups_free));
    };
    groups([&](auto out, auto error) { return sorvane_region_pocket(a, 1, 1, 0.1, out, error); });
    groups([&](auto out, auto error) {
        return sorvane_region_clip(a, other, 4, starts, nullptr, 1, 0, 1e-9, out, error);
    });
    sorvane_chain_free(chain);
    sorvane_region_free(a);
    sorvane_region_free(b);
}

TEST_F(CMemory, ToolsAndSurfaces)
{
    EXPECT_LT(0U, FailEach<sorvane_tool>(
                      [](auto out, auto error) { return sorvane_tool_ball(2, 9, out, error); },
                      sorvane_tool_free));
    EXPECT_LT(0U, FailEach<sorvane_surface>(
                      [&](auto out, auto error) { return sorvane_surface_new(mesh, out, error); },
                      sorvane_surface_free));
    sorvane_surface* surface = nullptr;
    sorvane_tool* tool = nullptr;
    ASSERT_EQ(SORVANE_OK, sorvane_surface_new(mesh, &surface, nullptr));
    ASSERT_EQ(SORVANE_OK, sorvane_tool_ball(2, 9, &tool, nullptr));
    const double places[6] = {1.5, 2.5, 0, 4, 4, 0};
    double heights[4];
    ExpectNumbers([&](auto error) {
        return sorvane_surface_height_map(surface, tool, places, 2, places, 2, heights, nullptr,
                                          error);
    });
    ExpectNumbers([&](auto error) {
        return sorvane_surface_gouges(surface, tool, places, 2, 0, heights, nullptr, nullptr,
                                      error);
    });
    sorvane_tool_free(tool);
    sorvane_surface_free(surface);
}

TEST_F(CMemory, Turning)
{
    const double insert[6] = {0, 0, 1, 3, -1, 3};
    const double holder[8] = {-1, 3, 1, 3, 3, 14, -3, 14};
    const double shaft[10] = {0, 0, 0, 8, 60, 8, 60, 0, 0, 0};
    const double angle = 15;
    sorvane_lathe_setup setup;
    sorvane_lathe_setup_init(&setup);
    setup.tool = insert;
    setup.tool_count = 3;
    setup.holder = holder;
    setup.holder_count = 4;
    setup.target = shaft;
    setup.target_count = 5;
    const auto lines = [](const auto& make) {
        EXPECT_LT(0U, FailEach<sorvane_lines>(make, sorvane_lines_free));
    };
    lines([&](auto out, auto error) {
        sorvane_lines* second = nullptr;
        const sorvane_status status = sorvane_lathe_regions(&setup, out, &second, error);
        EXPECT_EQ(status == SORVANE_OK, second != nullptr);
        sorvane_lines_free(second);
        return status;
    });
    lines([&](auto out, auto error) {
        return sorvane_mesh_spin_outline(mesh, nullptr, nullptr, 0.01, out, error);
    });
    EXPECT_LT(0U, FailEach<sorvane_lathe_sweep>(
                      [&](auto out, auto error) {
                          return sorvane_lathe_sweep_new(&setup, &angle, 1, out, error);
                      },
                      sorvane_lathe_sweep_free));
}

TEST_F(CMemory, FilesLimitsAndMeasures)
{
    const double outline[8] = {0, 0, 8, 0, 8, 5, 0, 5};
    sorvane_chain* chain = nullptr;
    ASSERT_EQ(SORVANE_OK, sorvane_chain_from_points(outline, 4, 1, 1e-9, &chain, nullptr));
    ExpectNumbers([&](auto error) { return sorvane_chain_write(chain, "c-memory.txt", error); });
    EXPECT_LT(0U, FailEach<sorvane_chain>(
                      [&](auto out, auto error) {
                          return sorvane_chain_read("c-memory.txt", out, error);
                      },
                      sorvane_chain_free));
    sorvane_chain_free(chain);
    ExpectNumbers([&](auto error) {
        return sorvane_mesh_write(mesh, "c-memory.stl", SORVANE_FORM_UNKNOWN, error);
    });
    Expect([&](auto out, auto error) { return sorvane_mesh_read("c-memory.stl", out, error); });
    EXPECT_LT(0U, FailEach<sorvane_threads>(
                      [](auto out, auto error) { return sorvane_threads_open(2, out, error); },
                      sorvane_threads_close));
    double center[3];
    ExpectNumbers([&](auto error) { return sorvane_mesh_centroid(mesh, center, error); });
    sorvane_bytes* bytes = nullptr;
    ASSERT_EQ(SORVANE_OK, sorvane_mesh_write_bytes(mesh, SORVANE_FORM_TIPC, &bytes, nullptr));
    size_t count = 0;
    const unsigned char* const data = sorvane_bytes_data(bytes, &count);
    Expect([&](auto out, auto error) {
        return sorvane_mesh_read_bytes(data, count, nullptr, out, error);
    });
    sorvane_bytes_free(bytes);
    EXPECT_LT(0U, FailEach<sorvane_bytes>(
                      [&](auto out, auto error) {
                          return sorvane_mesh_write_bytes(mesh, SORVANE_FORM_TIPC, out, error);
                      },
                      sorvane_bytes_free));
    std::remove("c-memory.txt");
    std::remove("c-memory.stl");
}

TEST_F(CMemory, WhatCallbacksThrowIsAStatus)
{
    sorvane_grid grid;
    sorvane_grid_init(&grid);
    sorvane_volume* volume = nullptr;
    sorvane_error error{};
    const sorvane_field noMemory = [](const double*, std::size_t, double*, double*, void*) -> int {
        throw std::bad_alloc();
    };
    const sorvane_field other = [](const double*, std::size_t, double*, double*, void*) -> int {
        throw 7;
    };
    EXPECT_EQ(SORVANE_OUT_OF_MEMORY,
              sorvane_volume_of_field(&grid, noMemory, nullptr, &volume, &error));
    EXPECT_EQ(SORVANE_INTERNAL, sorvane_volume_of_field(&grid, other, nullptr, &volume, &error));
    EXPECT_EQ(nullptr, volume);

    sorvane_progress* progress = nullptr;
    const sorvane_report report = [](double, void*) -> int { throw std::runtime_error("no bar"); };
    ASSERT_EQ(SORVANE_OK, sorvane_progress_open(report, nullptr, &progress, nullptr));
    // Many triangles, so that there is a report at all.
    sorvane_mesh* fine = nullptr;
    sorvane_status status = SORVANE_OK;
    for (int i = 5; i < 9 && status == SORVANE_OK; ++i) {
        sorvane_mesh_free(fine);
        status = sorvane_mesh_refine(mesh, SORVANE_MIDPOINTS, i, &fine, &error);
    }
    EXPECT_EQ(SORVANE_INTERNAL, status);
    EXPECT_STREQ("no bar", error.message);
    EXPECT_EQ(nullptr, fine);
    EXPECT_EQ(0, sorvane_progress_was_stopped(progress));
    sorvane_progress_close(progress);
}
