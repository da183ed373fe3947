/** @file zelj.h
 * Image-codec primitives for x86-64: the public interface of libzeljy8.so.6.1
 *
 * Plain C functions over caller-owned memory. C99 and C++.
 *
 * What holds for every function, unless its family says otherwise:
 *   - The result is a ZelStatus: zelStsNoErr (0), a negative error or a positive warning. Nothing is printed, logged or
 *     aborted, and no global state changes. Only the version query returns something else.
 *   - Arguments are checked before anything is read or written, and the first check that fails decides the status: a
 *     null pointer zelStsNullPtrErr, a step below 1 zelStsStepErr, a size or length below 1 zelStsSizeErr, a value
 *     outside its set zelStsBadArgErr. The checks follow the order of the arguments, unless a family states its own
 *     order ("Checks:"). After a failed check every output is untouched.
 *   - A step is the distance in bytes between the starts of two rows. Sizes (ZeliSize) and lengths are in elements.
 *     Buffer lengths and positions of bit streams are in bytes.
 *   - Pointers need the alignment of their element type only. Source and destination do not overlap, except in
 *     functions whose suffix has an I (one pointer is both) or where it is said that they may.
 *   - Every function is reentrant. Functions on planes divide their rows among OpenMP threads where a region has more
 *     than 8192 elements ("Threads"); the result never depends on the number of threads. All others run on the calling
 *     thread.
 *
 * Names: zel + domain letter + operation _ format _ sample types (source, then destination) _ layout
 *   8u 16u unsigned, 16s 32s signed, 32f single precision, 1u a bit stream
 *   C1 C2 C3 C4 channels interleaved in one plane, P3 P4 an array of planes; two of them: source, then destination
 *   R a region given by pointer, step and size; I in place; MCU one minimum coded unit of 8x8 blocks; LS with level
 *   shift
 *
 * Contents
 *   1  Status values, types, records, version
 *   2  JPEG entropy coding: Huffman tables, bit-stream states, baseline blocks, progressive scans,
 *      lossless rows, statistics
 *   3  JPEG transform and quantisation: tables, quantisation, DCT, level shift, lossless prediction
 *   4  JPEG colour conversion and resampling: planes, rows, one MCU at a time
 *   5  JPEG 2000: component transforms, wavelets, the tier-1 coder
 *   6  HD Photo: the core transform
 *   7  Textures: DXT and BC7 blocks
 *   8  TIFF rows: PackBits, 16-bit rows as byte planes
 */
#ifndef ZELJ_H
#define ZELJ_H

#include <stdint.h>

#if defined(__GNUC__)
#define ZEL_API __attribute__((visibility("default")))
#else
#define ZEL_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ==== 1  Status values, types, records, version =================================================================== */

/** @defgroup zelj_frame Status values, types, records, version
 * @{ */

typedef enum ZelStatus {
  zelStsDivByZeroWrn = 6,          /* warning: a divisor was zero; the output is complete, with a substitute there */
  zelStsNoErr = 0,                 /* success */
  zelStsErr = -2,                  /* a decoded run would place a coefficient outside the 8x8 block */
  zelStsBadArgErr = -5,            /* an argument value outside its allowed set */
  zelStsSizeErr = -6,              /* a width, height or length below 1, or above a stated limit */
  zelStsOutOfRangeErr = -7,        /* a magnitude category that the coding mode cannot carry */
  zelStsNullPtrErr = -8,           /* a required pointer is null; a JPEG Huffman record could not be allocated */
  zelStsMemAllocErr = -9,          /* a JPEG 2000 record could not be allocated */
  zelStsStepErr = -14,             /* a row step below 1 */
  zelStsContextMatchErr = -17,     /* a state record does not carry the identity tag of its functions */
  zelStsJPEGOutOfBufErr = -62,     /* JPEG bit stream: the source is exhausted, or the destination is full */
  zelStsJPEGCodeRangeErr = -63,    /* JPEG: no code matches, a marker ended the data, or a category is too large */
  zelStsJPEGHuffTableErr = -64,    /* JPEG: an invalid table description, or a symbol without a code */
  zelStsJPEG2KDamagedCBErr = -112, /* JPEG 2000: a code block's data did not end as expected */
  zelStsJPEG2KBadPassNumberErr = -113, /* JPEG 2000: a coding-pass index that the encoder state does not hold */
  zelStsTIFFOutOfBufErr = -124,        /* PackBits: past the end of the source or of the destination row */
  zelStsJPEG2KNotAttachedErr = -180    /* JPEG 2000: the progressive decoder state is not ready for a step */
} ZelStatus;

typedef struct ZeliSize {
  int width; /* in elements */
  int height;
} ZeliSize;

typedef struct ZeliRect {
  int x;
  int y;
  int width;
  int height;
} ZeliRect;

typedef struct ZelLibraryVersion {
  int major;
  int minor;
  int majorBuild;
  int build;
  char targetCpu[4];
  const char* name;
  const char* version;
  const char* buildDate;
} ZelLibraryVersion;

/* The version record: constant and static, to be neither changed nor freed. Its name ends in "+" where the processor
 * runs the AVX2 build of the kernels. Never null. */
ZEL_API const ZelLibraryVersion* zeljGetLibVersion(void);

/** @} */

/* ==== 2  JPEG entropy coding ====================================================================================== */

/** @defgroup zelj_huffman JPEG entropy coding
 *
 * Huffman coding of quantised coefficients and of lossless differences (ITU-T T.81): tables, the state of a bit stream
 * between two calls, and coders that take one block, difference or row a call.
 *
 * How a codec calls them. Tables are built once. Every scan, and every restart interval in it, starts with a reset
 * state and with DC predictors of 0; then each block is one call, in the order of the scan. An encoder ends the
 * interval with a flush and writes the marker itself:
 * @code
 *   zeliEncodeHuffmanStateInit_JPEG_8u(&state);
 *   for (i = 0; i < n && s == zelStsNoErr; ++i)
 *     s = zeliEncodeHuffman8x8_JPEG_16s1u_C1(block[i], dst, size, &pos, &lastDC, dc, ac, &state, 0);
 *   if (s == zelStsNoErr) s = zeliEncodeHuffman8x8_JPEG_16s1u_C1(0, dst, size, &pos, 0, 0, 0, &state, 1);
 *   // at a restart: write 0xFF 0xD0..0xD7 at pos, set every lastDC to 0, go on with the next interval
 * @endcode
 * A decoder stops before the marker by itself and tells it:
 * @code
 *   zeliDecodeHuffmanStateInit_JPEG_8u(&state);
 *   for (marker = 0, lastDC = 0, i = 0; i < n && s == zelStsNoErr; ++i)
 *     s = zeliDecodeHuffman8x8_JPEG_1u16s_C1(src, size, &pos, block[i], &lastDC, &marker, dc, ac, &state);
 *   // at a restart: Init the state again, set marker and every lastDC to 0, go on behind the marker
 * @endcode
 * For tables fitted to an image, the statistics functions go over the blocks first, as the encoder will:
 * @code
 *   int32_t counts[256] = {0}, dcCounts[256] = {0};
 *   for (i = 0; i < n; ++i) zeliGetHuffmanStatistics8x8_JPEG_16s_C1(block[i], dcCounts, counts, &lastDC);
 *   s = zeliEncodeHuffmanRawTableInit_JPEG_8u(counts, bits, values);  // what the DHT segment holds
 *   if (s == zelStsNoErr) s = zeliEncodeHuffmanSpecInit_JPEG_8u(bits, values, ac);
 * @endcode
 *
 * Records. A record is obtained in one of two ways and then used alike: GetBufSize gives the bytes that a record needs,
 * and Init fills caller memory of that size and the alignment of the record; or InitAlloc allocates and fills one,
 * which the matching Free releases (zelStsNullPtrErr where the allocation fails). Init on a used record resets it.
 * Tables are only read by the coders: threads may share them. A state belongs to one stream at a time.
 *
 * Coefficient blocks are 64 signed 16-bit values in natural (row-major) order, DC first: entry 8 * v + u holds
 * horizontal frequency u of vertical frequency v. The coders walk them in zigzag order (T.81, Figure A.6).
 * @{ */

/** @defgroup zelj_huffman_tables Huffman tables
 * Tables from their descriptions (T.81, Annexes B.2.4.2 and C), and descriptions from symbol counts (Annex K.2).
 * @{ */

/** Decoder table: 1644 bytes. */
typedef struct ZeliDecodeHuffmanSpec {
  uint16_t values[256];    /**< the symbols in code order */
  uint32_t lookup[256];    /**< by the next 8 bits: symbol | code length << 16; 0 where the code has more than 8 bits */
  uint16_t firstCode[18];  /**< by length 1..16 */
  uint16_t lastCode[18];   /**< by length 1..16: the largest code, 0xFFFF where there is none; [17] is 0xFFFF */
  uint16_t firstIndex[18]; /**< by length 1..16: position in values of the first symbol */
} ZeliDecodeHuffmanSpec;

/** Encoder table: 1024 bytes. */
typedef struct ZeliEncodeHuffmanSpec {
  uint32_t codes[256]; /**< by symbol: code | code length << 16; 0 for a symbol without a code */
} ZeliEncodeHuffmanSpec;

/** @name Tables from descriptions
 * A description as a DHT segment holds it: pListBits[16] are the counts of codes of 1 to 16 bits, pListVals the symbols
 * in code order, as many as the counts add up to. zelStsJPEGHuffTableErr: more than 256 codes; for the decoder, codes
 * of up to 8 bits that overflow the 8-bit space; for the encoder, any overflow or a code of ones only. A record is then
 * not to be used; InitAlloc still hands it out, to be freed.
 * @{ */
ZEL_API ZelStatus zeliDecodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize);
ZEL_API ZelStatus zeliDecodeHuffmanSpecInit_JPEG_8u(const uint8_t* pListBits, const uint8_t* pListVals,
                                                    ZeliDecodeHuffmanSpec* pDecHuffSpec);
ZEL_API ZelStatus zeliDecodeHuffmanSpecInitAlloc_JPEG_8u(const uint8_t* pListBits, const uint8_t* pListVals,
                                                         ZeliDecodeHuffmanSpec** ppDecHuffSpec);
ZEL_API ZelStatus zeliDecodeHuffmanSpecFree_JPEG_8u(ZeliDecodeHuffmanSpec* pDecHuffSpec);
ZEL_API ZelStatus zeliEncodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize);
ZEL_API ZelStatus zeliEncodeHuffmanSpecInit_JPEG_8u(const uint8_t* pListBits, const uint8_t* pListVals,
                                                    ZeliEncodeHuffmanSpec* pEncHuffSpec);
ZEL_API ZelStatus zeliEncodeHuffmanSpecInitAlloc_JPEG_8u(const uint8_t* pListBits, const uint8_t* pListVals,
                                                         ZeliEncodeHuffmanSpec** ppEncHuffSpec);
ZEL_API ZelStatus zeliEncodeHuffmanSpecFree_JPEG_8u(ZeliEncodeHuffmanSpec* pEncHuffSpec);
/** @} */

/** The table description with the least coded size for 256 symbol counts. Writes pListBits[16] and as many symbols to
 * pListVals as those counts add up to, at most 256. A symbol with a count of 0 gets no code, nor does one with a count
 * above 1000000000: that is passed over, and to encode it gives zelStsJPEGHuffTableErr. Symbols whose counts add up to
 * more are not merged with others either, and the description may then be one that Init refuses: where the sum of all
 * counts may exceed 1000000000, divide them first, rounding up. All counts 0: 16 zero counts.
 * zelStsJPEGHuffTableErr where a code would exceed 32 bits before lengths are limited to 16;
 * nothing is written then. */
ZEL_API ZelStatus zeliEncodeHuffmanRawTableInit_JPEG_8u(const int32_t* pStatistics, uint8_t* pListBits,
                                                        uint8_t* pListVals);
/** @} */

/** @defgroup zelj_huffman_states Bit-stream states
 * What a coder keeps between two calls. Bits of a record beside those that its counts cover are not data.
 * @{ */

/** Decoder state: 24 bytes. */
typedef struct ZeliDecodeHuffmanState {
  uint64_t bits;        /**< bits read and not yet used, in the low 32 bits; the next one is bit bitCount - 1 */
  int32_t bitCount;     /**< 0..32 */
  int32_t eobRun;       /**< blocks left of a progressive end-of-band run */
  int32_t lastPosition; /**< zigzag positions accounted for in the last baseline block */
} ZeliDecodeHuffmanState;

/** Encoder state: 1048 bytes. */
typedef struct ZeliEncodeHuffmanState {
  uint64_t bits;                /**< pending bits; the first is bit 23 */
  int32_t bitCount;             /**< 0..7 between calls */
  int32_t eobRun;               /**< pending progressive end-of-band run, up to 32767 blocks */
  int32_t correctionBitCount;   /**< buffered correction bits of progressive AC refinement */
  uint8_t correctionBits[1024]; /**< one bit a byte */
} ZeliEncodeHuffmanState;

/** @name Size, initialisation, allocation, release
 * Init clears every field: the start of a scan or restart interval.
 * @{ */
ZEL_API ZelStatus zeliDecodeHuffmanStateGetBufSize_JPEG_8u(int* pSize);
ZEL_API ZelStatus zeliDecodeHuffmanStateInit_JPEG_8u(ZeliDecodeHuffmanState* pDecHuffState);
ZEL_API ZelStatus zeliDecodeHuffmanStateInitAlloc_JPEG_8u(ZeliDecodeHuffmanState** ppDecHuffState);
ZEL_API ZelStatus zeliDecodeHuffmanStateFree_JPEG_8u(ZeliDecodeHuffmanState* pDecHuffState);
ZEL_API ZelStatus zeliEncodeHuffmanStateGetBufSize_JPEG_8u(int* pSize);
ZEL_API ZelStatus zeliEncodeHuffmanStateInit_JPEG_8u(ZeliEncodeHuffmanState* pEncHuffState);
ZEL_API ZelStatus zeliEncodeHuffmanStateInitAlloc_JPEG_8u(ZeliEncodeHuffmanState** ppEncHuffState);
ZEL_API ZelStatus zeliEncodeHuffmanStateFree_JPEG_8u(ZeliEncodeHuffmanState* pEncHuffState);
/** @} */
/** @} */

/** @defgroup zelj_huffman_baseline Baseline blocks
 * Sequential DCT scans (T.81, Annexes F.1.2 and F.2.2), one 8x8 block a call. What is said here of buffers, markers and
 * errors holds for the progressive and lossless coders, too.
 *
 * Entropy-coded bytes are stuffed (0x00 after 0xFF). *pSrcCurrPos and *pDstCurrPos are byte positions in the buffer,
 * read and advanced; *pLastDC is the component's DC predictor, read and updated.
 * @{ */

/** Decodes one block: clears pDst and stores its coefficients.
 *
 * *pMarker is 0 while the data go on. When the decoder meets a marker, it stores the marker's second byte there
 * (0xD0..0xD7 a restart, 0xD9 the end of the image), with the position just after it, and from then on uses only the
 * bits already held. It reads up to 4 bytes ahead, so it often meets the marker before the last block of an interval;
 * but after that block *pMarker may also be 0 still, and the marker is then found from the position on. The caller sets
 * *pMarker to 0 before it goes on behind a marker.
 *
 *   zelStsJPEGOutOfBufErr   the source ends before the bits needed, or after a 0xFF
 *   zelStsJPEGCodeRangeErr  no code of up to 16 bits matches, or a marker came before the bits needed
 *   zelStsErr               a run passes the end of the block
 * After such an error the coefficients decoded so far stay, and the block cannot be resumed.
 * Checks: pSrc, nSrcLenBytes below 0 (zelStsBadArgErr; 0 is allowed), then the other pointers in order. */
ZEL_API ZelStatus zeliDecodeHuffman8x8_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                     int16_t* pDst, int16_t* pLastDC, int* pMarker,
                                                     const ZeliDecodeHuffmanSpec* pDcTable,
                                                     const ZeliDecodeHuffmanSpec* pAcTable,
                                                     ZeliDecodeHuffmanState* pDecHuffState);

/** Encodes one block, or flushes. Coefficients have magnitudes below 32768, so not -32768.
 *
 * bFlush nonzero codes no block: the last byte is padded with ones and the state reset, as at the end of each scan and
 * before each restart marker; pSrc, pLastDC and the tables may be null then.
 *
 *   zelStsJPEGOutOfBufErr   the destination is full; what was written stays, the stream cannot be continued
 *   zelStsJPEGHuffTableErr  a symbol has no code
 * The bytes of the destination behind the position reached may have changed.
 * Checks: pDst, nDstLenBytes, pDstCurrPos, pEncHuffState; then, unless flushing, pSrc, pLastDC, pDcTable, pAcTable. */
ZEL_API ZelStatus zeliEncodeHuffman8x8_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes,
                                                     int* pDstCurrPos, int16_t* pLastDC,
                                                     const ZeliEncodeHuffmanSpec* pDcTable,
                                                     const ZeliEncodeHuffmanSpec* pAcTable,
                                                     ZeliEncodeHuffmanState* pEncHuffState, int bFlush);

/** Decodes one block like zeliDecodeHuffman8x8_JPEG_1u16s_C1, with the bit state in the caller's variables (both 0 at
 * the start of an interval) and no buffer length: the data must end with a marker. *pSrcBitsLen is the position in
 * bits, a multiple of 8. Where a symbol is needed and a marker has left too few bits, the result is zelStsNoErr with
 * the block as decoded so far; where extra bits are, zelStsJPEGOutOfBufErr.
 * Checks: pSrc, pSrcBitsLen, *pSrcBitsLen below 0 (zelStsBadArgErr), pDst, pLastDC, pMarker, pPrefetchedBits,
 * pNumValidPrefetchedBits, its value below 0 (zelStsBadArgErr), pDcTable, pAcTable. */
ZEL_API ZelStatus zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1(const uint8_t* pSrc, int* pSrcBitsLen, int16_t* pDst,
                                                            int16_t* pLastDC, int* pMarker, uint32_t* pPrefetchedBits,
                                                            int* pNumValidPrefetchedBits,
                                                            const ZeliDecodeHuffmanSpec* pDcTable,
                                                            const ZeliDecodeHuffmanSpec* pAcTable);

/** Encodes one block without a state or a buffer length. *pDstBitsLen is the position in bits: the partial byte there
 * is kept and completed, and the last one is written with zeros below its bits. 8 bytes of room are needed beyond the
 * coded data; the tables must have a code for every symbol; padding at the end of the scan is the caller's.
 * Checks: the six pointers. */
ZEL_API ZelStatus zeliEncodeHuffman8x8_Direct_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int* pDstBitsLen,
                                                            int16_t* pLastDC, const ZeliEncodeHuffmanSpec* pDcTable,
                                                            const ZeliEncodeHuffmanSpec* pAcTable);
/** @} */

/** @defgroup zelj_huffman_progressive Progressive scans
 * One block's share of one scan a call (T.81, Annexes G.1.2 and G.2). Al is the successive-approximation bit (0..13),
 * Ss and Se the first and last zigzag index of the band (1..63, Ss up to Se); others give zelStsBadArgErr. Blocks,
 * buffers, markers and errors as for baseline blocks, but an empty source gives zelStsSizeErr.
 *
 * The order of scans: DCFirst before all others; ACFirst of a band before its ACRefine; each refinement codes the next
 * lower bit, so Al goes down by one to 0. AC scans have one component each; DC scans may interleave several. A
 * component in four scans (an encoder keeps the blocks, a decoder finds in them what the scans before have left):
 * @code
 *   for (i = 0; i < n; ++i)  // DC and AC without their lowest bit: Al = 1; then that bit
 *     zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(block[i], dst, size, &pos, &lastDC, 1, dc, &state, 0);
 *   for (i = 0; i < n; ++i)
 *     zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(block[i], dst, size, &pos, 1, 63, 1, ac, &state, 0);
 *   for (i = 0; i < n; ++i)
 *     zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(block[i], dst, size, &pos, 1, 63, 0, acRefine, &state, 0);
 *   for (i = 0; i < n; ++i)
 *     zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(block[i], dst, size, &pos, 0, &state, 0);
 * @endcode
 * Between two scans, the loops here, the encoder flushes and the headers of the next scan are written; the decoder
 * resets its state.
 * @{ */

/** @name Decoders
 * A scan adds its bits to what earlier scans left: the caller clears every block once, before its first scan. An
 * end-of-band run is carried in the state over the blocks that it covers; they are still one call each.
 * zelStsJPEGCodeRangeErr also where a run leaves the band.
 * Checks: pSrc, nSrcLenBytes, pSrcCurrPos, pDst, pLastDC, pMarker, then Ss, Se, Al, the table, the state.
 * @{ */
ZEL_API ZelStatus zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                             int16_t* pDst, int16_t* pLastDC, int* pMarker, int Al,
                                                             const ZeliDecodeHuffmanSpec* pDcTable,
                                                             ZeliDecodeHuffmanState* pDecHuffState);
ZEL_API ZelStatus zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                              int16_t* pDst, int* pMarker, int Al,
                                                              ZeliDecodeHuffmanState* pDecHuffState);
ZEL_API ZelStatus zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                             int16_t* pDst, int* pMarker, int Ss, int Se, int Al,
                                                             const ZeliDecodeHuffmanSpec* pAcTable,
                                                             ZeliDecodeHuffmanState* pDecHuffState);
ZEL_API ZelStatus zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                              int16_t* pDst, int* pMarker, int Ss, int Se, int Al,
                                                              const ZeliDecodeHuffmanSpec* pAcTable,
                                                              ZeliDecodeHuffmanState* pDecHuffState);
/** @} */

/** @name Encoders
 * pSrc holds whole coefficients in every scan: its value is shifted right by Al (DC, arithmetically), or its magnitude
 * is (AC). End-of-band runs, and the correction bits of refinement, are carried in the state until they must be coded:
 * at the next symbol of the scan, after 32767 blocks, or with more than 937 correction bits.
 *
 * bFlush nonzero ends the scan or restart interval as for baseline blocks. In AC scans, whose flush needs the table, it
 * first codes the pending run and writes every buffered correction bit; where the run has no code, that status is given
 * and the run stays in the state.
 * zelStsJPEGCodeRangeErr: a category above 11, or a run of category above 14.
 * Checks: pDst, nDstLenBytes, pDstCurrPos, the AC table, the state; then, unless flushing, pSrc, pLastDC, Ss, Se, Al,
 * the DC table.
 * @{ */
ZEL_API ZelStatus zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes,
                                                             int* pDstCurrPos, int16_t* pLastDC, int Al,
                                                             const ZeliEncodeHuffmanSpec* pDcTable,
                                                             ZeliEncodeHuffmanState* pEncHuffState, int bFlush);
ZEL_API ZelStatus zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes,
                                                              int* pDstCurrPos, int Al,
                                                              ZeliEncodeHuffmanState* pEncHuffState, int bFlush);
ZEL_API ZelStatus zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes,
                                                             int* pDstCurrPos, int Ss, int Se, int Al,
                                                             const ZeliEncodeHuffmanSpec* pAcTable,
                                                             ZeliEncodeHuffmanState* pEncHuffState, int bFlush);
ZEL_API ZelStatus zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes,
                                                              int* pDstCurrPos, int Ss, int Se, int Al,
                                                              const ZeliEncodeHuffmanSpec* pAcTable,
                                                              ZeliEncodeHuffmanState* pEncHuffState, int bFlush);
/** @} */
/** @} */

/** @defgroup zelj_huffman_lossless Lossless differences
 * The differences of lossless prediction (T.81, Annexes H.1.2.2 and H.2), which zeliDiffPredRow_JPEG_16s_C1 and its
 * like make and take: signed 16-bit, one a call, or a row of each of up to 4 components. A row is interleaved sample by
 * sample in the stream (component 0, 1, ... of the first sample, then of the second); a component count above 4 acts as
 * 4. Tables are DC-style, their symbols categories 0..16; category 16 has no extra bits and means -32768. Buffers,
 * states, markers, errors and bFlush as for baseline blocks, but an empty source gives zelStsSizeErr. An error ends the
 * call; what was coded or decoded before it stays.
 *
 * A scan of three components is, for each row, prediction and one call:
 * @code
 *   for (c = 0; c < 3; ++c) zeliDiffPredRow_JPEG_16s_C1(row[c], above[c], diff[c], width, zeliPredictorRa);
 *   s = zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(diff, width, 3, dst, size, &pos, tables, &state, 0);
 * @endcode
 * Checks: encoding: pDst, nDstLenBytes, pDstCurrPos, the state; then, unless flushing, the source, its length and rows,
 * the tables, and for each component its row and table. Decoding: in order of the arguments, then each row and table.
 * @{ */

/** @name One difference
 * @{ */
ZEL_API ZelStatus zeliEncodeHuffmanOne_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes,
                                                     int* pDstCurrPos, const ZeliEncodeHuffmanSpec* pEncHuffTable,
                                                     ZeliEncodeHuffmanState* pEncHuffState, int bFlush);
ZEL_API ZelStatus zeliDecodeHuffmanOne_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                     int16_t* pDst, int* pMarker,
                                                     const ZeliDecodeHuffmanSpec* pDecHuffTable,
                                                     ZeliDecodeHuffmanState* pDecHuffState);
/** @} */

/** @name Rows
 * nSrcLen and nDstLen are samples of a component. The decoder's position, bit count and marker after a row are those of
 * decoding its differences one by one where less than 2 * nDstLen bytes were left; else they stand for the same bit.
 * @{ */
ZEL_API ZelStatus zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(const int16_t* const* ppSrc, int nSrcLen, int nSrcRows,
                                                       uint8_t* pDst, int nDstLenBytes, int* pDstCurrPos,
                                                       const ZeliEncodeHuffmanSpec* const* ppEncHuffTable,
                                                       ZeliEncodeHuffmanState* pEncHuffState, int bFlush);
ZEL_API ZelStatus zeliDecodeHuffmanRow_JPEG_1u16s_C1P4(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                       int16_t* const* ppDst, int nDstLen, int nDstRows, int* pMarker,
                                                       const ZeliDecodeHuffmanSpec* const* ppDecHuffTable,
                                                       ZeliDecodeHuffmanState* pDecHuffState);
/** @} */
/** @} */

/** @defgroup zelj_huffman_statistics Symbol statistics
 * The first pass of an encoder whose tables are fitted to the image (T.81, Annex K.2): like the encoders, symbol for
 * symbol, but one of 256 counters grows where a code would be written: the input of
 * zeliEncodeHuffmanRawTableInit_JPEG_8u. The caller clears the counters before the first block, and keeps one array for
 * each table. Then the same blocks are coded, from reset states and predictors again. DC refinement has no symbols.
 *
 * In progressive AC scans a state of the pass carries runs from block to block, and bFlush nonzero counts the pending
 * one and resets the state, wherever the encoder will flush:
 * @code
 *   zeliEncodeHuffmanStateInit_JPEG_8u(&state);
 *   for (i = 0; i < n; ++i) zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(block[i], counts, 1, 63, 0, &state, 0);
 *   zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(0, counts, 1, 63, 0, &state, 1);
 * @endcode
 * zelStsJPEGCodeRangeErr: baseline categories above 15 (DC) and 14 (AC), progressive ones above 11 (DC) and 10 (AC).
 * Checks: baseline, DC and single differences: the pointers, then Al. AC: pAcStatistics, the state; then, unless
 * flushing, pSrc, Ss, Se, Al.
 * @{ */

/** @name Counters of a block's or a difference's symbols
 * @{ */
ZEL_API ZelStatus zeliGetHuffmanStatistics8x8_JPEG_16s_C1(const int16_t* pSrc, int32_t* pDcStatistics,
                                                          int32_t* pAcStatistics, int16_t* pLastDC);
ZEL_API ZelStatus zeliGetHuffmanStatisticsOne_JPEG_16s_C1(const int16_t* pSrc, int32_t* pStatistics);
ZEL_API ZelStatus zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(const int16_t* pSrc, int32_t* pDcStatistics,
                                                                  int16_t* pLastDC, int Al);
ZEL_API ZelStatus zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(const int16_t* pSrc, int32_t* pAcStatistics, int Ss,
                                                                  int Se, int Al, ZeliEncodeHuffmanState* pEncHuffState,
                                                                  int bFlush);
ZEL_API ZelStatus zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(const int16_t* pSrc, int32_t* pAcStatistics, int Ss,
                                                                   int Se, int Al,
                                                                   ZeliEncodeHuffmanState* pEncHuffState, int bFlush);
/** @} */
/** @} */
/** @} */

/* ==== 3  JPEG transform and quantisation ========================================================================== */

/** @defgroup zelj_transform JPEG transform and quantisation
 *
 * Quantisation tables. Raw tables are 64 unsigned 8-bit steps q in zigzag order, as in a stream; forward tables are 64
 * reciprocals 32768 / q and inverse tables 64 steps q, both unsigned 16-bit in natural order.
 * @{ */

/* Scale a raw table in place by a quality of 1 to 100: t becomes (t * S + 50) / 100 clamped to 1..255, S = 5000 /
 * quality below 50, else 200 - 2 * quality. Above 100 acts as 100 (all ones); below 1 gives zelStsBadArgErr. */
ZEL_API ZelStatus zeliQuantFwdRawTableInit_JPEG_8u(uint8_t* pQuantRawTable, int qualityFactor);

/* Forward and inverse table of a raw table. A step of 0 gives the reciprocal 65535 and zelStsDivByZeroWrn.
 * Checks of the inverse: the destination first. */
ZEL_API ZelStatus zeliQuantFwdTableInit_JPEG_8u16u(const uint8_t* pQuantRawTable, uint16_t* pQuantFwdTable);
ZEL_API ZelStatus zeliQuantInvTableInit_JPEG_8u16u(const uint8_t* pQuantRawTable, uint16_t* pQuantInvTable);

/* Quantise a block: x / q rounded to nearest, halves up, by the truncated half of the reciprocal. Dequantise: the low
 * 16 bits of x * q. */
ZEL_API ZelStatus zeliQuantFwd8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantFwdTable);
ZEL_API ZelStatus zeliQuantInv8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantInvTable);

/* ---- DCT with quantisation (T.81, Annex A.3.3 and A.3.4) ----
 * Blocks are 64 coefficients or samples in natural order; sample rows of the LS functions are step bytes apart.
 * Forward: samples (8u: minus 128), DCT, times the reciprocal, rounded to nearest, halves to even.
 * Inverse: times the step (low 16 bits), inverse DCT; 8u: plus 128, clamped to 0..255.
 * 12-bit samples (16u) take single-precision tables: 1 / q forward, q inverse, in natural order; they are centred on
 * 2048 and clamped to 0..4095.
 * Checks: source and destination pointers, the step, the table. */
ZEL_API ZelStatus zeliDCTQuantFwd8x8_JPEG_16s_C1(const int16_t* pSrc, int16_t* pDst, const uint16_t* pQuantFwdTable);
ZEL_API ZelStatus zeliDCTQuantFwd8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantFwdTable);
ZEL_API ZelStatus zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(const uint8_t* pSrc, int srcStep, int16_t* pDst,
                                                      const uint16_t* pQuantFwdTable);
ZEL_API ZelStatus zeliDCTQuantFwd8x8LS_JPEG_16u16s_C1R(const uint16_t* pSrc, int srcStep, int16_t* pDst,
                                                       const float* pQuantFwdTable);
ZEL_API ZelStatus zeliDCTQuantInv8x8_JPEG_16s_C1(const int16_t* pSrc, int16_t* pDst, const uint16_t* pQuantInvTable);
ZEL_API ZelStatus zeliDCTQuantInv8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantInvTable);
ZEL_API ZelStatus zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                                      const uint16_t* pQuantInvTable);
ZEL_API ZelStatus zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(const int16_t* pSrc, uint16_t* pDst, int dstStep,
                                                       const float* pQuantInvTable);

/* Like zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R, but for blocks whose nonzero coefficients lie in the top-left 1x1, 2x2 or
 * 4x4 corner (others are not read). The 1x1 member truncates where the full inverse rounds. */
ZEL_API ZelStatus zeliDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                                          const uint16_t* pQuantInvTable);
ZEL_API ZelStatus zeliDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                                          const uint16_t* pQuantInvTable);
ZEL_API ZelStatus zeliDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                                          const uint16_t* pQuantInvTable);

/* Reduced-size decoding: 2x2 or 4x4 samples, each the mean of its 4x4 or 2x2 group of the block's inverse DCT. */
ZEL_API ZelStatus zeliDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                                           const uint16_t* pQuantInvTable);
ZEL_API ZelStatus zeliDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                                           const uint16_t* pQuantInvTable);

/* Inverse DCT of dequantised coefficients, plus level (16-bit wrap), clamped to 0..255 and then to lower..upper.
 * Checks: pSrc, pDst, dstStep. */
ZEL_API ZelStatus zeliDCT8x8InvLSClip_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep, int16_t level,
                                                uint8_t lower, uint8_t upper);

/* ---- Level shift of planes ----
 * dst = src - 128, or src + 128 clamped to 0..255. Threads. */
ZEL_API ZelStatus zeliSub128_JPEG_8u16s_C1R(const uint8_t* pSrc, int srcStep, int16_t* pDst, int dstStep,
                                            ZeliSize roiSize);
ZEL_API ZelStatus zeliAdd128_JPEG_16s8u_C1R(const int16_t* pSrc, int srcStep, uint8_t* pDst, int dstStep,
                                            ZeliSize roiSize);

/** Predictors of lossless JPEG (T.81, Table H.1): Ra is the left, Rb the upper, Rc the upper left neighbour. */
typedef enum ZeliPredictor {
  zeliPredictorRa = 1,
  zeliPredictorRb = 2,
  zeliPredictorRc = 3,
  zeliPredictorRaRbRc = 4,     /**< Ra + Rb - Rc */
  zeliPredictorRaHalfRbRc = 5, /**< Ra + ((Rb - Rc) >> 1) */
  zeliPredictorRbHalfRaRc = 6, /**< Rb + ((Ra - Rc) >> 1) */
  zeliPredictorHalfRaRb = 7    /**< (Ra + Rb) >> 1 */
} ZeliPredictor;

/* ---- Lossless prediction (T.81, Annex H.1.2 and H.2) ----
 * One row of one component: samples to differences, and back. Rows are width 16-bit samples, already point-transformed.
 * With Ra the left, Rb the upper and Rc the upper left neighbour, predictors 1 to 7 are Ra, Rb, Rc, Ra + Rb - Rc,
 * Ra + ((Rb - Rc) >> 1), Rb + ((Ra - Rc) >> 1), (Ra + Rb) >> 1: modulo 2^16, but the halved terms read their operands
 * as signed, so that samples of 32768 and above are negative there. The first column is predicted by Rb.
 * The first row of a scan or restart interval has functions of its own: its first sample is predicted by 2^(P - Pt -
 * 1), the others by Ra. P is the precision (2..16), Pt the point transform (from 0).
 * Checks: the rows, width, then predictor, or P and Pt (zelStsBadArgErr). */
ZEL_API ZelStatus zeliDiffPredFirstRow_JPEG_16s_C1(const int16_t* pSrc, int16_t* pDst, int width, int P, int Pt);
ZEL_API ZelStatus zeliDiffPredRow_JPEG_16s_C1(const int16_t* pSrc, const int16_t* pPrevRow, int16_t* pDst, int width,
                                              int predictor);
ZEL_API ZelStatus zeliReconstructPredFirstRow_JPEG_16s_C1(const int16_t* pSrc, int16_t* pDst, int width, int P, int Pt);
ZEL_API ZelStatus zeliReconstructPredRow_JPEG_16s_C1(const int16_t* pSrc, const int16_t* pPrevRow, int16_t* pDst,
                                                     int width, int predictor);

/** @} */

/* ==== 4  JPEG colour conversion and resampling ==================================================================== */

/** @defgroup zelj_colour JPEG colour conversion and resampling
 * @{ */

/* ---- Colour conversion of planes ----
 * RGB and YCbCr as JFIF defines them (full range, chroma centred on 128); CMYK and YCCK: R = 255 - C, G = 255 - M, B =
 * 255 - Y, K as it is. C3 and C4 pixels have their channels in the named order; planes of one image share a step.
 * 16-bit pixels: RGB555 has red in bits 0-4, green in 5-9, blue in 10-14, RGB565 green in 5-10 and blue in 11-15; BGR
 * the other way round. Fields are cut and widened by shifts alone. C2 is interleaved 4:2:2: Y0 Cb Y1 Cr.
 * All results are clamped to 0..255. The last pixels of a row, those that do not fill 4 (planar sources, and all
 * inverse members) or 8 (RGB and BGR C3P3, 4:2:2), are computed in another fixed-point form and can differ by 1.
 * Checks: pSrc, pDst, each plane in order (source first), srcStep, dstStep, roiSize. 4:2:2: no step check; any
 * distance. Threads, but for the 16-bit pixels. */
ZEL_API ZelStatus zeliRGBToYCbCr_JPEG_8u_P3R(const uint8_t* const pSrc[3], int srcStep, uint8_t* const pDst[3],
                                             int dstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliRGBToYCbCr_JPEG_8u_C3P3R(const uint8_t* pSrc, int srcStep, uint8_t* const pDst[3], int dstStep,
                                               ZeliSize roiSize);
ZEL_API ZelStatus zeliBGRToYCbCr_JPEG_8u_C3P3R(const uint8_t* pSrc, int srcStep, uint8_t* const pDst[3], int dstStep,
                                               ZeliSize roiSize);
ZEL_API ZelStatus zeliRGB555ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* pSrc, int srcStep, uint8_t* const pDst[3],
                                                     int dstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliBGR555ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* pSrc, int srcStep, uint8_t* const pDst[3],
                                                     int dstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliRGB565ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* pSrc, int srcStep, uint8_t* const pDst[3],
                                                     int dstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliBGR565ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* pSrc, int srcStep, uint8_t* const pDst[3],
                                                     int dstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliCMYKToYCCK_JPEG_8u_P4R(const uint8_t* const pSrc[4], int srcStep, uint8_t* const pDst[4],
                                             int dstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliCMYKToYCCK_JPEG_8u_C4P4R(const uint8_t* pSrc, int srcStep, uint8_t* const pDst[4], int dstStep,
                                               ZeliSize roiSize);
ZEL_API ZelStatus zeliRGBToY_JPEG_8u_P3C1R(const uint8_t* const pSrc[3], int srcStep, uint8_t* pDst, int dstStep,
                                           ZeliSize roiSize);
ZEL_API ZelStatus zeliRGBToY_JPEG_8u_C3C1R(const uint8_t* pSrc, int srcStep, uint8_t* pDst, int dstStep,
                                           ZeliSize roiSize);
ZEL_API ZelStatus zeliBGRToY_JPEG_8u_C3C1R(const uint8_t* pSrc, int srcStep, uint8_t* pDst, int dstStep,
                                           ZeliSize roiSize);
ZEL_API ZelStatus zeliYCbCrToRGB_JPEG_8u_P3R(const uint8_t* const pSrc[3], int srcStep, uint8_t* const pDst[3],
                                             int dstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliYCbCrToRGB_JPEG_8u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint8_t* pDst, int dstStep,
                                               ZeliSize roiSize);
ZEL_API ZelStatus zeliYCbCrToBGR_JPEG_8u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint8_t* pDst, int dstStep,
                                               ZeliSize roiSize);
ZEL_API ZelStatus zeliYCbCrToRGB555_JPEG_8u16u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint16_t* pDst,
                                                     int dstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliYCbCrToBGR555_JPEG_8u16u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint16_t* pDst,
                                                     int dstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliYCbCrToRGB565_JPEG_8u16u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint16_t* pDst,
                                                     int dstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliYCbCrToBGR565_JPEG_8u16u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint16_t* pDst,
                                                     int dstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliYCCKToCMYK_JPEG_8u_P4R(const uint8_t* const pSrc[4], int srcStep, uint8_t* const pDst[4],
                                             int dstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliYCCKToCMYK_JPEG_8u_P4C4R(const uint8_t* const pSrc[4], int srcStep, uint8_t* pDst, int dstStep,
                                               ZeliSize roiSize);
ZEL_API ZelStatus zeliYCbCr422ToRGB_JPEG_8u_C2C3R(const uint8_t* pSrc, int srcStep, uint8_t* pDst, int dstStep,
                                                  ZeliSize roiSize);

/* ---- Resampling of chroma planes ----
 * Box down-sampling: the mean of 2 (H2V1) or 2x2 (H2V2) samples. Planes are biased upwards: (a + b + 1) >> 1,
 * (a + b + c + d + 3) >> 2; rows by turns: the bias is 0, 1, 0, 1 ... (H2V1) or 1, 2, 1, 2 ... (H2V2) along the row.
 * Triangle up-sampling: d[2k] = (3 s[k] + s[k-1] + 1) >> 2, d[2k+1] = (3 s[k] + s[k+1] + 2) >> 2; for H2V2 with column
 * sums c[k] = 3 near[k] + far[k] in place of s, (... + 8) >> 4 and (... + 7) >> 4.
 * Planes: the loops run over the destination size; the source size is only checked. Up-sampling reads one sample beyond
 * each end of a source row, H2V2 also the rows above the first and below the last: the caller provides them. Threads,
 * but for the plane H2V1 up-sampler. Checks: pSrc, srcStep, srcSize, pDst, dstStep, dstSize.
 * Rows: (srcWidth + 1) / 2 outputs down, 2 * srcWidth up. Down-sampling an odd width reads one sample past it;
 * up-sampling reads nothing beyond, its outermost outputs are the outermost samples. pSrc1 is the upper row, or the
 * nearer one. */
ZEL_API ZelStatus zeliSampleDownH2V1_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZeliSize srcSize, uint8_t* pDst,
                                                 int dstStep, ZeliSize dstSize);
ZEL_API ZelStatus zeliSampleDownH2V2_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZeliSize srcSize, uint8_t* pDst,
                                                 int dstStep, ZeliSize dstSize);
ZEL_API ZelStatus zeliSampleUpH2V1_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZeliSize srcSize, uint8_t* pDst,
                                               int dstStep, ZeliSize dstSize);
ZEL_API ZelStatus zeliSampleUpH2V2_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZeliSize srcSize, uint8_t* pDst,
                                               int dstStep, ZeliSize dstSize);
ZEL_API ZelStatus zeliSampleDownRowH2V1_Box_JPEG_8u_C1(const uint8_t* pSrc, int srcWidth, uint8_t* pDst);
ZEL_API ZelStatus zeliSampleDownRowH2V2_Box_JPEG_8u_C1(const uint8_t* pSrc1, const uint8_t* pSrc2, int srcWidth,
                                                       uint8_t* pDst);
ZEL_API ZelStatus zeliSampleUpRowH2V1_Triangle_JPEG_8u_C1(const uint8_t* pSrc, int srcWidth, uint8_t* pDst);
ZEL_API ZelStatus zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1(const uint8_t* pSrc1, const uint8_t* pSrc2, int srcWidth,
                                                          uint8_t* pDst);

/* ---- One MCU at a time ----
 * An MCU is 8x8 pixels (444), 16x8 (422) or 16x16 (411: chroma halved both ways). On the block side each component has
 * a pointer to its 8x8 blocks of level-shifted 16-bit samples: luminance (and K) 1, 2 (left, right) or 4 (top left, top
 * right, bottom left, bottom right) consecutive blocks, chroma one block each.
 * Pixels: 8-bit channels interleaved in the named order, or 16-bit pixels: BGR555 has blue in bits 0-4, green in 5-9,
 * red in 10-14; BGR565 blue in 0-4, green in 5-10, red in 11-15. Fields are cut and widened by shifts alone. */

/* Pixels to blocks: Y - 128, Cb and Cr of the JFIF matrix in 14-bit fixed point, chroma averaged over its pixels and
 * rounded. CMYK: R = 255 - C, G = 255 - M, B = 255 - Y, and K - 128 as fourth component.
 * Checks: pSrc and pDst, srcStep, the block pointers in order. */
ZEL_API ZelStatus zeliRGBToYCbCr444LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZEL_API ZelStatus zeliRGBToYCbCr422LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZEL_API ZelStatus zeliRGBToYCbCr411LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZEL_API ZelStatus zeliBGRToYCbCr444LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZEL_API ZelStatus zeliBGRToYCbCr422LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZEL_API ZelStatus zeliBGRToYCbCr411LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZEL_API ZelStatus zeliBGR555ToYCbCr444LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZEL_API ZelStatus zeliBGR555ToYCbCr422LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZEL_API ZelStatus zeliBGR555ToYCbCr411LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZEL_API ZelStatus zeliBGR565ToYCbCr444LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZEL_API ZelStatus zeliBGR565ToYCbCr422LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZEL_API ZelStatus zeliBGR565ToYCbCr411LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZEL_API ZelStatus zeliCMYKToYCCK444LS_MCU_8u16s_C4P4R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[4]);
ZEL_API ZelStatus zeliCMYKToYCCK422LS_MCU_8u16s_C4P4R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[4]);
ZEL_API ZelStatus zeliCMYKToYCCK411LS_MCU_8u16s_C4P4R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[4]);

/* Pixels that are Y, Cb, Cr already: each minus 128, chroma averaged and rounded down. Split422: bytes Y0 Cb Y1 Cr. */
ZEL_API ZelStatus zeliSampleDown444LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZEL_API ZelStatus zeliSampleDown422LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZEL_API ZelStatus zeliSampleDown411LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZEL_API ZelStatus zeliSplit422LS_MCU_8u16s_C2P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);

/* Blocks to pixels: chroma replicated over its pixels, the inverse matrix in 14-bit fixed point, 128 added, clamped.
 * CMYK: C = 255 - R, M = 255 - G, Y = 255 - B, and K + 128.
 * Checks: pSrc and pDst, the block pointers in order, dstStep. */
ZEL_API ZelStatus zeliYCbCr444ToRGBLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZEL_API ZelStatus zeliYCbCr422ToRGBLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZEL_API ZelStatus zeliYCbCr411ToRGBLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZEL_API ZelStatus zeliYCbCr444ToBGRLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZEL_API ZelStatus zeliYCbCr422ToBGRLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZEL_API ZelStatus zeliYCbCr411ToBGRLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZEL_API ZelStatus zeliYCbCr444ToBGR555LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep);
ZEL_API ZelStatus zeliYCbCr422ToBGR555LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep);
ZEL_API ZelStatus zeliYCbCr411ToBGR555LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep);
ZEL_API ZelStatus zeliYCbCr444ToBGR565LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep);
ZEL_API ZelStatus zeliYCbCr422ToBGR565LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep);
ZEL_API ZelStatus zeliYCbCr411ToBGR565LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep);
ZEL_API ZelStatus zeliYCCK444ToCMYKLS_MCU_16s8u_P4C4R(const int16_t* const pSrc[4], uint8_t* pDst, int dstStep);
ZEL_API ZelStatus zeliYCCK422ToCMYKLS_MCU_16s8u_P4C4R(const int16_t* const pSrc[4], uint8_t* pDst, int dstStep);
ZEL_API ZelStatus zeliYCCK411ToCMYKLS_MCU_16s8u_P4C4R(const int16_t* const pSrc[4], uint8_t* pDst, int dstStep);

/* Blocks to Y, Cb, Cr pixels without colour conversion: each plus 128, clamped, chroma replicated. Join422: bytes
 * Y0 Cb Y1 Cr. */
ZEL_API ZelStatus zeliSampleUp444LS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZEL_API ZelStatus zeliSampleUp422LS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZEL_API ZelStatus zeliSampleUp411LS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZEL_API ZelStatus zeliJoin422LS_MCU_16s8u_P3C2R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);

/** @} */

/* ==== 5a  JPEG 2000: component transforms ========================================================================= */

/** @defgroup zelj_components JPEG 2000: component transforms
 * @{ */

/* ---- Multiple component transformations (ITU-T T.800, Annex G) ----
 * Forward from R, G, B (components 0, 1, 2) to Y, Cb, Cr; inverse back. C3 has the three samples of a pixel side by
 * side, P3 one plane each; one step applies to all three planes. P3IR replaces the planes in place. Any row length;
 * samples are signed and already level-shifted where the stream asks for it.
 * Checks: the pointers and each plane, in the order of the arguments; then the steps; then the size. */

/* Reversible (G.2), with >> an arithmetic shift:
 *   Y = (R + 2 G + B) >> 2, Cb = B - G, Cr = R - G;  G = Y - ((Cb + Cr) >> 2), R = Cr + G, B = Cb + G.
 * 16s: sums in 32 bits, results cut to their low 16 bits. 32s: 32-bit arithmetic that wraps. Inverse after forward is
 * exact as long as the differences fit the type (16s: samples within +-16384, or 0..32767) and, for 32s, the sum
 * R + 2 G + B fits 32 bits (magnitudes up to 2^29). */
ZEL_API ZelStatus zeliRCTFwd_JPEG2K_16s_C3P3R(const int16_t* pSrc, int srcStep, int16_t* const pDst[3], int dstStep,
                                              ZeliSize roiSize);
ZEL_API ZelStatus zeliRCTInv_JPEG2K_16s_P3C3R(const int16_t* const pSrc[3], int srcStep, int16_t* pDst, int dstStep,
                                              ZeliSize roiSize);
ZEL_API ZelStatus zeliRCTFwd_JPEG2K_16s_P3IR(int16_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliRCTInv_JPEG2K_16s_P3IR(int16_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliRCTFwd_JPEG2K_32s_C3P3R(const int32_t* pSrc, int srcStep, int32_t* const pDst[3], int dstStep,
                                              ZeliSize roiSize);
ZEL_API ZelStatus zeliRCTInv_JPEG2K_32s_P3C3R(const int32_t* const pSrc[3], int srcStep, int32_t* pDst, int dstStep,
                                              ZeliSize roiSize);
ZEL_API ZelStatus zeliRCTFwd_JPEG2K_32s_P3IR(int32_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliRCTInv_JPEG2K_32s_P3IR(int32_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);

/* Irreversible (G.3), 32f: single precision, products summed from left to right, no clamping:
 *   Y = 0.299 R + 0.587 G + 0.114 B, Cb = -0.16875 R - 0.33126 G + 0.5 B, Cr = 0.5 R - 0.41869 G - 0.08131 B;
 *   R = Y + 1.402 Cr, G = Y - 0.34413 Cb - 0.71414 Cr, B = Y + 1.772 Cb. */
ZEL_API ZelStatus zeliICTFwd_JPEG2K_32f_C3P3R(const float* pSrc, int srcStep, float* const pDst[3], int dstStep,
                                              ZeliSize roiSize);
ZEL_API ZelStatus zeliICTInv_JPEG2K_32f_P3C3R(const float* const pSrc[3], int srcStep, float* pDst, int dstStep,
                                              ZeliSize roiSize);
ZEL_API ZelStatus zeliICTFwd_JPEG2K_32f_P3IR(float* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliICTInv_JPEG2K_32f_P3IR(float* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);

/* Irreversible in fixed point, the weights in units of 2^-14 and products rounded by adding 8192 before the shift.
 * 16s: Cb and Cr are B - Y and R - Y (rounded, cut to 16 bits) times 9246 and 11686; all results saturate. 32s: the
 * matrix above in 32-bit arithmetic that wraps, which magnitudes up to 2^16 cannot reach. */
ZEL_API ZelStatus zeliICTFwd_JPEG2K_16s_P3IR(int16_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliICTInv_JPEG2K_16s_P3IR(int16_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliICTFwd_JPEG2K_32s_P3IR(int32_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliICTInv_JPEG2K_32s_P3IR(int32_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);

/** @} */

/* ==== 5b  JPEG 2000: wavelets ===================================================================================== */

/** @defgroup zelj_wavelets JPEG 2000: wavelets
 *
 * One level of the wavelet transformations (ITU-T T.800, Annex F), forward and inverse: reversible 5/3 (B53) and
 * irreversible 9/7 (D97).
 *
 * Phase. Samples at even places of the reference grid become low-pass, those at odd places high-pass coefficients. The
 * phase says which comes first in a line: 0 a low, 1 (any odd number) a high one. The functions on tiles take it from
 * the lowest bit of the rectangle's x (rows) and y (columns), of negative ones too; nothing else of x and y is used.
 *
 * Tiles (C1IR, C1R). Lines are extended by whole-sample symmetry (F.3.7) at the borders of the tile. A line of n
 * samples becomes its low coefficients, then its high ones: with phase 0 the low part has (n + 1) / 2 of them, with
 * phase 1 n / 2. So a plane becomes four quadrants: LL and, right of it, HL (high horizontally), below it LH and HH.
 * A line of one sample is doubled where the phase is 1 (inverse: halved, truncating), else kept.
 *   C1IR  in place. No size is checked; a width or height below 1 transforms nothing.
 *   C1R   to or from four bands, 0 LL, 1 LH, 2 HL, 3 HH, of (w + 1) / 2 or w / 2 columns and (h + 1) / 2 or h / 2 rows,
 *         whatever the phase: the bands are cut from the plane of C1IR at these places. The pointers and steps of empty
 *         bands are checked too.
 *   GetBufSize gives the bytes of pBuffer, of any alignment. It may be 0 for C1IR; even then pBuffer must not be null.
 *   Checks: C1IR: pSrcDst, srcDstStep, pTileRect, pBuffer. C1R: the five pointers in order, the step of the plane, the
 *   four bands, their four steps, the size. GetBufSize: the pointers.
 *
 * Rows and columns (Row, Col). One direction over a region whose source carries its border: nothing is extended. The
 * size is in coefficients: a row function makes (or takes) width of each band in each of height rows, a column function
 * height of each band in each of width columns; there are twice as many samples. What a line of n coefficients a band
 * reads, as offsets from its first:
 *               forward           inverse
 *   5/3 phase 0  x -2 .. 2n        low  0 .. n      high -1 .. n
 *   5/3 phase 1  x -1 .. 2n+1      low -1 .. n-1    high -1 .. n
 *   9/7 phase 0  x -4 .. 2n+2      low -1 .. n+1    high -2 .. n+1
 *   9/7 phase 1  x -3 .. 2n+3      low -2 .. n      high -2 .. n+1
 *   Checks: the three pointers, the three steps, the size.
 *
 * Lifting steps (ColLift). One step of a vertical transform on rows of width samples, for pipelines over rows; the
 * caller passes, at the ends of a column, the rows that the symmetric extension names.
 *   Checks: the pointers in order, the width.
 * @{ */

/** The sub-bands of one level, in the order in which band arrays hold them. */
typedef enum ZeliSubband {
  zeliSubbandLL = 0, /**< low-pass in both directions */
  zeliSubbandLH = 1, /**< low-pass horizontally, high-pass vertically */
  zeliSubbandHL = 2, /**< high-pass horizontally, low-pass vertically */
  zeliSubbandHH = 3  /**< high-pass in both directions */
} ZeliSubband;

/** Which coefficient comes first in a line. */
typedef enum ZeliPhase {
  zeliPhaseLow = 0, /**< the line starts at an even place of the reference grid, with a low-pass coefficient */
  zeliPhaseHigh = 1 /**< the line starts at an odd place, with a high-pass coefficient */
} ZeliPhase;

/* ---- Reversible 5/3 (F.3.8.1, F.4.8.1) ----
 * With >> an arithmetic shift:
 *   d[i] = x[2i+1] - ((x[2i] + x[2i+2]) >> 1), then s[i] = x[2i] + ((d[i-1] + d[i] + 2) >> 2), and back.
 * Arithmetic wraps in the sample's type: 16s is as defined while the sums of two neighbours, and of two high
 * coefficients plus 2, fit 16 bits. The inverse restores every input to the bit. */
ZEL_API ZelStatus zeliWTGetBufSize_B53_JPEG2K_16s_C1IR(const ZeliRect* pTileRect, int* pSize);
ZEL_API ZelStatus zeliWTGetBufSize_B53_JPEG2K_16s_C1R(const ZeliRect* pTileRect, int* pSize);
ZEL_API ZelStatus zeliWTFwd_B53_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTInv_B53_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTFwd_B53_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, const ZeliRect* pTileRect,
                                               int16_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTInv_B53_JPEG2K_16s_C1R(const int16_t* const pSrc[4], const int srcStep[4], int16_t* pDst,
                                               int dstStep, const ZeliRect* pTileRect, uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTFwdRow_B53_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, int16_t* pDstLow, int dstLowStep,
                                                  int16_t* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase);
ZEL_API ZelStatus zeliWTInvRow_B53_JPEG2K_16s_C1R(const int16_t* pSrcLow, int srcLowStep, const int16_t* pSrcHigh,
                                                  int srcHighStep, ZeliSize srcRoiSize, int16_t* pDst, int dstStep,
                                                  int phase);
ZEL_API ZelStatus zeliWTFwdCol_B53_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, int16_t* pDstLow, int dstLowStep,
                                                  int16_t* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase);
ZEL_API ZelStatus zeliWTInvCol_B53_JPEG2K_16s_C1R(const int16_t* pSrcLow, int srcLowStep, const int16_t* pSrcHigh,
                                                  int srcHighStep, ZeliSize srcRoiSize, int16_t* pDst, int dstStep,
                                                  int phase);
ZEL_API ZelStatus zeliWTGetBufSize_B53_JPEG2K_32s_C1IR(const ZeliRect* pTileRect, int* pSize);
ZEL_API ZelStatus zeliWTGetBufSize_B53_JPEG2K_32s_C1R(const ZeliRect* pTileRect, int* pSize);
ZEL_API ZelStatus zeliWTFwd_B53_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTInv_B53_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTFwd_B53_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, const ZeliRect* pTileRect,
                                               int32_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTInv_B53_JPEG2K_32s_C1R(const int32_t* const pSrc[4], const int srcStep[4], int32_t* pDst,
                                               int dstStep, const ZeliRect* pTileRect, uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTFwdRow_B53_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, int32_t* pDstLow, int dstLowStep,
                                                  int32_t* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase);
ZEL_API ZelStatus zeliWTInvRow_B53_JPEG2K_32s_C1R(const int32_t* pSrcLow, int srcLowStep, const int32_t* pSrcHigh,
                                                  int srcHighStep, ZeliSize srcRoiSize, int32_t* pDst, int dstStep,
                                                  int phase);
ZEL_API ZelStatus zeliWTFwdCol_B53_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, int32_t* pDstLow, int dstLowStep,
                                                  int32_t* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase);
ZEL_API ZelStatus zeliWTInvCol_B53_JPEG2K_32s_C1R(const int32_t* pSrcLow, int srcLowStep, const int32_t* pSrcHigh,
                                                  int srcHighStep, ZeliSize srcRoiSize, int32_t* pDst, int dstStep,
                                                  int phase);

/* Forward: x[2n], x[2n+1] and x[2n+2] are in pSrc0, pSrc1, pSrc2; d[n] is written to pDstHigh, then s[n] to pDstLow.
 * pSrcHighPrev holds d[n-1] and may be pDstHigh: it is read after pDstHigh is written.
 * Inverse: from s[n], d[n-1], d[n] and x[2n-2], x[2n] is written to pDstEven, then x[2n-1] to pDstOdd. */
ZEL_API ZelStatus zeliWTFwdColLift_B53_JPEG2K_16s_C1(const int16_t* pSrc0, const int16_t* pSrc1, const int16_t* pSrc2,
                                                     int16_t* pDstLow, const int16_t* pSrcHighPrev, int16_t* pDstHigh,
                                                     int width);
ZEL_API ZelStatus zeliWTInvColLift_B53_JPEG2K_16s_C1(const int16_t* pSrcLow, const int16_t* pSrcHighPrev,
                                                     const int16_t* pSrcHigh, const int16_t* pSrcEvenPrev,
                                                     int16_t* pDstOdd, int16_t* pDstEven, int width);
ZEL_API ZelStatus zeliWTFwdColLift_B53_JPEG2K_32s_C1(const int32_t* pSrc0, const int32_t* pSrc1, const int32_t* pSrc2,
                                                     int32_t* pDstLow, const int32_t* pSrcHighPrev, int32_t* pDstHigh,
                                                     int width);
ZEL_API ZelStatus zeliWTInvColLift_B53_JPEG2K_32s_C1(const int32_t* pSrcLow, const int32_t* pSrcHighPrev,
                                                     const int32_t* pSrcHigh, const int32_t* pSrcEvenPrev,
                                                     int32_t* pDstOdd, int32_t* pDstEven, int width);

/* ---- Irreversible 9/7 (F.3.8.2, F.4.8.2) ----
 * Forward, on a line x: x[2n+1] += a (x[2n] + x[2n+2]), x[2n] += b (x[2n-1] + x[2n+1]), x[2n+1] += c (x[2n] + x[2n+2]),
 * x[2n] += d (x[2n-1] + x[2n+1]), then low = KL x[2n], high = KH x[2n+1]; a = -1.5861343, b = -0.052980117,
 * c = 0.8829111, d = 0.44350687, KL = 0.8128931, KH = 1.2301741. Inverse: low times KH, high times KL, and the steps
 * undone. How the types compute:
 *   tiles, 16s         weights in units of 2^-14; each product of a sum of two samples is rounded, each sample kept in
 *                      16 bits
 *   tiles, 32s         single precision; x[2n] + x[2n+2] of the input is a 32-bit sum that wraps; coefficients and
 *                      samples are truncated toward zero and clamped to the type
 *   32f                single precision
 *   Row, ColLift, 32s  weights in units of 2^-16, 64-bit products of 32-bit sums that wrap, rounded; low in one
 *                      rounding as KL x[2n] + 0.36052364 (x[2n-1] + x[2n+1]), and the inverse likewise
 *   Row, ColLift, 16s  16-bit arithmetic: saturating sums, products rounded to 15 fractional bits. Samples up to about
 *                      +-7500 do not saturate. In rows, what is needed of intermediate values outside the line comes
 *                      from weights in units of 2^-16, saturated
 * A row or column of one coefficient a band (32f, and rows of 16s and 32s) is the direct convolution with the
 * equivalent filters. */
ZEL_API ZelStatus zeliWTGetBufSize_D97_JPEG2K_16s_C1IR(const ZeliRect* pTileRect, int* pSize);
ZEL_API ZelStatus zeliWTGetBufSize_D97_JPEG2K_16s_C1R(const ZeliRect* pTileRect, int* pSize);
ZEL_API ZelStatus zeliWTFwd_D97_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTInv_D97_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTFwd_D97_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, const ZeliRect* pTileRect,
                                               int16_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTInv_D97_JPEG2K_16s_C1R(const int16_t* const pSrc[4], const int srcStep[4], int16_t* pDst,
                                               int dstStep, const ZeliRect* pTileRect, uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTGetBufSize_D97_JPEG2K_32s_C1IR(const ZeliRect* pTileRect, int* pSize);
ZEL_API ZelStatus zeliWTGetBufSize_D97_JPEG2K_32s_C1R(const ZeliRect* pTileRect, int* pSize);
ZEL_API ZelStatus zeliWTFwd_D97_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTInv_D97_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTFwd_D97_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, const ZeliRect* pTileRect,
                                               int32_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTInv_D97_JPEG2K_32s_C1R(const int32_t* const pSrc[4], const int srcStep[4], int32_t* pDst,
                                               int dstStep, const ZeliRect* pTileRect, uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTFwdRow_D97_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, int16_t* pDstLow, int dstLowStep,
                                                  int16_t* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase);
ZEL_API ZelStatus zeliWTInvRow_D97_JPEG2K_16s_C1R(const int16_t* pSrcLow, int srcLowStep, const int16_t* pSrcHigh,
                                                  int srcHighStep, ZeliSize srcRoiSize, int16_t* pDst, int dstStep,
                                                  int phase);
ZEL_API ZelStatus zeliWTFwdRow_D97_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, int32_t* pDstLow, int dstLowStep,
                                                  int32_t* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase);
ZEL_API ZelStatus zeliWTInvRow_D97_JPEG2K_32s_C1R(const int32_t* pSrcLow, int srcLowStep, const int32_t* pSrcHigh,
                                                  int srcHighStep, ZeliSize srcRoiSize, int32_t* pDst, int dstStep,
                                                  int phase);
ZEL_API ZelStatus zeliWTFwdRow_D97_JPEG2K_32f_C1R(const float* pSrc, int srcStep, float* pDstLow, int dstLowStep,
                                                  float* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase);
ZEL_API ZelStatus zeliWTInvRow_D97_JPEG2K_32f_C1R(const float* pSrcLow, int srcLowStep, const float* pSrcHigh,
                                                  int srcHighStep, ZeliSize srcRoiSize, float* pDst, int dstStep,
                                                  int phase);
ZEL_API ZelStatus zeliWTFwdCol_D97_JPEG2K_32f_C1R(const float* pSrc, int srcStep, float* pDstLow, int dstLowStep,
                                                  float* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase);
ZEL_API ZelStatus zeliWTInvCol_D97_JPEG2K_32f_C1R(const float* pSrcLow, int srcLowStep, const float* pSrcHigh,
                                                  int srcHighStep, ZeliSize srcRoiSize, float* pDst, int dstStep,
                                                  int phase);

/* Forward, the steps in this order: pOdd = pSrc1 + a (pSrc0 + pSrc2); pEven = pSrc0 + b (pOddPrev + pOdd);
 * pOddPrev += c (pLow + pEven); pLow = KL pLow + d KL (pHigh + pOddPrev); pHigh = KH pHigh. On entry pSrc0, pSrc1,
 * pSrc2 are rows 2n, 2n+1, 2n+2; pLow is row 2n-2 after two steps, pHigh row 2n-3 after three, pOddPrev row 2n-1 after
 * one.
 * Inverse: pEven = KH pSrcLow - d KL (pSrcHighPrev + pSrcHigh); pOdd = KL pSrcHighPrev - c (pEvenPrev + pEven);
 * pEvenPrev -= b (pOddPrev2 + pOdd); pOddPrev2 -= a (pEvenPrev2 + pEvenPrev). The rows are low n, high n-1 and n, and
 * output rows 2n-4, 2n-3, 2n-2, 2n-1 and 2n. */
ZEL_API ZelStatus zeliWTFwdColLift_D97_JPEG2K_16s_C1(const int16_t* pSrc0, const int16_t* pSrc1, const int16_t* pSrc2,
                                                     int16_t* pLow, int16_t* pEven, int16_t* pHigh, int16_t* pOddPrev,
                                                     int16_t* pOdd, int width);
ZEL_API ZelStatus zeliWTInvColLift_D97_JPEG2K_16s_C1(const int16_t* pSrcLow, const int16_t* pSrcHighPrev,
                                                     const int16_t* pSrcHigh, const int16_t* pEvenPrev2,
                                                     int16_t* pOddPrev2, int16_t* pEvenPrev, int16_t* pOdd,
                                                     int16_t* pEven, int width);
ZEL_API ZelStatus zeliWTFwdColLift_D97_JPEG2K_32s_C1(const int32_t* pSrc0, const int32_t* pSrc1, const int32_t* pSrc2,
                                                     int32_t* pLow, int32_t* pEven, int32_t* pHigh, int32_t* pOddPrev,
                                                     int32_t* pOdd, int width);
ZEL_API ZelStatus zeliWTInvColLift_D97_JPEG2K_32s_C1(const int32_t* pSrcLow, const int32_t* pSrcHighPrev,
                                                     const int32_t* pSrcHigh, const int32_t* pEvenPrev2,
                                                     int32_t* pOddPrev2, int32_t* pEvenPrev, int32_t* pOdd,
                                                     int32_t* pEven, int width);
ZEL_API ZelStatus zeliWTFwdColLift_D97_JPEG2K_32f_C1(const float* pSrc0, const float* pSrc1, const float* pSrc2,
                                                     float* pLow, float* pEven, float* pHigh, float* pOddPrev,
                                                     float* pOdd, int width);
ZEL_API ZelStatus zeliWTInvColLift_D97_JPEG2K_32f_C1(const float* pSrcLow, const float* pSrcHighPrev,
                                                     const float* pSrcHigh, const float* pEvenPrev2, float* pOddPrev2,
                                                     float* pEvenPrev, float* pOdd, float* pEven, int width);

/** @} */

/* ==== 5c  JPEG 2000: the tier-1 coder ============================================================================= */

/** @defgroup zelj_tier1 JPEG 2000: the tier-1 coder
 *
 * Embedded block coding of code blocks (ITU-T T.800, Annexes C and D). Coefficients are 32-bit words in sign-magnitude
 * form: bit 31 the sign (1 is negative), bits 30 to 0 the magnitude. A block of sfBits significant bit planes has up to
 * 3 * sfBits - 2 coding passes: the cleanup pass of the top plane, then significance propagation, magnitude refinement
 * and cleanup of each plane below.
 *
 * subband: 0 LL, 1 low horizontally and high vertically (LH), 2 high horizontally and low vertically (HL), 3 HH.
 *
 * codeStyleFlags, of both directions:
 *   1   vertically causal contexts (T.800, D.7): the next stripe counts as insignificant
 *   2   selective bypass (D.6): propagation and refinement from the fifth plane on are raw bits
 *   4   every pass is a codeword segment of its own; otherwise one ends where the coding mode changes, and at the end
 *   8   contexts are reset after every pass
 *   16  a segmentation symbol ends every cleanup pass (D.5)
 *
 * States are tagged by the function that makes them: another record gives zelStsContextMatchErr. A block must not be
 * larger than the size that its state was made for; this is not checked.
 * @{ */

/** Code-block styles and controls: the bits of codeStyleFlags. */
typedef enum ZeliCodeBlockFlags {
  /* styles, of both directions */
  zeliCodeBlockVerticallyCausal = 1,     /**< contexts take the next stripe as insignificant (T.800, D.7) */
  zeliCodeBlockBypass = 2,               /**< propagation and refinement are raw bits from the fifth plane on (D.6) */
  zeliCodeBlockTerminateAll = 4,         /**< every pass is a codeword segment of its own */
  zeliCodeBlockResetContexts = 8,        /**< contexts are reset after every pass */
  zeliCodeBlockSegmentationSymbols = 16, /**< a segmentation symbol ends every cleanup pass (D.5) */
  /* of the encoder */
  zeliEncodeLowestPlaneIsLast = 32, /**< distortion: nothing lies below the lowest plane */
  /* of the decoders */
  zeliDecodeMidpointsAfterDamage = 0x10000, /**< after damage, magnitudes go to the middle of the current plane */
  zeliDecodeKeepOutput = 0x20000,           /**< the output is not cleared first */
  zeliDecodeKeepHalfBits = 0x40000,         /**< half bits below the current plane stay */
  zeliDecodeKeepSignificance = 0x80000,     /**< the state's memory of significance is not cleared first */
  zeliDecodeCheckTermination = 0x100000     /**< MQ segments are checked for their predictable end (D.4.2) */
} ZeliCodeBlockFlags;

/** How the encoder ends an MQ codeword segment. */
typedef enum ZeliTermination {
  zeliTerminationFlush = 0,      /**< the flush of T.800, C.2.9 */
  zeliTerminationShortest = 1,   /**< with the fewest bytes that still decode */
  zeliTerminationPredictable = 2 /**< so that a decoder can check it (D.4.2) */
} ZeliTermination;

/* ---- Encoder ---- */

typedef struct ZeliEncodeState_JPEG2K ZeliEncodeState_JPEG2K; /* opaque, from InitAlloc */

/* A state for blocks up to a size. zelStsMemAllocErr: *ppState is null. Free does not look at the tag. */
ZEL_API ZelStatus zeliEncodeInitAlloc_JPEG2K(ZeliEncodeState_JPEG2K** ppState, ZeliSize codeBlockMaxSize);
ZEL_API ZelStatus zeliEncodeFree_JPEG2K(ZeliEncodeState_JPEG2K* pState);

/* Models a block: all its passes down to bit plane 31 - magnBits. Nothing is coded yet.
 *   termMode   how MQ segments end: 1 in the shortest way, 2 predictably (T.800, D.4.2), else flushed (C.2.9)
 *   reserved   not looked at
 *   codeStyleFlags  besides those above, 32: the lowest plane is the last there is, for its distortion figures
 *   *pSfBits   planes from the highest bit set down to bit 0; 0 for a block of zeros, which has no pass and no segment
 *   *pNOfPasses, *pNOfTermPasses  coding passes, codeword segments
 * Checks: pState, its tag, the three results, codeBlockSize, pSrc, srcStep. */
ZEL_API ZelStatus zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, ZeliSize codeBlockSize,
                                                         ZeliEncodeState_JPEG2K* pState, int subband, int magnBits,
                                                         int termMode, int reserved, int codeStyleFlags, int* pSfBits,
                                                         int* pNOfPasses, int* pNOfTermPasses);

/* Codes the block that was loaded and hands out the next bytes of its segments, as many as there is room for.
 * *pDstLen: the room, then the bytes written. *pIsNotFinished: 1 while there is more, 0 at the end.
 * Checks: pState, its tag, pDst and pDstLen and pIsNotFinished, *pDstLen (zelStsSizeErr below 1). */
ZEL_API ZelStatus zeliEncodeStoreBits_JPEG2K_1u(uint8_t* pDst, int* pDstLen, ZeliEncodeState_JPEG2K* pState,
                                                int* pIsNotFinished);

/* Of a block whose bytes have been handed out: bytes that decode through pass passNum, never less than for the pass
 * before; the distortion that passes 0..passNum take away, in squared steps of the lowest plane; the bytes of a
 * segment. zelStsJPEG2KBadPassNumberErr: no such pass or segment. */
ZEL_API ZelStatus zeliEncodeGetRate_JPEG2K(const ZeliEncodeState_JPEG2K* pState, int passNum, int* pRate);
ZEL_API ZelStatus zeliEncodeGetDist_JPEG2K(const ZeliEncodeState_JPEG2K* pState, int passNum, double* pDist);
ZEL_API ZelStatus zeliEncodeGetTermPassLen_JPEG2K(const ZeliEncodeState_JPEG2K* pState, int termPassNum, int* pLen);

/* ---- Decoder ----
 *
 * A coefficient whose highest bit is found in plane p gets the half bit below it as well, and so does every
 * refinement: what is known of a magnitude stands in the middle of its interval.
 *
 * More codeStyleFlags:
 *   0x10000   after damage, every coefficient goes to the middle of its interval in the current plane, or to 0
 *   0x20000   the output is not cleared first
 *   0x40000   half bits below the current plane stay
 *   0x80000   the state's memory of significance is not cleared first
 *   0x100000  segments of the MQ coder are checked for their predictable end: with flag 4 all of them, otherwise the
 *             one that ends with the last plane before raw passes, or with plane 0
 * A raw segment must end with the low bits of 0x55, and its last byte must not be 0xFF, whatever the flags. Bytes
 * beyond the end of a segment read as 0xFF, so truncated MQ segments decode.
 *
 * The state may lie at any address. */

typedef struct ZeliDecodeCBProgrState_JPEG2K ZeliDecodeCBProgrState_JPEG2K; /* opaque */

/* Decodes a block in one call: nOfTermPasses segments one after the other at pSrc, pTermLen their lengths in bytes,
 * together at most nOfPasses passes. zelStsJPEG2KDamagedCBErr: a segment did not end as it should, or its segmentation
 * symbol is wrong; the rest is not decoded, and *pNOfResolvedBitPlanes (may be null) is the plane reached. At the end
 * bits below the current plane are cleared, unless 0x40000 is set.
 * GetBufSize: the bytes of a state, as zeliDecodeCBProgrGetStateSize_JPEG2K; the state needs no Init.
 * Checks: pSrc and pState, codeBlockSize, pTermLen and pDst, dstStep. */
ZEL_API ZelStatus zeliDecodeGetBufSize_JPEG2K(ZeliSize codeBlockMaxSize, int* pSize);
ZEL_API ZelStatus zeliDecodeCodeBlock_JPEG2K_1u32s_C1R(const uint8_t* pSrc, int32_t* pDst, int dstStep,
                                                       ZeliSize codeBlockSize, int subband, int sfBits, int nOfPasses,
                                                       const int* pTermLen, int nOfTermPasses, int codeStyleFlags,
                                                       int* pNOfResolvedBitPlanes,
                                                       ZeliDecodeCBProgrState_JPEG2K* pState);

/* The progressive decoder: once Init on caller memory of GetStateSize bytes, or InitAlloc; for each block Attach, then
 * SetPassCounter with the passes that may be decoded, then Step for each segment in order. Attach keeps pDst, which
 * every Step refines.
 * Checks: GetStateSize tests the size first; InitAlloc stores null where it fails; those with a tag test it after
 * pState, but Step and GetPassCounter test both pointers first; then Attach pDst, dstStep, codeBlockSize. */
ZEL_API ZelStatus zeliDecodeCBProgrGetStateSize_JPEG2K(ZeliSize codeBlockMaxSize, int* pStateSize);
ZEL_API ZelStatus zeliDecodeCBProgrInit_JPEG2K(ZeliDecodeCBProgrState_JPEG2K* pState);
ZEL_API ZelStatus zeliDecodeCBProgrInitAlloc_JPEG2K(ZeliDecodeCBProgrState_JPEG2K** ppState, ZeliSize codeBlockMaxSize);
ZEL_API ZelStatus zeliDecodeCBProgrFree_JPEG2K(ZeliDecodeCBProgrState_JPEG2K* pState);
ZEL_API ZelStatus zeliDecodeCBProgrAttach_JPEG2K_32s_C1R(int32_t* pDst, int dstStep, ZeliSize codeBlockSize,
                                                         ZeliDecodeCBProgrState_JPEG2K* pState, int subband, int sfBits,
                                                         int codeStyleFlags);
ZEL_API ZelStatus zeliDecodeCBProgrSetPassCounter_JPEG2K(int nOfPasses, ZeliDecodeCBProgrState_JPEG2K* pState);

/* The passes still allowed; the plane of the next pass, -1 after the last. Without flag 4 the plane stays where the
 * passes allowed have ended. */
ZEL_API ZelStatus zeliDecodeCBProgrGetPassCounter_JPEG2K(const ZeliDecodeCBProgrState_JPEG2K* pState, int* pNOfPasses);
ZEL_API ZelStatus zeliDecodeCBProgrGetCurBitPlaneNum_JPEG2K(const ZeliDecodeCBProgrState_JPEG2K* pState,
                                                            int* pBitPlaneNum);

/* Decodes the passes of one segment, as far as they are allowed; zelStsNoErr also where none is.
 * zelStsJPEG2KNotAttachedErr: before Attach. zelStsJPEG2KDamagedCBErr: damage now or in an earlier step since Attach;
 * what was decoded stays. */
ZEL_API ZelStatus zeliDecodeCBProgrStep_JPEG2K(const uint8_t* pSrc, int srcLen, ZeliDecodeCBProgrState_JPEG2K* pState);

/** @} */

/* ==== 6  HD Photo: the core transform ============================================================================= */

/** @defgroup zelj_photo HD Photo: the core transform
 * @{ */

/* The photo core transform (ITU-T T.832) of every 4x4 block of a region, in place: each block by itself, without
 * overlap filter and without the second stage of the DC coefficients. Coefficients keep their raster positions, the DC
 * of a block is its top-left one. Arithmetic wraps at 32 bits; Inv undoes Fwd exactly, whatever the values. The step is
 * in bytes and unsigned. Any width and height that are multiples of 4, or a macroblock's planes: 16x16, 8 wide by 16
 * high, 8x8.
 * Checks: pSrcDst, roiSize; a step below the row's bytes (zelStsStepErr); a side that is no multiple of 4
 * (zelStsSizeErr). Of fixed sizes: pSrcDst, step. */
ZEL_API ZelStatus zeliPCTFwd_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step, ZeliSize roiSize);
ZEL_API ZelStatus zeliPCTFwd16x16_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step);
ZEL_API ZelStatus zeliPCTFwd8x16_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step);
ZEL_API ZelStatus zeliPCTFwd8x8_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step);
ZEL_API ZelStatus zeliPCTInv_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step, ZeliSize roiSize);
ZEL_API ZelStatus zeliPCTInv16x16_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step);
ZEL_API ZelStatus zeliPCTInv8x16_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step);
ZEL_API ZelStatus zeliPCTInv8x8_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step);

/** @} */

/* ==== 7  Textures: DXT and BC7 blocks ============================================================================= */

/** @defgroup zelj_textures Textures: DXT and BC7 blocks
 *
 * Images of any size as blocks of 4x4 pixels, which lie one after another: block rows from the top, blocks from the
 * left, (width + 3) / 4 of them in a row and (height + 3) / 4 rows. A DXT1 block has 8 bytes, any other 16. Sizes are
 * those of the image in pixels; steps are those of the image, in bytes and unsigned.
 * Checks: pSrc, pDst, step (zero: zelStsStepErr), size.
 * @{ */

/* ---- Decoders: DXT1, DXT3, DXT5 (S3TC; BC1, BC2, BC3), BC7 (BPTC) ----
 * Pixels are R, G, B, A bytes; nothing outside the image is written. Every bit pattern decodes.
 * DXT: the 5- and 6-bit fields of endpoints become bytes by a shift, with zeros below (at most 248, 252, 248). Colours
 * between are (2 c0 + c1) / 3 and (c0 + 2 c1) / 3, rounded down. DXT1 with C0 <= C1 has (c0 + c1) / 2 and transparent
 * black instead; DXT3 and DXT5 never have. Alpha of DXT3 is the 4-bit value times 16. Alphas between of DXT5 are
 * (w0 a0 + w1 a1 + 3) / 7, or (w0 a0 + w1 a1 + 2) / 5 beside 0 and 255 where a0 <= a1, rounded down.
 * BC7: all eight modes; a block of the reserved mode (first byte 0) is transparent black. */
ZEL_API ZelStatus zeliTextureDecodeBlockToRGBA_DXT1_8u_C1C4R(const uint8_t* pSrc, uint8_t* pDst, uint32_t dstStep,
                                                             ZeliSize dstSize);
ZEL_API ZelStatus zeliTextureDecodeBlockToRGBA_DXT3_8u_C1C4R(const uint8_t* pSrc, uint8_t* pDst, uint32_t dstStep,
                                                             ZeliSize dstSize);
ZEL_API ZelStatus zeliTextureDecodeBlockToRGBA_DXT5_8u_C1C4R(const uint8_t* pSrc, uint8_t* pDst, uint32_t dstStep,
                                                             ZeliSize dstSize);
ZEL_API ZelStatus zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R(const uint8_t* pSrc, uint8_t* pDst, uint32_t dstStep,
                                                            ZeliSize dstSize);

/* ---- Encoders: DXT1, DXT3, DXT5 ----
 * Fast, in a single pass: the endpoints of a block are the corners of its bounding box, drawn in by a sixteenth on each
 * side and quantised; the indices follow from distances to the four colours (sums of absolute differences), ties
 * towards the first. A partial block is filled up with its last column and then its last row. RGBA: colours do not
 * depend on alpha, DXT1 drops it and never has transparent pixels. Alpha of DXT3 is cut to 4 bits, alpha of DXT5 drawn
 * in like the colours. YCoCg: 3 bytes a pixel, chroma centred on 128. Y is coded as alpha, Co and Cg as red and green,
 * scaled by 4, 2 or 1 as the block's chroma permits; blue holds the scale - 1. */
ZEL_API ZelStatus zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R(const uint8_t* pSrc, uint32_t srcStep, ZeliSize srcSize,
                                                               uint8_t* pDst);
ZEL_API ZelStatus zeliTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R(const uint8_t* pSrc, uint32_t srcStep, ZeliSize srcSize,
                                                               uint8_t* pDst);
ZEL_API ZelStatus zeliTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R(const uint8_t* pSrc, uint32_t srcStep, ZeliSize srcSize,
                                                               uint8_t* pDst);
ZEL_API ZelStatus zeliTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R(const uint8_t* pSrc, uint32_t srcStep, ZeliSize srcSize,
                                                                uint8_t* pDst);

/** @} */

/* ==== 8  TIFF rows ================================================================================================ */

/** @defgroup zelj_tiff TIFF rows
 * @{ */

/* PackBits (TIFF 6.0, section 9). Positions and lengths are in bytes; *pDstCurrPos and *pSrcCurrPos are positions in
 * the compressed buffer, read and advanced, so that rows can follow one another in it. Pack: runs of 2 to 128 equal
 * bytes, and literals of 1 to 128. A literal ends before three equal bytes, before a pair that ends the row, before a
 * pair when it has 126 bytes, and at 128 bytes. dstRoom counts from the position on. zelStsTIFFOutOfBufErr: the next
 * run does not fit; the position is after the last one that did. Unpack: exactly dstLen bytes; srcLen counts from the
 * start of the buffer. zelStsTIFFOutOfBufErr: the source ends early, or a run passes the end of the row; the position
 * is after that run's header. Checks: the pointers, then the lengths. */
ZEL_API ZelStatus zeliPackBitsRow_TIFF_8u_C1(const uint8_t* pSrc, int srcLen, uint8_t* pDst, int* pDstCurrPos,
                                             int dstRoom);
ZEL_API ZelStatus zeliUnpackBitsRow_TIFF_8u_C1(const uint8_t* pSrc, int* pSrcCurrPos, int srcLen, uint8_t* pDst,
                                               int dstLen);

/* 16-bit samples as two planes of bytes: plane 0 has the high bytes, plane 1 the low ones. len is in samples.
 * Checks: pSrc and pDst (the planes themselves are not checked), then len, whose error is zelStsStepErr. */
ZEL_API ZelStatus zeliJoinRow_TIFF_8u16u_C1(const uint8_t* const pSrc[2], uint16_t* pDst, int len);
ZEL_API ZelStatus zeliSplitRow_TIFF_16u8u_C1(const uint16_t* pSrc, uint8_t* const pDst[2], int len);

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* ZELJ_H */
