/*
 * Lines cut into a mesh so that they run along its edges, the regions between them, and straightest lines on a surface.
 *
 * Where a function takes lines, `points` are those of all lines one after the other, and line i has those from starts[i] to
 * starts[i + 1] - 1: line_count + 1 starts, the last one point_count. SORVANE_BAD_INDEX tells of starts that descend or
 * that do not go from 0 to point_count; the error's index is the place in `starts`.
 */
#ifndef SORVANE_C_IMPRINT_H
#define SORVANE_C_IMPRINT_H

#include "core.h"
#include "lists.h"
#include "mesh.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- imprint -------------------------------------------------------------------------------------------------- */

typedef struct sorvane_imprint_options {
    size_t size;
    /* How far a point of a line may lie from the surface, and from a corner or an edge that it snaps to; 1e-6. Edges of at
       most half of it are collapsed. */
    double tolerance;
    /* 1: points farther from the surface are skipped, with the stretches to and from them. 0, the value of init: they are
       an error. */
    int skip_far_points;
} sorvane_imprint_options;

SORVANE_C_API void sorvane_imprint_options_init(sorvane_imprint_options *options);

/* A mesh with lines cut into it. */
typedef struct sorvane_imprint sorvane_imprint;

/*
 * Cuts lines into a copy of the mesh, one after the other; they may cross. `closed` has 1 for each line that leads from its
 * last point back to its first, which must not be repeated, else 0; NULL means that all are closed. Between two points a
 * line goes over the surface along the plane that holds both and the mean of the normals there: give points on both sides of
 * sharp edges, and many on curved surfaces. Weld the mesh first, and see that its triangles face alike: one that names a
 * point twice, or runs an edge in the direction in which another one does, is left out.
 *
 * SORVANE_BAD_ARGUMENT: a line of fewer than three points (the error's index is its number), a tolerance that is negative
 * or not a number. SORVANE_FAILED: a point farther than the tolerance from the surface, unless those are skipped; the
 * error's index is its number in `points`.
 */
SORVANE_C_API sorvane_status sorvane_mesh_imprint(const sorvane_mesh *mesh, const double *points, size_t point_count,
                                                  const int *starts, size_t line_count, const int *closed,
                                                  const sorvane_imprint_options *options, sorvane_imprint **imprint,
                                                  sorvane_error *error);
/* The whole mesh, cut; it belongs to the imprint and must not be freed. Points of the given mesh come first. */
SORVANE_C_API const sorvane_mesh *sorvane_imprint_mesh(const sorvane_imprint *imprint);
/* For each triangle of that mesh 1 where it lies inside, between the lines, and else 0; `count` gets their number and may
   be NULL. The side changes across every line; of each component the triangles at the point that is smallest by x, then y,
   then z are outside, and so is every component that the lines don't reach. */
SORVANE_C_API const int *sorvane_imprint_inside(const sorvane_imprint *imprint, size_t *count);
/* 1 when the side changes across every imprinted edge, so that inside means something; 0 as a rule where a line ends freely
   or found no way over part of the surface. */
SORVANE_C_API int sorvane_imprint_has_sides(const sorvane_imprint *imprint);
/* The lines as they stood in the mesh when they had been cut: the points at which they cross edges among them. A closed
   line does not repeat its first point. It belongs to the imprint and must not be freed. */
SORVANE_C_API const sorvane_lines *sorvane_imprint_lines(const sorvane_imprint *imprint);
/* The triangles inside (`inside` not 0) or all others as a mesh of their own, welded within 1e-12. */
SORVANE_C_API sorvane_status sorvane_imprint_side(const sorvane_imprint *imprint, int inside, sorvane_mesh **mesh,
                                                  sorvane_error *error);
SORVANE_C_API void sorvane_imprint_free(sorvane_imprint *imprint);

/*
 * Projects lines to the nearest points of the mesh, at places `step` apart along them (0: at their own points), and cuts
 * them in. `embedded` is the new mesh, welded within 1e-12, and `numbers` has for each line the subscripts of the points
 * that it runs through, in order; neighbors of a list share an edge as a rule. A line whose last point equals its first is
 * closed. Points closer together than `repeat_tolerance` are one. A line of fewer than three points after that is not cut
 * in. SORVANE_BAD_ARGUMENT: a tolerance or step that is negative or not a number. SORVANE_FAILED: the mesh has no triangles.
 */
SORVANE_C_API sorvane_status sorvane_mesh_embed(const sorvane_mesh *mesh, const double *points, size_t point_count,
                                                const int *starts, size_t line_count, double repeat_tolerance,
                                                double step, sorvane_mesh **embedded, sorvane_lists **numbers,
                                                sorvane_error *error);

/* --- walks over the surface ----------------------------------------------------------------------------------- */

/* A mesh made ready for walks over its surface, which takes it in as sorvane_mesh_imprint does. Threads that ask one tracer at a time wait for each other. */
typedef struct sorvane_tracer sorvane_tracer;

/* `tolerance` is how far the start of a walk may lie from the surface. SORVANE_BAD_ARGUMENT: it is negative or not a
   number. */
SORVANE_C_API sorvane_status sorvane_tracer_new(const sorvane_mesh *mesh, double tolerance, sorvane_tracer **tracer,
                                                sorvane_error *error);
/*
 * The straightest lines on the surface from `starts` in `directions` (3 coordinates each, the direction of any length,
 * laid into the surface) of `lengths`, one line for each start in their order: a point where it enters or leaves a triangle
 * and one at its end. It goes on straight across an edge, as if both triangles lay in one plane, and through a corner with
 * as much of the angle on its left as on its right. It ends early where it comes to the boundary. A line of its start alone
 * comes of a length of 0, of a start that is farther than the tolerance from the surface, and of a direction that is square
 * to the surface. SORVANE_BAD_ARGUMENT: a length that is negative or not finite; the error's index is its number.
 */
SORVANE_C_API sorvane_status sorvane_tracer_walks(const sorvane_tracer *tracer, const double *starts,
                                                  const double *directions, const double *lengths, size_t count,
                                                  sorvane_lines **lines, sorvane_error *error);
SORVANE_C_API void sorvane_tracer_free(sorvane_tracer *tracer);

#ifdef __cplusplus
}
#endif

#endif
