/* Meshes: arrays in and out, tags, files, welding, orientation, report, components, measures. */
#include "Check.h"

#include <pthread.h>
#include <stdlib.h>

static const double kPi = 3.14159265358979323846;

static sorvane_mesh *cube(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    CHECK_OK(sorvane_mesh_new(cube_points, 8, cube_triangles, 12, &mesh, &error));
    return mesh;
}

static size_t points_of(const sorvane_mesh *mesh)
{
    size_t count = 0;
    sorvane_mesh_points(mesh, &count);
    return count;
}

static size_t triangles_of(const sorvane_mesh *mesh)
{
    size_t count = 0;
    sorvane_mesh_triangles(mesh, &count);
    return count;
}

static void arrays_come_back(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    size_t count = 0;
    CHECK_OK(sorvane_mesh_new(cube_points, 8, cube_triangles, 12, &mesh, &error));
    CHECK(memcmp(sorvane_mesh_points(mesh, &count), cube_points, sizeof cube_points) == 0);
    CHECK(count == 8);
    CHECK(memcmp(sorvane_mesh_triangles(mesh, &count), cube_triangles, sizeof cube_triangles) == 0);
    CHECK(count == 12);
    CHECK(sorvane_mesh_form(mesh) == SORVANE_FORM_UNKNOWN);
    sorvane_mesh_free(mesh);
    sorvane_mesh_free(NULL);
}

static void subscripts_are_checked(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    const int wrong[6] = {0, 1, 2, 0, 8, 1};
    const int negative[3] = {0, 1, -1};
    CHECK(sorvane_mesh_new(cube_points, 8, wrong, 2, &mesh, &error) == SORVANE_BAD_INDEX);
    CHECK(mesh == NULL && error.status == SORVANE_BAD_INDEX && error.index == 1);
    CHECK(strstr(error.message, "point 8 of 8") != NULL);
    CHECK(sorvane_mesh_new(cube_points, 8, negative, 1, &mesh, NULL) == SORVANE_BAD_INDEX);
    CHECK(sorvane_mesh_new(NULL, 8, cube_triangles, 12, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_new(cube_points, 8, NULL, 12, &mesh, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_new(cube_points, 8, cube_triangles, 12, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_new(cube_points, (size_t)1 << 40, cube_triangles, 12, &mesh, &error) ==
          SORVANE_BAD_ARGUMENT);
    CHECK_OK(sorvane_mesh_new(NULL, 0, NULL, 0, &mesh, &error));
    CHECK(points_of(mesh) == 0 && triangles_of(mesh) == 0);
    sorvane_mesh_free(mesh);
}

static void corners_are_welded(void)
{
    sorvane_error error;
    sorvane_mesh *soup = NULL;
    sorvane_mesh *welded = NULL;
    CHECK_OK(sorvane_mesh_read(EXAMPLE_DATA "/bracket.stl", &soup, &error));
    CHECK(sorvane_mesh_form(soup) == SORVANE_FORM_BINARY_STL);
    CHECK_OK(sorvane_mesh_weld(soup, 1e-6, &welded, &error));
    CHECK(points_of(soup) == 3 * triangles_of(soup));
    CHECK(points_of(welded) < points_of(soup) && triangles_of(welded) == triangles_of(soup));
    sorvane_mesh_free(welded);
    CHECK(sorvane_mesh_weld(soup, -1, &welded, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(welded == NULL);
    CHECK(sorvane_mesh_weld(soup, NAN, &welded, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_weld(NULL, 0, &welded, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_weld(soup, 0, NULL, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_mesh_free(soup);
    CHECK(sorvane_mesh_read("no such file.stl", &soup, &error) == SORVANE_FILE_ERROR);
    CHECK(strstr(error.message, "no such file.stl") != NULL);
    CHECK(sorvane_mesh_read("", &soup, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_read(NULL, &soup, &error) == SORVANE_BAD_ARGUMENT);
}

/* The cube with the triangle's number as its tag, and 100 more than the point's number as that of a point. */
static sorvane_mesh *tagged_cube(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = cube();
    sorvane_mesh *tagged = NULL;
    unsigned long long point_tags[8];
    unsigned long long triangle_tags[12];
    unsigned i;
    for (i = 0; i < 8; ++i) {
        point_tags[i] = 100 + i;
    }
    for (i = 0; i < 12; ++i) {
        triangle_tags[i] = i;
    }
    triangle_tags[11] = ~0ULL;
    CHECK_OK(sorvane_mesh_with_tags(mesh, point_tags, 8, triangle_tags, 12, &tagged, &error));
    sorvane_mesh_free(mesh);
    return tagged;
}

static void tags_go_along(void)
{
    sorvane_error error;
    sorvane_mesh *plain = cube();
    sorvane_mesh *mesh = tagged_cube();
    sorvane_mesh *other = NULL;
    const sorvane_mesh *two[2];
    const int last[2] = {11, 3};
    const unsigned long long one = 1;
    size_t count = 9;
    CHECK(sorvane_mesh_point_tags(plain, &count) == NULL && count == 0);
    CHECK(sorvane_mesh_triangle_tags(plain, NULL) == NULL);
    CHECK(sorvane_mesh_point_tags(mesh, &count)[7] == 107 && count == 8);
    CHECK(sorvane_mesh_triangle_tags(mesh, &count)[11] == ~0ULL && count == 12);

    CHECK(sorvane_mesh_with_tags(plain, &one, 1, NULL, 0, &other, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(other == NULL && strstr(error.message, "point_tags") != NULL);
    CHECK(sorvane_mesh_with_tags(plain, NULL, 0, NULL, 12, &other, &error) == SORVANE_BAD_ARGUMENT);

    /* Welding keeps triangles in their order, not points. */
    CHECK_OK(sorvane_mesh_weld(mesh, 0, &other, &error));
    CHECK(sorvane_mesh_triangle_tags(other, &count)[10] == 10 && count == 12);
    sorvane_mesh_point_tags(other, &count);
    CHECK(count == 0);
    sorvane_mesh_free(other);

    CHECK_OK(sorvane_mesh_part(mesh, last, 2, &other, &error));
    CHECK(triangles_of(other) == 2 && points_of(other) == 4); /* 3 4 7 and 4 6 7 */
    CHECK(sorvane_mesh_triangle_tags(other, NULL)[0] == ~0ULL && sorvane_mesh_triangle_tags(other, NULL)[1] == 3);
    CHECK(sorvane_mesh_point_tags(other, NULL)[0] == 103);
    sorvane_mesh_free(other);

    two[0] = mesh;
    two[1] = mesh;
    CHECK_OK(sorvane_mesh_joined(two, 2, &other, &error));
    CHECK(triangles_of(other) == 24 && points_of(other) == 16);
    CHECK(sorvane_mesh_triangles(other, NULL)[36] == 8 + cube_triangles[0]);
    CHECK(sorvane_mesh_triangle_tags(other, &count)[13] == 1 && count == 24);
    sorvane_mesh_free(other);
    two[1] = plain;
    CHECK_OK(sorvane_mesh_joined(two, 2, &other, &error));
    sorvane_mesh_triangle_tags(other, &count);
    CHECK(count == 0);
    sorvane_mesh_free(other);
    two[1] = NULL;
    CHECK(sorvane_mesh_joined(two, 2, &other, &error) == SORVANE_BAD_ARGUMENT && error.index == 1);
    CHECK_OK(sorvane_mesh_joined(NULL, 0, &other, &error));
    CHECK(triangles_of(other) == 0);
    sorvane_mesh_free(other);

    {
        const int beyond[2] = {0, 12};
        CHECK(sorvane_mesh_part(mesh, beyond, 2, &other, &error) == SORVANE_BAD_INDEX && error.index == 1);
        CHECK(sorvane_mesh_part(mesh, NULL, 2, &other, &error) == SORVANE_BAD_ARGUMENT);
        CHECK_OK(sorvane_mesh_part(mesh, NULL, 0, &other, &error));
        CHECK(points_of(other) == 0);
        sorvane_mesh_free(other);
    }
    sorvane_mesh_free(plain);
    sorvane_mesh_free(mesh);
}

static void files_are_written_in_all_forms(void)
{
    static const struct {
        const char *path;
        sorvane_file_form form;
        sorvane_file_form found;
        int points;
    } cases[] = {
        {"c_interface_cube.stl", SORVANE_FORM_UNKNOWN, SORVANE_FORM_BINARY_STL, 36},
        {"c_interface_cube.stl", SORVANE_FORM_ASCII_STL, SORVANE_FORM_ASCII_STL, 36},
        {"c_interface_cube.TIPC", SORVANE_FORM_UNKNOWN, SORVANE_FORM_TIPC, 8},
        {"c_interface_cube.dat", SORVANE_FORM_TIPC, SORVANE_FORM_TIPC, 8},
    };
    sorvane_error error;
    sorvane_mesh *mesh = tagged_cube();
    sorvane_mesh *empty = NULL;
    size_t i;
    for (i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
        sorvane_mesh *back = NULL;
        size_t count = 0;
        CHECK_OK(sorvane_mesh_write(mesh, cases[i].path, cases[i].form, &error));
        CHECK_OK(sorvane_mesh_read(cases[i].path, &back, &error));
        CHECK(sorvane_mesh_form(back) == cases[i].found);
        CHECK(points_of(back) == (size_t)cases[i].points && triangles_of(back) == 12);
        sorvane_mesh_triangle_tags(back, &count);
        if (cases[i].found == SORVANE_FORM_TIPC) {
            CHECK(memcmp(sorvane_mesh_points(back, NULL), cube_points, sizeof cube_points) == 0);
            CHECK(count == 12 && sorvane_mesh_triangle_tags(back, NULL)[11] == ~0ULL);
            CHECK(sorvane_mesh_point_tags(back, NULL)[0] == 100);
        } else {
            CHECK(count == 0);
        }
        sorvane_mesh_free(back);
        remove(cases[i].path);
    }
    CHECK(sorvane_mesh_write(mesh, "cube.unknown", SORVANE_FORM_UNKNOWN, &error) == SORVANE_FILE_ERROR);
    CHECK(sorvane_mesh_write(mesh, "no such folder/cube.stl", SORVANE_FORM_UNKNOWN, &error) == SORVANE_FILE_ERROR);
    CHECK(strstr(error.message, "no such folder") != NULL);
    CHECK(sorvane_mesh_write(mesh, "cube.stl", (sorvane_file_form)7, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_write(mesh, "", SORVANE_FORM_TIPC, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_write(NULL, "cube.stl", SORVANE_FORM_TIPC, &error) == SORVANE_BAD_ARGUMENT);
    CHECK_OK(sorvane_mesh_new(NULL, 0, NULL, 0, &empty, &error));
    CHECK(sorvane_mesh_write(empty, "empty.stl", SORVANE_FORM_UNKNOWN, &error) == SORVANE_FILE_ERROR);
    sorvane_mesh_free(empty);
    sorvane_mesh_free(mesh);
}

static void bytes_in_memory_are_files(void)
{
    static const sorvane_file_form forms[] = {SORVANE_FORM_ASCII_STL, SORVANE_FORM_BINARY_STL, SORVANE_FORM_TIPC};
    /* A text, and the sizes that the counts of the other two announce. */
    static const size_t sizes[] = {0, 84 + 12 * 50, 10 + 8 * 24 + 12 * 12 + (8 + 12) * 8};
    sorvane_error error;
    sorvane_mesh *mesh = tagged_cube();
    sorvane_mesh *back = NULL;
    sorvane_mesh *empty = NULL;
    sorvane_bytes *bytes = NULL;
    size_t i;
    for (i = 0; i < sizeof forms / sizeof forms[0]; ++i) {
        const unsigned char *data;
        size_t count = 0;
        CHECK_OK(sorvane_mesh_write_bytes(mesh, forms[i], &bytes, &error));
        data = sorvane_bytes_data(bytes, &count);
        CHECK(data != NULL && sorvane_bytes_data(bytes, NULL) == data);
        CHECK(sizes[i] == 0 ? count > 1000 && memcmp(data, "solid", 5) == 0 : count == sizes[i]);
        CHECK_OK(sorvane_mesh_read_bytes(data, count, "cube", &back, &error));
        CHECK(sorvane_mesh_form(back) == forms[i] && triangles_of(back) == 12);
        CHECK((sorvane_mesh_point_tags(back, NULL) != NULL) == (forms[i] == SORVANE_FORM_TIPC));
        sorvane_mesh_free(back);
        CHECK(sorvane_mesh_read_bytes(data, count / 2, "half a cube", &back, &error) == SORVANE_FILE_ERROR);
        CHECK(back == NULL && strstr(error.message, "half a cube: ") == error.message);
        sorvane_bytes_free(bytes);
    }
    CHECK(sorvane_mesh_read_bytes(NULL, 0, NULL, &back, &error) == SORVANE_FILE_ERROR);
    CHECK(strstr(error.message, "bytes: ") == error.message);
    CHECK(sorvane_mesh_read_bytes(NULL, 1, NULL, &back, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_read_bytes((const unsigned char *)"x", 1, NULL, NULL, &error) == SORVANE_BAD_ARGUMENT);
    bytes = NULL;
    CHECK(sorvane_mesh_write_bytes(mesh, SORVANE_FORM_UNKNOWN, &bytes, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_write_bytes(mesh, (sorvane_file_form)7, &bytes, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_write_bytes(NULL, SORVANE_FORM_TIPC, &bytes, &error) == SORVANE_BAD_ARGUMENT);
    CHECK_OK(sorvane_mesh_new(NULL, 0, NULL, 0, &empty, &error));
    CHECK(sorvane_mesh_write_bytes(empty, SORVANE_FORM_TIPC, &bytes, &error) == SORVANE_FILE_ERROR);
    CHECK(bytes == NULL);
    sorvane_bytes_free(NULL);
    sorvane_mesh_free(empty);
    sorvane_mesh_free(mesh);
}

static void maps_that_mirror_keep_the_outside(void)
{
    /* Mirrored in x, twice as large, moved by 1 2 3. */
    const double matrix[12] = {-2, 0, 0, 1, 0, 2, 0, 2, 0, 0, 2, 3};
    double nothing[12] = {0};
    sorvane_error error;
    sorvane_mesh *mesh = tagged_cube();
    sorvane_mesh *mapped = NULL;
    double area = 0;
    double volume = 0;
    double low[3];
    double high[3];
    CHECK_OK(sorvane_mesh_transformed(mesh, matrix, &mapped, &error));
    CHECK_OK(sorvane_mesh_measure(mapped, &area, &volume, &error));
    CHECK_NEAR(area, 96, 0);
    CHECK_NEAR(volume, 64, 0);
    CHECK_OK(sorvane_mesh_box(mapped, low, high, &error));
    CHECK(low[0] == -1 && low[1] == 0 && low[2] == 1 && high[0] == 3 && high[1] == 4 && high[2] == 5);
    CHECK(sorvane_mesh_triangle_tags(mapped, NULL)[5] == 5);
    sorvane_mesh_free(mapped);
    nothing[4] = INFINITY;
    CHECK(sorvane_mesh_transformed(mesh, nothing, &mapped, &error) == SORVANE_BAD_ARGUMENT && error.index == 4);
    CHECK(sorvane_mesh_transformed(mesh, NULL, &mapped, &error) == SORVANE_BAD_ARGUMENT && mapped == NULL);
    sorvane_mesh_free(mesh);
}

/* Two cubes, triangle 4 of the first and 5 others of the second turned over. */
static sorvane_mesh *turned_cubes(void)
{
    sorvane_error error;
    sorvane_mesh *one = cube();
    sorvane_mesh *both = NULL;
    sorvane_mesh *turned = NULL;
    const sorvane_mesh *list[2];
    int triangles[72];
    int i;
    const int over[6] = {4, 12, 14, 16, 18, 20};
    list[0] = one;
    list[1] = one;
    CHECK_OK(sorvane_mesh_joined(list, 2, &both, &error));
    memcpy(triangles, sorvane_mesh_triangles(both, NULL), sizeof triangles);
    for (i = 0; i < 6; ++i) {
        const int swap = triangles[3 * over[i] + 1];
        triangles[3 * over[i] + 1] = triangles[3 * over[i] + 2];
        triangles[3 * over[i] + 2] = swap;
    }
    CHECK_OK(sorvane_mesh_new(sorvane_mesh_points(both, NULL), 16, triangles, 24, &turned, &error));
    sorvane_mesh_free(both);
    sorvane_mesh_free(one);
    return turned;
}

static void every_component_is_oriented(void)
{
    sorvane_error error;
    sorvane_mesh *turned = turned_cubes();
    sorvane_mesh *matched = NULL;
    size_t count = 0;
    double volume = 0;
    int i;
    CHECK_OK(sorvane_mesh_match_normals(turned, &matched, &count, &error));
    CHECK(count == 6);
    CHECK_OK(sorvane_mesh_measure(matched, NULL, &volume, &error));
    CHECK_NEAR(volume, 16, 1e-12);
    for (i = 0; i < 72; ++i) {
        const int first = i < 36 ? 0 : 8;
        CHECK(sorvane_mesh_triangles(matched, NULL)[i] == first + cube_triangles[i % 36]);
    }
    sorvane_mesh_free(matched);
    CHECK_OK(sorvane_mesh_match_normals(turned, &matched, NULL, &error));
    sorvane_mesh_free(matched);
    sorvane_mesh_free(turned);
    CHECK(sorvane_mesh_match_normals(NULL, &matched, NULL, &error) == SORVANE_BAD_ARGUMENT);
}

/* Many components cost what they have: squares of two triangles each, the second one turned over. */
static void many_components_are_oriented(void)
{
    enum { squares = 20000 };
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    sorvane_mesh *matched = NULL;
    double *points = malloc(12 * sizeof(double) * squares);
    int *triangles = malloc(6 * sizeof(int) * squares);
    size_t count = 0;
    int i;
    CHECK(points != NULL && triangles != NULL);
    if (points != NULL && triangles != NULL) {
        for (i = 0; i < squares; ++i) {
            const double corners[12] = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
            const int both[6] = {0, 1, 2, 0, 3, 2};
            int k;
            for (k = 0; k < 12; ++k) {
                points[12 * i + k] = corners[k] + (k % 3 == 0 ? 2.0 * i : 0);
            }
            for (k = 0; k < 6; ++k) {
                triangles[6 * i + k] = 4 * i + both[k];
            }
        }
        CHECK_OK(sorvane_mesh_new(points, 4 * squares, triangles, 2 * squares, &mesh, &error));
        CHECK_OK(sorvane_mesh_match_normals(mesh, &matched, &count, &error));
        CHECK(count == squares);
        sorvane_mesh_free(matched);
        sorvane_mesh_free(mesh);
    }
    free(triangles);
    free(points);
}

static void a_cube_is_sound(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = cube();
    sorvane_mesh_report *report = NULL;
    const sorvane_mesh_figures *f = NULL;
    size_t count = 9;
    CHECK_OK(sorvane_mesh_report_new(mesh, 1e-9, &report, &error));
    f = sorvane_mesh_report_figures(report);
    CHECK(f->triangles == 12 && f->points == 8 && f->components == 1 && f->bodies == 1);
    CHECK(f->tolerance == 1e-9);
    CHECK(f->low[0] == -1 && f->high[2] == 1);
    CHECK_NEAR(f->area, 24, 1e-12);
    CHECK_NEAR(f->mean_triangle_area, 2, 1e-12);
    CHECK_NEAR(f->volume, 8, 1e-12);
    /* Two legs of 2 and a diagonal in each triangle. */
    CHECK_NEAR(f->mean_edge_length, (4 + 2 * sqrt(2)) / 3, 1e-12);
    CHECK_NEAR(f->centroid[0], 0, 1e-12);
    CHECK(f->closed && f->sound && f->open_edges == 0 && f->holes == 0 && f->crowded_edges == 0);
    CHECK(f->gap == 0 && !f->gap_invalid_mesh);
    sorvane_mesh_report_open_slots(report, &count);
    CHECK(count == 0);
    sorvane_mesh_report_free(report);
    sorvane_mesh_report_free(NULL);
    CHECK(sorvane_mesh_report_new(mesh, -1, &report, &error) == SORVANE_BAD_ARGUMENT && report == NULL);
    CHECK(sorvane_mesh_report_new(mesh, NAN, &report, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_report_new(NULL, 0, &report, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_report_new(mesh, 0, NULL, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_mesh_free(mesh);
}

static void defects_are_found(void)
{
    /* The cube without its top, with a fin on the edge 0 1, a triangle turned over (number 4) and one that names a
       point twice. */
    const double points[27] = {-1, -1, -1, 1, -1, -1, 1, 1, -1, -1, 1, -1, -1, -1, 1, 1, -1, 1, 1, 1, 1, -1, 1, 1, 0, -1, -3};
    const int triangles[36] = {0, 2, 1, 0, 3, 2, 1, 2, 6, 1, 6, 5, 2, 7, 3, 2, 7, 6,
                               3, 0, 4, 3, 4, 7, 0, 1, 5, 0, 5, 4, 0, 1, 8, 3, 3, 7};
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    sorvane_mesh_report *report = NULL;
    const sorvane_mesh_figures *f = NULL;
    const int *list = NULL;
    size_t count = 0;
    CHECK_OK(sorvane_mesh_new(points, 9, triangles, 12, &mesh, &error));
    CHECK_OK(sorvane_mesh_report_new(mesh, 0, &report, &error));
    f = sorvane_mesh_report_figures(report);
    CHECK(!f->closed && !f->sound && f->triangles == 12);
    /* The edge 0 1 has three triangles; 3 7 has four slots, two of them of the last triangle. */
    CHECK(f->crowded_edges == 2);
    /* Four edges of the missing top, two of the fin, and the edge from 3 to 3 of one slot. */
    CHECK(f->open_edges == 7);
    list = sorvane_mesh_report_open_slots(report, &count);
    CHECK(count == 9 && list != NULL);
    list = sorvane_mesh_report_degenerate_triangles(report, &count);
    CHECK(count == 1 && list[0] == 11);
    /* Triangle 4 is turned over: 5 and 1 run an edge as it does, and itself has a crowded edge. */
    list = sorvane_mesh_report_misoriented_triangles(report, &count);
    CHECK(count == 2 && list[0] == 1 && list[1] == 5);
    sorvane_mesh_report_non_manifold_slots(report, &count);
    CHECK(count == 3 + 4);
    /* It lies in one plane with triangle 5. */
    list = sorvane_mesh_report_folded_triangles(report, &count);
    CHECK(count == 2 && list[0] == 4 && list[1] == 5);
    sorvane_mesh_report_free(report);
    sorvane_mesh_free(mesh);
}

static void gaps_and_holes_are_told(void)
{
    /* Two unit squares beside each other, 0.5 apart: their far edges lie 1.5 from the other one. */
    const double points[24] = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 1.5, 0, 0, 2.5, 0, 0, 2.5, 1, 0, 1.5, 1, 0};
    const int triangles[12] = {0, 1, 2, 0, 2, 3, 4, 5, 6, 4, 6, 7};
    const int twice[3] = {0, 0, 1};
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    sorvane_mesh_report *report = NULL;
    const sorvane_mesh_figures *f = NULL;
    CHECK_OK(sorvane_mesh_new(points, 8, triangles, 4, &mesh, &error));
    CHECK_OK(sorvane_mesh_report_new(mesh, 0, &report, &error));
    f = sorvane_mesh_report_figures(report);
    CHECK_NEAR(f->gap, 1.5, 1e-12);
    CHECK(f->components == 2 && f->bodies == 2 && f->holes == 2 && f->open_edges == 8);
    sorvane_mesh_report_free(report);
    sorvane_mesh_free(mesh);

    CHECK_OK(sorvane_mesh_new(NULL, 0, NULL, 0, &mesh, &error));
    CHECK_OK(sorvane_mesh_report_new(mesh, 0, &report, &error));
    f = sorvane_mesh_report_figures(report);
    CHECK(f->triangles == 0 && f->points == 0 && f->components == 0 && f->area == 0 && !f->sound);
    CHECK(isnan(f->mean_edge_length) && isnan(f->low[1]) && isnan(f->high[2]));
    sorvane_mesh_report_free(report);
    sorvane_mesh_free(mesh);

    /* A mesh of two points is not taken for empty. */
    CHECK_OK(sorvane_mesh_new(points, 2, twice, 1, &mesh, &error));
    CHECK_OK(sorvane_mesh_report_new(mesh, 0, &report, &error));
    f = sorvane_mesh_report_figures(report);
    CHECK(f->triangles == 1 && f->points == 2 && f->high[0] == 1);
    sorvane_mesh_report_free(report);
    sorvane_mesh_free(mesh);
}

static void components_hang_together(void)
{
    /* Two triangles that touch in point 2. */
    const double points[15] = {0, 0, 0, 1, 0, 0, 1, 1, 0, 2, 1, 0, 2, 2, 0};
    const int triangles[6] = {0, 1, 2, 2, 3, 4};
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    sorvane_components *components = NULL;
    size_t count = 0;
    CHECK_OK(sorvane_mesh_new(points, 5, triangles, 2, &mesh, &error));
    CHECK_OK(sorvane_mesh_components(mesh, SORVANE_SHARED_EDGE, &components, &error));
    CHECK(sorvane_components_count(components) == 2);
    CHECK(sorvane_components_starts(components, &count)[2] == 2 && count == 3);
    CHECK(sorvane_components_triangles(components, &count)[1] == 1 && count == 2);
    sorvane_components_free(components);
    CHECK_OK(sorvane_mesh_components(mesh, SORVANE_SHARED_POINT, &components, &error));
    CHECK(sorvane_components_count(components) == 1);
    sorvane_components_free(components);
    sorvane_components_free(NULL);
    CHECK(sorvane_mesh_components(mesh, (sorvane_connection)2, &components, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_components(NULL, SORVANE_SHARED_EDGE, &components, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_mesh_free(mesh);
}

static void measures_are_those_of_the_cube(void)
{
    sorvane_error error;
    sorvane_mesh *mesh = cube();
    sorvane_mesh *far = NULL;
    sorvane_mesh *empty = NULL;
    int neighbors[36];
    double angles[36];
    double normals[36];
    double point_normals[24];
    double areas[12];
    double ratios[12];
    double volume = 0;
    const double away[12] = {1, 0, 0, 1e6, 0, 1, 0, 2e6, 0, 0, 1, -1e6};
    double center[3] = {0, 0, 0};
    double away_center[3] = {0, 0, 0};
    int i;
    CHECK_OK(sorvane_mesh_neighbors(mesh, neighbors, &error));
    CHECK(neighbors[0] == 1); /* 0 2 of triangle 0 is the diagonal of the bottom */
    CHECK_OK(sorvane_mesh_crease_angles(mesh, angles, &error));
    CHECK_NEAR(angles[0], 0, 1e-12);
    CHECK_NEAR(angles[1], kPi / 2, 1e-12);
    CHECK_OK(sorvane_mesh_normals(mesh, normals, &error));
    CHECK(normals[2] == -1 && normals[8] == 1); /* bottom, top */
    CHECK_OK(sorvane_mesh_areas(mesh, areas, &error));
    CHECK_OK(sorvane_mesh_aspect_ratios(mesh, ratios, &error));
    for (i = 0; i < 12; ++i) {
        CHECK_NEAR(areas[i], 2, 1e-12);
        /* r = (2 + 2 - 2 sqrt 2) / 2, R = sqrt 2. */
        CHECK_NEAR(ratios[i], 2 * (2 - sqrt(2)) / sqrt(2), 1e-12);
    }
    CHECK_OK(sorvane_mesh_point_normals(mesh, point_normals, &error));
    for (i = 0; i < 24; ++i) {
        CHECK(point_normals[i] * cube_points[i] > 0);
    }
    CHECK_OK(sorvane_mesh_transformed(mesh, away, &far, &error));
    CHECK_OK(sorvane_mesh_measure(far, NULL, &volume, &error));
    CHECK_NEAR(volume, 8, 1e-14);
    CHECK_OK(sorvane_mesh_centroid(mesh, center, &error));
    CHECK_NEAR(center[0], 0, 1e-15);
    CHECK_OK(sorvane_mesh_centroid(far, away_center, &error));
    for (i = 0; i < 3; ++i) {
        CHECK_NEAR(away_center[i], away[4 * i + 3] + center[i], 1e-9);
    }
    CHECK(sorvane_mesh_centroid(mesh, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_centroid(NULL, center, &error) == SORVANE_BAD_ARGUMENT);

    CHECK(sorvane_mesh_areas(mesh, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_aspect_ratios(mesh, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_normals(NULL, normals, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_box(mesh, NULL, areas, &error) == SORVANE_BAD_ARGUMENT);
    CHECK_OK(sorvane_mesh_new(cube_points, 8, NULL, 0, &empty, &error));
    CHECK_OK(sorvane_mesh_areas(empty, NULL, &error));
    CHECK(sorvane_mesh_box(empty, areas, areas, &error) == SORVANE_FAILED);
    CHECK_OK(sorvane_mesh_measure(empty, NULL, NULL, &error));
    sorvane_mesh_free(empty);
    sorvane_mesh_free(far);
    sorvane_mesh_free(mesh);
}

static void a_mesh_of_two_points_has_measures(void)
{
    /* The library counts such a mesh as empty; there is a value for each triangle all the same. */
    const double points[6] = {0, 0, 0, NAN, 0, 0};
    const int triangles[3] = {0, 0, 1};
    sorvane_error error;
    sorvane_mesh *mesh = NULL;
    double values[9] = {7, 7, 7, 7, 7, 7, 7, 7, 7};
    double high[3];
    int neighbors[3] = {7, 7, 7};
    CHECK_OK(sorvane_mesh_new(points, 2, triangles, 1, &mesh, &error));
    CHECK_OK(sorvane_mesh_areas(mesh, values, &error));
    CHECK(values[0] == 0 && values[1] == 7);
    CHECK_OK(sorvane_mesh_normals(mesh, values, &error));
    CHECK(values[2] == 0 && values[3] == 7);
    CHECK_OK(sorvane_mesh_neighbors(mesh, neighbors, &error));
    CHECK(neighbors[0] == -1 && neighbors[2] == -1);
    CHECK(sorvane_mesh_box(mesh, values, high, &error) == SORVANE_BAD_ARGUMENT && error.index == 1);
    sorvane_mesh_free(mesh);
}

static void *report_volume(void *mesh)
{
    double *volume = malloc(sizeof *volume);
    int i;
    *volume = 0;
    for (i = 0; i < 20; ++i) {
        sorvane_mesh_report *report = NULL;
        if (sorvane_mesh_report_new((const sorvane_mesh *)mesh, 1e-6, &report, NULL) == SORVANE_OK) {
            *volume += sorvane_mesh_report_figures(report)->volume;
        }
        sorvane_mesh_report_free(report);
    }
    return volume;
}

static void two_threads_share_a_mesh(void)
{
    sorvane_mesh *mesh = cube();
    pthread_t threads[2];
    int i;
    for (i = 0; i < 2; ++i) {
        CHECK(pthread_create(&threads[i], NULL, report_volume, mesh) == 0);
    }
    for (i = 0; i < 2; ++i) {
        void *volume = NULL;
        CHECK(pthread_join(threads[i], &volume) == 0);
        CHECK(*(double *)volume == 160);
        free(volume);
    }
    sorvane_mesh_free(mesh);
}

void test_mesh(void)
{
    arrays_come_back();
    subscripts_are_checked();
    corners_are_welded();
    tags_go_along();
    files_are_written_in_all_forms();
    bytes_in_memory_are_files();
    maps_that_mirror_keep_the_outside();
    every_component_is_oriented();
    many_components_are_oriented();
    a_cube_is_sound();
    defects_are_found();
    gaps_and_holes_are_told();
    components_hang_together();
    measures_are_those_of_the_cube();
    a_mesh_of_two_points_has_measures();
    two_threads_share_a_mesh();
}
