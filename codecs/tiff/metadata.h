// What a page's fields say besides its pixels, and the fields that say it.
#pragma once

#include "common/metadata.h"
#include "common/warnings.h"
#include "tiff/fields.h"

namespace zelcodecs::tiff {

// 0 where nothing is said.
double pixelsPerMetre(const Directory& d, Tag tag);

// Fields that are damaged are left out with a warning.
Metadata readMetadata(const Directory& d, Warnings* warnings);

// All fields of metadata but the directories of EXIF.
void putMetadata(const Metadata& metadata, int dotsPerInch, Fields* fields);

// The directories of an EXIF structure, as they stand from position at of the file on, which must be even; the page's
// fields are completed with what points to them and with what EXIF keeps in its first directory. A structure that is
// damaged is left out with a warning.
Bytes exifDirectories(const Metadata& metadata, uint64_t at, bool bigEndian, Form form, Fields* fields,
                      Warnings* warnings);

}  // namespace zelcodecs::tiff
