// What the encoder and the decoder of lossless differences share (ITU-T T.81, H.1.2.2 and Table H.2).
//
// A difference is coded as a DC difference is: a category by its Huffman code, then as many extra bits as the category
// says. Category 16 has no extra bits: it is the difference 32768, which is -32768 modulo 2^16.
#pragma once

#include "variant.h"

namespace ZEL_VARIANT {
namespace {

constexpr int kMaxComponents = 4;         // of an interleaved row; a caller's further rows are ignored
constexpr int kCategoryWithoutBits = 16;  // and of the symbols above it, which only a corrupt table has

}  // namespace
}  // namespace ZEL_VARIANT
