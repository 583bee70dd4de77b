/* What the header promises to C: sizes, values and the version record. */
#include <stdio.h>
#include <string.h>

#include "expect.h"
#include "zeldc.h"

int main(void) {
    const ZelLibraryVersion* version = zeldcGetLibVersion();

    EXPECT(version != NULL && version == zeldcGetLibVersion());
    EXPECT(version->major == 5 && version->minor == 2);
    EXPECT(version->majorBuild == 108 && version->build == 321);
    EXPECT(memcmp(version->targetCpu, "t7\0\0", 4) == 0);
    EXPECT(strcmp(version->name, "libzeldct7.so.5.2") == 0);
    EXPECT(strcmp(version->version, "5.2") == 0);
    EXPECT(strcmp(version->buildDate, "Jul 11 2007") == 0);

    EXPECT(sizeof(ZelStatus) == 4 && sizeof(Lz77Level) == 4 && sizeof(Lz77Flush) == 4);
    EXPECT(sizeof(Lz77Pair) == 4 && offsetof(Lz77Pair, distance) == 2);
    EXPECT(sizeof(VlcCodeRecord) == 12 && offsetof(VlcCodeRecord, length) == 8);
    EXPECT(sizeof(ZelLibraryVersion) == 20 + 3 * sizeof(void*) + (sizeof(void*) == 8 ? 4 : 0));
    printf("as the header says\n");
    return 0;
}
