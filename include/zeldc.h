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

/*
 * Deflate (RFC 1951) in stages that the caller drives, over one Lz77EncodeState. Per block:
 *
 *   1. zelsEncodeLZ77_8u turns source bytes into pairs, in an array of the caller's or the state's;
 *   2. zelsEncodeLZ77SetStatus_8u(Lz77StatusCode) begins a block;
 *   3. zelsEncodeLZ77SelectHuffMode_8u may be asked which kind of block to write;
 *   4. zelsEncodeLZ77FixedHuff_8u or zelsEncodeLZ77DynamicHuff_8u codes the pairs, or
 *      zelsEncodeLZ77StoredBlock_8u copies the bytes, until it returns something other than
 *      zelStsDstFull; with the same flush mode as step 1.
 *
 * After the final block: SetStatus(Lz77StatusFinal), then zelsEncodeLZ77Flush_8u writes the
 * trailer. There is no header around the stream: raw deflate, then the trailer.
 *
 * The stream is the same for every way of cutting the destination, down to one byte at a time. What
 * a call could not write (part of a code, header, end of block, marker) stays in the state and is
 * written first by the next call, whatever its flush mode.
 */

/*
 * Writes the size of a state in bytes, 598928, to *pSize.
 *
 * zelStsNullPointer: pSize is null.
 */
ZELDC_API ZelStatus zelsEncodeLZ77GetSize_8u(int32_t* pSize);

/*
 * Prepares pState, 598928 bytes at any address. `level` is an Lz77Level (any unlisted value means
 * normal). `checksum` is an Lz77Checksum; with an unlisted value none is kept and the trailer
 * cannot be written. The running checksum starts at 0 for both kinds; for Adler-32 this differs
 * from RFC 1950, where it starts at 1, and is kept so.
 *
 * zelStsNullPointer: pState is null.
 */
ZELDC_API ZelStatus zelsEncodeLZ77Init_8u(Lz77Level level, Lz77Checksum checksum,
                                          Lz77EncodeState* pState);

/*
 * Allocates a state, prepares it as zelsEncodeLZ77Init_8u does and stores it in *ppState; release
 * it with zelsLZ77Free_8u.
 *
 * zelStsNullPointer: ppState is null. zelStsNoMemory: no memory; *ppState is unwritten.
 */
ZELDC_API ZelStatus zelsEncodeLZ77InitAlloc_8u(Lz77Level level, Lz77Checksum checksum,
                                               Lz77EncodeState** ppState);

/*
 * Begins a new stream with the same level and checksum kind: drops history, checksum, counters,
 * bits that wait and everything else still to be written, and returns to the state's own pair
 * buffer, with index 0 and length 65280. The status that SetStatus stored and the block coders'
 * phase stay: call SetStatus(Lz77StatusCode) before the first block. pState is not tested.
 */
ZELDC_API ZelStatus zelsEncodeLZ77Reset_8u(Lz77EncodeState* pState);

/* Writes the status that SetStatus stored last to *pStatus. Neither pointer is tested. */
ZELDC_API ZelStatus zelsEncodeLZ77GetStatus_8u(Lz77EncodeStatus* pStatus,
                                               const Lz77EncodeState* pState);

/*
 * Stores `status`, any value. pState is not tested. Two values do more:
 *
 * - Lz77StatusCollect: the pair buffer's index becomes 0 and its length 65280. This holds after
 *   zelsEncodeLZ77SetPairs_8u too, whatever the size of the caller's array: hand the array to
 *   SetPairs again if it is shorter.
 * - Lz77StatusCode: a block begins, whose header the next block coder writes; counts that the mode
 *   selection made are dropped. The pair buffer's length becomes its index, the number of pairs
 *   collected, and its index 0.
 */
ZELDC_API ZelStatus zelsEncodeLZ77SetStatus_8u(Lz77EncodeStatus status, Lz77EncodeState* pState);

/*
 * Writes the pair buffer's address, index and length. After Init the buffer is the state's own,
 * of 65280 pairs; pairs that zelsEncodeLZ77_8u writes into it are added to the index. The address
 * is as unaligned as the state's.
 *
 * zelStsNullPointer: an argument is null; nothing is written.
 */
ZELDC_API ZelStatus zelsEncodeLZ77GetPairs_8u(Lz77Pair** ppPairs, int32_t* pPairsInd,
                                              int32_t* pPairsLen, Lz77EncodeState* pState);

/*
 * Makes the caller's array the pair buffer, with this index and length, until Init, Reset or
 * another SetPairs. The state only keeps the three values for GetPairs; the index of a caller's
 * array is moved by the caller.
 *
 * zelStsNullPointer: pPairs or pState is null.
 */
ZELDC_API ZelStatus zelsEncodeLZ77SetPairs_8u(Lz77Pair* pPairs, int32_t pairsInd, int32_t pairsLen,
                                              Lz77EncodeState* pState);

/*
 * Finds matches: turns *pSrcLen bytes at *ppSrc into pairs at *ppPairs, where *pPairsLen records
 * are free, and updates the checksum. All four are advanced by what was consumed and written.
 *
 * Matches have 3 to 258 bytes and reach less than 32768 back, over earlier calls too, and never
 * cover the last two bytes of a call (best level: three), which become literals whatever follows.
 * Fast: a rolling hash of three bytes with one candidate. Normal: a tabulation hash (Zobrist) with
 * a chain of up to 16 candidates, the longest match, the nearest of equal ones. Best: up to 512
 * candidates; a match gives way to a literal where the next position has a strictly longer one, and
 * matches of three bytes more than 4096 back are not used.
 *
 * Lz77FlushFull drops the history after the call, and the counter of input bytes, which is the
 * length in the CRC trailer, starts at 0 again. Both in such a call and in the next one matches may
 * reach any distance (in the next one within its own bytes), so two duties are the caller's:
 *
 * - Give either call at most 32768 bytes. Longer ones may yield distances that deflate cannot
 *   express; they are stored as their low 16 bits.
 * - Use it only where the counter is 0: for the first call of a stream, or after another full
 *   flush. A later one counts, for *ppSrc, *pSrcLen and the checksum, not the bytes consumed but
 *   the counter at entry plus these. It then reads that many bytes from *ppSrc, which must be
 *   there, advances *ppSrc past them, and may leave *pSrcLen negative.
 *
 * zelStsNullPointer: ppSrc, pPairsLen, pSrcLen or ppPairs, then *ppPairs or pState is null.
 * zelStsBadSize: *pPairsLen is negative, then *pSrcLen is. zelStsDstFull: *pPairsLen is 0 (even
 * without source; nothing changes), or the pair space ran out before the source, which is then
 * continued by the next call. zelStsOk otherwise; nothing changes where *pSrcLen is 0.
 */
ZELDC_API ZelStatus zelsEncodeLZ77_8u(const uint8_t** ppSrc, int32_t* pSrcLen, Lz77Pair** ppPairs,
                                      int32_t* pPairsLen, Lz77Flush flush, Lz77EncodeState* pState);

/*
 * Says whether a dynamic block is likely to be worth its header for these pairs, by how far the
 * most frequent literal/length symbol stands out from the one of mean rank. At the start of a block
 * (after SetStatus(Lz77StatusCode)) the pairs are counted and *pHuffMode is decided, to
 * Lz77HuffModeFixed without pairs; later calls for the same block repeat the decision.
 *
 * The counts are kept for zelsEncodeLZ77DynamicHuff_8u, so give both the same pairs. They hold each
 * match's distance code as a literal/length symbol as well, which is kept: a dynamic block after a
 * selection is a little larger than one without.
 *
 * zelStsNullPointer: pPairs, pHuffMode or pState is null. zelStsBadSize: pairsLen is negative.
 */
ZELDC_API ZelStatus zelsEncodeLZ77SelectHuffMode_8u(const Lz77Pair* pPairs, int32_t pairsLen,
                                                    Lz77HuffMode* pHuffMode,
                                                    Lz77EncodeState* pState);

/*
 * Codes *pSrcLen pairs at *ppSrc as a block with the fixed or with its own Huffman codes (RFC 1951,
 * sections 3.2.6 and 3.2.7) into *pDstLen bytes at *ppDst. All four are advanced. Give a block's
 * pairs in one call, and in the calls that resume it after zelStsDstFull the rest of them: the
 * codes of a dynamic block are built from the pairs of its first call, as optimal ones limited to
 * 15 bits (ITU-T T.81, K.2). Called without SetStatus(Lz77StatusCode) before, a block is written
 * without a header.
 *
 * After the pairs comes the end of the block, then what `flush` asks for:
 *
 * - Lz77FlushNone: nothing; the next block continues at the same bit.
 * - Lz77FlushSync, Lz77FlushFull: an empty stored block, 00 00 FF FF after padding.
 * - Lz77FlushFinal: padding to a byte. The block is marked as the final one. Where the last
 *   zelsEncodeLZ77_8u left source to be coded, the block is an ordinary one as with Lz77FlushNone.
 *
 * A call without pairs finishes what is due of the block before, or writes an empty block after
 * SetStatus(Lz77StatusCode).
 *
 * Pairs of no known origin are masked into the format's ranges; what they decode to is undefined.
 *
 * zelStsNullPointer: ppSrc, pSrcLen, ppDst or pDstLen, then *ppDst or pState is null.
 * zelStsBadSize: *pDstLen or *pSrcLen is negative. zelStsDstFull: the destination is empty or could
 * not take everything. zelStsStreamEnd: the final block is complete. zelStsOk: any other is.
 */
ZELDC_API ZelStatus zelsEncodeLZ77FixedHuff_8u(const Lz77Pair** ppSrc, int32_t* pSrcLen,
                                               uint8_t** ppDst, int32_t* pDstLen, Lz77Flush flush,
                                               Lz77EncodeState* pState);
ZELDC_API ZelStatus zelsEncodeLZ77DynamicHuff_8u(const Lz77Pair** ppSrc, int32_t* pSrcLen,
                                                 uint8_t** ppDst, int32_t* pDstLen, Lz77Flush flush,
                                                 Lz77EncodeState* pState);

/*
 * Writes *pSrcLen bytes (at most 65535) at *ppSrc as a stored block, the final one if `flush` is
 * Lz77FlushFinal, whatever source the match finder has left. The other modes do not differ: a
 * stored block ends on a byte. After zelStsDstFull the next call passes the rest of the block's
 * bytes. The match finder has to have seen the bytes if later matches are to reach back to them.
 *
 * zelStsNullPointer: an argument, *ppSrc or *ppDst is null. zelStsBadSize: *pSrcLen or *pDstLen is
 * negative. zelStsDstFull: *pDstLen is 0, or the destination could not take everything.
 * zelStsBadSize: *pSrcLen is above 65535. zelStsStreamEnd: the final block is complete.
 */
ZELDC_API ZelStatus zelsEncodeLZ77StoredBlock_8u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                                 uint8_t** ppDst, int32_t* pDstLen, Lz77Flush flush,
                                                 Lz77EncodeState* pState);

/*
 * Writes the trailer: for Lz77ChecksumAdler32 its 4 bytes, most significant first; else 8 bytes,
 * the CRC-32 (0 for Lz77ChecksumNone) and the counter of input bytes modulo 2^32, each least
 * significant byte first. The final block has to be complete, which ends it on a byte. No pointer
 * is tested.
 *
 * zelStsBadData: the status is not Lz77StatusFinal, or the checksum kind is not a listed one.
 * zelStsDstFull: the destination could not take everything; the next call goes on.
 */
ZELDC_API ZelStatus zelsEncodeLZ77Flush_8u(uint8_t** ppDst, int32_t* pDstLen,
                                           Lz77EncodeState* pState);

/* Releases a state of zelsEncodeLZ77InitAlloc_8u or zelsDecodeLZ77InitAlloc_8u; null is ignored. */
ZELDC_API void zelsLZ77Free_8u(void* pState);

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
