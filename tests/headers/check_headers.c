/* Compiled as C99 and as C++17 with every warning an error: the public headers must be
   clean for both. */
#include <zel/zel.h>
#include <zel/zelcore.h>

int main(void) {
    const ZelLibraryVersion* v = zeliGetLibVersion();
    ZeliSize roi = {1, 1};
    Zel8u px = 0;
    (void)roi;
    (void)px;
    return v ? 0 : 1;
}
