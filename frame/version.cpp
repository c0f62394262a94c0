// The version record: one static, read-only record, the same address on every call.
#include "frame/zel_internal.h"

namespace {
const ZelLibraryVersion kVersion = {
    2021, 11, 0, (int)0xCD107B02u, {'n', '0', 0, 0},
    "zelIP AVX-512F/CD/ER/PF (n0)", "2021.11.0 (r0xcd107b02)", "Jan 30 2024",
};

const ZelLibraryVersion* get_version() { return &kVersion; }
}  // namespace

ZEL_IMPL(zeliGetLibVersion, get_version)
