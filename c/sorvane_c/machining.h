/*
 * Milling and turning: tools, where they touch a part, what they gouge, shadows of parts, and the tilts of a turning
 * tool that reach a profile.
 *
 * Milling tools stand upright, the axis along z, and are described by the half profile (radius, height above the tip).
 */
#ifndef SORVANE_C_MACHINING_H
#define SORVANE_C_MACHINING_H

#include "chains.h"
#include "core.h"
#include "mesh.h"
#include "regions.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- tools ------------------------------------------------------------------------------------------------------ */

/*
 * The shape of a convex tool: a flat tip, a lower corner, a cone, an upper corner and a shank, each of which may be
 * missing (its radius, height or length is 0). Angles are in radians. A corner angle above pi / 2 makes a tool that is
 * hollow at its tip.
 */
typedef struct sorvane_tool_shape {
    size_t size;                /* of this structure */
    double tip_radius;          /* half-width of the flat at the tip */
    double lower_corner_radius; /* of the arc that leaves the flat */
    double lower_corner_angle;  /* where that arc starts: pi / 2 for one that is tangent to the flat */
    double taper_height;        /* of the cone */
    double taper_angle;         /* of the cone from the axis */
    double upper_corner_radius; /* of the arc that leaves the cone */
    double shank_length;        /* straight part above all the rest */
} sorvane_tool_shape;

/* All 0 but the size. */
SORVANE_C_API void sorvane_tool_shape_init(sorvane_tool_shape *shape);

/*
 * A tool: a cutter, and what is above it. The first part is the cutter, which drops and offsets are made with; gouges
 * are sought with all parts.
 */
typedef struct sorvane_tool sorvane_tool;

/* A tool of one part. SORVANE_BAD_ARGUMENT for fields that are not finite, and for a shape without extent. */
SORVANE_C_API sorvane_status sorvane_tool_new(const sorvane_tool_shape *shape, sorvane_tool **tool,
                                              sorvane_error *error);
/* Ball nose. `length` is the height of the whole cutter, at least the diameter's half; so for the others. */
SORVANE_C_API sorvane_status sorvane_tool_ball(double diameter, double length, sorvane_tool **tool,
                                               sorvane_error *error);
/* Flat end mill. */
SORVANE_C_API sorvane_status sorvane_tool_flat(double diameter, double length, sorvane_tool **tool,
                                               sorvane_error *error);
/* Bull nose: flat with rounded corners, of a radius from 0 to half the diameter. */
SORVANE_C_API sorvane_status sorvane_tool_bull(double diameter, double corner_radius, double length,
                                               sorvane_tool **tool, sorvane_error *error);
/* Cone on its point, of a whole angle between 0 and 180 degrees, as wide as `diameter` where the shank begins. */
SORVANE_C_API sorvane_status sorvane_tool_cone(double diameter, double angle_degrees, double length,
                                               sorvane_tool **tool, sorvane_error *error);

/* How far a fitted tool is off its outline, as lengths. */
typedef struct sorvane_tool_fit {
    double point_deviation; /* largest distance between tool and outline */
    double hull_deviation;  /* largest distance between tool and the hull of the outline: compare it with the tolerance */
    double mean_deviation;  /* mean over the points of both */
} sorvane_tool_fit;

/* Which family of tools an outline is fitted with. */
typedef enum sorvane_tool_family {
    SORVANE_TOOL_CONVEX = 0,     /* all fields of the shape */
    SORVANE_TOOL_CYLINDRICAL = 1 /* a flat, a quarter turn and a shank; contains the outline whatever the tolerance */
} sorvane_tool_family;

/*
 * The tool that a drawn or scanned outline describes: `point_count` points (radius, height) from the tip on the axis
 * outward and upward, moved so that their box stands on the origin. A fit of any quality is a success: see `fit`, which
 * may be NULL. SORVANE_BAD_ARGUMENT for points that are not finite; SORVANE_FAILED when there is no tool in them.
 */
SORVANE_C_API sorvane_status sorvane_tool_from_profile(const double *points, size_t point_count, double tolerance,
                                                       sorvane_tool_family family, sorvane_tool **tool,
                                                       sorvane_tool_fit *fit, sorvane_error *error);
/*
 * The best convex tool of 200 fits or more at tolerances between two bounds; both 0 search from 1e-5 to 1e-3. `fit` may
 * be NULL.
 */
SORVANE_C_API sorvane_status sorvane_tool_from_profile_best(const double *points, size_t point_count, double low,
                                                            double high, sorvane_tool **tool, sorvane_tool_fit *fit,
                                                            sorvane_error *error);

/* The tool with one part more, such as a shank or holder, whose own tip is `height` above that of the tool. */
SORVANE_C_API sorvane_status sorvane_tool_with_part(const sorvane_tool *tool, const sorvane_tool_shape *part,
                                                    double height, sorvane_tool **result, sorvane_error *error);

/* 8 numbers for each part: the 7 fields of its shape behind the size, in their order, and its height; `count` gets the
   number of parts and may be NULL. */
SORVANE_C_API const double *sorvane_tool_parts(const sorvane_tool *tool, size_t *count);
/* Largest radius of the cutter. */
SORVANE_C_API double sorvane_tool_radius(const sorvane_tool *tool);
/* Half profile of the cutter as a chain (radius, height) from the axis outward and upward; it belongs to the tool. */
SORVANE_C_API const sorvane_chain *sorvane_tool_profile(const sorvane_tool *tool);
/*
 * Where the tip stands for the cutter to touch a surface at each of `count` points with the unit normals `normals`,
 * away from the material: 3 numbers each, like points and normals. SORVANE_FAILED for a cutter that is not convex.
 */
SORVANE_C_API sorvane_status sorvane_tool_offset(const sorvane_tool *tool, const double *points, const double *normals,
                                                 size_t count, double *tips, sorvane_error *error);
SORVANE_C_API void sorvane_tool_free(sorvane_tool *tool);

/* --- a part under tools ----------------------------------------------------------------------------------------- */

/* A mesh prepared for tools that come from above. It keeps what it needs: the mesh may be freed. */
typedef struct sorvane_surface sorvane_surface;

/* Triangles with a coordinate that is not finite or beyond 1e70 are never touched. */
SORVANE_C_API sorvane_status sorvane_surface_new(const sorvane_mesh *mesh, sorvane_surface **surface,
                                                 sorvane_error *error);
SORVANE_C_API void sorvane_surface_free(sorvane_surface *surface);

/*
 * Lowers the cutter at each of `count` positions, 2 numbers each, until it touches: the height of its tip there, and
 * the triangle that stops it (`triangles` may be NULL). -infinity and -1 where there is nothing below, and at positions
 * that are not finite. Stops when asked to.
 */
SORVANE_C_API sorvane_status sorvane_surface_drop(const sorvane_surface *surface, const sorvane_tool *tool,
                                                  const double *positions, size_t count, double *heights,
                                                  int *triangles, sorvane_error *error);
/*
 * The same at every (xs[i], ys[j]), row by row: number j * x_count + i. The heights of a part of a raster are those of
 * the whole, to the bit. At most 2^31 - 1 positions.
 */
SORVANE_C_API sorvane_status sorvane_surface_height_map(const sorvane_surface *surface, const sorvane_tool *tool,
                                                        const double *xs, size_t x_count, const double *ys,
                                                        size_t y_count, double *heights, int *triangles,
                                                        sorvane_error *error);
/*
 * What the tool, with all its parts, gouges with its tip at each of `count` points, 3 numbers each: in `parts` the
 * number of the part that offends most, or -1 where none is in the mesh by more than `allowance`; in `depths` by how
 * much the tool would have to be lifted, 0 where it is clear; in `triangles` the one that reaches in so far, or -1. A
 * negative allowance asks for as much clearance upward. Each output may be NULL. Stops when asked to.
 */
SORVANE_C_API sorvane_status sorvane_surface_gouges(const sorvane_surface *surface, const sorvane_tool *tool,
                                                    const double *points, size_t count, double allowance, double *depths,
                                                    int *triangles, int *parts, sorvane_error *error);

/* --- shadows ---------------------------------------------------------------------------------------------------- */

/*
 * Shadow of a mesh seen along `direction` (3 numbers of any length but 0; NULL for z), as a region of the plane. Its
 * two axes, 3 numbers each, go to `axes`, which may be NULL: a point p lies at (p * axis 0, p * axis 1). With the
 * direction they make a right-handed frame: for z they are x and y, for others the first is level. Open meshes and
 * soups have shadows too; triangles that are not finite have none.
 */
SORVANE_C_API sorvane_status sorvane_mesh_silhouette(const sorvane_mesh *mesh, const double *direction, double *axes,
                                                     sorvane_region **region, sorvane_error *error);

/* --- turning ---------------------------------------------------------------------------------------------------- */

/*
 * Half the outline, at (radius, height), of what a mesh sweeps when it turns about the axis through `origin` along
 * `direction`, 3 numbers each, NULL for the z axis through (0, 0, 0); heights are measured along the axis from the
 * origin. One closed line from the lowest point of the axis outside up to the highest. Edges are sampled at heights
 * `step` apart, and the outline may miss what is smaller. SORVANE_FAILED for a mesh no higher than the step.
 */
SORVANE_C_API sorvane_status sorvane_mesh_spin_outline(const sorvane_mesh *mesh, const double *origin,
                                                       const double *direction, double step, sorvane_lines **outline,
                                                       sorvane_error *error);

/*
 * A turning tool before a profile, in the plane: x along the spindle, y across it. Outlines are polygons of 2 numbers
 * for each point; those of tool and holder are closed, whether or not they repeat their first point. `target` is the
 * profile, open or closed. Obstacles are lines, given like the loops of a region, for chuck, tailstock and the like.
 */
typedef struct sorvane_lathe_setup {
    size_t size;               /* of this structure */
    const double *tool;        /* outline of the insert, at least 2 points */
    size_t tool_count;         /* of its points */
    const double *holder;      /* outline of the holder; NULL for none */
    size_t holder_count;       /* of its points */
    const double *target;      /* the profile, at least 2 points */
    size_t target_count;       /* of its points */
    const double *obstacles;   /* points of all obstacles; NULL for none */
    size_t obstacle_points;    /* number of them */
    const int *obstacle_starts; /* number of the first point of each obstacle, and the number of points */
    size_t obstacle_count;     /* of obstacles */
    double pivot[2];           /* what the outlines of tool and holder turn about; positions are those of it */
} sorvane_lathe_setup;

/* Nothing, and the pivot at the origin. */
SORVANE_C_API void sorvane_lathe_setup_init(sorvane_lathe_setup *setup);

/*
 * Positions of the origin of the tool's frame on the boundary of where it may go: `tool_regions` are the stretches
 * where the tool touches the target and everything else is clear, `holder_regions` those where something else touches.
 * The pivot does not matter. SORVANE_FAILED when a boundary does not close, as of outlines that are lines.
 */
SORVANE_C_API sorvane_status sorvane_lathe_regions(const sorvane_lathe_setup *setup, sorvane_lines **tool_regions,
                                                   sorvane_lines **holder_regions, sorvane_error *error);

/* What tool and holder reach at each of several tilts. */
typedef struct sorvane_lathe_sweep sorvane_lathe_sweep;

/*
 * Turns tool and holder about the pivot by each of `count` angles, in degrees, counter-clockwise. The positions are
 * those of the pivot. SORVANE_BAD_ARGUMENT for angles that are not finite. Stops when asked to.
 */
SORVANE_C_API sorvane_status sorvane_lathe_sweep_new(const sorvane_lathe_setup *setup, const double *angles_degrees,
                                                     size_t count, sorvane_lathe_sweep **sweep, sorvane_error *error);
/* For each angle 1 when a boundary did not close, so that what is told of it is not to be relied on, else 0. */
SORVANE_C_API const int *sorvane_lathe_sweep_failed(const sorvane_lathe_sweep *sweep, size_t *count);
/* A group for each angle: stretches of the target that the tool can touch. */
SORVANE_C_API const sorvane_line_groups *sorvane_lathe_sweep_reachable(const sorvane_lathe_sweep *sweep);
/* A group for each angle: see sorvane_lathe_regions. */
SORVANE_C_API const sorvane_line_groups *sorvane_lathe_sweep_tool_regions(const sorvane_lathe_sweep *sweep);
SORVANE_C_API const sorvane_line_groups *sorvane_lathe_sweep_holder_regions(const sorvane_lathe_sweep *sweep);
SORVANE_C_API void sorvane_lathe_sweep_free(sorvane_lathe_sweep *sweep);

/* Along the target, the angles that may be used from each place on. */
typedef struct sorvane_lathe_sequence sorvane_lathe_sequence;

/*
 * The answer of a sweep the other way round. `arcs` has 3 numbers for each of `arc_count` stretches of the target that
 * are arcs: the arc lengths along the target where it starts and ends, and the largest gap between facets to bridge.
 * On a closed target, which may start anywhere, an arc that runs over the start ends below where it starts.
 */
SORVANE_C_API sorvane_status sorvane_lathe_sequence_new(const sorvane_lathe_sweep *sweep, const double *arcs,
                                                        size_t arc_count, sorvane_lathe_sequence **sequence,
                                                        sorvane_error *error);
/* Arc lengths along the target at which something changes, ascending. */
SORVANE_C_API const double *sorvane_lathe_sequence_parameters(const sorvane_lathe_sequence *sequence, size_t *count);
/* For each of them, 1 for each angle that may be used from there to the next, else 0; `count` gets the number of all
   flags: that of the parameters times that of the angles. */
SORVANE_C_API const int *sorvane_lathe_sequence_valid(const sorvane_lathe_sequence *sequence, size_t *count);
SORVANE_C_API void sorvane_lathe_sequence_free(sorvane_lathe_sequence *sequence);

#ifdef __cplusplus
}
#endif

#endif
