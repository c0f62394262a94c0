// The families that are finished stay finished: none of their exports may fall back to a
// placeholder. (Family tests skip placeholder members, so without this a family that lost
// its implementation would pass silently.) Add a family here when it lands.
#include "zel_test_kit.h"

namespace {

const char* const kImplemented[] = {
    "GetLibVersion", "Malloc", "Free",
    "Copy", "CopyManaged", "Set", "SwapChannels", "Dup",
    "Add, Sub, Mul, Div", "AddC, SubC, MulC, DivC", "Div_Round",
    "CopyConstBorder, CopyReplicateBorder, CopyMirrorBorder, CopyWrapBorder", "Mirror", "Transpose",
    "Norm_Inf, Norm_L1, Norm_L2, NormDiff_*, NormRel_*", "Sum, Mean", "DotProd", "DotProdCol",
    "Min, Max, MinMax, MinIndx, MaxIndx", "MinEvery, MaxEvery", "BlockMinMax",
    "And, Or, Xor", "AndC, OrC, XorC", "Not", "LShiftC, RShiftC", "Complement", "Compare, CompareC",
    "CompareEqualEps, CompareEqualEpsC", "Abs", "Sqr", "Sqrt", "Exp, Ln", "MulScale, MulCScale",
    "AlphaComp", "AlphaCompC", "AlphaPremul, AlphaPremulC", "CompColorKey, AlphaCompColorKey",
    "Convert", "Convert (bit planes)", "Scale", "ScaleC",
    "Threshold", "ComputeThreshold_Otsu", "ThresholdAdaptiveBox, ThresholdAdaptiveGauss",
    "FilterBorderGetSize, FilterBorderInit, FilterBorderSetMode, FilterBorder", "Filter_64f, FilterGetBufSize_64f",
    "Conv, ConvGetBufferSize", "DecimateFilterRow, DecimateFilterColumn", "WinBartlett, WinHamming",
    "FilterMinBorder, FilterMaxBorder, Erode3x3, Dilate3x3",
    "FilterBoxBorder, SumWindow", "SumWindowRow, SumWindowColumn", "FilterBox_64f",
    "FilterMedianBorder", "FilterMedian, FilterMedianGetBufferSize", "FilterMedianColor", "FilterMedianCross",
    "FilterMedianWeightedCenter3x3", "Median",
    "FilterSobelHorizBorder, FilterSobelVertBorder, FilterSobelNegVertBorder, FilterSobelHorizSecondBorder, "
    "FilterSobelVertSecondBorder",
    "FilterScharrHorizMaskBorder, FilterScharrVertMaskBorder, FilterPrewittHorizBorder, FilterPrewittVertBorder",
    "FilterRobertsUpBorder, FilterRobertsDownBorder", "FilterLaplaceBorder", "FilterSharpenBorder, FilterHipassBorder",
    "FilterSobel", "GradientVectorSobel, GradientVectorScharr, GradientVectorPrewitt, GradientVectorGetBufferSize",
};

TEST(Implemented, FinishedFamiliesHaveNoPlaceholder) {
    for (const char* family : kImplemented) {
        std::vector<std::string> names = zt::exportsOf({family});
        EXPECT_FALSE(names.empty()) << "no family titled \"" << family << "\" in the export list";
        for (const std::string& n : names) EXPECT_FALSE(zt::isPlaceholder(n.c_str())) << n << " (" << family << ")";
    }
}

}  // namespace
