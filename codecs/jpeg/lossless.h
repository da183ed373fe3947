// Lossless files (T.81 Annex H): samples predicted from their neighbours, differences coded as DC differences are.
#pragma once

#include "common/encoder.h"
#include "jpeg/planes.h"

namespace zelcodecs::jpeg {

// The primitives read samples as signed in the halved terms of predictors 5 to 7. Where samples have all 16 bits, those
// terms are formed here, in the standard's arithmetic.
constexpr bool needsWideTerms(int predictor, int bits) { return predictor >= zeliPredictorRaHalfRbRc && bits == 16; }

constexpr int widePrediction(int predictor, int a, int b, int c) {
  if (predictor == zeliPredictorRaHalfRbRc) return a + ((b - c) >> 1);
  if (predictor == zeliPredictorRbHalfRaRc) return b + ((a - c) >> 1);
  return (a + b) >> 1;
}

// A lossless scan into planes of one data unit a sample. Rows that are lost are mid-grey.
std::unique_ptr<ScanDecoder> losslessScan(const Reader& reader, const Scan& scan, bool keepGoing, Warnings* warnings,
                                          const Planes* planes);

std::unique_ptr<Encoder> createLossless(Sink& sink, const PictureFormat& format, const Metadata& metadata,
                                        const JpegEncodeOptions& options);

}  // namespace zelcodecs::jpeg
