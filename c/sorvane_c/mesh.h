/*
 * Triangle meshes: files, welding, report, components, and the operations that make one mesh of another.
 */
#ifndef SORVANE_C_MESH_H
#define SORVANE_C_MESH_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * A triangle mesh: points, and triangles that name three of them each, counterclockwise seen from the side they face.
 * The subscripts of a mesh are always in range. All operations take meshes as these handles, so that an array crosses
 * the interface, and is checked, once and not at every call.
 */
typedef struct sorvane_mesh sorvane_mesh;

/* A mesh of copies of the arrays. SORVANE_BAD_INDEX: the error's index is the triangle with a subscript out of range. */
SORVANE_C_API sorvane_status sorvane_mesh_new(const double *points, size_t point_count, const int *triangles,
                                              size_t triangle_count, sorvane_mesh **mesh, sorvane_error *error);
/* Points of the mesh, 3 coordinates each; `count` gets their number and may be NULL. */
SORVANE_C_API const double *sorvane_mesh_points(const sorvane_mesh *mesh, size_t *count);
/* Triangles of the mesh, 3 subscripts each; `count` gets their number and may be NULL. */
SORVANE_C_API const int *sorvane_mesh_triangles(const sorvane_mesh *mesh, size_t *count);
SORVANE_C_API void sorvane_mesh_free(sorvane_mesh *mesh);

/* Reads an ASCII STL, a binary STL or a TIPC file, told apart by content. An STL gives three fresh points for each
   triangle: join them with sorvane_mesh_weld. `path` is in the system's own encoding. */
SORVANE_C_API sorvane_status sorvane_mesh_read(const char *path, sorvane_mesh **mesh, sorvane_error *error);

/* Joins points of which every coordinate differs by at most `tolerance`; points that no triangle uses disappear. The
   triangles stay, in their order. A negative tolerance is SORVANE_BAD_ARGUMENT. */
SORVANE_C_API sorvane_status sorvane_mesh_weld(const sorvane_mesh *mesh, double tolerance, sorvane_mesh **welded,
                                               sorvane_error *error);

#ifdef __cplusplus
}
#endif

#endif
