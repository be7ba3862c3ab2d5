/* Measures of meshes for the C tests. */
#ifndef SORVANE_TESTS_C_MEASURE_H
#define SORVANE_TESTS_C_MEASURE_H

#include "Check.h"

/* A cube of edge 2 about the origin. */
sorvane_mesh *new_cube(void);
/* The same without the two triangles of its side y = -1. */
sorvane_mesh *new_open_cube(void);
/* The cube moved by (x, y, z) and scaled by `scale` about the origin before that. */
sorvane_mesh *new_moved_cube(double x, double y, double z, double scale);
/* A mesh with points and without triangles. */
sorvane_mesh *new_bare_points(void);

double area_of(const sorvane_mesh *mesh);
/* Signed volume, positive for a closed mesh that faces outward. */
double volume_of(const sorvane_mesh *mesh);
size_t triangle_count(const sorvane_mesh *mesh);
size_t boundary_count(const sorvane_mesh *mesh);

#endif
