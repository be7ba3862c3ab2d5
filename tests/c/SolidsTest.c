/* Swept volumes, grids of distances, cells, bodies and patches. */
#include "Measure.h"

#include <stddef.h>
#if !defined(SANITIZED)
#include <sys/resource.h>
#endif

static const double pi = 3.14159265358979323846;

static void a_cube_sweeps_a_bar(void)
{
    sorvane_error error;
    sorvane_mesh *cube = new_cube();
    sorvane_mesh *soup = NULL;
    sorvane_mesh *shell = NULL;
    sorvane_mesh *welded = NULL;
    sorvane_sweep *sweep = NULL;
    const double path[9] = {0, 0, 0, 3, 0, 0, 3, 0, 5};
    double corners[9];
    const int triangle[3] = {0, 1, 2};
    CHECK_OK(sorvane_sweep_new(cube, &sweep, &error));
    CHECK_OK(sorvane_sweep_along(sweep, path, 2, &shell, &error));
    CHECK_NEAR(volume_of(shell), 8 + 3 * 4, 1e-12);
    CHECK_OK(sorvane_mesh_weld(shell, 0, &welded, &error));
    CHECK(boundary_count(welded) == 0);
    sorvane_mesh_free(welded);
    sorvane_mesh_free(shell);
    /* Where the body comes over a place twice it counts twice: the cube at the bend. */
    CHECK_OK(sorvane_sweep_along(sweep, path, 3, &shell, &error));
    CHECK_NEAR(volume_of(shell), 8 + 3 * 4 + 5 * 4, 1e-12);
    sorvane_mesh_free(shell);
    CHECK_OK(sorvane_sweep_along(sweep, NULL, 0, &shell, &error));
    CHECK(triangle_count(shell) == 0);
    sorvane_mesh_free(shell);
    CHECK(sorvane_sweep_along(sweep, NULL, 2, &shell, &error) == SORVANE_BAD_ARGUMENT && shell == NULL);
    CHECK(sorvane_sweep_along(NULL, path, 2, &shell, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_sweep_free(sweep);
    sorvane_sweep_free(NULL);

    memcpy(corners, cube_points, sizeof corners);
    CHECK_OK(sorvane_mesh_new(corners, 3, triangle, 1, &soup, &error));
    CHECK(sorvane_sweep_new(soup, &sweep, &error) == SORVANE_FAILED && sweep == NULL);
    CHECK(strstr(error.message, "weld") != NULL);
    CHECK(sorvane_sweep_new(NULL, &sweep, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_mesh_free(soup);
    sorvane_mesh_free(cube);
}

/* A box from `user` = {x, y, z of its center, half edges}: distance, and where that grows. */
static int box_field(const double *points, size_t count, double *values, double *directions, void *user)
{
    const double *box = user;
    size_t i;
    for (i = 0; i < count; ++i) {
        double away[3];
        double nearest = -1e30;
        double squared = 0;
        int side = 0;
        int axis;
        for (axis = 0; axis < 3; ++axis) {
            const double q = points[3 * i + (size_t)axis] - box[axis];
            const double excess = fabs(q) - box[3 + axis];
            const double sign = q < 0 ? -1 : 1;
            away[axis] = excess > 0 ? sign * excess : 0;
            squared += away[axis] * away[axis];
            if (excess > nearest) {
                nearest = excess;
                side = axis;
            }
        }
        if (nearest > 0) {
            values[i] = sqrt(squared);
            for (axis = 0; axis < 3; ++axis) {
                directions[3 * i + (size_t)axis] = away[axis] / values[i];
            }
        } else {
            values[i] = nearest;
            directions[3 * i + (size_t)side] = points[3 * i + (size_t)side] < box[side] ? -1 : 1;
        }
    }
    return 1;
}

/* A ball of radius 0.8 by a function that is no distance; no directions. */
static int ball_field(const double *points, size_t count, double *values, double *directions, void *user)
{
    size_t i;
    (void)directions;
    for (i = 0; i < count; ++i) {
        const double *p = points + 3 * i;
        values[i] = p[0] * p[0] + p[1] * p[1] + p[2] * p[2] - 0.64;
    }
    ++*(int *)user;
    return 1;
}

static int stopping_field(const double *points, size_t count, double *values, double *directions, void *user)
{
    (void)points;
    (void)count;
    (void)values;
    (void)directions;
    return --*(int *)user > 0;
}

/* n nodes along each axis from -1 to 1. */
static sorvane_grid grid_of(int n)
{
    sorvane_grid grid;
    int axis;
    sorvane_grid_init(&grid);
    for (axis = 0; axis < 3; ++axis) {
        grid.nodes[axis] = n;
        grid.origin[axis] = -1;
        grid.spacing[axis] = 2.0 / (n - 1);
    }
    return grid;
}

static void boxes_come_out_sharp(void)
{
    sorvane_error error;
    sorvane_grid grid = grid_of(14);
    /* Faces between the nodes, none at half a cell. */
    double first[6] = {-0.13, 0.02, 0.04, 0.51, 0.62, 0.57};
    double second[6] = {0.27, 0.11, 0.09, 0.41, 0.33, 0.88};
    sorvane_volume *a = NULL;
    sorvane_volume *b = NULL;
    sorvane_volume *combined = NULL;
    sorvane_mesh *mesh = NULL;
    /* Common part: x from -0.14 to 0.38, y from -0.22 to 0.44, z from -0.53 to 0.61. */
    const double volume_a = 8 * 0.51 * 0.62 * 0.57;
    const double volume_b = 8 * 0.41 * 0.33 * 0.88;
    const double common = 0.52 * 0.66 * 1.14;
    CHECK_OK(sorvane_volume_of_field(&grid, box_field, first, &a, &error));
    CHECK_OK(sorvane_volume_of_field(&grid, box_field, second, &b, &error));
    CHECK_OK(sorvane_volume_surface(a, &mesh, &error));
    CHECK_NEAR(volume_of(mesh), volume_a, 1e-9);
    CHECK(boundary_count(mesh) == 0 && triangle_count(mesh) > 12);
    sorvane_mesh_free(mesh);

    CHECK_OK(sorvane_volume_union(a, b, &combined, &error));
    CHECK_OK(sorvane_volume_surface(combined, &mesh, &error));
    CHECK_NEAR(volume_of(mesh), volume_a + volume_b - common, 1e-3);
    CHECK(boundary_count(mesh) == 0);
    sorvane_mesh_free(mesh);
    sorvane_volume_free(combined);

    CHECK_OK(sorvane_volume_intersection(a, b, &combined, &error));
    CHECK_OK(sorvane_volume_surface(combined, &mesh, &error));
    CHECK_NEAR(volume_of(mesh), common, 1e-12);
    sorvane_mesh_free(mesh);
    sorvane_volume_free(combined);

    CHECK_OK(sorvane_volume_difference(a, b, &combined, &error));
    CHECK_OK(sorvane_volume_surface(combined, &mesh, &error));
    CHECK_NEAR(volume_of(mesh), volume_a - common, 1e-5);
    CHECK(boundary_count(mesh) == 0);
    sorvane_mesh_free(mesh);
    sorvane_volume_free(combined);
    sorvane_volume_free(a);
    sorvane_volume_free(b);
    sorvane_volume_free(NULL);
}

static void values_alone_make_a_ball(void)
{
    sorvane_error error;
    sorvane_grid grid = grid_of(25);
    sorvane_grid told;
    sorvane_volume *ball = NULL;
    sorvane_volume *copy = NULL;
    sorvane_mesh *mesh = NULL;
    sorvane_mesh *again = NULL;
    static double values[25 * 25 * 25];
    size_t count = 0;
    size_t i;
    int calls = 0;
    CHECK_OK(sorvane_volume_of_field(&grid, ball_field, &calls, &ball, &error));
    CHECK(calls == 25);
    sorvane_grid_init(&told);
    sorvane_volume_grid(ball, &told);
    CHECK(memcmp(told.nodes, grid.nodes, sizeof grid.nodes) == 0 && told.origin[2] == -1);
    {
        const double *samples = sorvane_volume_samples(ball, &count);
        CHECK(count == 25 * 25 * 25);
        CHECK_NEAR(samples[0], 3 - 0.64, 1e-12); /* at (-1, -1, -1) */
        CHECK_NEAR(samples[1], -1 / sqrt(3.0), 1e-9);
        for (i = 0; i < count; ++i) {
            values[i] = samples[4 * i];
        }
    }
    CHECK_OK(sorvane_volume_surface(ball, &mesh, &error));
    CHECK_NEAR(volume_of(mesh), 4.0 / 3 * pi * 0.512, 0.02);
    CHECK(boundary_count(mesh) == 0);
    {
        const double *points = sorvane_mesh_points(mesh, &count);
        for (i = 0; i < count; ++i) {
            CHECK_NEAR(sqrt(points[3 * i] * points[3 * i] + points[3 * i + 1] * points[3 * i + 1] +
                            points[3 * i + 2] * points[3 * i + 2]),
                       0.8, 0.01);
        }
    }
    /* The same from an array. */
    CHECK_OK(sorvane_volume_new(&grid, values, 25 * 25 * 25, NULL, &copy, &error));
    CHECK_OK(sorvane_volume_surface(copy, &again, &error));
    {
        size_t others = 0;
        const double *p = sorvane_mesh_points(mesh, &count);
        const double *q = sorvane_mesh_points(again, &others);
        CHECK(count == others && memcmp(p, q, 3 * count * sizeof(double)) == 0);
    }
    sorvane_mesh_free(mesh);
    sorvane_mesh_free(again);
    sorvane_volume_free(ball);
    sorvane_volume_free(copy);
}

static void surfaces_are_open_at_the_end_of_the_grid(void)
{
    sorvane_error error;
    sorvane_grid grid;
    sorvane_volume *half = NULL;
    sorvane_volume *flat = NULL;
    sorvane_volume *holed = NULL;
    sorvane_mesh *mesh = NULL;
    double values[4 * 4 * 4];
    size_t i;
    sorvane_grid_init(&grid);
    grid.nodes[0] = grid.nodes[1] = grid.nodes[2] = 4;
    for (i = 0; i < 64; ++i) {
        values[i] = (double)(i / 16) - 1.25; /* z - 1.25 */
    }
    CHECK_OK(sorvane_volume_new(&grid, values, 64, NULL, &half, &error));
    CHECK_OK(sorvane_volume_surface(half, &mesh, &error));
    /* The middles of the cells at the rim: 2 x 2. */
    CHECK_NEAR(area_of(mesh), 4, 1e-12);
    {
        const double *points = sorvane_mesh_points(mesh, NULL);
        CHECK_NEAR(points[2], 1.25, 1e-12);
    }
    CHECK(boundary_count(mesh) == 8);
    sorvane_mesh_free(mesh);
    sorvane_volume_free(half);

    /* What is no number is outside. */
    values[21] = NAN;
    CHECK_OK(sorvane_volume_new(&grid, values, 64, NULL, &holed, &error));
    CHECK_OK(sorvane_volume_surface(holed, &mesh, &error));
    {
        size_t count = 0;
        const double *points = sorvane_mesh_points(mesh, &count);
        for (i = 0; i < 3 * count; ++i) {
            CHECK(points[i] >= 0 && points[i] <= 3);
        }
    }
    sorvane_mesh_free(mesh);
    sorvane_volume_free(holed);

    /* A single layer has no cells. */
    grid.nodes[2] = 1;
    CHECK_OK(sorvane_volume_new(&grid, values, 16, NULL, &flat, &error));
    CHECK_OK(sorvane_volume_surface(flat, &mesh, &error));
    CHECK(triangle_count(mesh) == 0);
    sorvane_mesh_free(mesh);
    sorvane_volume_free(flat);
}

/* A pattern of signs on 4 x 4 x 4 nodes inside of a rim that is outside: every pattern must give a closed surface. */
static void any_signs_give_a_closed_surface(void)
{
    sorvane_error error;
    sorvane_grid grid;
    double values[6 * 6 * 6];
    unsigned int seed = 12345;
    int round;
    sorvane_grid_init(&grid);
    grid.nodes[0] = grid.nodes[1] = grid.nodes[2] = 6;
    for (round = 0; round < 60; ++round) {
        sorvane_volume *volume = NULL;
        sorvane_mesh *mesh = NULL;
        int i;
        int inside = 0;
        for (i = 0; i < 216; ++i) {
            const int x = i % 6;
            const int y = i / 6 % 6;
            const int z = i / 36;
            seed = seed * 1664525U + 1013904223U;
            values[i] = 0.2 + (seed >> 16) % 100 / 100.0;
            if (x > 0 && x < 5 && y > 0 && y < 5 && z > 0 && z < 5 && (seed >> 28) % 2 == 0) {
                values[i] = -values[i];
                ++inside;
            }
        }
        CHECK_OK(sorvane_volume_new(&grid, values, 216, NULL, &volume, &error));
        CHECK_OK(sorvane_volume_surface(volume, &mesh, &error));
        CHECK(boundary_count(mesh) == 0);
        CHECK(inside == 0 || (triangle_count(mesh) >= 12 && volume_of(mesh) > 0));
        sorvane_mesh_free(mesh);
        sorvane_volume_free(volume);
    }
}

/* x + y on nodes that have neighbors on both sides along x, and on one side along y: the same slope along both. */
static void directions_come_of_neighbors_on_one_side_or_on_both(void)
{
    sorvane_error error;
    sorvane_grid grid = grid_of(3);
    sorvane_volume *volume = NULL;
    const double values[6] = {0, 1, 2, 1, 2, 3};
    int i;
    grid.nodes[1] = 2;
    grid.nodes[2] = 1;
    grid.spacing[0] = grid.spacing[1] = 1;
    CHECK_OK(sorvane_volume_new(&grid, values, 6, NULL, &volume, &error));
    for (i = 0; i < 6; ++i) {
        const double *sample = sorvane_volume_samples(volume, NULL) + 4 * i;
        CHECK(sample[0] == values[i] && sample[3] == 0);
        CHECK_NEAR(sample[1], sqrt(0.5), 1e-15);
        CHECK_NEAR(sample[2], sqrt(0.5), 1e-15);
    }
    sorvane_volume_free(volume);
}

static void bad_grids_are_told(void)
{
    sorvane_error error;
    sorvane_grid grid = grid_of(3);
    sorvane_volume *volume = NULL;
    sorvane_volume *other = NULL;
    sorvane_volume *result = NULL;
    sorvane_mesh *mesh = NULL;
    double values[27] = {0};
    double box[6] = {0, 0, 0, 0.5, 0.5, 0.5};
    int countdown = 2;
    CHECK(sorvane_volume_new(NULL, values, 27, NULL, &volume, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_volume_new(&grid, values, 26, NULL, &volume, &error) == SORVANE_BAD_ARGUMENT && volume == NULL);
    CHECK(sorvane_volume_new(&grid, NULL, 27, NULL, &volume, &error) == SORVANE_BAD_ARGUMENT);
    grid.spacing[1] = 0;
    CHECK(sorvane_volume_new(&grid, values, 27, NULL, &volume, &error) == SORVANE_BAD_ARGUMENT);
    grid = grid_of(3);
    grid.origin[2] = NAN;
    CHECK(sorvane_volume_new(&grid, values, 27, NULL, &volume, &error) == SORVANE_BAD_ARGUMENT);
    grid = grid_of(3);
    grid.nodes[0] = 0;
    CHECK(sorvane_volume_new(&grid, values, 0, NULL, &volume, &error) == SORVANE_BAD_ARGUMENT);
    grid.nodes[0] = grid.nodes[1] = grid.nodes[2] = 2000;
    CHECK(sorvane_volume_of_field(&grid, box_field, box, &volume, &error) == SORVANE_BAD_ARGUMENT);
    grid = grid_of(3);
    CHECK(sorvane_volume_of_field(&grid, NULL, box, &volume, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_volume_of_field(&grid, stopping_field, &countdown, &volume, &error) == SORVANE_STOPPED);
    CHECK(volume == NULL && countdown == 0 && error.status == SORVANE_STOPPED);
    CHECK_OK(sorvane_volume_of_field(&grid, box_field, box, &volume, &error));
    grid.origin[0] = 0;
    CHECK_OK(sorvane_volume_of_field(&grid, box_field, box, &other, &error));
    CHECK(sorvane_volume_union(volume, other, &result, &error) == SORVANE_BAD_ARGUMENT && result == NULL);
    CHECK(sorvane_volume_difference(volume, NULL, &result, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_volume_surface(NULL, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_volume_free(volume);
    sorvane_volume_free(other);
}

/* With an address space that has no room for it a grid is refused, and nothing else is lost. */
static void a_lack_of_memory_is_a_status(void)
{
#if !defined(SANITIZED)
    sorvane_error error;
    sorvane_grid grid = grid_of(1200); /* 55 GB */
    sorvane_volume *volume = NULL;
    double box[6] = {0, 0, 0, 0.5, 0.5, 0.5};
    struct rlimit before;
    struct rlimit small;
    CHECK(getrlimit(RLIMIT_AS, &before) == 0);
    small = before;
    small.rlim_cur = (rlim_t)16 << 30;
    if (before.rlim_cur != RLIM_INFINITY && before.rlim_cur < small.rlim_cur) {
        small.rlim_cur = before.rlim_cur;
    }
    CHECK(setrlimit(RLIMIT_AS, &small) == 0);
    CHECK(sorvane_volume_of_field(&grid, box_field, box, &volume, &error) == SORVANE_OUT_OF_MEMORY);
    CHECK(setrlimit(RLIMIT_AS, &before) == 0);
    CHECK(volume == NULL && error.status == SORVANE_OUT_OF_MEMORY && error.index == -1);
#endif
}

static void cells_are_named_and_filled(void)
{
    sorvane_error error;
    sorvane_cells *cells = NULL;
    const double flat[6] = {0.6, 0.1, 0.1, 0.6, 0.99, 0.99};
    const double points[3] = {0.6, 0.6, 0.6};
    const double no_point[2] = {0.5, NAN};
    long long paths[216];
    int depths[216];
    double corner[3];
    size_t count = 0;
    size_t i;
    size_t given = 0;
    double volumes[4] = {0, 0, 0, 0};
    CHECK_OK(sorvane_cell_paths(2, flat, 3, 1, paths, &error));
    CHECK(paths[0] == 1 && paths[1] == 2 && paths[2] == 3);
    CHECK_OK(sorvane_cell_paths(2, flat, 3, 31, paths, &error));
    CHECK_OK(sorvane_cell_paths(3, points, 1, 2, paths, &error));
    CHECK(paths[0] == 7 * 8); /* upper on every axis, then lower */
    CHECK_OK(sorvane_cell_paths(3, points, 1, 0, paths, &error));
    CHECK(paths[0] == 0);
    CHECK(sorvane_cell_paths(4, points, 1, 2, paths, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_cell_paths(3, points, 1, 22, paths, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_cell_paths(3, points, 1, -1, paths, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_cell_paths(2, no_point, 1, 2, paths, &error) == SORVANE_BAD_ARGUMENT && error.index == 0);
    CHECK(sorvane_cell_paths(2, flat, 3, 2, NULL, &error) == SORVANE_BAD_ARGUMENT);

    /* The hull of the 6 x 6 x 6 cells in the middle of 8 x 8 x 8: 4 x 4 x 4 are enclosed. */
    for (i = 0; i < 216; ++i) {
        const size_t x = 1 + i % 6;
        const size_t y = 1 + i / 6 % 6;
        const size_t z = 1 + i / 36;
        if (x == 1 || x == 6 || y == 1 || y == 6 || z == 1 || z == 6) {
            corner[0] = (x + 0.5) / 8;
            corner[1] = (y + 0.5) / 8;
            corner[2] = (z + 0.5) / 8;
            CHECK_OK(sorvane_cell_paths(3, corner, 1, 3, paths + given, &error));
            depths[given] = 3;
            ++given;
        }
    }
    CHECK(given == 152);
    CHECK_OK(sorvane_solid_cells(3, depths, paths, given, 1, &cells, &error));
    {
        const int *depth = sorvane_cells_depths(cells, &count);
        const int *state = sorvane_cells_states(cells, NULL);
        CHECK(sorvane_cells_paths(cells, NULL) != NULL);
        for (i = 0; i < count; ++i) {
            volumes[state[i]] += ldexp(1, -3 * depth[i]);
        }
    }
    CHECK_NEAR(volumes[SORVANE_CELL_SURFACE], 152.0 / 512, 1e-12);
    CHECK_NEAR(volumes[SORVANE_CELL_INTERIOR], 64.0 / 512, 1e-12);
    CHECK_NEAR(volumes[SORVANE_CELL_EXTERIOR], (512 - 216) / 512.0, 1e-12);
    sorvane_cells_free(cells);
    sorvane_cells_free(NULL);
    depths[5] = 21;
    CHECK(sorvane_solid_cells(3, depths, paths, given, 1, &cells, &error) == SORVANE_BAD_INDEX);
    CHECK(error.index == 5 && cells == NULL);
    depths[5] = 3;
    paths[6] = 512;
    CHECK(sorvane_solid_cells(3, depths, paths, given, 1, &cells, &error) == SORVANE_BAD_INDEX && error.index == 6);
    paths[6] = -1;
    CHECK(sorvane_solid_cells(3, depths, paths, given, 1, &cells, &error) == SORVANE_BAD_INDEX && error.index == 6);
    CHECK(sorvane_solid_cells(1, depths, paths, given, 1, &cells, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_solid_cells(3, NULL, paths, given, 1, &cells, &error) == SORVANE_BAD_ARGUMENT);
    CHECK_OK(sorvane_solid_cells(2, NULL, NULL, 0, 1, &cells, &error));
    sorvane_cells_depths(cells, &count);
    CHECK(count == 0);
    sorvane_cells_free(cells);
}

static void cells_have_a_surface(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    const long long paths[2] = {7, 3};
    const long long wrong[2] = {7, 8};
    const double scale[3] = {2, 4, 6};
    const double offset[3] = {10, 20, 30};
    const double endless[3] = {1, INFINITY, 1};
    CHECK_OK(sorvane_cells_surface(paths, 1, 1, scale, offset, &mesh, &error));
    CHECK(triangle_count(mesh) == 12 && boundary_count(mesh) == 0);
    CHECK_NEAR(volume_of(mesh), 1 * 2 * 3, 1e-9);
    CHECK_NEAR(sorvane_mesh_points(mesh, NULL)[0], 11, 1e-12);
    sorvane_mesh_free(mesh);
    CHECK_OK(sorvane_cells_surface(paths, 2, 1, scale, offset, &mesh, &error));
    CHECK(triangle_count(mesh) == 20); /* two faces cancel */
    sorvane_mesh_free(mesh);
    CHECK(sorvane_cells_surface(wrong, 2, 1, scale, offset, &mesh, &error) == SORVANE_BAD_INDEX && error.index == 1);
    CHECK(sorvane_cells_surface(paths, 2, 22, scale, offset, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_cells_surface(paths, 2, 1, endless, offset, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_cells_surface(paths, 2, 1, scale, NULL, &mesh, &error) == SORVANE_BAD_ARGUMENT && mesh == NULL);
}

static void profiles_become_bodies(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    const double corner[14] = {0, 0, 4, 0, 4, 1, 1, 1, 1, 3, 0, 3, 0, 0}; /* an L, first point repeated */
    const double clockwise[8] = {0, 0, 0, 2, 3, 2, 3, 0};
    const double line[6] = {0, 0, 1, 0, 2, 0};
    const double no_number[6] = {0, 0, NAN, 0, 2, 1};
    CHECK_OK(sorvane_mesh_extrude(corner, 7, 0.1, 0.7, 3, &mesh, &error));
    CHECK_NEAR(volume_of(mesh), 6 * 0.6, 1e-12);
    CHECK(boundary_count(mesh) == 0);
    sorvane_mesh_free(mesh);
    {
        /* Steps that don't add up to the height but for rounding: the lid closes the walls all the same. */
        int slices;
        for (slices = 1; slices <= 40; ++slices) {
            CHECK_OK(sorvane_mesh_extrude(corner, 7, 0.1, 0.7, slices, &mesh, &error));
            CHECK(boundary_count(mesh) == 0);
            sorvane_mesh_free(mesh);
        }
    }
    CHECK_OK(sorvane_mesh_extrude(clockwise, 4, 5, 1, 1, &mesh, &error));
    CHECK_NEAR(volume_of(mesh), 24, 1e-12);
    sorvane_mesh_free(mesh);
    CHECK(sorvane_mesh_extrude(line, 3, 0, 1, 1, &mesh, &error) == SORVANE_FAILED && mesh == NULL);
    CHECK(sorvane_mesh_extrude(NULL, 0, 0, 1, 1, &mesh, &error) == SORVANE_FAILED);
    CHECK(sorvane_mesh_extrude(no_number, 3, 0, 1, 1, &mesh, &error) == SORVANE_BAD_ARGUMENT && error.index == 1);
    CHECK(sorvane_mesh_extrude(clockwise, 4, 1, 1, 1, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_extrude(clockwise, 4, 0, NAN, 1, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_extrude(clockwise, 4, 0, 1, 0, &mesh, &error) == SORVANE_BAD_ARGUMENT);
}

static void a_profile_turned_is_a_cylinder(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    const double profile[12] = {100, 50, 0, 103, 50, 0, 103, 50, 2, 100, 50, 2};
    const double axis_point[3] = {100, 50, -7};
    const double axis[3] = {0, 0, 5};
    const double zero[3] = {0, 0, 0};
    size_t count = 0;
    size_t i;
    CHECK_OK(sorvane_mesh_revolve(profile, 4, axis_point, axis, 0.01, &mesh, &error));
    CHECK(boundary_count(mesh) == 0);
    {
        /* n steps: two fans and the wall; the area of the n-gon is known. */
        const double n = (double)(triangle_count(mesh) / 4);
        const double *points = sorvane_mesh_points(mesh, &count);
        CHECK(count == 2 * (size_t)n + 2 && 3 * (1 - cos(pi / n)) <= 0.01);
        CHECK_NEAR(fabs(volume_of(mesh)), n / 2 * 9 * sin(2 * pi / n) * 2, 1e-9);
        for (i = 0; i < count; ++i) {
            const double r = sqrt((points[3 * i] - 100) * (points[3 * i] - 100) +
                                  (points[3 * i + 1] - 50) * (points[3 * i + 1] - 50));
            CHECK(fabs(r) <= 1e-12 || fabs(r - 3) <= 1e-12);
        }
    }
    sorvane_mesh_free(mesh);
    CHECK(sorvane_mesh_revolve(profile, 4, axis_point, zero, 0.01, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_revolve(profile, 4, axis_point, axis, 0, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_revolve(profile, 4, axis_point, axis, NAN, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_revolve(profile, 4, NULL, axis, 0.01, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK_OK(sorvane_mesh_revolve(NULL, 0, axis_point, axis, 0.01, &mesh, &error));
    CHECK(triangle_count(mesh) == 0);
    sorvane_mesh_free(mesh);
}

static void a_curve_is_filled(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    double rim[3 * 16];
    const double line[9] = {0, 0, 0, 1, 0, 0, 2, 0, 0};
    int i;
    for (i = 0; i < 16; ++i) {
        const double t = i % 4 * 0.5;
        const double square[4][2] = {{t, 0}, {2, t}, {2 - t, 2}, {0, 2 - t}};
        rim[3 * i] = square[i / 4][0];
        rim[3 * i + 1] = square[i / 4][1];
        rim[3 * i + 2] = 7;
    }
    CHECK_OK(sorvane_mesh_patch(rim, 16, &mesh, &error));
    CHECK_NEAR(area_of(mesh), 4, 1e-9);
    CHECK(boundary_count(mesh) == 16);
    sorvane_mesh_free(mesh);
    CHECK(sorvane_mesh_patch(line, 3, &mesh, &error) == SORVANE_FAILED && mesh == NULL);
    CHECK(sorvane_mesh_patch(line, 2, &mesh, &error) == SORVANE_FAILED);
}

static void patches_are_cut_by_masks(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    int inside[45] = {0};
    int style;
    CHECK(sorvane_patch_node_count(0) == 3 && sorvane_patch_node_count(7) == 45);
    CHECK(sorvane_patch_node_count(8) == 0 && sorvane_patch_node_count(-1) == 0);
    CHECK_OK(sorvane_patch_mesh(7, inside, 45, SORVANE_PATCH_MIDPOINTS, SORVANE_PATCH_WHOLE, &mesh, &error));
    CHECK(triangle_count(mesh) == 64);
    CHECK_NEAR(area_of(mesh), 0.5, 1e-12);
    sorvane_mesh_free(mesh);
    inside[0] = inside[1] = inside[9] = 1;
    for (style = 0; style < 3; ++style) {
        double area = 0;
        int part;
        for (part = SORVANE_PATCH_INSIDE; part <= SORVANE_PATCH_OUTSIDE; ++part) {
            CHECK_OK(sorvane_patch_mesh(7, inside, 45, style, part, &mesh,
                                        &error));
            CHECK(area_of(mesh) > 0.001);
            area += area_of(mesh);
            sorvane_mesh_free(mesh);
        }
        CHECK_NEAR(area, 0.5, 1e-12);
    }
    CHECK_OK(sorvane_patch_mesh(7, inside, 45, SORVANE_PATCH_MIDPOINTS, SORVANE_PATCH_CONFLICTS, &mesh, &error));
    CHECK(triangle_count(mesh) > 0 && triangle_count(mesh) < 10);
    sorvane_mesh_free(mesh);
    CHECK(sorvane_patch_mesh(7, inside, 44, SORVANE_PATCH_MIDPOINTS, SORVANE_PATCH_WHOLE, &mesh, &error) ==
          SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_patch_mesh(8, inside, 45, SORVANE_PATCH_MIDPOINTS, SORVANE_PATCH_WHOLE, &mesh, &error) ==
          SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_patch_mesh(7, inside, 45, 3, SORVANE_PATCH_WHOLE, &mesh, &error) ==
          SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_patch_mesh(7, inside, 45, SORVANE_PATCH_MIDPOINTS, 4, &mesh, &error) ==
          SORVANE_BAD_ARGUMENT);
    CHECK(mesh == NULL);
}

void test_solids(void)
{
    a_cube_sweeps_a_bar();
    boxes_come_out_sharp();
    values_alone_make_a_ball();
    surfaces_are_open_at_the_end_of_the_grid();
    any_signs_give_a_closed_surface();
    directions_come_of_neighbors_on_one_side_or_on_both();
    bad_grids_are_told();
    a_lack_of_memory_is_a_status();
    cells_are_named_and_filled();
    cells_have_a_surface();
    profiles_become_bodies();
    a_profile_turned_is_a_cylinder();
    a_curve_is_filled();
    patches_are_cut_by_masks();
}
