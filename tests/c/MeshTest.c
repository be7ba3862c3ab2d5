/* Meshes: arrays in and out, files, welding. */
#include "Check.h"

static void arrays_come_back(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    size_t count = 0;
    CHECK_OK(sorvane_mesh_new(cube_points, 8, cube_triangles, 12, &mesh, &error));
    CHECK(memcmp(sorvane_mesh_points(mesh, &count), cube_points, sizeof cube_points) == 0);
    CHECK(count == 8);
    CHECK(memcmp(sorvane_mesh_triangles(mesh, &count), cube_triangles, sizeof cube_triangles) == 0);
    CHECK(count == 12);
    sorvane_mesh_free(mesh);
    sorvane_mesh_free(NULL);
}

static void subscripts_are_checked(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    const int wrong[6] = {0, 1, 2, 0, 8, 1};
    const int negative[3] = {0, 1, -1};
    CHECK(sorvane_mesh_new(cube_points, 8, wrong, 2, &mesh, &error) == SORVANE_BAD_INDEX);
    CHECK(mesh == NULL && error.status == SORVANE_BAD_INDEX && error.index == 1);
    CHECK(strstr(error.message, "point 8 of 8") != NULL);
    CHECK(sorvane_mesh_new(cube_points, 8, negative, 1, &mesh, NULL) == SORVANE_BAD_INDEX);
    CHECK(sorvane_mesh_new(NULL, 8, cube_triangles, 12, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK_OK(sorvane_mesh_new(NULL, 0, NULL, 0, &mesh, &error));
    sorvane_mesh_free(mesh);
}

static void corners_are_welded(void)
{
    sorvane_error error;
    sorvane_mesh *soup = NULL;
    sorvane_mesh *welded = NULL;
    size_t count = 0;
    CHECK_OK(sorvane_mesh_read(EXAMPLE_DATA "/bracket.stl", &soup, &error));
    CHECK_OK(sorvane_mesh_weld(soup, 1e-6, &welded, &error));
    sorvane_mesh_points(soup, &count);
    CHECK(count % 3 == 0);
    {
        size_t fewer = 0;
        size_t triangles = 0;
        sorvane_mesh_points(welded, &fewer);
        sorvane_mesh_triangles(welded, &triangles);
        CHECK(fewer < count && 3 * triangles == count);
    }
    sorvane_mesh_free(welded);
    CHECK(sorvane_mesh_weld(soup, -1, &welded, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(welded == NULL);
    CHECK(sorvane_mesh_weld(NULL, 0, &welded, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_mesh_free(soup);
    CHECK(sorvane_mesh_read("no such file.stl", &soup, &error) == SORVANE_FILE_ERROR);
    CHECK(strstr(error.message, "no such file.stl") != NULL);
}

void test_mesh(void)
{
    arrays_come_back();
    subscripts_are_checked();
    corners_are_welded();
}
