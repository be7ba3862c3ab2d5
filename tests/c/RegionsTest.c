/* Regions: squares and rings whose areas are known by hand. */
#include "Check.h"

static const double pi = 3.14159265358979323846;

/* Squares [0, 4]^2, [2, 6] x [0, 4], and a square ring of edges 10 and 4. */
static const double squares[16] = {0, 0, 4, 0, 4, 4, 0, 4, 2, 0, 6, 0, 6, 4, 2, 4};
static const double ring[16] = {0, 0, 10, 0, 10, 10, 0, 10, 3, 3, 3, 7, 7, 7, 7, 3};
static const int starts[3] = {0, 4, 8};

static sorvane_region *region_of(const double *points, size_t loops)
{
    sorvane_error error;
    sorvane_region *region = NULL;
    CHECK_OK(sorvane_region_new(points, 4 * loops, starts, loops, &region, &error));
    return region;
}

static double area_of(const sorvane_region *region)
{
    sorvane_error error;
    double area = -1;
    CHECK_OK(sorvane_region_area(region, &area, &error));
    return area;
}

static void loops_come_back(void)
{
    sorvane_error error;
    sorvane_region *region = region_of(ring, 2);
    const sorvane_lines *loops = sorvane_region_loops(region);
    const double repeated[8] = {0, 0, 2, 0, 0, 2, 0, 0};
    const int one[2] = {0, 4};
    size_t count = 0;
    CHECK(sorvane_lines_count(loops) == 2 && sorvane_lines_dimension(loops) == 2);
    CHECK(memcmp(sorvane_lines_points(loops, &count), ring, sizeof ring) == 0 && count == 8);
    CHECK(sorvane_lines_closed(loops, NULL)[1] == 1 && sorvane_region_resolution(region) == 0);
    CHECK_NEAR(area_of(region), 84, 1e-6);
    sorvane_region_free(region);
    sorvane_region_free(NULL);
    CHECK_OK(sorvane_region_new(repeated, 4, one, 1, &region, &error));
    sorvane_lines_points(sorvane_region_loops(region), &count);
    CHECK(count == 3);
    CHECK_NEAR(area_of(region), 2, 1e-8);
    sorvane_region_free(region);
    CHECK_OK(sorvane_region_new(NULL, 0, NULL, 0, &region, &error));
    CHECK_NEAR(area_of(region), 0, 0);
    CHECK(sorvane_region_area(region, NULL, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_region_free(region);
}

static void wrong_loops_are_refused(void)
{
    sorvane_error error;
    sorvane_region *region = NULL;
    const int beyond[3] = {0, 4, 9};
    const int falling[3] = {0, 5, 4};
    const int negative[3] = {-1, 4, 8};
    double points[16];
    CHECK(sorvane_region_new(ring, 8, beyond, 2, &region, &error) == SORVANE_BAD_INDEX);
    CHECK(error.index == 1 && region == NULL);
    CHECK(sorvane_region_new(ring, 8, falling, 2, &region, &error) == SORVANE_BAD_INDEX);
    CHECK(sorvane_region_new(ring, 8, negative, 2, &region, &error) == SORVANE_BAD_INDEX);
    CHECK(sorvane_region_new(ring, 8, NULL, 2, &region, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_region_new(NULL, 8, starts, 2, &region, &error) == SORVANE_BAD_ARGUMENT);
    memcpy(points, ring, sizeof points);
    points[11] = -INFINITY;
    CHECK(sorvane_region_new(points, 8, starts, 2, &region, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(error.index == 5);
    CHECK(sorvane_region_union(NULL, NULL, &region, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_region_area(NULL, points, NULL) == SORVANE_BAD_ARGUMENT);
}

static void two_squares_are_combined(void)
{
    sorvane_error error;
    sorvane_region *a = region_of(squares, 1);
    sorvane_region *b = region_of(squares + 8, 1);
    sorvane_region *both = region_of(squares, 2);
    sorvane_region *result = NULL;
    CHECK_NEAR(area_of(both), 24, 1e-7); /* overlaps count once */
    CHECK_OK(sorvane_region_union(a, b, &result, &error));
    CHECK_NEAR(area_of(result), 24, 1e-7);
    CHECK(sorvane_lines_count(sorvane_region_loops(result)) == 1);
    CHECK(sorvane_region_resolution(result) > 0 && sorvane_region_resolution(result) < 1e-7);
    {
        /* What is united already loses nothing more; what is not is united first, and tells what that cost. */
        sorvane_region *same = NULL;
        CHECK_OK(sorvane_region_offset(result, 0, 1e-3, &same, &error));
        CHECK(sorvane_region_resolution(same) == 0);
        sorvane_region_free(same);
        CHECK_OK(sorvane_region_offset(both, 0, 1e-3, &same, &error));
        CHECK(sorvane_region_resolution(same) > 0 && sorvane_region_resolution(same) < 1e-7);
        CHECK(sorvane_lines_count(sorvane_region_loops(same)) == 1);
        sorvane_region_free(same);
    }
    sorvane_region_free(result);
    CHECK_OK(sorvane_region_union(both, NULL, &result, &error));
    CHECK(sorvane_lines_count(sorvane_region_loops(result)) == 1);
    sorvane_region_free(result);
    CHECK_OK(sorvane_region_intersection(a, b, &result, &error));
    CHECK_NEAR(area_of(result), 8, 1e-7);
    sorvane_region_free(result);
    CHECK_OK(sorvane_region_difference(a, b, &result, &error));
    CHECK_NEAR(area_of(result), 8, 1e-7);
    sorvane_region_free(result);
    CHECK_OK(sorvane_region_symmetric_difference(a, b, &result, &error));
    CHECK_NEAR(area_of(result), 16, 1e-7);
    CHECK(sorvane_lines_count(sorvane_region_loops(result)) == 2);
    sorvane_region_free(result);
    CHECK(sorvane_region_difference(a, NULL, &result, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_region_free(a);
    sorvane_region_free(b);
    sorvane_region_free(both);
}

static void points_are_told_in_or_out(void)
{
    sorvane_error error;
    sorvane_region *region = region_of(ring, 2);
    const double points[12] = {1, 1, 5, 5, 11, 5, 8, 3, -1, 3, 2, 7};
    int inside[6];
    CHECK_OK(sorvane_region_contains(region, points, 6, inside, &error));
    CHECK(inside[0] && !inside[1] && !inside[2] && inside[3] && !inside[4] && inside[5]);
    CHECK_OK(sorvane_region_contains(region, NULL, 0, NULL, &error));
    CHECK(sorvane_region_contains(region, points, 6, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_region_contains(NULL, points, 6, inside, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_region_free(region);
    {
        /* A square that runs clockwise alone is an island. */
        const double clockwise[8] = {0, 0, 0, 4, 4, 4, 4, 0};
        region = region_of(clockwise, 1);
        CHECK_OK(sorvane_region_contains(region, points, 3, inside, &error));
        CHECK(inside[0] && !inside[1] && !inside[2]);
        CHECK_NEAR(area_of(region), 16, 1e-7);
        sorvane_region_free(region);
        {
            /* Beside another one it is a hole in nothing. */
            const double beside[16] = {10, 0, 30, 0, 30, 20, 10, 20, 0, 0, 0, 4, 4, 4, 4, 0};
            const double asked[4] = {20, 10, 2, 2};
            region = region_of(beside, 2);
            CHECK_OK(sorvane_region_contains(region, asked, 2, inside, &error));
            CHECK(inside[0] && !inside[1]);
            sorvane_region_free(region);
        }
    }
}

/*
 * Fifty squares one in the other, every other one clockwise, as a ladder of rings: a point as many squares deep as
 * it has unit steps to the nearest wall is in the region when that number is odd. Beside most points lie many
 * edges that no single step of the search looks at.
 */
static void points_among_many_edges_are_told_in_or_out(void)
{
    enum { kRings = 50, kSide = 2 * kRings };
    static double corners[kRings * 8];
    static int begins[kRings + 1];
    static double points[kSide * kSide * 2];
    static int inside[kSide * kSide];
    sorvane_error error;
    sorvane_region *region = NULL;
    int wrong = 0;
    int ring_number;
    int x;
    int y;
    for (ring_number = 0; ring_number < kRings; ++ring_number) {
        const double low = ring_number;
        const double high = kSide - ring_number;
        double *const corner = corners + 8 * ring_number;
        const int second = ring_number % 2 == 0 ? 2 : 6;
        begins[ring_number] = 4 * ring_number;
        corner[0] = corner[1] = low;
        corner[second] = high;
        corner[second + 1] = low;
        corner[4] = corner[5] = high;
        corner[8 - second] = low;
        corner[8 - second + 1] = high;
    }
    begins[kRings] = 4 * kRings;
    CHECK_OK(sorvane_region_new(corners, 4 * kRings, begins, kRings, &region, &error));
    for (y = 0; y < kSide; ++y) {
        for (x = 0; x < kSide; ++x) {
            points[2 * (kSide * y + x)] = x + 0.5;
            points[2 * (kSide * y + x) + 1] = y + 0.25;
        }
    }
    CHECK_OK(sorvane_region_contains(region, points, kSide * kSide, inside, &error));
    for (y = 0; y < kSide; ++y) {
        for (x = 0; x < kSide; ++x) {
            const int across = x < kRings ? x : kSide - 1 - x;
            const int up = y < kRings ? y : kSide - 1 - y;
            const int depth = 1 + (across < up ? across : up);
            wrong += inside[kSide * y + x] != depth % 2;
        }
    }
    CHECK(wrong == 0);
    sorvane_region_free(region);
}

/* Zigzags on the left and on the right; points at the heights of their corners, where one edge ends and another starts. */
static void points_at_the_height_of_corners_are_told_in_or_out(void)
{
    enum { kCorners = 40, kCount = 2 * kCorners };
    sorvane_error error;
    double points[2 * kCount];
    double asked[6 * kCorners];
    int inside[3 * kCorners];
    const int one[2] = {0, kCount};
    int i = 0;
    int turn = 0;
    for (i = 0; i < kCorners; ++i) {
        const double places[3] = {5, -3, 15};
        int k = 0;
        points[2 * i] = 10 + i % 2;
        points[2 * i + 1] = i;
        points[2 * (kCount - 1 - i)] = i % 2;
        points[2 * (kCount - 1 - i) + 1] = i;
        for (k = 0; k < 3; ++k) {
            asked[6 * i + 2 * k] = places[k];
            asked[6 * i + 2 * k + 1] = i;
        }
    }
    for (turn = 0; turn < 2; ++turn) {
        sorvane_region *region = NULL;
        int wrong = 0;
        CHECK_OK(sorvane_region_new(points, kCount, one, 1, &region, &error));
        CHECK_OK(sorvane_region_contains(region, asked, 3 * kCorners, inside, &error));
        for (i = 1; i + 1 < kCorners; ++i) {
            wrong += !inside[3 * i] + inside[3 * i + 1] + inside[3 * i + 2];
        }
        CHECK(wrong == 0);
        sorvane_region_free(region);
        for (i = 0; i < kCount / 2; ++i) { /* the other way round */
            int axis = 0;
            for (axis = 0; axis < 2; ++axis) {
                const double kept = points[2 * i + axis];
                points[2 * i + axis] = points[2 * (kCount - 1 - i) + axis];
                points[2 * (kCount - 1 - i) + axis] = kept;
            }
        }
    }
}

static void tools_dilate_and_contract(void)
{
    sorvane_error error;
    sorvane_region *region = region_of(squares, 1);
    sorvane_region *result = NULL;
    /* [0, 1] x [0, 2], clockwise: it is turned. */
    const double tool[8] = {0, 0, 0, 2, 1, 2, 1, 0};
    const double line[4] = {0, 0, 3, 0};
    const double point[2] = {5, 6};
    int inside = 0;
    CHECK_OK(sorvane_region_dilate(region, tool, 4, &result, &error));
    CHECK_NEAR(area_of(result), 5 * 6, 1e-6);
    sorvane_region_free(result);
    CHECK_OK(sorvane_region_contract(region, tool, 4, &result, &error));
    CHECK_NEAR(area_of(result), 3 * 2, 1e-6);
    sorvane_region_free(result);
    CHECK_OK(sorvane_region_dilate(region, line, 2, &result, &error));
    CHECK_NEAR(area_of(result), 7 * 4, 1e-6);
    sorvane_region_free(result);
    CHECK_OK(sorvane_region_dilate(region, point, 1, &result, &error));
    CHECK_NEAR(area_of(result), 16, 1e-6);
    {
        const double center[2] = {7, 8};
        CHECK_OK(sorvane_region_contains(result, center, 1, &inside, &error));
        CHECK(inside);
    }
    sorvane_region_free(result);
    {
        /* The first point again at the end is none: of a polygon, of a line, of a point. */
        const double closed[10] = {0, 0, 0, 2, 1, 2, 1, 0, 0, 0};
        const double back[6] = {0, 0, 3, 0, 0, 0};
        const double twice[4] = {5, 6, 5, 6};
        const int from[2] = {0, 2};
        CHECK_OK(sorvane_region_dilate(region, closed, 5, &result, &error));
        CHECK_NEAR(area_of(result), 5 * 6, 1e-6);
        sorvane_region_free(result);
        CHECK_OK(sorvane_region_dilate(region, back, 3, &result, &error));
        CHECK_NEAR(area_of(result), 7 * 4, 1e-6);
        sorvane_region_free(result);
        CHECK_OK(sorvane_region_dilate(region, twice, 2, &result, &error));
        CHECK_NEAR(area_of(result), 16, 1e-6);
        sorvane_region_free(result);
        CHECK(sorvane_region_sweep(twice, 2, line, 2, from, 1, &result, &error) == SORVANE_BAD_ARGUMENT);
    }
    CHECK(sorvane_region_dilate(region, NULL, 0, &result, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_region_contract(region, NULL, 4, &result, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_region_free(region);
    {
        const double path[6] = {0, 0, 10, 0, 10, 10};
        const int path_starts[2] = {0, 3};
        const double bit[8] = {-1, -1, 1, -1, 1, 1, -1, 1};
        CHECK_OK(sorvane_region_sweep(bit, 4, path, 3, path_starts, 1, &result, &error));
        CHECK_NEAR(area_of(result), 2 * 12 + 2 * 10, 1e-6);
        sorvane_region_free(result);
        CHECK_OK(sorvane_region_sweep(line, 2, path + 2, 2, starts, 0, &result, &error));
        sorvane_region_free(result);
        {
            const int upward[2] = {0, 2};
            CHECK_OK(sorvane_region_sweep(line, 2, path + 2, 2, upward, 1, &result, &error));
            CHECK_NEAR(area_of(result), 3 * 10, 1e-6);
            sorvane_region_free(result);
        }
        CHECK(sorvane_region_sweep(bit, 1, path, 3, path_starts, 1, &result, &error) == SORVANE_BAD_ARGUMENT);
    }
}

static void offsets_keep_their_distance(void)
{
    sorvane_error error;
    sorvane_region *region = region_of(ring, 2);
    sorvane_region *result = NULL;
    const double tolerance = 1e-3;
    double area = 0;
    CHECK_OK(sorvane_region_offset(region, 1, tolerance, &result, &error));
    /* Outside 100 + 40 + pi, rounded by a polygon round the circle; the hole becomes a square of 2. */
    area = area_of(result);
    CHECK(area >= 140 + pi - 4 - 1e-6 && area <= 140 + pi * (1 + tolerance) * (1 + tolerance) - 4 + 1e-6);
    sorvane_region_free(result);
    CHECK_OK(sorvane_region_offset(region, -1, tolerance, &result, &error));
    /* 8 by 8 less 4 by 4 grown by 1 */
    area = area_of(result);
    CHECK(area <= 64 - (16 + 16 + pi) + 1e-6 && area >= 64 - (16 + 16 + pi * (1 + tolerance) * (1 + tolerance)) - 1e-6);
    sorvane_region_free(result);
    CHECK_OK(sorvane_region_offset(region, 0, tolerance, &result, &error));
    CHECK_NEAR(area_of(result), 84, 1e-6);
    sorvane_region_free(result);
    CHECK_OK(sorvane_region_offset(region, -2, tolerance, &result, &error));
    CHECK_NEAR(area_of(result), 0, 0);
    sorvane_region_free(result);
    CHECK(sorvane_region_offset(region, 1, 0, &result, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_region_offset(region, NAN, 1, &result, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(result == NULL);
    sorvane_region_free(region);
}

static void a_pocket_has_passes(void)
{
    sorvane_error error;
    sorvane_region *region = region_of(squares, 1);
    sorvane_line_groups *passes = NULL;
    size_t count = 0;
    /* A square of 4: passes at 0.5, 1 and 1.5 from the wall, and at 1.75 with a finer step. */
    CHECK_OK(sorvane_region_pocket(region, 0.5, 0.5, 1e-4, &passes, &error));
    {
        const int *groups = sorvane_line_groups_starts(passes, &count);
        const double *p = sorvane_lines_points(sorvane_line_groups_lines(passes), NULL);
        CHECK(count == 4 && groups[3] == 3);
        CHECK(sorvane_lines_count(sorvane_line_groups_lines(passes)) == 3);
        CHECK_NEAR(fmin(p[0], 4 - p[0]), 0.5, 1e-6);
    }
    sorvane_line_groups_free(passes);
    sorvane_line_groups_free(NULL);
    CHECK(sorvane_region_pocket(region, 2.5, 1, 1e-4, &passes, &error) == SORVANE_FAILED);
    CHECK(passes == NULL);
    CHECK(sorvane_region_pocket(region, 0.5, 0.6, 1e-4, &passes, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_region_pocket(region, 0, 0, 1e-4, &passes, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_region_pocket(region, 1, 1e-7, 1e-4, &passes, &error) == SORVANE_BAD_ARGUMENT);
    sorvane_region_free(region);
}

/* Beside each edge of a square by half the tolerance a line is in the region, and by twice that it is not. */
static void lines_beside_an_edge_are_in_within_the_tolerance(void)
{
    sorvane_error error;
    const double square[8] = {0, 0, 4, 0, 4, 4, 0, 4};
    sorvane_region *region = region_of(square, 1);
    const double gap[2] = {5e-4, 2e-3};
    int k = 0;
    for (k = 0; k < 2; ++k) {
        const double g = gap[k];
        const double points[16] = {-g, 1, -g, 3, 4 + g, 1, 4 + g, 3, 1, -g, 3, -g, 1, 4 + g, 3, 4 + g};
        const int lines[5] = {0, 2, 4, 6, 8};
        sorvane_line_groups *parts = NULL;
        CHECK_OK(sorvane_region_clip(region, points, 8, lines, NULL, 4, 0, 1e-3, &parts, &error));
        CHECK(sorvane_lines_count(sorvane_line_groups_lines(parts)) == (k == 0 ? 4U : 0U));
        sorvane_line_groups_free(parts);
    }
    sorvane_region_free(region);
}

static void lines_are_clipped(void)
{
    sorvane_error error;
    sorvane_region *region = region_of(ring, 2);
    sorvane_line_groups *parts = NULL;
    /* Across ring and hole; beside the ring; all in the ring; along its lower edge; a square round the hole's corner. */
    const double points[28] = {-2, 5, 12, 5, 20, 0, 20, 9, 1, 1, 2, 2, -5, 0, 15, 0,
                               5,  5, 8,  5, 8,  8, 5, 8, 1, 1, 9, 1};
    const int lines[7] = {0, 2, 4, 6, 8, 12, 14};
    const int closed[6] = {0, 0, 0, 0, 1, 0};
    size_t count = 0;
    CHECK_OK(sorvane_region_clip(region, points, 14, lines, closed, 6, 0, 1e-9, &parts, &error));
    {
        const int *groups = sorvane_line_groups_starts(parts, &count);
        const sorvane_lines *found = sorvane_line_groups_lines(parts);
        const double *p = sorvane_lines_points(found, NULL);
        const int *from = sorvane_lines_starts(found, NULL);
        CHECK(count == 7);
        CHECK(groups[1] == 2 && groups[2] == 2 && groups[3] == 3 && groups[4] == 4 && groups[5] == 5);
        CHECK_NEAR(p[0], 0, 1e-12);
        CHECK_NEAR(p[2], 3, 1e-12);
        CHECK_NEAR(p[4], 7, 1e-12);
        CHECK_NEAR(p[6], 10, 1e-12);
        CHECK_NEAR(p[2 * from[3]], 0, 1e-12); /* along the edge: from 0 to 10 */
        CHECK_NEAR(p[2 * from[3] + 2], 10, 1e-12);
        /* Of the square the part from (7, 5) by (8, 5), (8, 8) and (5, 8) to (5, 7). */
        CHECK(from[5] - from[4] == 5);
        CHECK_NEAR(p[2 * from[4]], 7, 1e-12);
        CHECK_NEAR(p[2 * from[4] + 9], 7, 1e-12);
    }
    sorvane_line_groups_free(parts);
    CHECK_OK(sorvane_region_clip(region, points, 14, lines, closed, 6, 1, 1e-9, &parts, &error));
    {
        const int *groups = sorvane_line_groups_starts(parts, &count);
        const int *from = sorvane_lines_starts(sorvane_line_groups_lines(parts), NULL);
        CHECK(groups[1] == 3 && groups[2] == 4 && groups[3] == 4 && groups[4] == 6 && groups[5] == 7);
        /* From (5, 7) over the start of the square to (7, 5). */
        CHECK(from[7] - from[6] == 3);
    }
    sorvane_line_groups_free(parts);
    CHECK_OK(sorvane_region_clip(region, points + 8, 2, lines, NULL, 1, 0, 0, &parts, &error));
    CHECK(sorvane_lines_count(sorvane_line_groups_lines(parts)) == 1);
    sorvane_line_groups_free(parts);
    CHECK(sorvane_region_clip(region, points, 13, lines, NULL, 6, 0, 0, &parts, &error) == SORVANE_BAD_INDEX);
    CHECK(sorvane_region_clip(region, points, 14, lines, NULL, 6, 0, -1, &parts, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(parts == NULL);
    sorvane_region_free(region);
}

static int stop(double fraction, void *user)
{
    (void)fraction;
    ++*(int *)user;
    return 0;
}

/* The union of the first triangles, in place of results of before. */
static sorvane_status union_of(const double *points, const int *firsts, size_t count, sorvane_region **region,
                               sorvane_region **result, sorvane_error *error)
{
    sorvane_region_free(*result);
    sorvane_region_free(*region);
    *result = NULL;
    CHECK(sorvane_region_new(points, 3 * count, firsts, count, region, error) == SORVANE_OK);
    return sorvane_region_union(*region, NULL, result, error);
}

static void a_long_union_stops(void)
{
    sorvane_error error;
    enum { most = 200 << 5 };
    static double points[2 * 3 * most];
    static int triangles[most + 1];
    sorvane_region *region = NULL;
    sorvane_region *result = NULL;
    sorvane_progress *progress = NULL;
    int calls = 0;
    int i = 0;
    /* Slim triangles that cross one another everywhere. */
    for (i = 0; i < most; ++i) {
        const double angle = i * pi / 200;
        const double corners[6] = {-100, 0, 100, 0, 100, 0.5};
        int k = 0;
        for (k = 0; k < 3; ++k) {
            points[6 * i + 2 * k] = corners[2 * k] * cos(angle) - corners[2 * k + 1] * sin(angle) + i % 7;
            points[6 * i + 2 * k + 1] = corners[2 * k] * sin(angle) + corners[2 * k + 1] * cos(angle);
        }
        triangles[i] = 3 * i;
    }
    triangles[most] = 3 * most;
    CHECK_OK(sorvane_progress_open(stop, &calls, &progress, &error));
    CHECK_STOPS(union_of(points, triangles, 200 << round, &region, &result, &error));
    CHECK(result == NULL && calls == 1 && sorvane_progress_was_stopped(progress));
    sorvane_progress_close(progress);
    sorvane_region_free(region);
}

void test_regions(void)
{
    loops_come_back();
    wrong_loops_are_refused();
    two_squares_are_combined();
    points_are_told_in_or_out();
    points_among_many_edges_are_told_in_or_out();
    points_at_the_height_of_corners_are_told_in_or_out();
    tools_dilate_and_contract();
    offsets_keep_their_distance();
    a_pocket_has_passes();
    lines_are_clipped();
    lines_beside_an_edge_are_in_within_the_tolerance();
    a_long_union_stops();
}
