/* Runs the tests of every part of the C interface. */
#include "Check.h"

int check_failures = 0;
int check_count = 0;

const double cube_points[24] = {-1, -1, -1, 1, -1, -1, 1, 1, -1, -1, 1, -1, -1, -1, 1, 1, -1, 1, 1, 1, 1, -1, 1, 1};
const int cube_triangles[36] = {0, 2, 1, 0, 3, 2, 4, 5, 6, 4, 6, 7, 0, 1, 5, 0, 5, 4,
                                1, 2, 6, 1, 6, 5, 2, 3, 7, 2, 7, 6, 3, 0, 4, 3, 4, 7};

int main(void)
{
    test_bounding();
    test_chains();
    test_core();
    test_distances();
    test_features();
    test_imprint();
    test_machining();
    test_mesh();
    test_mesh_operations();
    test_regions();
    test_sections();
    test_solids();
    test_stops();
    test_tessellation();
    printf("%d checks, %d failed\n", check_count, check_failures);
    return check_failures == 0 ? 0 : 1;
}
