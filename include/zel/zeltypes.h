/* zel: sample types, records, enumerations, status codes and the version record shared by
   every function of the library. Plain C99; also valid C++. */
#ifndef ZEL_ZELTYPES_H
#define ZEL_ZELTYPES_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Sample types. The type tokens of function names (8u, 16s, 32f ...) name these. */
typedef uint8_t  Zel8u;
typedef int8_t   Zel8s;
typedef uint16_t Zel16u;
typedef int16_t  Zel16s;
typedef uint32_t Zel32u;
typedef int32_t  Zel32s;
typedef float    Zel32f;
typedef double   Zel64f;
typedef int64_t  Zel64s;
typedef uint64_t Zel64u;
/* Complex samples: real part first. */
typedef struct { Zel16s re, im; } Zel16sc;
typedef struct { Zel32s re, im; } Zel32sc;
typedef struct { Zel32f re, im; } Zel32fc;
typedef struct { Zel64f re, im; } Zel64fc;

/* Records passed by value. Sizes count pixels and rows; the _L forms take the 64-bit records. */
typedef struct { int width; int height; } ZeliSize;
typedef struct { Zel64s width; Zel64s height; } ZeliSizeL;
typedef struct { int x; int y; } ZeliPoint;
typedef struct { Zel64s x; Zel64s y; } ZeliPointL;
typedef struct { int x; int y; int width; int height; } ZeliRect;
typedef struct { Zel64s x; Zel64s y; Zel64s width; Zel64s height; } ZeliRectL;
/* Margins of source pixels that a geometric transform reads outside its source ROI. */
typedef struct { Zel32u borderLeft; Zel32u borderTop; Zel32u borderRight; Zel32u borderBottom; } ZeliBorderSize;
/* Volumes (zelr functions): a size in voxels, and a box inside a volume. */
typedef struct { int width; int height; int depth; } ZeliVolume;
typedef struct { int x; int y; int z; int width; int height; int depth; } ZeliCuboid;
/* Parameters of histograms of oriented gradients. */
typedef struct {
    int cvCompatible;  /* non-zero: the common normalisation of the descriptor blocks */
    int cellSize;      /* pixels per square cell */
    int blockSize;     /* pixels per square block, a multiple of cellSize */
    int blockStride;   /* block step in pixels, a multiple of cellSize */
    int nbins;         /* orientation bins per cell */
    Zel32f sigma;      /* Gaussian weighting of a block; 0 for none */
    Zel32f l2thresh;   /* clipping of the L2-normalised block */
    ZeliSize winSize;  /* detection window */
} ZeliHOGConfig;

/* Status of every call: 0 success, negative errors (nothing was written), positive warnings. */
typedef int ZelStatus;
enum {
    zelStsNoErr = 0,
    zelStsNoOperation = 1,
    zelStsDivByZero = 2,
    zelStsNoRoiIntersection = 29,
    zelStsNoQuadIntersection = 30,
    zelStsNoVoiIntersection = 40,
    zelStsAntialiasingIgnored = 46,
    zelStsSizeWrn = 48,
    zelStsAccurateModeNotSupported = 52,
    zelStsBadArgErr = -5,
    zelStsSizeErr = -6,
    zelStsRangeErr = -7,
    zelStsNullPtrErr = -8,
    zelStsMemAllocErr = -9,
    zelStsDivByZeroErr = -10,
    zelStsOutOfRangeErr = -11,
    zelStsScaleRangeErr = -12,
    zelStsContextMatchErr = -13,
    zelStsNotSupportedModeErr = -14,
    zelStsStepErr = -16,
    zelStsFftOrderErr = -17,
    zelStsThresholdErr = -19,
    zelStsMoment00ZeroErr = -21,
    zelStsMirrorFlipErr = -22,
    zelStsInterpolationErr = -23,
    zelStsResizeFactorErr = -24,
    zelStsMaskSizeErr = -33,
    zelStsAnchorErr = -34,
    zelStsEpsValErr = -36,
    zelStsStrideErr = -37,
    zelStsChannelErr = -47,
    zelStsAlphaTypeErr = -50,
    zelStsDivisorErr = -51,
    zelStsNumChannelsErr = -53,
    zelStsCoeffErr = -56,
    zelStsRectErr = -57,
    zelStsQuadErr = -58,
    zelStsDataTypeErr = -59,
    zelStsChannelOrderErr = -60,
    zelStsLutLevelsErr = -106,
    zelStsHistLevelsErr = -107,
    zelStsNotEvenStepErr = -108,
    zelStsNoiseRangeErr = -125,
    zelStsWeightErr = -211,
    zelStsDecimateFractionErr = -212,
    zelStsRoundModeErr = -213,
    zelStsBorderErr = -225,
    zelStsNotEvenErr = -227,
    zelStsAlgTypeErr = -228,
    zelStsWarpDirectionErr = -231,
    zelStsBufferSizeErr = -232,
    /* Raised inside the 64-bit size computation of the quadrangle warps; passed out by its
       _L size query as a size failure. */
    zelStsQuadSizeErr = -233
};

/* Enumerations taken as arguments: each is a signed 32-bit integer so that any value a
   caller passes is well defined and can be checked. */
typedef int ZelDataType;
enum { zel8u = 1, zel16u = 5, zel16s = 7, zel32f = 13, zel64f = 19 };

typedef int ZelCmpOp;
enum { zelCmpLess = 0, zelCmpLessEq = 1, zelCmpEq = 2, zelCmpGreaterEq = 3, zelCmpGreater = 4 };

typedef int ZelHintAlgorithm;
enum { zelAlgHintNone = 0, zelAlgHintFast = 1, zelAlgHintAccurate = 2 };

typedef int ZelRoundMode;
enum { zelRndZero = 0, zelRndNear = 1, zelRndFinancial = 2 };

/* Flip axes of Mirror. */
typedef int ZelAxis;
enum { zelAxsHorizontal = 0, zelAxsVertical = 1, zelAxsBoth = 2, zelAxs45 = 3, zelAxs135 = 4 };

/* Porter-Duff operators of AlphaComp; 6 to 11 take premultiplied inputs. */
typedef int ZelAlphaType;
enum {
    zelAlphaOver = 0, zelAlphaIn = 1, zelAlphaOut = 2, zelAlphaATop = 3, zelAlphaXor = 4, zelAlphaPlus = 5,
    zelAlphaOverPremul = 6, zelAlphaInPremul = 7, zelAlphaOutPremul = 8, zelAlphaATopPremul = 9,
    zelAlphaXorPremul = 10, zelAlphaPlusPremul = 11
};

/* Border argument: bits 0..3 the kind, bits 4..7 the sides that exist in memory. */
typedef Zel32u ZeliBorderType;
enum {
    zelBorderRepl = 1, zelBorderMirror = 3, zelBorderMirrorR = 4, zelBorderConst = 6, zelBorderTransp = 7,
    zelBorderInMemTop = 0x10, zelBorderInMemBottom = 0x20, zelBorderInMemLeft = 0x40,
    zelBorderInMemRight = 0x80, zelBorderInMem = 0xF0
};

/* Fixed masks of the fixed-kernel filters. */
typedef int ZeliMaskSize;
enum { zelMskSize3x3 = 33, zelMskSize5x5 = 55 };

/* Interpolation constants of resize, warps and remap. */
enum {
    zelNearest = 1, zelLinear = 2, zelCubicLagrange = 4, zelCubic = 6, zelSuper = 8, zelLanczos = 16,
    zelSmoothEdge = (int)0x80000000u
};

/* Cache-control flags of CopyManaged. */
enum { zelTemporalCopy = 0, zelNonTemporalStore = 1, zelNonTemporalLoad = 2 };

/* The version record returned by zeliGetLibVersion. */
typedef struct {
    int major;
    int minor;
    int majorBuild;
    int build;
    char targetCpu[4];
    const char* name;
    const char* version;
    const char* buildDate;
} ZelLibraryVersion;

/* Specification blocks: opaque caller memory whose size a GetSize query reports. */
typedef struct ZeliFilterBorderSpec ZeliFilterBorderSpec;
typedef struct ZeliResizeSpec ZeliResizeSpec;
typedef struct ZeliWarpSpec ZeliWarpSpec;
typedef struct ZeliThresholdAdaptiveSpec ZeliThresholdAdaptiveSpec;
typedef struct ZeliFilterBilateralSpec ZeliFilterBilateralSpec;
typedef struct ZeliFilterBilateralBorderSpec ZeliFilterBilateralBorderSpec;
typedef struct ZeliFilterILSSpec ZeliFilterILSSpec;
typedef struct ZeliResizeYUV420Spec ZeliResizeYUV420Spec;
typedef struct ZeliResizeYUV422Spec ZeliResizeYUV422Spec;
typedef struct ZeliHistogramSpec ZeliHistogramSpec;
typedef struct ZeliMomentSpec ZeliMomentSpec;
typedef struct ZeliFFTRealSpec ZeliFFTRealSpec;
typedef struct ZeliFFTComplexSpec ZeliFFTComplexSpec;
typedef struct ZeliDFTSpec ZeliDFTSpec;
typedef struct ZeliDCTFwdSpec ZeliDCTFwdSpec;
typedef struct ZeliDCTInvSpec ZeliDCTInvSpec;
typedef struct ZeliWTFwdSpec ZeliWTFwdSpec;
typedef struct ZeliWTInvSpec ZeliWTInvSpec;
typedef struct ZeliDeconvFFTSpec ZeliDeconvFFTSpec;
typedef struct ZeliDeconvLRSpec ZeliDeconvLRSpec;
typedef struct ZeliVolumeFilterSpec ZeliVolumeFilterSpec;
typedef struct ZeliHOGSpec ZeliHOGSpec;
typedef struct ZeliLUTSpec ZeliLUTSpec;
typedef struct ZeliDeinterlaceBlendSpec ZeliDeinterlaceBlendSpec;

#ifdef __cplusplus
}
#endif

#endif
