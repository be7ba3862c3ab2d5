/*
 * How far points, lines and surfaces lie from a mesh: nearest triangles, signed distances, projection, crossings, and the
 * Hausdorff distance with bounds that are certain.
 */
#ifndef SORVANE_C_DISTANCES_H
#define SORVANE_C_DISTANCES_H

#include "core.h"
#include "lists.h"
#include "mesh.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * A search tree over the triangles of a mesh, of which it keeps a copy: made once, in O(n log n), and asked for a point in
 * O(log n) as a rule. Triangles with a coordinate that is not finite or beyond 1e150 stay out. Many points at once are
 * answered side by side, several times faster than one after the other; the answers are the same.
 */
typedef struct sorvane_triangle_tree sorvane_triangle_tree;

/* SORVANE_FAILED: the mesh has no triangle of usable coordinates, to which there is no distance. */
SORVANE_C_API sorvane_status sorvane_triangle_tree_new(const sorvane_mesh *mesh, sorvane_triangle_tree **tree,
                                                       sorvane_error *error);
SORVANE_C_API void sorvane_triangle_tree_free(sorvane_triangle_tree *tree);

/*
 * For each of the points the nearest place on the mesh (3 coordinates for each point), the number of its triangle, and the
 * distance, never negative. Any of the three outputs may be NULL. Of triangles at the same distance the lowest number
 * answers. Only places within `radius` count; INFINITY asks for any. Where there is none, and for a point without usable
 * coordinates, the triangle is -1, the place is the point itself and the distance is INFINITY.
 * SORVANE_BAD_ARGUMENT: a radius that is negative or not a number.
 */
SORVANE_C_API sorvane_status sorvane_triangle_tree_nearest(const sorvane_triangle_tree *tree, const double *points,
                                                           size_t point_count, double radius, double *nearest,
                                                           int *triangles, double *distances, sorvane_error *error);
/*
 * The distance of each of the points with the sign of the side of the surface on which it lies: negative within a closed
 * mesh that faces outward, also beside edges and corners however sharp. NaN for a point without usable coordinates.
 */
SORVANE_C_API sorvane_status sorvane_triangle_tree_signed_distances(const sorvane_triangle_tree *tree,
                                                                    const double *points, size_t point_count,
                                                                    double *distances, sorvane_error *error);
/* Numbers of the triangles that each of the lines meets, a list for each, ascending. A line goes through its origin both
   ways without end. None for a direction that is zero or not finite. */
SORVANE_C_API sorvane_status sorvane_triangle_tree_on_lines(const sorvane_triangle_tree *tree, const double *origins,
                                                            const double *directions, size_t line_count,
                                                            sorvane_lists **triangles, sorvane_error *error);
/* Numbers of the triangles whose own boxes meet each of the boxes, touching included: possible ones only. `lowest` and
   `highest` are the corners of the boxes, 3 coordinates each. */
SORVANE_C_API sorvane_status sorvane_triangle_tree_in_boxes(const sorvane_triangle_tree *tree, const double *lowest,
                                                            const double *highest, size_t box_count,
                                                            sorvane_lists **triangles, sorvane_error *error);

/*
 * Each of the points moved along z to the highest place of the mesh on its vertical, whether that lies below the point or
 * above: 3 coordinates for each. z is NaN where the vertical meets nothing. A vertical triangle is not met.
 * SORVANE_FAILED: the mesh has no triangles.
 */
SORVANE_C_API sorvane_status sorvane_mesh_project_vertically(const sorvane_mesh *mesh, const double *points,
                                                             size_t point_count, double *projected,
                                                             sorvane_error *error);

/* --- lines and a mesh ----------------------------------------------------------------------------------------- */

/* Where lines cross a mesh or touch it, those of each line by arc length, then by triangle. A place on the common edge of
   two triangles is there twice. */
typedef struct sorvane_crossings sorvane_crossings;

/* The crossings of open lines in space: `points` of all lines one after the other, line i those from starts[i] to
   starts[i + 1] - 1, hence line_count + 1 starts, the last one point_count. SORVANE_BAD_INDEX: starts that descend or that
   do not go from 0 to point_count; the error's index is the place in `starts`. */
SORVANE_C_API sorvane_status sorvane_mesh_crossings(const sorvane_mesh *mesh, const double *points, size_t point_count,
                                                    const int *starts, size_t line_count,
                                                    sorvane_crossings **crossings, sorvane_error *error);
/* The places, 3 coordinates each; `count` gets their number and may be NULL. */
SORVANE_C_API const double *sorvane_crossings_points(const sorvane_crossings *crossings, size_t *count);
/* Arc length along its line, of each place. */
SORVANE_C_API const double *sorvane_crossings_parameters(const sorvane_crossings *crossings, size_t *count);
/* Number of the triangle, of each place. */
SORVANE_C_API const int *sorvane_crossings_triangles(const sorvane_crossings *crossings, size_t *count);
/* Line i has the places from starts[i] to starts[i + 1] - 1; `count` gets the number of entries. */
SORVANE_C_API const int *sorvane_crossings_starts(const sorvane_crossings *crossings, size_t *count);
SORVANE_C_API void sorvane_crossings_free(sorvane_crossings *crossings);

/* --- two meshes ----------------------------------------------------------------------------------------------- */

/* The farthest point of each of two meshes from the other one. */
typedef struct sorvane_hausdorff {
    size_t first_point;     /* the point of the first mesh that is farthest from the second one */
    double first_distance;  /* its distance */
    size_t second_point;    /* the point of the second mesh that is farthest from the first one */
    double second_distance; /* its distance */
    double distance;        /* the greater one of the two */
} sorvane_hausdorff;

/* Measures at points only; what bulges between them is not seen: sorvane_mesh_hausdorff_bounds sees it. Points without
   usable coordinates are passed over. SORVANE_FAILED: one of the meshes has no triangle of usable coordinates. */
SORVANE_C_API sorvane_status sorvane_mesh_hausdorff(const sorvane_mesh *first, const sorvane_mesh *second,
                                                    sorvane_hausdorff *result, sorvane_error *error);

/* Bounds of the Hausdorff distance of two surfaces, all of their points counted: `lower` <= distance <= `upper`. What
   begins with "first" goes from the first surface to the second, what begins with "second" the other way. */
typedef struct sorvane_hausdorff_bounds {
    double lower; /* the greater one of the two lower bounds */
    double upper; /* the greater one of the two upper bounds */
    double first_lower;
    double first_upper;
    int first_triangle;         /* triangle of the first mesh that holds first_point */
    int first_nearest_triangle; /* triangle of the second mesh that holds first_nearest */
    double first_point[3];      /* place on the first surface where first_lower is reached */
    double first_nearest[3];    /* the place on the second surface that is nearest to it */
    double second_lower;
    double second_upper;
    int second_triangle;
    int second_nearest_triangle;
    double second_point[3];
    double second_nearest[3];
} sorvane_hausdorff_bounds;

/* Bounds no farther apart than `accuracy`, a length, as long as that can be had with some work: see `upper` - `lower`. A
   thousandth of the distance that you expect is cheap; 0 asks for as much as can be had. SORVANE_BAD_ARGUMENT: an accuracy
   that is negative or not a number. SORVANE_FAILED: one of the meshes has no triangle of usable coordinates. */
SORVANE_C_API sorvane_status sorvane_mesh_hausdorff_bounds(const sorvane_mesh *first, const sorvane_mesh *second,
                                                           double accuracy, sorvane_hausdorff_bounds *result,
                                                           sorvane_error *error);

#ifdef __cplusplus
}
#endif

#endif
