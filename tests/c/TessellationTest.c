/* Triangles of outlines and of points. */
#include "Check.h"

static double area_of(const sorvane_mesh *mesh)
{
    sorvane_error error;
    double area = 0;
    CHECK_OK(sorvane_mesh_measure(mesh, &area, NULL, &error));
    return area;
}

static size_t triangles_of(const sorvane_mesh *mesh)
{
    size_t count = 0;
    sorvane_mesh_triangles(mesh, &count);
    return count;
}

static size_t points_of(const sorvane_mesh *mesh)
{
    size_t count = 0;
    sorvane_mesh_points(mesh, &count);
    return count;
}

static void polygons(void)
{
    const double angle[12] = {0, 0, 2, 0, 2, 1, 1, 1, 1, 2, 0, 2}; /* an L of area 3 */
    const double bow[8] = {0, 0, 1, 1, 1, 0, 0, 1};
    const double wall[12] = {0, 5, 0, 2, 5, 0, 2, 5, 3, 0, 5, 3};
    const double nan_points[6] = {0, 0, 1, 0, NAN, 1};
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    double normals[6];
    int i;
    CHECK_OK(sorvane_tessellate_polygon_2d(angle, 6, &mesh, &error));
    CHECK(triangles_of(mesh) == 4 && points_of(mesh) == 6);
    for (i = 0; i < 6; ++i) {
        CHECK(sorvane_mesh_points(mesh, NULL)[3 * i] == angle[2 * i]);
        CHECK(sorvane_mesh_points(mesh, NULL)[3 * i + 1] == angle[2 * i + 1]);
        CHECK(sorvane_mesh_points(mesh, NULL)[3 * i + 2] == 0);
    }
    CHECK_NEAR(area_of(mesh), 3, 1e-15);
    sorvane_mesh_free(mesh);
    CHECK_OK(sorvane_tessellate_polygon_3d(wall, 4, &mesh, &error));
    CHECK(triangles_of(mesh) == 2);
    CHECK_NEAR(area_of(mesh), 6, 1e-12);
    CHECK_OK(sorvane_mesh_normals(mesh, normals, &error));
    CHECK_NEAR(normals[1], -1, 1e-12); /* x, then z: seen from -y it runs counterclockwise */
    sorvane_mesh_free(mesh);
    CHECK(sorvane_tessellate_polygon_2d(bow, 4, &mesh, &error) == SORVANE_FAILED && mesh == NULL);
    CHECK(sorvane_tessellate_polygon_2d(angle, 2, &mesh, &error) == SORVANE_FAILED);
    CHECK(sorvane_tessellate_polygon_2d(NULL, 0, &mesh, &error) == SORVANE_FAILED);
    CHECK(sorvane_tessellate_polygon_2d(nan_points, 3, &mesh, &error) == SORVANE_BAD_ARGUMENT && error.index == 2);
    CHECK(sorvane_tessellate_polygon_3d(NULL, 4, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_tessellate_polygon_3d(wall, 4, NULL, &error) == SORVANE_BAD_ARGUMENT);
}

static void regions_with_holes(void)
{
    /* A square of 4, a hole of 2 in it, run the same way. */
    const double flat[16] = {0, 0, 4, 0, 4, 4, 0, 4, 1, 1, 3, 1, 3, 3, 1, 3};
    const double space[24] = {0, 0, 7, 4, 0, 7, 4, 4, 7, 0, 4, 7, 1, 1, 7, 3, 1, 7, 3, 3, 7, 1, 3, 7};
    const double inside[2] = {0.5, 2};
    const double off[3] = {0.5, 2, 8};
    const int starts[3] = {0, 4, 8};
    const int falling[3] = {0, 4, 3};
    const int late[3] = {1, 4, 8};
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    CHECK_OK(sorvane_tessellate_2d(flat, starts, 2, NULL, 0, 0, &mesh, &error));
    CHECK_NEAR(area_of(mesh), 12, 1e-12);
    CHECK(triangles_of(mesh) == 8 && points_of(mesh) == 8);
    sorvane_mesh_free(mesh);
    CHECK_OK(sorvane_tessellate_2d(flat, starts, 2, inside, 1, 0, &mesh, &error));
    CHECK_NEAR(area_of(mesh), 12, 1e-12);
    CHECK(points_of(mesh) == 9);
    sorvane_mesh_free(mesh);
    CHECK_OK(sorvane_tessellate_3d(space, starts, 2, NULL, 0, 0, &mesh, &error));
    CHECK_NEAR(area_of(mesh), 12, 1e-12);
    CHECK(sorvane_mesh_points(mesh, NULL)[2] == 7);
    sorvane_mesh_free(mesh);
    /* No outline: the Delaunay triangles of the points. */
    CHECK_OK(sorvane_tessellate_2d(NULL, NULL, 0, flat, 4, 0, &mesh, &error));
    CHECK_NEAR(area_of(mesh), 16, 1e-12);
    sorvane_mesh_free(mesh);
    CHECK_OK(sorvane_tessellate_2d(NULL, NULL, 0, NULL, 0, 0, &mesh, &error));
    CHECK(triangles_of(mesh) == 0);
    sorvane_mesh_free(mesh);
    (void)off;

    CHECK(sorvane_tessellate_2d(flat, falling, 2, NULL, 0, 0, &mesh, &error) == SORVANE_BAD_INDEX && error.index == 2);
    CHECK(sorvane_tessellate_2d(flat, late, 2, NULL, 0, 0, &mesh, &error) == SORVANE_BAD_INDEX && error.index == 0);
    CHECK(sorvane_tessellate_2d(flat, NULL, 2, NULL, 0, 0, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_tessellate_2d(NULL, starts, 2, NULL, 0, 0, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_tessellate_2d(flat, starts, 2, NULL, 1, 0, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_tessellate_2d(flat, starts, 2, NULL, 0, -1, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_tessellate_2d(flat, starts, 2, NULL, 0, NAN, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(mesh == NULL);
    {
        const double line[9] = {0, 0, 0, 1, 1, 1, 2, 2, 2};
        const int three[2] = {0, 3};
        CHECK(sorvane_tessellate_3d(line, three, 1, NULL, 0, 0, &mesh, &error) == SORVANE_FAILED && mesh == NULL);
    }
}

static void delaunay(void)
{
    /* A square of 4 with a point inside, and a flat rhombus of which the short diagonal is the Delaunay one. */
    const double points[10] = {0, 0, 4, 0, 4, 4, 0, 4, 1, 2};
    const double rhombus[8] = {-3, 0, 0, -1, 3, 0, 0, 1};
    const double twice[8] = {0, 0, 1, 0, 0, 1, 1, 0};
    const double line[6] = {0, 0, 1, 1, 2, 2};
    const int across[2] = {0, 2};
    const int crossing[4] = {0, 2, 1, 3};
    const int outside[2] = {0, 9};
    const int same[2] = {1, 1};
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    const int *t = NULL;
    size_t count = 0;
    size_t i;
    int found = 0;
    CHECK_OK(sorvane_delaunay(points, 5, NULL, 0, 0, &mesh, &error));
    CHECK(triangles_of(mesh) == 4 && points_of(mesh) == 5);
    CHECK_NEAR(area_of(mesh), 16, 1e-12);
    CHECK(sorvane_mesh_points(mesh, NULL)[12] == 1 && sorvane_mesh_points(mesh, NULL)[13] == 2);
    sorvane_mesh_free(mesh);
    CHECK_OK(sorvane_delaunay(rhombus, 4, across, 1, 0, &mesh, &error));
    t = sorvane_mesh_triangles(mesh, &count);
    CHECK(count == 2);
    for (i = 0; i < 6; ++i) {
        const int a = t[i];
        const int b = t[i / 3 * 3 + (i + 1) % 3];
        found += (a == 0 && b == 2) || (a == 2 && b == 0) ? 1 : 0;
    }
    CHECK(found == 2);
    sorvane_mesh_free(mesh);
    {
        /* A square of 2 in a square of 6: only what lies within it. */
        const double nested[16] = {0, 0, 6, 0, 6, 6, 0, 6, 2, 2, 4, 2, 4, 4, 2, 4};
        const int inner[8] = {4, 5, 5, 6, 6, 7, 7, 4};
        CHECK_OK(sorvane_delaunay(nested, 8, inner, 4, 1, &mesh, &error));
        CHECK_NEAR(area_of(mesh), 4, 1e-12);
        CHECK(points_of(mesh) == 8);
        sorvane_mesh_free(mesh);
        CHECK_OK(sorvane_delaunay(nested, 8, inner, 4, 0, &mesh, &error));
        CHECK_NEAR(area_of(mesh), 36, 1e-12);
        sorvane_mesh_free(mesh);
    }
    CHECK(sorvane_delaunay(twice, 4, NULL, 0, 0, &mesh, &error) == SORVANE_FAILED && error.index == 3);
    CHECK(sorvane_delaunay(rhombus, 4, crossing, 2, 0, &mesh, &error) == SORVANE_FAILED && error.index == 0);
    CHECK(sorvane_delaunay(line, 3, across, 1, 0, &mesh, &error) == SORVANE_FAILED && error.index == 0);
    CHECK(sorvane_delaunay(points, 5, outside, 1, 0, &mesh, &error) == SORVANE_BAD_INDEX && error.index == 0);
    CHECK(sorvane_delaunay(points, 5, same, 1, 0, &mesh, &error) == SORVANE_BAD_INDEX);
    CHECK(sorvane_delaunay(points, 5, NULL, 1, 0, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(mesh == NULL);
    CHECK_OK(sorvane_delaunay(line, 3, NULL, 0, 0, &mesh, &error));
    CHECK(triangles_of(mesh) == 0 && points_of(mesh) == 3);
    sorvane_mesh_free(mesh);
    for (i = 0; i < 3; ++i) {
        CHECK_OK(sorvane_delaunay(points, i, NULL, 0, 0, &mesh, &error));
        CHECK(triangles_of(mesh) == 0 && points_of(mesh) == i);
        sorvane_mesh_free(mesh);
    }
    /* Two points are told apart as three of that size are. */
    {
        const double tiny[6] = {0, 0, 1e-13, 0, 0, 1e-13};
        for (i = 2; i < 4; ++i) {
            CHECK_OK(sorvane_delaunay(tiny, i, NULL, 0, 0, &mesh, &error));
            CHECK(triangles_of(mesh) == i - 2 && points_of(mesh) == i);
            sorvane_mesh_free(mesh);
        }
    }
    {
        const double place[8] = {3, 3, 3, 3, 3, 3, 3, 3};
        const double huge[6] = {0, 0, 1e200, 0, 0, 1};
        for (i = 2; i < 5; ++i) {
            CHECK(sorvane_delaunay(place, i, NULL, 0, 0, &mesh, &error) == SORVANE_FAILED && error.index == 1);
        }
        CHECK(sorvane_delaunay(huge, 3, NULL, 0, 0, &mesh, &error) == SORVANE_FAILED && error.index == -1);
    }
    CHECK_OK(sorvane_delaunay(NULL, 0, NULL, 0, 0, &mesh, &error));
    CHECK(triangles_of(mesh) == 0);
    sorvane_mesh_free(mesh);
}

void test_tessellation(void)
{
    polygons();
    regions_with_holes();
    delaunay();
}
