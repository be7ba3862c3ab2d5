/*
 * Solids: swept volumes, grids of signed distances with their set operations and surfaces, cells of octrees, bodies made
 * from profiles and curves, and triangular patches cut by masks.
 */
#ifndef SORVANE_C_SOLIDS_H
#define SORVANE_C_SOLIDS_H

#include "core.h"
#include "mesh.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- swept volumes -------------------------------------------------------------------------------------------- */

/* A body that is moved along paths without being turned. */
typedef struct sorvane_sweep sorvane_sweep;

/* Keeps a copy of the body, which must be welded; for a shell without gaps it is closed. SORVANE_FAILED: the body has no
   edge of exactly two triangles, as a soup has none. */
SORVANE_C_API sorvane_status sorvane_sweep_new(const sorvane_mesh *body, sorvane_sweep **sweep, sorvane_error *error);
/*
 * The shell that the body sweeps while its origin goes along `path` from point to point. Facets may lie inside of the swept
 * space and pass through each other; the winding number is 1 at least in all of that space and 0 outside. Every triangle
 * has points of its own: sorvane_mesh_weld with 0 joins them. No triangles for a path without points.
 */
SORVANE_C_API sorvane_status sorvane_sweep_along(const sorvane_sweep *sweep, const double *path, size_t point_count,
                                                 sorvane_mesh **shell, sorvane_error *error);
SORVANE_C_API void sorvane_sweep_free(sorvane_sweep *sweep);

/* --- volumes -------------------------------------------------------------------------------------------------- */

/*
 * A solid as a grid of samples: at each node the signed distance from the surface, negative inside, and the direction in
 * which it grows. Node (x, y, z) has the number (y + z ny) nx + x and lies at origin + (x, y, z) * spacing.
 */
typedef struct sorvane_volume sorvane_volume;

/* Where the nodes of a volume lie. */
typedef struct sorvane_grid {
    size_t size;
    /* Nodes along x, y and z, each at least 1; all 2. */
    int nodes[3];
    /* Place of node (0, 0, 0); all 0. */
    double origin[3];
    /* Distance of neighbors along x, y and z, positive and finite; all 1. */
    double spacing[3];
} sorvane_grid;

SORVANE_C_API void sorvane_grid_init(sorvane_grid *grid);

/*
 * A volume of given samples: `values` has one number for each node of the grid, and `directions` 3. NULL in place of
 * `directions` means that they are taken from differences of the values. `value_count` is the number of nodes.
 * SORVANE_BAD_ARGUMENT: a grid without nodes or of 2^31 or more, an origin or spacing that is not finite, a spacing that is
 * not positive, a count that is not that of the grid's nodes.
 */
SORVANE_C_API sorvane_status sorvane_volume_new(const sorvane_grid *grid, const double *values, size_t value_count,
                                                const double *directions, sorvane_volume **volume,
                                                sorvane_error *error);

/* Asked for the values of a solid at `count` points (3 coordinates each), and for the directions (3 each), which are there
   already as zeros: where they stay so they are taken from differences of the values. Returns 0 to stop. Called on the
   thread of the call, with at most one layer of nodes at a time. */
typedef int (*sorvane_field)(const double *points, size_t count, double *values, double *directions, void *user);

/* A volume of samples that `field` tells. SORVANE_STOPPED: the field has returned 0. */
SORVANE_C_API sorvane_status sorvane_volume_of_field(const sorvane_grid *grid, sorvane_field field, void *user,
                                                     sorvane_volume **volume, sorvane_error *error);
/* Where the nodes lie: as much of it as the size of `grid` has room for, which sorvane_grid_init has set. */
SORVANE_C_API void sorvane_volume_grid(const sorvane_volume *volume, sorvane_grid *grid);
/* 4 numbers for each node, value and direction; `count` gets the number of nodes and may be NULL. */
SORVANE_C_API const double *sorvane_volume_samples(const sorvane_volume *volume, size_t *count);
SORVANE_C_API void sorvane_volume_free(sorvane_volume *volume);

/* What is inside of either, of both, or of the first and not of the second, node by node. The signs are right, and the
   distances nowhere too great in magnitude. SORVANE_BAD_ARGUMENT: volumes whose nodes don't lie at the same places. */
SORVANE_C_API sorvane_status sorvane_volume_union(const sorvane_volume *first, const sorvane_volume *second,
                                                  sorvane_volume **result, sorvane_error *error);
SORVANE_C_API sorvane_status sorvane_volume_intersection(const sorvane_volume *first, const sorvane_volume *second,
                                                         sorvane_volume **result, sorvane_error *error);
SORVANE_C_API sorvane_status sorvane_volume_difference(const sorvane_volume *first, const sorvane_volume *second,
                                                       sorvane_volume **result, sorvane_error *error);

/*
 * The surface of the solid, by dual contouring: one point in each cell for each sheet of the surface that passes through it,
 * where the planes of its crossings with the cell's edges come nearest to meeting, so that edges and corners of the solid
 * come out sharp. Triangles face outward. Closed where the solid keeps away from the outermost nodes, otherwise open there.
 * Nodes whose value is not a number count as outside.
 */
SORVANE_C_API sorvane_status sorvane_volume_surface(const sorvane_volume *volume, sorvane_mesh **surface,
                                                    sorvane_error *error);

/* --- cells ---------------------------------------------------------------------------------------------------- */

/* What is known of a cell. */
typedef enum sorvane_cell_state {
    SORVANE_CELL_UNCLASSIFIED = 0, /* it is divided */
    SORVANE_CELL_SURFACE = 1,      /* it was given */
    SORVANE_CELL_INTERIOR = 2,     /* empty space does not reach it */
    SORVANE_CELL_EXTERIOR = 3      /* empty space reaches it from outside */
} sorvane_cell_state;

/*
 * Cells of the quadtree over the unit square or of the octree over the unit cube. A cell is named by its depth, the number
 * of times that the root was divided, and its path: child k of a cell has path * 2^dimension + k, where bit 0 of k is x,
 * bit 1 y and bit 2 z. Depth 0 with path 0 is the root.
 */
typedef struct sorvane_cells sorvane_cells;

/* Paths of the cells at `depth` (0 to 31 in the plane, to 21 in space) that hold the points, which have `dimension`
   coordinates in [0, 1); others go to the nearest cell. One path for each point. */
SORVANE_C_API sorvane_status sorvane_cell_paths(int dimension, const double *points, size_t point_count, int depth,
                                                long long *paths, sorvane_error *error);
/*
 * Completes the cells that the surface of a solid passes through into a tree, and tells which of the others lie inside: all
 * that empty space does not reach from outside through faces. `dimension` is 2 or 3. With `leaves_only` not 0 cells that
 * are divided are left out. Give cells of one depth. SORVANE_BAD_INDEX: a depth or path out of range, the error's index is
 * the number of the cell; cells at full depth are out of range here.
 */
SORVANE_C_API sorvane_status sorvane_solid_cells(int dimension, const int *depths, const long long *paths,
                                                 size_t cell_count, int leaves_only, sorvane_cells **cells,
                                                 sorvane_error *error);
/* One number for each cell: its depth, its path, and its state, a sorvane_cell_state. */
SORVANE_C_API const int *sorvane_cells_depths(const sorvane_cells *cells, size_t *count);
SORVANE_C_API const long long *sorvane_cells_paths(const sorvane_cells *cells, size_t *count);
SORVANE_C_API const int *sorvane_cells_states(const sorvane_cells *cells, size_t *count);
SORVANE_C_API void sorvane_cells_free(sorvane_cells *cells);

/* The surface of the union of octree cells of one depth (0 to 21), facing outward. The unit cube goes to space by
   p * scale + offset (3 numbers each). SORVANE_BAD_INDEX: a path out of range; the error's index is its number. */
SORVANE_C_API sorvane_status sorvane_cells_surface(const long long *paths, size_t cell_count, int depth,
                                                   const double *scale, const double *offset, sorvane_mesh **surface,
                                                   sorvane_error *error);

/* --- bodies from profiles and curves -------------------------------------------------------------------------- */

/* The body over a plane profile (2 coordinates a point, counterclockwise, the first point not repeated) from the height
   `bottom` to the height `top`, closed and welded. `slices` rings of walls, at least 1. SORVANE_FAILED: the profile bounds
   no area. */
SORVANE_C_API sorvane_status sorvane_mesh_extrude(const double *profile, size_t point_count, double bottom, double top,
                                                  int slices, sorvane_mesh **mesh, sorvane_error *error);
/* The surface of a profile in space turned about the axis through `axis_point` along `axis_direction`; chords stay within
   `tolerance` of the circles. Points on the axis are there for every ring. SORVANE_BAD_ARGUMENT: a tolerance that is not
   positive and finite, an axis without direction. */
SORVANE_C_API sorvane_status sorvane_mesh_revolve(const double *profile, size_t point_count, const double *axis_point,
                                                  const double *axis_direction, double tolerance, sorvane_mesh **mesh,
                                                  sorvane_error *error);
/* A surface whose boundary is a closed curve in space, such as the rim of a hole, relaxed like a soap film. The first point
   is not repeated. SORVANE_FAILED: the curve cannot be laid out in a plane. */
SORVANE_C_API sorvane_status sorvane_mesh_patch(const double *curve, size_t point_count, sorvane_mesh **mesh,
                                                sorvane_error *error);

/* --- patches -------------------------------------------------------------------------------------------------- */

/* How the triangles of a patch are cut whose corners are not all on one side. */
typedef enum sorvane_patch_style {
    SORVANE_PATCH_MIDPOINTS = 0,              /* each edge in conflict is cut at its midpoint */
    SORVANE_PATCH_CENTROIDS = 1,              /* the centroids of neighboring triangles in conflict are joined */
    SORVANE_PATCH_CENTROIDS_AND_MIDPOINTS = 2 /* both */
} sorvane_patch_style;

/* Which part of a patch is asked for. */
typedef enum sorvane_patch_part {
    SORVANE_PATCH_WHOLE = 0,
    SORVANE_PATCH_INSIDE = 1,
    SORVANE_PATCH_OUTSIDE = 2,
    SORVANE_PATCH_CONFLICTS = 3 /* the triangles whose corners are not all on one side, uncut */
} sorvane_patch_part;

/* Number of nodes of a triangular lattice of `level` 0 to 7, whose edges are cut in level + 1 parts: (level + 2)(level + 3)
   / 2. Nodes stand row by row from the edge between corners 0 and 1 to corner 2. 0 for any other level. */
SORVANE_C_API int sorvane_patch_node_count(int level);
/* The patch of a level as triangles in the plane of weights: x is the weight of corner 0, y that of corner 1, z is 0.
   `inside` has one number for each node of the lattice, not 0 inside; `style` is a sorvane_patch_style and `part` a
   sorvane_patch_part. SORVANE_BAD_ARGUMENT: a level, style or part that there is not, a count that is not that of the
   nodes. */
SORVANE_C_API sorvane_status sorvane_patch_mesh(int level, const int *inside, size_t inside_count, int style, int part,
                                                sorvane_mesh **mesh, sorvane_error *error);

#ifdef __cplusplus
}
#endif

#endif
