/*
 * What goes round points: convex hulls, boxes, balls, boxes that stand askew, prisms.
 *
 * All take points as arrays, those of a mesh by sorvane_mesh_points. No points at all are SORVANE_FAILED; a coordinate
 * that is not finite is SORVANE_BAD_ARGUMENT with the number of the point as the error's index.
 */
#ifndef SORVANE_C_BOUNDING_H
#define SORVANE_C_BOUNDING_H

#include "core.h"
#include "mesh.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- convex hulls --------------------------------------------------------------------------------------------- */

/* Convex hull in the plane: one closed line of points given, counterclockwise, without those on its edges. Points that
   all lie on a line, or in one place, leave the two ends, or the one point. Points within 1e-12 of each other count as
   one. */
SORVANE_C_API sorvane_status sorvane_hull_2d(const double *points, size_t count, sorvane_lines **hull,
                                             sorvane_error *error);
/* Convex hull in space: a closed mesh that faces outward, with points that were given. SORVANE_FAILED: the points span no
   solid. */
SORVANE_C_API sorvane_status sorvane_hull_3d(const double *points, size_t count, sorvane_mesh **hull,
                                             sorvane_error *error);

/* --- boxes and balls ------------------------------------------------------------------------------------------ */

/* Least and greatest coordinates. */
SORVANE_C_API sorvane_status sorvane_box_2d(const double *points, size_t count, double low[2], double high[2],
                                            sorvane_error *error);
SORVANE_C_API sorvane_status sorvane_box_3d(const double *points, size_t count, double low[3], double high[3],
                                            sorvane_error *error);
/* Smallest circle round the points. It holds every point; its radius is the least one but for 1e-12, or roundings. */
SORVANE_C_API sorvane_status sorvane_circle(const double *points, size_t count, double center[2], double *radius,
                                            sorvane_error *error);
/* Smallest sphere round the points, in the same sense. */
SORVANE_C_API sorvane_status sorvane_sphere(const double *points, size_t count, double center[3], double *radius,
                                            sorvane_error *error);

/* --- boxes that stand askew ----------------------------------------------------------------------------------- */

/* A rectangle: its lower corner, the unit vectors of its axes one after the other, and its extent along each. */
typedef struct sorvane_oriented_rectangle {
    double origin[2];
    double axes[4]; /* x, y of the first axis, then of the second, which is the first turned left */
    double extent[2];
} sorvane_oriented_rectangle;

/* A box: its lower corner, the unit vectors of its three axes one after the other, and its extent along each. */
typedef struct sorvane_oriented_box {
    double origin[3];
    double axes[9]; /* x, y, z of the first axis, then of the second and the third; right-handed */
    double extent[3];
} sorvane_oriented_box;

/* Rectangle of least area round the points. SORVANE_FAILED: they all lie on a line. */
SORVANE_C_API sorvane_status sorvane_oriented_box_2d(const double *points, size_t count,
                                                     sorvane_oriented_rectangle *box, sorvane_error *error);
/* A really small box round the points, for choosing stock: in practice that of least volume. Points in one plane have an
   extent of 0 along the third axis. SORVANE_FAILED: they all lie on a line. */
SORVANE_C_API sorvane_status sorvane_oriented_box_3d(const double *points, size_t count, sorvane_oriented_box *box,
                                                     sorvane_error *error);
/* A quick one: the smallest among those that stand on a triangle of the hull along its first edge. It may have twice the
   volume of the smallest box. */
SORVANE_C_API sorvane_status sorvane_oriented_box_quick(const double *points, size_t count, sorvane_oriented_box *box,
                                                        sorvane_error *error);

/* A prism round points: the outline of what is seen along its axis, from `low` to `high` along it. */
typedef struct sorvane_prism {
    double axis[3]; /* unit vector */
    double area;    /* of the outline */
    double volume;  /* area times height */
    double low;     /* least distance of a point along the axis from the origin */
    double high;    /* greatest distance of a point along the axis from the origin */
} sorvane_prism;

/* Prism of least area round the points, or with `by_volume` 1 of least volume: along the normals of their hull's
   triangles and 4,096 more directions. Points that span no solid are looked at in the 4,096 directions alone. */
SORVANE_C_API sorvane_status sorvane_prism_round(const double *points, size_t count, int by_volume,
                                                 sorvane_prism *prism, sorvane_error *error);

#ifdef __cplusplus
}
#endif

#endif
