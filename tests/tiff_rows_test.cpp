// PackBits rows and split rows against their definitions.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/api.h"
#include "support/checks.h"
#include "support/data.h"

namespace {

using namespace zeltest;
using Bytes = std::vector<uint8_t>;

// The runs of a row, each with its header.
std::vector<Bytes> runsOf(const Bytes& s) {
  std::vector<Bytes> runs;
  const auto equal = [&](size_t i, size_t k) {
    return i + k < s.size() && std::count(&s[i], &s[i] + k + 1, s[i]) > int(k);
  };
  for (size_t at = 0; at < s.size();) {
    size_t n = 1;
    if (equal(at, 1)) {
      while (n < 128 && equal(at, n)) ++n;
      runs.push_back({uint8_t(1 - int(n)), s[at]});
    } else {
      while (n < 128 && at + n < s.size() && !equal(at + n, 2) &&
             !(equal(at + n, 1) && (n == 126 || at + n + 2 == s.size())))
        ++n;
      runs.push_back({uint8_t(n - 1)});
      runs.back().insert(runs.back().end(), &s[at], &s[at] + n);
    }
    at += n;
  }
  return runs;
}

// Bytes drawn from a few values in stretches, so that runs of every kind and length meet every limit.
Bytes row(Random& rng, size_t n) {
  Bytes s(n);
  const int kind = rng.below(5);
  uint8_t value = 0;
  for (size_t i = 0, left = 0; i < n; ++i, --left) {
    if (left == 0) {
      left = size_t(kind == 0   ? rng.between(1, 3)
                    : kind == 1 ? rng.between(1, 300)
                    : kind == 2 ? 1 + (rng.below(60) == 0)
                    : kind == 3 ? 1 + rng.below(4) / 3 * rng.below(3)
                                : 1);
      value = kind < 4 ? uint8_t(value + 1 + rng.below(2)) : uint8_t(rng.below(3));
    }
    s[i] = value;
  }
  return s;
}

// What the runs that are done in full come to: as many as fit into so many bytes of stream and of row.
struct Done {
  int packed = 0, unpacked = 0;
  bool all = true;
};
Done doneOf(const std::vector<Bytes>& runs, int streamRoom, int rowRoom) {
  Done d;
  for (const Bytes& r : runs) {
    const int packed = int(r.size()), unpacked = r[0] < 128 ? r[0] + 1 : 257 - r[0];
    d.all = d.packed + packed <= streamRoom && d.unpacked + unpacked <= rowRoom;
    if (!d.all) return d;
    d.packed += packed;
    d.unpacked += unpacked;
  }
  return d;
}
ZelStatus statusOf(bool all) { return all ? zelStsNoErr : zelStsTIFFOutOfBufErr; }

Bytes joined(const std::vector<Bytes>& runs) {
  Bytes all;
  for (const Bytes& r : runs) all.insert(all.end(), r.begin(), r.end());
  return all;
}

// Every room, every truncation of the stream and of the row; what may be used ends at an unreadable page.
void checkRow(const Bytes& s) {
  const std::vector<Bytes> runs = runsOf(s);
  const Bytes packed = joined(runs);
  const int size = int(packed.size()), n = int(s.size());
  Guarded<uint8_t> src(s), out(packed.size() + 3), part(packed.size()), all(packed), back(s.size());
  const auto untouched = [](const uint8_t* from, const uint8_t* to) {
    return std::all_of(from, to, [](uint8_t b) { return b == Guarded<uint8_t>::kPattern; });
  };
  for (int room = size; room >= 1; --room) {  // from position 3 on
    uint8_t* const dst = out.data() + (size - room);
    std::memset(out.data(), out.kPattern, out.size());
    int position = 3;
    const Done done = doneOf(runs, room, n);
    ASSERT_EQ(statusOf(done.all), zel().zeliPackBitsRow_TIFF_8u_C1(src.data(), n, dst, &position, room));
    ASSERT_EQ(3 + done.packed, position) << "room " << room << " of " << size << ", row of " << n;
    ASSERT_TRUE(std::equal(packed.begin(), packed.begin() + done.packed, dst + 3)) << "room " << room;
    ASSERT_TRUE(untouched(out.data(), dst + 3)) << "room " << room;
  }
  // The position is then after the last whole run, or after the next one's header.
  for (int cut = size; cut >= 1; --cut) {
    uint8_t* const stream = part.data() + (size - cut);
    std::memcpy(stream, packed.data(), size_t(cut));
    int position = 0;
    const Done done = doneOf(runs, cut, n);
    ASSERT_EQ(statusOf(done.all), zel().zeliUnpackBitsRow_TIFF_8u_C1(stream, &position, cut, back.data(), n));
    ASSERT_EQ(done.packed + (done.packed < cut), position);
    if (cut == size) ASSERT_EQ(s, back.copy());
  }
  for (int length = n; length >= 1; --length) {
    uint8_t* const dst = back.data() + (n - length);
    std::memset(back.data(), back.kPattern, back.size());
    int position = 0;
    const Done done = doneOf(runs, size, length);
    const bool full = done.unpacked == length;
    ASSERT_EQ(statusOf(full), zel().zeliUnpackBitsRow_TIFF_8u_C1(all.data(), &position, size, dst, length));
    ASSERT_EQ(done.packed + !full, position);
    ASSERT_TRUE(std::equal(dst, dst + done.unpacked, s.begin())) << "length " << length;
    ASSERT_TRUE(untouched(back.data(), dst) && untouched(dst + done.unpacked, dst + length));
  }
}

}  // namespace

TEST(PackBits, RowsOfAllLengths) {
  Random rng(80);
  for (int n = 1; n <= 400; ++n)
    for (int round = 0; round < zeltest::rounds(8); ++round) ASSERT_NO_FATAL_FAILURE(checkRow(row(rng, size_t(n))));
  for (const int n : {1000, 5000}) ASSERT_NO_FATAL_FAILURE(checkRow(row(rng, size_t(n))));
}

TEST(PackBits, StreamsOfSeveralRowsAndNoOperations) {
  const Bytes stream = {0x80, 0x01, 'a', 'b', 0x80, 0xFF, 'c', 0x80, 0x00, 'd'};
  uint8_t row[4];
  int position = 0;
  ASSERT_EQ(zelStsNoErr, zel().zeliUnpackBitsRow_TIFF_8u_C1(stream.data(), &position, 10, row, 4));
  EXPECT_EQ(7, position);
  EXPECT_EQ(0, std::memcmp(row, "abcc", 4));
  ASSERT_EQ(zelStsNoErr, zel().zeliUnpackBitsRow_TIFF_8u_C1(stream.data(), &position, 10, row, 1));
  EXPECT_EQ(10, position);
  EXPECT_EQ('d', row[0]);
  EXPECT_EQ(zelStsTIFFOutOfBufErr, zel().zeliUnpackBitsRow_TIFF_8u_C1(stream.data(), &position, 10, row, 1));
  EXPECT_EQ(10, position);
}

TEST(TiffRows, SplitAndJoin) {
  Random rng(82);
  for (int n = 1; n <= 150; ++n) {
    const size_t size = size_t(n);
    Guarded<uint8_t> row(rng.vector<uint8_t>(2 * size), size % 3), high(size, size % 5), low(size), joined(2 * size, 1);
    uint8_t* const planes[] = {high.data(), low.data()};
    ASSERT_EQ(zelStsNoErr, zel().zeliSplitRow_TIFF_16u8u_C1(reinterpret_cast<uint16_t*>(row.data()), planes, n));
    for (size_t i = 0; i < size; ++i)
      ASSERT_TRUE(row[2 * i] == low[i] && row[2 * i + 1] == high[i]) << i << " of " << n;
    const uint8_t* const sources[] = {high.data(), low.data()};
    ASSERT_EQ(zelStsNoErr, zel().zeliJoinRow_TIFF_8u16u_C1(sources, reinterpret_cast<uint16_t*>(joined.data()), n));
    ASSERT_EQ(row.copy(), joined.copy());
  }
}

TEST_F(Checks, TiffRows) {
  check(z.zeliPackBitsRow_TIFF_8u_C1, null<0, 3, 2>(), length<1>(), length<4>(-1));
  check(z.zeliUnpackBitsRow_TIFF_8u_C1, null<0, 1, 3>(), length<2>(-1), length<4>());
  check(z.zeliJoinRow_TIFF_8u16u_C1, null<0, 1>(), step<2>());
  check(z.zeliSplitRow_TIFF_16u8u_C1, null<0, 1>(), step<2>(-1));
}
