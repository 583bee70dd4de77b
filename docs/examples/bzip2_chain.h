/*
 * A bzip2 compressor and decompressor made of the library's stages: whole streams from memory to
 * memory. docs/bzip2-chain.md walks through it. C99 and C++.
 */
#ifndef ZELDC_EXAMPLES_BZIP2_CHAIN_H
#define ZELDC_EXAMPLES_BZIP2_CHAIN_H

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "zeldc.h"

enum {
    BZ2_BLOCK_UNIT = 100000, /* bytes of a block per level 1..9, after the initial RLE */
    BZ2_BLOCK_SPARE = 19,    /* left free by the usual encoder, and by this one */
    BZ2_MAX_ALPHA = 258,
    BZ2_MAX_SELECTED = 32767 * 50 /* symbols that a table description can speak of */
};

/* A byte buffer that grows. */
typedef struct Bz2Buffer {
    uint8_t* data;
    size_t size;
    size_t room;
} Bz2Buffer;

static ZelStatus bz2Reserve(Bz2Buffer* buffer, size_t more) {
    size_t room = buffer->room;
    uint8_t* data = NULL;
    if (buffer->room - buffer->size >= more) return zelStsOk;
    room += room / 2 + more;
    data = (uint8_t*)realloc(buffer->data, room);
    if (data == NULL) return zelStsNoMemory;
    buffer->data = data;
    buffer->room = room;
    return zelStsOk;
}

/* What is free, as the operations take it. */
static int32_t bz2Free(const Bz2Buffer* buffer) {
    const size_t room = buffer->room - buffer->size;
    return room > INT32_MAX ? INT32_MAX : (int32_t)room;
}

/* ---- compression ------------------------------------------------------- */

/* The accumulator that the stream's headers share with the Huffman coder. */
typedef struct Bz2Writer {
    Bz2Buffer* out;
    uint32_t code;
    int32_t bits;
} Bz2Writer;

/* Up to 24 bits; fewer than 8 are pending before and after. Room has been reserved. */
static void bz2Put(Bz2Writer* writer, uint32_t value, int32_t count) {
    if (count == 0) return;
    writer->code |= value << (32 - writer->bits - count);
    writer->bits += count;
    for (; writer->bits >= 8; writer->bits -= 8, writer->code <<= 8)
        writer->out->data[writer->out->size++] = (uint8_t)(writer->code >> 24);
}

static void bz2Put48(Bz2Writer* writer, uint32_t high, uint32_t low) {
    bz2Put(writer, high, 24);
    bz2Put(writer, low, 24);
}

static void bz2Put32(Bz2Writer* writer, uint32_t value) {
    bz2Put(writer, value >> 16, 16);
    bz2Put(writer, value & 0xFFFF, 16);
}

/* Memory for one block at a time. */
typedef struct Bz2Encoder {
    int32_t limit; /* bytes of a block */
    RleBz2State* rle;
    uint8_t* block; /* after the initial RLE */
    uint8_t* rows;  /* transformed, then reduced, then ranks */
    uint8_t* scratch;
    uint8_t* work; /* of the transform, either direction */
    uint16_t* symbols;
    HuffBz2EncodeState* huffman;
    MtfState* mtf;
} Bz2Encoder;

static void bz2FreeEncoder(Bz2Encoder* encoder) {
    free(encoder->rle);
    free(encoder->block);
    free(encoder->rows);
    free(encoder->scratch);
    free(encoder->work);
    free(encoder->symbols);
    free(encoder->huffman);
    free(encoder->mtf);
}

static ZelStatus bz2MakeEncoder(Bz2Encoder* encoder, int level) {
    const int32_t limit = level * BZ2_BLOCK_UNIT - BZ2_BLOCK_SPARE;
    int32_t rle = 0, work = 0, huffman = 0, mtf = 0;
    memset(encoder, 0, sizeof *encoder);
    encoder->limit = limit;
    zelsRLEGetSize_BZ2_8u(&rle);
    zelsMTFGetSize_8u(&mtf);
    zelsBWTFwdGetSize_8u(limit, &work); /* more than the inverse needs */
    zelsEncodeHuffGetSize_BZ2_16u8u(limit + 1, &huffman);
    encoder->rle = (RleBz2State*)malloc((size_t)rle);
    encoder->mtf = (MtfState*)malloc((size_t)mtf);
    encoder->work = (uint8_t*)malloc((size_t)work);
    encoder->huffman = (HuffBz2EncodeState*)malloc((size_t)huffman);
    encoder->block = (uint8_t*)malloc((size_t)limit);
    encoder->rows = (uint8_t*)malloc((size_t)limit);
    encoder->scratch = (uint8_t*)malloc((size_t)limit);
    encoder->symbols = (uint16_t*)malloc(((size_t)limit + 1) * sizeof(uint16_t));
    if (encoder->rle && encoder->mtf && encoder->work && encoder->huffman && encoder->block &&
        encoder->rows && encoder->scratch && encoder->symbols) {
        return zelStsOk;
    }
    bz2FreeEncoder(encoder);
    return zelStsNoMemory;
}

/* Fills the block from src; returns how many bytes went into it. One byte of the block is kept free
   for the count that Flush may write. */
static int32_t bz2FillBlock(Bz2Encoder* encoder, const uint8_t* src, int32_t size, int32_t* len) {
    int32_t left = size, made = encoder->limit - 1, last = 1;
    zelsEncodeRLEInit_BZ2_8u(encoder->rle);
    zelsEncodeRLE_BZ2_8u(&src, &left, encoder->block, &made, encoder->rle);
    zelsEncodeRLEFlush_BZ2_8u(encoder->block + made, &last, encoder->rle);
    *len = made + last;
    return size - left;
}

/* Whether the block is a shorter word repeated: then it is so for a prime number of parts. */
static int bz2IsPeriodic(const uint8_t* block, int32_t len) {
    int32_t rest = len, prime = 2;
    while (rest > 1) {
        if (prime > rest / prime) prime = rest; /* what is left is prime itself */
        if (rest % prime == 0) {
            const size_t period = (size_t)(len / prime);
            if (memcmp(block, block + period, (size_t)len - period) == 0) return 1;
            while (rest % prime == 0)
                rest /= prime;
        }
        ++prime;
    }
    return 0;
}

/* Transforms the block; 0 when the inverse would not give it back, which happens to some words that
   are repeated seven times or more and to nothing else. */
static int bz2Transform(Bz2Encoder* encoder, int32_t len, int32_t* index) {
    zelsBWTFwd_8u(encoder->block, encoder->rows, len, index, encoder->work);
    if (!bz2IsPeriodic(encoder->block, len)) return 1;
    zelsBWTInv_8u(encoder->rows, encoder->scratch, len, *index, encoder->work);
    return memcmp(encoder->block, encoder->scratch, (size_t)len) == 0;
}

static void bz2PutBlockHeader(Bz2Writer* writer, uint32_t crc, int32_t index,
                              const uint8_t* inUse) {
    int range, i;
    uint32_t ranges = 0;
    bz2Put48(writer, 0x314159, 0x265359);
    bz2Put32(writer, crc);
    bz2Put(writer, 0, 1); /* not randomised */
    bz2Put(writer, (uint32_t)index, 24);
    for (range = 0; range < 16; ++range) {
        for (i = 0; i < 16; ++i) {
            if (inUse[range * 16 + i]) ranges |= 0x8000U >> range;
        }
    }
    bz2Put(writer, ranges, 16);
    for (range = 0; range < 16; ++range) {
        uint32_t values = 0;
        for (i = 0; i < 16; ++i)
            values |= inUse[range * 16 + i] ? 0x8000U >> i : 0;
        if (values != 0) bz2Put(writer, values, 16);
    }
}

/* The Huffman stage: tables, their description, the symbols. */
static ZelStatus bz2PutSymbols(Bz2Writer* writer, Bz2Encoder* encoder, int32_t alphaSize,
                               const uint32_t* freq, int32_t count) {
    Bz2Buffer* out = writer->out;
    const uint16_t* src = encoder->symbols;
    int32_t left = count, made = 0;
    ZelStatus status = zelsEncodeHuffInit_BZ2_16u8u(alphaSize, freq, src, count, encoder->huffman);
    if (status == zelStsOk) {
        made = bz2Free(out);
        status = zelsPackHuffContext_BZ2_16u8u(&writer->code, &writer->bits, out->data + out->size,
                                               &made, encoder->huffman);
        out->size += (size_t)made;
    }
    if (status == zelStsOk) {
        made = bz2Free(out);
        status = zelsEncodeHuff_BZ2_16u8u(&writer->code, &writer->bits, &src, &left,
                                          out->data + out->size, &made, encoder->huffman);
        out->size += (size_t)made;
    }
    return status;
}

/* Codes the transformed block: values in use, move to front, zero runs, Huffman. */
static ZelStatus bz2PutBlock(Bz2Writer* writer, Bz2Encoder* encoder, uint32_t crc, int32_t len,
                             int32_t index) {
    uint8_t inUse[256];
    uint32_t freq[BZ2_MAX_ALPHA] = {0};
    const uint8_t* ranks = encoder->rows;
    int32_t values = 0, left = len, count = len;
    /* Headers and description stay below 16 KB, a symbol takes at most 17 bits. */
    const size_t room = 16384 + (size_t)len / 50 + ((size_t)len + 1) * 17 / 8;
    if (bz2Reserve(writer->out, room) != zelStsOk) return zelStsNoMemory;

    zelsRLEGetInUseTable_8u(inUse, encoder->rle);
    bz2PutBlockHeader(writer, crc, index, inUse);
    zelsReduceDictionary_8u_I(inUse, encoder->rows, len, &values);
    zelsMTFInit_8u(encoder->mtf);
    zelsMTFFwd_8u(encoder->rows, encoder->rows, len, encoder->mtf);
    zelsEncodeZ1Z2_BZ2_8u16u(&ranks, &left, encoder->symbols, &count, freq);
    encoder->symbols[count++] = (uint16_t)(values + 1); /* end of block */
    freq[values + 1] = 1;
    return bz2PutSymbols(writer, encoder, values + 2, freq, count);
}

/* Appends a .bz2 stream of size bytes (up to 2^31 - 1) at src; level is 1..9. out starts zeroed and
   is the caller's to free, also after an error. */
static ZelStatus bz2Compress(const uint8_t* src, int32_t size, int level, Bz2Buffer* out) {
    Bz2Encoder encoder;
    Bz2Writer writer = {0, 0, 0};
    uint32_t combined = 0;
    ZelStatus status = bz2MakeEncoder(&encoder, level);
    if (status != zelStsOk) return status;
    writer.out = out;
    status = bz2Reserve(out, 64);
    if (status == zelStsOk) bz2Put(&writer, 0x425A68, 24); /* BZh */
    if (status == zelStsOk) bz2Put(&writer, (uint32_t)('0' + level), 8);
    while (status == zelStsOk && size > 0) {
        uint32_t crc = 0;
        int32_t len = 0, index = 0;
        int32_t taken = bz2FillBlock(&encoder, src, size, &len);
        /* The last byte opens the next block where the transform would lose this one. */
        while (!bz2Transform(&encoder, len, &index))
            taken = bz2FillBlock(&encoder, src, taken - 1, &len);
        zelsCRC32_BZ2_8u(src, taken, &crc);
        combined = (combined << 1 | combined >> 31) ^ crc;
        status = bz2PutBlock(&writer, &encoder, crc, len, index);
        src += taken;
        size -= taken;
    }
    if (status == zelStsOk) status = bz2Reserve(out, 64);
    if (status == zelStsOk) {
        bz2Put48(&writer, 0x177245, 0x385090);
        bz2Put32(&writer, combined);
        bz2Put(&writer, 0, (8 - writer.bits) & 7);
    }
    bz2FreeEncoder(&encoder);
    return status;
}

/* ---- decompression ----------------------------------------------------- */

typedef struct Bz2Reader {
    const uint8_t* src;
    int32_t left;
    uint32_t code;
    int32_t bits;
} Bz2Reader;

/* Up to 24 bits. Behind the end it gives zeros and sets left to -1. */
static uint32_t bz2Get(Bz2Reader* reader, int32_t count) {
    uint32_t value;
    if (count == 0) return 0;
    for (; reader->bits < count; reader->bits += 8) {
        if (reader->left <= 0) {
            reader->left = -1;
            return 0;
        }
        reader->code |= (uint32_t)*reader->src++ << (24 - reader->bits);
        --reader->left;
    }
    value = reader->code >> (32 - count);
    reader->code <<= count;
    reader->bits -= count;
    return value;
}

static uint32_t bz2Get32(Bz2Reader* reader) {
    const uint32_t high = bz2Get(reader, 16);
    return high << 16 | bz2Get(reader, 16);
}

typedef struct Bz2Decoder {
    int32_t limit;
    uint8_t* rows;
    uint8_t* block;
    uint8_t* work;
    uint16_t* symbols;
    HuffBz2DecodeState* huffman;
    MtfState* mtf;
} Bz2Decoder;

static void bz2FreeDecoder(Bz2Decoder* decoder) {
    free(decoder->rows);
    free(decoder->block);
    free(decoder->work);
    free(decoder->symbols);
    free(decoder->huffman);
    free(decoder->mtf);
}

static ZelStatus bz2MakeDecoder(Bz2Decoder* decoder, int level) {
    const int32_t limit = level * BZ2_BLOCK_UNIT;
    int32_t work = 0, huffman = 0, mtf = 0;
    memset(decoder, 0, sizeof *decoder);
    decoder->limit = limit;
    zelsMTFGetSize_8u(&mtf);
    zelsBWTInvGetSize_8u(limit, &work);
    /* Init serves every block's alphabet, but does not know the state's size: it has to be that of
       the longest description that a hostile stream can have. */
    zelsDecodeHuffGetSize_BZ2_8u16u(BZ2_MAX_SELECTED, &huffman);
    decoder->mtf = (MtfState*)malloc((size_t)mtf);
    decoder->work = (uint8_t*)malloc((size_t)work);
    decoder->huffman = (HuffBz2DecodeState*)malloc((size_t)huffman);
    decoder->rows = (uint8_t*)malloc((size_t)limit);
    decoder->block = (uint8_t*)malloc((size_t)limit);
    decoder->symbols = (uint16_t*)malloc(((size_t)limit + 1) * sizeof(uint16_t));
    if (decoder->mtf && decoder->work && decoder->huffman && decoder->rows && decoder->block &&
        decoder->symbols) {
        return zelStsOk;
    }
    bz2FreeDecoder(decoder);
    return zelStsNoMemory;
}

/* The number of values in use. */
static int32_t bz2GetInUse(Bz2Reader* reader, uint8_t* inUse) {
    const uint32_t ranges = bz2Get(reader, 16);
    int32_t count = 0;
    int range, i;
    memset(inUse, 0, 256);
    for (range = 0; range < 16; ++range) {
        const uint32_t values = ranges & 0x8000U >> range ? bz2Get(reader, 16) : 0;
        for (i = 0; i < 16; ++i) {
            if ((values & 0x8000U >> i) == 0) continue;
            inUse[range * 16 + i] = 1;
            ++count;
        }
    }
    return count;
}

/* A block's symbols, the last of which ends it. A call that wants more source or more destination
   than there is means a truncated or an invalid stream. */
static ZelStatus bz2GetSymbols(Bz2Reader* reader, Bz2Decoder* decoder, int32_t alphaSize,
                               int32_t* count) {
    ZelStatus status = zelsDecodeHuffInit_BZ2_8u16u(alphaSize, decoder->huffman);
    if (status == zelStsOk && reader->left < 1) status = zelStsSrcExhausted;
    if (status == zelStsOk) {
        status = zelsUnpackHuffContext_BZ2_8u16u(&reader->code, &reader->bits, &reader->src,
                                                 &reader->left, decoder->huffman);
    }
    *count = decoder->limit + 1;
    if (status == zelStsOk) {
        status = zelsDecodeHuff_BZ2_8u16u(&reader->code, &reader->bits, &reader->src, &reader->left,
                                          decoder->symbols, count, decoder->huffman);
    }
    return status == zelStsDstFull ? zelStsBadData : status;
}

/* From symbols to the block as it was before the transform; its length, or 0. */
static int32_t bz2RestoreBlock(Bz2Decoder* decoder, int32_t symbols, const uint8_t* inUse,
                               int32_t values, int32_t index) {
    const uint16_t* src = decoder->symbols;
    int32_t left = symbols - 1, len = decoder->limit;
    if (left < 1) return 0;
    if (zelsDecodeZ1Z2_BZ2_16u8u(&src, &left, decoder->rows, &len) != zelStsOk) return 0;
    if (index >= len) return 0;
    zelsMTFInit_8u(decoder->mtf);
    zelsMTFInv_8u(decoder->rows, decoder->rows, len, decoder->mtf);
    zelsExpandDictionary_8u_I(inUse, decoder->rows, len, values);
    zelsBWTInv_8u(decoder->rows, decoder->block, len, index, decoder->work);
    return len;
}

/* How long the block becomes: four equal bytes are followed by a count of further ones. */
static size_t bz2RunLengths(const uint8_t* block, int32_t len) {
    size_t size = 0;
    int32_t i, run = 0;
    for (i = 0; i < len; ++i) {
        if (run == 4) {
            size += block[i];
            run = 0;
            continue;
        }
        run = run > 0 && block[i] == block[i - 1] ? run + 1 : 1;
        ++size;
    }
    return size;
}

static ZelStatus bz2GetBlock(Bz2Reader* reader, Bz2Decoder* decoder, Bz2Buffer* out,
                             uint32_t* combined) {
    uint8_t inUse[256];
    const uint32_t expected = bz2Get32(reader);
    const uint32_t randomised = bz2Get(reader, 1);
    const int32_t index = (int32_t)bz2Get(reader, 24);
    const int32_t values = bz2GetInUse(reader, inUse);
    const uint8_t* src = decoder->block;
    int32_t symbols = 0, len = 0, made = 0;
    uint32_t crc = 0;
    size_t size = 0;
    ZelStatus status;
    if (reader->left < 0) return zelStsSrcExhausted;
    if (randomised || values == 0) return zelStsBadData; /* randomised: not since 1999 */
    status = bz2GetSymbols(reader, decoder, values + 2, &symbols);
    if (status != zelStsOk) return status;
    len = bz2RestoreBlock(decoder, symbols, inUse, values, index);
    if (len == 0) return zelStsBadData;

    /* One byte more, since an exactly full destination counts as full. */
    size = bz2RunLengths(decoder->block, len);
    if (bz2Reserve(out, size + 1) != zelStsOk) return zelStsNoMemory;
    made = (int32_t)size + 1;
    zelsDecodeRLE_BZ2_8u(&src, &len, out->data + out->size, &made);
    zelsCRC32_BZ2_8u(out->data + out->size, made, &crc);
    out->size += (size_t)made;
    *combined = (*combined << 1 | *combined >> 31) ^ crc;
    return crc == expected ? zelStsOk : zelStsBadData;
}

static ZelStatus bz2GetBlocks(Bz2Reader* reader, Bz2Decoder* decoder, Bz2Buffer* out) {
    uint32_t combined = 0;
    for (;;) {
        const uint32_t high = bz2Get(reader, 24);
        const uint32_t low = bz2Get(reader, 24);
        ZelStatus status = zelStsBadData;
        if (reader->left < 0) return zelStsSrcExhausted;
        if (high == 0x314159 && low == 0x265359) {
            status = bz2GetBlock(reader, decoder, out, &combined);
            if (status != zelStsOk) return status;
        } else if (high == 0x177245 && low == 0x385090) {
            const uint32_t expected = bz2Get32(reader);
            if (reader->left < 0) return zelStsSrcExhausted;
            return expected == combined ? zelStsOk : zelStsBadData;
        } else {
            return zelStsBadData;
        }
    }
}

/* Appends what the .bz2 stream at *ppSrc holds to out. *ppSrc and *pLeft move behind the stream:
   another may follow. zelStsSrcExhausted: the stream is cut short. Other statuses but zelStsOk and
   zelStsNoMemory: it is damaged. What was decoded before is in out. */
static ZelStatus bz2Decompress(const uint8_t** ppSrc, int32_t* pLeft, Bz2Buffer* out) {
    Bz2Decoder decoder;
    Bz2Reader reader = {0, 0, 0, 0};
    uint32_t magic = 0, level = 0;
    ZelStatus status;
    reader.src = *ppSrc;
    reader.left = *pLeft;
    magic = bz2Get(&reader, 24);
    level = bz2Get(&reader, 8);
    if (reader.left < 0) return zelStsSrcExhausted;
    if (magic != 0x425A68 || level < '1' || level > '9') return zelStsBadData;
    status = bz2MakeDecoder(&decoder, (int)level - '0');
    if (status != zelStsOk) return status;
    status = bz2GetBlocks(&reader, &decoder, out);
    if (status == zelStsOk) {
        /* Whole bytes in the accumulator belong to what follows. */
        *ppSrc = reader.src - reader.bits / 8;
        *pLeft = reader.left + reader.bits / 8;
    }
    bz2FreeDecoder(&decoder);
    return status;
}

#endif
