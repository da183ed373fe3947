// Coefficients of whole pictures, and of rows that take turns.
#include "jpeg/coefficients.h"

#include "common/error.h"

namespace zelcodecs {

using namespace jpeg;

void JpegCoefficients::allocate() {
  Frame f;
  f.width = width;
  f.height = height;
  for (const Component& c : components) {
    if (c.h < 1 || c.h > 4 || c.v < 1 || c.v > 4) throw Error(ErrorKind::argument, "a sampling factor outside 1 to 4");
    jpeg::Component k;
    k.h = c.h;
    k.v = c.v;
    f.components.push_back(k);
  }
  f.layOut();
  for (size_t i = 0; i < components.size(); ++i) {
    Component& c = components[i];
    const jpeg::Component& k = f.components[i];
    c.blocksWide = k.blocksWide;
    c.blocksHigh = k.blocksHigh;
    c.storedWide = k.storedWide;
    c.storedHigh = k.storedHigh;
    c.values = ZeroedVector<int16_t>(64 * size_t(k.storedWide) * size_t(k.storedHigh));
  }
}

namespace jpeg {

Blocks blocksOf(JpegCoefficients* coefficients) {
  Blocks blocks;
  for (size_t i = 0; i < coefficients->components.size(); ++i) {
    JpegCoefficients::Component& c = coefficients->components[i];
    blocks.component[i] = {c.values.data(), c.storedWide, c.storedHigh};
  }
  return blocks;
}

ConstBlocks blocksOf(const JpegCoefficients& coefficients) {
  ConstBlocks blocks;
  for (size_t i = 0; i < coefficients.components.size(); ++i) {
    const JpegCoefficients::Component& c = coefficients.components[i];
    blocks.component[i] = {c.values.data(), c.storedWide, c.storedHigh};
  }
  return blocks;
}

uint64_t storedBytes(const Frame& frame) {
  uint64_t blocks = 0;
  for (const Component& c : frame.components) blocks += uint64_t(c.storedWide) * uint64_t(c.storedHigh);
  return blocks * sizeof(Block);
}

JpegCoefficients storeFor(const Frame& frame) {
  JpegCoefficients store;
  store.width = frame.width;
  store.height = frame.height;
  store.precision = frame.precision;
  for (const Component& c : frame.components) {
    store.components.emplace_back();
    store.components.back().id = c.id;
    store.components.back().h = c.h;
    store.components.back().v = c.v;
  }
  store.allocate();
  return store;
}

}  // namespace jpeg

}  // namespace zelcodecs
