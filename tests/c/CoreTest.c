/* Status, errors, version and progress. */
#include "Check.h"

static int stop_at_once(double fraction, void *user)
{
    (void)fraction;
    ++*(int *)user;
    return 0;
}

static void version_is_that_of_the_header(void)
{
    int major = -1;
    int minor = -1;
    int patch = -1;
    sorvane_version(&major, &minor, &patch);
    CHECK(major >= 0 && minor >= 0 && patch >= 0);
    sorvane_version(NULL, NULL, NULL);
}

static void every_status_has_a_name(void)
{
    CHECK(strcmp(sorvane_status_name(SORVANE_OK), "SORVANE_OK") == 0);
    CHECK(strcmp(sorvane_status_name(SORVANE_INTERNAL), "SORVANE_INTERNAL") == 0);
    CHECK(strcmp(sorvane_status_name((sorvane_status)99), "unknown status") == 0);
}

static void scopes_nest_and_close(void)
{
    sorvane_error error;
    sorvane_progress *outer = NULL;
    sorvane_progress *inner = NULL;
    int calls = 0;
    CHECK_OK(sorvane_progress_open(stop_at_once, &calls, &outer, &error));
    CHECK_OK(sorvane_progress_open(stop_at_once, &calls, &inner, &error));
    CHECK(!sorvane_progress_was_stopped(inner));
    sorvane_progress_close(inner);
    sorvane_progress_close(outer);
    CHECK(!sorvane_progress_was_stopped(NULL));
    sorvane_progress_close(NULL);
    CHECK(sorvane_progress_open(NULL, NULL, &outer, &error) == SORVANE_BAD_ARGUMENT);
    CHECK(outer == NULL);
}

void test_core(void)
{
    version_is_that_of_the_header();
    every_status_has_a_name();
    scopes_nest_and_close();
}
