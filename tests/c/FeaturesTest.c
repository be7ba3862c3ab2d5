/* Edges, arcs, holes, regions and curvature. */
#include "Measure.h"

#include <stddef.h>

static const double pi = 3.14159265358979323846;

/* A round plate of radius 10 and thickness 5 with a hole of diameter 4 through it, in `n` steps. */
enum { plate_steps = 48 };
static sorvane_mesh *new_plate(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    static double points[4 * plate_steps * 3];
    static int triangles[8 * plate_steps * 3];
    const double radii[4] = {10, 10, 2, 2}; /* outside low, outside high, inside low, inside high */
    const double heights[4] = {0, 5, 0, 5};
    /* Which two rings a wall joins, so that it faces outward. */
    const int walls[4][2] = {{0, 1}, {1, 3}, {3, 2}, {2, 0}};
    int *next = triangles;
    int ring;
    int i;
    for (ring = 0; ring < 4; ++ring) {
        for (i = 0; i < plate_steps; ++i) {
            double *p = points + 3 * (ring * plate_steps + i);
            p[0] = radii[ring] * cos(2 * pi * i / plate_steps);
            p[1] = radii[ring] * sin(2 * pi * i / plate_steps);
            p[2] = heights[ring];
        }
    }
    for (ring = 0; ring < 4; ++ring) {
        for (i = 0; i < plate_steps; ++i) {
            const int a = walls[ring][0] * plate_steps + i;
            const int b = walls[ring][0] * plate_steps + (i + 1) % plate_steps;
            const int c = walls[ring][1] * plate_steps + (i + 1) % plate_steps;
            const int d = walls[ring][1] * plate_steps + i;
            *next++ = a;
            *next++ = b;
            *next++ = c;
            *next++ = a;
            *next++ = c;
            *next++ = d;
        }
    }
    CHECK_OK(sorvane_mesh_new(points, 4 * plate_steps, triangles, 8 * plate_steps, &mesh, &error));
    CHECK(volume_of(mesh) > 0);
    return mesh;
}

static void a_cube_has_twelve_sharp_edges(void)
{
    sorvane_error error;
    sorvane_mesh *cube = new_cube();
    sorvane_mesh *open = new_open_cube();
    sorvane_edges *edges = NULL;
    double angles[36];
    double sum = 0;
    size_t count = 0;
    int i;
    CHECK_OK(sorvane_mesh_sharp_edges(cube, 0.5, 1, &edges, &error));
    CHECK(sorvane_edges_points(edges, &count) != NULL && count == 24);
    sorvane_edges_free(edges);
    CHECK_OK(sorvane_mesh_sharp_edges(open, 0.5, 0, &edges, &error));
    sorvane_edges_points(edges, &count);
    CHECK(count == 16); /* four edges are boundary */
    sorvane_edges_free(edges);
    CHECK_OK(sorvane_mesh_sharp_edges(open, 0.5, 1, &edges, &error));
    sorvane_edges_points(edges, &count);
    CHECK(count == 20);
    sorvane_edges_free(edges);
    sorvane_edges_free(NULL);
    CHECK(boundary_count(cube) == 0 && boundary_count(open) == 4);

    CHECK_OK(sorvane_mesh_crease_angles(cube, angles, &error));
    for (i = 0; i < 36; ++i) {
        CHECK(fabs(angles[i]) <= 1e-7 || fabs(angles[i] - pi / 2) <= 1e-7);
        sum += angles[i];
    }
    CHECK_NEAR(sum, 12 * pi, 1e-6);
    CHECK(sorvane_mesh_sharp_edges(cube, NAN, 1, &edges, &error) == SORVANE_BAD_ARGUMENT && edges == NULL);
    CHECK(sorvane_mesh_sharp_edges(cube, -1, 1, &edges, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_boundary_edges(NULL, &edges, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_mesh_free(cube);
    sorvane_mesh_free(open);
}

static void the_longest_straight_boundary(void)
{
    sorvane_error error;
    sorvane_mesh *cube = new_cube();
    sorvane_mesh *open = new_open_cube();
    double ends[6] = {0, 0, 0, 0, 0, 0};
    double length = 0;
    int i;
    CHECK_OK(sorvane_mesh_longest_straight_boundary(open, 1e-6, ends, &error));
    for (i = 0; i < 3; ++i) {
        length += (ends[i] - ends[i + 3]) * (ends[i] - ends[i + 3]);
    }
    CHECK_NEAR(sqrt(length), 2, 1e-12);
    CHECK(ends[1] == -1 && ends[4] == -1);
    CHECK(sorvane_mesh_longest_straight_boundary(cube, 1e-6, ends, &error) == SORVANE_FAILED);
    CHECK(sorvane_mesh_longest_straight_boundary(open, -1, ends, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_longest_straight_boundary(open, 1e-6, NULL, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_mesh_free(cube);
    sorvane_mesh_free(open);
}

static void a_plate_has_one_hole(void)
{
    sorvane_error error;
    sorvane_mesh *plate = new_plate();
    sorvane_mesh *cube = new_cube();
    sorvane_arcs *arcs = NULL;
    sorvane_holes *holes = NULL;
    sorvane_hole_options options;
    size_t count = 0;
    CHECK_OK(sorvane_mesh_drill_holes(plate, NULL, &holes, &error));
    {
        const sorvane_hole *hole = sorvane_holes_items(holes, &count);
        CHECK(count == 1);
        if (count == 1) {
            CHECK_NEAR(hole->entry[0], 0, 1e-9);
            CHECK_NEAR(hole->entry[1], 0, 1e-9);
            CHECK_NEAR(hole->entry[2], 5, 1e-9);
            CHECK_NEAR(hole->axis[2], -1, 1e-9);
            CHECK_NEAR(hole->tip_depth, 5, 1e-9);
            CHECK(hole->end == SORVANE_HOLE_THROUGH && !hole->is_counterbored && !hole->is_countersunk);
            CHECK(hole->first_step == 0 && hole->step_count == 1);
        }
    }
    {
        const sorvane_hole_step *step = sorvane_holes_steps(holes, &count);
        CHECK(count == 1);
        if (count == 1) {
            CHECK_NEAR(step->diameter, 4, 1e-9);
            CHECK_NEAR(step->end_diameter, 4, 1e-9);
            CHECK_NEAR(step->from_depth, 0, 1e-9);
            CHECK_NEAR(step->to_depth, 5, 1e-9);
            CHECK(!step->is_cone);
        }
    }
    sorvane_holes_free(holes);
    sorvane_holes_free(NULL);

    CHECK_OK(sorvane_mesh_arcs(plate, NULL, &arcs, &error));
    {
        const sorvane_arc *arc = sorvane_arcs_items(arcs, &count);
        CHECK(count == 4);
        if (count == 4) {
            CHECK_NEAR(arc[0].radius + arc[1].radius + arc[2].radius + arc[3].radius, 24, 1e-9);
            CHECK_NEAR(arc[0].center[2], 0, 1e-9);
            CHECK_NEAR(arc[3].center[2], 5, 1e-9);
            CHECK_NEAR(fabs(arc[0].normal[2]), 1, 1e-9);
            CHECK(arc[0].length > 0.9 * 2 * pi * arc[0].radius && arc[0].length <= 2 * pi * arc[0].radius + 1e-9);
        }
    }
    sorvane_arcs_free(arcs);
    sorvane_arcs_free(NULL);

    CHECK_OK(sorvane_mesh_drill_holes(cube, NULL, &holes, &error));
    sorvane_holes_items(holes, &count);
    CHECK(count == 0);
    sorvane_holes_free(holes);

    sorvane_hole_options_init(&options);
    CHECK(options.crease_angle == 0.4 && options.tolerance == 0.02 && options.fraction == 0.8);
    options.fraction = NAN;
    CHECK(sorvane_mesh_drill_holes(plate, &options, &holes, &error) == SORVANE_BAD_ARGUMENT && holes == NULL);
    CHECK(sorvane_mesh_arcs(plate, &options, &arcs, &error) == SORVANE_BAD_ARGUMENT && arcs == NULL);
    /* Made before `fraction`: what stands there is not looked at. */
    options.size = offsetof(sorvane_hole_options, fraction);
    CHECK_OK(sorvane_mesh_drill_holes(plate, &options, &holes, &error));
    sorvane_holes_items(holes, &count);
    CHECK(count == 1);
    sorvane_holes_free(holes);
    CHECK(sorvane_mesh_drill_holes(NULL, NULL, &holes, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_mesh_free(plate);
    sorvane_mesh_free(cube);
}

/* A washer 6 thick with a hole of 4 that is 8 wide at its mouth: a cone or a flat shoulder 2 below. */
static void holes_are_sunk_and_bored(void)
{
    const double origin[3] = {0, 0, 0};
    const double up[3] = {0, 0, 1};
    const double sunk[18] = {4, 0, 6, 2, 0, 4, 2, 0, 0, 10, 0, 0, 10, 0, 6, 4, 0, 6};
    const double bored[21] = {4, 0, 6, 4, 0, 4, 2, 0, 4, 2, 0, 0, 10, 0, 0, 10, 0, 6, 4, 0, 6};
    int is_bored;
    for (is_bored = 0; is_bored < 2; ++is_bored) {
        sorvane_error error;
        sorvane_mesh *washer = NULL;
        sorvane_mesh *welded = NULL;
        sorvane_holes *holes = NULL;
        size_t count = 0;
        CHECK_OK(sorvane_mesh_revolve(is_bored ? bored : sunk, is_bored ? 7 : 6, origin, up, 0.005, &washer, &error));
        CHECK_OK(sorvane_mesh_weld(washer, 1e-9, &welded, &error));
        CHECK(boundary_count(welded) == 0 && volume_of(welded) > 0);
        CHECK_OK(sorvane_mesh_drill_holes(welded, NULL, &holes, &error));
        {
            const sorvane_hole *hole = sorvane_holes_items(holes, &count);
            CHECK(count == 1);
            if (count == 1) {
                const sorvane_hole_step *steps = sorvane_holes_steps(holes, NULL) + hole->first_step;
                CHECK(hole->end == SORVANE_HOLE_THROUGH && hole->step_count == 2);
                CHECK(hole->is_counterbored == is_bored && hole->is_countersunk == !is_bored);
                CHECK(steps[0].is_cone == !is_bored && !steps[1].is_cone);
                CHECK_NEAR(steps[0].diameter, 8, 0.02);
                CHECK_NEAR(steps[0].end_diameter, is_bored ? 8 : 4, 0.02);
                CHECK_NEAR(steps[0].to_depth, 2, 1e-9);
                CHECK_NEAR(steps[1].to_depth, 6, 1e-9);
            }
        }
        sorvane_holes_free(holes);
        sorvane_mesh_free(welded);
        sorvane_mesh_free(washer);
    }
}

static void a_cube_has_six_faces(void)
{
    sorvane_error error;
    sorvane_mesh *cube = new_cube();
    sorvane_clusters *clusters = NULL;
    int groups[12];
    size_t count = 0;
    size_t i;
    CHECK_OK(sorvane_mesh_facet_clusters(cube, 1e-6, &clusters, &error));
    {
        const sorvane_cluster *cluster = sorvane_clusters_items(clusters, &count);
        const sorvane_lists *triangles = sorvane_clusters_triangles(clusters);
        CHECK(count == 6 && sorvane_lists_count(triangles) == 6);
        for (i = 0; i < count; ++i) {
            const double *n = cluster[i].normal;
            const double *c = cluster[i].centroid;
            CHECK_NEAR(cluster[i].area, 4, 1e-12);
            CHECK_NEAR(n[0] * n[0] + n[1] * n[1] + n[2] * n[2], 1, 1e-12);
            CHECK_NEAR(n[0] * c[0] + n[1] * c[1] + n[2] * c[2], 1, 1e-12); /* outward, and in the middle of a face */
            CHECK(sorvane_lists_starts(triangles, NULL)[i + 1] == 2 * (int)(i + 1));
        }
    }
    sorvane_clusters_free(clusters);
    sorvane_clusters_free(NULL);
    CHECK(sorvane_mesh_facet_clusters(cube, -1, &clusters, &error) == SORVANE_BAD_ARGUMENT && clusters == NULL);

    CHECK_OK(sorvane_mesh_normal_groups(cube, 0.2, groups, &error));
    for (i = 0; i < 12; i += 2) {
        size_t k;
        CHECK(groups[i] == groups[i + 1] && groups[i] >= 0 && groups[i] < 6);
        for (k = 0; k < i; ++k) {
            CHECK(groups[k] != groups[i]);
        }
    }
    CHECK(sorvane_mesh_normal_groups(cube, NAN, groups, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_normal_groups(cube, 0.2, NULL, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_mesh_free(cube);
}

static void curvature_of_a_tube_is_that_of_its_radius(void)
{
    sorvane_error error;
    sorvane_mesh *tube = NULL;
    sorvane_mesh *bare = new_bare_points();
    enum { steps = 64, rings = 9 };
    static double points[3 * steps * rings];
    static int triangles[6 * steps * (rings - 1)];
    static double greatest[steps * rings];
    static double least[steps * rings];
    static double normals[3 * steps * rings];
    static double directions[3 * steps * rings];
    static double areas[steps * rings];
    const double radius = 2;
    const double chord = 2 * 2 * 0.0490676743274180; /* 2 r sin(pi / steps) */
    int *next = triangles;
    int i;
    int k;
    for (k = 0; k < rings; ++k) {
        for (i = 0; i < steps; ++i) {
            double *p = points + 3 * (k * steps + i);
            p[0] = radius * cos(2 * pi * i / steps);
            p[1] = radius * sin(2 * pi * i / steps);
            p[2] = k * chord;
        }
    }
    for (k = 0; k + 1 < rings; ++k) {
        for (i = 0; i < steps; ++i) {
            const int a = k * steps + i;
            const int b = k * steps + (i + 1) % steps;
            *next++ = a;
            *next++ = b;
            *next++ = b + steps;
            *next++ = a;
            *next++ = b + steps;
            *next++ = a + steps;
        }
    }
    CHECK_OK(sorvane_mesh_new(points, steps * rings, triangles, 2 * steps * (rings - 1), &tube, &error));
    CHECK_OK(sorvane_mesh_curvatures(tube, 1e-12, greatest, least, normals, directions, areas, &error));
    {
        const int middle = 4 * steps;
        double sum = 0;
        CHECK_NEAR(greatest[middle], 1 / radius, 0.01);
        CHECK_NEAR(least[middle], 0, 0.01);
        CHECK_NEAR(normals[3 * middle], 1, 1e-2);
        CHECK_NEAR(directions[3 * middle], 1, 1e-2);
        for (i = 0; i < steps * rings; ++i) {
            sum += areas[i];
        }
        CHECK_NEAR(sum, area_of(tube), 1e-9);
    }
    CHECK_OK(sorvane_mesh_curvatures(tube, 1e-12, NULL, NULL, NULL, NULL, NULL, &error));
    CHECK(sorvane_mesh_curvatures(tube, NAN, greatest, least, NULL, NULL, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_curvatures(NULL, 0, greatest, least, NULL, NULL, NULL, &error) == SORVANE_BAD_ARGUMENT);
    /* Points of no triangle have none; all of the memory is written. */
    greatest[7] = -1;
    areas[7] = -1;
    CHECK_OK(sorvane_mesh_curvatures(bare, 1e-12, greatest, NULL, NULL, NULL, areas, &error));
    CHECK(greatest[7] == 0 && areas[7] == 0);
    sorvane_mesh_free(bare);
    sorvane_mesh_free(tube);
}

void test_features(void)
{
    a_cube_has_twelve_sharp_edges();
    the_longest_straight_boundary();
    a_plate_has_one_hole();
    holes_are_sunk_and_bored();
    a_cube_has_six_faces();
    curvature_of_a_tube_is_that_of_its_radius();
}
