/* Search trees, distances and crossings. */
#include "Measure.h"

#include <pthread.h>

static void the_nearest_place_is_found(void)
{
    sorvane_error error;
    sorvane_mesh *cube = new_cube();
    sorvane_triangle_tree *tree = NULL;
    const double points[9] = {0.5, -0.5, 3, 0, 0, 0.25, NAN, 0, 0};
    double nearest[9];
    double distances[3];
    int triangles[3];
    CHECK_OK(sorvane_triangle_tree_new(cube, &tree, &error));
    sorvane_mesh_free(cube); /* the tree has a copy */
    CHECK_OK(sorvane_triangle_tree_nearest(tree, points, 3, INFINITY, nearest, triangles, distances, &error));
    CHECK(nearest[0] == 0.5 && nearest[1] == -0.5 && nearest[2] == 1);
    CHECK(triangles[0] == 2 && distances[0] == 2);
    CHECK(nearest[3] == 0 && nearest[4] == 0 && nearest[5] == 1 && distances[1] == 0.75);
    CHECK(triangles[1] == 2); /* on the diagonal: the lower one of two */
    CHECK(triangles[2] == -1 && distances[2] == INFINITY && nearest[6] != nearest[6]);

    CHECK_OK(sorvane_triangle_tree_nearest(tree, points, 2, 1, NULL, triangles, NULL, &error));
    CHECK(triangles[0] == -1 && triangles[1] == 2);
    CHECK_OK(sorvane_triangle_tree_nearest(tree, points, 1, 1, nearest, NULL, distances, &error));
    CHECK(nearest[2] == 3 && distances[0] == INFINITY);
    CHECK_OK(sorvane_triangle_tree_nearest(tree, NULL, 0, 1, NULL, NULL, NULL, &error));
    CHECK(sorvane_triangle_tree_nearest(tree, points, 2, -1, NULL, NULL, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_triangle_tree_nearest(tree, points, 2, NAN, NULL, NULL, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_triangle_tree_nearest(tree, NULL, 2, 1, NULL, NULL, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_triangle_tree_nearest(NULL, points, 2, 1, NULL, NULL, NULL, &error) == SORVANE_BAD_ARGUMENT);

    CHECK_OK(sorvane_triangle_tree_signed_distances(tree, points, 3, distances, &error));
    CHECK(distances[0] == 2 && distances[1] == -0.75 && distances[2] != distances[2]);
    CHECK_OK(sorvane_triangle_tree_signed_distances(tree, NULL, 0, NULL, &error));
    CHECK(sorvane_triangle_tree_signed_distances(tree, points, 3, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_triangle_tree_signed_distances(NULL, points, 3, distances, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_triangle_tree_free(tree);
    sorvane_triangle_tree_free(NULL);
}

static void without_triangles_there_is_no_distance(void)
{
    sorvane_error error;
    sorvane_mesh *bare = new_bare_points();
    sorvane_mesh *cube = new_cube();
    sorvane_mesh *unusable = NULL;
    sorvane_triangle_tree *tree = NULL;
    sorvane_hausdorff report;
    sorvane_hausdorff_bounds bounds;
    const double far_points[9] = {0, 0, 0, 1, 0, 0, NAN, 1, 0};
    const int triangle[3] = {0, 1, 2};
    double projected[3] = {0, 0, 0};
    CHECK(sorvane_triangle_tree_new(bare, &tree, &error) == SORVANE_FAILED && tree == NULL);
    CHECK_OK(sorvane_mesh_new(far_points, 3, triangle, 1, &unusable, &error));
    CHECK(sorvane_triangle_tree_new(unusable, &tree, &error) == SORVANE_FAILED);
    CHECK(sorvane_triangle_tree_new(NULL, &tree, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_triangle_tree_new(cube, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_hausdorff(cube, bare, &report, &error) == SORVANE_FAILED);
    CHECK(strstr(error.message, "second") != NULL);
    CHECK(sorvane_mesh_hausdorff_bounds(unusable, cube, 0.1, &bounds, &error) == SORVANE_FAILED);
    CHECK(strstr(error.message, "first") != NULL);
    CHECK(sorvane_mesh_project_vertically(bare, cube_points, 1, projected, &error) == SORVANE_FAILED);
    sorvane_mesh_free(unusable);
    sorvane_mesh_free(bare);
    sorvane_mesh_free(cube);
}

static void lines_and_boxes_find_triangles(void)
{
    sorvane_error error;
    sorvane_mesh *cube = new_cube();
    sorvane_triangle_tree *tree = NULL;
    sorvane_lists *lists = NULL;
    const double origins[6] = {0.25, 0.1, -10, 5, 5, 5};
    const double directions[6] = {0, 0, 1, 0, 0, 1};
    const double lowest[6] = {-2, -2, 0.9, 4, 4, 4};
    const double highest[6] = {2, 2, 1.1, 5, 5, 5};
    size_t count = 0;
    CHECK_OK(sorvane_triangle_tree_new(cube, &tree, &error));
    CHECK_OK(sorvane_triangle_tree_on_lines(tree, origins, directions, 2, &lists, &error));
    CHECK(sorvane_lists_count(lists) == 2);
    {
        const int *numbers = sorvane_lists_numbers(lists, &count);
        CHECK(count == 2 && numbers[0] == 0 && numbers[1] == 2);
    }
    {
        const int *starts = sorvane_lists_starts(lists, &count);
        CHECK(count == 3 && starts[0] == 0 && starts[1] == 2 && starts[2] == 2);
    }
    sorvane_lists_free(lists);
    sorvane_lists_free(NULL);

    /* The top, and the sides that reach up to it: all but the bottom. */
    CHECK_OK(sorvane_triangle_tree_in_boxes(tree, lowest, highest, 2, &lists, &error));
    {
        const int *starts = sorvane_lists_starts(lists, &count);
        CHECK(starts[1] == 10 && starts[2] == 10);
        CHECK(sorvane_lists_numbers(lists, NULL)[0] == 2);
    }
    sorvane_lists_free(lists);
    CHECK(sorvane_triangle_tree_on_lines(tree, origins, NULL, 2, &lists, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(lists == NULL);
    CHECK(sorvane_triangle_tree_in_boxes(tree, lowest, NULL, 2, &lists, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_triangle_tree_in_boxes(NULL, lowest, highest, 2, &lists, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_triangle_tree_free(tree);
    sorvane_mesh_free(cube);
}

static void points_fall_on_the_mesh(void)
{
    sorvane_error error;
    sorvane_mesh *cube = new_cube();
    const double points[6] = {0.25, 0.1, -5, 5, 5, 0};
    double projected[6];
    CHECK_OK(sorvane_mesh_project_vertically(cube, points, 2, projected, &error));
    CHECK(projected[0] == 0.25 && projected[1] == 0.1 && projected[2] == 1);
    CHECK(projected[3] == 5 && projected[4] == 5 && projected[5] != projected[5]);
    CHECK_OK(sorvane_mesh_project_vertically(cube, NULL, 0, NULL, &error));
    CHECK(sorvane_mesh_project_vertically(cube, points, 2, NULL, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_mesh_free(cube);
}

static void lines_cross_a_mesh(void)
{
    sorvane_error error;
    sorvane_mesh *cube = new_cube();
    sorvane_crossings *crossings = NULL;
    const double points[12] = {9, 9, 9, 9, 9, 8, -3, 0.1, 0.3, 3, 0.1, 0.3};
    const int starts[3] = {0, 2, 4};
    const int descending[3] = {0, 5, 4};
    const int short_of_points[3] = {0, 2, 3};
    const int late[3] = {1, 2, 4};
    size_t count = 0;
    CHECK_OK(sorvane_mesh_crossings(cube, points, 4, starts, 2, &crossings, &error));
    {
        const int *first = sorvane_crossings_starts(crossings, &count);
        CHECK(count == 3 && first[0] == 0 && first[1] == 0 && first[2] == 2);
    }
    {
        const double *places = sorvane_crossings_points(crossings, &count);
        const double *parameters = sorvane_crossings_parameters(crossings, NULL);
        const int *triangles = sorvane_crossings_triangles(crossings, NULL);
        CHECK(count == 2);
        CHECK_NEAR(places[0], -1, 1e-15);
        CHECK_NEAR(places[3], 1, 1e-15);
        CHECK_NEAR(parameters[0], 2, 1e-15);
        CHECK_NEAR(parameters[1], 4, 1e-15);
        CHECK((triangles[0] == 10 || triangles[0] == 11) && (triangles[1] == 6 || triangles[1] == 7));
    }
    sorvane_crossings_free(crossings);
    sorvane_crossings_free(NULL);
    CHECK(sorvane_mesh_crossings(cube, points, 4, descending, 2, &crossings, &error) == SORVANE_BAD_INDEX);
    CHECK(error.index == 2 && crossings == NULL);
    CHECK(sorvane_mesh_crossings(cube, points, 4, short_of_points, 2, &crossings, &error) == SORVANE_BAD_INDEX);
    CHECK(error.index == 2);
    CHECK(sorvane_mesh_crossings(cube, points, 4, late, 2, &crossings, &error) == SORVANE_BAD_INDEX);
    CHECK(error.index == 0);
    CHECK(sorvane_mesh_crossings(cube, points, 4, NULL, 2, &crossings, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_crossings(cube, points, 4, NULL, 0, &crossings, &error) == SORVANE_BAD_ARGUMENT);
    CHECK_OK(sorvane_mesh_crossings(cube, NULL, 0, NULL, 0, &crossings, &error));
    sorvane_crossings_free(crossings);
    sorvane_mesh_free(cube);
}

static void the_distance_of_two_cubes_is_that_of_a_corner(void)
{
    sorvane_error error;
    sorvane_mesh *cube = new_cube();
    sorvane_mesh *big = new_moved_cube(0, 0, 0, 2);
    sorvane_hausdorff report;
    sorvane_hausdorff_bounds bounds;
    CHECK_OK(sorvane_mesh_hausdorff(cube, big, &report, &error));
    CHECK_NEAR(report.first_distance, 1, 1e-15);
    CHECK_NEAR(report.second_distance, sqrt(3.0), 1e-15);
    CHECK(report.distance == report.second_distance && report.first_point == 0 && report.second_point == 0);

    CHECK_OK(sorvane_mesh_hausdorff_bounds(cube, big, 1e-3, &bounds, &error));
    CHECK(bounds.first_lower <= 1 && bounds.first_upper >= 1 && bounds.first_upper - bounds.first_lower <= 1e-3);
    CHECK(bounds.lower <= sqrt(3.0) && bounds.upper >= sqrt(3.0) && bounds.upper - bounds.lower <= 1e-3);
    CHECK(bounds.second_lower == bounds.lower && bounds.second_upper == bounds.upper);
    CHECK_NEAR(fabs(bounds.second_point[0]), 2, 1e-12);
    CHECK_NEAR(fabs(bounds.second_nearest[0]), 1, 1e-12);
    CHECK(bounds.first_triangle >= 0 && bounds.first_triangle < 12 && bounds.second_nearest_triangle >= 0);

    CHECK(sorvane_mesh_hausdorff(cube, NULL, &report, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_hausdorff(cube, big, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_hausdorff_bounds(cube, big, -1, &bounds, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_mesh_hausdorff_bounds(cube, big, 1, NULL, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_mesh_free(cube);
    sorvane_mesh_free(big);
}

enum { asked = 2000 };
static double cloud[3 * asked];

struct question {
    const sorvane_triangle_tree *tree;
    double distances[asked];
    sorvane_status status;
};

static void *ask(void *argument)
{
    struct question *question = argument;
    question->status = sorvane_triangle_tree_nearest(question->tree, cloud, asked, INFINITY, NULL, NULL,
                                                     question->distances, NULL);
    return NULL;
}

static void two_threads_may_ask_one_tree(void)
{
    sorvane_error error;
    sorvane_mesh *cube = new_cube();
    sorvane_triangle_tree *tree = NULL;
    static struct question questions[3];
    pthread_t threads[2];
    int i;
    CHECK_OK(sorvane_triangle_tree_new(cube, &tree, &error));
    for (i = 0; i < 3 * asked; ++i) {
        cloud[i] = (i * 7919 % 1000) / 100.0 - 5; /* spread over a cube of edge 10 */
    }
    for (i = 0; i < 3; ++i) {
        questions[i].tree = tree;
    }
    ask(&questions[2]);
    for (i = 0; i < 2; ++i) {
        CHECK(pthread_create(&threads[i], NULL, ask, &questions[i]) == 0);
    }
    for (i = 0; i < 2; ++i) {
        CHECK(pthread_join(threads[i], NULL) == 0);
        CHECK(questions[i].status == SORVANE_OK);
        CHECK(memcmp(questions[i].distances, questions[2].distances, sizeof questions[2].distances) == 0);
    }
    sorvane_triangle_tree_free(tree);
    sorvane_mesh_free(cube);
}

void test_distances(void)
{
    the_nearest_place_is_found();
    without_triangles_there_is_no_distance();
    lines_and_boxes_find_triangles();
    points_fall_on_the_mesh();
    lines_cross_a_mesh();
    the_distance_of_two_cubes_is_that_of_a_corner();
    two_threads_may_ask_one_tree();
}
