/* Prints the CRC-32, bzip2 CRC and Adler-32 of a file, and the library's version record. */
#include <stdio.h>
#include <stdlib.h>
#include <zeldc.h>

int main(int argc, char** argv) {
    static uint8_t buffer[1 << 20];
    const ZelLibraryVersion* version = zeldcGetLibVersion();
    uint32_t crc = 0;
    uint32_t bz2 = 0;
    uint32_t adler = 1;
    size_t got;
    FILE* in = argc == 2 ? fopen(argv[1], "rb") : NULL;

    if (in == NULL) {
        fprintf(stderr, "usage: sums FILE (that can be read)\n");
        return 2;
    }
    fprintf(stderr, "%s, version %s, build %ld.%ld of %s for %.4s\n", version->name,
            version->version, (long)version->majorBuild, (long)version->build, version->buildDate,
            version->targetCpu);
    while ((got = fread(buffer, 1, sizeof buffer, in)) > 0) {
        zelsCRC32_8u(buffer, (int32_t)got, &crc);
        zelsCRC32_BZ2_8u(buffer, (int32_t)got, &bz2);
        zelsAdler32_8u(buffer, (int32_t)got, &adler);
    }
    if (ferror(in)) {
        perror(argv[1]);
        return 1;
    }
    fclose(in);
    printf("%08lx %08lx %08lx\n", (unsigned long)crc, (unsigned long)bz2, (unsigned long)adler);
    return 0;
}
