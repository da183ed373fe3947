// Lossless files (T.81 Annex H): samples predicted from their neighbours, differences coded as DC differences are.
#pragma once

#include "jpeg/pixels.h"

namespace zelcodecs::jpeg {

// A lossless scan into planes of one data unit a sample. Rows that are lost are mid-grey.
std::unique_ptr<ScanDecoder> losslessScan(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings,
                                          const Planes* planes);

std::vector<uint8_t> encodeLossless(const Image& image, const JpegEncodeOptions& options);

}  // namespace zelcodecs::jpeg
