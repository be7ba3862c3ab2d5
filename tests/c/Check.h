/* The checks of the C tests: they print what failed, count it, and go on. */
#ifndef SORVANE_TESTS_C_CHECK_H
#define SORVANE_TESTS_C_CHECK_H

#include <sorvane.h>

#include <math.h>
#include <stdio.h>
#include <string.h>

extern int check_failures;
extern int check_count;

#define CHECK(condition)                                                                                               \
    do {                                                                                                               \
        ++check_count;                                                                                                 \
        if (!(condition)) {                                                                                            \
            ++check_failures;                                                                                          \
            printf("%s:%d: failed: %s\n", __FILE__, __LINE__, #condition);                                             \
        }                                                                                                              \
    } while (0)

/* Two numbers within `tolerance`; prints both. */
#define CHECK_NEAR(a, b, tolerance)                                                                                    \
    do {                                                                                                               \
        const double check_a = (a);                                                                                    \
        const double check_b = (b);                                                                                    \
        ++check_count;                                                                                                 \
        if (!(fabs(check_a - check_b) <= (tolerance))) {                                                               \
            ++check_failures;                                                                                          \
            printf("%s:%d: failed: %s = %.17g is not %s = %.17g\n", __FILE__, __LINE__, #a, check_a, #b, check_b);     \
        }                                                                                                              \
    } while (0)

/* A call that is to succeed; prints the message of its error. The call's last argument is &error. */
#define CHECK_OK(call)                                                                                                 \
    do {                                                                                                               \
        ++check_count;                                                                                                 \
        if ((call) != SORVANE_OK) {                                                                                    \
            ++check_failures;                                                                                          \
            printf("%s:%d: failed: %s: %s\n", __FILE__, __LINE__, #call, error.message);                               \
        }                                                                                                              \
    } while (0)

/* A cube of edge 2 about the origin: 8 points, 12 triangles wound outward. */
extern const double cube_points[24];
extern const int cube_triangles[36];

void test_bounding(void);
void test_chains(void);
void test_core(void);
void test_distances(void);
void test_features(void);
void test_imprint(void);
void test_machining(void);
void test_mesh(void);
void test_mesh_operations(void);
void test_regions(void);
void test_sections(void);
void test_solids(void);
void test_stops(void);
void test_tessellation(void);

#endif
