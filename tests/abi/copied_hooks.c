/*
 * A host that is not position-independent owns copies of the hooks; the library must call what the
 * host stores there, with its stack aligned as the host's compiler expects.
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include "expect.h"
#include "zeldc.h"

static size_t askedFor;
static void* given;
static void* returned;
static int calls;
static int stackMisaligned;

/* The address of a local that wants 16 bytes shows whether the stack had them. */
static void lookAtStack(void) {
#ifdef __GNUC__
    uintptr_t frame = (uintptr_t)__builtin_frame_address(0);
    stackMisaligned |= (frame + 2 * sizeof(void*)) % 16 != 0;
#endif
}

static void* countingMalloc(size_t size) {
    lookAtStack();
    ++calls;
    askedFor = size;
    /* An address with as little alignment as it may have. */
    given = (char*)malloc(size + 1) + 1;
    return given;
}

static void* failingMalloc(size_t size) {
    ++calls;
    askedFor = size;
    return NULL;
}

static void rememberingFree(void* ptr) {
    lookAtStack();
    returned = ptr;
    free((char*)ptr - 1);
}

int main(void) {
    int32_t len;
    uint8_t* block;

    i_malloc = countingMalloc;
    i_free = rememberingFree;
    EXPECT(zelsMalloc_8u(0) == NULL && zelsMalloc_8u(-1) == NULL);
    EXPECT(zelsMalloc_8u(INT32_MIN) == NULL && calls == 0);
    zelsFree(NULL);
    EXPECT(returned == NULL);
    for (len = 1; len < 200; ++len) {
        block = zelsMalloc_8u(len);
        EXPECT(block != NULL && (uintptr_t)block % 32 == 0);
        EXPECT(askedFor == (size_t)len + 36);
        EXPECT(block >= (uint8_t*)given + 4 && block <= (uint8_t*)given + 35);
        if (sizeof(void*) == 4) EXPECT(((uint32_t*)(void*)block)[-1] == (uint32_t)(uintptr_t)given);
        zelsFree(block);
        EXPECT(returned == given);
    }
    EXPECT(!stackMisaligned);

    i_malloc = failingMalloc;
    EXPECT(zelsMalloc_8u(INT32_MAX) == NULL && askedFor == (size_t)INT32_MAX + 36);
    printf("the hooks are obeyed\n");
    return 0;
}
