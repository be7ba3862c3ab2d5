/* Imprint of lines, and walks over a surface. */
#include "Measure.h"

static const double square[12] = {-0.5, -0.5, 1, 0.5, -0.5, 1, 0.5, 0.5, 1, -0.5, 0.5, 1};
static const int one_line[2] = {0, 4};

static double distance(const double *a, const double *b)
{
    return sqrt((a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) + (a[2] - b[2]) * (a[2] - b[2]));
}

static void a_square_is_cut_into_the_top_of_a_cube(void)
{
    sorvane_error error;
    sorvane_mesh *cube = new_cube();
    sorvane_mesh *side = NULL;
    sorvane_imprint *imprint = NULL;
    size_t count = 0;
    CHECK_OK(sorvane_mesh_imprint(cube, square, 4, one_line, 1, NULL, NULL, &imprint, &error));
    CHECK_NEAR(area_of(sorvane_imprint_mesh(imprint)), 24, 1e-12);
    CHECK(boundary_count(sorvane_imprint_mesh(imprint)) == 0);
    CHECK(sorvane_imprint_inside(imprint, &count) != NULL);
    CHECK(count == triangle_count(sorvane_imprint_mesh(imprint)));
    CHECK(sorvane_imprint_has_sides(imprint) == 1);
    {
        const sorvane_lines *lines = sorvane_imprint_lines(imprint);
        const double *points = sorvane_lines_points(lines, &count);
        double length = 0;
        size_t i;
        CHECK(sorvane_lines_count(lines) == 1 && sorvane_lines_closed(lines, NULL)[0] == 1);
        CHECK(count >= 4);
        for (i = 0; i < count; ++i) {
            const double *next = points + 3 * ((i + 1) % count);
            CHECK(points[3 * i + 2] == 1 && distance(points + 3 * i, next) > 0);
            length += distance(points + 3 * i, next);
        }
        CHECK_NEAR(length, 4, 1e-12);
    }
    {
        /* The flags tell of the same triangles as the side does: those over the square have its area. */
        const int *inside = sorvane_imprint_inside(imprint, &count);
        sorvane_mesh *flagged = NULL;
        int numbers[200];
        size_t found = 0;
        int i;
        CHECK(count <= 200);
        for (i = 0; i < (int)count && i < 200; ++i) {
            if (inside[i] == 1) {
                numbers[found++] = i;
            }
        }
        CHECK_OK(sorvane_mesh_part(sorvane_imprint_mesh(imprint), numbers, found, &flagged, &error));
        CHECK_NEAR(area_of(flagged), 1, 1e-12);
        sorvane_mesh_free(flagged);
    }
    CHECK_OK(sorvane_imprint_side(imprint, 1, &side, &error));
    CHECK_NEAR(area_of(side), 1, 1e-12);
    sorvane_mesh_free(side);
    CHECK_OK(sorvane_imprint_side(imprint, 0, &side, &error));
    CHECK_NEAR(area_of(side), 23, 1e-12);
    sorvane_mesh_free(side);
    CHECK(sorvane_imprint_side(NULL, 0, &side, &error) == SORVANE_BAD_ARGUMENT && side == NULL);
    sorvane_imprint_free(imprint);
    sorvane_imprint_free(NULL);
    sorvane_mesh_free(cube);
}

static void bad_lines_are_told(void)
{
    sorvane_error error;
    sorvane_mesh *cube = new_cube();
    sorvane_mesh *bare = new_bare_points();
    sorvane_imprint *imprint = NULL;
    sorvane_imprint_options options;
    double points[21];
    const int starts[3] = {0, 4, 7};
    const int short_line[3] = {0, 2, 7};
    size_t count = 0;
    memcpy(points, square, sizeof square);
    memcpy(points + 12, square, 9 * sizeof(double));
    points[17] = 1.5; /* the second point of the second line lies above the surface */
    CHECK(sorvane_mesh_imprint(cube, points, 7, starts, 2, NULL, NULL, &imprint, &error) == SORVANE_FAILED);
    CHECK(error.index == 5 && strstr(error.message, "point 5") != NULL && imprint == NULL);
    CHECK(sorvane_mesh_imprint(cube, points, 7, short_line, 2, NULL, NULL, &imprint, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(error.index == 0);
    CHECK(sorvane_mesh_imprint(cube, points, 6, starts, 2, NULL, NULL, &imprint, &error) == SORVANE_BAD_INDEX);
    CHECK(sorvane_mesh_imprint(bare, points, 4, one_line, 1, NULL, NULL, &imprint, &error) == SORVANE_FAILED);
    CHECK(sorvane_mesh_imprint(NULL, points, 4, one_line, 1, NULL, NULL, &imprint, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_imprint_options_init(&options);
    options.tolerance = -1;
    CHECK(sorvane_mesh_imprint(cube, points, 4, one_line, 1, NULL, &options, &imprint, &error) ==
          SORVANE_BAD_ARGUMENT);

    /* Lines that lie nowhere on the surface leave it as it is when far points are skipped. */
    sorvane_imprint_options_init(&options);
    options.skip_far_points = 1;
    points[2] = points[5] = points[8] = points[11] = 3;
    CHECK_OK(sorvane_mesh_imprint(cube, points, 4, one_line, 1, NULL, &options, &imprint, &error));
    CHECK(triangle_count(sorvane_imprint_mesh(imprint)) == 12);
    sorvane_lines_points(sorvane_imprint_lines(imprint), &count);
    CHECK(count == 0 && sorvane_lines_count(sorvane_imprint_lines(imprint)) == 1);
    sorvane_imprint_free(imprint);

    /* No lines: the mesh as it is. */
    CHECK_OK(sorvane_mesh_imprint(cube, NULL, 0, NULL, 0, NULL, NULL, &imprint, &error));
    CHECK(triangle_count(sorvane_imprint_mesh(imprint)) == 12);
    sorvane_imprint_free(imprint);
    sorvane_mesh_free(bare);
    sorvane_mesh_free(cube);
}

static void lines_are_embedded_point_by_point(void)
{
    sorvane_error error;
    sorvane_mesh *cube = new_cube();
    sorvane_mesh *embedded = NULL;
    sorvane_lists *numbers = NULL;
    const double line[9] = {-0.5, 0.2, 1.3, 0, 0.2, 1.2, 0.5, 0.2, 1.1}; /* above the top */
    const int starts[2] = {0, 3};
    size_t count = 0;
    CHECK_OK(sorvane_mesh_embed(cube, line, 3, starts, 1, 1e-9, 0, &embedded, &numbers, &error));
    CHECK_NEAR(area_of(embedded), 24, 1e-12);
    {
        const int *list = sorvane_lists_numbers(numbers, &count);
        const double *points = sorvane_mesh_points(embedded, NULL);
        CHECK(sorvane_lists_count(numbers) == 1 && count >= 3);
        if (count >= 3) {
            CHECK_NEAR(points[3 * list[0]], -0.5, 1e-9);
            CHECK_NEAR(points[3 * list[0] + 2], 1, 0);
            CHECK_NEAR(points[3 * list[count - 1]], 0.5, 1e-9);
        }
    }
    sorvane_lists_free(numbers);
    sorvane_mesh_free(embedded);
    CHECK(sorvane_mesh_embed(cube, line, 3, starts, 1, 1e-9, NAN, &embedded, &numbers, &error) ==
          SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_embed(cube, line, 3, starts, 1, -1, 0, &embedded, &numbers, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_embed(cube, line, 3, starts, 1, 0, 1e-300, &embedded, &numbers, &error) ==
          SORVANE_BAD_ARGUMENT);
    CHECK(error.index == 0);
    CHECK(sorvane_mesh_embed(cube, line, 3, starts, 1, 0, 0, &embedded, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(embedded == NULL);
    sorvane_mesh_free(cube);
}

static void a_walk_goes_straight_over_an_edge(void)
{
    sorvane_error error;
    sorvane_mesh *cube = new_cube();
    sorvane_tracer *tracer = NULL;
    sorvane_lines *lines = NULL;
    const double starts[9] = {0.1, 0.3, 1, 0.1, 0.3, 1, 0.1, 0.3, 9};
    const double directions[9] = {5, 0, 0, 1, 0, 7, 1, 0, 0};
    const double lengths[3] = {1.9, 0, 1};
    const double negative[3] = {1.9, -1, 1};
    size_t count = 0;
    CHECK_OK(sorvane_tracer_new(cube, 1e-9, &tracer, &error));
    sorvane_mesh_free(cube);
    CHECK_OK(sorvane_tracer_walks(tracer, starts, directions, lengths, 3, &lines, &error));
    CHECK(sorvane_lines_count(lines) == 3);
    {
        const double *points = sorvane_lines_points(lines, NULL);
        const int *first = sorvane_lines_starts(lines, &count);
        const double *end = points + 3 * (first[1] - 1);
        double length = 0;
        int i;
        CHECK(count == 4);
        for (i = 1; i < first[1]; ++i) {
            length += distance(points + 3 * i - 3, points + 3 * i);
        }
        CHECK_NEAR(length, 1.9, 1e-12);
        /* 0.9 to the edge, then 1 down. */
        CHECK_NEAR(end[0], 1, 1e-12);
        CHECK_NEAR(end[1], 0.3, 1e-12);
        CHECK_NEAR(end[2], 0, 1e-12);
        CHECK(first[2] - first[1] == 1); /* of no length */
        CHECK(first[3] - first[2] == 1); /* not on the surface */
        CHECK(sorvane_lines_closed(lines, NULL)[0] == 0);
    }
    sorvane_lines_free(lines);
    CHECK(sorvane_tracer_walks(tracer, starts, directions, negative, 3, &lines, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(error.index == 1 && lines == NULL);
    CHECK(sorvane_tracer_walks(tracer, starts, NULL, lengths, 3, &lines, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_tracer_walks(NULL, starts, directions, lengths, 3, &lines, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_tracer_free(tracer);
    sorvane_tracer_free(NULL);
    CHECK(sorvane_tracer_new(NULL, 1e-9, &tracer, &error) == SORVANE_BAD_ARGUMENT && tracer == NULL);
}

void test_imprint(void)
{
    a_square_is_cut_into_the_top_of_a_cube();
    bad_lines_are_told();
    lines_are_embedded_point_by_point();
    a_walk_goes_straight_over_an_edge();
}
