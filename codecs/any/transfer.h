// From a decoder to an encoder, band by band.
#pragma once

#include "common/convert.h"
#include "common/decoder.h"
#include "common/encoder.h"

namespace zelcodecs {

// Moves all rows, by way of a converter where it is not null, and finishes the encoder. With more than one thread a
// band is written while the next one is read. No more than two bands are held.
void transfer(Decoder& decoder, Converter* converter, Encoder& encoder, int threads);

// The rows of a picture in memory, as a decoder that has already done its work.
std::unique_ptr<Decoder> imageDecoder(Image image);

// The picture as its orientation asks for it. One that is turned or mirrored is read here as a whole.
std::unique_ptr<Decoder> upright(std::unique_ptr<Decoder> decoder);

}  // namespace zelcodecs
