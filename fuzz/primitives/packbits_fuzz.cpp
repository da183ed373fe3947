// PackBits rows and 16-bit rows as two planes of bytes.
#include "primitives.h"

using namespace fuzz;

namespace {

// Any bytes: rows until an error and once more behind it, positions anywhere in the stream.
void unpack(Run& z) {
  const int length = 1 + z.below(z.below(2) ? 10 : 200);
  const Pair<uint8_t> row = z.take<uint8_t>(size_t(length));
  const int n = 1 + int(std::min<size_t>(z.left(), 200));
  const Pair<uint8_t> src = z.take<uint8_t>(size_t(n), false);
  for (uint8_t* to : src.of) std::copy(z.rest(), z.rest() + n - 1, to);
  const Pair<int> pos = z.one(0);
  for (int rows = 0, errors = 0; rows < 20 && errors < 2; ++rows)
    errors += z(&Api::zeliUnpackBitsRow_TIFF_8u_C1, src, pos, n, row, length) != zelStsNoErr;
}

// Rows into any room, from any position.
void pack(Run& z) {
  const int length = 1 + z.below(z.below(2) ? 10 : 250), start = z.below(3);
  const int room = 1 + z.below(length + (length + 127) / 128);
  const Pair<uint8_t> row = z.take<uint8_t>(size_t(length)), dst = z.take<uint8_t>(size_t(start + room));
  for (int i = 1, run = z.byte(); i < length; ++i)
    if (run >> i % 8 & 1) row.set(size_t(i), row[size_t(i) - 1]);
  z(&Api::zeliPackBitsRow_TIFF_8u_C1, row, length, dst, z.one(start), room);
}

void split(Run& z) {
  const int length = 1 + z.below(200);
  const Pair<uint16_t> words = z.take<uint16_t>(size_t(length)), back = z.take<uint16_t>(size_t(length));
  Planes<uint8_t> planes;
  for (int i = 0; i < 2; ++i) planes.set(i, z.take<uint8_t>(size_t(length)));
  z(&Api::zeliSplitRow_TIFF_16u8u_C1, words, planes, length);
  z(&Api::zeliJoinRow_TIFF_8u16u_C1, planes, back, length);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Run z(data, size);
  const int kind = z.below(4);
  kind < 2 ? unpack(z) : kind == 2 ? pack(z) : split(z);
  return 0;
}
