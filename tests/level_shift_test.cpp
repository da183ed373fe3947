// Level shift of planes: values, and the rule by which plane functions divide their rows among threads.
#include <gtest/gtest.h>

#include "support/api.h"
#include "support/core_hooks.h"
#include "support/data.h"

namespace {

using namespace zeltest;

uint8_t clamp8(int x) { return uint8_t(x < 0 ? 0 : x > 255 ? 255 : x); }

// A region in guarded memory: rows of width elements, step bytes apart.
template <class T>
struct Region {
  Region(int width, int height, int step)
      : step(step), bytes(size_t(height - 1) * size_t(step) + size_t(width) * sizeof(T)) {}
  T* data() { return reinterpret_cast<T*>(bytes.data()); }
  T get(int x, int y) {
    T v;
    std::memcpy(&v, bytes.data() + y * step + x * int(sizeof(T)), sizeof v);
    return v;
  }
  int step;
  Guarded<uint8_t> bytes;
};

void shiftBothWays(int width, int height, int srcPad, int dstPad, Random& rng) {
  Region<uint8_t> samples(width, height, width + srcPad);
  Region<int16_t> shifted(width, height, 2 * width + dstPad);
  rng.fill(samples.data(), samples.bytes.size());
  ASSERT_EQ(zelStsNoErr, zel().zeliSub128_JPEG_8u16s_C1R(samples.data(), samples.step, shifted.data(), shifted.step,
                                                         {width, height}));
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x)
      ASSERT_EQ(samples.get(x, y) - 128, shifted.get(x, y)) << width << "x" << height << " at " << x << "," << y;
    for (int i = 2 * width; y + 1 < height && i < shifted.step; ++i)
      ASSERT_EQ(shifted.bytes.kPattern, shifted.bytes[size_t(y * shifted.step + i)]);
  }
  Region<int16_t> wide(width, height, 2 * width + srcPad / 2 * 2);
  Region<uint8_t> clamped(width, height, width + dstPad);
  std::vector<int16_t> values = rng.vector<int16_t>(wide.bytes.size() / 2);
  if (rng.below(2))
    for (int16_t& v : values) v = int16_t(rng.between(-140, 140));
  std::memcpy(wide.bytes.data(), values.data(), wide.bytes.size());
  ASSERT_EQ(zelStsNoErr,
            zel().zeliAdd128_JPEG_16s8u_C1R(wide.data(), wide.step, clamped.data(), clamped.step, {width, height}));
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) ASSERT_EQ(clamp8(wide.get(x, y) + 128), clamped.get(x, y)) << x << "," << y;
    for (int i = width; y + 1 < height && i < clamped.step; ++i)
      ASSERT_EQ(clamped.bytes.kPattern, clamped.bytes[size_t(y * clamped.step + i)]);
  }
}

}  // namespace

TEST(LevelShift, EveryWidthAndAlignment) {
  Random rng(1);
  for (int width = 1; width <= 100; ++width)
    for (int pad = 0; pad < 16; ++pad) shiftBothWays(width, 1 + width % 3, pad, (pad * 7) % 16, rng);
}

TEST(LevelShift, ThreadsFromTheFirstElementAbove8192) {
  Random rng(2);
  const struct {
    int width, height;
    bool threaded;
  } cases[] = {{128, 64, false}, {8192, 1, false}, {64, 128, false}, {8193, 1, true}, {130, 64, true}, {3, 5001, true}};
  for (const int threads : {1, 2, 3, 7})
    for (const auto& c : cases) {
      if (hooks()) {
        hooks()->threads = threads;
        hooks()->threadQueries = 0;
      }
      shiftBothWays(c.width, c.height, 0, 0, rng);
      if (hooks()) {
        EXPECT_EQ(c.threaded ? 2 : 0, hooks()->threadQueries) << c.width << "x" << c.height;
        hooks()->reset();
      }
    }
}
