/*
 * Triangle meshes: arrays in and out, files, tags, welding, report, components, measures, and the operations that make
 * one mesh of another: remeshing, decimation, subdivision, better triangles.
 */
#ifndef SORVANE_C_MESH_H
#define SORVANE_C_MESH_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- meshes --------------------------------------------------------------------------------------------------- */

/*
 * A triangle mesh: points, and triangles that name three of them each, counterclockwise seen from the side they face.
 * The subscripts of a mesh are always in range. All operations take meshes as these handles, so that an array crosses
 * the interface, and is checked, once and not at every call.
 *
 * A mesh may carry tags: a number for each triangle, and one for each point, that mean whatever the host wants, such as
 * the face of a CAD model that a triangle is of. An operation whose comment says nothing of tags gives a mesh without.
 */
typedef struct sorvane_mesh sorvane_mesh;

/* A mesh of copies of the arrays. SORVANE_BAD_INDEX: the error's index is the triangle with a subscript out of range. */
SORVANE_C_API sorvane_status sorvane_mesh_new(const double *points, size_t point_count, const int *triangles,
                                              size_t triangle_count, sorvane_mesh **mesh, sorvane_error *error);
/* A copy of the mesh with tags in place of those that it has. A count of 0 gives none; any other is the number of
   points, or triangles. */
SORVANE_C_API sorvane_status sorvane_mesh_with_tags(const sorvane_mesh *mesh, const unsigned long long *point_tags,
                                                    size_t point_tag_count, const unsigned long long *triangle_tags,
                                                    size_t triangle_tag_count, sorvane_mesh **tagged,
                                                    sorvane_error *error);
/* Points of the mesh, 3 coordinates each; `count` gets their number and may be NULL. */
SORVANE_C_API const double *sorvane_mesh_points(const sorvane_mesh *mesh, size_t *count);
/* Triangles of the mesh, 3 subscripts each; `count` gets their number and may be NULL. */
SORVANE_C_API const int *sorvane_mesh_triangles(const sorvane_mesh *mesh, size_t *count);
/* Tags of the points; `count` gets their number, 0 for a mesh without, and may be NULL. */
SORVANE_C_API const unsigned long long *sorvane_mesh_point_tags(const sorvane_mesh *mesh, size_t *count);
/* Tags of the triangles; `count` gets their number, 0 for a mesh without, and may be NULL. */
SORVANE_C_API const unsigned long long *sorvane_mesh_triangle_tags(const sorvane_mesh *mesh, size_t *count);
SORVANE_C_API void sorvane_mesh_free(sorvane_mesh *mesh);

/* The mesh with every point p mapped to A p + b. `matrix` has 3 rows of 4 numbers, of which the first three are a row of
   A and the last one is that of b. A matrix that mirrors turns the triangles over, so that they face outward as before.
   A matrix that is not finite is SORVANE_BAD_ARGUMENT. Keeps tags. */
SORVANE_C_API sorvane_status sorvane_mesh_transformed(const sorvane_mesh *mesh, const double matrix[12],
                                                      sorvane_mesh **transformed, sorvane_error *error);
/* One mesh of several, points and triangles one after the other; nothing is welded. Triangle tags are kept when every
   mesh that has triangles has them, and so are point tags. */
SORVANE_C_API sorvane_status sorvane_mesh_joined(const sorvane_mesh *const *meshes, size_t count, sorvane_mesh **joined,
                                                 sorvane_error *error);
/* The triangles of the list, in its order, with the points that they use, in the mesh's order. Keeps their tags.
   SORVANE_BAD_INDEX: a number that is no triangle; the error's index is its place in the list. */
SORVANE_C_API sorvane_status sorvane_mesh_part(const sorvane_mesh *mesh, const int *triangles, size_t count,
                                               sorvane_mesh **part, sorvane_error *error);

/* --- files ---------------------------------------------------------------------------------------------------- */

/* The forms of mesh files. */
typedef enum sorvane_file_form {
    SORVANE_FORM_UNKNOWN = 0,    /* for writing: the one that the extension names */
    SORVANE_FORM_ASCII_STL = 1,  /* text, one statement a line */
    SORVANE_FORM_BINARY_STL = 2, /* 50 bytes a triangle; coordinates are 32-bit floats */
    SORVANE_FORM_TIPC = 3        /* coordinates as they are, subscripts, tags */
} sorvane_file_form;

/* Reads an ASCII STL, a binary STL or a TIPC file, told apart by content. An STL gives three fresh points for each
   triangle: join them with sorvane_mesh_weld. The tags of a TIPC file are kept. A mesh that was read has triangles and
   finite coordinates; files that break off, or count what is not there, are refused with SORVANE_FILE_ERROR and the
   place as the error's index: the line (from 1) of a text, else the triangle or point. `path` is in the system's own
   encoding. */
SORVANE_C_API sorvane_status sorvane_mesh_read(const char *path, sorvane_mesh **mesh, sorvane_error *error);

/* The same for the bytes of such a file that lie in memory: `bytes` has `count` of them, NULL when that is 0. They are
   only read, and not needed any more afterwards. `name` stands before the reason in messages, as a path does; NULL means
   "bytes". */
SORVANE_C_API sorvane_status sorvane_mesh_read_bytes(const unsigned char *bytes, size_t count, const char *name,
                                                     sorvane_mesh **mesh, sorvane_error *error);

/* The form of the file that a mesh was read from; SORVANE_FORM_UNKNOWN for any other mesh. */
SORVANE_C_API sorvane_file_form sorvane_mesh_form(const sorvane_mesh *mesh);

/* Writes a mesh. SORVANE_FORM_UNKNOWN takes the form from the extension: ".stl" is binary STL, ".tipc" is TIPC. The file
   is written beside the one that it replaces and takes its name when it is whole, so that a failure leaves the old file
   as it was. Refused before a file is touched, with SORVANE_FILE_ERROR: a mesh without triangles, and one with a
   coordinate that is not finite or too large for the form, and for binary STL one that 32-bit floats would flatten: they
   can't tell the corners of a part apart that is tiny, or far from the origin. TIPC keeps coordinates and tags bit for bit, ASCII STL
   coordinates; binary STL rounds them to 32-bit floats. */
SORVANE_C_API sorvane_status sorvane_mesh_write(const sorvane_mesh *mesh, const char *path, sorvane_file_form form,
                                                sorvane_error *error);

/* The bytes of a file in memory. */
typedef struct sorvane_bytes sorvane_bytes;

/* The bytes that sorvane_mesh_write would write, with the same refusals. SORVANE_FORM_UNKNOWN is SORVANE_BAD_ARGUMENT. */
SORVANE_C_API sorvane_status sorvane_mesh_write_bytes(const sorvane_mesh *mesh, sorvane_file_form form,
                                                      sorvane_bytes **bytes, sorvane_error *error);
/* `count` gets their number and may be NULL. */
SORVANE_C_API const unsigned char *sorvane_bytes_data(const sorvane_bytes *bytes, size_t *count);
SORVANE_C_API void sorvane_bytes_free(sorvane_bytes *bytes);

/* --- welding and orientation ---------------------------------------------------------------------------------- */

/* Joins points of which every coordinate differs by at most `tolerance`; points that no triangle uses disappear. The
   triangles stay, in their order and with their tags. A tolerance that is negative or NaN is SORVANE_BAD_ARGUMENT. */
SORVANE_C_API sorvane_status sorvane_mesh_weld(const sorvane_mesh *mesh, double tolerance, sorvane_mesh **welded,
                                               sorvane_error *error);

/* Makes the triangles of each component (joined across edges) run alike, by turning those in the minority over;
   `turned` gets their number and may be NULL. Triangles that name a point twice stay as they are. Of a component that
   can't be oriented, such as a Moebius strip, some neighbors still run against each other afterwards. Weld first: an
   STL as read has no common edges. Keeps tags. */
SORVANE_C_API sorvane_status sorvane_mesh_match_normals(const sorvane_mesh *mesh, sorvane_mesh **matched,
                                                        size_t *turned, sorvane_error *error);

/* --- report --------------------------------------------------------------------------------------------------- */

/*
 * How healthy a mesh is. The mesh is welded for it; its triangles keep their numbers. Edge k of a triangle runs from its
 * corner k to its corner k + 1, and its slot is the number 3 t + k. Slots between the same two points belong to one edge.
 */
typedef struct sorvane_mesh_report sorvane_mesh_report;

/* The figures of a report. A mesh without triangles is closed, has NaN for its
   box, its means and its center, and 0 for the rest. */
typedef struct sorvane_mesh_figures {
    size_t triangles;
    size_t points;     /* after welding */
    size_t components; /* of triangles that hang together across edges */
    size_t bodies;     /* of triangles that hang together across edges or in points */
    double tolerance;  /* within which corners were joined */
    double low[3];     /* least coordinates of the points */
    double high[3];    /* greatest coordinates of the points */
    double area;       /* of all triangles */
    double mean_edge_length; /* over all slots: an inner edge counts twice */
    double mean_triangle_area;
    double volume;          /* of a closed mesh, positive when it is wound outward; of an open one it means nothing */
    double centroid[3];     /* center of that volume; NaN when it is exactly 0 */
    int closed;             /* 1 when every edge has exactly two triangles */
    size_t open_edges;      /* edges of one triangle: the boundary */
    size_t holes;           /* chains that these edges form */
    size_t crowded_edges;   /* edges of three or more triangles */
    double gap;             /* greatest distance of a boundary point of one component from the boundaries of the others: 0
                               for a closed mesh, and 1.34e154 where no other has a boundary */
    double gap_location[3]; /* the last boundary point of the last component, which is not where the gap is */
    int gap_invalid_mesh;   /* 1 when the boundaries can't be linked; the last two are zero then */
    int sound;              /* 1 when finite, closed, not inside out, and nothing is in any of the lists below */
} sorvane_mesh_figures;

/* Welds the mesh within `tolerance` and examines it. A tolerance that is negative or NaN is SORVANE_BAD_ARGUMENT. */
SORVANE_C_API sorvane_status sorvane_mesh_report_new(const sorvane_mesh *mesh, double tolerance,
                                                     sorvane_mesh_report **report, sorvane_error *error);
/* The figures; never NULL. */
SORVANE_C_API const sorvane_mesh_figures *sorvane_mesh_report_figures(const sorvane_mesh_report *report);
/* The first slot of each edge that has not exactly two of them, ascending. Those of one slot are the boundary. */
SORVANE_C_API const int *sorvane_mesh_report_open_slots(const sorvane_mesh_report *report, size_t *count);
/* All slots of each edge that has three or more of them, edge by edge. */
SORVANE_C_API const int *sorvane_mesh_report_non_manifold_slots(const sorvane_mesh_report *report, size_t *count);
/* Triangles that run an edge the same way as a neighbor, without those at edges of three or more; ascending. */
SORVANE_C_API const int *sorvane_mesh_report_misoriented_triangles(const sorvane_mesh_report *report,
                                                                      size_t *count);
/* Triangles with two corners in one point, or with a height of at most twice the tolerance; ascending. */
SORVANE_C_API const int *sorvane_mesh_report_degenerate_triangles(const sorvane_mesh_report *report,
                                                                      size_t *count);
/* Triangles whose normal points against that of a neighbor, within 2.5 degrees; ascending. */
SORVANE_C_API const int *sorvane_mesh_report_folded_triangles(const sorvane_mesh_report *report,
                                                                      size_t *count);
SORVANE_C_API void sorvane_mesh_report_free(sorvane_mesh_report *report);

/* --- neighborhood and measures -------------------------------------------------------------------------------- */

/* What two triangles have in common where they hang together. */
typedef enum sorvane_connection {
    SORVANE_SHARED_EDGE = 0, /* an edge, run in either direction, by however many triangles */
    SORVANE_SHARED_POINT = 1 /* a point: bodies that touch in one are connected */
} sorvane_connection;

/* The triangles of each component: component i has those from starts[i] to starts[i + 1] - 1, ascending. Components
   stand in the order of their lowest triangle, and each triangle is in exactly one. */
typedef struct sorvane_components sorvane_components;

/* The components of a mesh. Weld first: in an STL as read every triangle is one by itself. */
SORVANE_C_API sorvane_status sorvane_mesh_components(const sorvane_mesh *mesh, sorvane_connection connection,
                                                     sorvane_components **components, sorvane_error *error);
/* Number of components. */
SORVANE_C_API size_t sorvane_components_count(const sorvane_components *components);
/* One number more than there are components; `count` gets that and may be NULL. */
SORVANE_C_API const int *sorvane_components_starts(const sorvane_components *components, size_t *count);
/* The triangles of all components, one component after the other; `count` gets their number and may be NULL. */
SORVANE_C_API const int *sorvane_components_triangles(const sorvane_components *components, size_t *count);
SORVANE_C_API void sorvane_components_free(sorvane_components *components);

/* For each triangle its neighbors across its three edges, -1 where there is none; 3 numbers for each triangle. On an
   edge of three or more triangles the neighbor is the first other one. */
SORVANE_C_API sorvane_status sorvane_mesh_neighbors(const sorvane_mesh *mesh, int *neighbors, sorvane_error *error);
/* For each edge of each triangle (3 for each) the angle between its normal and its neighbor's, radians: positive for a
   convex edge, negative for a concave one; 2 pi where there is no neighbor. */
SORVANE_C_API sorvane_status sorvane_mesh_crease_angles(const sorvane_mesh *mesh, double *angles, sorvane_error *error);
/* Unit normal of each triangle, 3 numbers; zero where the area is at most 1e-12. */
SORVANE_C_API sorvane_status sorvane_mesh_normals(const sorvane_mesh *mesh, double *normals, sorvane_error *error);
/* Unit normal of each point, 3 numbers: those of its triangles weighted by area; zero for a point that is not used. */
SORVANE_C_API sorvane_status sorvane_mesh_point_normals(const sorvane_mesh *mesh, double *normals,
                                                        sorvane_error *error);
/* Area of each triangle. */
SORVANE_C_API sorvane_status sorvane_mesh_areas(const sorvane_mesh *mesh, double *areas, sorvane_error *error);
/* Twice the inradius over the circumradius of each triangle: 1 for an equilateral one, 0 for one without area. */
SORVANE_C_API sorvane_status sorvane_mesh_aspect_ratios(const sorvane_mesh *mesh, double *ratios,
                                                        sorvane_error *error);
/* Area of all triangles, and volume between them and the origin: that of the body for a closed mesh, positive when it is
   wound outward. Corners are not joined for it. A body far from the origin keeps its digits. Each pointer may be NULL. */
SORVANE_C_API sorvane_status sorvane_mesh_measure(const sorvane_mesh *mesh, double *area, double *volume,
                                                  sorvane_error *error);
/* Center of that volume: the center of mass of a closed mesh, whichever way it is wound. NaN when the volume is exactly 0,
   and without meaning for an open mesh. */
SORVANE_C_API sorvane_status sorvane_mesh_centroid(const sorvane_mesh *mesh, double centroid[3], sorvane_error *error);
/* Least and greatest coordinates of the points that triangles use. SORVANE_FAILED: there is no triangle.
   SORVANE_BAD_ARGUMENT: the error's index is a point that is not finite. */
SORVANE_C_API sorvane_status sorvane_mesh_box(const sorvane_mesh *mesh, double low[3], double high[3],
                                              sorvane_error *error);

/* --- remeshing ------------------------------------------------------------------------------------------------ */

/*
 * Options of remeshing and decimation have `keep_tags`: with 1, and a mesh whose triangles have tags, edges between
 * different tags are features that stay, and each triangle of the result has the tag of the area that it lies in. With 0
 * the tags are dropped. No more than 256 different tags can be kept; more are SORVANE_BAD_ARGUMENT.
 */

typedef struct sorvane_remesh_options {
    size_t size;
    double length;               /* wanted edge length; negative: that many times the mean; 0: the mean, the default */
    double crease_angle_degrees; /* edges that bend by that much or more are kept: 40; above 180 none is */
    int iterations;              /* at most: 10 */
    int keep_boundary;           /* 1, the default: boundary edges are not even split */
    int keep_tags;               /* 1 */
} sorvane_remesh_options;

SORVANE_C_API void sorvane_remesh_options_init(sorvane_remesh_options *options);

/* Remeshes until edges have about the same length: long ones are split, short ones collapsed, and nodes evened out on
   the surface. A closed surface stays closed and keeps its topology. A length that is not finite, an angle that is NaN or
   negative, and negative iterations are SORVANE_BAD_ARGUMENT. A mesh whose triangles have no area has no mean length:
   SORVANE_FAILED where the length is to be a multiple of it. Points that differ by no more than 1e-12 are joined. */
SORVANE_C_API sorvane_status sorvane_mesh_remesh(const sorvane_mesh *mesh, const sorvane_remesh_options *options,
                                                 sorvane_mesh **remeshed, sorvane_error *error);

typedef struct sorvane_adaptive_options {
    size_t size;
    double chord_tolerance;      /* greatest distance wanted between an edge and the surface: 0.01 */
    double length;               /* as in sorvane_remesh_options: 0; edges are between 0.25 and 5 times as long */
    double curvature_exponent;   /* above 1 spares triangles where the surface bends little: 1 */
    double crease_angle_degrees; /* 40 */
    int iterations;              /* 10 */
    int keep_boundary;           /* 1 */
    int keep_tags;               /* 1 */
} sorvane_adaptive_options;

SORVANE_C_API void sorvane_adaptive_options_init(sorvane_adaptive_options *options);

/* Remeshes until edges are as long as the chord tolerance allows: short where the surface bends, long where it is flat.
   A chord tolerance or exponent that is not positive and finite is SORVANE_BAD_ARGUMENT; else as sorvane_mesh_remesh. */
SORVANE_C_API sorvane_status sorvane_mesh_remesh_adaptive(const sorvane_mesh *mesh,
                                                          const sorvane_adaptive_options *options,
                                                          sorvane_mesh **remeshed, sorvane_error *error);

/* Replaces three triangles round a point by one wherever their normals differ by at most `max_angle_degrees`; `removed`
   gets the number of points that went so, and may be NULL. An angle that is NaN is SORVANE_BAD_ARGUMENT. */
SORVANE_C_API sorvane_status sorvane_mesh_remove_stars(const sorvane_mesh *mesh, double max_angle_degrees,
                                                       sorvane_mesh **cleared, size_t *removed, sorvane_error *error);

/* --- decimation ----------------------------------------------------------------------------------------------- */

/* How edges are chosen. */
typedef enum sorvane_decimation_method {
    SORVANE_DECIMATE_IN_BATCHES = 0, /* many at a time; the tolerance is a distance, and the result is measured */
    SORVANE_DECIMATE_ONE_BY_ONE = 1  /* the cheapest first; the tolerance is a distance times an area */
} sorvane_decimation_method;

typedef struct sorvane_decimate_options {
    size_t size;
    double keep_percent;         /* of the triangles, at least: 0, so that the tolerance alone decides */
    double tolerance;            /* 0.01; infinite: the percentage alone decides, and nothing is measured */
    double crease_angle_degrees; /* edges that bend by that much or more are kept: 40 */
    int method;                  /* of sorvane_decimation_method: SORVANE_DECIMATE_IN_BATCHES */
    int keep_tags;               /* 1 */
} sorvane_decimate_options;

SORVANE_C_API void sorvane_decimate_options_init(sorvane_decimate_options *options);

/* Why a decimation ended. */
typedef enum sorvane_decimation_stop {
    SORVANE_STOP_TARGET = 0,    /* as few triangles as were asked for */
    SORVANE_STOP_TOLERANCE = 1, /* most of the edges that are left would exceed the tolerance */
    SORVANE_STOP_LOCKED = 2,    /* most lie on or beside features that are kept */
    SORVANE_STOP_TOO_LONG = 3,  /* most are longer than one-by-one collapses: a tenth of the box's diagonal */
    SORVANE_STOP_FOLDS = 4,     /* most would turn a triangle over or tie the surface to itself */
    SORVANE_STOP_EMPTY = 5      /* there were no triangles, or no target to work for */
} sorvane_decimation_stop;

/* What a decimation did. */
typedef struct sorvane_decimation {
    int initial_triangles;  /* those of the mesh that are triangles */
    int triangles;          /* those that are left */
    double percent_left;    /* NaN without any */
    double greatest_error;  /* greatest error accepted, in the method's own measure */
    double deviation;       /* of the result from the mesh, as measured; NaN where it was not */
    int stop;               /* of sorvane_decimation_stop */
    int locked_edges;       /* edges that are left because they lie on or beside a feature */
    int long_edges;         /* because they are longer than the limit */
    int deviating_edges;    /* because they are beyond the tolerance */
    int folding_edges;      /* for all other reasons */
} sorvane_decimation;

/* Collapses edges until `keep_percent` of the triangles are left or nothing more can go within the tolerance. Boundaries
   stay where they are within the tolerance; a closed surface stays closed. `report` may be NULL. SORVANE_BAD_ARGUMENT:
   a percentage outside of [0, 100], a tolerance that is negative or NaN, an angle that is negative or NaN, a method that
   there is not. An empty mesh gives an empty one. */
SORVANE_C_API sorvane_status sorvane_mesh_decimate(const sorvane_mesh *mesh, const sorvane_decimate_options *options,
                                                   sorvane_mesh **decimated, sorvane_decimation *report,
                                                   sorvane_error *error);

/* --- subdivision and better triangles ------------------------------------------------------------------------- */

/* The rule of smooth subdivision. */
typedef enum sorvane_subdivision {
    SORVANE_LOOP = 0, /* every triangle in four, every edge in two */
    SORVANE_SQRT3 = 1 /* every triangle in three; feature edges in three in every second step */
} sorvane_subdivision;

/* Subdivides `iterations` times and smooths. Edges that bend by `crease_angle_degrees` or more, and boundaries, become
   smooth curves; above 180 only boundaries are. Look at the result where long edges meet short ones: split the long ones
   first (sorvane_mesh_split_long_edges). Negative iterations and an angle that is NaN are SORVANE_BAD_ARGUMENT; more
   triangles than can be counted are SORVANE_OUT_OF_MEMORY. */
SORVANE_C_API sorvane_status sorvane_mesh_subdivide(const sorvane_mesh *mesh, sorvane_subdivision method,
                                                    int iterations, double crease_angle_degrees,
                                                    sorvane_mesh **subdivided, sorvane_error *error);

/* How a triangle is cut. */
typedef enum sorvane_refinement {
    SORVANE_CENTROID = 0,              /* three: from the centroid to the corners */
    SORVANE_MIDPOINTS = 1,             /* four: between the middles of the edges */
    SORVANE_CENTROID_AND_MIDPOINTS = 2 /* six: from the centroid to corners and middles */
} sorvane_refinement;

/* Cuts every triangle in 3, 4 or 6, `iterations` times over, and moves nothing. The parts of a triangle stand in its
   place, and have its tag. Negative iterations are SORVANE_BAD_ARGUMENT. */
SORVANE_C_API sorvane_status sorvane_mesh_refine(const sorvane_mesh *mesh, sorvane_refinement method, int iterations,
                                                 sorvane_mesh **refined, sorvane_error *error);

/* Splits the edges longer than `length`, in at most `iterations` passes, and moves nothing: at the middle, or with
   `at_middle` 0 where the other diagonal of the two triangles crosses the edge. A length that is not positive and
   negative iterations are SORVANE_BAD_ARGUMENT. */
SORVANE_C_API sorvane_status sorvane_mesh_split_long_edges(const sorvane_mesh *mesh, double length, int at_middle,
                                                           int iterations, sorvane_mesh **split, sorvane_error *error);

/* Flips edges wherever that raises the worse aspect ratio of their two triangles; no point moves. Edges that bend by more
   than `crease_angle_degrees` (0 to 180; 1 is a good value) stay. The distances between the diagonals of all flips of a
   triangle add up to at most `max_drift`, in the unit of the points: the accuracy of the part. NaN and negative values
   are SORVANE_BAD_ARGUMENT. Triangles that name a point twice are left out. */
SORVANE_C_API sorvane_status sorvane_mesh_improve(const sorvane_mesh *mesh, double crease_angle_degrees,
                                                  double max_drift, sorvane_mesh **improved, sorvane_error *error);

#ifdef __cplusplus
}
#endif

#endif
