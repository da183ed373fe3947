/** @file zelj.h
 * Image-codec primitives: the public interface of libzeljy8.so.6.1
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
 * Threads: how many, OpenMP's setting for the calling thread says (OMP_NUM_THREADS, omp_set_num_threads).
 *   - Each thread that calls has a setting of its own, and a team of the runtime's, which stays as long as the thread:
 *     64 threads that call with a setting of 8 make 512. omp_set_num_threads(1), once in a thread, makes every call of
 *     that thread serial; the runtime then does nothing. Inside a parallel region of the caller calls are serial, but
 *     where the caller has made nested regions active.
 *   - No more threads are asked for than can be started: before the first team of a calling thread, and whenever its
 *     setting is above that of its last call, so many are started on trial. Where none can be had the call is serial.
 *     What the runtime does then is out of reach: it ends the process where it fails to start a thread or to get memory
 *     for it. That can happen where something else takes the room in the moment after the trial, and where the runtime
 *     starts threads anew under limits that have become tighter: for nested regions each time, and after regions of the
 *     caller with fewer threads. A setting of 1 excludes it.
 *   - In a child of fork() whose parent had several threads, every call is serial. The child of a process with one
 *     thread is like any other process. The C library's _Fork(), which runs no handlers, is for fork and exec.
 *   - The shared libraries stay in the process after dlclose(), as the runtime's threads do. A shared object that the
 *     archive is linked into needs the linker's -z nodelete, if it can be closed.
 *
 * Names: zel + domain letter + operation _ format _ sample types (source, then destination) _ layout
 *   8u 16u unsigned, 16s 32s signed, 32f single precision, 1u a bit stream
 *   C1 C2 C3 C4 channels interleaved in one plane, P3 P4 an array of planes; two of them: source, then destination
 *   R a region given by pointer, step and size; I in place; MCU one minimum coded unit of 8x8 blocks; LS with level
 *   shift
 *
 * Contents
 *   1  Status values, types, version
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

/* ==== 1  Status values, types, version ============================================================================ */

/** @defgroup zelj_frame Status values, types, version
 *
 * What all families share: the status of a call, sizes and rectangles, and the version query.
 *
 * How a codec uses it:
 * @code
 *   if (zeljGetLibVersion()->major != 6) return 1;
 *   ZelStatus status = zeliSub128_JPEG_8u16s_C1R(samples, samplesStep, words, wordsStep, size);
 *   if (status < zelStsNoErr) return status;
 * @endcode
 * @{ */

/** The result of a call: 0 for success, negative values for errors, positive ones for warnings. */
typedef enum ZelStatus {
  zelStsDivByZeroWrn = 6,              /**< warning: a divisor was zero; the output is complete, with a substitute */
  zelStsNoErr = 0,                     /**< success */
  zelStsErr = -2,                      /**< a decoded run would place a coefficient outside the 8x8 block */
  zelStsBadArgErr = -5,                /**< an argument value outside its allowed set */
  zelStsSizeErr = -6,                  /**< a width, height or length below 1, or above a stated limit */
  zelStsOutOfRangeErr = -7,            /**< a magnitude category that the coding mode cannot carry */
  zelStsNullPtrErr = -8,               /**< a required pointer is null; a JPEG Huffman record could not be allocated */
  zelStsMemAllocErr = -9,              /**< a JPEG 2000 record could not be allocated */
  zelStsStepErr = -14,                 /**< a row step below 1 */
  zelStsContextMatchErr = -17,         /**< a state record does not carry the identity tag of its functions */
  zelStsJPEGOutOfBufErr = -62,         /**< JPEG bit stream: the source is exhausted, or the destination is full */
  zelStsJPEGCodeRangeErr = -63,        /**< JPEG: no code matches, a marker ended the data, a category is too large */
  zelStsJPEGHuffTableErr = -64,        /**< JPEG: an invalid table description, or a symbol without a code */
  zelStsJPEG2KDamagedCBErr = -112,     /**< JPEG 2000: a code block's data did not end as expected */
  zelStsJPEG2KBadPassNumberErr = -113, /**< JPEG 2000: a coding-pass index that the encoder state does not hold */
  zelStsTIFFOutOfBufErr = -124,        /**< PackBits: past the end of the source or of the destination row */
  zelStsJPEG2KNotAttachedErr = -180    /**< JPEG 2000: the progressive decoder state is not ready for a step */
} ZelStatus;

/** The size of a region in elements, passed by value. */
typedef struct ZeliSize {
  int width;  /**< elements in a row */
  int height; /**< rows */
} ZeliSize;

/** A rectangle on a reference grid. */
typedef struct ZeliRect {
  int x;      /**< column of the top left sample */
  int y;      /**< row of the top left sample */
  int width;  /**< samples in a row */
  int height; /**< rows */
} ZeliRect;

/** What zeljGetLibVersion() answers. */
typedef struct ZelLibraryVersion {
  int major;             /**< 6 */
  int minor;             /**< 1 */
  int majorBuild;        /**< 137 */
  int build;             /**< 823 */
  char targetCpu[4];     /**< "y8" */
  const char* name;      /**< "libzeljy8.so.6.1", with "+" at its end where the AVX2 build of the kernels runs */
  const char* version;   /**< "6.1 build 137.56" */
  const char* buildDate; /**< "Mar 17 2010" */
} ZelLibraryVersion;

/** The version record: constant and static, to be neither changed nor freed. Never null. */
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
 * Between samples and what the entropy coders code (ITU-T T.81, Annexes A.3 and H): quantised DCT coefficients, or
 * differences from predictions in lossless mode.
 *
 * A block is 64 signed 16-bit values, row by row (natural order): entry 8 * v + u is sample u of row v, or horizontal
 * frequency u of vertical frequency v. It has no step and needs no alignment beyond that of its elements. The zigzag
 * order is the entropy coders' business; only raw quantisation tables have it here. Functions on one block never start
 * threads: a codec divides its blocks among threads itself.
 *
 * How a codec calls them, for the block at row by and column bx of blocks; the tables are those of the first group:
 * @code
 *   // Encoder: samples to a block for zeliEncodeHuffman8x8_JPEG_16s1u_C1.
 *   zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples + 8 * by * step + 8 * bx, step, block, forward);
 *   // Decoder: the block that zeliDecodeHuffman8x8_JPEG_1u16s_C1 gave, at full size, or at half and quarter size.
 *   zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R(block, samples + 8 * by * step + 8 * bx, step, inverse);
 *   zeliDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R(block, half + 4 * by * halfStep + 4 * bx, halfStep, inverse);
 *   zeliDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R(block, quarter + 2 * by * quarterStep + 2 * bx, quarterStep, inverse);
 * @endcode
 * @{ */

/** @defgroup zelj_transform_quant Quantisation tables and quantisation
 *
 * - raw table: 64 unsigned 8-bit steps q in zigzag order, as a DQT segment of 8-bit precision holds them
 * - forward table: 64 unsigned 16-bit reciprocals 32768 / q in natural order, rounded to nearest: 32768 for q = 1
 * - inverse table: 64 unsigned 16-bit steps q in natural order
 *
 * Steps above 255 (a DQT segment of 16-bit precision) have no raw table: the caller fills the other two by these rules.
 *
 * How a codec calls them, at a quality of 90:
 * @code
 *   uint8_t raw[64];                                  // the steps of T.81, Table K.1, in zigzag order
 *   uint16_t forward[64], inverse[64];
 *   zeliQuantFwdRawTableInit_JPEG_8u(raw, 90);        // now what the encoder writes into its DQT segment
 *   zeliQuantFwdTableInit_JPEG_8u16u(raw, forward);   // the encoder's table
 *   zeliQuantInvTableInit_JPEG_8u16u(raw, inverse);   // the decoder's, from the DQT segment that it read
 * @endcode
 * @{ */

/** Scale a raw table in place by a quality: t becomes (t * S + 50) / 100, clamped to 1..255, with S = 5000 / quality
 * below 50 and 200 - 2 * quality from there on (divisions truncate). 50 leaves the table as it is, 100 and everything
 * above makes all steps 1; below 1 is zelStsBadArgErr. */
ZEL_API ZelStatus zeliQuantFwdRawTableInit_JPEG_8u(uint8_t* pQuantRawTable, int qualityFactor);

/** @name Tables of a raw table
 * @{ */
/** The forward and the inverse table. A step of 0 gives the reciprocal 65535 and the warning zelStsDivByZeroWrn; the
 * rest of the table is complete. Checks of the inverse: the destination first. */
ZEL_API ZelStatus zeliQuantFwdTableInit_JPEG_8u16u(const uint8_t* pQuantRawTable, uint16_t* pQuantFwdTable);
ZEL_API ZelStatus zeliQuantInvTableInit_JPEG_8u16u(const uint8_t* pQuantRawTable, uint16_t* pQuantInvTable);
/** @} */

/** @name A block of coefficients
 * @{ */
/** Quantise, for a transform of the caller's own: x / q rounded to nearest, halves up, for x from -4096 to 4095 (x * 8
 * is cut to 16 bits); the reciprocal is halved and cut to an integer first. The fused functions below round otherwise,
 * so the two do not mix bit for bit. Dequantise: the low 16 bits of x * q. */
ZEL_API ZelStatus zeliQuantFwd8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantFwdTable);
ZEL_API ZelStatus zeliQuantInv8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantInvTable);
/** @} */

/** @} */

/** @defgroup zelj_transform_dct DCT with quantisation
 *
 * One block at a time (T.81, A.3.3 and A.3.4). Samples are 8 rows of 8, step bytes apart, or a block.
 * Checks: source and destination pointers, then the step (zelStsStepErr), then the table.
 *
 * 8-bit samples take 16-bit fixed-point arithmetic, whose results are within 1 of the exact transform:
 *   - forward: samples (8u: minus 128; 16s as they are, from -256 to 255), DCT, times the reciprocal, rounded to
 *     nearest, halves to even
 *   - inverse: times the step (low 16 bits of the product), inverse DCT; 8u: plus 128, clamped to 0..255
 *
 * Samples in that range, and the coefficients that they give, meet no limit on the way. Beyond, nothing is refused:
 * sums saturate at 16 bits. The inverse DCT gives -512 to 511 before the level shift.
 *
 * 12-bit samples (16u) take single precision, and tables of the caller's making in natural order: the factors 1 / q
 * forward, the steps q inverse. Samples from 0 to 4095 (read as signed) are centred on 2048. Forward results are
 * rounded to nearest, halves to even, and saturated; inverse ones truncated and clamped to 0..4095.
 * @code
 *   float forward[64], inverse[64];                   // steps: as in an inverse table, natural order
 *   for (int i = 0; i < 64; ++i) forward[i] = 1.0f / steps[i], inverse[i] = steps[i];
 *   zeliDCTQuantFwd8x8LS_JPEG_16u16s_C1R(samples, samplesStep, block, forward);
 *   zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(block, samples, samplesStep, inverse);
 * @endcode
 * @{ */

/** @name Forward
 * @{ */
/** Samples to quantised coefficients. */
ZEL_API ZelStatus zeliDCTQuantFwd8x8_JPEG_16s_C1(const int16_t* pSrc, int16_t* pDst, const uint16_t* pQuantFwdTable);
ZEL_API ZelStatus zeliDCTQuantFwd8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantFwdTable);
ZEL_API ZelStatus zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(const uint8_t* pSrc, int srcStep, int16_t* pDst,
                                                      const uint16_t* pQuantFwdTable);
ZEL_API ZelStatus zeliDCTQuantFwd8x8LS_JPEG_16u16s_C1R(const uint16_t* pSrc, int srcStep, int16_t* pDst,
                                                       const float* pQuantFwdTable);
/** @} */

/** @name Inverse
 * @{ */
/** Quantised coefficients to samples; without LS they stay signed and unclamped. */
ZEL_API ZelStatus zeliDCTQuantInv8x8_JPEG_16s_C1(const int16_t* pSrc, int16_t* pDst, const uint16_t* pQuantInvTable);
ZEL_API ZelStatus zeliDCTQuantInv8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantInvTable);
ZEL_API ZelStatus zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                                      const uint16_t* pQuantInvTable);
ZEL_API ZelStatus zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(const int16_t* pSrc, uint16_t* pDst, int dstStep,
                                                       const float* pQuantInvTable);
/** @} */

/** @name Inverse of sparse blocks
 * @{ */
/** Like zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R, to 8x8 samples, but for blocks whose nonzero coefficients lie in the
 * top-left 1x1, 2x2 or 4x4 corner: others are not looked at. A decoder knows the corner by the last zigzag index that
 * is not zero: 0, at most 2, at most 9.
 *
 * 2x2 and 4x4 give what the full inverse gives, to the bit. 1x1 does not: all 64 samples are ((DC * q) >> 3) + 128, cut
 * to 16 bits and clamped to 0..255, which rounds DC * q / 8 down where the full inverse rounds it to nearest. DC * q =
 * 12 gives 129 there and 130 in full. A decoder that must not depend on the way that a block takes uses 2x2 for these
 * blocks too. */
ZEL_API ZelStatus zeliDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                                          const uint16_t* pQuantInvTable);
ZEL_API ZelStatus zeliDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                                          const uint16_t* pQuantInvTable);
ZEL_API ZelStatus zeliDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                                          const uint16_t* pQuantInvTable);
/** @} */

/** @name Inverse at a reduced size
 * @{ */
/** 2 rows of 2 samples or 4 rows of 4, each the mean of its group of 4x4 or 2x2 samples of the block's inverse DCT,
 * plus 128 and clamped to 0..255. For an eighth of the size a codec takes the mean of the block: DC * q / 8 + 128. */
ZEL_API ZelStatus zeliDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                                           const uint16_t* pQuantInvTable);
ZEL_API ZelStatus zeliDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                                           const uint16_t* pQuantInvTable);
/** @} */

/** Inverse DCT of coefficients that are dequantised already, plus level (the sum cut to 16 bits), clamped to 0..255,
 * then raised to lower and then lowered to upper: 16 and 235 for samples that video equipment takes. With bounds that
 * cross, every sample is upper.
 * Checks: pSrc, pDst, dstStep. */
ZEL_API ZelStatus zeliDCT8x8InvLSClip_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep, int16_t level,
                                                uint8_t lower, uint8_t upper);

/** @} */

/** @defgroup zelj_transform_levelshift Level shift of planes
 *
 * For codecs that do the level shift (T.81, A.3.1) apart from the DCT, or have no DCT. Threads.
 * Checks: the source and its step, the destination and its step, the size.
 * @code
 *   zeliSub128_JPEG_8u16s_C1R(samples, samplesStep, words, wordsStep, size);
 *   zeliAdd128_JPEG_16s8u_C1R(words, wordsStep, samples, samplesStep, size);
 * @endcode
 * @{ */

/** @name Unsigned samples to signed ones, and back
 * @{ */
/** Sub: dst = src - 128. Add: dst = src + 128, clamped to 0..255 whatever src is. */
ZEL_API ZelStatus zeliSub128_JPEG_8u16s_C1R(const uint8_t* pSrc, int srcStep, int16_t* pDst, int dstStep,
                                            ZeliSize roiSize);
ZEL_API ZelStatus zeliAdd128_JPEG_16s8u_C1R(const int16_t* pSrc, int srcStep, uint8_t* pDst, int dstStep,
                                            ZeliSize roiSize);
/** @} */

/** @} */

/** @defgroup zelj_transform_prediction Lossless prediction
 *
 * Rows of samples to rows of differences, and back (T.81, H.1.2 and H.2), one row of one component at a time. A row is
 * width 16-bit samples, unsigned ones as their bit pattern, which the caller has shifted right by the point transform.
 * Differences and samples are taken modulo 2^16, so that every row comes back exactly.
 *
 * How a codec calls them; a first row is that of a scan or of a restart interval:
 * @code
 *   // Encoder, then zeliEncodeHuffmanRow_JPEG_16s1u_P4C1 on the differences of all components.
 *   if (first)
 *     zeliDiffPredFirstRow_JPEG_16s_C1(row, differences, width, precision, pointTransform);
 *   else
 *     zeliDiffPredRow_JPEG_16s_C1(row, rowAbove, differences, width, zeliPredictorRaRbRc);
 *   // Decoder, after zeliDecodeHuffmanRow_JPEG_1u16s_C1P4.
 *   if (first)
 *     zeliReconstructPredFirstRow_JPEG_16s_C1(differences, row, width, precision, pointTransform);
 *   else
 *     zeliReconstructPredRow_JPEG_16s_C1(differences, rowAbove, row, width, zeliPredictorRaRbRc);
 * @endcode
 * @{ */

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

/** @name First rows
 * @{ */
/** The first sample is predicted by 2^(P - Pt - 1) (0 where Pt >= P), the others by Ra. P is the precision of the
 * samples before the point transform, 2 to 16; Pt the point transform, from 0.
 * Checks: the rows, width, P and Pt (zelStsBadArgErr). */
ZEL_API ZelStatus zeliDiffPredFirstRow_JPEG_16s_C1(const int16_t* pSrc, int16_t* pDst, int width, int P, int Pt);
ZEL_API ZelStatus zeliReconstructPredFirstRow_JPEG_16s_C1(const int16_t* pSrc, int16_t* pDst, int width, int P, int Pt);
/** @} */

/** @name Other rows
 * @{ */
/** The first sample is predicted by Rb, the others by the predictor, a ZeliPredictor. pPrevRow is the row of samples
 * above: the input on the encoder's side, the reconstructed one on the decoder's.
 *
 * The halved terms of predictors 5, 6 and 7 read their operands as signed. Samples below 32768 give what T.81 asks for;
 * samples of all 16 bits do not, though they come back exactly from this library's own decoder.
 * Checks: the rows, width, the predictor (zelStsBadArgErr). */
ZEL_API ZelStatus zeliDiffPredRow_JPEG_16s_C1(const int16_t* pSrc, const int16_t* pPrevRow, int16_t* pDst, int width,
                                              int predictor);
ZEL_API ZelStatus zeliReconstructPredRow_JPEG_16s_C1(const int16_t* pSrc, const int16_t* pPrevRow, int16_t* pDst,
                                                     int width, int predictor);
/** @} */

/** @} */
/** @} */

/* ==== 4  JPEG colour conversion and resampling ==================================================================== */

/** @defgroup zelj_colour JPEG colour conversion and resampling
 *
 * Between the pixels of a caller and the components of a JPEG picture: colours, chroma of half the size, and the level
 * shift. There are two ways: plane by plane over a whole picture or a band of rows, with any sampling; or one MCU at a
 * time, all in one call, which keeps a band of pixels in the cache, for three samplings.
 *
 * The matrices are those of JFIF (ITU-T T.871), full range, with chroma centred on 128:
 *
 *     Y  =  0.299   R + 0.587   G + 0.114   B          R = Y + 1.402   (Cr - 128)
 *     Cb = -0.16874 R - 0.33126 G + 0.5     B + 128    G = Y - 0.34414 (Cb - 128) - 0.71414 (Cr - 128)
 *     Cr =  0.5     R - 0.41869 G - 0.08131 B + 128    B = Y + 1.772   (Cb - 128)
 *
 * in fixed point: every result is clamped to 0..255 and, for samples in that range, within 1 of the exact one (4:2:2
 * pairs: within 1.6). CMYK and YCCK follow the Adobe convention: R = 255 - C, G = 255 - M, B = 255 - Y go through the
 * matrix, K is carried along.
 *
 * Pixels of 16 bits keep the high bits of each channel, cut when written and followed by zeros when read (so white is
 * read as 248, 252, 248). A name lists its fields from the lowest bit on: in RGB555 and RGB565 red is lowest, in BGR555
 * and BGR565 blue is. Most picture formats say RGB565 for what is BGR565 here. The functions on planes take both
 * orders, those on MCUs BGR alone:
 *
 *     name     bits 0-4   green   last field   bit 15
 *     RGB555   red        5-9     10-14 blue   written as 0, ignored when read
 *     BGR555   blue       5-9     10-14 red    written as 0, ignored when read
 *     RGB565   red        5-10    11-15 blue
 *     BGR565   blue       5-10    11-15 red
 * @{ */

/** @defgroup zelj_colour_planes Colour conversion of planes
 *
 * P3 and P4 are arrays of planes of one size, which share a step; C3 and C4 pixels have their channels interleaved in
 * the named order; C2 is interleaved 4:2:2, the bytes Y0 Cb Y1 Cr for each pair of pixels.
 *
 * The last pixels of a row, fewer than a group, are computed with other rounding and can differ by 1 from what the same
 * colour gives elsewhere. A codec that converts tiles therefore cuts them at multiples of 8 pixels from the row's
 * start. Groups have 4 pixels in all decoding functions and those with planar sources, 8 in 4:2:2 and the RGB and BGR
 * C3P3 functions; the other functions have one form.
 *
 * Checks: pSrc and pDst; the planes of the source, then those of the destination; srcStep; dstStep; roiSize. Threads,
 * but for pixels of 16 bits.
 *
 * How an encoder calls them, for 4:2:0 of a band of w x h pixels (w and h even): colours, chroma at half the size, and
 * the level shift to the words that the DCT takes; a decoder goes the other way, from zeliAdd128_JPEG_16s8u_C1R over
 * up-sampling to zeliYCbCrToRGB_JPEG_8u_P3C3R:
 * @code
 *   uint8_t* const ycc[3] = {y, cb, cr};                    // rows w bytes apart
 *   const ZeliSize size = {w, h}, half = {w / 2, h / 2};
 *   zeliRGBToYCbCr_JPEG_8u_C3P3R(rgb, 3 * w, ycc, w, size);
 *   zeliSampleDownH2V2_JPEG_8u_C1R(cb, w, size, smallCb, w / 2, half);
 *   zeliSampleDownH2V2_JPEG_8u_C1R(cr, w, size, smallCr, w / 2, half);
 *   zeliSub128_JPEG_8u16s_C1R(y, w, words, 2 * w, size);    // and both small planes
 * @endcode
 * @{ */

/** @name To YCbCr, YCCK and luma
 * @{ */
/** The fixed-point forms: planar sources have Y in 16 bits, and Cb and Cr from the rounded Y, (B - Y) * 0.5643 + 128
 * and (R - Y) * 0.7133 + 128; RGB and BGR C3P3 the matrix in 15 bits, all other sources in 14. RGBToY of planes
 * computes in single precision. */
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
/** @} */

/** @name From YCbCr and YCCK
 * @{ */
/** The inverse matrix in 14 bits. */
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
/** @} */

/** From 4:2:2 pairs, without interpolation of chroma. The width should be even: of an odd one the last pixel has no Cr
 * of its own, and takes that of the pair before it, or 128; the source row then ends with its Cb.
 * Checks: pSrc, pDst, roiSize. The steps are not checked and may be negative. */
ZEL_API ZelStatus zeliYCbCr422ToRGB_JPEG_8u_C2C3R(const uint8_t* pSrc, int srcStep, uint8_t* pDst, int dstStep,
                                                  ZeliSize roiSize);

/** @} */

/** @defgroup zelj_colour_resampling Resampling of chroma
 *
 * H2V1 halves or doubles a row (4:2:2), H2V2 rows and columns (4:2:0). Down-sampling takes the mean of 2 or 2 x 2
 * samples, as JPEG encoders do; up-sampling interpolates with a triangle filter: new samples lie a quarter of a sample
 * left and right of (above and below) an old one, and are three parts of it and one of the neighbour on that side.
 *
 * How a decoder calls them, for one chroma plane of 4:2:0 row by row; at the top and the bottom a row is its own
 * neighbour:
 * @code
 *   for (int r = 0; r < h; ++r) {
 *     const uint8_t* above = small[r > 0 ? r - 1 : 0];
 *     const uint8_t* below = small[r + 1 < h ? r + 1 : r];
 *     zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1(small[r], above, w, large[2 * r]);
 *     zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1(small[r], below, w, large[2 * r + 1]);
 *   }
 * @endcode
 * @{ */

/** @name Planes
 * @{ */
/** Box filter on a plane: (a + b + 1) >> 1 of two samples, (a + b + c + d + 3) >> 2 of four. dstSize alone says how
 * much is done: H2V1 reads dstSize.height rows of 2 * dstSize.width samples, H2V2 twice as many rows; srcSize is only
 * checked. A codec whose plane has an odd side repeats its last column or row first.
 * Checks: pSrc, srcStep, srcSize, pDst, dstStep, dstSize. Threads. */
ZEL_API ZelStatus zeliSampleDownH2V1_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZeliSize srcSize, uint8_t* pDst,
                                                 int dstStep, ZeliSize dstSize);
ZEL_API ZelStatus zeliSampleDownH2V2_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZeliSize srcSize, uint8_t* pDst,
                                                 int dstStep, ZeliSize dstSize);
/** @} */

/** @name Planes with a border
 * @{ */
/** Triangle filter on a plane. With s the samples of a row, and for H2V2 the columns 3 * near + far of the two rows
 * around the new one in their place:
 *
 *     H2V1   d[2k] = (3 s[k] + s[k-1] + 1) >> 2    d[2k+1] = (3 s[k] + s[k+1] + 2) >> 2
 *     H2V2   d[2k] = (3 s[k] + s[k-1] + 8) >> 4    d[2k+1] = (3 s[k] + s[k+1] + 7) >> 4
 *
 * Row r of the destination comes from row r of the source, or (H2V2) from row r / 2 and the one above it where r is
 * even, the one below where r is odd. dstSize alone says how much is done; srcSize is only checked. Its sides may be
 * odd.
 *
 * The functions read beyond the picture, and the caller provides what is there: one sample before the first and, where
 * dstSize.width is even, one after the last of every row; for H2V2 also the row above the first and, where
 * dstSize.height is even, the one below the last, with their own outer samples. So a plane of w x h samples lies in
 * memory of w + 2 columns and h + 2 rows, pSrc is the second sample of the second row, and the outermost samples of the
 * plane are repeated into the border:
 * @code
 *   for (int r = 0; r < h; ++r) {
 *     uint8_t* row = pSrc + r * step;
 *     row[-1] = row[0];
 *     row[w] = row[w - 1];
 *   }
 *   memcpy(pSrc - step - 1, pSrc - 1, w + 2);
 *   memcpy(pSrc + h * step - 1, pSrc + (h - 1) * step - 1, w + 2);
 *   zeliSampleUpH2V2_JPEG_8u_C1R(pSrc, step, size, pDst, dstStep, twice);
 * @endcode
 * Checks: pSrc, srcStep, srcSize, pDst, dstStep, dstSize. H2V2: Threads. */
ZEL_API ZelStatus zeliSampleUpH2V1_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZeliSize srcSize, uint8_t* pDst,
                                               int dstStep, ZeliSize dstSize);
ZEL_API ZelStatus zeliSampleUpH2V2_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZeliSize srcSize, uint8_t* pDst,
                                               int dstStep, ZeliSize dstSize);
/** @} */

/** @name Rows down
 * @{ */
/** Box filter on one row, or on pSrc1 above pSrc2, to (srcWidth + 1) / 2 samples. The bias changes along the row, so
 * that means drift to neither side: 0, 1, 0, 1 ... of two samples, 1, 2, 1, 2 ... of four. An odd width reads one
 * sample past it. Checks: the pointers, srcWidth. */
ZEL_API ZelStatus zeliSampleDownRowH2V1_Box_JPEG_8u_C1(const uint8_t* pSrc, int srcWidth, uint8_t* pDst);
ZEL_API ZelStatus zeliSampleDownRowH2V2_Box_JPEG_8u_C1(const uint8_t* pSrc1, const uint8_t* pSrc2, int srcWidth,
                                                       uint8_t* pDst);
/** @} */

/** @name Rows up
 * @{ */
/** Triangle filter on one row, or on the nearer row pSrc1 and the farther one pSrc2, to 2 * srcWidth samples: the
 * formulas of planes, with the outermost samples as their own neighbours. Nothing beyond the row is read.
 * Checks: the pointers, srcWidth. */
ZEL_API ZelStatus zeliSampleUpRowH2V1_Triangle_JPEG_8u_C1(const uint8_t* pSrc, int srcWidth, uint8_t* pDst);
ZEL_API ZelStatus zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1(const uint8_t* pSrc1, const uint8_t* pSrc2, int srcWidth,
                                                          uint8_t* pDst);
/** @} */

/** @} */

/** @defgroup zelj_colour_mcu One MCU at a time
 *
 * Colours, sampling and level shift of one minimum coded unit in a call, on the calling thread.
 *
 *     name   pixels    luma (and K) blocks, one after the other               chroma
 *     444     8 x 8    1                                                      as it is
 *     422    16 x 8    2: left, right                                         1 block each, columns halved
 *     411    16 x 16   4: top left, top right, bottom left, bottom right      1 block each, columns and rows halved
 *
 * (411 is what is mostly called 4:2:0.) The pixels are interleaved, rows apart by the step; all pixels of an MCU are
 * read or written, so a codec hands the last MCUs of a picture over in a buffer of their own. The block side is an
 * array of 3 (YCCK 4) pointers, one for each component, to blocks of 64 words in row-major order, as
 * zeliDCTQuantFwd8x8_JPEG_16s_C1 takes them and zeliDCTQuantInv8x8_JPEG_16s_C1 makes them: level-shifted, nominally
 * -128..127.
 *
 * How a codec calls them, for 4:2:0, both ways. blocks holds four of luma, then Cb and Cr:
 * @code
 *   int16_t* const component[3] = {blocks, blocks + 4 * 64, blocks + 5 * 64};
 *   zeliRGBToYCbCr411LS_MCU_8u16s_C3P3R(rgb + 3 * x, rgbStep, component);
 *   for (int i = 0; i < 6; ++i)
 *     zeliDCTQuantFwd8x8_JPEG_16s_C1(blocks + 64 * i, coefficients + 64 * i, i < 4 ? lumaTable : chromaTable);
 *
 *   const int16_t* const decoded[3] = {blocks, blocks + 4 * 64, blocks + 5 * 64};
 *   for (int i = 0; i < 6; ++i)
 *     zeliDCTQuantInv8x8_JPEG_16s_C1(coefficients + 64 * i, blocks + 64 * i, i < 4 ? lumaInverse : chromaInverse);
 *   zeliYCbCr411ToRGBLS_MCU_16s8u_P3C3R(decoded, rgb + 3 * x, rgbStep);
 * @endcode
 * @{ */

/** @name Pixels to blocks
 * @{ */
/** Y - 128, Cb - 128 and Cr - 128 by the matrix in 14 bits, the mean chroma of 1, 2 or 4 pixels rounded to nearest; of
 * blue and red it reaches 128. CMYK adds K - 128 as fourth component.
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
/** @} */

/** @name YCbCr pixels to blocks
 * @{ */
/** For pixels that are Y, Cb, Cr already: each minus 128, the mean chroma rounded down (so not to the bit as above).
 * Split422 takes 16 x 8 pixels as the bytes Y0 Cb Y1 Cr. Checks: pSrc and pDst, srcStep, the block pointers in
 * order. */
ZEL_API ZelStatus zeliSampleDown444LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZEL_API ZelStatus zeliSampleDown422LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZEL_API ZelStatus zeliSampleDown411LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
ZEL_API ZelStatus zeliSplit422LS_MCU_8u16s_C2P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]);
/** @} */

/** @name Blocks to pixels
 * @{ */
/** Each chroma sample serves its 1, 2 or 4 pixels without interpolation; the inverse matrix in 14 bits, 128 added,
 * clamped. Every 16-bit value is allowed in the blocks. CMYK: C = 255 - R, M = 255 - G, Y = 255 - B, and K + 128. Green
 * that falls exactly between two values is rounded up in 444 RGB and BGR, down in all others.
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
/** @} */

/** @name Blocks to YCbCr pixels
 * @{ */
/** Each plus 128, clamped, chroma repeated, without colour conversion. Join422 writes 16 x 8 pixels as the bytes Y0 Cb
 * Y1 Cr.
 * Checks: pSrc and pDst, the block pointers in order, dstStep. */
ZEL_API ZelStatus zeliSampleUp444LS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZEL_API ZelStatus zeliSampleUp422LS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZEL_API ZelStatus zeliSampleUp411LS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
ZEL_API ZelStatus zeliJoin422LS_MCU_16s8u_P3C2R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep);
/** @} */

/** @} */

/** @} */

/* ==== 5a  JPEG 2000: component transforms ========================================================================= */

/** @defgroup zelj_components JPEG 2000: component transforms
 *
 * Multiple component transformations (ITU-T T.800, Annex G). Forward from R, G, B (components 0, 1, 2) to Y, Cb, Cr;
 * inverse back. C3 has the three samples of a pixel side by side, P3 one plane each; one step applies to all three
 * planes. P3IR replaces the planes in place. Samples are signed, and level-shifted where the stream asks for it.
 *
 * Checks: the pointers and each plane, in the order of the arguments (zelStsNullPtrErr); then the steps
 * (zelStsStepErr); then the size (zelStsSizeErr). A step may be smaller than a row.
 *
 * How a codec calls them: the reversible path of an encoder, one level of 5/3 after the colours; the decoder takes the
 * inverse functions in the opposite order.
 * @code
 * int32_t* planes[3] = {red, green, blue};      // level-shifted samples, rows 4 * w bytes apart
 * const ZeliSize size = {w, h};
 * const ZeliRect tile = {x0, y0, w, h};         // where the tile component lies on its reference grid
 * zeliRCTFwd_JPEG2K_32s_P3IR(planes, 4 * w, size);
 * for (int c = 0; c < 3; ++c) zeliWTFwd_B53_JPEG2K_32s_C1IR(planes[c], 4 * w, &tile, buffer);
 * @endcode
 * @{ */

/** @defgroup zelj_components_rct Reversible transform
 *
 * T.800, G.2, with >> an arithmetic shift:
 *   - Y = (R + 2 G + B) >> 2, Cb = B - G, Cr = R - G
 *   - G = Y - ((Cb + Cr) >> 2), R = Cr + G, B = Cb + G
 *
 * 16s: sums in 32 bits, results cut to their low 16 bits. 32s: 32-bit arithmetic that wraps. Inverse after forward is
 * exact as long as the differences fit the type (16s: samples within +-16384, or 0..32767) and, for 32s, the sum
 * R + 2 G + B fits 32 bits (magnitudes up to 2^29).
 * @{ */

/** @name Pixels to planes, and back
 * @{ */
/** Between interleaved R, G, B and the planes Y, Cb, Cr. */
ZEL_API ZelStatus zeliRCTFwd_JPEG2K_16s_C3P3R(const int16_t* pSrc, int srcStep, int16_t* const pDst[3], int dstStep,
                                              ZeliSize roiSize);
ZEL_API ZelStatus zeliRCTInv_JPEG2K_16s_P3C3R(const int16_t* const pSrc[3], int srcStep, int16_t* pDst, int dstStep,
                                              ZeliSize roiSize);
ZEL_API ZelStatus zeliRCTFwd_JPEG2K_32s_C3P3R(const int32_t* pSrc, int srcStep, int32_t* const pDst[3], int dstStep,
                                              ZeliSize roiSize);
ZEL_API ZelStatus zeliRCTInv_JPEG2K_32s_P3C3R(const int32_t* const pSrc[3], int srcStep, int32_t* pDst, int dstStep,
                                              ZeliSize roiSize);
/** @} */

/** @name Planes in place
 * @{ */
/** The three planes are replaced. */
ZEL_API ZelStatus zeliRCTFwd_JPEG2K_16s_P3IR(int16_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliRCTInv_JPEG2K_16s_P3IR(int16_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliRCTFwd_JPEG2K_32s_P3IR(int32_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliRCTInv_JPEG2K_32s_P3IR(int32_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
/** @} */

/** @} */

/** @defgroup zelj_components_ict Irreversible transform
 *
 * T.800, G.3:
 *   - Y = 0.299 R + 0.587 G + 0.114 B
 *   - Cb = -0.16875 R - 0.33126 G + 0.5 B
 *   - Cr = 0.5 R - 0.41869 G - 0.08131 B
 *   - R = Y + 1.402 Cr, G = Y - 0.34413 Cb - 0.71414 Cr, B = Y + 1.772 Cb
 * @{ */

/** @name Single precision
 * @{ */
/** Products summed from left to right as they stand above; nothing is clamped. */
ZEL_API ZelStatus zeliICTFwd_JPEG2K_32f_C3P3R(const float* pSrc, int srcStep, float* const pDst[3], int dstStep,
                                              ZeliSize roiSize);
ZEL_API ZelStatus zeliICTInv_JPEG2K_32f_P3C3R(const float* const pSrc[3], int srcStep, float* pDst, int dstStep,
                                              ZeliSize roiSize);
ZEL_API ZelStatus zeliICTFwd_JPEG2K_32f_P3IR(float* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliICTInv_JPEG2K_32f_P3IR(float* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
/** @} */

/** @name Fixed point
 * @{ */
/** Weights in units of 2^-14, each sum rounded by adding 8192 before the shift by 14.
 * 16s: Cb and Cr are the differences B - Y and R - Y (rounded, cut to 16 bits) times 0.5 / (1 - 0.114) and
 * 0.5 / (1 - 0.299); all results saturate. 32s: the matrix in 32-bit arithmetic that wraps, which samples of magnitudes
 * up to 2^16 cannot reach. */
ZEL_API ZelStatus zeliICTFwd_JPEG2K_16s_P3IR(int16_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliICTInv_JPEG2K_16s_P3IR(int16_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliICTFwd_JPEG2K_32s_P3IR(int32_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
ZEL_API ZelStatus zeliICTInv_JPEG2K_32s_P3IR(int32_t* const pSrcDst[3], int srcDstStep, ZeliSize roiSize);
/** @} */

/** @} */
/** @} */

/* ==== 5b  JPEG 2000: wavelets ===================================================================================== */

/** @defgroup zelj_wavelets JPEG 2000: wavelets
 *
 * One level of the wavelet transformations (ITU-T T.800, Annex F), forward and inverse: reversible 5/3 (B53) and
 * irreversible 9/7 (D97). There are three kinds of functions: on whole tiles, which extend the tile at its borders
 * themselves; on rows or columns of a region that carries its border; and single vertical steps on rows.
 *
 * Phase. Samples at even places of the reference grid become low-pass coefficients, those at odd places high-pass ones.
 * The phase says which comes first in a line: zeliPhaseLow or zeliPhaseHigh (any odd number counts as that). The
 * functions on tiles take it from the lowest bit of the rectangle's x (for rows) and y (for columns), of negative ones
 * too; nothing else of x and y is used.
 *
 * How a line of n samples divides:
 *
 *     phase          low coefficients   high coefficients
 *     zeliPhaseLow      (n + 1) / 2            n / 2
 *     zeliPhaseHigh        n / 2            (n + 1) / 2
 *
 * Order of the directions. Forward, columns are transformed first, then rows (F.4.2); inverse, rows first, then columns
 * (F.3.2). The functions on tiles do so, and a codec that combines Row and Col functions or lifting steps has to: the
 * filters round after each direction, and in the other order about a third of the coefficients of the integer
 * functions come out different.
 *
 * How a codec calls them, a tile in place:
 * @code
 * const ZeliRect tile = {x0, y0, w, h};
 * int bytes;
 * if (zeliWTGetBufSize_B53_JPEG2K_32s_C1IR(&tile, &bytes) != zelStsNoErr) return tooLarge;
 * uint8_t* buffer = (uint8_t*)malloc(bytes + 1);                     // one for all levels: the first is the largest
 * zeliWTFwd_B53_JPEG2K_32s_C1IR(plane, step, &tile, buffer);         // its LL, top left in the plane, is the
 * const ZeliRect next = {(x0 + 1) / 2, (y0 + 1) / 2,                 // next tile
 *                        (x0 + w + 1) / 2 - (x0 + 1) / 2, (y0 + h + 1) / 2 - (y0 + 1) / 2};
 * zeliWTFwd_B53_JPEG2K_32s_C1IR(plane, step, &next, buffer);
 * @endcode
 * The same coefficients from columns and rows. The plane has its border rows, mirrored, above and below; low and high
 * rows get their border columns in between (extendRows is the caller's):
 * @code
 * const ZeliSize columns = {w, h / 2}, rows = {w / 2, h / 2};        // in coefficients
 * zeliWTFwdCol_B53_JPEG2K_32s_C1R(plane, step, low, s, high, s, columns, zeliPhaseLow);
 * extendRows(low, s, w, h / 2);
 * extendRows(high, s, w, h / 2);
 * zeliWTFwdRow_B53_JPEG2K_32s_C1R(low, s, ll, t, hl, t, rows, zeliPhaseLow);
 * zeliWTFwdRow_B53_JPEG2K_32s_C1R(high, s, lh, t, hh, t, rows, zeliPhaseLow);
 * @endcode
 * The columns as a pipeline over rows, each pair of which is used as it arrives; at the ends the caller passes the
 * mirrored rows (h is even):
 * @code
 * for (int n = 0; n < h / 2; ++n)
 *   zeliWTFwdColLift_B53_JPEG2K_32s_C1(row[2 * n], row[2 * n + 1], row[2 * n + 2 < h ? 2 * n + 2 : 2 * n],
 *                                      low[n], high[n ? n - 1 : 0], high[n], w);
 * @endcode
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

/** @defgroup zelj_wavelets_53 Reversible 5/3
 *
 * F.4.8.1 forward and F.3.8.1 inverse, with >> an arithmetic shift:
 *   - d[i] = x[2i+1] - ((x[2i] + x[2i+2]) >> 1), then s[i] = x[2i] + ((d[i-1] + d[i] + 2) >> 2)
 *   - x[2i] = s[i] - ((d[i-1] + d[i] + 2) >> 2), then x[2i+1] = d[i] + ((x[2i] + x[2i+2]) >> 1)
 *
 * Arithmetic wraps in the sample's type: 16s is as defined while the sums of two neighbours, and of two high
 * coefficients plus 2, fit 16 bits. The inverse restores every input to the bit.
 * @{ */

/** @name Work buffers
 * @{ */
/** Bytes of pBuffer of the functions on tiles, of any alignment: C1IR takes a line of the longer side with its border
 * (2 samples at each end), or 0 bytes for a tile of up to 2 x 2; even then pBuffer must not be null. C1R takes besides
 * h rows of (w * sample size + 31) & ~31 bytes. Where the bytes do not fit into an int (C1R: from about
 * 2^30 samples of 16s or 2^29 of 32s on) the result is zelStsSizeErr and *pSize stays untouched. Width and height are
 * not checked; the number means nothing for those below 1. Checks: the pointers. */
ZEL_API ZelStatus zeliWTGetBufSize_B53_JPEG2K_16s_C1IR(const ZeliRect* pTileRect, int* pSize);
ZEL_API ZelStatus zeliWTGetBufSize_B53_JPEG2K_16s_C1R(const ZeliRect* pTileRect, int* pSize);
ZEL_API ZelStatus zeliWTGetBufSize_B53_JPEG2K_32s_C1IR(const ZeliRect* pTileRect, int* pSize);
ZEL_API ZelStatus zeliWTGetBufSize_B53_JPEG2K_32s_C1R(const ZeliRect* pTileRect, int* pSize);
/** @} */

/** @name A tile in place
 * @{ */
/** Lines are extended by whole-sample symmetry (F.3.7) at the tile's borders. Each line holds its low coefficients,
 * then its high ones, so the plane becomes four quadrants: LL and, right of it, HL; below it LH, and HH. A line of one
 * sample is doubled where the phase is zeliPhaseHigh (inverse: halved, truncating), else kept.
 * Checks: pSrcDst, srcDstStep, pTileRect, pBuffer. No size is checked: a width or height below 1 transforms nothing. */
ZEL_API ZelStatus zeliWTFwd_B53_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTInv_B53_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTFwd_B53_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTInv_B53_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                uint8_t* pBuffer);
/** @} */

/** @name A tile to and from four bands
 * @{ */
/** The same coefficients in four bands (arrays by ZeliSubband), of (w + 1) / 2 or w / 2 columns and of (h + 1) / 2 or
 * h / 2 rows, whatever the phase: the plane of C1IR is cut at these places. So where the phase is zeliPhaseHigh and the
 * extent odd, the first high coefficient is the last one of the low band.
 * Checks: the five pointers in order; the step of the plane; the four bands; their four steps; the size. Pointers and
 * steps of empty bands are checked too. */
ZEL_API ZelStatus zeliWTFwd_B53_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, const ZeliRect* pTileRect,
                                               int16_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTInv_B53_JPEG2K_16s_C1R(const int16_t* const pSrc[4], const int srcStep[4], int16_t* pDst,
                                               int dstStep, const ZeliRect* pTileRect, uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTFwd_B53_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, const ZeliRect* pTileRect,
                                               int32_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTInv_B53_JPEG2K_32s_C1R(const int32_t* const pSrc[4], const int srcStep[4], int32_t* pDst,
                                               int dstStep, const ZeliRect* pTileRect, uint8_t* pBuffer);
/** @} */

/** @name Rows and columns
 * @{ */
/** One direction over a region whose source carries its border: nothing is extended. The size is in coefficients: a row
 * function makes (or takes) width of each band in each of height rows, a column function height of each band in each of
 * width columns; there are twice as many samples. A line of odd length is done with one pair more, whose second
 * coefficient is dropped (the inverse: whose second sample is). What a line of n coefficients a band reads, as offsets
 * from its first sample or coefficient:
 *
 *     phase            forward        inverse
 *     zeliPhaseLow     x -2 .. 2n     low  0 .. n      high -1 .. n
 *     zeliPhaseHigh    x -1 .. 2n+1   low -1 .. n-1    high -1 .. n
 *
 * Checks: the three pointers, the three steps, the size. */
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
/** @} */

/** @name Lifting steps on rows
 * @{ */
/** One step of a vertical transform on rows of width samples.
 * Forward: x[2n], x[2n+1] and x[2n+2] are in pSrc0, pSrc1, pSrc2; d[n] is written to pDstHigh, then s[n] to pDstLow.
 * pSrcHighPrev holds d[n-1] and may be pDstHigh, as the mirrored row of the first step is: it is read after pDstHigh is
 * written.
 * Inverse: from s[n], d[n-1], d[n] and x[2n-2], x[2n] is written to pDstEven, then x[2n-1] to pDstOdd.
 * Checks: the pointers in order, the width. */
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
/** @} */

/** @} */

/** @defgroup zelj_wavelets_97 Irreversible 9/7
 *
 * F.4.8.2 forward, on a line x:
 *   -# x[2n+1] += a (x[2n] + x[2n+2])
 *   -# x[2n] += b (x[2n-1] + x[2n+1])
 *   -# x[2n+1] += c (x[2n] + x[2n+2])
 *   -# x[2n] += d (x[2n-1] + x[2n+1])
 *   -# low = KL x[2n], high = KH x[2n+1]
 *
 * with a = -1.5861343, b = -0.052980117, c = 0.8829111, d = 0.44350687, KL = 0.8128931, KH = 1.2301741. Inverse
 * (F.3.8.2): low times KH, high times KL, and the steps undone from the fourth to the first. How the types compute:
 *   - tiles, 16s: weights in units of 2^-14; each product of a sum of two samples is rounded, and each sample kept in
 *     16 bits
 *   - tiles, 32s: single precision; x[2n] + x[2n+2] of the input is a 32-bit sum that wraps; coefficients and samples
 *     are truncated toward zero and clamped to the type after each direction
 *   - 32f: single precision
 *   - Row, ColLift, 32s: weights in units of 2^-16, 64-bit products of 32-bit sums that wrap, rounded; low in one
 *     rounding as KL x[2n] + 0.36052364 (x[2n-1] + x[2n+1]), and the inverse likewise
 *   - Row, ColLift, 16s: 16-bit arithmetic: saturating sums, products rounded to 15 fractional bits. Samples up to
 *     about +-7500 do not saturate. In rows, what is needed of intermediate values outside the line comes from weights
 *     in units of 2^-16, saturated
 * @{ */

/** @name Work buffers
 * @{ */
/** Bytes of pBuffer of the functions on tiles, of any alignment: C1IR takes a line of the longer side with its border
 * (4 samples at each end), or 0 bytes for a tile of 1 x 1; even then pBuffer must not be null. C1R takes besides
 * h rows of (w * sample size + 31) & ~31 bytes. Where the bytes do not fit into an int (C1R: from about
 * 2^30 samples of 16s or 2^29 of 32s on) the result is zelStsSizeErr and *pSize stays untouched. Width and height are
 * not checked; the number means nothing for those below 1. Checks: the pointers. */
ZEL_API ZelStatus zeliWTGetBufSize_D97_JPEG2K_16s_C1IR(const ZeliRect* pTileRect, int* pSize);
ZEL_API ZelStatus zeliWTGetBufSize_D97_JPEG2K_16s_C1R(const ZeliRect* pTileRect, int* pSize);
ZEL_API ZelStatus zeliWTGetBufSize_D97_JPEG2K_32s_C1IR(const ZeliRect* pTileRect, int* pSize);
ZEL_API ZelStatus zeliWTGetBufSize_D97_JPEG2K_32s_C1R(const ZeliRect* pTileRect, int* pSize);
/** @} */

/** @name A tile in place
 * @{ */
/** Lines are extended by whole-sample symmetry (F.3.7) at the tile's borders. Each line holds its low coefficients,
 * then its high ones, so the plane becomes four quadrants: LL and, right of it, HL; below it LH, and HH. A line of one
 * sample is doubled where the phase is zeliPhaseHigh (inverse: halved, truncating), else kept.
 * Checks: pSrcDst, srcDstStep, pTileRect, pBuffer. No size is checked: a width or height below 1 transforms nothing. */
ZEL_API ZelStatus zeliWTFwd_D97_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTInv_D97_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTFwd_D97_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTInv_D97_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZeliRect* pTileRect,
                                                uint8_t* pBuffer);
/** @} */

/** @name A tile to and from four bands
 * @{ */
/** The same coefficients in four bands (arrays by ZeliSubband), of (w + 1) / 2 or w / 2 columns and of (h + 1) / 2 or
 * h / 2 rows, whatever the phase: the plane of C1IR is cut at these places. So where the phase is zeliPhaseHigh and the
 * extent odd, the first high coefficient is the last one of the low band.
 * Checks: the five pointers in order; the step of the plane; the four bands; their four steps; the size. Pointers and
 * steps of empty bands are checked too. */
ZEL_API ZelStatus zeliWTFwd_D97_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, const ZeliRect* pTileRect,
                                               int16_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTInv_D97_JPEG2K_16s_C1R(const int16_t* const pSrc[4], const int srcStep[4], int16_t* pDst,
                                               int dstStep, const ZeliRect* pTileRect, uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTFwd_D97_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, const ZeliRect* pTileRect,
                                               int32_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer);
ZEL_API ZelStatus zeliWTInv_D97_JPEG2K_32s_C1R(const int32_t* const pSrc[4], const int srcStep[4], int32_t* pDst,
                                               int dstStep, const ZeliRect* pTileRect, uint8_t* pBuffer);
/** @} */

/** @name Rows and columns
 * @{ */
/** One direction over a region whose source carries its border: nothing is extended. The size is in coefficients: a row
 * function makes (or takes) width of each band in each of height rows, a column function height of each band in each of
 * width columns; there are twice as many samples. A line of odd length is done with one pair more, whose second
 * coefficient is dropped (the inverse: whose second sample is). What a line of n coefficients a band reads, as offsets
 * from its first sample or coefficient:
 *
 *     phase            forward        inverse
 *     zeliPhaseLow     x -4 .. 2n+2   low -1 .. n+1    high -2 .. n+1
 *     zeliPhaseHigh    x -3 .. 2n+3   low -2 .. n      high -2 .. n+1
 *
 * One coefficient a band is the direct convolution with the equivalent filters.
 * Checks: the three pointers, the three steps, the size. */
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
/** @} */

/** @name Lifting steps on rows
 * @{ */
/** One turn of a pipeline over rows of width samples: it takes in two rows and finishes one of each kind.
 * Forward, in this order: pOdd = pSrc1 + a (pSrc0 + pSrc2); pEven = pSrc0 + b (pOddPrev + pOdd);
 * pOddPrev += c (pLow + pEven); pLow = KL pLow + d KL (pHigh + pOddPrev); pHigh = KH pHigh. On entry pSrc0, pSrc1,
 * pSrc2 are rows 2n, 2n+1, 2n+2; pLow is row 2n-2 after two steps, pHigh row 2n-3 after three, pOddPrev row 2n-1 after
 * one. For the next turn pEven is pLow, pOddPrev is pHigh and pOdd is pOddPrev.
 * Inverse: pEven = KH pSrcLow - d KL (pSrcHighPrev + pSrcHigh); pOdd = KL pSrcHighPrev - c (pEvenPrev + pEven);
 * pEvenPrev -= b (pOddPrev2 + pOdd); pOddPrev2 -= a (pEvenPrev2 + pEvenPrev). The rows are low n, high n-1 and n, and
 * output rows 2n-4, 2n-3, 2n-2, 2n-1 and 2n.
 * Checks: the pointers in order, the width. */
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

/** @} */
/** @} */

/* ==== 5c  JPEG 2000: the tier-1 coder ============================================================================= */

/** @defgroup zelj_tier1 JPEG 2000: the tier-1 coder
 *
 * Embedded block coding of code blocks (ITU-T T.800, Annexes C and D).
 *
 * Coefficients are 32-bit words in sign-magnitude form: bit 31 the sign (1 is negative), bits 30 to 0 the magnitude.
 * Bit plane p is bit p of all magnitudes; plane 0 is the lowest. A block whose highest bit set is in plane s - 1 and
 * which is coded down to plane L has 3 * (s - L) - 2 coding passes: the cleanup pass of plane s - 1, then significance
 * propagation, magnitude refinement and cleanup of each plane below. Passes are counted from 0.
 *
 * Passes lie in codeword segments. With zeliCodeBlockTerminateAll every pass is a segment; otherwise a segment ends
 * where the coding changes between MQ and raw (zeliCodeBlockBypass only), and with the last pass. So a block without
 * these two flags is a single segment.
 *
 * subband is a ZeliSubband; it chooses the contexts of significance, those of LL and LH being the same.
 *
 * sfBits in both directions, with the packet header in between. A band has Mb magnitude bit planes (T.800, Equation
 * E-2). An encoder puts them in bits 30 to 31 - Mb and passes magnBits = Mb; then *pSfBits counts from bit 0 up, and
 * the zero bit planes of the packet header are P = 31 - *pSfBits (P = Mb for a block of zeros, which is not included in
 * a packet). A decoder that wants the lowest plane in bit L passes sfBits = Mb - P + L: L = 0 for integers, L = 1 for a
 * half bit under the lowest plane. An encoder with integers in the lowest bits instead passes magnBits = 31, and P is
 * Mb - *pSfBits; sfBits is then *pSfBits.
 *
 * A state carries a tag of the function that has made it: another record gives zelStsContextMatchErr. A block must not
 * be wider or higher than the size that its state was made for; this is not checked.
 * @{ */

/** Code-block styles and controls: the bits of codeStyleFlags. Other bits are not looked at. */
typedef enum ZeliCodeBlockFlags {
  /* styles, to be the same in both directions; in code streams they have other values (T.800, Table A.19) */
  zeliCodeBlockVerticallyCausal = 1,     /**< contexts take the next stripe as insignificant (T.800, D.7) */
  zeliCodeBlockBypass = 2,               /**< propagation and refinement are raw bits from the fifth plane on (D.6) */
  zeliCodeBlockTerminateAll = 4,         /**< every pass is a codeword segment of its own */
  zeliCodeBlockResetContexts = 8,        /**< contexts are reset after every pass */
  zeliCodeBlockSegmentationSymbols = 16, /**< a segmentation symbol ends every cleanup pass (D.5) */
  /* of the encoder; decoders do not look at it */
  zeliEncodeLowestPlaneIsLast = 32, /**< nothing lies below the lowest plane: distortion is 0 after its last pass */
  /* of the decoders; the encoder does not look at them */
  zeliDecodeMidpointsAfterDamage = 0x10000, /**< one call: after damage, magnitudes go to the middle of their interval
                                                 in the current plane, those below it to 0 */
  zeliDecodeKeepOutput = 0x20000,           /**< the output is not cleared first: the caller has done so */
  zeliDecodeKeepHalfBits = 0x40000,         /**< one call: half bits below the current plane stay */
  zeliDecodeKeepSignificance = 0x80000,     /**< the state's memory of significance is not cleared first */
  zeliDecodeCheckTermination = 0x100000     /**< MQ segments are checked for their predictable end (D.4.2): with
                                                 zeliCodeBlockTerminateAll all of them, otherwise the one that ends with
                                                 the last plane before raw passes, or with plane 0 */
} ZeliCodeBlockFlags;

/** How the encoder ends MQ codeword segments. Every other value is a flush. Raw segments always end in the same way. */
typedef enum ZeliTermination {
  zeliTerminationFlush = 0,      /**< the flush of T.800, C.2.9 */
  zeliTerminationShortest = 1,   /**< with the fewest bytes that still decode */
  zeliTerminationPredictable = 2 /**< so that a decoder can check it (D.4.2): zeliDecodeCheckTermination */
} ZeliTermination;

/* ---- Encoder ---- */

/** @defgroup zelj_tier1_encoder Encoder
 *
 * How a codec calls them, with one state for any number of blocks in turn:
 * @code
 * zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(words, 4 * size.width, size, state, zeliSubbandHL, 31, zeliTerminationFlush,
 * 0,
 *                                        zeliEncodeLowestPlaneIsLast, &sfBits, &passes, &segments);
 * for (more = 1, used = 0; more; used += length) {
 *   length = capacity - used;
 *   zeliEncodeStoreBits_JPEG2K_1u(bytes + used, &length, state, &more);
 * }
 * for (p = 0; p < passes; ++p) zeliEncodeGetRate_JPEG2K(state, p, &rates[p]);
 * for (p = 0; p < passes; ++p) zeliEncodeGetDist_JPEG2K(state, p, &gains[p]);
 * for (s = 0; s < segments; ++s) zeliEncodeGetTermPassLen_JPEG2K(state, s, &lengths[s]);
 * @endcode
 *
 * The packet header of a whole block carries the passes and the length of each segment. A block may be cut after any
 * pass p: what a decoder needs are the first rates[p] bytes, and the last of its segments is as much shorter. (With a
 * segment for each pass the lengths up to p add up to what it needs.)
 * @{ */

typedef struct ZeliEncodeState_JPEG2K ZeliEncodeState_JPEG2K; /**< opaque, from InitAlloc */

/** A state for blocks up to a size of w x h, and its end.
 *
 * It takes 2 * 1090 * w * ceil(h / 4) bytes for the logs of decisions, align32(4 * w + 8) * (ceil(h / 2) + 2) for
 * significance, and 3048: 2.2 MB for 64 x 64. align32 rounds up to a multiple of 32. Each of the two products (one log)
 * must not exceed 2147483647, so w * ceil(h / 4) is at most 1970168.
 *
 * zelStsMemAllocErr: an allocation has failed, or the size exceeds that limit; *ppState is null. Free does not look at
 * the tag.
 *
 * Checks: ppState, codeBlockMaxSize. */
ZEL_API ZelStatus zeliEncodeInitAlloc_JPEG2K(ZeliEncodeState_JPEG2K** ppState, ZeliSize codeBlockMaxSize);
/** Frees a state; see zeliEncodeInitAlloc_JPEG2K(). */
ZEL_API ZelStatus zeliEncodeFree_JPEG2K(ZeliEncodeState_JPEG2K* pState);

/** Models a block: all its passes down to bit plane 31 - magnBits. Nothing is coded yet.
 *
 * Checks: pState, its tag, the three results, codeBlockSize, pSrc, srcStep.
 *
 * @param subband         a ZeliSubband
 * @param magnBits        31 less the number of the lowest plane to be coded; 31 for all
 * @param termMode        a ZeliTermination
 * @param reserved        not looked at
 * @param codeStyleFlags  ZeliCodeBlockFlags, of the styles and the encoder
 * @param pSfBits         planes from the highest bit set down to bit 0, even where not all are coded; 0 for a block
 *                        of zeros, which has no pass and no segment
 * @param pNOfPasses      coding passes
 * @param pNOfTermPasses  codeword segments */
ZEL_API ZelStatus zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, ZeliSize codeBlockSize,
                                                         ZeliEncodeState_JPEG2K* pState, int subband, int magnBits,
                                                         int termMode, int reserved, int codeStyleFlags, int* pSfBits,
                                                         int* pNOfPasses, int* pNOfTermPasses);

/** Codes the block that was loaded and hands out the next bytes of its segments, as many as there is room for. How the
 * bytes are divided among calls does not change them.
 *
 * *pDstLen: the room, then the bytes written. *pIsNotFinished: 1 while there is more, 0 at the end.
 *
 * Checks: pState, its tag, pDst and pDstLen and pIsNotFinished, *pDstLen (zelStsSizeErr below 1). */
ZEL_API ZelStatus zeliEncodeStoreBits_JPEG2K_1u(uint8_t* pDst, int* pDstLen, ZeliEncodeState_JPEG2K* pState,
                                                int* pIsNotFinished);

/** Bytes of the block, from its first segment on, after which a decoder has all it needs through pass passNum. It is
 * not less than for the pass before, and never just behind a byte 0xFF. Known once all bytes have been handed out.
 *
 * zelStsJPEG2KBadPassNumberErr: no such pass. Checks: pState, its tag, the result, the number; so too in the two that
 * follow. */
ZEL_API ZelStatus zeliEncodeGetRate_JPEG2K(const ZeliEncodeState_JPEG2K* pState, int passNum, int* pRate);

/** The squared error that passes 0..passNum take away together, in squared units of the lowest plane coded. Known as
 * soon as the block is loaded. A decoder is taken to put samples in the middle of the interval that it knows. */
ZEL_API ZelStatus zeliEncodeGetDist_JPEG2K(const ZeliEncodeState_JPEG2K* pState, int passNum, double* pDist);

/** The bytes of codeword segment termPassNum, as the packet header tells them. Known once all bytes have been handed
 * out. zelStsJPEG2KBadPassNumberErr: no such segment. */
ZEL_API ZelStatus zeliEncodeGetTermPassLen_JPEG2K(const ZeliEncodeState_JPEG2K* pState, int termPassNum, int* pLen);

/** @} */

/* ---- Decoder ---- */

/** @defgroup zelj_tier1_decoder Decoder
 *
 * Half bits. A coefficient whose highest bit is found in plane p gets the half bit below it, p - 1, as well, and so
 * does every refinement: what is known of a magnitude stands in the middle of its interval. At plane 0 there is none.
 *
 * Damage. MQ data is not checked unless the flags say so; bytes beyond the end of a segment read as 0xFF, so segments
 * that are cut decode. A raw segment must end with the low bits of 0x55, and its last byte must not be 0xFF, whatever
 * the flags: one that is cut, or comes from an encoder that ends it otherwise, is damaged. A wrong segmentation symbol
 * is damage too. Decoding stops at the pass that is damaged; what was decoded stays.
 *
 * Size. A state for blocks up to w x h takes align32(4 * w + 8) * (ceil(h / 2) + 2) + 472 bytes, align32 rounding up to
 * a multiple of 32; 10264 for 64 x 64. Where that exceeds 2147483647, the functions that tell it give zelStsSizeErr and
 * write nothing, and InitAlloc gives zelStsMemAllocErr. The state may lie at any address.
 * @{ */

typedef struct ZeliDecodeCBProgrState_JPEG2K ZeliDecodeCBProgrState_JPEG2K; /**< opaque */

/** The bytes of a state for zeliDecodeCodeBlock_JPEG2K_1u32s_C1R(), which needs no Init. Checks: codeBlockMaxSize,
 * pSize; then whether the size fits (zelStsSizeErr). */
ZEL_API ZelStatus zeliDecodeGetBufSize_JPEG2K(ZeliSize codeBlockMaxSize, int* pSize);

/** Decodes a block in one call.
 * @code
 * zeliDecodeGetBufSize_JPEG2K(size, &bytes);
 * state = (ZeliDecodeCBProgrState_JPEG2K*)malloc((size_t)bytes);
 * status = zeliDecodeCodeBlock_JPEG2K_1u32s_C1R(data, words, 4 * size.width, size, zeliSubbandHL, sfBits, passes,
 *                                               lengths, segments, zeliDecodeKeepHalfBits, NULL, state);
 * @endcode
 *
 * Half bits at the end. Bits below the current plane are cleared, unless zeliDecodeKeepHalfBits is set. The current
 * plane is that of the next pass; but without zeliCodeBlockTerminateAll it stays at the last cleanup pass's plane where
 * the passes end with that. So a single segment that is cut after the cleanup pass of plane p loses half bit p - 1, in
 * a block of which each pass is a segment it stays; and where passes end after a refinement pass of plane p, refined
 * samples lose theirs, others do not. The progressive decoder clears nothing. Pass zeliDecodeKeepHalfBits for what is
 * the better estimate wherever planes may be missing; where all are there it makes no difference.
 *
 * zelStsJPEG2KDamagedCBErr: see above. *pNOfResolvedBitPlanes is written in this case only, and is the number of a
 * plane, that of the damaged pass: planes above it are complete, p + 1 planes are not.
 *
 * Checks: pSrc and pState, codeBlockSize, pTermLen and pDst, dstStep.
 *
 * @param pSrc            the segments, one after the other
 * @param subband         a ZeliSubband
 * @param sfBits          1 more than the plane of the first pass, at most 31; see the formula of this chapter
 * @param nOfPasses       passes to be decoded at most, in all segments together
 * @param pTermLen        the length of each segment in bytes
 * @param nOfTermPasses   segments; below 1 nothing is decoded, but the output cleared
 * @param codeStyleFlags  ZeliCodeBlockFlags, of the styles and the decoders
 * @param pNOfResolvedBitPlanes  may be null */
ZEL_API ZelStatus zeliDecodeCodeBlock_JPEG2K_1u32s_C1R(const uint8_t* pSrc, int32_t* pDst, int dstStep,
                                                       ZeliSize codeBlockSize, int subband, int sfBits, int nOfPasses,
                                                       const int* pTermLen, int nOfTermPasses, int codeStyleFlags,
                                                       int* pNOfResolvedBitPlanes,
                                                       ZeliDecodeCBProgrState_JPEG2K* pState);

/** @} */

/* ---- Progressive decoder ---- */

/** @defgroup zelj_tier1_progressive Progressive decoder
 *
 * The decoder a segment at a time, as quality layers bring them. Samples, damage and the size of a state are those of
 * @ref zelj_tier1_decoder "the decoder in one call", but for half bits: nothing is cleared at the end.
 * @code
 * zeliDecodeCBProgrInitAlloc_JPEG2K(&state, maxSize);
 * zeliDecodeCBProgrAttach_JPEG2K_32s_C1R(words, 4 * size.width, size, state, zeliSubbandHL, sfBits, flags);
 * zeliDecodeCBProgrSetPassCounter_JPEG2K(passes, state);
 * for (s = 0; s < segments; data += lengths[s++]) status = zeliDecodeCBProgrStep_JPEG2K(data, lengths[s], state);
 * zeliDecodeCBProgrFree_JPEG2K(state);
 * @endcode
 *
 * Attach begins a block, and the same state may do so again and again. A segment must be complete when it is stepped
 * through: bytes of it that come later cannot be added. When more layers bring more segments, SetPassCounter allows the
 * passes that are new, and Step goes on; with segments of several passes do so only where a segment has been decoded in
 * full, as a later Step takes its segment to begin with the cleanup pass of the current plane.
 *
 * Checks: GetStateSize the size, then the pointer; InitAlloc ppState, codeBlockMaxSize; all others pState, its tag,
 * then the other arguments in order, but Step and GetPassCounter test both pointers before the tag.
 * @{ */

/** The bytes of a state, for Init; as zeliDecodeGetBufSize_JPEG2K(). */
ZEL_API ZelStatus zeliDecodeCBProgrGetStateSize_JPEG2K(ZeliSize codeBlockMaxSize, int* pStateSize);
/** Makes a state of caller memory, which is not to be given to Free. Only the record is written. */
ZEL_API ZelStatus zeliDecodeCBProgrInit_JPEG2K(ZeliDecodeCBProgrState_JPEG2K* pState);
/** Allocates a state and does Init. zelStsMemAllocErr: that has failed, or the size does not fit; *ppState is null. */
ZEL_API ZelStatus zeliDecodeCBProgrInitAlloc_JPEG2K(ZeliDecodeCBProgrState_JPEG2K** ppState, ZeliSize codeBlockMaxSize);
/** Frees a state that InitAlloc has made. */
ZEL_API ZelStatus zeliDecodeCBProgrFree_JPEG2K(ZeliDecodeCBProgrState_JPEG2K* pState);

/** Begins a block: its output, cleared unless zeliDecodeKeepOutput is set, which the state keeps and every Step
 * refines. No pass is allowed yet, damage is forgotten, contexts are reset.
 *
 * @param subband         a ZeliSubband
 * @param sfBits          1 more than the plane of the first pass, at most 31
 * @param codeStyleFlags  ZeliCodeBlockFlags, of the styles and the decoders */
ZEL_API ZelStatus zeliDecodeCBProgrAttach_JPEG2K_32s_C1R(int32_t* pDst, int dstStep, ZeliSize codeBlockSize,
                                                         ZeliDecodeCBProgrState_JPEG2K* pState, int subband, int sfBits,
                                                         int codeStyleFlags);
/** Sets how many passes may be decoded from now on; those not used before are not added. */
ZEL_API ZelStatus zeliDecodeCBProgrSetPassCounter_JPEG2K(int nOfPasses, ZeliDecodeCBProgrState_JPEG2K* pState);
/** The passes still allowed. */
ZEL_API ZelStatus zeliDecodeCBProgrGetPassCounter_JPEG2K(const ZeliDecodeCBProgrState_JPEG2K* pState, int* pNOfPasses);
/** The plane of the next pass, -1 after the last. Without zeliCodeBlockTerminateAll the plane stays where the passes
 * allowed have ended. */
ZEL_API ZelStatus zeliDecodeCBProgrGetCurBitPlaneNum_JPEG2K(const ZeliDecodeCBProgrState_JPEG2K* pState,
                                                            int* pBitPlaneNum);

/** Decodes the passes of one segment of srcLen bytes (0 is no error), as far as they are allowed; zelStsNoErr also
 * where none is.
 *
 * zelStsJPEG2KNotAttachedErr: before Attach. zelStsJPEG2KDamagedCBErr: damage now or in an earlier step since Attach;
 * what was decoded stays. */
ZEL_API ZelStatus zeliDecodeCBProgrStep_JPEG2K(const uint8_t* pSrc, int srcLen, ZeliDecodeCBProgrState_JPEG2K* pState);

/** @} */

/** @} */

/* ==== 6  HD Photo: the core transform ============================================================================= */

/** @defgroup zelj_photo HD Photo: the core transform
 *
 * The photo core transform (ITU-T T.832) of every 4x4 block of a region, in place: each block by itself, without
 * overlap filter and without the second stage on the DC coefficients, which are the codec's. Coefficients keep their
 * raster positions; the DC of a block is its top-left one. Arithmetic wraps at 32 bits, and Inv undoes Fwd exactly,
 * whatever the values. The step is in bytes and unsigned.
 *
 * How a codec calls it, for a macroblock of 4:2:0 with its two chroma planes; the 16 luma DC coefficients, 4 rows and
 * columns apart, are then gathered and go through the second stage:
 * @code
 *   zeliPCTFwd16x16_HDP_32s_C1IR(luma, lumaStep);
 *   zeliPCTFwd8x8_HDP_32s_C1IR(u, chromaStep);
 *   zeliPCTFwd8x8_HDP_32s_C1IR(v, chromaStep);
 *   for (i = 0; i < 16; ++i) dc[i] = luma[4 * (i / 4) * lumaStep / 4 + 4 * (i % 4)];
 *   zeliPCTFwd_HDP_32s_C1IR(dc, 16, fourByFour);
 * @endcode
 * @{ */

/** Forward and inverse, of a plane whose width and height are multiples of 4.
 * Checks: pSrcDst; roiSize below 1 (zelStsSizeErr); a step below the row's bytes (zelStsStepErr); a side that is no
 * multiple of 4 (zelStsSizeErr). */
ZEL_API ZelStatus zeliPCTFwd_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step, ZeliSize roiSize);
/** @copydoc zeliPCTFwd_HDP_32s_C1IR */
ZEL_API ZelStatus zeliPCTInv_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step, ZeliSize roiSize);

/** @name A macroblock's planes
 * @{ */
/** 16x16 luma, or chroma of 4:4:4; 8 wide by 16 high, chroma of 4:2:2; 8x8, chroma of 4:2:0.
 * Checks: pSrcDst; a step below the row's bytes (zelStsStepErr). */
ZEL_API ZelStatus zeliPCTFwd16x16_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step);
ZEL_API ZelStatus zeliPCTFwd8x16_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step);
ZEL_API ZelStatus zeliPCTFwd8x8_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step);
ZEL_API ZelStatus zeliPCTInv16x16_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step);
ZEL_API ZelStatus zeliPCTInv8x16_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step);
ZEL_API ZelStatus zeliPCTInv8x8_HDP_32s_C1IR(int32_t* pSrcDst, uint32_t step);
/** @} */

/** @} */

/* ==== 7  Textures: DXT and BC7 blocks ============================================================================= */

/** @defgroup zelj_textures Textures: DXT and BC7 blocks
 *
 * Images of any size as blocks of 4x4 pixels, which lie one after another: block rows from the top, blocks from the
 * left, (width + 3) / 4 of them in a row and (height + 3) / 4 rows. A DXT1 block has 8 bytes, any other 16. Sizes are
 * those of the image in pixels; steps are those of the image, in bytes and unsigned. Blocks are independent of each
 * other, so a codec divides an image by rows of blocks among its threads. Checks, of all functions: pSrc, pDst; a step
 * of 0 (zelStsStepErr); a width or height below 1 (zelStsSizeErr).
 *
 * How a codec calls them, for one mip level:
 * @code
 *   size_t bytes = (size_t)((size.width + 3) / 4) * (size_t)((size.height + 3) / 4) * 16;
 *   uint8_t* blocks = malloc(bytes);
 *   zeliTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R(rgba, rgbaStep, size, blocks);
 *   zeliTextureDecodeBlockToRGBA_DXT5_8u_C1C4R(blocks, back, backStep, size);
 * @endcode
 * @{ */

/** @defgroup zelj_textures_decoders Decoders: DXT1, DXT3, DXT5, BC7
 * DXT1, DXT3 and DXT5 are S3TC, or BC1, BC2 and BC3; BC7 is BPTC. Pixels are R, G, B, A bytes; nothing outside the
 * image is written. Every bit pattern decodes.
 * @{ */

/** DXT blocks to RGBA. The 5- and 6-bit fields of endpoints become bytes by a shift, with zeros below: at most 248,
 * 252, 248, which a codec widens to the full range where it wants white to be 255. The colours between the endpoints
 * are (2 c0 + c1) / 3 and (c0 + 2 c1) / 3, rounded down. DXT1 with C0 <= C1 has (c0 + c1) / 2 and transparent black in
 * their places; DXT3 and DXT5 never have. Alpha of DXT3 is the 4-bit value times 16, at most 240. Alphas between the
 * endpoints of DXT5 are (w0 a0 + w1 a1 + 3) / 7, or (w0 a0 + w1 a1 + 2) / 5 beside 0 and 255 where a0 <= a1, rounded
 * down. */
ZEL_API ZelStatus zeliTextureDecodeBlockToRGBA_DXT1_8u_C1C4R(const uint8_t* pSrc, uint8_t* pDst, uint32_t dstStep,
                                                             ZeliSize dstSize);
/** @copydoc zeliTextureDecodeBlockToRGBA_DXT1_8u_C1C4R */
ZEL_API ZelStatus zeliTextureDecodeBlockToRGBA_DXT3_8u_C1C4R(const uint8_t* pSrc, uint8_t* pDst, uint32_t dstStep,
                                                             ZeliSize dstSize);
/** @copydoc zeliTextureDecodeBlockToRGBA_DXT1_8u_C1C4R */
ZEL_API ZelStatus zeliTextureDecodeBlockToRGBA_DXT5_8u_C1C4R(const uint8_t* pSrc, uint8_t* pDst, uint32_t dstStep,
                                                             ZeliSize dstSize);
/** BC7 blocks to RGBA, all eight modes (Khronos Data Format Specification, section 20). A block of the reserved mode,
 * whose first byte is 0, is transparent black. */
ZEL_API ZelStatus zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R(const uint8_t* pSrc, uint8_t* pDst, uint32_t dstStep,
                                                            ZeliSize dstSize);
/** @} */

/** @defgroup zelj_textures_encoders Encoders: DXT1, DXT3, DXT5
 * Fast, in a single pass: the endpoints of a block are the corners of its bounding box, drawn in by a sixteenth of each
 * side and quantised; the indices follow from the sums of absolute differences to the four colours, ties towards the
 * first. A partial block is filled up with its last column and then its last row.
 * @{ */

/** RGBA to DXT blocks. Colours do not depend on alpha; DXT1 drops it and never has transparent pixels. Alpha of DXT3 is
 * cut to 4 bits, alpha of DXT5 drawn in like the colours. */
ZEL_API ZelStatus zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R(const uint8_t* pSrc, uint32_t srcStep, ZeliSize srcSize,
                                                               uint8_t* pDst);
/** @copydoc zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R */
ZEL_API ZelStatus zeliTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R(const uint8_t* pSrc, uint32_t srcStep, ZeliSize srcSize,
                                                               uint8_t* pDst);
/** @copydoc zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R */
ZEL_API ZelStatus zeliTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R(const uint8_t* pSrc, uint32_t srcStep, ZeliSize srcSize,
                                                               uint8_t* pDst);

/** Y, Co, Cg pixels of 3 bytes to DXT5 blocks: Y is the alpha part, Co and Cg are red and green. The caller makes the
 * pixels from RGB, rounded, with chroma centred on 128 and cut to 255:
 *
 *     Y  = ( R + 2 G + B) / 4
 *     Co = ( R - B) / 2 + 128
 *     Cg = (-R + 2 G - B) / 4 + 128
 *
 * Each block's chroma is scaled about 128 by s = 4, 2 or 1, the largest that keeps it within 8 bits; the blue fields of
 * both endpoints hold s - 1. A shader undoes it, with the texel r, g, b, a as it samples it, in 0 to 1:
 *
 *     scale = 1 / (31 b + 1)
 *     co = (r - 128 / 255) scale,  cg = (g - 128 / 255) scale
 *     red = a + co - cg,  green = a + cg,  blue = a - co - cg
 *
 * The bytes that zeliTextureDecodeBlockToRGBA_DXT5_8u_C1C4R gives have zeros below the fields: there s is B / 8 + 1, Co
 * is R 255 / 248 and Cg is G 255 / 252. */
ZEL_API ZelStatus zeliTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R(const uint8_t* pSrc, uint32_t srcStep, ZeliSize srcSize,
                                                                uint8_t* pDst);
/** @} */

/** @} */

/* ==== 8  TIFF rows ================================================================================================ */

/** @defgroup zelj_tiff TIFF rows
 *
 * PackBits (TIFF 6.0, section 9) of rows of bytes, and rows of 16-bit samples as two planes of bytes. Positions and
 * lengths are in bytes. *pDstCurrPos and *pSrcCurrPos are positions in the compressed buffer, read and advanced, so
 * that rows follow one another in it.
 *
 * How a codec calls them, for a strip of rows and back; a row of n bytes takes at most n + (n + 127) / 128 packed:
 * @code
 *   int position = 0;
 *   for (y = 0; y < rows; ++y)
 *     zeliPackBitsRow_TIFF_8u_C1(pixels + y * n, n, strip, &position, room - position);
 *   for (y = 0, length = position, position = 0; y < rows; ++y)
 *     if (zeliUnpackBitsRow_TIFF_8u_C1(strip, &position, length, back + y * n, n) != zelStsNoErr) break;
 * @endcode
 * @{ */

/** Packs a row of srcLen bytes: runs of 2 to 128 equal bytes, and literals of 1 to 128. A literal ends before three
 * equal bytes, before a pair that ends the row, before a pair when it has 126 bytes, and at 128 bytes. dstRoom counts
 * from the position on.
 * zelStsTIFFOutOfBufErr: the next run does not fit; the position is after the last one that did.
 * Checks: the pointers, then srcLen and dstRoom below 1 (zelStsSizeErr). The position is not checked. */
ZEL_API ZelStatus zeliPackBitsRow_TIFF_8u_C1(const uint8_t* pSrc, int srcLen, uint8_t* pDst, int* pDstCurrPos,
                                             int dstRoom);
/** Unpacks exactly dstLen bytes; srcLen counts from the start of the buffer.
 * zelStsTIFFOutOfBufErr: the source ends early, or a run passes the end of the row; the position is after that run's
 * header.
 * Checks: the pointers, then srcLen and dstLen below 1 (zelStsSizeErr). The position is not checked. */
ZEL_API ZelStatus zeliUnpackBitsRow_TIFF_8u_C1(const uint8_t* pSrc, int* pSrcCurrPos, int srcLen, uint8_t* pDst,
                                               int dstLen);

/** Joins two planes of bytes, the high ones and the low ones, to len samples of 16 bits.
 * Checks: pSrc and pDst (the planes themselves are not checked), then len below 1, whose error is zelStsStepErr. */
ZEL_API ZelStatus zeliJoinRow_TIFF_8u16u_C1(const uint8_t* const pSrc[2], uint16_t* pDst, int len);
/** Splits len samples of 16 bits into a plane of their high bytes and one of their low bytes. Checks as for joining. */
ZEL_API ZelStatus zeliSplitRow_TIFF_16u8u_C1(const uint16_t* pSrc, uint8_t* const pDst[2], int len);

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* ZELJ_H */
