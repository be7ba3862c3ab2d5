/* Queries within a progress scope that has asked to stop: each of them says so, and gives no handle. */
#include "Measure.h"

#include <stdlib.h>

static int stop(double fraction, void *user)
{
    (void)fraction;
    ++*(int *)user;
    return 0;
}

#define CHECK_STOPPED(call)                                                                                            \
    do {                                                                                                               \
        error.status = SORVANE_OK;                                                                                     \
        CHECK((call) == SORVANE_STOPPED);                                                                              \
        CHECK(error.status == SORVANE_STOPPED);                                                                        \
    } while (0)

static int flat_field(const double *points, size_t count, double *values, double *directions, void *user)
{
    size_t i;
    (void)directions;
    (void)user;
    for (i = 0; i < count; ++i) {
        values[i] = points[3 * i] - 0.5;
    }
    return 1;
}

static void a_long_search_stops(sorvane_triangle_tree *tree, sorvane_progress **progress)
{
    enum { many = 1000000 };
    sorvane_error error;
    double *points = malloc(3 * sizeof(double) * many);
    double *distances = malloc(sizeof(double) * many);
    int calls = 0;
    int i;
    CHECK(points != NULL && distances != NULL);
    if (points != NULL && distances != NULL) {
        for (i = 0; i < 3 * many; ++i) {
            points[i] = i % 9973 / 1000.0 - 5;
        }
        CHECK_OK(sorvane_progress_open(stop, &calls, progress, &error));
        CHECK_STOPPED(sorvane_triangle_tree_nearest(tree, points, many, INFINITY, NULL, NULL, distances, &error));
        CHECK(calls == 1 && sorvane_progress_was_stopped(*progress));
        /* The scope stays open; `calls` is not asked again. */
    }
    free(points);
    free(distances);
}

void test_stops(void)
{
    sorvane_error error;
    sorvane_progress *progress = NULL;
    sorvane_mesh *cube = new_cube();
    sorvane_mesh *other = new_moved_cube(1, 1, 1, 1);
    sorvane_mesh *mesh = NULL;
    sorvane_mesh *second = NULL;
    sorvane_mesh *third = NULL;
    sorvane_lines *lines = NULL;
    sorvane_lists *lists = NULL;
    sorvane_sections *sections = NULL;
    sorvane_slicer *slicer = NULL;
    sorvane_triangle_tree *tree = NULL;
    sorvane_triangle_tree *no_tree = NULL;
    sorvane_crossings *crossings = NULL;
    sorvane_edges *edges = NULL;
    sorvane_arcs *arcs = NULL;
    sorvane_holes *holes = NULL;
    sorvane_clusters *clusters = NULL;
    sorvane_imprint *imprint = NULL;
    sorvane_tracer *tracer = NULL;
    sorvane_sweep *sweep = NULL;
    sorvane_volume *volume = NULL;
    sorvane_volume *volumes = NULL;
    sorvane_cells *cells = NULL;
    sorvane_hausdorff report;
    sorvane_hausdorff_bounds bounds;
    sorvane_grid grid;
    const double heights[2] = {0, 0.5};
    const double up[3] = {0, 0, 1};
    const double ones[3] = {1, 1, 1};
    const double zeros[3] = {0, 0, 0};
    const double square[12] = {-0.5, -0.5, 1, 0.5, -0.5, 1, 0.5, 0.5, 1, -0.5, 0.5, 1};
    const double outline[8] = {0, 0, 1, 0, 1, 1, 0, 1};
    const int starts[2] = {0, 4};
    const long long path = 7;
    const int depth = 1;
    const int mask[3] = {1, 0, 0};
    double numbers[36];
    int groups[12];
    CHECK_OK(sorvane_slicer_new(cube, up, &slicer, &error));
    CHECK_OK(sorvane_triangle_tree_new(cube, &tree, &error));
    CHECK_OK(sorvane_tracer_new(cube, 1e-6, &tracer, &error));
    CHECK_OK(sorvane_sweep_new(cube, &sweep, &error));
    sorvane_grid_init(&grid);
    CHECK_OK(sorvane_volume_of_field(&grid, flat_field, NULL, &volume, &error));
    a_long_search_stops(tree, &progress);

    CHECK_STOPPED(sorvane_mesh_sections(cube, up, heights, 2, NULL, &sections, &error));
    CHECK_STOPPED(sorvane_slicer_sections(slicer, heights, 2, NULL, &sections, &error));
    CHECK(sections == NULL);
    CHECK_STOPPED(sorvane_mesh_split(cube, up, zeros, 1e-9, &mesh, NULL, &second, NULL, &error));
    CHECK(mesh == NULL && second == NULL);
    CHECK_STOPPED(sorvane_mesh_intersection(cube, other, &lines, &error));
    CHECK_STOPPED(sorvane_mesh_self_intersection(cube, &lines, &error));
    CHECK_STOPPED(sorvane_mesh_cut_along(cube, other, &mesh, &second, &third, &error));
    CHECK(lines == NULL && mesh == NULL && second == NULL && third == NULL);

    CHECK_STOPPED(sorvane_triangle_tree_new(cube, &no_tree, &error));
    CHECK_STOPPED(sorvane_triangle_tree_signed_distances(tree, ones, 1, numbers, &error));
    CHECK_STOPPED(sorvane_triangle_tree_on_lines(tree, ones, up, 1, &lists, &error));
    CHECK_STOPPED(sorvane_triangle_tree_in_boxes(tree, zeros, ones, 1, &lists, &error));
    CHECK_STOPPED(sorvane_mesh_project_vertically(cube, ones, 1, numbers, &error));
    CHECK_STOPPED(sorvane_mesh_crossings(cube, square, 4, starts, 1, &crossings, &error));
    CHECK_STOPPED(sorvane_mesh_hausdorff(cube, other, &report, &error));
    CHECK_STOPPED(sorvane_mesh_hausdorff_bounds(cube, other, 0.1, &bounds, &error));
    CHECK(no_tree == NULL && lists == NULL && crossings == NULL);

    CHECK_STOPPED(sorvane_mesh_sharp_edges(cube, 0.5, 1, &edges, &error));
    CHECK_STOPPED(sorvane_mesh_boundary_edges(cube, &edges, &error));
    CHECK_STOPPED(sorvane_mesh_longest_straight_boundary(cube, 1e-6, numbers, &error));
    CHECK_STOPPED(sorvane_mesh_arcs(cube, NULL, &arcs, &error));
    CHECK_STOPPED(sorvane_mesh_drill_holes(cube, NULL, &holes, &error));
    CHECK_STOPPED(sorvane_mesh_facet_clusters(cube, 1e-6, &clusters, &error));
    CHECK_STOPPED(sorvane_mesh_normal_groups(cube, 0.2, groups, &error));
    CHECK_STOPPED(sorvane_mesh_curvatures(cube, 1e-12, numbers, NULL, NULL, NULL, NULL, &error));
    CHECK(edges == NULL && arcs == NULL && holes == NULL && clusters == NULL);

    CHECK_STOPPED(sorvane_mesh_imprint(cube, square, 4, starts, 1, NULL, NULL, &imprint, &error));
    CHECK_STOPPED(sorvane_mesh_embed(cube, square, 4, starts, 1, 1e-9, 0, &mesh, &lists, &error));
    CHECK_STOPPED(sorvane_tracer_walks(tracer, square, up, heights, 1, &lines, &error));
    CHECK(imprint == NULL && mesh == NULL && lists == NULL && lines == NULL);

    CHECK_STOPPED(sorvane_sweep_along(sweep, square, 4, &mesh, &error));
    CHECK_STOPPED(sorvane_volume_of_field(&grid, flat_field, NULL, &volumes, &error));
    CHECK_STOPPED(sorvane_volume_union(volume, volume, &volumes, &error));
    CHECK_STOPPED(sorvane_volume_intersection(volume, volume, &volumes, &error));
    CHECK_STOPPED(sorvane_volume_difference(volume, volume, &volumes, &error));
    CHECK_STOPPED(sorvane_volume_surface(volume, &mesh, &error));
    CHECK_STOPPED(sorvane_solid_cells(3, &depth, &path, 1, 1, &cells, &error));
    CHECK_STOPPED(sorvane_cells_surface(&path, 1, 1, ones, zeros, &mesh, &error));
    CHECK_STOPPED(sorvane_mesh_extrude(outline, 4, 0, 1, 1, &mesh, &error));
    CHECK_STOPPED(sorvane_mesh_revolve(square, 4, zeros, up, 0.1, &mesh, &error));
    CHECK_STOPPED(sorvane_mesh_patch(square, 4, &mesh, &error));
    CHECK_STOPPED(sorvane_patch_mesh(0, mask, 3, SORVANE_PATCH_MIDPOINTS, SORVANE_PATCH_WHOLE, &mesh, &error));
    CHECK(mesh == NULL && volumes == NULL && cells == NULL);

    sorvane_progress_close(progress);
    /* Afterwards they answer again. */
    CHECK_OK(sorvane_slicer_sections(slicer, heights, 2, NULL, &sections, &error));
    sorvane_sections_free(sections);
    sorvane_volume_free(volume);
    sorvane_sweep_free(sweep);
    sorvane_tracer_free(tracer);
    sorvane_triangle_tree_free(tree);
    sorvane_slicer_free(slicer);
    sorvane_mesh_free(other);
    sorvane_mesh_free(cube);
}
