/* Chains: squares, circles and slots whose lengths and areas are known by hand. */
#include "Check.h"

static const double pi = 3.14159265358979323846;

static const double square_points[8] = {0, 0, 4, 0, 4, 3, 0, 3};

/* A slot 2 wide: two lines of 6 and two half circles of radius 1, counter-clockwise. */
static const int slot_kinds[4] = {0, 1, 0, 1};
static const double slot_elements[20] = {0, 0, 6, 0, 0, 6, 0, 6, 1, 3.14159265358979323846,
                                         6, 2, 0, 2, 0, 0, 2, 0, 1, 3.14159265358979323846};

static sorvane_chain *square(void)
{
    sorvane_error error;
    sorvane_chain *chain = NULL;
    CHECK_OK(sorvane_chain_from_points(square_points, 4, 1, 1e-9, &chain, &error));
    return chain;
}

static sorvane_chain *slot(void)
{
    sorvane_error error;
    sorvane_chain *chain = NULL;
    CHECK_OK(sorvane_chain_new(slot_kinds, slot_elements, 4, 1e-9, &chain, &error));
    return chain;
}

static sorvane_chain *circle(double radius)
{
    sorvane_error error;
    sorvane_chain *chain = NULL;
    const int kind = 1;
    double element[5] = {0, 0, 0, 0, 0};
    element[0] = radius;
    element[4] = 2 * pi * radius;
    CHECK_OK(sorvane_chain_new(&kind, element, 1, 1e-9, &chain, &error));
    return chain;
}

static void elements_come_back(void)
{
    size_t count = 0;
    sorvane_chain *chain = slot();
    CHECK(memcmp(sorvane_chain_elements(chain, &count), slot_elements, sizeof slot_elements) == 0);
    CHECK(count == 4);
    CHECK(memcmp(sorvane_chain_kinds(chain, &count), slot_kinds, sizeof slot_kinds) == 0);
    CHECK(count == 4 && sorvane_chain_tolerance(chain) == 1e-9);
    CHECK_NEAR(sorvane_chain_ends(chain, &count)[2], 6, 1e-14);
    CHECK_NEAR(sorvane_chain_ends(chain, NULL)[3], 2, 1e-14);
    CHECK(count == 4 && sorvane_chain_is_closed(chain));
    CHECK_NEAR(sorvane_chain_length(chain), 12 + 2 * pi, 1e-13);
    CHECK_NEAR(sorvane_chain_area(chain), 12 + pi, 1e-13);
    sorvane_chain_free(chain);
    sorvane_chain_free(NULL);
}

static void measures_of_a_square_and_a_circle(void)
{
    sorvane_error error;
    double low[2];
    double high[2];
    sorvane_chain *chain = square();
    sorvane_chain *reversed = NULL;
    CHECK_NEAR(sorvane_chain_length(chain), 14, 0);
    CHECK_NEAR(sorvane_chain_area(chain), 12, 0);
    CHECK_OK(sorvane_chain_reversed(chain, &reversed, &error));
    CHECK_NEAR(sorvane_chain_area(reversed), -12, 0);
    sorvane_chain_free(reversed);
    sorvane_chain_free(chain);
    chain = circle(5);
    CHECK(sorvane_chain_is_closed(chain));
    CHECK_NEAR(sorvane_chain_area(chain), 25 * pi, 1e-12);
    CHECK_OK(sorvane_chain_box(chain, low, high, &error));
    CHECK_NEAR(low[0], -5, 1e-14);
    CHECK_NEAR(low[1], -5, 1e-14);
    CHECK_NEAR(high[1], 5, 1e-14);
    CHECK(sorvane_chain_box(chain, NULL, high, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_chain_free(chain);
}

static void wrong_elements_are_refused(void)
{
    sorvane_error error;
    sorvane_chain *chain = NULL;
    int kinds[4];
    double elements[20];
    memcpy(kinds, slot_kinds, sizeof kinds);
    memcpy(elements, slot_elements, sizeof elements);
    kinds[2] = 2;
    CHECK(sorvane_chain_new(kinds, elements, 4, 1e-9, &chain, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(chain == NULL && error.index == 2);
    kinds[2] = 0;
    elements[10] = 6.5;
    CHECK(sorvane_chain_new(kinds, elements, 4, 1e-9, &chain, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(error.index == 2 && strstr(error.message, "0.5") != NULL);
    CHECK_OK(sorvane_chain_new(kinds, elements, 4, 0.6, &chain, &error));
    sorvane_chain_free(chain);
    elements[16] = NAN;
    CHECK(sorvane_chain_new(kinds, elements, 4, 1, &chain, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(error.index == 3);
    elements[16] = 1e200;
    CHECK(sorvane_chain_new(kinds, elements, 4, 1, &chain, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_chain_new(slot_kinds, slot_elements, 4, -1, &chain, NULL) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_chain_new(slot_kinds, slot_elements, 4, NAN, &chain, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_chain_new(NULL, slot_elements, 4, 1, &chain, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_chain_new(slot_kinds, NULL, 4, 1, &chain, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_chain_new(slot_kinds, slot_elements, 4, 1, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_chain_from_points(NULL, 3, 1, 1, &chain, &error) == SORVANE_BAD_ARGUMENT);
}

static void an_empty_chain_is_a_chain(void)
{
    sorvane_error error;
    sorvane_chain *chain = NULL;
    size_t count = 7;
    double numbers[2] = {0, 0};
    sorvane_lines *lines = NULL;
    sorvane_chains *chains = NULL;
    CHECK_OK(sorvane_chain_new(NULL, NULL, 0, 0, &chain, &error));
    sorvane_chain_elements(chain, &count);
    CHECK(count == 0 && sorvane_chain_length(chain) == 0 && sorvane_chain_area(chain) == 0);
    CHECK(!sorvane_chain_is_closed(chain));
    CHECK(sorvane_chain_box(chain, numbers, numbers, &error) == SORVANE_FAILED);
    CHECK(sorvane_chain_nearest(chain, numbers, 1, numbers, NULL, &error) == SORVANE_FAILED);
    CHECK_OK(sorvane_chain_tessellate(chain, 0.1, &lines, &error));
    sorvane_lines_points(lines, &count);
    CHECK(count == 0);
    sorvane_lines_free(lines);
    CHECK_OK(sorvane_chain_offset(chain, 1, 0.1, &chains, &error));
    sorvane_chains_free(chains);
    sorvane_chain_free(chain);
}

static void places_along_a_square(void)
{
    sorvane_error error;
    sorvane_chain *chain = square();
    double joints[5];
    const double lengths[4] = {0, 5, 8, 14};
    const double halves[1] = {0.5};
    const double beyond[2] = {1, 15};
    double points[8];
    double back[4];
    CHECK_OK(sorvane_chain_parameters(chain, 0, joints, &error));
    CHECK(joints[0] == 0 && joints[1] == 4 && joints[2] == 7 && joints[3] == 11 && joints[4] == 14);
    CHECK_OK(sorvane_chain_parameters(chain, 1, joints, &error));
    CHECK_NEAR(joints[2], 0.5, 0);
    CHECK_OK(sorvane_chain_points_at(chain, lengths, 4, 0, points, &error));
    CHECK(points[0] == 0 && points[1] == 0 && points[2] == 4 && points[3] == 1);
    CHECK(points[4] == 3 && points[5] == 3 && points[6] == 0 && points[7] == 0);
    CHECK_OK(sorvane_chain_parameters_of(chain, points, 4, 1e-9, back, &error));
    CHECK_NEAR(back[1], 5, 1e-12);
    CHECK_NEAR(back[2], 8, 1e-12);
    CHECK(back[3] == 0);
    points[0] = 9;
    CHECK_OK(sorvane_chain_parameters_of(chain, points, 1, 1e-9, back, &error));
    CHECK(back[0] == -1);
    CHECK_OK(sorvane_chain_points_at(chain, halves, 1, 1, points, &error));
    CHECK(points[0] == 4 && points[1] == 3);
    CHECK(sorvane_chain_points_at(chain, beyond, 2, 0, points, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(error.index == 1);
    CHECK(sorvane_chain_points_at(NULL, beyond, 2, 0, points, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_chain_points_at(chain, beyond, 2, 0, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_chain_parameters(chain, 0, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_chain_parameters_of(chain, points, 1, -1, back, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_chain_free(chain);
}

static void nearest_points_and_sides(void)
{
    sorvane_error error;
    sorvane_chain *chain = circle(5);
    const double points[6] = {3, 0, 0, 8, -6, -8};
    double nearest[6];
    int sides[3];
    CHECK_OK(sorvane_chain_nearest(chain, points, 3, nearest, sides, &error));
    CHECK(sides[0] == 1 && sides[1] == 0 && sides[2] == 0);
    CHECK_NEAR(nearest[0], 5, 1e-14);
    CHECK_NEAR(nearest[3], 5, 1e-14);
    CHECK_NEAR(nearest[4], -3, 1e-14);
    CHECK_NEAR(nearest[5], -4, 1e-14);
    CHECK_OK(sorvane_chain_nearest(chain, points, 3, NULL, NULL, &error));
    CHECK_OK(sorvane_chain_nearest(chain, NULL, 0, NULL, NULL, &error));
    CHECK(sorvane_chain_nearest(chain, NULL, 3, nearest, NULL, &error) == SORVANE_BAD_ARGUMENT);
    nearest[3] = INFINITY;
    CHECK(sorvane_chain_nearest(chain, nearest, 3, NULL, sides, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(error.index == 1);
    sorvane_chain_free(chain);
}

static void a_circle_becomes_points_and_points_a_circle(void)
{
    sorvane_error error;
    sorvane_chain *chain = circle(10);
    sorvane_chain *fitted = NULL;
    sorvane_lines *lines = NULL;
    double closed[2000];
    const double *points = NULL;
    size_t count = 0;
    size_t i = 0;
    CHECK_OK(sorvane_chain_tessellate(chain, 0.01, &lines, &error));
    CHECK(sorvane_lines_count(lines) == 1 && sorvane_lines_dimension(lines) == 2);
    CHECK(sorvane_lines_closed(lines, NULL)[0] == 1);
    points = sorvane_lines_points(lines, &count);
    /* A chord over the angle a is r (1 - cos(a / 2)) from its arc: no more than 0.01 from 71 chords on. */
    CHECK(count >= 71 && count < 200);
    for (i = 0; i < count; ++i) {
        CHECK_NEAR(hypot(points[2 * i], points[2 * i + 1]), 10, 1e-13);
    }
    CHECK(points[2 * count - 2] != points[0] || points[2 * count - 1] != points[1]);
    memcpy(closed, points, 2 * count * sizeof(double));
    closed[2 * count] = closed[0];
    closed[2 * count + 1] = closed[1];
    CHECK_OK(sorvane_chain_fit(closed, count + 1, 0.02, &fitted, &error));
    sorvane_chain_elements(fitted, &count);
    CHECK(count == 1 && sorvane_chain_kinds(fitted, NULL)[0] == 1);
    CHECK_NEAR(sorvane_chain_area(fitted), 100 * pi, 0.1);
    sorvane_chain_free(fitted);
    CHECK(sorvane_chain_fit(closed, 1, 0.02, &fitted, &error) == SORVANE_FAILED);
    CHECK(fitted == NULL);
    CHECK(sorvane_chain_fit(closed, 10, -1, &fitted, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_lines_free(lines);
    CHECK(sorvane_chain_tessellate(chain, NAN, &lines, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_chain_tessellate(chain, 0, &lines, &error) == SORVANE_OK);
    sorvane_lines_points(lines, &count);
    CHECK(count == 4);
    sorvane_lines_free(lines);
    sorvane_chain_free(chain);
}

static void straight_points_are_thinned(void)
{
    sorvane_error error;
    sorvane_lines *lines = NULL;
    size_t count = 0;
    const double points[12] = {0, 0, 1, 0, 2, 0, 3, 0, 3, 1, 3, 5};
    CHECK_OK(sorvane_polyline_thin(points, 6, 1e-9, 1e-9, &lines, &error));
    sorvane_lines_points(lines, &count);
    CHECK(count == 3 && sorvane_lines_closed(lines, NULL)[0] == 0);
    sorvane_lines_free(lines);
    CHECK(sorvane_polyline_thin(points, 6, -1, 0, &lines, &error) == SORVANE_BAD_ARGUMENT);
}

static void offsets_of_a_square_and_of_a_circle(void)
{
    sorvane_error error;
    sorvane_chain *chain = square();
    sorvane_chains *offset = NULL;
    const double distances[4] = {1, -1, 0, -9};
    size_t count = 0;
    CHECK_OK(sorvane_chain_offset(chain, 1, 1e-6, &offset, &error));
    CHECK(sorvane_chains_count(offset) == 1 && sorvane_chains_at(offset, 1) == NULL);
    /* Four sides of 14 in all, and a circle of radius 1 in four parts. */
    CHECK_NEAR(sorvane_chain_length(sorvane_chains_at(offset, 0)), 14 + 2 * pi, 1e-9);
    CHECK_NEAR(sorvane_chain_area(sorvane_chains_at(offset, 0)), 12 + 14 + pi, 1e-9);
    sorvane_chains_free(offset);
    CHECK_OK(sorvane_chain_offsets(chain, distances, 4, 1e-6, &offset, &error));
    {
        const int *groups = sorvane_chains_groups(offset, &count);
        CHECK(count == 5);
        CHECK(groups[0] == 0 && groups[1] == 1 && groups[2] == 2 && groups[3] == 3 && groups[4] == 3);
        CHECK_NEAR(sorvane_chain_area(sorvane_chains_at(offset, 0)), 26 + pi, 1e-9);
        CHECK_NEAR(sorvane_chain_area(sorvane_chains_at(offset, 1)), -2, 1e-9); /* 2 by 1, run the other way */
        CHECK_NEAR(sorvane_chain_area(sorvane_chains_at(offset, 2)), 12, 0);
    }
    sorvane_chains_free(offset);
    sorvane_chains_free(NULL);
    CHECK(sorvane_chain_offset(chain, NAN, 1e-6, &offset, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_chain_offset(chain, 1, -1, &offset, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_chain_offset(NULL, 1, 0, &offset, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(offset == NULL);
    sorvane_chain_free(chain);
    /* One element alone, and two between the same two points: half a disc, inside it less than half of one of 4. */
    chain = circle(5);
    CHECK_OK(sorvane_chain_offset(chain, -2, 1e-6, &offset, &error));
    CHECK(sorvane_chains_count(offset) == 1);
    CHECK_NEAR(fabs(sorvane_chain_area(sorvane_chains_at(offset, 0))), 9 * pi, 1e-9);
    (void)sorvane_chain_elements(sorvane_chains_at(offset, 0), &count);
    CHECK(count == 1);
    sorvane_chains_free(offset);
    sorvane_chain_free(chain);
    {
        const int kinds[2] = {1, 0};
        const double elements[10] = {0, -5, 0, 0, 5 * pi, 0, 5, 0, -5, 0};
        CHECK_OK(sorvane_chain_new(kinds, elements, 2, 1e-9, &chain, &error));
        CHECK_OK(sorvane_chain_offset(chain, -1, 1e-6, &offset, &error));
        CHECK(sorvane_chains_count(offset) == 1 && sorvane_chain_is_closed(sorvane_chains_at(offset, 0)));
        CHECK_NEAR(sorvane_chain_area(sorvane_chains_at(offset, 0)), sqrt(15) - 16 * acos(0.25), 1e-9);
        (void)sorvane_chain_elements(sorvane_chains_at(offset, 0), &count);
        CHECK(count == 2);
        sorvane_chains_free(offset);
        sorvane_chain_free(chain);
    }
}

static void a_square_is_broken_and_split(void)
{
    sorvane_error error;
    sorvane_chain *chain = square();
    sorvane_chain *broken = NULL;
    sorvane_chains *pieces = NULL;
    const double parameters[4] = {2, 4, 9, 20};
    const double twice[2] = {2, 2.0000001};
    const double direction[2] = {0, 7};
    const double from[2] = {2, 0};
    const double to[2] = {4, 2};
    const double off[2] = {2, 1};
    size_t count = 0;
    CHECK_OK(sorvane_chain_break(chain, parameters, 4, 0, 1e-6, &broken, &error));
    sorvane_chain_elements(broken, &count);
    CHECK(count == 6); /* 4 is a joint already, 20 is off the chain */
    CHECK_NEAR(sorvane_chain_length(broken), 14, 1e-12);
    sorvane_chain_free(broken);
    CHECK(sorvane_chain_break(chain, twice, 2, 0, 1e-6, &broken, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(error.index == 1 && broken == NULL);
    CHECK_OK(sorvane_chain_break(chain, twice, 2, 0, 1e-9, &broken, &error));
    sorvane_chain_free(broken);
    CHECK_OK(sorvane_chain_split(chain, parameters, 3, 0, 1e-6, &pieces, &error));
    CHECK(sorvane_chains_count(pieces) == 4);
    CHECK_NEAR(sorvane_chain_length(sorvane_chains_at(pieces, 2)), 5, 1e-12);
    sorvane_chains_free(pieces);
    CHECK_OK(sorvane_chain_split_at_tangent(chain, direction, 1e-9, &pieces, &error));
    CHECK(sorvane_chains_count(pieces) >= 1);
    sorvane_chains_free(pieces);
    CHECK(sorvane_chain_split_at_tangent(chain, cube_points, 1e-9, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK_OK(sorvane_chain_trim(chain, from, to, 1e-9, &broken, &error));
    CHECK_NEAR(sorvane_chain_length(broken), 4, 1e-12);
    sorvane_chain_free(broken);
    CHECK_OK(sorvane_chain_trim(chain, to, from, 1e-9, &broken, &error)); /* over the start */
    CHECK_NEAR(sorvane_chain_length(broken), 10, 1e-12);
    sorvane_chain_free(broken);
    CHECK(sorvane_chain_trim(chain, from, off, 1e-9, &broken, &error) == SORVANE_FAILED);
    CHECK(strstr(error.message, "second") != NULL && broken == NULL);
    {
        const double none[2] = {0, 0};
        CHECK(sorvane_chain_split_at_tangent(chain, none, 1e-9, &pieces, &error) == SORVANE_BAD_ARGUMENT);
        CHECK(sorvane_chain_trim(chain, NULL, off, 1e-9, &broken, &error) == SORVANE_BAD_ARGUMENT);
    }
    sorvane_chain_free(chain);
}

static void two_chains_meet(void)
{
    sorvane_error error;
    sorvane_chain *a = square();
    sorvane_chain *b = circle(2);
    sorvane_chain *first = NULL;
    sorvane_chain *second = NULL;
    sorvane_chains *pieces = NULL;
    sorvane_chains *others = NULL;
    sorvane_lines *points = NULL;
    size_t count = 0;
    CHECK_OK(sorvane_chain_intersections(a, b, 1e-9, &points, &error));
    {
        const double *p = sorvane_lines_points(points, &count);
        CHECK(count == 2);
        CHECK_NEAR(p[0], 0, 1e-12);
        CHECK_NEAR(p[1], 2, 1e-12);
        CHECK_NEAR(p[2], 2, 1e-12);
        CHECK_NEAR(p[3], 0, 1e-12);
    }
    sorvane_lines_free(points);
    CHECK_OK(sorvane_chain_break_at_intersections(a, b, 1e-9, &first, &second, &error));
    sorvane_chain_elements(first, &count);
    CHECK(count == 6);
    sorvane_chain_elements(second, &count);
    CHECK(count == 2); /* the circle starts at (2, 0) */
    sorvane_chain_free(first);
    sorvane_chain_free(second);
    CHECK_OK(sorvane_chain_split_at_intersections(a, b, 1e-9, &pieces, &others, &error));
    CHECK(sorvane_chains_count(pieces) == 3 && sorvane_chains_count(others) == 2);
    sorvane_chains_free(pieces);
    sorvane_chains_free(others);
    sorvane_chain_free(b);
    b = circle(0.5);
    {
        sorvane_chain *far = NULL;
        const double away[4] = {50, 50, 60, 50};
        CHECK_OK(sorvane_chain_from_points(away, 2, 0, 0, &far, &error));
        CHECK_OK(sorvane_chain_split_at_intersections(far, b, 1e-9, &pieces, &others, &error));
        CHECK(sorvane_chains_count(pieces) == 1 && sorvane_chains_count(others) == 1);
        sorvane_chains_free(pieces);
        sorvane_chains_free(others);
        sorvane_chain_free(far);
    }
    first = a;
    CHECK(sorvane_chain_break_at_intersections(a, NULL, 1e-9, &first, &second, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(first == NULL && second == NULL);
    /* The second output is set also where the first one is what is wrong. */
    second = a;
    CHECK(sorvane_chain_break_at_intersections(a, b, 1e-9, NULL, &second, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(second == NULL);
    CHECK_OK(sorvane_chain_split_at_tangent(a, square_points + 2, 1e-9, &pieces, &error));
    others = pieces;
    CHECK(sorvane_chain_split_at_intersections(a, b, 1e-9, NULL, &others, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(others == NULL);
    sorvane_chains_free(pieces);
    sorvane_chain_free(a);
    sorvane_chain_free(b);
}

static void loose_elements_are_joined(void)
{
    sorvane_error error;
    sorvane_chains *chains = NULL;
    /* The sides of a triangle in any order and direction, and one beside it. */
    const int kinds[4] = {0, 0, 0, 0};
    const double elements[20] = {0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 3, 0, 0, 4, 0, 9, 9, 9, 8, 0};
    CHECK_OK(sorvane_chains_join(kinds, elements, 4, 1e-9, &chains, &error));
    CHECK(sorvane_chains_count(chains) == 2);
    {
        const sorvane_chain *one = sorvane_chains_at(chains, 0);
        const sorvane_chain *other = sorvane_chains_at(chains, 1);
        const sorvane_chain *triangle = sorvane_chain_is_closed(one) ? one : other;
        CHECK_NEAR(sorvane_chain_length(triangle), 12, 1e-14);
        CHECK_NEAR(fabs(sorvane_chain_area(triangle)), 6, 1e-14);
    }
    sorvane_chains_free(chains);
    CHECK(sorvane_chains_join(kinds, elements, 4, NAN, &chains, &error) == SORVANE_BAD_ARGUMENT);
}

static void chains_are_written_and_read(void)
{
    sorvane_error error;
    sorvane_chain *chain = slot();
    sorvane_chain *back = NULL;
    size_t count = 0;
    const char *path = "c-chain-test.txt";
    CHECK_OK(sorvane_chain_write(chain, path, &error));
    CHECK_OK(sorvane_chain_read(path, &back, &error));
    CHECK(memcmp(sorvane_chain_elements(back, &count), slot_elements, sizeof slot_elements) == 0);
    sorvane_chain_free(back);
    {
        FILE *file = fopen(path, "w");
        fputs("\n3\t1e-9\nL\t0\t0\t1\t0\nL\t5\t5\t6\t6\nL\t7\t7\t8\t8\n", file);
        fclose(file);
    }
    CHECK(sorvane_chain_read(path, &back, &error) == SORVANE_FILE_ERROR);
    CHECK(strstr(error.message, "3 elements") != NULL && back == NULL);
    {
        /* What other functions refuse in their arguments does not come in by a file. */
        static const char *const refused[4] = {"1 -5\nL 0 0 1 0\n", "2 1e-9\nL 0 0 1 0\nL 1 0 1e200 0\n",
                                               "2 1e-9\nL 0 0 1 0\nA 1 0 1 1e200 1\n",
                                               "2 1e-9\nL 0 0 1 0\nA 1 0 1 1 1e200\n"};
        size_t i;
        for (i = 0; i < 4; ++i) {
            FILE *file = fopen(path, "w");
            fputs(refused[i], file);
            fclose(file);
            CHECK(sorvane_chain_read(path, &back, &error) == SORVANE_FILE_ERROR);
            CHECK(error.index == (i == 0 ? -1 : 1) && back == NULL);
        }
    }
    remove(path);
    CHECK(sorvane_chain_read("no such chain.txt", &back, &error) == SORVANE_FILE_ERROR);
    CHECK(sorvane_chain_read(NULL, &back, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_chain_write(chain, "no such folder/chain.txt", &error) == SORVANE_FILE_ERROR);
    sorvane_chain_free(chain);
}

void test_chains(void)
{
    elements_come_back();
    measures_of_a_square_and_a_circle();
    wrong_elements_are_refused();
    an_empty_chain_is_a_chain();
    places_along_a_square();
    nearest_points_and_sides();
    a_circle_becomes_points_and_points_a_circle();
    straight_points_are_thinned();
    offsets_of_a_square_and_of_a_circle();
    a_square_is_broken_and_split();
    two_chains_meet();
    loose_elements_are_joined();
    chains_are_written_and_read();
}
