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

/* How a deflate block of pairs is to be coded. */
typedef int32_t Lz77HuffMode;
enum { Lz77HuffModeFixed = 0, Lz77HuffModeDynamic = 1 };

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

ZELDC_API ZelStatus zelsEncodeLZ77GetSize_8u(int32_t* pSize);
ZELDC_API ZelStatus zelsEncodeLZ77Init_8u(Lz77Level level, Lz77Checksum checksum,
                                          Lz77EncodeState* pState);
ZELDC_API ZelStatus zelsEncodeLZ77InitAlloc_8u(Lz77Level level, Lz77Checksum checksum,
                                               Lz77EncodeState** ppState);
ZELDC_API ZelStatus zelsEncodeLZ77Reset_8u(Lz77EncodeState* pState);
ZELDC_API ZelStatus zelsEncodeLZ77GetStatus_8u(Lz77EncodeStatus* pStatus,
                                               const Lz77EncodeState* pState);
ZELDC_API ZelStatus zelsEncodeLZ77SetStatus_8u(Lz77EncodeStatus status, Lz77EncodeState* pState);
ZELDC_API ZelStatus zelsEncodeLZ77GetPairs_8u(Lz77Pair** ppPairs, int32_t* pPairsInd,
                                              int32_t* pPairsLen, Lz77EncodeState* pState);
ZELDC_API ZelStatus zelsEncodeLZ77SetPairs_8u(Lz77Pair* pPairs, int32_t pairsInd,
                                              int32_t pairsLen, Lz77EncodeState* pState);
ZELDC_API ZelStatus zelsEncodeLZ77_8u(const uint8_t** ppSrc, int32_t* pSrcLen, Lz77Pair** ppPairs,
                                      int32_t* pPairsLen, Lz77Flush flush,
                                      Lz77EncodeState* pState);
ZELDC_API ZelStatus zelsEncodeLZ77SelectHuffMode_8u(const Lz77Pair* pPairs, int32_t pairsLen,
                                                    Lz77HuffMode* pHuffMode,
                                                    Lz77EncodeState* pState);
ZELDC_API ZelStatus zelsEncodeLZ77FixedHuff_8u(const Lz77Pair** ppSrc, int32_t* pSrcLen,
                                               uint8_t** ppDst, int32_t* pDstLen, Lz77Flush flush,
                                               Lz77EncodeState* pState);
ZELDC_API ZelStatus zelsEncodeLZ77DynamicHuff_8u(const Lz77Pair** ppSrc, int32_t* pSrcLen,
                                                 uint8_t** ppDst, int32_t* pDstLen,
                                                 Lz77Flush flush, Lz77EncodeState* pState);
ZELDC_API ZelStatus zelsEncodeLZ77StoredBlock_8u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                                 uint8_t** ppDst, int32_t* pDstLen,
                                                 Lz77Flush flush, Lz77EncodeState* pState);
ZELDC_API ZelStatus zelsEncodeLZ77Flush_8u(uint8_t** ppDst, int32_t* pDstLen,
                                           Lz77EncodeState* pState);
ZELDC_API void zelsLZ77Free_8u(void* pState);

/* ======================================================================== */
/* Deflate decoder                                                          */
/* ======================================================================== */

ZELDC_API ZelStatus zelsDecodeLZ77GetSize_8u(int32_t* pSize);
ZELDC_API ZelStatus zelsDecodeLZ77Init_8u(Lz77Checksum checksum, Lz77DecodeState* pState);
ZELDC_API ZelStatus zelsDecodeLZ77InitAlloc_8u(Lz77Checksum checksum, Lz77DecodeState** ppState);
ZELDC_API ZelStatus zelsDecodeLZ77Reset_8u(Lz77DecodeState* pState);
ZELDC_API ZelStatus zelsDecodeLZ77SetDictionary_8u(const uint8_t* pDict, int32_t dictLen,
                                                   Lz77DecodeState* pState);
ZELDC_API ZelStatus zelsDecodeLZ77GetPairs_8u(Lz77Pair** ppPairs, int32_t* pPairsPos,
                                              int32_t* pPairsLen, const Lz77DecodeState* pState);
ZELDC_API ZelStatus zelsDecodeLZ77SetPairs_8u(Lz77Pair* pPairs, int32_t pairsPos, int32_t pairsLen,
                                              Lz77DecodeState* pState);
ZELDC_API ZelStatus zelsDecodeLZ77GetStatus_8u(int32_t* pStatus, const Lz77DecodeState* pState);
ZELDC_API ZelStatus zelsDecodeLZ77SetStatus_8u(int32_t status, Lz77DecodeState* pState);
ZELDC_API ZelStatus zelsDecodeLZ77CopyState_8u(const Lz77DecodeState* pSrcState,
                                               Lz77DecodeState* pDstState);
ZELDC_API ZelStatus zelsDecodeLZ77GetBlockType_8u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                                  Lz77BlockType* pBlockType,
                                                  Lz77DecodeState* pState);
ZELDC_API ZelStatus zelsDecodeLZ77StoredBlock_8u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                                 uint8_t** ppDst, int32_t* pDstLen,
                                                 Lz77DecodeState* pState);
ZELDC_API ZelStatus zelsDecodeLZ77StoredHuff_8u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                                Lz77Pair** ppPairs, int32_t* pPairsLen,
                                                Lz77DecodeState* pState);
ZELDC_API ZelStatus zelsDecodeLZ77FixedHuff_8u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                               Lz77Pair** ppPairs, int32_t* pPairsLen,
                                               Lz77Flush flush, Lz77DecodeState* pState);
ZELDC_API ZelStatus zelsDecodeLZ77DynamicHuff_8u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                                 Lz77Pair** ppPairs, int32_t* pPairsLen,
                                                 Lz77Flush flush, Lz77DecodeState* pState);
ZELDC_API ZelStatus zelsDecodeLZ77_8u(const Lz77Pair** ppPairs, int32_t* pPairsLen, uint8_t** ppDst,
                                      int32_t* pDstLen, Lz77Flush flush, Lz77DecodeState* pState);
ZELDC_API ZelStatus zelsDecodeLZ77FixedHuffFull_8u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                                   uint8_t** ppDst, int32_t* pDstLen,
                                                   Lz77Flush flush, Lz77DecodeState* pState);
ZELDC_API ZelStatus zelsDecodeLZ77DynamicHuffFull_8u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                                     uint8_t** ppDst, int32_t* pDstLen,
                                                     Lz77Flush flush, Lz77DecodeState* pState);
ZELDC_API void ownMakeLiterTabl(const uint16_t* pLengths, const void* pCounts, uint8_t* pArea,
                                int32_t n);
ZELDC_API void ownMakeOffsetTabl(const uint16_t* pLengths, const void* pCounts, uint8_t* pArea,
                                 int32_t n);
typedef void (*OwnFillBuf)(const uint8_t* pSrc, uint8_t* pDst, int32_t len);
ZELDC_API void ownFillBuf1(const uint8_t* pSrc, uint8_t* pDst, int32_t len);
ZELDC_API void ownFillBuf2(const uint8_t* pSrc, uint8_t* pDst, int32_t len);
ZELDC_API void ownFillBuf3(const uint8_t* pSrc, uint8_t* pDst, int32_t len);
ZELDC_API void ownFillBuf4(const uint8_t* pSrc, uint8_t* pDst, int32_t len);
ZELDC_API void ownFillBuf5(const uint8_t* pSrc, uint8_t* pDst, int32_t len);
ZELDC_API void ownFillBuf6(const uint8_t* pSrc, uint8_t* pDst, int32_t len);
ZELDC_API void ownFillBuf7(const uint8_t* pSrc, uint8_t* pDst, int32_t len);
ZELDC_API void ownFillBuf8(const uint8_t* pSrc, uint8_t* pDst, int32_t len);
extern ZELDC_API const OwnFillBuf ownTablFillBuf[8];
ZELDC_API int32_t ownDecodeLZ77DHF_HotSpot(const uint8_t** ppSrc, int32_t* pSrcLen,
                                           const uint8_t* pDstStart, uint8_t** ppDst,
                                           int32_t* pDstLen, Lz77DecodeState* pState);

/* ======================================================================== */
/* Block sorting: Burrows-Wheeler transform                                 */
/* ======================================================================== */

/*
 * The Burrows-Wheeler transform (Burrows and Wheeler, 1994) of a block: all its rotations are
 * sorted, the block being a ring without an end mark, and each row gives the byte in front of its
 * rotation. The primary index is the row of the block itself. Time is linear in the block's length
 * whatever the bytes; nothing is allocated.
 */

/*
 * Writes to *pSize the bytes of work buffer that zelsBWTFwd_8u needs for a block of len bytes:
 * 6 * len + 70145, to be a positive 32-bit number, so that len can be 357902250 at most.
 *
 * zelStsNullPointer: pSize is null. zelStsBadSize: len is below 1.
 */
ZELDC_API ZelStatus zelsBWTFwdGetSize_8u(int32_t len, int32_t* pSize);

/*
 * Transforms the len bytes at pSrc into the len bytes at pDst, which must not overlap them, and
 * writes the primary index to *pPrimaryIndex. pBuffer is the work buffer, at any address.
 *
 * A block of one repeated byte comes out as it is, with index 0.
 *
 * A block that is a word of two and more different bytes repeated seven times or more is not
 * always sorted completely: within the rotations that begin with the same byte, sorting ends where
 * it first comes upon rotations that are equal all around, and the others may keep an order that
 * is not theirs. This is the established result and is kept. The inverse then restores the block
 * from some of the rows that hold it, or from none: "ababac" seven times only from row 4 of its
 * seven, and about a quarter of such blocks from no row. The index reported is one from which the
 * block is restored whenever there is one. A chain of stages must therefore make sure that a block
 * is no such repetition, or that the inverse restores it; one byte less makes a block that is
 * restored, and the byte left out opens the next block. All other blocks are restored.
 *
 * zelStsNullPointer: pSrc, pDst, pPrimaryIndex or pBuffer is null. zelStsBadSize: len is below 1.
 */
ZELDC_API ZelStatus zelsBWTFwd_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len,
                                  int32_t* pPrimaryIndex, uint8_t* pBuffer);

/*
 * Writes to *pSize the bytes of work buffer that zelsBWTInv_8u needs: 4 * len + 1024, modulo 2^32.
 * len is not tested.
 *
 * zelStsNullPointer: pSize is null.
 */
ZELDC_API ZelStatus zelsBWTInvGetSize_8u(int32_t len, int32_t* pSize);

/*
 * Restores the block of len bytes from its transform at pSrc and its primary index, into pDst,
 * which must not overlap pSrc. pBuffer is the work buffer, at any address. Any bytes are accepted
 * with any index from 0 to len - 1; where they are no transform, len bytes come out all the same.
 *
 * A len below 2 is tested before anything else: the call then is zelsCopy_8u(pSrc, pDst, len), with
 * its statuses, whatever the other arguments are.
 * zelStsNullPointer: pSrc, pDst or pBuffer is null. zelStsBadSize: index is len or more. A negative
 * index is not refused and must not be passed: what comes out then is unspecified.
 */
ZELDC_API ZelStatus zelsBWTInv_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len, int32_t index,
                                  uint8_t* pBuffer);

/*
 * The same for small blocks of 1 to 32768 bytes, with less work memory: 4 * len + 2080 bytes, one
 * size for both directions.
 *
 * zelStsNullPointer: pSize is null. zelStsBadSize: len is below 1 or above 32768.
 */
ZELDC_API ZelStatus zelsBWTGetSize_SmallBlock_8u(int32_t len, int32_t* pSize);

/*
 * zelsBWTFwd_8u for a small block, but always sorted completely: every block is restored, also a
 * word repeated often, and the outputs of the two operations may differ for such blocks only.
 *
 * zelStsNullPointer: pSrc, pDst, pPrimaryIndex or pBuffer is null. zelStsBadSize: len is below 1 or
 * above 32768.
 */
ZELDC_API ZelStatus zelsBWTFwd_SmallBlock_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len,
                                             int32_t* pPrimaryIndex, uint8_t* pBuffer);

/*
 * zelsBWTInv_8u for a small block, with its order of tests.
 *
 * zelStsBadSize: index is len or more, or len is above 32768.
 */
ZELDC_API ZelStatus zelsBWTInv_SmallBlock_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len,
                                             int32_t index, uint8_t* pBuffer);

/* ======================================================================== */
/* Block sorting: initial RLE, dictionary, zero runs                        */
/* ======================================================================== */

/*
 * The stages around the Burrows-Wheeler transform, as bzip2 has them. A block is compressed by
 * zelsEncodeRLE_BZ2_8u, the transform, zelsReduceDictionary_8u_I, zelsMTFFwd_8u and
 * zelsEncodeZ1Z2_BZ2_8u16u, and restored by their inverses in reverse order. The caller keeps the
 * block's size, its checksum and its place in a stream.
 */

/*
 * Initial run lengths: four equal bytes are followed by a count byte, 0..255, of further copies. A
 * run longer than 259 goes on as a new one. The encoder's state is 264 bytes: the table of byte
 * values written so far, as literal or as count, the last literal, and the length of the open run.
 */

/*
 * Writes the size of a state, 264, to *pSize.
 *
 * zelStsNullPointer: pSize is null.
 */
ZELDC_API ZelStatus zelsRLEGetSize_BZ2_8u(int32_t* pSize);

/*
 * Prepares the 264 bytes at pState for a block: no value in use, no run open.
 *
 * zelStsNullPointer: pState is null.
 */
ZELDC_API ZelStatus zelsEncodeRLEInit_BZ2_8u(RleBz2State* pState);

/*
 * Allocates a state with zelsMalloc_8u, initialises it and stores it in *ppState, to be released
 * with zelsRLEFree_BZ2_8u.
 *
 * zelStsNullPointer: ppState is null, or there is no memory: the status is that of Init on a null
 * state, and *ppState is then null. (zelStsNoMemory is never returned here.)
 */
ZELDC_API ZelStatus zelsEncodeRLEInitAlloc_BZ2_8u(RleBz2State** ppState);

/* Releases a state of zelsEncodeRLEInitAlloc_BZ2_8u; null is ignored. */
ZELDC_API void zelsRLEFree_BZ2_8u(RleBz2State* pState);

/*
 * Encodes the *pSrcLen bytes at *ppSrc into pDst, which has room for *pDstLen. *ppSrc advances and
 * *pSrcLen falls by the bytes consumed; *pDstLen becomes the number of bytes written. The output,
 * the byte of Flush included, is at most 5/4 of the input.
 *
 * A run stays open at the end of the source, its count unwritten: it is closed by the first
 * different byte of a later call, or by zelsEncodeRLEFlush_BZ2_8u, so that every split of a block
 * into calls gives the same output.
 *
 * zelStsOk: the source is used up. zelStsDstFull: it is not, since the destination filled. Four
 * equal literals that fill the destination stop the call too, before any further copy of them is
 * consumed.
 * zelStsNullPointer: ppSrc, *ppSrc, pSrcLen, pDst, pDstLen or pState is null. zelStsBadSize:
 * *pSrcLen or *pDstLen is below 1.
 */
ZELDC_API ZelStatus zelsEncodeRLE_BZ2_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t* pDst,
                                         int32_t* pDstLen, RleBz2State* pState);

/*
 * Ends a block: writes the count byte of a run of four or more that is still open. *pDstLen, the
 * room at pDst, becomes 1 or 0, the number of bytes written.
 *
 * The last literal and a run of up to three remain in the state and would join equal bytes that
 * follow: an unrelated block begins with zelsEncodeRLEInit_BZ2_8u.
 *
 * zelStsNullPointer: pDst, pDstLen or pState is null. zelStsBadSize: *pDstLen is below 1, even when
 * nothing is to be written.
 */
ZELDC_API ZelStatus zelsEncodeRLEFlush_BZ2_8u(uint8_t* pDst, int32_t* pDstLen, RleBz2State* pState);

/*
 * Copies the table of values in use to the 256 bytes at inUse: entry b is 1 if byte b has been
 * written since Init, else 0.
 *
 * zelStsNullPointer: inUse or pState is null.
 */
ZELDC_API ZelStatus zelsRLEGetInUseTable_8u(uint8_t* inUse, const RleBz2State* pState);

/*
 * Decodes the *pSrcLen bytes at *ppSrc into pDst, which has room for *pDstLen; arguments advance as
 * with zelsEncodeRLE_BZ2_8u. It keeps no state: a call takes a whole block. An empty source gives
 * zelStsOk with *pDstLen 0.
 *
 * zelStsOk: the source is used up and the destination has room left. zelStsDstFull: the
 * destination is exactly full, whether or not source remains (*pSrcLen tells), or the copies of a
 * run do not fit: its count byte is then consumed and none of them is written. Decoding cannot be
 * resumed after that; repeat the block with more room.
 * zelStsNullPointer: ppSrc, *ppSrc, pSrcLen, pDst or pDstLen is null. zelStsBadSize: *pDstLen is
 * below 1 or *pSrcLen negative.
 */
ZELDC_API ZelStatus zelsDecodeRLE_BZ2_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t* pDst,
                                         int32_t* pDstLen);

/*
 * Renumbers the len bytes at pSrcDst in place to the alphabet in use: each becomes the number of
 * smaller values whose entry in the 256-byte table inUse is not 0. The number of all such entries
 * goes to *pSizeDictionary.
 *
 * A byte whose own entry is 0 is no error: it gets the rank of the next value in use.
 *
 * zelStsNullPointer: inUse, pSrcDst or pSizeDictionary is null. zelStsBadSize: len is below 1.
 */
ZELDC_API ZelStatus zelsReduceDictionary_8u_I(const uint8_t* inUse, uint8_t* pSrcDst, int32_t len,
                                              int32_t* pSizeDictionary);

/*
 * Undoes zelsReduceDictionary_8u_I: byte k becomes the k-th value in use, for k from 0 to
 * sizeDictionary - 1. A byte for which there is no such value becomes 0.
 *
 * zelStsNullPointer: inUse or pSrcDst is null. zelStsBadSize: len or sizeDictionary is below 1.
 */
ZELDC_API ZelStatus zelsExpandDictionary_8u_I(const uint8_t* inUse, uint8_t* pSrcDst, int32_t len,
                                              int32_t sizeDictionary);

/*
 * Zero runs: a run of z zero bytes becomes the digits of z in bijective base 2, least significant
 * first, as symbols 0 (worth 1) and 1 (worth 2); any other byte b becomes symbol b + 1. Encodes the
 * *pSrcLen bytes at *ppSrc into the 16-bit symbols at pDst, room for *pDstLen of them, and adds
 * each symbol written to its counter in pFreq, 257 entries, which the caller clears. *ppSrc
 * advances and *pSrcLen falls by the bytes consumed; *pDstLen becomes the number of symbols
 * written. No end-of-block symbol is written.
 *
 * A run that needs more symbols than are free is cut: with r free, 2^(r+1) - 2 zeros are consumed
 * and fill the destination. No run is carried into the next call, which codes the rest as a run of
 * its own; a decoder joins the two into something else, so a block belongs into one call. *pSrcLen
 * symbols always suffice.
 *
 * zelStsOk: the source is used up. zelStsDstFull: it is not.
 * zelStsNullPointer: ppSrc, *ppSrc, pSrcLen, pDst, pDstLen or pFreq is null. zelStsBadSize:
 * *pSrcLen or *pDstLen is below 1.
 */
ZELDC_API ZelStatus zelsEncodeZ1Z2_BZ2_8u16u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                             uint16_t* pDst, int32_t* pDstLen, uint32_t* pFreq);

/*
 * Decodes the *pSrcLen zero-run symbols at *ppSrc into pDst, room for *pDstLen bytes. *ppSrc
 * advances and *pSrcLen falls by the symbols consumed; *pDstLen becomes the number of bytes
 * written. Of a symbol above 256 the low eight bits of s - 1 are taken.
 *
 * A run that does not fit is not written at all, yet its digits are consumed. A run that fits
 * exactly is written, and the symbol behind it stays. A run's length saturates, it never wraps.
 *
 * zelStsOk: the source is used up and all of it written. zelStsDstFull: symbols remain, or the last
 * run did not fit.
 * zelStsNullPointer: ppSrc, *ppSrc, pSrcLen, pDst or pDstLen is null. zelStsBadSize: *pSrcLen or
 * *pDstLen is below 1.
 */
ZELDC_API ZelStatus zelsDecodeZ1Z2_BZ2_16u8u(const uint16_t** ppSrc, int32_t* pSrcLen,
                                             uint8_t* pDst, int32_t* pDstLen);

/* ======================================================================== */
/* Block sorting: multi-table Huffman coder                                 */
/* ======================================================================== */

/*
 * The last stage of the bzip2 format: blocks of 16-bit symbols under 2 to 6 Huffman tables, each
 * group of 50 symbols coded with the table that suits it. A block is a table description (number
 * of tables, a table selector for each group, code lengths) followed by the symbols. The block
 * header with its in-use bitmap, the block's end-of-block symbol (its largest: alphaSize - 1) and
 * the stream's frame are the caller's.
 *
 * Bits go from the most significant one down, through an accumulator that the caller holds and
 * uses for headers of its own: *pCode is a word filled from its top bit, *pCodeLenBits the number
 * of bits in it, 0..32. Bits below the count are ignored on entry and zero on return. Encoder and
 * decoder leave bits there between calls; before the first, both values are 0.
 *
 * Encoding a block: Init over all its symbols, Pack, EncodeHuff over the same symbols.
 */

/*
 * Size of an encoder state for a block of len symbols: 2 * ceil(len / 50) + 7764.
 *
 * zelStsNullPointer: pSize is null. zelStsBadSize: len is below 1.
 */
ZELDC_API ZelStatus zelsEncodeHuffGetSize_BZ2_16u8u(int32_t len, int32_t* pSize);

/*
 * Designs tables and selectors for the block of len symbols at pSrc: 2 tables for fewer than 200
 * symbols, 3 below 600, 4 below 1200, 5 below 2400, else 6. pFreq[s] is how often symbol s occurs,
 * for the alphaSize symbols 0 .. alphaSize - 1, end of block included; it decides only how the
 * alphabet is dealt to the tables at first, and any values are safe. Five rounds follow, in which
 * each group takes the table that codes it in the fewest bits (the lowest-numbered of equals) and
 * each table gets a Huffman code for the groups that took it. Every symbol of the alphabet has a
 * code in every table, of 1 to 17 bits. (D. Huffman, "A method for the construction of
 * minimum-redundancy codes", 1952; longer codes are shortened as in ITU-T T.81, K.2.)
 *
 * Small blocks: the share of the alphabet's total frequency that a table gets at first is
 * (len + 4024) / tables, so that below about 4000 symbols most or all of the alphabet begins in
 * the first tables.
 *
 * The state must have the size that GetSize gives for len, or more.
 *
 * zelStsNullPointer: pFreq, pSrc or pState is null. zelStsBadSize: alphaSize is outside 1..258;
 * len is outside 1..1638350 (32767 groups, all that the description can tell); a symbol is not
 * below alphaSize. The state is then unchanged.
 */
ZELDC_API ZelStatus zelsEncodeHuffInit_BZ2_16u8u(int32_t alphaSize, const uint32_t* pFreq,
                                                 const uint16_t* pSrc, int32_t len,
                                                 HuffBz2EncodeState* pState);

/*
 * Allocates a state for a block of len symbols, stores it in *ppState and does Init over srcLen
 * symbols, whose status it returns: the pointer is stored, and to be freed, when Init fails, too.
 * A failed allocation stores null and is reported as zelStsNullPointer.
 *
 * Besides the statuses of Init, zelStsNullPointer: ppState is null; zelStsBadSize: len is below 1
 * (both with nothing stored), or srcLen symbols have more groups than len symbols.
 */
ZELDC_API ZelStatus zelsEncodeHuffInitAlloc_BZ2_16u8u(int32_t len, int32_t alphaSize,
                                                      const uint32_t* pFreq, const uint16_t* pSrc,
                                                      int32_t srcLen,
                                                      HuffBz2EncodeState** ppState);

/* Releases a state of InitAlloc; null is ignored. */
ZELDC_API void zelsEncodeHuffFree_BZ2_16u8u(HuffBz2EncodeState* pState);

/*
 * Writes the block's table description. *pDstLen is the capacity of pDst in bytes on entry and the
 * number of bytes written on return. The state is only read; repeating the call repeats the bits.
 *
 * zelStsOk: complete; whole bytes have been written as far as there was room, and up to 32 bits
 * may be pending in the accumulator (fewer than 8 unless the destination is full). zelStsDstFull:
 * more than 32 bits would be pending: the block's output is unusable, start over with more room
 * and the accumulator as it was before. zelStsNullPointer: a pointer is null. zelStsBadSize: the
 * capacity is below 1, or *pCodeLenBits is outside 0..32.
 */
ZELDC_API ZelStatus zelsPackHuffContext_BZ2_16u8u(uint32_t* pCode, int32_t* pCodeLenBits,
                                                  uint8_t* pDst, int32_t* pDstLen,
                                                  const HuffBz2EncodeState* pState);

/*
 * Codes the symbols at *ppSrc, *pSrcLen of them, from the first group on: a block is coded in one
 * call. *ppSrc and *pSrcLen move past the symbols coded; *pDstLen is the capacity of pDst in bytes
 * on entry and the number of bytes written on return. With *pSrcLen 0, whole bytes of the
 * accumulator are written. The state is only read; repeating the call repeats the bits. Room for
 * 17 bits a symbol always suffices.
 *
 * zelStsOk: all symbols are coded; up to 32 bits may be pending, as for Pack. zelStsDstFull: more
 * would be pending: the block's output is unusable. zelStsNullPointer: a pointer or *ppSrc is
 * null. zelStsBadSize, with nothing done: the capacity is below 1; *pSrcLen is negative or more
 * than Init was given; *pCodeLenBits is outside 0..32; a symbol is not below Init's alphaSize.
 */
ZELDC_API ZelStatus zelsEncodeHuff_BZ2_16u8u(uint32_t* pCode, int32_t* pCodeLenBits,
                                             const uint16_t** ppSrc, int32_t* pSrcLen,
                                             uint8_t* pDst, int32_t* pDstLen,
                                             const HuffBz2EncodeState* pState);

/*
 * The kernel that chooses tables for groups, without any argument check: for each group of 50 of
 * the len symbols at pSrc (all below 258; the last group may be shorter) finds the table, of
 * tableCount (1..6), whose code lengths for the group's symbols have the smallest sum, the
 * lowest-numbered of equals. pLengths holds 258 lengths (bytes, 0..25) per table, pSelectors receives a
 * byte per group, pCounts (258 per table) how often each symbol occurs in the groups of each
 * table. Returns zelStsOk.
 */
ZELDC_API ZelStatus ownsHuffSelectGroup(const uint16_t* pSrc, int32_t len, int32_t tableCount,
                                        const uint8_t* pLengths, uint32_t* pCounts,
                                        uint8_t* pSelectors);

/*
 * Size of a decoder state for blocks of up to len symbols: ceil(len / 50) + 8176.
 *
 * zelStsNullPointer: pSize is null. zelStsBadSize: len is below 1.
 */
ZELDC_API ZelStatus zelsDecodeHuffGetSize_BZ2_8u16u(int32_t len, int32_t* pSize);

/*
 * Prepares a state for blocks over alphaSize symbols, the last of which (alphaSize - 1) ends a
 * block. Blocks of one alphabet size need no further Init between them.
 *
 * Init cannot know how large the state is and allows descriptions of up to 32767 selectors: a
 * state that the caller placed, or initialised again, must have the size for 1638350 symbols when
 * the stream is not trusted.
 *
 * zelStsNullPointer: pState is null. zelStsBadSize: alphaSize is outside 1..258.
 */
ZELDC_API ZelStatus zelsDecodeHuffInit_BZ2_8u16u(int32_t alphaSize, HuffBz2DecodeState* pState);

/*
 * Allocates a state for blocks of up to len symbols, stores it in *ppState and does Init, whose
 * status it returns; the pointer is stored when Init fails, too. The state remembers its size:
 * descriptions with more than ceil(len / 50) selectors are refused. (Other encoders may describe a
 * few selectors more than a block needs: the usual ones up to 18002 for blocks of 900000 bytes,
 * which take len 900100.)
 *
 * Besides the statuses of Init, with nothing stored, zelStsNullPointer: ppState is null;
 * zelStsBadSize: len is below 1; zelStsNoMemory: there is no memory.
 */
ZELDC_API ZelStatus zelsDecodeHuffInitAlloc_BZ2_8u16u(int32_t len, int32_t alphaSize,
                                                      HuffBz2DecodeState** ppState);

/* Releases a state of InitAlloc; null is ignored. */
ZELDC_API void zelsDecodeHuffFree_BZ2_8u16u(HuffBz2DecodeState* pState);

/*
 * Reads a block's table description and builds its decoding tables. *ppSrc and *pSrcLen move past
 * the bytes taken into the accumulator; no byte is taken before it is needed (18 bits are held for
 * the header, 6 for a selector, 5 for a table's first length, 2 for a step of the lengths, even
 * where one would do).
 *
 * zelStsOk: complete. zelStsSrcExhausted: all the source is taken; call again with more. The state
 * keeps everything read so far. zelStsBz2BadContext: the description is invalid (a number of
 * tables outside 2..6, no selectors or more than the state holds, a selector not below the number
 * of tables, a length outside 1..20 at any step); the next call expects a new description. Lengths
 * for which there are no codes enough are accepted, as are those that leave codes unused.
 * zelStsNullPointer: a pointer or *ppSrc is null. zelStsBadSize: *pSrcLen is below 1, or
 * *pCodeLenBits is outside 0..32. zelStsBadData: the state is corrupt.
 */
ZELDC_API ZelStatus zelsUnpackHuffContext_BZ2_8u16u(uint32_t* pCode, int32_t* pCodeLenBits,
                                                    const uint8_t** ppSrc, int32_t* pSrcLen,
                                                    HuffBz2DecodeState* pState);

/*
 * Decodes a block's symbols up to and including the end-of-block symbol. *ppSrc and *pSrcLen move
 * past the bytes taken into the accumulator; *pDstLen is the capacity of pDst in symbols on entry
 * and the number of symbols written on return.
 *
 * Before every symbol the accumulator is filled, byte by byte, to at least 20 bits. Where the
 * source cannot give them the call stops, although the bits held may be a whole code: behind a
 * block there must be as many bytes as that takes (in the bzip2 format the next block's header, or
 * the end-of-stream mark, gives them). After the last symbol 0 to 27 bits, or what was there from
 * before, remain in the accumulator.
 *
 * zelStsOk: the end-of-block symbol was decoded. zelStsSrcExhausted: the source is used up; call
 * again with more (*pSrcLen 0 goes on from the accumulator alone). zelStsDstFull: the destination
 * is full and source bytes are left; call again with more room. zelStsBadData: the bits are no
 * code of the table, the block has more groups than selectors, or no description has been read;
 * the symbols before it are delivered, and repeating the call gives the same. With over-subscribed
 * lengths, codes that would lie beyond the code space are never met. zelStsNullPointer: a pointer
 * or *ppSrc is null. zelStsBadSize: the capacity is below 1, *pSrcLen is negative, or
 * *pCodeLenBits is outside 0..32.
 */
ZELDC_API ZelStatus zelsDecodeHuff_BZ2_8u16u(uint32_t* pCode, int32_t* pCodeLenBits,
                                             const uint8_t** ppSrc, int32_t* pSrcLen,
                                             uint16_t* pDst, int32_t* pDstLen,
                                             HuffBz2DecodeState* pState);

/* ======================================================================== */
/* Move-to-front                                                            */
/* ======================================================================== */

/*
 * Move-to-front over bytes (Bentley, Sleator, Tarjan, Wei: "A locally adaptive data compression
 * scheme", CACM 29/4, 1986): each byte is coded as the number of different byte values used since
 * its last use. The state is the list of the 256 byte values, most recent first, and nothing else;
 * it persists between calls, so that any split of a stream into calls gives the same output.
 *
 * The two directions keep the list in two forms, which is visible in the state's 256 bytes: forward
 * holds the position of each value (entry v is where value v stands), inverse holds the value at
 * each position. A fresh state serves either direction and belongs to it from its first use until
 * it is initialised again.
 */

/*
 * Writes the size of a state, 256, to *pSize.
 *
 * zelStsNullPointer: pSize is null.
 */
ZELDC_API ZelStatus zelsMTFGetSize_8u(int32_t* pSize);

/*
 * Sets the list to 0, 1, 2 .. 255 in the 256 bytes at pState.
 *
 * zelStsNullPointer: pState is null.
 */
ZELDC_API ZelStatus zelsMTFInit_8u(MtfState* pState);

/*
 * Allocates a state with zelsMalloc_8u, initialises it and stores it in *ppState, to be released
 * with zelsMTFFree_8u.
 *
 * zelStsNullPointer: ppState is null. zelStsNoMemory: there is no memory; *ppState is then null,
 * where other families leave it unwritten.
 */
ZELDC_API ZelStatus zelsMTFInitAlloc_8u(MtfState** ppState);

/* Releases a state of zelsMTFInitAlloc_8u; null is ignored. */
ZELDC_API void zelsMTFFree_8u(MtfState* pState);

/*
 * Replaces each of the len bytes at pSrc by its position in the list (0 is the front), moving it
 * to the front, and writes the len positions to pDst, which may be pSrc.
 *
 * zelStsNullPointer: pSrc, pDst or pState is null. zelStsBadSize: len is below 1. Neither the
 * destination nor the state has then changed.
 */
ZELDC_API ZelStatus zelsMTFFwd_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len,
                                  MtfState* pState);

/*
 * Undoes zelsMTFFwd_8u: replaces each of the len positions at pSrc (any byte is one) by the byte
 * value there, moving it to the front. Arguments and results as with zelsMTFFwd_8u.
 */
ZELDC_API ZelStatus zelsMTFInv_8u(const uint8_t* pSrc, uint8_t* pDst, int32_t len,
                                  MtfState* pState);

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
