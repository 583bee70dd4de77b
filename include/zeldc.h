/*
 * zeldc: stages of lossless compression, as a library that formats are built on.
 *
 * Each operation is one stage of a codec: the caller hands it source and destination buffers and,
 * where a stage is stateful, a state object that the caller keeps between calls. The library
 * starts no threads, takes no locks, does no input or output and allocates nothing outside
 * zelsMalloc_8u and the InitAlloc operations.
 *
 * Conventions, which each operation follows unless its own comment says otherwise:
 *
 * - Results are statuses: 0 is success, negative values are errors, positive values are warnings.
 *   A warning leaves the state and the in/out arguments so that the same call can be repeated
 *   after the source has been refilled or the destination drained.
 * - Arguments are tested in one order: pointers (zelStsNullPointer), then lengths (zelStsBadSize),
 *   then the family's own tests. The first failure returns at once and writes nothing.
 * - Buffers and states may lie at any address. Lengths are in bytes unless stated otherwise.
 * - A state object is one block. Its size comes from GetSize; Init lays it out in memory of the
 *   caller's; InitAlloc allocates and initialises it in one step, to be released by the family's
 *   Free. Init may be called again on a used state to start over. Handing an operation a state
 *   that its Init has not prepared is undefined.
 * - Resumable coders take ppSrc and ppDst with pointers to the remaining lengths: on every return,
 *   the pointers have advanced past exactly the bytes consumed and produced, and the lengths are
 *   lower by the same counts. Block stages take a destination pointer with a length that is the
 *   capacity on entry and the count written on return.
 * - Enumerated arguments are plain signed 32-bit integers and accept any value; what an
 *   unlisted value does is said with the operation.
 *
 * Distinct states may be used by different threads at once; one state by one thread at a time.
 */
#ifndef ZELDC_H
#define ZELDC_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define ZELDC_API __attribute__((visibility("default")))
#else
#define ZELDC_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ======================================================================== */
/* Statuses, records and enumerations                                       */
/* ======================================================================== */

/* The result of every operation that can fail. */
typedef int32_t ZelStatus;

enum {
    /* The operation completed. */
    zelStsOk = 0,

    /* Warnings: valid work was done, and the call can be resumed. */
    zelStsStreamEnd = 34,    /* the final deflate block is complete */
    zelStsDstFull = 33,      /* the destination could not take everything */
    zelStsSrcExhausted = 32, /* the source ended inside a unit */

    /* Errors. */
    zelStsError = -1,             /* internal failure of the GIT coder's modelling step */
    zelStsBadData = -2,           /* the input is not of the kind that the operation expects */
    zelStsOutOfRange = -5,        /* VLC tuples: tuple length or element width unusable */
    zelStsBadSize = -6,           /* a length is out of range; corrupt deflate content */
    zelStsNullPointer = -8,       /* a required pointer is null */
    zelStsNoMemory = -9,          /* InitAlloc could not obtain memory */
    zelStsVlcSpecErr = -127,      /* VLC: no such spec, bad bit offset, bad record or value */
    zelStsVlcTableErr = -129,     /* VLC: the code description is unusable */
    zelStsFreqTableErr = -197,    /* byte Huffman: unusable frequencies */
    zelStsCodeLenTableErr = -198, /* byte Huffman: bad code length, or a byte without a code */
    zelStsMaxCodeLenErr = -199,   /* byte Huffman: a code would need more than 32 bits */
    zelStsBz2BadContext = -200    /* multi-table Huffman decoder: invalid table description */
};

/* What this build of the library is. */
typedef struct ZelLibraryVersion {
    int32_t major;
    int32_t minor;
    int32_t majorBuild;
    int32_t build;
    char targetCpu[4];     /* processor variant, zero-padded */
    const char* name;      /* file name of the library */
    const char* version;   /* "major.minor" */
    const char* buildDate; /* "Mmm dd yyyy" */
} ZelLibraryVersion;

/*
 * One unit between the deflate match finder and the block coders, in both directions.
 * distance 0: a literal, whose byte is in length. Otherwise a match of `length` (3..258) bytes at
 * `distance` (1..32768) bytes back.
 */
typedef struct Lz77Pair {
    uint16_t length;
    uint16_t distance;
} Lz77Pair;

/* Effort of the deflate match finder. */
typedef int32_t Lz77Level;
enum { Lz77LevelFast = 0, Lz77LevelNormal = 1, Lz77LevelBest = 2 };

/* Checksum that a deflate state keeps, and the trailer that belongs to it. */
typedef int32_t Lz77Checksum;
enum { Lz77ChecksumNone = 0, Lz77ChecksumAdler32 = 1, Lz77ChecksumCrc32 = 2 };

/* What a deflate coding call does about the end of its input. */
typedef int32_t Lz77Flush;
enum {
    Lz77FlushNone = 0, /* more input follows */
    Lz77FlushSync = 1, /* end the block on a byte boundary: all input so far can be decoded */
    Lz77FlushFull = 2, /* as sync, and later matches never reach back before this point */
    Lz77FlushFinal = 3 /* the block is the final one of its stream */
};

/* Caller-visible phase of a deflate encoder. */
typedef int32_t Lz77EncodeStatus;
enum {
    Lz77StatusInit = 0,    /* as left by Init */
    Lz77StatusCollect = 1, /* the state's own pair buffer collects pairs */
    Lz77StatusCode = 2,    /* a new block begins */
    Lz77StatusFinal = 3    /* the stream is complete, the trailer may be written */
};

/* Kind of a deflate block as the decoder reports it (not the format's own numbering). */
typedef int32_t Lz77BlockType;
enum { Lz77BlockFixed = 0, Lz77BlockDynamic = 1, Lz77BlockStored = 2 };

/* One code of a caller-described variable-length code. */
typedef struct VlcCodeRecord {
    int32_t value;  /* decoded value, or packed tuple, first element in the top bits */
    int32_t code;   /* code bits, right-aligned; bits above length are ignored */
    int32_t length; /* code length in bits, 1..32 */
} VlcCodeRecord;

/* State objects, opaque: sizes come from the families' GetSize operations. */
typedef struct Lz77EncodeState Lz77EncodeState;
typedef struct Lz77DecodeState Lz77DecodeState;
typedef struct LzssState LzssState;
typedef struct MtfState MtfState;
typedef struct HuffState HuffState;
typedef struct RleBz2State RleBz2State;
typedef struct HuffBz2EncodeState HuffBz2EncodeState;
typedef struct HuffBz2DecodeState HuffBz2DecodeState;
typedef struct GitEncodeState GitEncodeState;
typedef struct GitDecodeState GitDecodeState;
typedef struct VlcDecodeSpec VlcDecodeSpec;
typedef struct VlcEncodeSpec VlcEncodeSpec;

/*
 * The version record of this library: read-only, the same pointer on every call, never null and
 * not to be freed. Safe from any thread.
 */
ZELDC_API const ZelLibraryVersion* zeldcGetLibVersion(void);

/* ======================================================================== */
/* Memory and vector primitives                                             */
/* ======================================================================== */

/*
 * Allocation hooks, initially malloc, calloc, realloc and free of the C library. The library calls
 * i_malloc and i_free only. A host may redirect them before its first allocation; they are plain
 * variables without a lock.
 */
extern ZELDC_API void* (*i_malloc)(size_t size);
extern ZELDC_API void* (*i_calloc)(size_t count, size_t size);
extern ZELDC_API void* (*i_realloc)(void* ptr, size_t size);
extern ZELDC_API void (*i_free)(void* ptr);

/*
 * Allocates len bytes at a multiple of 32; the contents are not cleared. i_malloc is asked for
 * len + 36 bytes.
 *
 * Returns the block, or null when len is below 1 (the hook is not called) or i_malloc returned
 * null. Release it with zelsFree only.
 */
ZELDC_API uint8_t* zelsMalloc_8u(int32_t len);

/* Releases a block of zelsMalloc_8u: i_free receives the address that i_malloc returned. Null is
 * ignored. */
ZELDC_API void zelsFree(void* ptr);

/*
 * Copies len bytes from pSrc to pDst. The buffers must not overlap.
 *
 * zelStsNullPointer: pSrc or pDst is null. zelStsBadSize: len is below 1.
 */
ZELDC_API ZelStatus zelsCopy_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len);

/*
 * Writes val to len elements (bytes, 16-bit elements) at pDst.
 *
 * zelStsNullPointer: pDst is null. zelStsBadSize: len is below 1.
 */
ZELDC_API ZelStatus zelsSet_8u(uint8_t val, uint8_t* pDst, int32_t len);
ZELDC_API ZelStatus zelsSet_16s(int16_t val, int16_t* pDst, int32_t len);

/*
 * Clears len bytes at pDst.
 *
 * zelStsNullPointer: pDst is null. zelStsBadSize: len is below 1.
 */
ZELDC_API ZelStatus zelsZero_8u(uint8_t* pDst, int32_t len);

/*
 * Sorts len signed 32-bit elements at pSrcDst in place into ascending order: quicksort with a
 * median of three, whose time stays O(n log n) on every input, in constant memory.
 *
 * zelStsNullPointer: pSrcDst is null. zelStsBadSize: len is below 1.
 */
ZELDC_API ZelStatus zelsSortAscend_32s_I(int32_t* pSrcDst, int32_t len);

/*
 * The kernels behind copy, set and clear: the same work without any argument check (len counts
 * elements and must not be negative). They return zelStsOk.
 */
ZELDC_API ZelStatus ownsCopy_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len);
ZELDC_API ZelStatus ownsSet_8u(uint8_t val, uint8_t* pDst, int32_t len);
ZELDC_API ZelStatus ownsSet_16u(uint16_t val, uint16_t* pDst, int32_t len);
ZELDC_API ZelStatus ownsSet_32s(int32_t val, int32_t* pDst, int32_t len);
ZELDC_API ZelStatus ownsSet_64s(int64_t val, int64_t* pDst, int32_t len);
ZELDC_API ZelStatus ownsZero_8u(uint8_t* pDst, int32_t len);

/* ======================================================================== */
/* Checksums                                                                */
/* ======================================================================== */

/*
 * CRC-32 as in IEEE 802.3, gzip and zip (reflected, polynomial 0xEDB88320; RFC 1952, section 8),
 * of len bytes at pSrc. *pCRC holds the finished checksum of everything before on entry and of
 * everything so far on return; a new stream starts from 0. Any split of a stream into calls gives
 * the same value.
 *
 * zelStsNullPointer: pSrc or pCRC is null. zelStsBadSize: len is below 1. *pCRC is then unchanged.
 */
ZELDC_API ZelStatus zelsCRC32_8u(const uint8_t* pSrc, int32_t len, uint32_t* pCRC);

/*
 * The CRC-32 of bzip2 blocks (polynomial 0x04C11DB7, most significant bit first); otherwise as
 * zelsCRC32_8u, a new stream starting from 0.
 */
ZELDC_API ZelStatus zelsCRC32_BZ2_8u(const uint8_t* pSrc, int32_t len, uint32_t* pCRC);

/*
 * Adler-32 (RFC 1950, section 8.2) of len bytes at pSrc. *pAdler is in/out as above; a new stream
 * starts from 1.
 *
 * The order of tests differs from the usual one and is kept: pAdler must not be null; a null pSrc
 * sets *pAdler to 0 and returns zelStsBadSize, whatever len is; a len below 1 leaves *pAdler
 * unchanged and returns zelStsOk.
 */
ZELDC_API ZelStatus zelsAdler32_8u(const uint8_t* pSrc, int32_t len, uint32_t* pAdler);

/* The kernel of zelsCRC32_8u, without any argument check (len must not be negative). */
ZELDC_API ZelStatus ownsCRC32_8u(const uint8_t* pSrc, int32_t len, uint32_t* pCRC);

/* ======================================================================== */
/* Deflate encoder                                                          */
/* ======================================================================== */

/* ======================================================================== */
/* Deflate decoder                                                          */
/* ======================================================================== */

/* ======================================================================== */
/* Block sorting: Burrows-Wheeler transform                                 */
/* ======================================================================== */

/* ======================================================================== */
/* Block sorting: initial RLE, dictionary, zero runs                        */
/* ======================================================================== */

/* ======================================================================== */
/* Block sorting: multi-table Huffman coder                                 */
/* ======================================================================== */

/* ======================================================================== */
/* Move-to-front                                                            */
/* ======================================================================== */

/* ======================================================================== */
/* Byte run-length coder                                                    */
/* ======================================================================== */

/* ======================================================================== */
/* Byte Huffman coder                                                       */
/* ======================================================================== */

/* ======================================================================== */
/* LZSS                                                                     */
/* ======================================================================== */

/* ======================================================================== */
/* GIT coder                                                                */
/* ======================================================================== */

/*
 * A block coder for the output of a block-sorting stage: inversion intervals (a relative of
 * inversion frequencies: Arnavut and Magliveras, 1997) in adaptive Golomb-Rice codes.
 *
 * The 256 byte values stand in an order of slots, at first value s in slot 255 - s. For each
 * occurrence of a value the coder writes how many values of later slots have occurred since its
 * last one; the value in the last slot, 0, needs nothing but its count. Each value's intervals form
 * a bit stream of their own, number 255 - s, most significant bit first. docs/git-coder.md
 * describes the format.
 *
 * The ordering strategy is chosen per block and must be the same on both sides:
 *   0, 1   a value that has become more frequent than that of the slot before moves there
 *   2      a value that has become more frequent than that of the slot behind moves there, up to
 *          slot 254
 *   3      slots keep their values, and the priming described next is left out
 *   other  slots keep their values
 * Priming: before the block every value occurs once, in slots 255 to 0, so that each has a last
 * occurrence. It costs about 250 bytes more than strategy 3 on an empty block.
 *
 * A coded block is 256 streams in order, each a length of four bytes, most significant first, and
 * that many bytes: 1280 at least. It is not marked with its strategy or its size.
 */

/*
 * Sizes an encoder state for blocks of up to maxSrcLen bytes and coded blocks of up to maxDstLen.
 *
 * A maxSrcLen below 4096 is raised to 4096, and maxDstLen then becomes 8192, whatever it was; the
 * size is written and the result is zelStsDstFull, a warning that the limits are not those asked
 * for.
 *
 * *pSize receives 256 * ((maxSrcLen rounded down to a multiple of 8) + 32) + (maxDstLen rounded
 * down to a multiple of 8) + 25720. Only as much of a state is ever touched as is written into its
 * streams.
 *
 * zelStsNullPointer: pSize is null. zelStsBadSize: a limit is below 1, or the size would not fit 31
 * bits (from a maxSrcLen of about 8.3 million); *pSize is unchanged.
 */
ZELDC_API ZelStatus zelsEncodeGITGetSize_8u(int32_t maxSrcLen, int32_t maxDstLen, int32_t* pSize);

/*
 * Lays out an encoder state at pState, which has the size that GetSize reports for the same limits.
 * The limits are raised in the same way.
 *
 * zelStsDstFull: done, with raised limits. zelStsNullPointer: pState is null. zelStsBadSize: as
 * with GetSize.
 */
ZELDC_API ZelStatus zelsEncodeGITInit_8u(int32_t maxSrcLen, int32_t maxDstLen,
                                         GitEncodeState* pState);

/*
 * Allocates and initialises an encoder state; release it with zelsGITFree_8u. The result is that of
 * Init: zelStsOk, or zelStsDstFull with raised limits, and *ppState is the state in both cases.
 *
 * zelStsNullPointer: ppState is null. zelStsBadSize: as with GetSize. zelStsNoMemory: there is no
 * memory. *ppState is then unchanged.
 */
ZELDC_API ZelStatus zelsEncodeGITInitAlloc_8u(int32_t maxSrcLen, int32_t maxDstLen,
                                              GitEncodeState** ppState);

/*
 * Codes one block, whole and independent of the ones before: srcLen bytes at pSrc, which may be
 * none. *pDstLen receives the size of the coded block; a null pDstLen is skipped. pDst must have
 * room for the state's maxDstLen bytes, also where less is written, and may overlap the source.
 *
 * zelStsNullPointer: pSrc, pDst or pState is null. zelStsBadSize: srcLen is negative or above the
 * state's maxSrcLen, or the coded block is larger than its maxDstLen; nothing is written to pDst
 * or *pDstLen then.
 */
ZELDC_API ZelStatus zelsEncodeGIT_8u(const uint8_t* pSrc, int32_t srcLen, uint8_t* pDst,
                                     int32_t* pDstLen, int32_t strategy, GitEncodeState* pState);

/*
 * Sizes a decoder state for blocks of up to maxDstLen bytes: 256 * ((maxDstLen rounded down to a
 * multiple of 8) + 8) + 26776.
 *
 * zelStsNullPointer: pSize is null. zelStsBadSize: maxDstLen is below 1, or the size would not fit
 * 31 bits (from about 8.3 million); *pSize is unchanged.
 */
ZELDC_API ZelStatus zelsDecodeGITGetSize_8u(int32_t maxDstLen, int32_t* pSize);

/*
 * Lays out a decoder state at pState, which has the size that GetSize reports for maxDstLen.
 *
 * zelStsNullPointer: pState is null. zelStsBadSize: maxDstLen is below 1.
 */
ZELDC_API ZelStatus zelsDecodeGITInit_8u(int32_t maxDstLen, GitDecodeState* pState);

/*
 * Allocates and initialises a decoder state; release it with zelsGITFree_8u. The two limits have
 * different uses, on purpose: the state is sized for sizeLen and initialised for maxDstLen, which
 * may be either way apart. *ppState is written before the allocation is looked at, so that it is
 * null when there was no memory, which is reported as zelStsNullPointer.
 *
 * zelStsNullPointer: ppState is null, or there is no memory. zelStsBadSize: a limit is below 1, or
 * sizeLen is too large for a size of 31 bits; *ppState is unchanged.
 */
ZELDC_API ZelStatus zelsDecodeGITInitAlloc_8u(int32_t sizeLen, int32_t maxDstLen,
                                              GitDecodeState** ppState);

/*
 * Decodes one coded block at pSrc into pDst, which has room for the state's maxDstLen bytes.
 * *pDstLen receives the number of bytes written; a null pDstLen is skipped. pSrcLen is not looked
 * at and may be null: the lengths within the block say how far the source reaches, and the caller
 * answers for them. The block may overlap the destination; it is then copied into the state first.
 *
 * Damaged streams are not recognised as such: a stream that ends early, or holds a value that does
 * not fit 31 bits, counts as exhausted, and its value does not occur any more. A block that ends
 * within the priming has no bytes.
 *
 * zelStsNullPointer: pDst, pSrc or pState is null. zelStsBadSize: the lengths of the streams add up
 * to more than 256 * ((maxDstLen rounded down to a multiple of 8) + 8), or the block overlaps the
 * destination and does not fit the state (only after InitAlloc with sizeLen below maxDstLen), with
 * nothing written; or the block holds more than maxDstLen bytes, of which maxDstLen are written.
 * *pDstLen is unchanged then.
 */
ZELDC_API ZelStatus zelsDecodeGIT_8u(const uint8_t* pSrc, const int32_t* pSrcLen, uint8_t* pDst,
                                     int32_t* pDstLen, int32_t strategy, GitDecodeState* pState);

/* Releases an encoder or decoder state of InitAlloc. Null is ignored. */
ZELDC_API void zelsGITFree_8u(void* pState);

/*
 * The steps that zelsEncodeGIT_8u is made of, for callers with a model of their own. Init leaves
 * the streams of a state empty; zelsEncodeGIT_8u leaves its own block's in them.
 */

/*
 * Codes a value (0 .. 2^31-1) into a stream (0 .. 255), whose Rice parameter adapts to it: see
 * docs/git-coder.md for the code.
 *
 * zelStsError: the stream now has as many whole bytes as the state's maxSrcLen, or more. The value
 * is coded all the same, as long as it fits the stream's buffer, which goes a little further; then
 * nothing is written any more. zelStsNullPointer: pState is null. zelStsBadSize: value or stream is
 * out of range.
 */
ZELDC_API ZelStatus ownsARGM_Encode(int32_t value, int32_t stream, GitEncodeState* pState);

/*
 * Completes the last byte of every stream with ones; a stream that ends with a complete byte gets a
 * byte of ones.
 *
 * zelStsError: a stream's buffer had no byte left; the others are complete. zelStsNullPointer:
 * pState is null.
 */
ZELDC_API ZelStatus ownsFlushLastFewBits(GitEncodeState* pState);

/*
 * Writes the streams, each behind its length, to pDst, and the size of it all to *pDstLen, if that
 * is not null. Bits of an incomplete byte are left out: flush first.
 *
 * zelStsNullPointer: pDst or pState is null. zelStsBadSize: the size would exceed the state's
 * maxDstLen; nothing is written.
 */
ZELDC_API ZelStatus ownsDealBStreams(uint8_t* pDst, int32_t* pDstLen, GitEncodeState* pState);

/* ======================================================================== */
/* Variable-length codes: decoding                                          */
/* ======================================================================== */

/* ======================================================================== */
/* Variable-length codes: encoding                                          */
/* ======================================================================== */

#ifdef __cplusplus
}
#endif

#endif /* ZELDC_H */
