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
 * The number of bytes that the spec for a code needs.
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
 * Constant stack space, no allocation, time O(n log n) for up to some ten thousand records.
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
 * that end in the same level overwrite each other silently, the later record winning.) The spec is
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
 * allocated it, and stays the caller's if Init built the spec there. Null is ignored.
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
 * when two have the same value, the first one counts. The spec lies at any address and must not be
 * moved; encoding only reads it.
 */

/*
 * The number of bytes that the spec needs: with R the largest minus the smallest value and n the
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
