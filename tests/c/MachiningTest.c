/* Tools, contact, shadows and turning on a cube and a cylinder. */
#include "Check.h"

#include <pthread.h>
#include <stdlib.h>

static const double pi = 3.14159265358979323846;

static sorvane_mesh *cube(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    CHECK_OK(sorvane_mesh_new(cube_points, 8, cube_triangles, 12, &mesh, &error));
    return mesh;
}

static sorvane_surface *surface_of_cube(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = cube();
    sorvane_surface *surface = NULL;
    CHECK_OK(sorvane_surface_new(mesh, &surface, &error));
    sorvane_mesh_free(mesh); /* the surface goes on without it */
    return surface;
}

static void shapes_of_tools(void)
{
    sorvane_error error;
    sorvane_tool *tool = NULL;
    size_t count = 0;
    const double *parts = NULL;
    CHECK_OK(sorvane_tool_ball(10, 30, &tool, &error));
    parts = sorvane_tool_parts(tool, &count);
    CHECK(count == 1 && parts[0] == 0 && parts[1] == 5 && parts[6] == 25 && parts[7] == 0);
    CHECK_NEAR(parts[2], pi / 2, 1e-15);
    CHECK_NEAR(sorvane_tool_radius(tool), 5, 1e-14);
    CHECK_NEAR(sorvane_chain_length(sorvane_tool_profile(tool)), 5 * pi / 2 + 25, 1e-12);
    sorvane_tool_free(tool);
    sorvane_tool_free(NULL);
    CHECK_OK(sorvane_tool_flat(10, 30, &tool, &error));
    CHECK_NEAR(sorvane_chain_length(sorvane_tool_profile(tool)), 35, 1e-12);
    sorvane_tool_free(tool);
    CHECK_OK(sorvane_tool_bull(10, 2, 30, &tool, &error));
    CHECK_NEAR(sorvane_chain_length(sorvane_tool_profile(tool)), 3 + pi + 28, 1e-12);
    sorvane_tool_free(tool);
    CHECK_OK(sorvane_tool_cone(10, 90, 30, &tool, &error));
    CHECK_NEAR(sorvane_chain_length(sorvane_tool_profile(tool)), 5 * sqrt(2) + 25, 1e-12);
    sorvane_tool_free(tool);
    CHECK(sorvane_tool_ball(0, 30, &tool, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(tool == NULL);
    CHECK(sorvane_tool_ball(NAN, 30, &tool, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_tool_ball(10, 4, &tool, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_tool_bull(10, 6, 30, &tool, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_tool_cone(10, 180, 30, &tool, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_tool_flat(10, 30, NULL, &error) == SORVANE_BAD_ARGUMENT);
}

static void a_shape_of_an_older_program_is_taken(void)
{
    sorvane_error error;
    sorvane_tool_shape shape;
    sorvane_tool *tool = NULL;
    sorvane_tool_shape_init(&shape);
    CHECK(shape.size == sizeof shape && shape.shank_length == 0);
    CHECK(sorvane_tool_new(&shape, &tool, &error) == SORVANE_BAD_ARGUMENT); /* no radius */
    shape.tip_radius = 3;
    shape.shank_length = 20;
    CHECK_OK(sorvane_tool_new(&shape, &tool, &error));
    CHECK(sorvane_tool_parts(tool, NULL)[6] == 20);
    sorvane_tool_free(tool);
    /* As if the structure ended with the first field. */
    shape.size = offsetof(sorvane_tool_shape, lower_corner_radius);
    shape.lower_corner_radius = NAN;
    CHECK_OK(sorvane_tool_new(&shape, &tool, &error));
    CHECK(sorvane_tool_parts(tool, NULL)[0] == 3 && sorvane_tool_parts(tool, NULL)[6] == 0);
    sorvane_tool_free(tool);
    shape.size = sizeof shape;
    CHECK(sorvane_tool_new(&shape, &tool, &error) == SORVANE_BAD_ARGUMENT);
    shape.size = 0;
    CHECK(sorvane_tool_new(&shape, &tool, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_tool_new(NULL, &tool, &error) == SORVANE_BAD_ARGUMENT);
}

static void an_outline_becomes_a_tool(void)
{
    sorvane_error error;
    sorvane_tool *tool = NULL;
    sorvane_tool_fit fit;
    double points[2 * 42];
    int i = 0;
    /* A ball nose of radius 5 and length 20, at 2.25 degrees. */
    for (i = 0; i <= 40; ++i) {
        const double angle = i * pi / 80;
        points[2 * i] = 5 * sin(angle);
        points[2 * i + 1] = 5 - 5 * cos(angle);
    }
    points[82] = 5;
    points[83] = 20;
    CHECK_OK(sorvane_tool_from_profile(points, 42, 0.01, SORVANE_TOOL_CONVEX, &tool, &fit, &error));
    CHECK_NEAR(sorvane_tool_parts(tool, NULL)[1], 5, 0.05);
    CHECK(fit.hull_deviation <= 0.01 && fit.mean_deviation <= fit.hull_deviation);
    sorvane_tool_free(tool);
    CHECK_OK(sorvane_tool_from_profile(points, 42, 0.01, SORVANE_TOOL_CYLINDRICAL, &tool, NULL, &error));
    CHECK_NEAR(sorvane_tool_parts(tool, NULL)[1], 5, 0.05);
    CHECK_NEAR(sorvane_tool_radius(tool), 5, 1e-9);
    sorvane_tool_free(tool);
    CHECK_OK(sorvane_tool_from_profile_best(points, 42, 1e-3, 1e-2, &tool, &fit, &error));
    CHECK(fit.hull_deviation <= 0.01);
    sorvane_tool_free(tool);
    CHECK(sorvane_tool_from_profile(NULL, 0, 0.01, SORVANE_TOOL_CONVEX, &tool, &fit, &error) == SORVANE_FAILED);
    CHECK(sorvane_tool_from_profile(points, 42, 0.01, (sorvane_tool_family)7, &tool, &fit, &error) ==
          SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_tool_from_profile(points, 42, -1, SORVANE_TOOL_CONVEX, &tool, &fit, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_tool_from_profile_best(points, 42, -1, 1, &tool, &fit, &error) == SORVANE_BAD_ARGUMENT);
    points[5] = NAN;
    CHECK(sorvane_tool_from_profile(points, 42, 0.01, SORVANE_TOOL_CONVEX, &tool, &fit, &error) ==
          SORVANE_BAD_ARGUMENT);
    CHECK(error.index == 2 && tool == NULL);
}

static void contact_becomes_location(void)
{
    sorvane_error error;
    sorvane_tool *tool = NULL;
    const double points[6] = {1, 2, 3, 0, 0, 0};
    const double normals[6] = {0, 0, 1, 1, 0, 0};
    double tips[6];
    CHECK_OK(sorvane_tool_ball(10, 30, &tool, &error));
    CHECK_OK(sorvane_tool_offset(tool, points, normals, 2, tips, &error));
    CHECK_NEAR(tips[0], 1, 1e-12);
    CHECK_NEAR(tips[1], 2, 1e-12);
    CHECK_NEAR(tips[2], 3, 1e-12);
    CHECK_NEAR(tips[3], 5, 1e-12); /* beside a wall: the axis is 5 away */
    CHECK(sorvane_tool_offset(tool, points, NULL, 2, tips, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_tool_offset(NULL, points, normals, 2, tips, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_tool_offset(tool, points, normals, 2, NULL, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_tool_free(tool);
}

static void tools_stop_on_a_cube(void)
{
    sorvane_error error;
    sorvane_surface *surface = surface_of_cube();
    sorvane_tool *ball = NULL;
    const double positions[8] = {0, 0, 4, 0, 50, 0, 3, NAN};
    const double xs[3] = {-4, 0, 50};
    const double ys[2] = {0, 5};
    double heights[6];
    int triangles[6];
    CHECK_OK(sorvane_tool_ball(10, 30, &ball, &error));
    CHECK_OK(sorvane_surface_drop(surface, ball, positions, 4, heights, triangles, &error));
    CHECK_NEAR(heights[0], 1, 1e-12);
    /* At x = 4 the upper edge at 1 is 3 from the axis, where the ball is 5 - 4 above its tip. */
    CHECK_NEAR(heights[1], 0, 1e-12);
    CHECK(triangles[0] >= 0 && triangles[0] < 12 && triangles[1] >= 0);
    CHECK(heights[2] == -INFINITY && triangles[2] == -1);
    CHECK(heights[3] == -INFINITY && triangles[3] == -1);
    CHECK_OK(sorvane_surface_height_map(surface, ball, xs, 3, ys, 2, heights, NULL, &error));
    CHECK_NEAR(heights[0], 0, 1e-12);
    CHECK_NEAR(heights[1], 1, 1e-12);
    CHECK(heights[2] == -INFINITY && heights[5] == -INFINITY);
    CHECK_NEAR(heights[4], 1 - 2, 1e-12); /* 4 from the edge: 5 - 3 */
    CHECK_OK(sorvane_surface_height_map(surface, ball, NULL, 0, ys, 2, NULL, NULL, &error));
    CHECK(sorvane_surface_drop(surface, ball, NULL, 4, heights, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_surface_drop(surface, ball, positions, 4, NULL, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_surface_drop(surface, NULL, positions, 4, heights, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_surface_drop(NULL, ball, positions, 4, heights, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_surface_height_map(surface, ball, xs, 3, NULL, 2, heights, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_surface_height_map(surface, ball, xs, 1u << 30, ys, 1u << 30, heights, NULL, &error) ==
          SORVANE_BAD_ARGUMENT);
    sorvane_surface_free(surface);
    CHECK(sorvane_surface_new(NULL, &surface, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(surface == NULL);
    sorvane_tool_free(ball);
}

static void holders_gouge_a_cube(void)
{
    sorvane_error error;
    sorvane_surface *surface = surface_of_cube();
    sorvane_tool *cutter = NULL;
    sorvane_tool *tool = NULL;
    sorvane_tool_shape holder;
    const double points[9] = {0, 0, 1, 0, 0, 0.5, 3, 0, -5};
    double depths[3];
    int triangles[3];
    int parts[3];
    size_t count = 0;
    CHECK_OK(sorvane_tool_flat(2, 4, &cutter, &error));
    sorvane_tool_shape_init(&holder);
    holder.tip_radius = 6;
    holder.shank_length = 10;
    CHECK_OK(sorvane_tool_with_part(cutter, &holder, 4, &tool, &error));
    CHECK(sorvane_tool_parts(tool, &count)[15] == 4 && count == 2);
    CHECK_OK(sorvane_surface_gouges(surface, tool, points, 3, 1e-9, depths, triangles, parts, &error));
    CHECK(parts[0] == -1 && triangles[0] == -1 && depths[0] == 0);
    CHECK(parts[1] == 0 && triangles[1] >= 0);
    CHECK_NEAR(depths[1], 0.5, 1e-12);
    CHECK(parts[2] == 1); /* the holder's face is at -1, and the cube's top at 1 */
    CHECK_NEAR(depths[2], 2, 1e-12);
    CHECK_OK(sorvane_surface_gouges(surface, tool, points, 2, 0.6, NULL, NULL, parts, &error));
    CHECK(parts[1] == -1);
    CHECK(sorvane_surface_gouges(surface, tool, NULL, 2, 0, depths, NULL, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_surface_gouges(surface, tool, points, 2, NAN, depths, NULL, NULL, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_tool_shape_init(&holder);
    {
        sorvane_tool *none = cutter;
        CHECK(sorvane_tool_with_part(cutter, &holder, 4, &none, &error) == SORVANE_BAD_ARGUMENT);
        CHECK(none == NULL);
        CHECK(sorvane_tool_with_part(NULL, &holder, 4, &none, &error) == SORVANE_BAD_ARGUMENT);
    }
    sorvane_tool_free(tool);
    sorvane_tool_free(cutter);
    sorvane_surface_free(surface);
    sorvane_surface_free(NULL);
}

static int stop(double fraction, void *user)
{
    (void)fraction;
    ++*(int *)user;
    return 0;
}

enum { SIDE = 3200 };

static void a_raster_stops(void)
{
    sorvane_error error;
    sorvane_surface *surface = surface_of_cube();
    sorvane_tool *ball = NULL;
    sorvane_progress *progress = NULL;
    static double axis[SIDE];
    double *heights = malloc(sizeof(double) * SIDE * SIDE);
    int calls = 0;
    int i = 0;
    for (i = 0; i < SIDE; ++i) {
        axis[i] = -3 + 6.0 * i / SIDE;
    }
    CHECK_OK(sorvane_tool_ball(1, 5, &ball, &error));
    CHECK_OK(sorvane_progress_open(stop, &calls, &progress, &error));
    CHECK(heights != NULL);
    if (heights != NULL) {
        const size_t first = SIDE >> 5; /* along each axis, twice as many each time */
        CHECK_STOPS(sorvane_surface_height_map(surface, ball, axis, first << round, axis, first << round, heights, NULL,
                                               &error));
    }
    CHECK(calls == 1);
    free(heights);
    sorvane_progress_close(progress);
    sorvane_tool_free(ball);
    sorvane_surface_free(surface);
}

typedef struct shared_work {
    const sorvane_surface *surface;
    const sorvane_tool *tool;
    const double *axis;
    double *heights;
    sorvane_status status;
} shared_work;

static void *map_heights(void *argument)
{
    shared_work *work = (shared_work *)argument;
    work->status = sorvane_surface_height_map(work->surface, work->tool, work->axis, 50, work->axis, 50, work->heights,
                                              NULL, NULL);
    return NULL;
}

static void two_threads_share_a_surface_and_a_tool(void)
{
    sorvane_error error;
    sorvane_surface *surface = surface_of_cube();
    sorvane_tool *ball = NULL;
    static double axis[50];
    static double heights[2][2500];
    shared_work work[2];
    pthread_t threads[2];
    int i = 0;
    for (i = 0; i < 50; ++i) {
        axis[i] = -2 + 0.08 * i;
    }
    CHECK_OK(sorvane_tool_ball(2, 5, &ball, &error));
    for (i = 0; i < 2; ++i) {
        work[i].surface = surface;
        work[i].tool = ball;
        work[i].axis = axis;
        work[i].heights = heights[i];
        work[i].status = SORVANE_INTERNAL;
        CHECK(pthread_create(&threads[i], NULL, map_heights, &work[i]) == 0);
    }
    for (i = 0; i < 2; ++i) {
        pthread_join(threads[i], NULL);
        CHECK(work[i].status == SORVANE_OK);
    }
    CHECK(memcmp(heights[0], heights[1], sizeof heights[0]) == 0);
    sorvane_tool_free(ball);
    sorvane_surface_free(surface);
}

static void a_cube_has_shadows(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = cube();
    sorvane_region *shadow = NULL;
    double area = 0;
    double axes[6];
    const double along_x[3] = {5, 0, 0};
    const double diagonal[3] = {1, 1, 1};
    const double none[3] = {0, 0, 0};
    CHECK_OK(sorvane_mesh_silhouette(mesh, NULL, axes, &shadow, &error));
    CHECK_OK(sorvane_region_area(shadow, &area, &error));
    CHECK_NEAR(area, 4, 1e-8);
    CHECK(axes[0] == 1 && axes[4] == 1);
    sorvane_region_free(shadow);
    CHECK_OK(sorvane_mesh_silhouette(mesh, along_x, axes, &shadow, &error));
    CHECK_OK(sorvane_region_area(shadow, &area, &error));
    CHECK_NEAR(area, 4, 1e-8);
    CHECK(axes[1] == 1 && axes[5] == 1); /* y to the right, z upward */
    sorvane_region_free(shadow);
    CHECK_OK(sorvane_mesh_silhouette(mesh, diagonal, NULL, &shadow, &error));
    CHECK_OK(sorvane_region_area(shadow, &area, &error));
    CHECK_NEAR(area, 4 * sqrt(3), 1e-7); /* a regular hexagon */
    CHECK(sorvane_lines_count(sorvane_region_loops(shadow)) == 1);
    sorvane_region_free(shadow);
    CHECK(sorvane_mesh_silhouette(mesh, none, NULL, &shadow, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_silhouette(NULL, NULL, NULL, &shadow, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(shadow == NULL);
    sorvane_mesh_free(mesh);
}

static void a_cube_is_spun(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = cube();
    sorvane_lines *outline = NULL;
    const double origin[3] = {1, 1, -1};
    const double upward[3] = {0, 0, 2};
    double radius = 0;
    double top = 0;
    size_t count = 0;
    size_t i = 0;
    CHECK_OK(sorvane_mesh_spin_outline(mesh, NULL, NULL, 0.01, &outline, &error));
    CHECK(sorvane_lines_count(outline) == 1 && sorvane_lines_closed(outline, NULL)[0] == 1);
    {
        const double *p = sorvane_lines_points(outline, &count);
        for (i = 0; i < count; ++i) {
            radius = fmax(radius, p[2 * i]);
        }
    }
    CHECK_NEAR(radius, sqrt(2), 1e-9);
    sorvane_lines_free(outline);
    /* About one of its edges the far edge counts, and heights begin at the origin. */
    CHECK_OK(sorvane_mesh_spin_outline(mesh, origin, upward, 0.01, &outline, &error));
    {
        const double *p = sorvane_lines_points(outline, &count);
        for (i = 0; i < count; ++i) {
            radius = fmax(radius, p[2 * i]);
            top = fmax(top, p[2 * i + 1]);
        }
    }
    CHECK_NEAR(radius, 2 * sqrt(2), 1e-9);
    CHECK_NEAR(top, 2, 1e-9);
    sorvane_lines_free(outline);
    CHECK(sorvane_mesh_spin_outline(mesh, NULL, NULL, 5, &outline, &error) == SORVANE_FAILED);
    CHECK(sorvane_mesh_spin_outline(mesh, NULL, NULL, 0, &outline, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(outline == NULL);
    sorvane_mesh_free(mesh);
}

static void a_turning_tool_reaches_a_shaft(void)
{
    sorvane_error error;
    sorvane_lathe_setup setup;
    sorvane_lines *tool_regions = NULL;
    sorvane_lines *holder_regions = NULL;
    sorvane_lathe_sweep *sweep = NULL;
    sorvane_lathe_sequence *sequence = NULL;
    const double insert[6] = {0, 0, 1, 3, -1, 3};
    const double holder[8] = {-1, 3, 1, 3, 3, 14, -3, 14};
    const double shaft[10] = {0, 0, 0, 8, 60, 8, 60, 0, 0, 0};
    const double angles[3] = {-15, 0, 15};
    size_t count = 0;
    sorvane_lathe_setup_init(&setup);
    CHECK(sorvane_lathe_regions(&setup, &tool_regions, &holder_regions, &error) == SORVANE_BAD_ARGUMENT);
    CHECK_OK(sorvane_polyline_thin(shaft, 5, 0, 0, &tool_regions, &error));
    holder_regions = tool_regions;
    CHECK(sorvane_lathe_regions(&setup, NULL, &holder_regions, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(holder_regions == NULL); /* also where the first output is what is wrong */
    sorvane_lines_free(tool_regions);
    setup.tool = insert;
    setup.tool_count = 3;
    setup.target = shaft;
    setup.target_count = 5;
    CHECK_OK(sorvane_lathe_regions(&setup, &tool_regions, &holder_regions, &error));
    CHECK(sorvane_lines_count(tool_regions) >= 1 && sorvane_lines_count(holder_regions) == 0);
    sorvane_lines_free(tool_regions);
    sorvane_lines_free(holder_regions);
    {
        /* A tool that is a line, on a profile that is one on the same line: no boundary to go along, and not only for
           want of a holder. */
        const double line[4] = {0, 0, 1, 0};
        setup.tool = line;
        setup.tool_count = 2;
        setup.target = line;
        setup.target_count = 2;
        CHECK(sorvane_lathe_regions(&setup, &tool_regions, &holder_regions, &error) == SORVANE_FAILED);
        CHECK(tool_regions == NULL && holder_regions == NULL);
        CHECK_OK(sorvane_lathe_sweep_new(&setup, angles, 3, &sweep, &error));
        CHECK(sorvane_lathe_sweep_failed(sweep, &count)[1] == 1);
        sorvane_lathe_sweep_free(sweep);
        setup.tool = insert;
        setup.tool_count = 3;
        setup.target = shaft;
        setup.target_count = 5;
        CHECK_OK(sorvane_lathe_sweep_new(&setup, angles, 3, &sweep, &error));
        CHECK(sorvane_lathe_sweep_failed(sweep, &count)[1] == 0);
        sorvane_lathe_sweep_free(sweep);
    }
    setup.holder = holder;
    setup.holder_count = 4;
    CHECK_OK(sorvane_lathe_regions(&setup, &tool_regions, &holder_regions, &error));
    CHECK(sorvane_lines_count(tool_regions) >= 1 && sorvane_lines_count(holder_regions) >= 1);
    {
        /* The insert's tip can follow the upper side of the shaft at y = 8. */
        const double *p = sorvane_lines_points(tool_regions, &count);
        size_t i = 0;
        double highest = 0;
        for (i = 0; i < count; ++i) {
            highest = fmax(highest, p[2 * i + 1]);
        }
        CHECK_NEAR(highest, 8, 1e-6);
    }
    sorvane_lines_free(tool_regions);
    sorvane_lines_free(holder_regions);
    CHECK_OK(sorvane_lathe_sweep_new(&setup, angles, 3, &sweep, &error));
    CHECK(sorvane_lathe_sweep_failed(sweep, &count)[1] == 0 && count == 3);
    sorvane_line_groups_starts(sorvane_lathe_sweep_reachable(sweep), &count);
    CHECK(count == 4);
    sorvane_line_groups_starts(sorvane_lathe_sweep_tool_regions(sweep), &count);
    CHECK(count == 4);
    sorvane_line_groups_starts(sorvane_lathe_sweep_holder_regions(sweep), &count);
    CHECK(count == 4);
    CHECK_OK(sorvane_lathe_sequence_new(sweep, NULL, 0, &sequence, &error));
    {
        size_t flags = 0;
        const double *parameters = sorvane_lathe_sequence_parameters(sequence, &count);
        const int *valid = sorvane_lathe_sequence_valid(sequence, &flags);
        size_t step = 0;
        CHECK(count >= 1 && flags == 3 * count);
        /* In the middle of the upper side (8 up, 30 along) the upright tool is valid. */
        while (step + 1 < count && parameters[step + 1] <= 38) {
            ++step;
        }
        CHECK(count > 0 && valid[3 * step + 1] == 1);
    }
    sorvane_lathe_sequence_free(sequence);
    sorvane_lathe_sequence_free(NULL);
    sorvane_lathe_sweep_free(sweep);
    sorvane_lathe_sweep_free(NULL);
    {
        const double wrong[1] = {NAN};
        CHECK(sorvane_lathe_sweep_new(&setup, wrong, 1, &sweep, &error) == SORVANE_BAD_ARGUMENT);
        CHECK(sorvane_lathe_sweep_new(NULL, angles, 3, &sweep, &error) == SORVANE_BAD_ARGUMENT);
        setup.obstacle_count = 1;
        CHECK(sorvane_lathe_sweep_new(&setup, angles, 3, &sweep, &error) == SORVANE_BAD_ARGUMENT);
        CHECK(sweep == NULL);
    }
}

void test_machining(void)
{
    shapes_of_tools();
    a_shape_of_an_older_program_is_taken();
    an_outline_becomes_a_tool();
    contact_becomes_location();
    tools_stop_on_a_cube();
    holders_gouge_a_cube();
    a_raster_stops();
    two_threads_share_a_surface_and_a_tool();
    a_cube_has_shadows();
    a_cube_is_spun();
    a_turning_tool_reaches_a_shaft();
}
