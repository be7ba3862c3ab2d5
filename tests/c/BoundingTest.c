/* Hulls, boxes and balls. */
#include "Check.h"

static void hulls(void)
{
    const double square[12] = {0, 0, 2, 0, 1, 1, 0, 2, 2, 2, 1, 0};
    const double line[6] = {0, 0, 1, 1, 3, 3};
    const double infinite[4] = {0, 0, INFINITY, 0};
    sorvane_error error;
    sorvane_lines *outline = NULL;
    sorvane_mesh *hull = NULL;
    size_t count = 0;
    double volume = 0;
    CHECK_OK(sorvane_hull_2d(square, 6, &outline, &error));
    CHECK(sorvane_lines_count(outline) == 1 && sorvane_lines_dimension(outline) == 2);
    CHECK(sorvane_lines_closed(outline, NULL)[0] == 1);
    {
        const double corners[8] = {0, 0, 2, 0, 2, 2, 0, 2};
        CHECK(memcmp(sorvane_lines_points(outline, &count), corners, sizeof corners) == 0 && count == 4);
    }
    sorvane_lines_free(outline);
    CHECK_OK(sorvane_hull_2d(line, 3, &outline, &error));
    sorvane_lines_points(outline, &count);
    CHECK(count == 2);
    sorvane_lines_free(outline);
    CHECK(sorvane_hull_2d(infinite, 2, &outline, &error) == SORVANE_BAD_ARGUMENT && error.index == 1);
    CHECK(sorvane_hull_2d(NULL, 0, &outline, &error) == SORVANE_FAILED && outline == NULL);
    CHECK(sorvane_hull_2d(NULL, 2, &outline, &error) == SORVANE_BAD_ARGUMENT);

    CHECK_OK(sorvane_hull_3d(cube_points, 8, &hull, &error));
    CHECK_OK(sorvane_mesh_measure(hull, NULL, &volume, &error));
    CHECK_NEAR(volume, 8, 1e-12);
    sorvane_mesh_free(hull);
    CHECK(sorvane_hull_3d(cube_points, 4, &hull, &error) == SORVANE_FAILED && hull == NULL); /* the bottom */
    CHECK(sorvane_hull_3d(NULL, 0, &hull, &error) == SORVANE_FAILED);
    CHECK(sorvane_hull_3d(cube_points, 8, NULL, &error) == SORVANE_BAD_ARGUMENT);
}

static void boxes_and_balls(void)
{
    const double points[6] = {0, 0, 3, 4, 1, 1};
    const double nan_points[6] = {0, 0, 0, 0, NAN, 0};
    sorvane_error error;
    double low[3];
    double high[3];
    double radius = 0;
    CHECK_OK(sorvane_box_2d(points, 3, low, high, &error));
    CHECK(low[0] == 0 && low[1] == 0 && high[0] == 3 && high[1] == 4);
    CHECK_OK(sorvane_box_3d(cube_points, 8, low, high, &error));
    CHECK(low[2] == -1 && high[2] == 1);
    CHECK_OK(sorvane_circle(points, 3, low, &radius, &error));
    CHECK_NEAR(radius, 2.5, 1e-12);
    CHECK_NEAR(low[0], 1.5, 1e-12);
    CHECK_OK(sorvane_sphere(cube_points, 8, low, &radius, &error));
    CHECK_NEAR(radius, sqrt(3), 1e-12);
    CHECK_NEAR(low[1], 0, 1e-12);
    {
        /* All in one place: the ball is that place. */
        const double same[12] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
        size_t n;
        for (n = 1; n <= 4; ++n) {
            CHECK_OK(sorvane_sphere(same, n, low, &radius, &error));
            CHECK(low[0] == 1 && low[1] == 1 && low[2] == 1 && radius == 0);
            CHECK_OK(sorvane_circle(same, n, low, &radius, &error));
            CHECK(low[0] == 1 && low[1] == 1 && radius == 0);
        }
    }
    CHECK(sorvane_box_3d(nan_points, 2, low, high, &error) == SORVANE_BAD_ARGUMENT && error.index == 1);
    CHECK(sorvane_box_2d(NULL, 0, low, high, &error) == SORVANE_FAILED);
    CHECK(sorvane_box_2d(points, 3, NULL, high, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_box_3d(cube_points, 8, low, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_circle(nan_points, 3, low, &radius, &error) == SORVANE_BAD_ARGUMENT && error.index == 2);
    CHECK(sorvane_sphere(cube_points, 8, low, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_sphere(NULL, 0, low, &radius, &error) == SORVANE_FAILED);
}

static void boxes_that_stand_askew(void)
{
    /* A square on a corner, and a bar over it of height 5. */
    const double square[8] = {0, 1, 1, 0, 2, 1, 1, 2};
    double bar[24];
    const double line[9] = {0, 0, 0, 1, 1, 1, 2, 2, 2};
    sorvane_error error;
    sorvane_oriented_rectangle rectangle;
    sorvane_oriented_box box;
    int i;
    int k;
    CHECK_OK(sorvane_oriented_box_2d(square, 4, &rectangle, &error));
    CHECK_NEAR(rectangle.extent[0], sqrt(2), 1e-12);
    CHECK_NEAR(rectangle.extent[1], sqrt(2), 1e-12);
    /* The second axis is the first one turned left. */
    CHECK_NEAR(rectangle.axes[2], -rectangle.axes[1], 1e-15);
    CHECK_NEAR(rectangle.axes[3], rectangle.axes[0], 1e-15);
    /* The corner across from the origin is one of the points. */
    {
        const double x = rectangle.origin[0] + sqrt(2) * (rectangle.axes[0] + rectangle.axes[2]);
        const double y = rectangle.origin[1] + sqrt(2) * (rectangle.axes[1] + rectangle.axes[3]);
        CHECK_NEAR((x - 1) * (x - 1) + (y - 1) * (y - 1), 1, 1e-12);
    }
    for (i = 0; i < 8; ++i) {
        bar[3 * i] = square[2 * (i % 4)];
        bar[3 * i + 1] = square[2 * (i % 4) + 1];
        bar[3 * i + 2] = i < 4 ? 0 : 5;
    }
    for (k = 0; k < 2; ++k) {
        double determinant = 0;
        const double *a = box.axes;
        if (k == 0) {
            CHECK_OK(sorvane_oriented_box_3d(bar, 8, &box, &error));
            CHECK_NEAR(box.extent[0] * box.extent[1] * box.extent[2], 10, 1e-9);
        } else {
            CHECK_OK(sorvane_oriented_box_quick(bar, 8, &box, &error));
            CHECK(box.extent[0] * box.extent[1] * box.extent[2] >= 10 - 1e-9);
        }
        determinant = a[0] * (a[4] * a[8] - a[5] * a[7]) - a[1] * (a[3] * a[8] - a[5] * a[6]) +
                      a[2] * (a[3] * a[7] - a[4] * a[6]);
        CHECK_NEAR(determinant, 1, 1e-12);
        for (i = 0; i < 8; ++i) {
            int axis;
            for (axis = 0; axis < 3; ++axis) {
                const double along = (bar[3 * i] - box.origin[0]) * a[3 * axis] +
                                     (bar[3 * i + 1] - box.origin[1]) * a[3 * axis + 1] +
                                     (bar[3 * i + 2] - box.origin[2]) * a[3 * axis + 2];
                CHECK(along > -1e-9 && along < box.extent[axis] + 1e-9);
            }
        }
    }
    CHECK(sorvane_oriented_box_3d(line, 3, &box, &error) == SORVANE_FAILED);
    CHECK(sorvane_oriented_box_quick(line, 3, &box, &error) == SORVANE_FAILED);
    CHECK(sorvane_oriented_box_3d(bar, 8, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_oriented_box_2d(square, 1, &rectangle, &error) == SORVANE_FAILED);
    CHECK(sorvane_oriented_box_2d(NULL, 3, &rectangle, &error) == SORVANE_BAD_ARGUMENT);
}

static void prisms(void)
{
    /* A right triangle with legs of 1, 9 long along z. */
    const double points[18] = {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 9, 1, 0, 9, 0, 1, 9};
    sorvane_error error;
    sorvane_prism prism;
    int by_volume;
    for (by_volume = 0; by_volume < 2; ++by_volume) {
        CHECK_OK(sorvane_prism_round(points, 6, by_volume, &prism, &error));
        CHECK_NEAR(prism.area, 0.5, 1e-12);
        CHECK_NEAR(prism.volume, 4.5, 1e-12);
        CHECK_NEAR(fabs(prism.axis[2]), 1, 1e-12);
        CHECK_NEAR(prism.high - prism.low, 9, 1e-12);
        CHECK_NEAR(prism.axis[2] > 0 ? prism.low : prism.high, 0, 1e-12);
    }
    {
        /* The same, askew: along a third of (2, 1, -2), with the legs square to it. */
        static const double frame[9] = {2 / 3.0, -2 / 3.0, 1 / 3.0, 1 / 3.0, 2 / 3.0, 2 / 3.0, 2 / 3.0, 1 / 3.0, -2 / 3.0};
        double askew[18];
        double along;
        int i;
        for (i = 0; i < 18; ++i) {
            const double *p = points + i / 3 * 3;
            askew[i] = p[0] * frame[i % 3] + p[1] * frame[3 + i % 3] + p[2] * frame[6 + i % 3];
        }
        CHECK_OK(sorvane_prism_round(askew, 6, 0, &prism, &error));
        along = prism.axis[0] * frame[6] + prism.axis[1] * frame[7] + prism.axis[2] * frame[8];
        CHECK_NEAR(fabs(along), 1, 1e-12);
        CHECK_NEAR(prism.area, 0.5, 1e-12);
        CHECK_NEAR(prism.high - prism.low, 9, 1e-12);
    }
    CHECK(sorvane_prism_round(points, 6, 0, NULL, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(sorvane_prism_round(NULL, 0, 0, &prism, &error) == SORVANE_FAILED);
    CHECK_OK(sorvane_prism_round(points, 2, 0, &prism, &error)); /* a line */
    CHECK_NEAR(prism.area, 0, 0);
}

void test_bounding(void)
{
    hulls();
    boxes_and_balls();
    boxes_that_stand_askew();
    prisms();
}
