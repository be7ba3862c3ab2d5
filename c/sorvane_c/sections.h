/*
 * Sections of meshes by planes: outlines at one height or at many, a mesh cut in two closed halves, and where two meshes
 * or the sheets of one cut each other.
 */
#ifndef SORVANE_C_SECTIONS_H
#define SORVANE_C_SECTIONS_H

#include "core.h"
#include "mesh.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- outlines ------------------------------------------------------------------------------------------------- */

/* What the section is where faces, edges or corners of the mesh lie in its plane: the limit of the sections on one side
   of it. With ABOVE the bottom face of a box is its section at that height and at its top there is nothing; with BELOW
   it is the other way round. */
typedef enum sorvane_section_side {
    SORVANE_SECTION_ABOVE = 0, /* what lies just above the plane, on the side to which the normal points */
    SORVANE_SECTION_BELOW = 1  /* what lies just below it */
} sorvane_section_side;

typedef struct sorvane_section_options {
    size_t size;
    /* A sorvane_section_side; ABOVE. */
    int side;
    /* Corners within this of the plane count as lying in it; 0. For faces that lie in a plane only up to rounding: 1e-12
       of the largest coordinate is ample for what was calculated in `double`, 1e-6 for what came from an STL file. */
    double tolerance;
} sorvane_section_options;

SORVANE_C_API void sorvane_section_options_init(sorvane_section_options *options);

/*
 * The sections of a mesh with planes of one normal, in the order of the heights that were asked for, each in its plane's
 * own coordinates. Seen against the normal, material lies to the left of every line: outer loops run counterclockwise and
 * holes clockwise, as long as the triangles face outward.
 */
typedef struct sorvane_sections sorvane_sections;

/*
 * Cuts `mesh` by the planes of `normal` (3 coordinates, of any length) at `heights`, the distances from the origin along
 * the unit normal. Lines are linked through the edges of the mesh: weld a soup first. A height at which nothing lies
 * gives a section without lines. Several bodies that overlap keep all of their loops. The result is the same to the last
 * bit for one plane alone and for many.
 *
 * SORVANE_BAD_ARGUMENT: a normal that is zero or not finite; a height that is not finite (the error's index is its
 * number); a side or a tolerance that there is not (the tolerance is negative or not a number).
 */
SORVANE_C_API sorvane_status sorvane_mesh_sections(const sorvane_mesh *mesh, const double *normal,
                                                   const double *heights, size_t height_count,
                                                   const sorvane_section_options *options, sorvane_sections **sections,
                                                   sorvane_error *error);

/* Number of sections. */
SORVANE_C_API size_t sorvane_sections_count(const sorvane_sections *sections);
/* The lines of all sections in plane coordinates (2 each); it belongs to the sections and must not be freed. Of each
   section its closed loops come first, then its chains, which are open: where a mesh has a hole. */
SORVANE_C_API const sorvane_lines *sorvane_sections_lines(const sorvane_sections *sections);
/* Section i has the lines from first[i] to first[i + 1] - 1; `count` gets the number of entries, one more than there are
   sections. */
SORVANE_C_API const int *sorvane_sections_first(const sorvane_sections *sections, size_t *count);
/* One number for each section: its height as asked for; the area of its material, the sum of the signed areas of its
   loops; the length of its loops; and the length of its chains, 0 in a section that is closed. */
SORVANE_C_API const double *sorvane_sections_heights(const sorvane_sections *sections, size_t *count);
SORVANE_C_API const double *sorvane_sections_areas(const sorvane_sections *sections, size_t *count);
SORVANE_C_API const double *sorvane_sections_lengths(const sorvane_sections *sections, size_t *count);
SORVANE_C_API const double *sorvane_sections_open_lengths(const sorvane_sections *sections, size_t *count);
/* From each plane to space: 12 numbers for each section, the rows of a matrix of 3 x 4, its last column the translation.
   The point (x, y) of a section is the matrix times (x, y, 0, 1). For the normal (0, 0, 1) plane coordinates are those of
   space. */
SORVANE_C_API const double *sorvane_sections_frames(const sorvane_sections *sections, size_t *count);
/* The same lines as points of space (3 coordinates), in the same order. */
SORVANE_C_API sorvane_status sorvane_sections_in_space(const sorvane_sections *sections, sorvane_lines **lines,
                                                       sorvane_error *error);
SORVANE_C_API void sorvane_sections_free(sorvane_sections *sections);

/* A mesh made ready to be cut again and again by planes of one normal, when the next height depends on the last section:
   a plane then costs what it cuts and not what there is. It keeps a copy of the mesh. */
typedef struct sorvane_slicer sorvane_slicer;

/* SORVANE_BAD_ARGUMENT: a normal that is zero or not finite. */
SORVANE_C_API sorvane_status sorvane_slicer_new(const sorvane_mesh *mesh, const double *normal, sorvane_slicer **slicer,
                                                sorvane_error *error);
/* Least and greatest height of a corner of a triangle; without triangles the first is above the second. */
SORVANE_C_API void sorvane_slicer_heights(const sorvane_slicer *slicer, double *lowest, double *highest);
/* As sorvane_mesh_sections. */
SORVANE_C_API sorvane_status sorvane_slicer_sections(const sorvane_slicer *slicer, const double *heights,
                                                     size_t height_count, const sorvane_section_options *options,
                                                     sorvane_sections **sections, sorvane_error *error);
SORVANE_C_API void sorvane_slicer_free(sorvane_slicer *slicer);

/* --- halves --------------------------------------------------------------------------------------------------- */

/*
 * Cuts a mesh that bounds a solid in two by the plane through `point` with `normal` (3 coordinates each), each half closed
 * by its lid. Corners on the cut are shared to the last bit, and so are those of the two lids. `below` is the half away
 * from the normal; `below_lid` and `above_lid` get the number of the first triangle of its lid, the last ones of the half,
 * and may be NULL. Corners within `tolerance` of the plane count as lying on it: 1e-9 is sensible for parts of some
 * hundreds, and more for coordinates beyond 1e6. Where all of the solid lies on one side the other half has no triangles.
 * An open mesh gives halves that are open, and lids as far as the cuts are closed.
 *
 * SORVANE_BAD_ARGUMENT: a normal that is not finite or no longer than 1e-12, a point that is not finite, a tolerance that
 * is negative or not a number.
 */
SORVANE_C_API sorvane_status sorvane_mesh_split(const sorvane_mesh *mesh, const double *normal, const double *point,
                                                double tolerance, sorvane_mesh **below, size_t *below_lid,
                                                sorvane_mesh **above, size_t *above_lid, sorvane_error *error);

/* --- intersections -------------------------------------------------------------------------------------------- */

/* The curves in which two meshes cut each other, as lines in space; no lines where they don't. Triangles that lie in one
   plane don't cut each other, nor do those that meet in a point or along an edge of both. */
SORVANE_C_API sorvane_status sorvane_mesh_intersection(const sorvane_mesh *mesh, const sorvane_mesh *other,
                                                       sorvane_lines **curves, sorvane_error *error);
/* The curves in which a mesh cuts itself; no lines for a sound one. */
SORVANE_C_API sorvane_status sorvane_mesh_self_intersection(const sorvane_mesh *mesh, sorvane_lines **curves,
                                                            sorvane_error *error);
/*
 * Cuts the triangles of two meshes along their intersection. `cut` gets the pieces of the triangles of `mesh` that are
 * cut, `uncut` its other triangles, and `other_cut` the pieces of the triangles of `other`; equal corners are one point.
 * Together `cut` and `uncut` cover what `mesh` covers.
 */
SORVANE_C_API sorvane_status sorvane_mesh_cut_along(const sorvane_mesh *mesh, const sorvane_mesh *other,
                                                    sorvane_mesh **cut, sorvane_mesh **uncut, sorvane_mesh **other_cut,
                                                    sorvane_error *error);

#ifdef __cplusplus
}
#endif

#endif
