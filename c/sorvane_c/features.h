/*
 * What a machining host looks for on a mesh: sharp edges, circular arcs, drilled holes, flat regions, directions of faces,
 * and the curvature at its points. Angles are in radians. Weld a mesh first: coincident points with different numbers are
 * boundary.
 */
#ifndef SORVANE_C_FEATURES_H
#define SORVANE_C_FEATURES_H

#include "core.h"
#include "lists.h"
#include "mesh.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- edges ---------------------------------------------------------------------------------------------------- */

/* Edges of a mesh: two subscripts of points each. */
typedef struct sorvane_edges sorvane_edges;

/* Two subscripts for each edge; `count` gets the number of edges and may be NULL. */
SORVANE_C_API const int *sorvane_edges_points(const sorvane_edges *edges, size_t *count);
SORVANE_C_API void sorvane_edges_free(sorvane_edges *edges);

/* Edges at which the surface turns by `crease_angle` radians or more, as a triangle runs them: one inside the surface comes
   twice, once from each of its triangles. A boundary edge comes once if `with_boundary` is not 0. An angle of 0 asks for
   every edge. SORVANE_BAD_ARGUMENT: an angle that is negative or not a number. */
SORVANE_C_API sorvane_status sorvane_mesh_sharp_edges(const sorvane_mesh *mesh, double crease_angle, int with_boundary,
                                                      sorvane_edges **edges, sorvane_error *error);
/* Edges that exactly one triangle has, as it runs them; none for a closed mesh. */
SORVANE_C_API sorvane_status sorvane_mesh_boundary_edges(const sorvane_mesh *mesh, sorvane_edges **edges,
                                                         sorvane_error *error);
/* The two ends (6 coordinates) of the longest straight stretch of the boundary; straight as long as no point of it lies
   farther than 100 times `tolerance` from it. SORVANE_FAILED: there is no boundary. SORVANE_BAD_ARGUMENT: a tolerance that
   is negative or not a number. */
SORVANE_C_API sorvane_status sorvane_mesh_longest_straight_boundary(const sorvane_mesh *mesh, double tolerance,
                                                                    double *ends, sorvane_error *error);

/* --- arcs and holes ------------------------------------------------------------------------------------------- */

/* How arcs and holes are looked for. The values are those for parts in millimeters of usual chords; other units have other
   fit tolerances. */
typedef struct sorvane_hole_options {
    size_t size;
    /* Edges of this angle or more are sharp; 0.4. */
    double crease_angle;
    /* How far the points of a circle may lie from it; 0.02. */
    double tolerance;
    /* The share of a rim, and of a wall, that has to be there; 0.8. */
    double fraction;
    /* How far two axes that are one may differ; 0.02. */
    double axis_tolerance;
} sorvane_hole_options;

SORVANE_C_API void sorvane_hole_options_init(sorvane_hole_options *options);

/* A circular arc in space. */
typedef struct sorvane_arc {
    double center[3];
    double normal[3]; /* unit, square to the plane of the circle, on either side of it */
    double radius;
    double length; /* of the arc, or of all arcs that make up the circle */
} sorvane_arc;

typedef struct sorvane_arcs sorvane_arcs;

/* Circular arcs among the sharp edges and the boundary, by center (x, then y, then z) and radius; `axis_tolerance` is not
   looked at. SORVANE_BAD_ARGUMENT: an option that is negative or not a number. */
SORVANE_C_API sorvane_status sorvane_mesh_arcs(const sorvane_mesh *mesh, const sorvane_hole_options *options,
                                               sorvane_arcs **arcs, sorvane_error *error);
/* The arcs; `count` gets their number and may be NULL. */
SORVANE_C_API const sorvane_arc *sorvane_arcs_items(const sorvane_arcs *arcs, size_t *count);
SORVANE_C_API void sorvane_arcs_free(sorvane_arcs *arcs);

/* What is at the deep end of a hole. */
typedef enum sorvane_hole_end {
    SORVANE_HOLE_THROUGH = 0, /* a second mouth */
    SORVANE_HOLE_FLAT = 1,    /* a floor */
    SORVANE_HOLE_POINTED = 2  /* a floor that is deeper on the axis, as a drill leaves it */
} sorvane_hole_end;

/* One diameter of a hole, or its way from one to another. */
typedef struct sorvane_hole_step {
    double diameter;     /* at the end toward the mouth */
    double end_diameter; /* at the deep end: another one for a cone */
    double from_depth;   /* depth of the end toward the mouth, below the entry */
    double to_depth;     /* depth of the deep end */
    int is_cone;         /* 1 for a cone, 0 for a cylinder */
} sorvane_hole_step;

/* All that is drilled, bored and sunk on one axis from one mouth. */
typedef struct sorvane_hole {
    double entry[3];     /* center of the mouth */
    double axis[3];      /* unit, from the mouth into the material */
    double tip_depth;    /* depth on the axis, with the point that a drill leaves */
    int end;             /* a sorvane_hole_end */
    int is_counterbored; /* 1 where a flat shoulder leads from a cylinder to a narrower step, else 0 */
    int is_countersunk;  /* 1 where the first step is a cone that narrows to the second one, else 0 */
    int first_step;      /* number of the first of its steps, which are told from the mouth down */
    int step_count;
} sorvane_hole;

typedef struct sorvane_holes sorvane_holes;

/* The drilled holes of a mesh, one record for each, however many diameters it has. A hole is missed where a circle of it
   is: at a mouth on a curved or slanted face, at a fillet, and where less than `fraction` of a rim is left. Slots and pegs
   are no holes. SORVANE_BAD_ARGUMENT: an option that is negative or not a number. */
SORVANE_C_API sorvane_status sorvane_mesh_drill_holes(const sorvane_mesh *mesh, const sorvane_hole_options *options,
                                                      sorvane_holes **holes, sorvane_error *error);
/* The holes; `count` gets their number and may be NULL. */
SORVANE_C_API const sorvane_hole *sorvane_holes_items(const sorvane_holes *holes, size_t *count);
/* The steps of all holes. */
SORVANE_C_API const sorvane_hole_step *sorvane_holes_steps(const sorvane_holes *holes, size_t *count);
SORVANE_C_API void sorvane_holes_free(sorvane_holes *holes);

/* --- regions -------------------------------------------------------------------------------------------------- */

/* Connected triangles of one direction. */
typedef struct sorvane_cluster {
    double normal[3];   /* unit, weighted by area; zero without area */
    double centroid[3]; /* weighted by area; NaN without area */
    double area;
} sorvane_cluster;

typedef struct sorvane_clusters sorvane_clusters;

/* The triangles by direction and connection across edges, largest area first; normals within `normal_tolerance` of each
   other (per coordinate of the unit normals) are one direction. Triangles of which two corners are one place are in none.
   SORVANE_BAD_ARGUMENT: a tolerance that is negative or not a number. */
SORVANE_C_API sorvane_status sorvane_mesh_facet_clusters(const sorvane_mesh *mesh, double normal_tolerance,
                                                         sorvane_clusters **clusters, sorvane_error *error);
/* The clusters; `count` gets their number and may be NULL. */
SORVANE_C_API const sorvane_cluster *sorvane_clusters_items(const sorvane_clusters *clusters, size_t *count);
/* The numbers of their triangles, a list for each; it belongs to the clusters and must not be freed. */
SORVANE_C_API const sorvane_lists *sorvane_clusters_triangles(const sorvane_clusters *clusters);
SORVANE_C_API void sorvane_clusters_free(sorvane_clusters *clusters);

/* For each triangle the number of its group, from 0 without gaps: a few directions that stand for those of all triangles,
   `resolution` radians or so apart. SORVANE_BAD_ARGUMENT: a resolution that is negative or not a
   number. */
SORVANE_C_API sorvane_status sorvane_mesh_normal_groups(const sorvane_mesh *mesh, double resolution, int *groups,
                                                        sorvane_error *error);

/* --- curvature ------------------------------------------------------------------------------------------------ */

/*
 * At each point of the mesh the greatest and the least principal curvature (1 / length), the unit normal, the unit
 * direction in which the surface bends away (zero where it is flat), and the area that belongs to the point. Each output
 * may be NULL; normals and directions have 3 coordinates for each point. All zero at a point of no triangle, of fewer than
 * three neighbors, and where the area is at most `tolerance` (1e-12 is sensible). The mean curvature has no sign: the wall
 * of a hole and that of a peg both have 1 / radius and 0. SORVANE_BAD_ARGUMENT: a tolerance that is negative or not a
 * number.
 */
SORVANE_C_API sorvane_status sorvane_mesh_curvatures(const sorvane_mesh *mesh, double tolerance, double *greatest,
                                                     double *least, double *normals, double *directions, double *areas,
                                                     sorvane_error *error);

#ifdef __cplusplus
}
#endif

#endif
