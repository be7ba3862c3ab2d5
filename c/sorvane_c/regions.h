/*
 * Regions of the plane bounded by polylines: what two have in common, what a tool sweeps, offsets, passes of a pocket.
 *
 * A region is a list of closed loops. Where the loops wind about a point, counted with their directions, more often
 * counter-clockwise than clockwise, the point is in the region: counter-clockwise loops are outer loops, however they
 * overlap, clockwise ones are holes. When the signed areas of all loops add up to less than 0, all directions count the
 * other way round. Results have the same form: outer loops run counter-clockwise, holes clockwise, and no two cross.
 *
 * Operations calculate exactly on a grid of 2^30 cells along each axis of the box of their input, and what is rounded
 * to it moves by no more than the resolution of the result. Coordinates that are not finite or beyond
 * 1e150 are SORVANE_BAD_ARGUMENT, with the number of the point. A result of no loops is no error.
 */
#ifndef SORVANE_C_REGIONS_H
#define SORVANE_C_REGIONS_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A region. */
typedef struct sorvane_region sorvane_region;

/*
 * The region of `loop_count` loops. `points` has those of all loops one after the other, 2 numbers each; loop i has
 * those from starts[i] to starts[i + 1] - 1, so that there is one number more than there are loops. A last point that
 * equals the first of its loop is left out. Loops are kept as they are given.
 */
SORVANE_C_API sorvane_status sorvane_region_new(const double *points, size_t point_count, const int *starts,
                                                size_t loop_count, sorvane_region **region, sorvane_error *error);
SORVANE_C_API void sorvane_region_free(sorvane_region *region);

/* The loops, as closed lines in the plane that belong to the region. */
SORVANE_C_API const sorvane_lines *sorvane_region_loops(const sorvane_region *region);
/* By how much points may have moved in the operation that the region came from, a length; 0 for one that was given. */
SORVANE_C_API double sorvane_region_resolution(const sorvane_region *region);
/* Area of the region: where loops overlap it counts once. */
SORVANE_C_API sorvane_status sorvane_region_area(const sorvane_region *region, double *area, sorvane_error *error);
/*
 * 1 in `inside` for each of `count` points in the region, else 0; points on an edge, or within rounding of one, may count
 * as either. The edges are sorted once, and those that lie all to the right of a point then cost it next to nothing.
 */
SORVANE_C_API sorvane_status sorvane_region_contains(const sorvane_region *region, const double *points, size_t count,
                                                     int *inside, sorvane_error *error);

/* --- two regions ------------------------------------------------------------------------------------------------ */

/* What is in `a` or in `b`. With NULL for `b` the loops of `a`, united. */
SORVANE_C_API sorvane_status sorvane_region_union(const sorvane_region *a, const sorvane_region *b,
                                                  sorvane_region **result, sorvane_error *error);
/* What is in both. */
SORVANE_C_API sorvane_status sorvane_region_intersection(const sorvane_region *a, const sorvane_region *b,
                                                         sorvane_region **result, sorvane_error *error);
/* What is in `a` and not in `b`. */
SORVANE_C_API sorvane_status sorvane_region_difference(const sorvane_region *a, const sorvane_region *b,
                                                       sorvane_region **result, sorvane_error *error);
/* What is in one of them alone. */
SORVANE_C_API sorvane_status sorvane_region_symmetric_difference(const sorvane_region *a, const sorvane_region *b,
                                                                 sorvane_region **result, sorvane_error *error);

/* --- tools and distances ---------------------------------------------------------------------------------------- */

/*
 * Minkowski sum: all places that a tool covers when the origin of its frame goes everywhere in the region. The tool is
 * a closed polygon of `tool_count` points, at least 1, of either direction; two points are a line, one moves the region.
 */
SORVANE_C_API sorvane_status sorvane_region_dilate(const sorvane_region *region, const double *tool, size_t tool_count,
                                                   sorvane_region **result, sorvane_error *error);
/* The region less the sum of the tool and everything outside; the tool is not reflected. Empty where it does not fit. */
SORVANE_C_API sorvane_status sorvane_region_contract(const sorvane_region *region, const double *tool,
                                                     size_t tool_count, sorvane_region **result,
                                                     sorvane_error *error);
/*
 * What a tool covers when its origin follows open paths, which are given like the loops of a region. The tool has at
 * least 2 points; a path of one point gives the tool at that place.
 */
SORVANE_C_API sorvane_status sorvane_region_sweep(const double *tool, size_t tool_count, const double *points,
                                                  size_t point_count, const int *starts, size_t path_count,
                                                  sorvane_region **result, sorvane_error *error);
/*
 * The region grown by `distance`, or for a negative one shrunk by its magnitude, with corners rounded. Its boundary is
 * nowhere nearer to that of the region than |distance|, up to the resolution, and nowhere farther than `tolerance` more.
 * The tolerance is greater than 0; one below a millionth of |distance| counts as that.
 */
SORVANE_C_API sorvane_status sorvane_region_offset(const sorvane_region *region, double distance, double tolerance,
                                                   sorvane_region **result, sorvane_error *error);
/*
 * Lines that are parted into groups: group i has the lines from starts[i] to starts[i + 1] - 1, and may have none.
 */
typedef struct sorvane_line_groups sorvane_line_groups;

/* The lines of all groups, which belong to this handle. */
SORVANE_C_API const sorvane_lines *sorvane_line_groups_lines(const sorvane_line_groups *groups);
/* Number of the first line of each group, and the number of lines; `count` gets one more than there are groups and may
   be NULL. */
SORVANE_C_API const int *sorvane_line_groups_starts(const sorvane_line_groups *groups, size_t *count);
SORVANE_C_API void sorvane_line_groups_free(sorvane_line_groups *groups);

/*
 * Passes that clear the region with a round tool: the loops of the region shrunk by `radius`, by `step` more, and so on
 * until nothing is left, a group for each. Each is an offset of the region as sorvane_region_offset makes it. A step
 * above the radius leaves material between passes and is SORVANE_BAD_ARGUMENT, as are radii, steps and tolerances that
 * are not positive, and steps for which there could be more than 100,000 passes. SORVANE_FAILED when the tool does not
 * fit in.
 */
SORVANE_C_API sorvane_status sorvane_region_pocket(const sorvane_region *region, double radius, double step,
                                                   double tolerance, sorvane_line_groups **passes,
                                                   sorvane_error *error);

/*
 * The parts of polylines, which are given like the loops of a region, that are in the region, or outside with `outside`
 * not 0; a group for each polyline, its parts in the order of travel. `closed` has a flag for each polyline (NULL: all
 * open): a part of a closed one may run over its start, and a closed one that is kept whole stays closed. What runs
 * along the boundary within `tolerance` is in the region; points at which a line crosses the boundary become ends of
 * parts, and single points are no parts.
 */
SORVANE_C_API sorvane_status sorvane_region_clip(const sorvane_region *region, const double *points, size_t point_count,
                                                 const int *starts, const int *closed, size_t line_count, int outside,
                                                 double tolerance, sorvane_line_groups **parts,
                                                 sorvane_error *error);

#ifdef __cplusplus
}
#endif

#endif
