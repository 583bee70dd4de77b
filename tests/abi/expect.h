/* For the main functions of the C tests: what has to hold. */
#ifndef TESTS_ABI_EXPECT_H
#define TESTS_ABI_EXPECT_H

#include <stdio.h>

#define EXPECT(condition)                                       \
    do {                                                        \
        if (!(condition)) {                                     \
            printf("FAILED at %d: %s\n", __LINE__, #condition); \
            return 1;                                           \
        }                                                       \
    } while (0)

#endif
