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
 * SetStatus(Lz77StatusCode). Where it finishes a marker it returns zelStsOk whatever its `flush`.
 * Where nothing is due, Lz77FlushFinal pads to a byte and returns zelStsStreamEnd, or with source
 * left to be coded does nothing and returns zelStsOk.
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

/*
 * The deflate decoder (RFC 1951) in stages over one state. Two ways lead from bits to bytes and may
 * alternate at every block boundary, since both keep the same history of the last 32768 bytes:
 *
 * - one pass: zelsDecodeLZ77FixedHuffFull_8u, zelsDecodeLZ77DynamicHuffFull_8u and
 *   zelsDecodeLZ77StoredBlock_8u write bytes;
 * - two stages: zelsDecodeLZ77FixedHuff_8u, zelsDecodeLZ77DynamicHuff_8u and
 *   zelsDecodeLZ77StoredHuff_8u write pairs, which zelsDecodeLZ77_8u expands into bytes.
 *
 * zelsDecodeLZ77GetBlockType_8u says which decoder the next block is for. Each decoder is called
 * again with more source or room until it returns zelStsOk (the block has ended) or zelStsStreamEnd
 * (it was the final one).
 *
 * What holds for the Huffman decoders, in both ways:
 *
 * - Source that a call took but did not need is given back before it returns, whole byte by whole
 *   byte: *ppSrc stands behind the byte that holds the last bit used. What stays in the state are
 *   the bits of that byte, the bits of a unit that the end of the source cut, and the one or two
 *   bytes of a header that was refused. At the end of the final block everything behind it is given
 *   back, which is where a trailer begins; *ppSrc may then stand before the source of this call.
 * - While it reads a dynamic block's code lengths, the decoder wants 22 bits for each, also where
 *   the last one is shorter. A raw stream is therefore to be followed by three more bytes, which a
 *   trailer provides; append three zero bytes to a stream that has none.
 * - Codes are not tested for being complete, and 288 literal/length and 32 distance lengths are
 *   accepted: bits that lead to no valid symbol are reported (zelStsBadSize) when they are met,
 *   and stay in the source. An over-subscribed code has no valid symbol.
 * - A distance that reaches back before the first byte of the stream reads what the window holds.
 * - A source of 0 bytes is no reason to stop at once: whatever the state holds is decoded first.
 * - The decoders compute no checksum; the kind given to Init is only kept.
 */

/* Writes the size of a decoder state, always 112876, to *pSize. zelStsNullPointer: pSize is null.
 */
ZELDC_API ZelStatus zelsDecodeLZ77GetSize_8u(int32_t* pSize);

/*
 * Lays out a decoder at pState: between blocks, nothing buffered, no copy pending, status 0, and
 * its own 8192 pairs as pair buffer. The window is not cleared. `checksum` is kept unread, whatever
 * its value. zelStsNullPointer: pState is null.
 */
ZELDC_API ZelStatus zelsDecodeLZ77Init_8u(Lz77Checksum checksum, Lz77DecodeState* pState);

/*
 * Allocates and initialises a decoder and stores its address in *ppState; zelsLZ77Free_8u releases
 * it. zelStsNullPointer: ppState is null. zelStsNoMemory: *ppState is unchanged.
 */
ZELDC_API ZelStatus zelsDecodeLZ77InitAlloc_8u(Lz77Checksum checksum, Lz77DecodeState** ppState);

/*
 * Makes the decoder ready for another stream. Kept are the checksum kind, the bytes of the window
 * and the pointer of the pair buffer; its position becomes 0 and its length 8192, also where
 * zelsDecodeLZ77SetPairs_8u had given a shorter one. zelStsNullPointer: pState is null.
 */
ZELDC_API ZelStatus zelsDecodeLZ77Reset_8u(Lz77DecodeState* pState);

/*
 * Makes the FIRST 32768 bytes of pDict, or all dictLen if there are fewer, the latest history; what
 * is farther back stays as it is. May be called at any time, normally before the first block.
 *
 * zelStsNullPointer: pDict or pState is null. zelStsBadSize: dictLen is below 1.
 */
ZELDC_API ZelStatus zelsDecodeLZ77SetDictionary_8u(const uint8_t* pDict, int32_t dictLen,
                                                   Lz77DecodeState* pState);

/*
 * Reads and sets the pair buffer that the state remembers for the caller: 8192 pairs inside the
 * state after Init. No decoding operation looks at it or at position and length, which are stored
 * unchecked.
 *
 * zelStsNullPointer: any pointer is null; nothing is written.
 */
ZELDC_API ZelStatus zelsDecodeLZ77GetPairs_8u(Lz77Pair** ppPairs, int32_t* pPairsPos,
                                              int32_t* pPairsLen, const Lz77DecodeState* pState);
ZELDC_API ZelStatus zelsDecodeLZ77SetPairs_8u(Lz77Pair* pPairs, int32_t pairsPos, int32_t pairsLen,
                                              Lz77DecodeState* pState);

/*
 * Reads and sets a number that the state keeps for the caller, 0 after Init and Reset. No decoding
 * operation reads or writes it. Both return zelStsOk and test no pointer.
 */
ZELDC_API ZelStatus zelsDecodeLZ77GetStatus_8u(int32_t* pStatus, const Lz77DecodeState* pState);
ZELDC_API ZelStatus zelsDecodeLZ77SetStatus_8u(int32_t status, Lz77DecodeState* pState);

/*
 * Makes the decoder at pDstState (which has been initialised) an independent copy of the one at
 * pSrcState, in the middle of a block too. pDstState keeps its pair buffer, into which 8192 pairs
 * of the other's are copied whatever lengths are set: both buffers must have that many.
 *
 * zelStsNullPointer: a pointer is null.
 */
ZELDC_API ZelStatus zelsDecodeLZ77CopyState_8u(const Lz77DecodeState* pSrcState,
                                               Lz77DecodeState* pDstState);

/*
 * Reads the header of the next block (RFC 1951, section 3.2.3) and writes the kind of decoder that
 * it needs to *pBlockType. Takes one byte of the source at the most, and none where the state
 * still holds three bits. With a block under way nothing is read, and its kind is reported again.
 *
 * A reserved block type passes with zelStsOk: *pBlockType is not written, the three bits are gone,
 * and the state stands between blocks. Set *pBlockType to -1 before the call to notice.
 *
 * zelStsOk; zelStsSrcExhausted: the source is empty, nothing has changed. zelStsNullPointer: a
 * pointer or *ppSrc is null. zelStsBadSize: *pSrcLen is negative.
 */
ZELDC_API ZelStatus zelsDecodeLZ77GetBlockType_8u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                                  Lz77BlockType* pBlockType,
                                                  Lz77DecodeState* pState);

/*
 * Copies a stored block (RFC 1951, section 3.2.4), or what is left of it, to the destination and
 * into the history. zelsDecodeLZ77GetBlockType_8u must have read its header. Bytes that are in the
 * state's bit buffer when the length has been read reach the destination but not the history; the
 * Huffman decoders leave none there.
 *
 * zelStsOk, zelStsStreamEnd: the block has ended, the latter where it was the final one.
 * zelStsSrcExhausted: the source ended. zelStsDstFull: the destination is full, also where the
 * source ended at the same time.
 * zelStsNullPointer: ppSrc, pDstLen, ppDst, pSrcLen, *ppSrc, *ppDst or pState is null.
 * zelStsBadSize: *pDstLen is below 1 or *pSrcLen negative; or the length does not agree with its
 * complement, which stays in the state. zelStsBadData: no stored block is under way.
 */
ZELDC_API ZelStatus zelsDecodeLZ77StoredBlock_8u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                                 uint8_t** ppDst, int32_t* pDstLen,
                                                 Lz77DecodeState* pState);

/*
 * Decodes a stored block into one literal pair per byte; *pPairsLen counts pairs. It reads the
 * header itself: do not call zelsDecodeLZ77GetBlockType_8u for a block that is to be decoded so.
 * While it copies, a source of 0 bytes ends the call before anything else.
 *
 * zelStsOk, zelStsStreamEnd: the block has ended, the latter where it or an earlier block was
 * final (the expander does not report the end of a stream that ends in a stored block).
 * zelStsSrcExhausted, zelStsDstFull: source or pair slots are used up, the source being named
 * first. zelStsNullPointer: ppSrc, ppPairs, pSrcLen, pPairsLen, *ppSrc, *ppPairs or pState is null.
 * zelStsBadSize: a length is negative; or the block's length does not agree with its complement.
 * zelStsBadData: the header of another kind of block; its byte stays in the state.
 */
ZELDC_API ZelStatus zelsDecodeLZ77StoredHuff_8u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                                Lz77Pair** ppPairs, int32_t* pPairsLen,
                                                Lz77DecodeState* pState);

/*
 * Decodes a block with the fixed or with dynamic Huffman codes into pairs; *pPairsLen counts pairs.
 * Between blocks the header is read first. A pair is written whole or not at all.
 *
 * flush: Lz77FlushSync and Lz77FlushFull decode nothing but look, from the next byte boundary on
 * and byte by byte, for the marker 00 00 FF FF that a flush of the encoder's writes, and return
 * zelStsOk behind it or zelStsSrcExhausted with up to 31 bits kept. The kind of block under way, if
 * any, stays as it was. All other values decode.
 *
 * zelStsOk, zelStsStreamEnd: the block has ended, the latter where it or an earlier block was
 * final; the expander will then report the end too, once it has used up its pairs.
 * zelStsSrcExhausted: the source ends before the next whole symbol or header field.
 * zelStsDstFull: no pair slot is left, also where only the end of the block is to follow.
 * zelStsBadSize: a length is negative, or a symbol is not valid (see above).
 * zelStsBadData: the header of another kind of block, which stays in the state.
 * No pointer is tested.
 */
ZELDC_API ZelStatus zelsDecodeLZ77FixedHuff_8u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                               Lz77Pair** ppPairs, int32_t* pPairsLen,
                                               Lz77Flush flush, Lz77DecodeState* pState);
ZELDC_API ZelStatus zelsDecodeLZ77DynamicHuff_8u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                                 Lz77Pair** ppPairs, int32_t* pPairsLen,
                                                 Lz77Flush flush, Lz77DecodeState* pState);

/*
 * Expands pairs into bytes, through the history; *pPairsLen counts pairs. A match that does not fit
 * counts as used, and the rest of it is finished first by the next call that has pairs, or by a
 * one-pass decoder. As a call without pairs does nothing, leave 258 bytes of room for the last pair
 * of a stream. Lengths and distances may be any 16-bit numbers. flush is not looked at.
 *
 * zelStsOk: all pairs are used up. zelStsStreamEnd: the same, after the pair decoders have met the
 * end of the stream, and until Init or Reset; the bytes of that call do not enter the history, so
 * pass all pairs that are left when the stream has ended in one call, and repeat it only for
 * zelStsDstFull.
 * zelStsDstFull: the destination is full, and pairs are left or a match has been cut.
 * zelStsNullPointer: a pointer, *ppPairs or *ppDst is null. zelStsBadSize: a length is negative.
 * Without pairs zelStsOk is returned at once, without room zelStsDstFull.
 */
ZELDC_API ZelStatus zelsDecodeLZ77_8u(const Lz77Pair** ppPairs, int32_t* pPairsLen, uint8_t** ppDst,
                                      int32_t* pDstLen, Lz77Flush flush, Lz77DecodeState* pState);

/*
 * Decode a block with the fixed or with dynamic Huffman codes straight to bytes: header, flush and
 * statuses as with the pair decoders, the destination in place of the pair slots. A match that does
 * not fit is finished by the next call, before anything else.
 *
 * zelStsDstFull: the destination is full, also where only the end of the block is to follow. With
 * no room at all it is returned whatever flush says. zelStsStreamEnd: the bytes of that call do not
 * enter the history.
 * zelStsNullPointer: a pointer, *ppSrc or *ppDst is null. zelStsBadSize: a length is negative, or a
 * symbol is not valid.
 */
ZELDC_API ZelStatus zelsDecodeLZ77FixedHuffFull_8u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                                   uint8_t** ppDst, int32_t* pDstLen,
                                                   Lz77Flush flush, Lz77DecodeState* pState);
ZELDC_API ZelStatus zelsDecodeLZ77DynamicHuffFull_8u(const uint8_t** ppSrc, int32_t* pSrcLen,
                                                     uint8_t** ppDst, int32_t* pDstLen,
                                                     Lz77Flush flush, Lz77DecodeState* pState);

/*
 * The fast loop of zelsDecodeLZ77DynamicHuffFull_8u, for a state inside the body of a dynamic
 * block, without any argument check. pDstStart is where the output begins whose bytes are not yet
 * in the history; *ppDst stands behind what has been written of it. Source and destination advance
 * as usual; nothing enters the history.
 *
 * Returns 0 when source or room is too short to go on fast (tens of source bytes, some 300 bytes of
 * room); a positive number for a match that the caller has to copy, length in the high and distance
 * in the low 16 bits, because it begins in the history and runs on into the output; a negative
 * number whose low byte is 0x60 at the end of the block, or another for an invalid symbol.
 */
ZELDC_API int32_t ownDecodeLZ77DHF_HotSpot(const uint8_t** ppSrc, int32_t* pSrcLen,
                                           const uint8_t* pDstStart, uint8_t** ppDst,
                                           int32_t* pDstLen, Lz77DecodeState* pState);

/*
 * Make decoding tables of the canonical codes (RFC 1951, section 3.2.2) with the given n lengths,
 * 0 for symbols that do not occur, in an area of 6912 bytes:
 *
 *   offset 0     1536 bytes        literal/length values
 *   offset 1536  1536 bytes        literal/length controls
 *   offset 3072  1280 16-bit       distance values
 *   offset 5632  1280 bytes        distance controls
 *
 * Entries 0 to 1023 of each are indexed by the next ten bits of the stream. The low four bits of a
 * control count the bits to consume. Above 10, the entry is a link: of the n - 10 bits that follow
 * (n the count), reversed, entry 1024 + 2 * value + bits of the literal/length tables or
 * 1024 + value + bits of the distance tables is the one meant, whose count includes the first ten.
 *
 * Literal/length control: bit 7 set for a length, value the base less 3, and its number of extra
 * bits in bits 4 to 6; without bit 7, 0 there for a literal, 6 for the end of block, 7 for symbols
 * 286 and 287 and where no code leads. Distance: value the base, extra bits in bits 4 to 7, more
 * than 13 where invalid. No entry consumes 0 bits. Over-subscribed codes lead nowhere.
 *
 * ownMakeLiterTabl clears the whole area first, ownMakeOffsetTabl writes its part alone. At most
 * 288 and 32 lengths are looked at. pCounts is not: the builders count for themselves, so that no
 * contradiction can lead them astray.
 */
ZELDC_API void ownMakeLiterTabl(const uint16_t* pLengths, const void* pCounts, uint8_t* pArea,
                                int32_t n);
ZELDC_API void ownMakeOffsetTabl(const uint16_t* pLengths, const void* pCounts, uint8_t* pArea,
                                 int32_t n);

/*
 * Write len bytes at pDst that repeat the 1 to 8 bytes from pSrc = pDst - 1 .. pDst - 8 on: matches
 * that overlap themselves. ownTablFillBuf holds the routine for distance d at d - 1.
 */
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

/* ======================================================================== */
/* Block sorting: Burrows-Wheeler transform                                 */
/* ======================================================================== */

/*
 * The Burrows-Wheeler transform (Burrows and Wheeler, 1994) of a block: all its rotations are
 * sorted, the block being a ring without an end mark, and each row gives the byte in front of its
 * rotation. The primary index is the row of the block itself. Time is close to linear in its length
 * whatever the bytes; nothing is allocated.
 */

/*
 * Writes to *pSize the bytes of work buffer that zelsBWTFwd_8u needs for a block of len bytes:
 * 6 * len + 70145. This is to be a positive 32-bit number, so len can be 357902250 at most.
 *
 * zelStsNullPointer: pSize is null. zelStsBadSize: len is below 1 or above 357902250.
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
 * from some of the rows that hold it, or from none of them: "ababac" seven times only from row 4 of
 * its seven, and many such blocks from no row. The index reported is one from which
 * the block is restored whenever there is one. A chain of stages must therefore make sure that a
 * block is no such repetition, or that the inverse restores it; one byte less makes a block that is
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
                                                      int32_t srcLen, HuffBz2EncodeState** ppState);

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
 * lowest-numbered of equals. pLengths holds 258 lengths (bytes, 0..25) per table, pSelectors
 * receives a byte per group, pCounts (258 per table) how often each symbol occurs in the groups of
 * each table. Returns zelStsOk.
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
 * the stream is not trusted. (Every state holds 1226 selectors more than its blocks have groups,
 * which is enough for encoders that describe a few too many.)
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
 * and the number of symbols written on return; what the room behind them holds is undefined.
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

/*
 * A run-length code for bytes, without state, header or end mark. Two equal bytes in a row are
 * followed by a count byte: v v k stands for k + 2 copies of v. The first byte of a call and the
 * first byte after a count are fresh: they never complete a pair, whatever precedes them. So 258
 * copies of x become x x 255 x, and a stream grows by at most one half. docs/byte-rle-format.md
 * has the format in full.
 *
 * Both operations: *ppSrc points to *pSrcLen bytes and has advanced past the bytes taken on
 * return, *pSrcLen counting what is left. pDst has room for *pDstLen bytes; on return *pDstLen is
 * the number of bytes written (for the decoder's exception see there); room behind them stays as it
 * was. A call codes as much of the source as fits.
 *
 * zelStsNullPointer: an argument or *ppSrc is null. zelStsBadSize: *pSrcLen or *pDstLen is below 1.
 * Nothing is written then. zelStsDstFull: source bytes are left.
 */

/*
 * Encodes. A byte that has been copied counts as taken: where the second byte of a pair fills the
 * destination, the pair ends without its count and the next call starts with a fresh byte.
 * Therefore what one call has written is to be decoded by a call of its own; pieces that are
 * joined decode to something else.
 */
ZELDC_API ZelStatus zelsEncodeRLE_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t* pDst,
                                     int32_t* pDstLen);

/*
 * Decodes; every byte sequence is accepted, and a pair at the very end may lack its count. When the
 * room is used up:
 *
 * - A run of k further copies that exceeds the room is not written at all, its count is taken, and
 *   *pDstLen becomes the number of bytes written before it plus k: MORE THAN THE CAPACITY. A
 *   caller that sees this has lost the run, and must not read that many bytes. If k equals v and
 *   the next source byte is 0, that byte is taken too.
 * - A run that fits exactly ends the call without a further look at the source.
 * - The second byte of a pair in the last place: a following count of 0 is taken (the run is
 *   complete); any other count stays in the source, where the next call would take it for a
 *   literal.
 * - The first byte after a count in the last place: if it is 0 and the next source byte is 0 too,
 *   the latter is taken and lost.
 *
 * So a destination that the decoded piece fills at most exactly is needed for a faithful result.
 */
ZELDC_API ZelStatus zelsDecodeRLE_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t* pDst,
                                     int32_t* pDstLen);

/* The kernels of the two operations: arguments and results are theirs, but nothing is checked. */
ZELDC_API ZelStatus ownsEncodeRLE_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t* pDst,
                                     int32_t* pDstLen);
ZELDC_API ZelStatus ownsDecodeRLE_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t* pDst,
                                     int32_t* pDstLen);

/* ======================================================================== */
/* Byte Huffman coder                                                       */
/* ======================================================================== */

/*
 * Huffman coding of bytes (D. A. Huffman, 1952) with canonical codes of up to 32 bits, written most
 * significant bit first. The encoder makes its code from 256 frequencies; the decoder makes the
 * same code from the 256 code lengths, which travel as the application likes, for example packed
 * by zelsHuffLenCodeTablePack_8u. docs/byte-huffman-format.md has the code and the packed table in
 * full.
 *
 * A code length table is 256 signed 32-bit numbers, one for each byte value: 0 for a byte without a
 * code, else 1..32. One state of 2596 bytes serves as an encoder or as a decoder, as its last Init
 * left it; no operation but zelsDecodeHuffOne_8u notices the wrong kind.
 *
 * Where all 256 bytes have the same length, the code is empty: the encoder writes 0 bits only, and
 * the data is lost. That is part of the format. Frequencies that lead there (all so near each other
 * that every length is 8) are not worth coding anyway.
 */

/* Writes the size of a state, 2596, to *pSize. zelStsNullPointer: pSize is null. */
ZELDC_API ZelStatus zelsHuffGetSize_8u(int32_t* pSize);

/*
 * Makes an encoder from the frequencies of the 256 byte values. The lengths are optimal, without a
 * limit below 32. A single byte that occurs gets a code of 1 bit.
 *
 * zelStsNullPointer: an argument is null. zelStsFreqTableErr: a frequency is negative, none is
 * positive, or they add up to more than 2^31 - 1. zelStsMaxCodeLenErr: a code would need more than
 * 32 bits. The state is unchanged then.
 */
ZELDC_API ZelStatus zelsEncodeHuffInit_8u(const int32_t* pFreqTable, HuffState* pState);

/*
 * Makes a decoder from 256 code lengths, which need not be those of a prefix code: what such a
 * decoder makes of a stream is unspecified but harmless.
 *
 * zelStsNullPointer: an argument is null. zelStsCodeLenTableErr: a length is below 0 or above 32;
 * the state is unchanged then.
 */
ZELDC_API ZelStatus zelsDecodeHuffInit_8u(const int32_t* pLenTable, HuffState* pState);

/*
 * Allocate a state, store it in *ppState and initialise it. Unlike other families, they return what
 * Init returned: zelStsNullPointer where there was no memory (*ppState is null then); and where
 * the table is unusable, the state has been stored all the same and is to be freed.
 *
 * zelStsNullPointer: ppState is null (decoder: or pLenTable), nothing is allocated then.
 */
ZELDC_API ZelStatus zelsEncodeHuffInitAlloc_8u(const int32_t* pFreqTable, HuffState** ppState);
ZELDC_API ZelStatus zelsDecodeHuffInitAlloc_8u(const int32_t* pLenTable, HuffState** ppState);

/* Releases a state of an InitAlloc; null is ignored. */
ZELDC_API void zelsHuffFree_8u(HuffState* pState);

/* Copies the 256 code lengths of a state to pLenTable. zelStsNullPointer: an argument is null. */
ZELDC_API ZelStatus zelsHuffGetLenCodeTable_8u(int32_t* pLenTable, const HuffState* pState);

/*
 * Codes one byte at a bit position: dstOffset (0..7) bits of *pDst are in use, counted from its
 * most significant bit. They are kept; the rest of *pDst and the bytes after it, (dstOffset +
 * length + 7) / 8 bytes in all, receive the code and 0 bits behind it. The length is found in the
 * length table. The bits that a state keeps for zelsEncodeHuff_8u are not touched.
 *
 * zelStsNullPointer: pDst or pState is null. zelStsBadSize: dstOffset is not 0..7.
 * zelStsCodeLenTableErr: the byte has no code.
 */
ZELDC_API ZelStatus zelsEncodeHuffOne_8u(uint8_t src, uint8_t* pDst, int32_t dstOffset,
                                         const HuffState* pState);

/*
 * Codes srcLen bytes. A multiple of 4 bytes is written, *pDstLen says how many; up to 31 bits wait
 * in the state for the next call or for Final. There is no test for room: zelsHuffGetDstBuffSize_8u
 * tells what to provide. Bytes without a code are left out.
 *
 * zelStsNullPointer: pSrc, pDst, pDstLen or pState is null. zelStsBadSize: srcLen is below 1.
 */
ZELDC_API ZelStatus zelsEncodeHuff_8u(const uint8_t* pSrc, int32_t srcLen, uint8_t* pDst,
                                      int32_t* pDstLen, HuffState* pState);

/*
 * Writes the bits that wait, padded with 0 bits to whole bytes (up to 4), and their number to
 * *pDstLen. The state stays as it was: a second Final writes the same, further coding goes on
 * behind the same bits. A new stream starts with Init.
 *
 * zelStsNullPointer: an argument is null.
 */
ZELDC_API ZelStatus zelsEncodeHuffFinal_8u(uint8_t* pDst, int32_t* pDstLen,
                                           const HuffState* pState);

/*
 * Decodes one byte at a bit position: srcOffset (0..7) bits of *pSrc are skipped. (srcOffset + M +
 * 7) / 8 bytes are read, M being the longest code length, whatever the length of the code. The
 * caller advances by the length that the table has for the byte. The bits that a state keeps for
 * zelsDecodeHuff_8u are not touched.
 *
 * zelStsNullPointer: pSrc, pDst or pState is null, or the state is an encoder. zelStsBadSize:
 * srcOffset is not 0..7, or no byte has a code (tested before the kind of the state).
 */
ZELDC_API ZelStatus zelsDecodeHuffOne_8u(const uint8_t* pSrc, int32_t srcOffset, uint8_t* pDst,
                                         const HuffState* pState);

/*
 * Decodes until srcLen bytes are used up or *pDstLen symbols are stored; *pDstLen becomes the
 * number of symbols, and the room behind them stays as it was. Bits that make no whole code stay in
 * the state for the next call.
 *
 * How much of the source was taken is not reported. A call that stores fewer symbols than it has
 * room for has taken all; one that fills its room may have left source bytes, which are lost to
 * the caller. So give the number of symbols that the stream has, or hand over the source in pieces
 * with room for all that they may hold (zelsHuffGetDstBuffSize_8u). There is no end mark: padding
 * decodes to symbols where it is long enough, and only *pDstLen keeps it out.
 *
 * zelStsNullPointer: pSrc, pDst, pDstLen or pState is null. zelStsBadSize: srcLen or *pDstLen is
 * below 1. Never another status, whatever the bytes are.
 */
ZELDC_API ZelStatus zelsDecodeHuff_8u(const uint8_t* pSrc, int32_t srcLen, uint8_t* pDst,
                                      int32_t* pDstLen, HuffState* pState);

/*
 * Sizes that suffice with the given lengths, each written where its pointer is not null: bytes that
 * coding srcLen bytes and Final can write, and symbols that srcLen bytes can decode to.
 *
 * zelStsNullPointer: pLenTable is null. zelStsBadSize: srcLen is below 1, or a size asked for
 * exceeds 2^31 - 1. zelStsCodeLenTableErr: a length is below 0 or above 32.
 */
ZELDC_API ZelStatus zelsHuffGetDstBuffSize_8u(const int32_t* pLenTable, int32_t srcLen,
                                              int32_t* pEncDstLen, int32_t* pDecDstLen);

/*
 * Packs a code length table into at most *pDstLen bytes and sets *pDstLen to the bytes written.
 * 512 bytes always suffice for lengths within 0..32.
 *
 * zelStsNullPointer: an argument is null. zelStsBadSize: *pDstLen is below 1. Also, unlike
 * elsewhere after the output has been written: zelStsCodeLenTableErr where a length is below 0 or
 * above 32, else zelStsBadSize where the room did not suffice (what fits has been written).
 */
ZELDC_API ZelStatus zelsHuffLenCodeTablePack_8u(const int32_t* pLenTable, uint8_t* pDst,
                                                int32_t* pDstLen);

/*
 * Restores a packed table from the first of *pSrcLen bytes; *pSrcLen becomes the number of bytes
 * that the packed table has. Lengths are not tested: up to 41 can come out of foreign bytes.
 *
 * zelStsNullPointer: an argument is null. zelStsBadSize: *pSrcLen is below 1, or the source ends
 * before the table does; nothing is written then.
 */
ZELDC_API ZelStatus zelsHuffLenCodeTableUnpack_8u(const uint8_t* pSrc, int32_t* pSrcLen,
                                                  int32_t* pLenTable);

/* ======================================================================== */
/* LZSS                                                                     */
/* ======================================================================== */

/*
 * LZSS (J. A. Storer and T. G. Szymanski, 1982) with a window of 32 KB: literals of 9 bits and
 * matches of 24 bits, most significant bit first, without header and end mark.
 * docs/lzss-format.md has the format in full.
 *
 * Both directions are resumable and use the same state of 327724 bytes, as their Init left it. A
 * stream may have any length. Room behind the bytes that a call reports stays as it was.
 */

/* Writes the size of a state, 327724, to *pSize. zelStsNullPointer: pSize is null. */
ZELDC_API ZelStatus zelsLZSSGetSize_8u(int32_t* pSize);

/* Begin a stream. zelStsNullPointer: pState is null. */
ZELDC_API ZelStatus zelsEncodeLZSSInit_8u(LzssState* pState);
ZELDC_API ZelStatus zelsDecodeLZSSInit_8u(LzssState* pState);

/*
 * Allocate a state, initialise it and store it in *ppState.
 *
 * zelStsNullPointer: ppState is null. zelStsNoMemory: no memory; *ppState is unchanged.
 */
ZELDC_API ZelStatus zelsEncodeLZSSInitAlloc_8u(LzssState** ppState);
ZELDC_API ZelStatus zelsDecodeLZSSInitAlloc_8u(LzssState** ppState);

/* Releases a state of an InitAlloc, of either direction; null is ignored. */
ZELDC_API void zelsLZSSFree_8u(LzssState* pState);

/*
 * Codes *pSrcLen bytes at *ppSrc into room for *pDstLen bytes at *ppDst; all four advance. The
 * parse is greedy: the longest match among up to 16 earlier places, found by hash chains, the
 * nearest of equal ones. The last two bytes of every call are literals, so small pieces compress
 * less. Up to 31 bits stay in the state. How the destination is cut does not change the stream.
 *
 * zelStsOk: the source is used up (also when it was empty). zelStsDstFull: there is no room, or the
 * room was used up before the source was or before all whole bytes were out; call again, or
 * where no source is left, flush.
 * zelStsNullPointer: an argument is null, or *ppSrc or *ppDst where neither length is 0.
 * zelStsBadSize: a length is negative.
 */
ZELDC_API ZelStatus zelsEncodeLZSS_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t** ppDst,
                                      int32_t* pDstLen, LzssState* pState);

/*
 * Writes what is left in the state, padded with 0 bits to whole bytes (up to 4), which ends the
 * stream. *ppDst and *pDstLen advance.
 *
 * zelStsOk: all is written; the state stays as it was before this call, and a second flush would
 * write the same bytes again: a new stream starts with Init. zelStsDstFull: the room was used up;
 * the next flush writes the rest.
 * zelStsNullPointer: an argument or *ppDst is null. zelStsBadSize: *pDstLen is below 1.
 */
ZELDC_API ZelStatus zelsEncodeLZSSFlush_8u(uint8_t** ppDst, int32_t* pDstLen, LzssState* pState);

/*
 * Decodes *pSrcLen bytes at *ppSrc into room for *pDstLen bytes at *ppDst; all four advance. Up to
 * 31 bits, and the rest of a match that does not fit, stay in the state: tokens may come out of a
 * call without source.
 *
 * Every byte sequence is accepted. Matches that reach before the start of the stream yield zeros;
 * a distance of 0 means 32768.
 *
 * zelStsOk: the source is used up and there is room left; at the end of a stream up to 7 bits of
 * padding remain, which are no token. zelStsDstFull: the room is used up, whether or not more
 * follows.
 * zelStsBadSize: *pDstLen is below 1; this is tested before anything else, so pDstLen must not be
 * null. zelStsNullPointer: ppSrc, ppDst, pState or *ppDst is null, or *ppSrc where *pSrcLen is not
 * 0. zelStsBadSize: *pSrcLen is negative. pSrcLen must not be null.
 */
ZELDC_API ZelStatus zelsDecodeLZSS_8u(const uint8_t** ppSrc, int32_t* pSrcLen, uint8_t** ppDst,
                                      int32_t* pDstLen, LzssState* pState);

/*
 * Copies len bytes from pSrc to pDst, from the front, one byte at a time in effect: where pDst lies
 * less than len bytes behind pSrc, the bytes between are repeated. Nothing is checked; a len below
 * 1 copies nothing. Returns zelStsOk.
 */
ZELDC_API ZelStatus D_COPY_SLOW(const uint8_t* pSrc, uint8_t* pDst, int32_t len);

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
 * Slot 255 keeps value 0 under each of them.
 * Priming: before the block every value occurs once, in slots 255 to 0, so that each has a last
 * occurrence. It costs about 250 bytes more than strategy 3 on an empty block.
 *
 * A coded block is 256 streams in order, each a length of four bytes, most significant first, and
 * that many bytes: 1281 at least. It is not marked with its strategy or its size.
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

/*
 * A code is described by records (value, code bits, length) and by sub-table sizes: the widths, in
 * bits, of the levels of a lookup table. The first level looks at the first pSubTableSizes[0] bits
 * of a code, the next at the following pSubTableSizes[1], and so on; the width that reaches the
 * longest code is cut to it, and later ones are not looked at. Wide levels decode in fewer steps,
 * narrow ones need less memory: one width of the full length L takes 2^L entries, while two take
 * 2^w0 and one sub-table of 2^w1 for each different w0-bit prefix of the longer codes.
 *
 * There are two forms. Plain values are signed. Tuples are several small unsigned elements to a
 * code, packed into the record's value with the first element in the upper bits; in the stream, a
 * sign bit (1: negative) follows the code for each nonzero element, in order.
 *
 * A worked example: the code 0 -> 7, 10 -> -3, 11 -> 1, and a block of four values.
 *
 *     static const VlcCodeRecord records[3] = {{7, 0, 1}, {-3, 2, 2}, {1, 3, 2}};
 *     static const int32_t widths[1] = {2};
 *     VlcDecodeSpec* spec;
 *     if (zelsVLCDecodeInitAlloc_32s(records, 3, widths, 1, &spec) != zelStsOk) return;
 *
 *     _Alignas(4) uint8_t data[8] = {0x58};  // 0 10 11 0 ..: 0101 1000, and room to read ahead
 *     const uint8_t* stream = data;
 *     int32_t offset = 0;
 *     int16_t values[4];
 *     zelsVLCDecodeBlock_1u16s(&stream, &offset, values, 4, spec);
 *     // values: 7, -3, 1, 7; stream == data, offset == 6
 *     zelsVLCDecodeFree_32s(spec);
 *
 * A spec lies in memory at any address and is found at the first multiple of 32 inside; it must
 * not be moved. Decoding only reads it: one spec may serve any number of threads.
 */

/*
 * The number of bytes that the object for a code needs.
 *
 * pRecords, recordCount        the code; bits of a record's code above its length are ignored
 * pSubTableSizes, subTableCount   level widths
 * tupleLength, elementWidth    tuples only: elements to a tuple, bits to an element
 * pSize                        receives the size
 *
 * zelStsNullPointer: pRecords, pSubTableSizes or pSize is null. zelStsOutOfRange (tuples only):
 * tupleLength or elementWidth is below 1, or a table entry would need more than 32 bits.
 * zelStsVlcTableErr: there is no record, a length is outside 1..32, a width that is looked at is
 * below 1, the widths together do not reach the longest code, or the size exceeds 31 bits.
 * No allocation; some 64 KB of stack. The time grows with the number of records and of levels; but
 * from some ten thousand records on, levels behind 20 bits and more take time with the square of
 * that number (half a second for a million).
 *
 * Values keep the bits that a table entry has for them; entries have 8, 16 or 32 bits. Two edges
 * of that rule are kept as they are: when the value of the largest magnitude is +2^n and the entry
 * has no bit to spare, it reads back as -2^n; and plain values that do not fit 32-bit entries
 * lose their upper bits.
 */
ZELDC_API ZelStatus zelsVLCDecodeGetSize_32s(const VlcCodeRecord* pRecords, int32_t recordCount,
                                             const int32_t* pSubTableSizes, int32_t subTableCount,
                                             int32_t* pSize);
ZELDC_API ZelStatus zelsVLCDecodeUTupleGetSize_32s(const VlcCodeRecord* pRecords,
                                                   int32_t recordCount,
                                                   const int32_t* pSubTableSizes,
                                                   int32_t subTableCount, int32_t tupleLength,
                                                   int32_t elementWidth, int32_t* pSize);

/*
 * Builds a spec at pSpec, in GetSize bytes of the caller's memory. Arguments and results as for
 * GetSize with pSpec in the place of pSize, and zelStsVlcTableErr also when a code runs through
 * another one: the shorter code ends in a level before the longer one does, and comes first. (Codes
 * that end in the same level overwrite each other silently, the later record winning.) A spec is
 * then not to be used.
 *
 * The time taken grows with the table, as each entry that a code covers is written; where many
 * codes overwrite each other, every one of them counts in full.
 */
ZELDC_API ZelStatus zelsVLCDecodeInit_32s(const VlcCodeRecord* pRecords, int32_t recordCount,
                                          const int32_t* pSubTableSizes, int32_t subTableCount,
                                          VlcDecodeSpec* pSpec);
ZELDC_API ZelStatus zelsVLCDecodeUTupleInit_32s(const VlcCodeRecord* pRecords, int32_t recordCount,
                                                const int32_t* pSubTableSizes,
                                                int32_t subTableCount, int32_t tupleLength,
                                                int32_t elementWidth, VlcDecodeSpec* pSpec);

/*
 * Allocates a spec with zelsMalloc_8u, builds it and stores it in *ppSpec. As Init, and
 * zelStsNoMemory without memory. On any error nothing stays allocated and *ppSpec is unwritten.
 */
ZELDC_API ZelStatus zelsVLCDecodeInitAlloc_32s(const VlcCodeRecord* pRecords, int32_t recordCount,
                                               const int32_t* pSubTableSizes, int32_t subTableCount,
                                               VlcDecodeSpec** ppSpec);
ZELDC_API ZelStatus zelsVLCDecodeUTupleInitAlloc_32s(const VlcCodeRecord* pRecords,
                                                     int32_t recordCount,
                                                     const int32_t* pSubTableSizes,
                                                     int32_t subTableCount, int32_t tupleLength,
                                                     int32_t elementWidth, VlcDecodeSpec** ppSpec);

/*
 * Ends the use of a spec: no operation accepts it any more. The memory is released if InitAlloc
 * allocated it, and stays the caller's if Init built the object there. Null is ignored.
 */
ZELDC_API void zelsVLCDecodeFree_32s(VlcDecodeSpec* pSpec);
ZELDC_API void zelsVLCDecodeUTupleFree_32s(VlcDecodeSpec* pSpec);

/*
 * Decode plain values: `count` of them, or one.
 *
 * ppStream   in/out: the byte that holds the next bit
 * pOffset    in/out: the bit's place in that byte, 0 for the most significant .. 7
 * pDst       receives the values, each cut to 16 bits
 * count      values wanted; below 1: nothing is done
 *
 * On return the position is behind the last code decoded. The stream's length is not known to
 * these operations. They read ahead: the caller provides that the aligned 32-bit words from the
 * one that holds the first bit up to the one after the word of the last bit consumed are readable.
 *
 * zelStsNullPointer: a pointer, or *ppStream, is null. zelStsVlcSpecErr: *pOffset is outside 0..7,
 * or pSpec is not a built spec (or was freed). zelStsBadData: the next bits are no code of the
 * table; the position is at the first of them, the values before are delivered.
 */
ZELDC_API ZelStatus zelsVLCDecodeBlock_1u16s(const uint8_t** ppStream, int32_t* pOffset,
                                             int16_t* pDst, int32_t count,
                                             const VlcDecodeSpec* pSpec);
ZELDC_API ZelStatus zelsVLCDecodeOne_1u16s(const uint8_t** ppStream, int32_t* pOffset,
                                           int16_t* pDst, const VlcDecodeSpec* pSpec);

/*
 * Decode tuples, with the signs that follow each code: whole ones as long as all their elements
 * fit into `count` 16-bit elements, or one. Elements wider than 16 bits are cut to 16 after
 * their sign has been applied. Otherwise as above; a spec for plain values is refused with
 * zelStsVlcSpecErr.
 */
ZELDC_API ZelStatus zelsVLCDecodeUTupleBlock_1u16s(const uint8_t** ppStream, int32_t* pOffset,
                                                   int16_t* pDst, int32_t count,
                                                   const VlcDecodeSpec* pSpec);
ZELDC_API ZelStatus zelsVLCDecodeUTupleOne_1u16s(const uint8_t** ppStream, int32_t* pOffset,
                                                 int16_t* pDst, const VlcDecodeSpec* pSpec);

/*
 * The steps of building a table, for callers that keep tables of their own; no pointer is tested.
 *
 * BadParams tests a description and derives from it: the longest code; the level widths as kept,
 * at most 32 of them, and their count; the bits that count the code bits used in a level; the bits
 * of a signed field for the values. TableSize counts the table's entries for widths as kept.
 * TableInit fills a table of entryCount entries of 8, 16 or 32 bits: sub-tables of a width header
 * and 2^width entries, each a leaf (bit 0 set, then the code bits used in this level, then the
 * value), a link (twice the index of the next header) or empty (all ones but bit 0).
 *
 * zelStsVlcTableErr as for GetSize and Init; BadParams and TableSize have then written nothing.
 * TableInit never writes beyond entryCount entries.
 */
ZELDC_API ZelStatus ownzelVLCBadParams(const VlcCodeRecord* pRecords, int32_t recordCount,
                                       const int32_t* pSubTableSizes, int32_t subTableCount,
                                       int32_t* pMaxLength, int32_t* pLevelWidths,
                                       int32_t* pLevelCount, int32_t* pLevelBits,
                                       int32_t* pValueBits);
ZELDC_API ZelStatus ownzelGetVLCInternalTableSize(const VlcCodeRecord* pRecords,
                                                  int32_t recordCount, const int32_t* pLevelWidths,
                                                  int32_t levelCount, int32_t* pEntryCount);
ZELDC_API ZelStatus ownzelVLCInternalTableInit8(const VlcCodeRecord* pRecords, int32_t recordCount,
                                                const int32_t* pLevelWidths, int32_t levelCount,
                                                int32_t entryCount, uint8_t* pTable);
ZELDC_API ZelStatus ownzelVLCInternalTableInit16(const VlcCodeRecord* pRecords, int32_t recordCount,
                                                 const int32_t* pLevelWidths, int32_t levelCount,
                                                 int32_t entryCount, uint16_t* pTable);
ZELDC_API ZelStatus ownzelVLCInternalTableInit32(const VlcCodeRecord* pRecords, int32_t recordCount,
                                                 const int32_t* pLevelWidths, int32_t levelCount,
                                                 int32_t entryCount, uint32_t* pTable);

/* ======================================================================== */
/* Variable-length codes: encoding                                          */
/* ======================================================================== */

/*
 * The encoding spec is a lookup by value over the whole span from the smallest to the largest value
 * of the records: a length and a code for each. Records are as for decoding, of plain values;
 * when two have the same value, the first one counts. A spec lies at any address and must not be
 * moved; encoding only reads it.
 */

/*
 * The number of bytes that the object needs: with R the largest minus the smallest value and n the
 * number of bits of R + 1, (2^n + R + 1) * 4 + 64. Codes and lengths are not looked at.
 *
 * zelStsNullPointer: pRecords or pSize is null. zelStsVlcSpecErr: recordCount is below 1, or the
 * size exceeds 31 bits. One exception is kept: when R + 1 itself exceeds 31 bits, the answer is
 * (R + 2) * 4 + 64 modulo 2^32, and zelStsOk; Init refuses such records.
 */
ZELDC_API ZelStatus zelsVLCEncodeGetSize_32s(const VlcCodeRecord* pRecords, int32_t recordCount,
                                             int32_t* pSize);

/*
 * Builds a spec in GetSize bytes of the caller's memory.
 *
 * zelStsNullPointer: pRecords or pSpec is null. zelStsVlcSpecErr: recordCount is below 1, a length
 * is outside 1..32, or the values span too much for a 31-bit size; nothing is then written.
 */
ZELDC_API ZelStatus zelsVLCEncodeInit_32s(const VlcCodeRecord* pRecords, int32_t recordCount,
                                          VlcEncodeSpec* pSpec);

/* Allocates a spec with zelsMalloc_8u, builds it and stores it in *ppSpec. As Init, and
 * zelStsNoMemory without memory. On any error *ppSpec is unwritten. */
ZELDC_API ZelStatus zelsVLCEncodeInitAlloc_32s(const VlcCodeRecord* pRecords, int32_t recordCount,
                                               VlcEncodeSpec** ppSpec);

/* Ends the use of a spec, and releases its memory if InitAlloc allocated it. Null is ignored. */
ZELDC_API void zelsVLCEncodeFree_32s(VlcEncodeSpec* pSpec);

/*
 * Write the codes of `count` values, or of one, most significant bit first.
 *
 * pSrc, value   what to encode
 * ppStream      in/out: the byte that holds the first free bit
 * pOffset       in/out: the bit's place in that byte, 0 for the most significant .. 7
 *
 * The bits before the position are kept. The stream is written by whole aligned 32-bit words: up
 * to three bytes behind the last one used are overwritten, and the bits behind the last code, up
 * to the end of its word, are unspecified. A word that no code bit falls into is not touched.
 *
 * zelStsNullPointer: a pointer, or *ppStream, is null. zelStsVlcSpecErr: count is below 1, *pOffset
 * is outside 0..7 (Block; One takes it modulo 8), pSpec is not a built spec, or a value has no
 * code: the codes before it are then written, and the position is where its code would start.
 */
ZELDC_API ZelStatus zelsVLCEncodeBlock_16s1u(const int16_t* pSrc, int32_t count, uint8_t** ppStream,
                                             int32_t* pOffset, const VlcEncodeSpec* pSpec);
ZELDC_API ZelStatus zelsVLCEncodeOne_16s1u(int16_t value, uint8_t** ppStream, int32_t* pOffset,
                                           const VlcEncodeSpec* pSpec);

/*
 * The number of bits (modulo 2^32) that Block would write for `count` values, into *pBits.
 *
 * zelStsNullPointer: pSrc, pBits or pSpec is null. zelStsVlcSpecErr: count is below 1, pSpec is not
 * a built spec, or a value has no code; *pBits is then unchanged.
 */
ZELDC_API ZelStatus zelsVLCCountBits_16s32s(const int16_t* pSrc, int32_t count, int32_t* pBits,
                                            const VlcEncodeSpec* pSpec);

/*
 * The bit writer: appends the lower `length` bits (1..32) of `code` to the aligned 32-bit word at
 * or below *ppStream, of which the lower *pFreeBits (1..32) bits, most significant byte first, are
 * free. The bits that the code leaves free in its word become 1; when it continues in the next
 * word, they become the lower bits of what that word held, read as a plain integer. *ppStream
 * advances to the word of the next free bit, *pFreeBits to what is free in it. No argument is
 * tested.
 */
ZELDC_API ZelStatus ownzelsPutBitsRightMost(uint8_t** ppStream, int32_t* pFreeBits, uint32_t code,
                                            int32_t length);

#ifdef __cplusplus
}
#endif

#endif /* ZELDC_H */
