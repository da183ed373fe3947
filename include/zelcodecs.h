/** @file zelcodecs.h
 * Files of pictures, read and written band by band: the public interface of libzelcodecs.so.1
 *
 * JPEG, JPEG 2000, TIFF, DDS, PNG and Netpbm files to rows of samples and back. C99 and C++.
 *
 * What holds for every function, unless its comment says otherwise:
 *   - The result is a ZelcStatus: zelcOk (0), or why the call has failed; zelcLastError() then has a text for people.
 *     Nothing is printed, no exception leaves a function, and running out of memory is a status like any other. A null
 *     pointer where one is needed, and a value outside its set, give zelcUsage before anything is done.
 *   - Out parameters are written on success only, but that a handle or a pointer to memory is set to null on failure.
 *   - Readers and writers are handles of the caller's, who closes each of them once. A check of arguments that fails
 *     leaves the handle as it was. Where reading or writing itself has failed, the handle can be asked for what is
 *     known and be closed; any other call gives zelcUsage.
 *   - Any thread may call any function. One handle is used by one thread at a time. Long work divides itself among
 *     threads of the library, as the setting "threads" says; results never depend on their number.
 *   - Paths and texts are bytes that end with a zero. The path "-" is standard input, or standard output.
 *   - Sizes of pictures are in pixels, sizes of memory and steps between rows in bytes.
 *
 * Samples are interleaved: the channels of a pixel, then the next pixel. A sample has one byte where the picture has up
 * to 8 bits a sample, and else two bytes in the processor's order, as uint16_t has them. Its values are 0 to
 * 2^bits - 1. In CMYK 0 is no ink. Opacity is the last channel, and colours are not multiplied with it.
 *
 * Settings. What a reader or writer can be asked for is given as a list of texts "name=value", which ends with a null
 * pointer; a null list is an empty one. A switch takes yes or no, and its name alone means yes. A setting that is not
 * known, or means nothing for the format at hand, gives zelcUsage. zelcSetting() tells them all.
 * @code
 *   const char* const settings[] = {"quality=90", "sampling=422", "progressive", NULL};
 * @endcode
 *
 * A file to another of any format, with its metadata, in bands:
 * @code
 *   ZelcReader* reader = NULL;
 *   ZelcWriter* writer = NULL;
 *   ZelcInfo info;
 *   ZelcMetadata metadata;
 *   void* rows = NULL;
 *   int count = 0;
 *   ZelcStatus s = zelcOpenFile("in.tif", NULL, &reader);
 *   if (!s) s = zelcReaderInfo(reader, &info);
 *   if (!s) s = zelcReaderMetadata(reader, &metadata);
 *   if (!s) s = zelcCreateFile("out.jpg", &info.picture, &metadata, settings, &writer);
 *   if (!s && !(rows = malloc(64 * info.rowBytes))) s = zelcMemory;
 *   while (!s && !(s = zelcReadRows(reader, rows, info.rowBytes, 64, &count)) && count > 0)
 *     s = zelcWriteRows(writer, rows, info.rowBytes, count);
 *   if (!s) s = zelcFinish(writer);
 *   if (s) fprintf(stderr, "%s\n", zelcLastError());
 *   zelcCloseWriter(writer);  // before zelcFinish() this leaves nothing behind
 *   zelcCloseReader(reader);
 *   free(rows);
 * @endcode
 *
 * Contents
 *   1  Status values, errors, version
 *   2  Pictures, metadata, settings
 *   3  Reading
 *   4  Writing
 *   5  Whole pictures
 */
#ifndef ZELCODECS_H
#define ZELCODECS_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define ZELC_API __attribute__((visibility("default")))
#else
#define ZELC_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ==== 1  Status values, errors, version =========================================================================== */

/** @defgroup zelc_status Status values, errors, version
 *
 * What all functions share.
 * @{ */

/** The result of a call. The values up to 7 are those with which the tool ends; 4 is a comparison's, not used here. */
typedef enum ZelcStatus {
  zelcOk = 0,          /**< success */
  zelcUsage = 1,       /**< the caller asked for something impossible, or a setting does not exist */
  zelcFile = 2,        /**< a file cannot be opened, read or written: zelcLastErrno() */
  zelcDamaged = 3,     /**< the file breaks the rules of its format: zelcLastOffset(). The setting "keep-going" helps */
  zelcUnsupported = 5, /**< a valid file, or a wish, of a kind that is not handled */
  zelcLimit = 6,       /**< above the settings "max-pixels" and "max-memory", or above what such a file can hold */
  zelcInternal = 7,    /**< a fault of this library */
  zelcMemory = 8       /**< there is not enough memory */
} ZelcStatus;

/** The version of this header; that of the library is zelcVersion(). Within a major version, which is in the SONAME,
 * functions, values and settings are only added, and records stay as they are. */
#define ZELC_VERSION_MAJOR 1
#define ZELC_VERSION_MINOR 0
#define ZELC_VERSION_PATCH 0

/** The version of the library as a text, such as "1.0.0". */
ZELC_API const char* zelcVersion(void);

/** What went wrong in the last call of this thread that failed, in one line without its end; cut after about a thousand
 * bytes. Stays until the next failure in this thread. Never null; "" where nothing has failed. */
ZELC_API const char* zelcLastError(void);

/** The system's error number of the same failure after zelcFile, else 0. */
ZELC_API int zelcLastErrno(void);

/** The position in the file that the same failure is about; UINT64_MAX where it is about none. */
ZELC_API uint64_t zelcLastOffset(void);

/** @} */

/* ==== 2  Pictures, metadata, settings ============================================================================= */

/** @defgroup zelc_pictures Pictures, metadata, settings
 *
 * What a picture is, and what travels with its samples.
 * @{ */

/** What the channels mean. */
typedef enum ZelcColours {
  zelcGrey = 1,      /**< 1 channel */
  zelcGreyAlpha = 2, /**< 2 channels: grey, opacity */
  zelcRgb = 3,       /**< 3 channels */
  zelcRgba = 4,      /**< 4 channels: red, green, blue, opacity */
  zelcCmyk = 5       /**< 4 channels: cyan, magenta, yellow, black */
} ZelcColours;

/** The format of a file. */
typedef enum ZelcFormat {
  zelcJpeg = 1,     /**< ITU-T T.81 */
  zelcJpeg2000 = 2, /**< ITU-T T.800: JP2 files and codestreams */
  zelcDds = 3,      /**< textures */
  zelcTiff = 4,     /**< TIFF 6.0 and BigTIFF */
  zelcPng = 5,      /**< Portable Network Graphics */
  zelcNetpbm = 6    /**< PBM, PGM, PPM and PAM */
} ZelcFormat;

/** What rows of samples are. */
typedef struct ZelcPicture {
  int width;           /**< pixels in a row, at least 1 */
  int height;          /**< rows, at least 1 */
  ZelcColours colours; /**< what the channels mean */
  int bits;            /**< of a sample, 1 to 16 */
} ZelcPicture;

/** What a file is and what reading gives. */
typedef struct ZelcInfo {
  ZelcFormat format;   /**< of the file */
  ZelcPicture picture; /**< what zelcReadRows() gives, after crop, scale and other settings */
  int channels;        /**< of a pixel, 1 to 4 */
  int opacity;         /**< 1 where the last channel is opacity, else 0 */
  int bytesPerSample;  /**< 1 or 2 */
  int bandRows;        /**< the height in which the file brings its rows: multiples of it are read fastest */
  size_t rowBytes;     /**< of a row without gaps */
} ZelcInfo;

/** What else a file can hold; numbers that are not there are 1. */
typedef struct ZelcParts {
  int pages;       /**< of a TIFF file: "page" is 0 to pages - 1 */
  int faces;       /**< of a cube map in a DDS file: "face" */
  int elements;    /**< of an array in a DDS file: "element" */
  int resolutions; /**< mip levels of a DDS file: "mip"; resolutions of a JPEG 2000 file: "reduce" */
} ZelcParts;

/** What a file says besides the samples. Zeros throughout say nothing. */
typedef struct ZelcMetadata {
  const void* icc;             /**< an ICC profile of iccBytes; null for none */
  size_t iccBytes;             /**< its size */
  const void* exif;            /**< a TIFF structure as EXIF has it, without a format's own words before it */
  size_t exifBytes;            /**< its size */
  const void* xmp;             /**< an XMP packet */
  size_t xmpBytes;             /**< its size */
  const char* const* comments; /**< texts, with a null pointer behind the last; null for none */
  double pixelsPerMetreX;      /**< horizontal resolution; 0 where nothing is said */
  double pixelsPerMetreY;      /**< vertical resolution */
  int orientation;             /**< 1 to 8, as TIFF and EXIF have it; 0, in writing, is the same as 1 */
} ZelcMetadata;

/** A setting, as zelcSetting() tells it. All texts are static. */
typedef struct ZelcSetting {
  const char* name;   /**< such as "quality" */
  const char* values; /**< what it takes, such as "1 to 100"; "" for a switch */
  const char* help;   /**< what it does */
  int reading;        /**< 1 where readers take it, else 0 */
  int writing;        /**< 1 where writers take it, else 0 */
  unsigned formats;   /**< the formats that know it: bits 1 << ZelcFormat; 0 for all */
} ZelcSetting;

/** The name of a format, such as "JPEG 2000"; static. Null for a value that is none. */
ZELC_API const char* zelcFormatName(ZelcFormat format);

/** The setting of this number, from 0; zelcUsage behind the last one. */
ZELC_API ZelcStatus zelcSetting(int number, ZelcSetting* setting);

/** @} */

/* ==== 3  Reading ================================================================================================== */

/** @defgroup zelc_reading Reading
 *
 * A reader is opened, asked for what the file is, and read from top to bottom. Once it is open all is known but the
 * samples, and limits have been checked; most formats never hold the whole picture.
 * @{ */

/** A file that is being read. */
typedef struct ZelcReader ZelcReader;

/** Opens a file, whose format its first bytes tell. It stays open until the reader is closed, and is mapped into
 * memory: one that is cut meanwhile ends the process. With "auto-orient" a picture that has to be turned is decoded
 * here, as a whole. */
ZELC_API ZelcStatus zelcOpenFile(const char* path, const char* const* settings, ZelcReader** reader);

/** The same for a file in memory. The bytes stay the caller's, unchanged until the reader is closed. data may be null
 * where size is 0. */
ZELC_API ZelcStatus zelcOpenMemory(const void* data, size_t size, const char* const* settings, ZelcReader** reader);

/** What the file is and what reading gives. */
ZELC_API ZelcStatus zelcReaderInfo(const ZelcReader* reader, ZelcInfo* info);

/** How many pages, faces, elements and resolutions the file has; looks through all of them. */
ZELC_API ZelcStatus zelcReaderParts(const ZelcReader* reader, ZelcParts* parts);

/** What the file says besides the samples. The pointers are the reader's, valid until it is closed. */
ZELC_API ZelcStatus zelcReaderMetadata(const ZelcReader* reader, ZelcMetadata* metadata);

/** Reads the next rows, as many as are left and at most count, which is 1 or more. *given tells how many, 0 behind the
 * last row. step is the distance of two rows, at least ZelcInfo.rowBytes; where samples have two bytes, rows and step
 * are even. Nothing is written between the end of a row and the next one. */
ZELC_API ZelcStatus zelcReadRows(ZelcReader* reader, void* rows, size_t step, int count, int* given);

/** What is odd about the file and, with "keep-going", its damages: the text of this number, from 0; null behind the
 * last one. There can be more after each zelcReadRows(), until which the text stays. */
ZELC_API const char* zelcReaderWarning(const ZelcReader* reader, int number);

/** Closes a reader at any time. Null is passed over. */
ZELC_API void zelcCloseReader(ZelcReader* reader);

/** @} */

/* ==== 4  Writing ================================================================================================== */

/** @defgroup zelc_writing Writing
 *
 * A writer is created for a picture, takes its rows from top to bottom, and finishes. The format follows from the
 * setting "format", and else from the ending of the path. A picture that the format cannot hold as it is becomes the
 * nearest one that it can: CMYK becomes RGB by its profile, and opacity is dropped over a "background"; without one
 * only opaque pixels are taken. Bits are dropped by the setting "depth" alone.
 * @{ */

/** A file that is being written. */
typedef struct ZelcWriter ZelcWriter;

/** Begins a file. It is written beside one that may stand there, and takes its place when it is finished. metadata are
 * copied; null for none. */
ZELC_API ZelcStatus zelcCreateFile(const char* path, const ZelcPicture* picture, const ZelcMetadata* metadata,
                                   const char* const* settings, ZelcWriter** writer);

/** The same for a file in memory; needs the setting "format". */
ZELC_API ZelcStatus zelcCreateMemory(const ZelcPicture* picture, const ZelcMetadata* metadata,
                                     const char* const* settings, ZelcWriter** writer);

/** Writes the next count rows, 1 or more and no more than are missing. step is the distance of two rows, at least that
 * of rows without gaps; where samples have two bytes, rows and step are even. A sample above 2^bits - 1 gives
 * zelcUsage, with nothing written. */
ZELC_API ZelcStatus zelcWriteRows(ZelcWriter* writer, const void* rows, size_t step, int count);

/** Completes the file after the last row. It stands in its place then. */
ZELC_API ZelcStatus zelcFinish(ZelcWriter* writer);

/** The bytes of a finished file in memory, once: they are the caller's then, to be given to zelcFree(). */
ZELC_API ZelcStatus zelcTakeBytes(ZelcWriter* writer, void** data, size_t* size);

/** What of the metadata the format cannot hold: the text of this number, from 0; null behind the last one. */
ZELC_API const char* zelcWriterWarning(const ZelcWriter* writer, int number);

/** Closes a writer at any time. A file that is not finished is removed, and what stood in its place stays; what went to
 * a pipe or a device cannot be taken back. Null is passed over. */
ZELC_API void zelcCloseWriter(ZelcWriter* writer);

/** @} */

/* ==== 5  Whole pictures =========================================================================================== */

/** @defgroup zelc_whole Whole pictures
 *
 * The same in one call each, where the samples have room in memory. Warnings are not told.
 * @{ */

/** Reads a picture into memory without gaps between its rows, to be given to zelcFree(). */
ZELC_API ZelcStatus zelcReadFile(const char* path, const char* const* settings, ZelcInfo* info, void** samples);

/** The same for a file in memory. */
ZELC_API ZelcStatus zelcReadMemory(const void* data, size_t size, const char* const* settings, ZelcInfo* info,
                                   void** samples);

/** Writes a picture. samples and step as for zelcWriteRows(); metadata may be null. */
ZELC_API ZelcStatus zelcWriteFile(const char* path, const ZelcPicture* picture, const ZelcMetadata* metadata,
                                  const void* samples, size_t step, const char* const* settings);

/** The same into memory, to be given to zelcFree(). */
ZELC_API ZelcStatus zelcWriteMemory(const ZelcPicture* picture, const ZelcMetadata* metadata, const void* samples,
                                    size_t step, const char* const* settings, void** data, size_t* size);

/** Frees what a function of this library has handed over. Null is passed over. */
ZELC_API void zelcFree(void* memory);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
