/* Allocates, fills and copies an image through an installed zel, and calls the core library
   directly: a consumer links everything the installed headers declare. */
#include <stdio.h>
#include <string.h>
#include <zel/zel.h>
#include <zel/zelcore.h>

int main(void) {
    int s1 = 0, s2 = 0;
    ZeliSize roi = {33, 7};
    Zel8u* a = zeliMalloc_8u_C1(roi.width, roi.height, &s1);
    Zel8u* b = zeliMalloc_8u_C1(roi.width, roi.height, &s2);
    if (!a || !b) return 1;
    if (zeliSet_8u_C1R(42, a, s1, roi) != zelStsNoErr) return 2;
    if (zeliCopy_8u_C1R(a, s1, b, s2, roi) != zelStsNoErr) return 3;
    /* The core library: 64-byte aligned memory that an image function writes into. */
    Zel8u* c = (Zel8u*)zelMalloc(roi.width);
    if (!c || ((size_t)c & 63) != 0) return 5;
    ZeliSize row = {roi.width, 1};
    if (zeliCopy_8u_C1R(b, s2, c, roi.width, row) != zelStsNoErr || c[roi.width - 1] != 42) return 6;
    zelFree(c);
    int ok = b[(roi.height - 1) * s2 + roi.width - 1] == 42;
    printf("%s: %s\n", zeliGetLibVersion()->name, ok ? "ok" : "wrong result");
    zeliFree(a);
    zeliFree(b);
    return ok ? 0 : 4;
}
