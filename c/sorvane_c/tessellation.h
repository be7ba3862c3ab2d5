/*
 * Triangles of plane outlines and of points. Results are meshes; those of points in the plane have z = 0.
 *
 * Outlines stand one after the other in one array of points: outline i has those from starts[i] to starts[i + 1] - 1, so
 * that `starts` has one number more than there are outlines, the first 0 and the last the number of points. An outline is
 * closed by itself, whether its last point repeats the first or not. Coordinates that are not finite are
 * SORVANE_BAD_ARGUMENT with the number of the point as the error's index; `starts` that descend, or do not fit the
 * points, are SORVANE_BAD_INDEX.
 */
#ifndef SORVANE_C_TESSELLATION_H
#define SORVANE_C_TESSELLATION_H

#include "core.h"
#include "mesh.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Triangles of one simple polygon, run either way: the points of the mesh are the points given, in their order, and no
   others. SORVANE_FAILED: fewer than three different points, no area, or an outline that crosses or touches itself. The
   triangles are counterclockwise in the plane; in space they face the side from which the outline is. */
SORVANE_C_API sorvane_status sorvane_tessellate_polygon_2d(const double *points, size_t count, sorvane_mesh **mesh,
                                                           sorvane_error *error);
SORVANE_C_API sorvane_status sorvane_tessellate_polygon_3d(const double *points, size_t count, sorvane_mesh **mesh,
                                                           sorvane_error *error);

/*
 * Triangles of the region between outlines, with `interior` points as further corners (count 0: none). Outlines run
 * either way, nest, touch and cross: inside is what an odd number of them leads into, so that an outline within another
 * one is a hole. Interior points within `tolerance` of an outline, on every axis, move onto it. Away from outlines the
 * triangles are Delaunay. Points are sorted, and cut points of outlines are new ones; without outlines the result is the
 * Delaunay triangulation of the interior points. In space all is seen in the plane of the first outline; cut points and
 * interior points are allowed only when the outlines lie in that plane. An empty region is an empty mesh.
 * SORVANE_FAILED: points in space have no plane, or do not lie in it where they must. SORVANE_BAD_ARGUMENT: a tolerance
 * that is negative or NaN.
 */
SORVANE_C_API sorvane_status sorvane_tessellate_2d(const double *points, const int *starts, size_t outline_count,
                                                   const double *interior, size_t interior_count, double tolerance,
                                                   sorvane_mesh **mesh, sorvane_error *error);
SORVANE_C_API sorvane_status sorvane_tessellate_3d(const double *points, const int *starts, size_t outline_count,
                                                   const double *interior, size_t interior_count, double tolerance,
                                                   sorvane_mesh **mesh, sorvane_error *error);

/*
 * Delaunay triangulation of points in the plane: the points of the mesh are the points given, in their order. `edges` are
 * pairs of points between which an edge is wanted whatever the rule says (count 0: none). `inside_only` 1 leaves only the
 * triangles that an odd number of these edges separates from the outside, as for the edges of outlines.
 * SORVANE_FAILED: a point that repeats another within 1e-12, or within 1e-12 of the size of a set that is smaller than 1
 * (the error's index is the later one), an edge that runs through a third point or crosses one before it (the index is
 * that of the edge). SORVANE_BAD_INDEX: an edge with a number that is no point, or the same twice. Fewer than three points, or points on a line, give no triangles.
 */
SORVANE_C_API sorvane_status sorvane_delaunay(const double *points, size_t count, const int *edges, size_t edge_count,
                                              int inside_only, sorvane_mesh **mesh, sorvane_error *error);

#ifdef __cplusplus
}
#endif

#endif
