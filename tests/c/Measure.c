#include "Measure.h"

sorvane_mesh *new_moved_cube(double x, double y, double z, double scale)
{
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    double points[24];
    int i;
    for (i = 0; i < 8; ++i) {
        points[3 * i] = cube_points[3 * i] * scale + x;
        points[3 * i + 1] = cube_points[3 * i + 1] * scale + y;
        points[3 * i + 2] = cube_points[3 * i + 2] * scale + z;
    }
    CHECK_OK(sorvane_mesh_new(points, 8, cube_triangles, 12, &mesh, &error));
    return mesh;
}

sorvane_mesh *new_cube(void) { return new_moved_cube(0, 0, 0, 1); }

sorvane_mesh *new_open_cube(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    int triangles[30];
    memcpy(triangles, cube_triangles, 12 * sizeof(int));
    memcpy(triangles + 12, cube_triangles + 18, 18 * sizeof(int));
    CHECK_OK(sorvane_mesh_new(cube_points, 8, triangles, 10, &mesh, &error));
    return mesh;
}

sorvane_mesh *new_bare_points(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    CHECK_OK(sorvane_mesh_new(cube_points, 8, NULL, 0, &mesh, &error));
    return mesh;
}

/* The cross product of two edges of triangle t, and six times the volume between it and the origin. */
static double measure(const sorvane_mesh *mesh, size_t t, double *doubled_area)
{
    const int *triangle = sorvane_mesh_triangles(mesh, NULL) + 3 * t;
    const double *points = sorvane_mesh_points(mesh, NULL);
    const double *a = points + 3 * triangle[0];
    const double *b = points + 3 * triangle[1];
    const double *c = points + 3 * triangle[2];
    double u[3];
    double v[3];
    double n[3];
    int i;
    for (i = 0; i < 3; ++i) {
        u[i] = b[i] - a[i];
        v[i] = c[i] - a[i];
    }
    n[0] = u[1] * v[2] - u[2] * v[1];
    n[1] = u[2] * v[0] - u[0] * v[2];
    n[2] = u[0] * v[1] - u[1] * v[0];
    *doubled_area = sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    return n[0] * a[0] + n[1] * a[1] + n[2] * a[2];
}

double area_of(const sorvane_mesh *mesh)
{
    double sum = 0;
    size_t t;
    for (t = 0; t < triangle_count(mesh); ++t) {
        double doubled_area;
        measure(mesh, t, &doubled_area);
        sum += doubled_area / 2;
    }
    return sum;
}

double volume_of(const sorvane_mesh *mesh)
{
    double sum = 0;
    size_t t;
    for (t = 0; t < triangle_count(mesh); ++t) {
        double doubled_area;
        sum += measure(mesh, t, &doubled_area) / 6;
    }
    return sum;
}

size_t triangle_count(const sorvane_mesh *mesh)
{
    size_t count = 0;
    sorvane_mesh_triangles(mesh, &count);
    return count;
}

size_t boundary_count(const sorvane_mesh *mesh)
{
    sorvane_error error;
    sorvane_edges *edges = NULL;
    size_t count = 0;
    CHECK_OK(sorvane_mesh_boundary_edges(mesh, &edges, &error));
    sorvane_edges_points(edges, &count);
    sorvane_edges_free(edges);
    return count;
}
