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
