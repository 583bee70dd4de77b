/* Uses the installed library from C99: the version record and a checksum. */
#include <stdio.h>
#include <string.h>
#include <zeldc.h>

int main(void) {
    const ZelLibraryVersion* version = zeldcGetLibVersion();
    const char* digits = "123456789";
    uint32_t crc = 0;

    if (zelsCRC32_8u((const uint8_t*)digits, (int32_t)strlen(digits), &crc) != zelStsOk) return 1;
    printf("%s %s %08X\n", version->name, version->version, (unsigned)crc);
    return crc == 0xCBF43926u ? 0 : 1;
}
