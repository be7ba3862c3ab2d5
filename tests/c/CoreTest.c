/* Status, errors, version and progress. */
#include "Check.h"

#include <stddef.h>
#include <string.h>

/*
 * Programs that were compiled before must find every field where it was: an array of a negative size does not compile.
 * These are the layouts of 64-bit systems; the numbers are the sums of the sizes of the fields, with their padding.
 */
#define LAYOUT(type, bytes, last, place)                                                                               \
    typedef char layout_of_##type[sizeof(void *) != 8 || (sizeof(type) == (bytes) && offsetof(type, last) == (place))  \
                                      ? 1                                                                              \
                                      : -1]
LAYOUT(sorvane_error, 504, message, 16);
LAYOUT(sorvane_section_options, 24, tolerance, 16);
LAYOUT(sorvane_remesh_options, 40, keep_tags, 32);
LAYOUT(sorvane_adaptive_options, 56, keep_tags, 48);
LAYOUT(sorvane_decimate_options, 40, keep_tags, 36);
LAYOUT(sorvane_hole_options, 40, axis_tolerance, 32);
LAYOUT(sorvane_imprint_options, 24, skip_far_points, 16);
LAYOUT(sorvane_grid, 72, spacing, 48);
LAYOUT(sorvane_tool_shape, 64, shank_length, 56);
LAYOUT(sorvane_lathe_setup, 104, pivot, 88);
LAYOUT(sorvane_tool_fit, 24, mean_deviation, 16);
LAYOUT(sorvane_decimation, 56, folding_edges, 48);
LAYOUT(sorvane_hausdorff, 40, distance, 32);
LAYOUT(sorvane_hausdorff_bounds, 160, second_nearest, 136);
LAYOUT(sorvane_arc, 64, length, 56);
LAYOUT(sorvane_hole, 80, step_count, 72);
LAYOUT(sorvane_hole_step, 40, is_cone, 32);
LAYOUT(sorvane_cluster, 56, area, 48);
LAYOUT(sorvane_oriented_rectangle, 64, extent, 48);
LAYOUT(sorvane_oriented_box, 120, extent, 96);
LAYOUT(sorvane_prism, 56, high, 48);

static int stop_at_once(double fraction, void *user)
{
    (void)fraction;
    ++*(int *)user;
    return 0;
}

static void version_is_that_of_the_header(void)
{
    int major = -1;
    int minor = -1;
    int patch = -1;
    sorvane_version(&major, &minor, &patch);
    CHECK(major >= 0 && minor >= 0 && patch >= 0);
    sorvane_version(NULL, NULL, NULL);
}

static void every_status_has_a_name(void)
{
    CHECK(strcmp(sorvane_status_name(SORVANE_OK), "SORVANE_OK") == 0);
    CHECK(strcmp(sorvane_status_name(SORVANE_INTERNAL), "SORVANE_INTERNAL") == 0);
    CHECK(strcmp(sorvane_status_name((sorvane_status)99), "unknown status") == 0);
    CHECK(strcmp(sorvane_status_name((sorvane_status)-1), "unknown status") == 0);
}

static void small_numbers_are_told(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    CHECK(sorvane_mesh_weld(NULL, -1e-9, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(strstr(error.message, " -1e-09;") != NULL);
    CHECK(sorvane_mesh_weld(NULL, NAN, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(strstr(error.message, "nan;") != NULL);
}

/* Messages that are too long end with a whole character, whether the limit falls in front of one or into it. */
static void long_messages_end_with_a_character(void)
{
    enum { letters = 300 };
    size_t before;
    for (before = 0; before < 2; ++before) {
        sorvane_error error;
        sorvane_mesh *mesh = NULL;
        char path[2 * letters + 2] = "x";
        size_t i;
        for (i = before; i < before + 2 * letters; i += 2) {
            memcpy(path + i, "\xC3\xA9", 2);
        }
        path[before + 2 * letters] = 0;
        CHECK(sorvane_mesh_read(path, &mesh, &error) == SORVANE_FILE_ERROR);
        CHECK(strlen(error.message) == sizeof error.message - 2 + before);
        CHECK(memcmp(error.message, path, strlen(error.message)) == 0);
    }
}

static void nothing_is_filled_in_nowhere(void)
{
    sorvane_adaptive_options_init(NULL);
    sorvane_decimate_options_init(NULL);
    sorvane_grid_init(NULL);
    sorvane_hole_options_init(NULL);
    sorvane_imprint_options_init(NULL);
    sorvane_lathe_setup_init(NULL);
    sorvane_remesh_options_init(NULL);
    sorvane_section_options_init(NULL);
    sorvane_tool_shape_init(NULL);
}

static void scopes_nest_and_close(void)
{
    sorvane_error error;
    sorvane_progress *outer = NULL;
    sorvane_progress *inner = NULL;
    int calls = 0;
    CHECK_OK(sorvane_progress_open(stop_at_once, &calls, &outer, &error));
    CHECK_OK(sorvane_progress_open(stop_at_once, &calls, &inner, &error));
    CHECK(!sorvane_progress_was_stopped(inner));
    sorvane_progress_close(inner);
    {
        /* The outer one hears again, and what it says is what later calls answer. */
        sorvane_mesh *cube = NULL;
        sorvane_mesh *fine = NULL;
        CHECK_OK(sorvane_mesh_new(cube_points, 8, cube_triangles, 12, &cube, &error));
        CHECK_STOPS((sorvane_mesh_free(fine), sorvane_mesh_refine(cube, SORVANE_MIDPOINTS, 6 + round, &fine, &error)));
        CHECK(fine == NULL && calls == 1 && sorvane_progress_was_stopped(outer));
        sorvane_mesh_free(cube);
    }
    sorvane_progress_close(outer);
    CHECK(!sorvane_progress_was_stopped(NULL));
    sorvane_progress_close(NULL);
    CHECK(sorvane_progress_open(NULL, NULL, &outer, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(outer == NULL);
}

static void limits_of_threads_nest(void)
{
    sorvane_error error;
    sorvane_threads *outer = NULL;
    sorvane_threads *inner = NULL;
    const int before = sorvane_threads_current();
    CHECK(before >= 1);
    CHECK_OK(sorvane_threads_open(1, &outer, &error));
    CHECK(sorvane_threads_current() == 1);
    CHECK_OK(sorvane_threads_open(2, &inner, &error));
    CHECK(sorvane_threads_current() == 1);
    sorvane_threads_close(inner);
    sorvane_threads_close(outer);
    sorvane_threads_close(NULL);
    CHECK(sorvane_threads_current() == before);
    CHECK(sorvane_threads_open(0, &outer, &error) == SORVANE_BAD_ARGUMENT && outer == NULL);
    CHECK(strcmp(error.message, "threads is 0; there must be 1 at least") == 0);
    CHECK(sorvane_threads_open(2, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_threads_current() == before);
}

void test_core(void)
{
    version_is_that_of_the_header();
    every_status_has_a_name();
    small_numbers_are_told();
    long_messages_end_with_a_character();
    nothing_is_filled_in_nowhere();
    scopes_nest_and_close();
    limits_of_threads_nest();
}
