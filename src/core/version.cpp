#include "zeldc.h"

namespace {

constexpr ZelLibraryVersion kVersion = {
    5, 2, 108, 321, {'t', '7', '\0', '\0'}, "libzeldct7.so.5.2", "5.2", "Jul 11 2007",
};

}  // namespace

extern "C" const ZelLibraryVersion* zeldcGetLibVersion(void) {
    return &kVersion;
}
