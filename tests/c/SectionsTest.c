/* Sections, halves and intersections. */
#include "Measure.h"

#include <stddef.h>

static const double along_z[3] = {0, 0, 1};

static void a_cube_is_cut_at_many_heights(void)
{
    sorvane_error error;
    sorvane_mesh *cube = new_cube();
    sorvane_sections *sections = NULL;
    const double heights[4] = {-1, 0, 1, 5};
    const double heavy[3] = {0, 0, 300};
    size_t count = 0;
    size_t i;
    const double expected[4] = {4, 4, 0, 0};
    sorvane_section_options options;

    CHECK_OK(sorvane_mesh_sections(cube, heavy, heights, 4, NULL, &sections, &error));
    CHECK(sorvane_sections_count(sections) == 4);
    CHECK(memcmp(sorvane_sections_heights(sections, &count), heights, sizeof heights) == 0 && count == 4);
    for (i = 0; i < 4; ++i) {
        CHECK_NEAR(sorvane_sections_areas(sections, &count)[i], expected[i], 1e-12);
        CHECK_NEAR(sorvane_sections_lengths(sections, &count)[i], 2 * expected[i], 1e-12);
        CHECK(sorvane_sections_open_lengths(sections, &count)[i] == 0);
        CHECK(count == 4);
    }
    {
        const int *first = sorvane_sections_first(sections, &count);
        CHECK(count == 5);
        CHECK(first[0] == 0 && first[1] == 1 && first[2] == 2 && first[3] == 2 && first[4] == 2);
    }
    {
        const sorvane_lines *lines = sorvane_sections_lines(sections);
        const int *starts = sorvane_lines_starts(lines, &count);
        CHECK(sorvane_lines_dimension(lines) == 2 && sorvane_lines_count(lines) == 2 && count == 3);
        CHECK(sorvane_lines_closed(lines, NULL)[0] == 1 && sorvane_lines_closed(lines, NULL)[1] == 1);
        /* Four corners and the four diagonals of the sides. */
        CHECK(starts[2] - starts[1] == 8);
    }
    sorvane_sections_free(sections);

    /* From below it is the top that belongs to the section at its height. */
    sorvane_section_options_init(&options);
    options.side = SORVANE_SECTION_BELOW;
    CHECK_OK(sorvane_mesh_sections(cube, along_z, heights, 3, &options, &sections, &error));
    CHECK_NEAR(sorvane_sections_areas(sections, NULL)[0], 0, 0);
    CHECK_NEAR(sorvane_sections_areas(sections, NULL)[2], 4, 1e-12);
    sorvane_sections_free(sections);

    /* A program that was made before `tolerance` gets 0 for it, whatever lies behind its structure. */
    options.size = offsetof(sorvane_section_options, tolerance);
    options.tolerance = -1;
    CHECK_OK(sorvane_mesh_sections(cube, along_z, heights, 3, &options, &sections, &error));
    CHECK_NEAR(sorvane_sections_areas(sections, NULL)[2], 4, 1e-12);
    sorvane_sections_free(sections);
    options.size = sizeof options;
    CHECK(sorvane_mesh_sections(cube, along_z, heights, 3, &options, &sections, &error) == SORVANE_BAD_ARGUMENT);
    options.size = 0;
    CHECK(sorvane_mesh_sections(cube, along_z, heights, 3, &options, &sections, &error) == SORVANE_BAD_ARGUMENT);

    /* No heights, no sections. */
    CHECK_OK(sorvane_mesh_sections(cube, along_z, NULL, 0, NULL, &sections, &error));
    CHECK(sorvane_sections_count(sections) == 0);
    sorvane_sections_free(sections);
    sorvane_sections_free(NULL);
    sorvane_mesh_free(cube);
}

static void sections_go_to_space_and_back(void)
{
    sorvane_error error;
    sorvane_mesh *cube = new_cube();
    sorvane_sections *sections = NULL;
    sorvane_lines *lines = NULL;
    const double slanted[3] = {1, 2, -2};
    const double heights[2] = {0.25, -0.5};
    size_t count = 0;
    size_t i;
    size_t s;
    CHECK_OK(sorvane_mesh_sections(cube, slanted, heights, 2, NULL, &sections, &error));
    CHECK_OK(sorvane_sections_in_space(sections, &lines, &error));
    CHECK(sorvane_lines_dimension(lines) == 3 && sorvane_lines_count(lines) == 2);
    sorvane_lines_points(lines, &count);
    CHECK(count >= 8);
    {
        const double *flat = sorvane_lines_points(sorvane_sections_lines(sections), NULL);
        const double *points = sorvane_lines_points(lines, NULL);
        const int *starts = sorvane_lines_starts(lines, NULL);
        const double *frames = sorvane_sections_frames(sections, &count);
        CHECK(count == 2);
        for (s = 0; s < 2; ++s) {
            for (i = (size_t)starts[s]; i < (size_t)starts[s + 1]; ++i) {
                const double *p = points + 3 * i;
                const double largest = fmax(fmax(fabs(p[0]), fabs(p[1])), fabs(p[2]));
                CHECK_NEAR((p[0] + 2 * p[1] - 2 * p[2]) / 3, heights[s], 1e-14); /* in the plane */
                CHECK_NEAR(largest, 1, 1e-14);                                   /* and on the cube */
                CHECK_NEAR(frames[12 * s] * flat[2 * i] + frames[12 * s + 1] * flat[2 * i + 1] + frames[12 * s + 3],
                           p[0], 1e-14);
            }
        }
    }
    sorvane_lines_free(lines);
    sorvane_sections_free(sections);
    CHECK(sorvane_sections_in_space(NULL, &lines, &error) == SORVANE_BAD_ARGUMENT && lines == NULL);
    sorvane_mesh_free(cube);
}

static void an_open_mesh_gives_a_chain(void)
{
    sorvane_error error;
    sorvane_mesh *open = new_open_cube();
    sorvane_sections *sections = NULL;
    const double height = 0.5;
    CHECK_OK(sorvane_mesh_sections(open, along_z, &height, 1, NULL, &sections, &error));
    CHECK(sorvane_lines_count(sorvane_sections_lines(sections)) == 1);
    CHECK(sorvane_lines_closed(sorvane_sections_lines(sections), NULL)[0] == 0);
    CHECK_NEAR(sorvane_sections_open_lengths(sections, NULL)[0], 6, 1e-12);
    CHECK(sorvane_sections_areas(sections, NULL)[0] == 0 && sorvane_sections_lengths(sections, NULL)[0] == 0);
    sorvane_sections_free(sections);
    sorvane_mesh_free(open);
}

static void a_slicer_answers_like_the_mesh(void)
{
    sorvane_error error;
    sorvane_mesh *part = NULL;
    sorvane_mesh *welded = NULL;
    sorvane_slicer *slicer = NULL;
    sorvane_sections *once = NULL;
    sorvane_sections *again = NULL;
    double heights[20];
    double low = 0;
    double high = 0;
    size_t count = 0;
    size_t others = 0;
    int i;
    CHECK_OK(sorvane_mesh_read(EXAMPLE_DATA "/bracket.stl", &part, &error));
    CHECK_OK(sorvane_mesh_weld(part, 1e-6, &welded, &error));
    CHECK_OK(sorvane_slicer_new(welded, along_z, &slicer, &error));
    sorvane_slicer_heights(slicer, &low, &high);
    sorvane_slicer_heights(slicer, NULL, NULL);
    CHECK(low < high);
    for (i = 0; i < 20; ++i) {
        heights[i] = low + (high - low) * (i + 0.5) / 20;
    }
    CHECK_OK(sorvane_mesh_sections(welded, along_z, heights, 20, NULL, &once, &error));
    CHECK_OK(sorvane_slicer_sections(slicer, heights, 20, NULL, &again, &error));
    CHECK(memcmp(sorvane_sections_areas(once, NULL), sorvane_sections_areas(again, NULL), 20 * sizeof(double)) == 0);
    {
        const double *a = sorvane_lines_points(sorvane_sections_lines(once), &count);
        const double *b = sorvane_lines_points(sorvane_sections_lines(again), &others);
        CHECK(count == others && count > 0 && memcmp(a, b, 2 * count * sizeof(double)) == 0);
    }
    sorvane_sections_free(once);
    sorvane_sections_free(again);
    CHECK(sorvane_slicer_sections(NULL, heights, 20, NULL, &again, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_slicer_sections(slicer, heights, 20, NULL, NULL, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_slicer_free(slicer);
    sorvane_slicer_free(NULL);
    sorvane_mesh_free(welded);
    sorvane_mesh_free(part);
}

static void bad_planes_are_told(void)
{
    sorvane_error error;
    sorvane_mesh *cube = new_cube();
    sorvane_sections *sections = NULL;
    sorvane_slicer *slicer = NULL;
    const double zero[3] = {0, 0, 0};
    const double endless[3] = {0, INFINITY, 0};
    const double heights[3] = {0, 0.5, NAN};
    sorvane_section_options options;
    CHECK(sorvane_mesh_sections(cube, zero, heights, 2, NULL, &sections, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(strstr(error.message, "normal") != NULL && sections == NULL);
    CHECK(sorvane_mesh_sections(cube, endless, heights, 2, NULL, &sections, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_sections(cube, NULL, heights, 2, NULL, &sections, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_sections(cube, along_z, heights, 3, NULL, &sections, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(error.index == 2 && strstr(error.message, "height 2") != NULL);
    CHECK(sorvane_mesh_sections(cube, along_z, NULL, 3, NULL, &sections, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_sections(NULL, along_z, heights, 2, NULL, &sections, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_sections(cube, along_z, heights, 2, NULL, NULL, NULL) == SORVANE_BAD_ARGUMENT);
    sorvane_section_options_init(&options);
    options.side = 7;
    CHECK(sorvane_mesh_sections(cube, along_z, heights, 2, &options, &sections, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_section_options_init(&options);
    options.tolerance = NAN;
    CHECK(sorvane_mesh_sections(cube, along_z, heights, 2, &options, &sections, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_section_options_init(NULL);
    CHECK(sorvane_slicer_new(cube, zero, &slicer, &error) == SORVANE_BAD_ARGUMENT && slicer == NULL);
    sorvane_mesh_free(cube);
}

static void halves_are_closed(void)
{
    sorvane_error error;
    sorvane_mesh *cube = new_cube();
    sorvane_mesh *below = NULL;
    sorvane_mesh *above = NULL;
    size_t below_lid = 0;
    size_t above_lid = 0;
    size_t t;
    const double place[3] = {0, 0, 0.5};
    const double high[3] = {0, 0, 7};
    const double zero[3] = {0, 0, 0};
    const double short_normal[3] = {0, 1e-13, 0};
    CHECK_OK(sorvane_mesh_split(cube, along_z, place, 1e-9, &below, &below_lid, &above, &above_lid, &error));
    CHECK_NEAR(volume_of(below), 6, 1e-12);
    CHECK_NEAR(volume_of(above), 2, 1e-12);
    CHECK(boundary_count(below) == 0 && boundary_count(above) == 0);
    CHECK(below_lid < triangle_count(below) && above_lid < triangle_count(above));
    for (t = 3 * below_lid; t < 3 * triangle_count(below); ++t) {
        CHECK(sorvane_mesh_points(below, NULL)[3 * sorvane_mesh_triangles(below, NULL)[t] + 2] == 0.5);
    }
    sorvane_mesh_free(below);
    sorvane_mesh_free(above);

    CHECK_OK(sorvane_mesh_split(cube, along_z, high, 1e-9, &below, NULL, &above, NULL, &error));
    CHECK_NEAR(volume_of(below), 8, 1e-12);
    CHECK(triangle_count(above) == 0);
    sorvane_mesh_free(below);
    sorvane_mesh_free(above);

    for (t = 0; t < 2; ++t) { /* through the top and through the bottom */
        const double end[3] = {0, 0, t == 0 ? 1 : -1};
        CHECK_OK(sorvane_mesh_split(cube, along_z, end, 1e-9, &below, &below_lid, &above, &above_lid, &error));
        CHECK_NEAR(volume_of(t == 0 ? below : above), 8, 1e-12);
        CHECK(boundary_count(t == 0 ? below : above) == 0);
        CHECK(triangle_count(t == 0 ? above : below) == 0 && (t == 0 ? above_lid : below_lid) == 0);
        sorvane_mesh_free(below);
        sorvane_mesh_free(above);
    }

    CHECK(sorvane_mesh_split(cube, zero, place, 0, &below, NULL, &above, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(below == NULL && above == NULL);
    CHECK(sorvane_mesh_split(cube, short_normal, place, 0, &below, NULL, &above, NULL, &error) ==
          SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_split(cube, along_z, NULL, 0, &below, NULL, &above, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_split(cube, along_z, place, -1, &below, NULL, &above, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_split(cube, along_z, place, 0, NULL, NULL, &above, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_split(cube, along_z, place, 0, &below, NULL, NULL, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_split(NULL, along_z, place, 0, &below, NULL, &above, NULL, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_mesh_free(cube);
}

static void cubes_cut_each_other(void)
{
    sorvane_error error;
    sorvane_mesh *cube = new_cube();
    sorvane_mesh *other = new_moved_cube(1, 1, 1, 1);
    sorvane_mesh *far_away = new_moved_cube(9, 0, 0, 1);
    sorvane_mesh *cut = NULL;
    sorvane_mesh *uncut = NULL;
    sorvane_mesh *other_cut = NULL;
    sorvane_lines *curves = NULL;
    size_t count = 0;
    size_t i;
    double length = 0;
    CHECK_OK(sorvane_mesh_intersection(cube, other, &curves, &error));
    CHECK(sorvane_lines_count(curves) == 1 && sorvane_lines_closed(curves, NULL)[0] == 1);
    {
        /* Six edges of the cube from 0 to 1 that both have, of length 1 each. */
        const double *p = sorvane_lines_points(curves, &count);
        for (i = 0; i < count; ++i) {
            const double *a = p + 3 * i;
            const double *b = p + 3 * ((i + 1) % count);
            length += sqrt((a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) +
                           (a[2] - b[2]) * (a[2] - b[2]));
        }
    }
    CHECK_NEAR(length, 6, 1e-12);
    sorvane_lines_free(curves);

    CHECK_OK(sorvane_mesh_cut_along(cube, other, &cut, &uncut, &other_cut, &error));
    CHECK_NEAR(area_of(cut) + area_of(uncut), 24, 1e-12);
    CHECK(triangle_count(cut) > 0 && triangle_count(other_cut) > 0 && triangle_count(uncut) > 0);
    sorvane_mesh_free(cut);
    sorvane_mesh_free(uncut);
    sorvane_mesh_free(other_cut);
    CHECK(sorvane_mesh_cut_along(cube, other, &cut, NULL, &other_cut, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(cut == NULL && other_cut == NULL);

    CHECK_OK(sorvane_mesh_intersection(cube, far_away, &curves, &error));
    CHECK(sorvane_lines_count(curves) == 0);
    sorvane_lines_free(curves);
    CHECK_OK(sorvane_mesh_self_intersection(cube, &curves, &error));
    CHECK(sorvane_lines_count(curves) == 0);
    sorvane_lines_free(curves);
    CHECK(sorvane_mesh_intersection(cube, NULL, &curves, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(strstr(error.message, "other") != NULL);
    CHECK(sorvane_mesh_self_intersection(NULL, &curves, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_mesh_free(cube);
    sorvane_mesh_free(other);
    sorvane_mesh_free(far_away);
}

void test_sections(void)
{
    a_cube_is_cut_at_many_heights();
    sections_go_to_space_and_back();
    an_open_mesh_gives_a_chain();
    a_slicer_answers_like_the_mesh();
    bad_planes_are_told();
    halves_are_closed();
    cubes_cut_each_other();
}
