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

/*
 * A run-length code for bytes, without state, header or end mark. Two equal bytes in a row are
 * followed by a count byte: v v k stands for k + 2 copies of v. The first byte of a call and the
 * first byte after a count are fresh: they never complete a pair, whatever precedes them. So 258
 * copies of x become x x 255 x, and a stream grows by at most one half. docs/byte-rle-format.md
 * has the format in full.
 *
 * Both operations: *ppSrc points to *pSrcLen bytes and has advanced past the bytes taken on
 * return, *pSrcLen counting what is left. pDst has room for *pDstLen bytes; on return *pDstLen is
 * the number of bytes written (for the decoder's exception see there). A call codes as much of the
 * source as fits and may use all of the room as work space, also behind the bytes it reports.
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
 * Where all 256 bytes have the same length, the code is empty: the encoder writes 0 bits only,
 * and the data is lost. That is part of the format. Frequencies that lead there (all
 * so near each other that every length is 8) are not worth coding anyway.
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
 * number of symbols. Bits that make no whole code stay in the state for the next call.
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
 * stream may have any length.
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
 * zelStsBadSize: a length is negative. The room may be used as work space behind the bytes that
 * are reported.
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
 * 0. zelStsBadSize: *pSrcLen is negative. pSrcLen must not be null. The room may be used as work
 * space behind the bytes that are reported.
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
