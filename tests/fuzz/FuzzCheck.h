#pragma once
// Shared by the fuzz targets: a broken property is a crash, so libFuzzer
// keeps the input and the replay run fails on it.
#include <cstdio>
#include <cstdlib>

#define FUZZ_CHECK(cond)                                                                                               \
    do {                                                                                                               \
        if (!(cond)) {                                                                                                 \
            std::fprintf(stderr, "%s:%d: property broken: %s\n", __FILE__, __LINE__, #cond);                           \
            std::abort();                                                                                              \
        }                                                                                                              \
    } while (0)
