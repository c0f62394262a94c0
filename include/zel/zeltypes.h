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

/* Status of every call: 0 success, negative errors (nothing was written), positive warnings
   (the call did what it could). The comment above each status says when it is returned; the
   reference documentation is generated from these comments. */
typedef int ZelStatus;
enum {
    /* Success. */
    zelStsNoErr = 0,
    /* A destination size with zero width or height: there was nothing to do. */
    zelStsNoOperation = 1,
    /* A relative norm's denominator is zero: the result is +infinity, or NaN when the numerator
       is zero too. */
    zelStsDivByZero = 2,
    /* The source ROI starts outside the source image: nothing was done. */
    zelStsNoRoiIntersection = 29,
    /* The quadrangle does not intersect the ROI. */
    zelStsNoQuadIntersection = 30,
    /* The volume of interest starts outside the source volume. */
    zelStsNoVoiIntersection = 40,
    /* An antialiasing flag was given for an interpolation without an antialiased form; the sizes
       are still returned. */
    zelStsAntialiasingIgnored = 46,
    /* A size is odd where 2:1 chroma subsampling needs it even, or a destination tile exceeds
       what the specification was initialised for: the result is clipped. */
    zelStsSizeWrn = 48,
    /* The accurate flag was given for a kernel and data type without an accurate path; the
       specification is still initialised. */
    zelStsAccurateModeNotSupported = 52,
    /* A scalar parameter is outside its domain (a threshold below single-precision epsilon, an
       iteration count below 1, an unknown filter kind). */
    zelStsBadArgErr = -5,
    /* A width, height or length is below 1, or a size does not fit the operation. */
    zelStsSizeErr = -6,
    /* A lower bound is above its upper bound. */
    zelStsRangeErr = -7,
    /* A required pointer is null. */
    zelStsNullPtrErr = -8,
    /* A required work buffer is missing. */
    zelStsMemAllocErr = -9,
    /* A divisor constant is zero. */
    zelStsDivByZeroErr = -10,
    /* A parameter is outside its allowed range. */
    zelStsOutOfRangeErr = -11,
    /* The value range of a scaling is empty or reversed (vMax - vMin <= 0). */
    zelStsScaleRangeErr = -12,
    /* A specification block does not carry the identifier of the kind the function expects. */
    zelStsContextMatchErr = -13,
    /* An unsupported mode or comparison; also what every export that is not implemented yet
       returns. */
    zelStsNotSupportedModeErr = -14,
    /* A row step is below 1. */
    zelStsStepErr = -16,
    /* An FFT order of 31 or more. */
    zelStsFftOrderErr = -17,
    /* A lower threshold is above the upper threshold. */
    zelStsThresholdErr = -19,
    /* The zero-order moment's magnitude is at most double-precision epsilon. */
    zelStsMoment00ZeroErr = -21,
    /* A flip axis that is none of the defined ones. */
    zelStsMirrorFlipErr = -22,
    /* An interpolation kind the function does not support. */
    zelStsInterpolationErr = -23,
    /* A resize factor not above zero. */
    zelStsResizeFactorErr = -24,
    /* A mask width or height below 1, or a mask the function does not support. */
    zelStsMaskSizeErr = -33,
    /* An anchor outside the mask. */
    zelStsAnchorErr = -34,
    /* A negative tolerance. */
    zelStsEpsValErr = -36,
    /* A step shorter than one ROI row in bytes (width times pixel size). */
    zelStsStrideErr = -37,
    /* A channel count or channel index outside what the function supports. */
    zelStsChannelErr = -47,
    /* An alpha-composition operator above 11. */
    zelStsAlphaTypeErr = -50,
    /* An integer divisor of zero. */
    zelStsDivisorErr = -51,
    /* A channel count the function does not support. */
    zelStsNumChannelsErr = -53,
    /* Transform coefficients that describe a degenerate mapping. */
    zelStsCoeffErr = -56,
    /* A rectangle whose width or height is below 1. */
    zelStsRectErr = -57,
    /* A degenerate quadrangle. */
    zelStsQuadErr = -58,
    /* A ZelDataType value the function does not support. */
    zelStsDataTypeErr = -59,
    /* A channel-order entry not below the channel count. */
    zelStsChannelOrderErr = -60,
    /* A lookup table with fewer than 2 levels. */
    zelStsLutLevelsErr = -106,
    /* A histogram with fewer than 2 levels. */
    zelStsHistLevelsErr = -107,
    /* A step that is not a multiple of its element size. */
    zelStsNotEvenStepErr = -108,
    /* A noise level outside 0 to 1. */
    zelStsNoiseRangeErr = -125,
    /* A centre weight of 0 or less. */
    zelStsWeightErr = -211,
    /* A decimation fraction that is none of the defined values. */
    zelStsDecimateFractionErr = -212,
    /* A ZelRoundMode other than 0, 1 or 2. */
    zelStsRoundModeErr = -213,
    /* A border type the function does not support. */
    zelStsBorderErr = -225,
    /* An offset or size that 2:1 chroma subsampling needs even is odd. */
    zelStsNotEvenErr = -227,
    /* An algorithm selector above 2. */
    zelStsAlgTypeErr = -228,
    /* A warp direction other than forward (0) or backward (1). */
    zelStsWarpDirectionErr = -231,
    /* A computed specification or buffer size exceeds 2147483647: use the _L form. The size
       output is set to 0. */
    zelStsBufferSizeErr = -232,
    /* The 64-bit size computation of a quadrangle warp failed; passed out by its _L size query. */
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
