/*
 * Chains of straight segments and circular arcs in the plane: outlines, tool profiles, offsets.
 *
 * A chain is given by two arrays, `kinds` and `elements`, with an entry for each element in the order of travel:
 *
 *     kind 0, a segment:  start x, start y, end x,    end y,    0
 *     kind 1, an arc:     start x, start y, center x, center y, length
 *
 * The length of an arc is measured along the circle, positive counter-clockwise; a full circle has 2 pi times its
 * radius. The end of an arc is not stored but follows from the others, up to rounding. Each element starts within the
 * chain's tolerance of where the one before ends.
 *
 * Positive tolerances are lengths in the unit of the points. A tolerance that is negative or NaN, and coordinates of
 * input that are not finite or beyond 1e150, are SORVANE_BAD_ARGUMENT, with the number of the element or point.
 */
#ifndef SORVANE_C_CHAINS_H
#define SORVANE_C_CHAINS_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A chain. */
typedef struct sorvane_chain sorvane_chain;

/* A list of chains, which may be parted into groups. */
typedef struct sorvane_chains sorvane_chains;

/* --- making, reading, writing ----------------------------------------------------------------------------------- */

/*
 * The chain of `count` elements, bit for bit as they are given. SORVANE_BAD_ARGUMENT, with the number of the element,
 * for another kind than 0 and 1, and for one that starts farther than `tolerance` from the end of the one before. No
 * elements make the empty chain. 1e-9 is a sensible tolerance for parts in millimeters.
 */
SORVANE_C_API sorvane_status sorvane_chain_new(const int *kinds, const double *elements, size_t count,
                                               double tolerance, sorvane_chain **chain, sorvane_error *error);

/*
 * The segments between points, which are 2 numbers each; with `closed` not 0 also that from the last to the first, if
 * they differ. Points that equal the one before are left out.
 */
SORVANE_C_API sorvane_status sorvane_chain_from_points(const double *points, size_t point_count, int closed,
                                                       double tolerance, sorvane_chain **chain, sorvane_error *error);

/*
 * Arcs and segments that a dense polyline samples: a chain that keeps within `tolerance` of each point. A polyline that
 * ends with its first point is closed. SORVANE_FAILED for fewer than two points that differ by more than the tolerance,
 * and when arcs could not be joined because the tolerance is below the rounding of the coordinates.
 */
SORVANE_C_API sorvane_status sorvane_chain_fit(const double *points, size_t point_count, double tolerance,
                                               sorvane_chain **chain, sorvane_error *error);

/*
 * A polyline without the points at which it does not bend: those where the circle through a point and its neighbors has
 * a curvature, in 1 / length, of no more than `curvature`, and those within `tolerance`, per coordinate, of the one kept
 * before. One open line; a polyline that ends with its first point gives a closed line.
 */
SORVANE_C_API sorvane_status sorvane_polyline_thin(const double *points, size_t point_count, double curvature,
                                                   double tolerance, sorvane_lines **lines, sorvane_error *error);

/*
 * Chains out of loose elements, in whatever order and direction they come; ends that match within `tolerance`, per
 * coordinate, are joined. An element whose two ends match (a full circle) is lost, and so is all but the first of
 * several elements between the same two ends: break one of them in its middle to keep all.
 */
SORVANE_C_API sorvane_status sorvane_chains_join(const int *kinds, const double *elements, size_t count,
                                                 double tolerance, sorvane_chains **chains, sorvane_error *error);

/*
 * Reads a chain from a text file: the number of elements and the tolerance, then a line for each element, L with start
 * and end or A with start, center and length. Elements come as they stand in the file, those no longer than the
 * tolerance too. SORVANE_FILE_ERROR when the file cannot be opened or is a device, counts less than 1 element, holds
 * fewer than it counts, has elements that do not join, or a tolerance or number that is refused elsewhere.
 */
SORVANE_C_API sorvane_status sorvane_chain_read(const char *path, sorvane_chain **chain, sorvane_error *error);
/*
 * Writes such a file, with all digits, from which the same chain is read again. SORVANE_FILE_ERROR when it cannot be
 * written, or the chain has no elements: there is no file of such a one.
 */
SORVANE_C_API sorvane_status sorvane_chain_write(const sorvane_chain *chain, const char *path, sorvane_error *error);

SORVANE_C_API void sorvane_chain_free(sorvane_chain *chain);

/* --- what a chain is -------------------------------------------------------------------------------------------- */

/* Kind of each element; `count` gets their number and may be NULL. */
SORVANE_C_API const int *sorvane_chain_kinds(const sorvane_chain *chain, size_t *count);
/* 5 numbers for each element, as told at the head of this file; `count` gets the number of elements and may be NULL. */
SORVANE_C_API const double *sorvane_chain_elements(const sorvane_chain *chain, size_t *count);
/* Where each element ends, 2 numbers each; `count` gets the number of elements and may be NULL. */
SORVANE_C_API const double *sorvane_chain_ends(const sorvane_chain *chain, size_t *count);
/* Distance within which ends count as joined. */
SORVANE_C_API double sorvane_chain_tolerance(const sorvane_chain *chain);
/* 1 when the last element ends within the tolerance of where the first starts, else 0. */
SORVANE_C_API int sorvane_chain_is_closed(const sorvane_chain *chain);
/* Length along the chain. */
SORVANE_C_API double sorvane_chain_length(const sorvane_chain *chain);
/* Area that the chain encloses, with its arcs, positive where it runs counter-clockwise; an open chain is closed by a
   segment from its end to its start. */
SORVANE_C_API double sorvane_chain_area(const sorvane_chain *chain);
/* Corners of the box of all elements, 2 numbers each. SORVANE_FAILED for the empty chain. */
SORVANE_C_API sorvane_status sorvane_chain_box(const sorvane_chain *chain, double *low, double *high,
                                               sorvane_error *error);

/* --- along the chain -------------------------------------------------------------------------------------------- */

/*
 * Running length at each joint: one number more than there are elements, from 0 to the length. With `normalized` not 0
 * they are divided by the length.
 */
SORVANE_C_API sorvane_status sorvane_chain_parameters(const sorvane_chain *chain, int normalized, double *parameters,
                                                      sorvane_error *error);

/*
 * Points at lengths from the start, or at fractions of the length with `normalized` not 0: 2 numbers for each of
 * `count` parameters. SORVANE_BAD_ARGUMENT, with the number of the parameter, for one that is not on the chain.
 */
SORVANE_C_API sorvane_status sorvane_chain_points_at(const sorvane_chain *chain, const double *parameters, size_t count,
                                                     int normalized, double *points, sorvane_error *error);

/*
 * Places of `count` points along the chain, as lengths from its start; -1 for a point that is farther than `tolerance`,
 * per coordinate, from the chain. Of several elements that hold a point the first counts.
 */
SORVANE_C_API sorvane_status sorvane_chain_parameters_of(const sorvane_chain *chain, const double *points, size_t count,
                                                         double tolerance, double *parameters, sorvane_error *error);

/*
 * For each of `count` points the nearest point of the chain (2 numbers each, in `nearest`) and in `sides` 1 when it
 * lies to the left of the direction of travel or on the chain, else 0: a closed counter-clockwise chain has its inside
 * on the left. Each of the two outputs may be NULL. SORVANE_FAILED for the empty chain. Each point takes time in
 * proportion to the elements.
 */
SORVANE_C_API sorvane_status sorvane_chain_nearest(const sorvane_chain *chain, const double *points, size_t count,
                                                   double *nearest, int *sides, sorvane_error *error);

/* --- made from a chain ------------------------------------------------------------------------------------------ */

/* The chain run from its end to its start. Ends of arcs become starts, with their rounding. */
SORVANE_C_API sorvane_status sorvane_chain_reversed(const sorvane_chain *chain, sorvane_chain **reversed,
                                                    sorvane_error *error);

/*
 * The chain as points, no chord farther than `tolerance` from it (0 divides arcs at quarter turns alone): one line,
 * closed if the chain is.
 */
SORVANE_C_API sorvane_status sorvane_chain_tessellate(const sorvane_chain *chain, double tolerance,
                                                      sorvane_lines **lines, sorvane_error *error);

/*
 * The curves at `distance` from a chain and no nearer to any part of it. A positive distance lies to the right of
 * travel, so that a counter-clockwise outline grows; a negative one to the left, and its curves run against the chain.
 * Corners on the outer side are rounded; ends of an open chain get no caps. What is smaller than `tolerance` makes no
 * difference. A distance of no more than the tolerance gives a copy. No curves, which is no error, when the offset has
 * vanished. Circles have circles, also as a single element. A curve is open where the chain is, and where it is a line
 * along which the distance fits exactly on both sides.
 */
SORVANE_C_API sorvane_status sorvane_chain_offset(const sorvane_chain *chain, double distance, double tolerance,
                                                  sorvane_chains **chains, sorvane_error *error);

/* The same for each of `count` distances, worked on side by side; group i has the curves of distance i. */
SORVANE_C_API sorvane_status sorvane_chain_offsets(const sorvane_chain *chain, const double *distances, size_t count,
                                                   double tolerance, sorvane_chains **chains, sorvane_error *error);

/*
 * The chain with additional joints at lengths from its start, or at fractions with `normalized` not 0. Parameters
 * within `tolerance` of a joint, or not on the chain, add none. SORVANE_BAD_ARGUMENT, with the number of the latter,
 * for two new joints within the tolerance of each other.
 */
SORVANE_C_API sorvane_status sorvane_chain_break(const sorvane_chain *chain, const double *parameters, size_t count,
                                                 int normalized, double tolerance, sorvane_chain **broken,
                                                 sorvane_error *error);
/* The chains between parameters; a closed chain comes apart at its start too. Conditions as for breaking. */
SORVANE_C_API sorvane_status sorvane_chain_split(const sorvane_chain *chain, const double *parameters, size_t count,
                                                 int normalized, double tolerance, sorvane_chains **pieces,
                                                 sorvane_error *error);
/* The chains between the places at which the tangent becomes parallel to `direction`, 2 numbers of any length but 0. */
SORVANE_C_API sorvane_status sorvane_chain_split_at_tangent(const sorvane_chain *chain, const double *direction,
                                                            double tolerance, sorvane_chains **pieces,
                                                            sorvane_error *error);
/*
 * The part of the chain from point `from` to point `to`, 2 numbers each; on a closed chain it may run over the start.
 * Where both lie on one segment it is the stretch between them, turned round if need be. SORVANE_FAILED when one of them is not on the chain (within `tolerance` per coordinate), or `to` comes first on an
 * open chain.
 */
SORVANE_C_API sorvane_status sorvane_chain_trim(const sorvane_chain *chain, const double *from, const double *to,
                                                double tolerance, sorvane_chain **part, sorvane_error *error);

/* --- two chains ------------------------------------------------------------------------------------------------- */

/*
 * Where two chains meet, as the points of one open line, sorted by x, then y: crossings and touches, the ends of
 * overlaps, vertices that both have, and points where one of them meets itself. No two are within `tolerance`.
 */
SORVANE_C_API sorvane_status sorvane_chain_intersections(const sorvane_chain *a, const sorvane_chain *b,
                                                         double tolerance, sorvane_lines **points,
                                                         sorvane_error *error);
/* Both chains with joints where they meet. Copies when they do not. */
SORVANE_C_API sorvane_status sorvane_chain_break_at_intersections(const sorvane_chain *a, const sorvane_chain *b,
                                                                  double tolerance, sorvane_chain **broken_a,
                                                                  sorvane_chain **broken_b, sorvane_error *error);
/* Both chains come apart where they meet, and closed ones at their starts too. One copy each when they do not meet. */
SORVANE_C_API sorvane_status sorvane_chain_split_at_intersections(const sorvane_chain *a, const sorvane_chain *b,
                                                                  double tolerance, sorvane_chains **pieces_of_a,
                                                                  sorvane_chains **pieces_of_b, sorvane_error *error);

/* --- lists of chains -------------------------------------------------------------------------------------------- */

/* Number of chains. */
SORVANE_C_API size_t sorvane_chains_count(const sorvane_chains *chains);
/* Chain number `index`, which belongs to the list; NULL when there is none of that number. */
SORVANE_C_API const sorvane_chain *sorvane_chains_at(const sorvane_chains *chains, size_t index);
/* Number of the first chain of each group, and the number of chains; `count` gets one more than there are groups and
   may be NULL. A list that is not parted has one group. */
SORVANE_C_API const int *sorvane_chains_groups(const sorvane_chains *chains, size_t *count);
SORVANE_C_API void sorvane_chains_free(sorvane_chains *chains);

#ifdef __cplusplus
}
#endif

#endif
