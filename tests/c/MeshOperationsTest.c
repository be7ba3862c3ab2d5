/* Remeshing, decimation, subdivision and better triangles. */
#include "Check.h"

#include <stdlib.h>

/* A flat square of 2 cells^2 triangles over [0, 1]^2, its left half tagged 7, its right half tagged 9. */
static sorvane_mesh *sheet(int cells)
{
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    sorvane_mesh *tagged = NULL;
    const size_t edge = (size_t)cells + 1;
    double *points = malloc(3 * edge * edge * sizeof *points);
    int *triangles = malloc(6 * (size_t)cells * (size_t)cells * sizeof *triangles);
    unsigned long long *tags = malloc(2 * (size_t)cells * (size_t)cells * sizeof *tags);
    size_t p = 0;
    size_t t = 0;
    int x;
    int y;
    for (y = 0; y <= cells; ++y) {
        for (x = 0; x <= cells; ++x) {
            points[p++] = (double)x / cells;
            points[p++] = (double)y / cells;
            points[p++] = 0;
        }
    }
    for (y = 0; y < cells; ++y) {
        for (x = 0; x < cells; ++x) {
            const int a = y * (cells + 1) + x;
            const int corners[6] = {a, a + 1, a + cells + 2, a, a + cells + 2, a + cells + 1};
            tags[t / 3] = tags[t / 3 + 1] = 2 * x < cells ? 7 : 9;
            memcpy(triangles + t, corners, sizeof corners);
            t += 6;
        }
    }
    CHECK_OK(sorvane_mesh_new(points, edge * edge, triangles, t / 3, &mesh, &error));
    CHECK_OK(sorvane_mesh_with_tags(mesh, NULL, 0, tags, t / 3, &tagged, &error));
    sorvane_mesh_free(mesh);
    free(points);
    free(triangles);
    free(tags);
    return tagged;
}

static size_t triangles_of(const sorvane_mesh *mesh)
{
    size_t count = 0;
    sorvane_mesh_triangles(mesh, &count);
    return count;
}

static double area_of(const sorvane_mesh *mesh)
{
    sorvane_error error;
    double area = 0;
    CHECK_OK(sorvane_mesh_measure(mesh, &area, NULL, &error));
    return area;
}

/* Each tag covers its half of the sheet: triangles of 7 on the left, of 9 on the right. */
static void check_halves(const sorvane_mesh *mesh)
{
    size_t count = 0;
    const double *points = sorvane_mesh_points(mesh, NULL);
    const int *triangles = sorvane_mesh_triangles(mesh, NULL);
    const unsigned long long *tags = sorvane_mesh_triangle_tags(mesh, &count);
    size_t t;
    CHECK(count == triangles_of(mesh));
    for (t = 0; t < count; ++t) {
        int k;
        CHECK(tags[t] == 7 || tags[t] == 9);
        for (k = 0; k < 3; ++k) {
            const double x = points[3 * triangles[3 * t + (size_t)k]];
            CHECK(tags[t] == 7 ? x <= 0.5 + 1e-9 : x >= 0.5 - 1e-9);
        }
    }
}

static void remeshing_keeps_area_and_tags(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = sheet(8);
    sorvane_mesh *fine = NULL;
    sorvane_remesh_options options;
    sorvane_remesh_options_init(&options);
    CHECK(options.size == sizeof options && options.length == 0 && options.crease_angle_degrees == 40);
    CHECK(options.iterations == 10 && options.keep_boundary == 1 && options.keep_tags == 1);
    options.length = 0.05;
    options.keep_boundary = 0;
    CHECK_OK(sorvane_mesh_remesh(mesh, &options, &fine, &error));
    /* Equilateral triangles of that edge would be 924. */
    CHECK(triangles_of(fine) > 500 && triangles_of(fine) < 2000);
    CHECK_NEAR(area_of(fine), 1, 1e-9);
    check_halves(fine);
    sorvane_mesh_free(fine);
    options.keep_tags = 0;
    CHECK_OK(sorvane_mesh_remesh(mesh, &options, &fine, &error));
    CHECK(sorvane_mesh_triangle_tags(fine, NULL) == NULL);
    sorvane_mesh_free(fine);
    CHECK_OK(sorvane_mesh_remesh(mesh, NULL, &fine, &error));
    CHECK_NEAR(area_of(fine), 1, 1e-9);
    sorvane_mesh_free(fine);

    options.length = NAN;
    CHECK(sorvane_mesh_remesh(mesh, &options, &fine, &error) == SORVANE_BAD_ARGUMENT && fine == NULL);
    options.length = INFINITY;
    CHECK(sorvane_mesh_remesh(mesh, &options, &fine, &error) == SORVANE_BAD_ARGUMENT);
    options.length = 0.05;
    options.iterations = -1;
    CHECK(sorvane_mesh_remesh(mesh, &options, &fine, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(strstr(error.message, "iterations") != NULL);
    options.iterations = 1;
    options.crease_angle_degrees = NAN;
    CHECK(sorvane_mesh_remesh(mesh, &options, &fine, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_remesh(NULL, NULL, &fine, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_remesh(mesh, NULL, NULL, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_mesh_free(mesh);
}

static void options_of_an_older_program_are_filled_up(void)
{
    /* A program that knows no more than the size and the length. */
    union {
        sorvane_remesh_options whole;
        struct {
            size_t size;
            double length;
        } old;
    } options;
    sorvane_error error;
    sorvane_mesh *mesh = sheet(4);
    sorvane_mesh *one = NULL;
    sorvane_mesh *other = NULL;
    size_t count = 0;
    memset(&options, 0xff, sizeof options); /* what stands behind the old structure is not looked at */
    options.old.size = sizeof options.old;
    options.old.length = 0.1;
    CHECK_OK(sorvane_mesh_remesh(mesh, &options.whole, &one, &error));
    sorvane_remesh_options_init(&options.whole);
    options.whole.length = 0.1;
    CHECK_OK(sorvane_mesh_remesh(mesh, &options.whole, &other, &error));
    CHECK(triangles_of(one) == triangles_of(other));
    sorvane_mesh_points(one, &count);
    CHECK(memcmp(sorvane_mesh_points(one, NULL), sorvane_mesh_points(other, NULL), 24 * count) == 0);
    sorvane_mesh_free(one);
    sorvane_mesh_free(other);
    options.whole.size = 0;
    CHECK(sorvane_mesh_remesh(mesh, &options.whole, &one, &error) == SORVANE_BAD_ARGUMENT && one == NULL);
    CHECK(strstr(error.message, "_init") != NULL);
    sorvane_mesh_free(mesh);
}

static void no_more_tags_than_can_be_kept(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = sheet(12); /* 288 triangles */
    sorvane_mesh *many = NULL;
    sorvane_mesh *fine = NULL;
    unsigned long long tags[288];
    size_t count = 0;
    unsigned i;
    for (i = 0; i < 288; ++i) {
        tags[i] = 1000000000000ULL * (i < 256 ? i : 0);
    }
    CHECK_OK(sorvane_mesh_with_tags(mesh, NULL, 0, tags, 288, &many, &error));
    CHECK_OK(sorvane_mesh_remesh(many, NULL, &fine, &error));
    CHECK(sorvane_mesh_triangle_tags(fine, &count) != NULL && count == triangles_of(fine));
    for (i = 0; i < count; ++i) {
        CHECK(sorvane_mesh_triangle_tags(fine, NULL)[i] % 1000000000000ULL == 0);
    }
    sorvane_mesh_free(fine);
    sorvane_mesh_free(many);
    tags[287] = 5;
    CHECK_OK(sorvane_mesh_with_tags(mesh, NULL, 0, tags, 288, &many, &error));
    CHECK(sorvane_mesh_remesh(many, NULL, &fine, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(strstr(error.message, "257 different tags") != NULL);
    sorvane_mesh_free(many);
    sorvane_mesh_free(mesh);
}

static void chord_tolerance_makes_long_edges_on_planes(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = sheet(8);
    sorvane_mesh *other = NULL;
    sorvane_adaptive_options options;
    sorvane_adaptive_options_init(&options);
    CHECK(options.chord_tolerance == 0.01 && options.curvature_exponent == 1 && options.iterations == 10);
    options.iterations = 3;
    CHECK_OK(sorvane_mesh_remesh_adaptive(mesh, &options, &other, &error));
    CHECK_NEAR(area_of(other), 1, 1e-9);
    check_halves(other);
    sorvane_mesh_free(other);
    options.chord_tolerance = 0;
    CHECK(sorvane_mesh_remesh_adaptive(mesh, &options, &other, &error) == SORVANE_BAD_ARGUMENT && other == NULL);
    options.chord_tolerance = 0.01;
    options.curvature_exponent = NAN;
    CHECK(sorvane_mesh_remesh_adaptive(mesh, &options, &other, &error) == SORVANE_BAD_ARGUMENT);
    options.curvature_exponent = 1;
    options.length = INFINITY;
    CHECK(sorvane_mesh_remesh_adaptive(mesh, &options, &other, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_remesh_adaptive(NULL, NULL, &other, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_mesh_free(mesh);
}

static void what_has_no_length_is_told(void)
{
    const double points[9] = {0, 0, 0, 0, 0, 0, 0, 0, 0};
    const int triangles[3] = {0, 1, 1};
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    sorvane_mesh *other = NULL;
    CHECK_OK(sorvane_mesh_new(points, 3, triangles, 1, &mesh, &error));
    CHECK(sorvane_mesh_remesh(mesh, NULL, &other, &error) == SORVANE_FAILED && other == NULL);
    sorvane_mesh_free(mesh);
    CHECK_OK(sorvane_mesh_new(NULL, 0, NULL, 0, &mesh, &error));
    CHECK_OK(sorvane_mesh_remesh(mesh, NULL, &other, &error));
    CHECK(triangles_of(other) == 0);
    sorvane_mesh_free(other);
    sorvane_mesh_free(mesh);
}

static void flat_sheets_are_decimated_to_their_corners(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = sheet(8);
    sorvane_mesh *coarse = NULL;
    sorvane_decimation report;
    sorvane_decimate_options options;
    sorvane_decimate_options_init(&options);
    CHECK(options.keep_percent == 0 && options.tolerance == 0.01 && options.crease_angle_degrees == 40);
    CHECK_OK(sorvane_mesh_decimate(mesh, &options, &coarse, &report, &error));
    /* The corners, and the two ends of the line between the tags. */
    CHECK(triangles_of(coarse) == 4);
    /* A boundary that has moved by so much along its length of 4. */
    CHECK_NEAR(area_of(coarse), 1, 4 * report.deviation);
    check_halves(coarse);
    CHECK(report.initial_triangles == 128 && report.triangles == 4);
    CHECK_NEAR(report.percent_left, 3.125, 1e-12);
    CHECK(report.deviation <= 0.01);
    sorvane_mesh_free(coarse);
    options.keep_tags = 0;
    CHECK_OK(sorvane_mesh_decimate(mesh, &options, &coarse, NULL, &error));
    CHECK(triangles_of(coarse) == 2);
    sorvane_mesh_free(coarse);
    options.keep_percent = 50;
    options.tolerance = INFINITY;
    CHECK_OK(sorvane_mesh_decimate(mesh, &options, &coarse, &report, &error));
    CHECK(triangles_of(coarse) <= 66 && triangles_of(coarse) > 40 && report.stop == SORVANE_STOP_TARGET);
    CHECK(isnan(report.deviation));
    sorvane_mesh_free(coarse);
    options.method = SORVANE_DECIMATE_ONE_BY_ONE;
    options.tolerance = 1;
    CHECK_OK(sorvane_mesh_decimate(mesh, &options, &coarse, &report, &error));
    CHECK(report.triangles == (int)triangles_of(coarse));
    sorvane_mesh_free(coarse);

    options.method = 2;
    CHECK(sorvane_mesh_decimate(mesh, &options, &coarse, NULL, &error) == SORVANE_BAD_ARGUMENT && coarse == NULL);
    options.method = 0;
    options.keep_percent = 101;
    CHECK(sorvane_mesh_decimate(mesh, &options, &coarse, NULL, &error) == SORVANE_BAD_ARGUMENT);
    options.keep_percent = NAN;
    CHECK(sorvane_mesh_decimate(mesh, &options, &coarse, NULL, &error) == SORVANE_BAD_ARGUMENT);
    options.keep_percent = 0;
    options.tolerance = NAN;
    CHECK(sorvane_mesh_decimate(mesh, &options, &coarse, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_decimate(NULL, NULL, &coarse, NULL, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_mesh_free(mesh);
}

static void subdivision_multiplies(void)
{
    static const int parts[3] = {3, 4, 6};
    sorvane_error error;
    sorvane_mesh *cube = NULL;
    sorvane_mesh *mesh = sheet(2);
    sorvane_mesh *fine = NULL;
    int method;
    CHECK_OK(sorvane_mesh_new(cube_points, 8, cube_triangles, 12, &cube, &error));
    CHECK_OK(sorvane_mesh_subdivide(cube, SORVANE_LOOP, 2, 30, &fine, &error));
    CHECK(triangles_of(fine) == 12 * 16);
    CHECK_NEAR(area_of(fine), 24, 1e-12); /* all edges of the cube are creases, and straight */
    sorvane_mesh_free(fine);
    CHECK_OK(sorvane_mesh_subdivide(cube, SORVANE_SQRT3, 1, 181, &fine, &error));
    CHECK(triangles_of(fine) == 36);
    sorvane_mesh_free(fine);
    CHECK(sorvane_mesh_subdivide(cube, SORVANE_LOOP, -1, 30, &fine, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_subdivide(cube, (sorvane_subdivision)2, 1, 30, &fine, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_subdivide(cube, SORVANE_LOOP, 1, NAN, &fine, &error) == SORVANE_BAD_ARGUMENT);
    /* 12 times 4 to the power of 30 triangles. */
    CHECK(sorvane_mesh_subdivide(cube, SORVANE_LOOP, 30, 30, &fine, &error) == SORVANE_OUT_OF_MEMORY);
    CHECK(sorvane_mesh_refine(cube, SORVANE_MIDPOINTS, 30, &fine, &error) == SORVANE_OUT_OF_MEMORY);
    CHECK(fine == NULL);
    for (method = 0; method < 3; ++method) {
        CHECK_OK(sorvane_mesh_refine(mesh, (sorvane_refinement)method, 2, &fine, &error));
        CHECK(triangles_of(fine) == 8 * (size_t)(parts[method] * parts[method]));
        CHECK_NEAR(area_of(fine), 1, 1e-12);
        check_halves(fine);
        sorvane_mesh_free(fine);
    }
    CHECK(sorvane_mesh_refine(mesh, (sorvane_refinement)3, 1, &fine, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_refine(mesh, SORVANE_CENTROID, -1, &fine, &error) == SORVANE_BAD_ARGUMENT);
    CHECK_OK(sorvane_mesh_split_long_edges(cube, 2.5, 1, 1, &fine, &error));
    CHECK(triangles_of(fine) == 24); /* the six diagonals */
    sorvane_mesh_free(fine);
    CHECK(sorvane_mesh_split_long_edges(cube, 0, 1, 1, &fine, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_split_long_edges(cube, NAN, 1, 1, &fine, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_split_long_edges(cube, 1, 1, -2, &fine, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_mesh_free(mesh);
    sorvane_mesh_free(cube);
}

static void needles_are_turned_and_stars_go(void)
{
    /* A flat rhombus cut along its long diagonal; the short one gives better triangles. */
    const double rhombus[12] = {-3, 0, 0, 0, -1, 0, 3, 0, 0, 0, 1, 0};
    const int cut[6] = {0, 1, 2, 0, 2, 3};
    /* A triangle cut in three at a point inside. */
    const double star[12] = {0, 0, 0, 4, 0, 0, 0, 4, 0, 1, 1, 0};
    const int three[9] = {0, 1, 3, 1, 2, 3, 2, 0, 3};
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    sorvane_mesh *better = NULL;
    double ratios[2];
    double before[2];
    size_t removed = 9;
    CHECK_OK(sorvane_mesh_new(rhombus, 4, cut, 2, &mesh, &error));
    CHECK_OK(sorvane_mesh_improve(mesh, 1, 0.01, &better, &error));
    CHECK_OK(sorvane_mesh_aspect_ratios(mesh, before, &error));
    CHECK_OK(sorvane_mesh_aspect_ratios(better, ratios, &error));
    CHECK(ratios[0] > 2 * before[0] && ratios[1] > 2 * before[1]);
    sorvane_mesh_free(better);
    CHECK(sorvane_mesh_improve(mesh, NAN, 0, &better, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_improve(mesh, 1, -1, &better, &error) == SORVANE_BAD_ARGUMENT && better == NULL);
    CHECK(sorvane_mesh_improve(NULL, 1, 1, &better, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_mesh_free(mesh);

    CHECK_OK(sorvane_mesh_new(star, 4, three, 3, &mesh, &error));
    CHECK_OK(sorvane_mesh_remove_stars(mesh, 1, &better, &removed, &error));
    CHECK(removed == 1 && triangles_of(better) == 1);
    CHECK_NEAR(area_of(better), 8, 0);
    sorvane_mesh_free(better);
    CHECK(sorvane_mesh_remove_stars(mesh, NAN, &better, NULL, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_mesh_free(mesh);
}

static int stop(double fraction, void *calls)
{
    (void)fraction;
    ++*(int *)calls;
    return 0;
}

static void remeshing_can_be_stopped(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = sheet(200);
    sorvane_mesh *fine = NULL;
    sorvane_progress *progress = NULL;
    sorvane_remesh_options options;
    int calls = 0;
    sorvane_remesh_options_init(&options);
    options.length = 0.0005; /* millions of triangles */
    options.keep_boundary = 0;
    CHECK_OK(sorvane_progress_open(stop, &calls, &progress, &error));
    CHECK(sorvane_mesh_remesh(mesh, &options, &fine, &error) == SORVANE_STOPPED);
    CHECK(fine == NULL && calls == 1 && sorvane_progress_was_stopped(progress));
    CHECK(error.status == SORVANE_STOPPED);
    /* So do all calls that are made until the scope is closed. */
    CHECK(sorvane_mesh_decimate(mesh, NULL, &fine, NULL, &error) == SORVANE_STOPPED && fine == NULL);
    sorvane_progress_close(progress);
    sorvane_mesh_free(mesh);
}

void test_mesh_operations(void)
{
    remeshing_keeps_area_and_tags();
    options_of_an_older_program_are_filled_up();
    no_more_tags_than_can_be_kept();
    chord_tolerance_makes_long_edges_on_planes();
    what_has_no_length_is_told();
    flat_sheets_are_decimated_to_their_corners();
    subdivision_multiplies();
    needles_are_turned_and_stars_go();
    remeshing_can_be_stopped();
}
