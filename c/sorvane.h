/*
 * The C interface of Sorvane, whole. C99, and C++.
 *
 *     sorvane_mesh *part = NULL;
 *     sorvane_error error;
 *     if (sorvane_mesh_read("part.stl", &part, &error) != SORVANE_OK) {
 *         fprintf(stderr, "%s\n", error.message);
 *         return 1;
 *     }
 *     ...
 *     sorvane_mesh_free(part);
 *
 * sorvane_c/core.h has the conventions that all functions share.
 */
#ifndef SORVANE_H
#define SORVANE_H

#include "sorvane_c/bounding.h"
#include "sorvane_c/chains.h"
#include "sorvane_c/core.h"
#include "sorvane_c/distances.h"
#include "sorvane_c/features.h"
#include "sorvane_c/imprint.h"
#include "sorvane_c/lists.h"
#include "sorvane_c/machining.h"
#include "sorvane_c/mesh.h"
#include "sorvane_c/regions.h"
#include "sorvane_c/sections.h"
#include "sorvane_c/solids.h"
#include "sorvane_c/tessellation.h"

#endif
