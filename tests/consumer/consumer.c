/* Allocates, fills and copies an image through an installed zel. */
#include <stdio.h>
#include <string.h>
#include <zel/zel.h>

int main(void) {
    int s1 = 0, s2 = 0;
    ZeliSize roi = {33, 7};
    Zel8u* a = zeliMalloc_8u_C1(roi.width, roi.height, &s1);
    Zel8u* b = zeliMalloc_8u_C1(roi.width, roi.height, &s2);
    if (!a || !b) return 1;
    if (zeliSet_8u_C1R(42, a, s1, roi) != zelStsNoErr) return 2;
    if (zeliCopy_8u_C1R(a, s1, b, s2, roi) != zelStsNoErr) return 3;
    int ok = b[(roi.height - 1) * s2 + roi.width - 1] == 42;
    printf("%s: %s\n", zeliGetLibVersion()->name, ok ? "ok" : "wrong result");
    zeliFree(a);
    zeliFree(b);
    return ok ? 0 : 4;
}
