// Huffman table records from descriptions, optimal descriptions from counts, and the memory of tables and states.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <queue>

#include "support/checks.h"
#include "support/core_hooks.h"
#include "support/data.h"

namespace {

using namespace zeltest;
using Bytes = std::vector<uint8_t>;

struct Description {
  Bytes bits, values;
};

// Random counts of code lengths, mostly valid, some that overflow; exactly as many values as they say.
Description randomDescription(Random& r) {
  Description d{Bytes(16), {}};
  for (int length = 0, room = 1; length < 16; ++length) {
    room = std::min(room * 2, 1 << 16);
    const int n = r.below(3) == 0 ? 0 : r.below(1 + std::min(room, length == 0 ? 1 : 60)) + (r.below(40) == 0);
    d.bits[size_t(length)] = uint8_t(n);
    room = std::max(0, room - n);
  }
  d.values = r.vector<uint8_t>(size_t(std::accumulate(d.bits.begin(), d.bits.end(), 0)));
  return d;
}

}  // namespace

// Every record field from the description, code by code; both records, or their errors.
TEST(HuffmanTables, RecordsFromDescriptions) {
  Random r(1);
  int decoderFailures = 0, encoderFailures = 0, longTables = 0;
  for (int trial = 0; trial < 3000; ++trial) {
    const Description d = randomDescription(r);
    Guarded<uint8_t> bits(d.bits), values(d.values.empty() ? Bytes(1) : d.values);
    ZeliDecodeHuffmanSpec dec, wantDec{};
    ZeliEncodeHuffmanSpec enc, wantEnc{};
    std::memset(&dec, 0xEE, sizeof dec);
    std::memset(&enc, 0xEE, sizeof enc);
    ZelStatus decStatus = d.values.size() > 256 ? zelStsJPEGHuffTableErr : zelStsNoErr, encStatus = decStatus;
    uint32_t code = 0;
    size_t k = 0;
    wantDec.lastCode[17] = 0xFFFF;
    for (uint32_t length = 1; length <= 16 && decStatus == 0; ++length, code *= 2) {
      const uint32_t n = d.bits[length - 1];
      wantDec.firstCode[length] = uint16_t(n ? code : 0);
      wantDec.firstIndex[length] = uint16_t(n ? k : 0);
      wantDec.lastCode[length] = uint16_t(n ? code + n - 1 : 0xFFFF);
      for (uint32_t i = 0; i < n; ++i, ++k, ++code) {
        wantDec.values[k] = d.values[k];
        wantEnc.codes[d.values[k]] = code + (length << 16);
        for (uint32_t byte = 0; byte < 256 && length <= 8; ++byte)
          if (byte >> (8 - length) == code) wantDec.lookup[byte] = d.values[k] + (length << 16);
      }
      if (length <= 8 && code > 1u << length) decStatus = zelStsJPEGHuffTableErr;
      if (n && code >= 1u << length) encStatus = zelStsJPEGHuffTableErr;
    }
    ASSERT_EQ(decStatus, zel().zeliDecodeHuffmanSpecInit_JPEG_8u(bits.data(), values.data(), &dec));
    ASSERT_EQ(encStatus, zel().zeliEncodeHuffmanSpecInit_JPEG_8u(bits.data(), values.data(), &enc));
    if (decStatus == 0) ASSERT_EQ(0, std::memcmp(&wantDec, &dec, sizeof dec));
    if (encStatus == 0) ASSERT_EQ(0, std::memcmp(&wantEnc, &enc, sizeof enc));
    decoderFailures += decStatus != 0;
    encoderFailures += encStatus != 0;
    longTables += decStatus == 0 && d.values.size() > 100;
  }
  EXPECT_GT(decoderFailures, 20);
  EXPECT_GT(encoderFailures, decoderFailures);
  EXPECT_GT(longTables, 100);
}

namespace {

// The size query, the initialisation of caller memory and of allocated memory, and the release of a record. init and
// initAlloc have the arguments before the record bound.
template <class Record, class Init, class InitAlloc>
void checkRecord(int bytes, ZelStatus (*getBufSize)(int*), Init init, InitAlloc initAlloc, ZelStatus (*free)(Record*),
                 ZelStatus expected) {
  int size = 0;
  EXPECT_EQ(zelStsNoErr, getBufSize(&size));
  EXPECT_EQ(bytes, size);
  EXPECT_EQ(zelStsNullPtrErr, getBufSize(nullptr));
  EXPECT_EQ(zelStsNullPtrErr, free(nullptr));
  zeltest::CoreHooks* const hooks = zeltest::hooks();
  const int before = hooks ? hooks->liveAllocations.load() : 0;
  Record record, *allocated = nullptr;
  if (hooks) {
    hooks->allocationsUntilFailure = 0;
    EXPECT_EQ(zelStsNullPtrErr, initAlloc(&allocated));
    EXPECT_EQ(nullptr, allocated);
    hooks->reset();
  }
  std::memset(&record, 0xEE, sizeof record);
  EXPECT_EQ(expected, init(&record));
  EXPECT_EQ(expected, initAlloc(&allocated));
  ASSERT_NE(nullptr, allocated);
  EXPECT_EQ(0, std::memcmp(&record, allocated, sizeof record));
  if (hooks) EXPECT_EQ(before + 1, hooks->liveAllocations);
  EXPECT_EQ(zelStsNoErr, free(allocated));
  if (hooks) EXPECT_EQ(before, hooks->liveAllocations);
}

}  // namespace

TEST(HuffmanTables, AllocationAndSizes) {
  const zeltest::Api& z = zel();
  const uint8_t values[] = {1, 2, 3};
  for (const int codes : {1, 3}) {  // three codes of one bit are invalid: the record is handed out all the same
    const uint8_t bits[16] = {uint8_t(codes)};
    const auto bound = [&](auto f) { return [=, &bits, &values](auto* p) { return f(bits, values, p); }; };
    const ZelStatus expected = codes == 1 ? zelStsNoErr : zelStsJPEGHuffTableErr;
    checkRecord(1644, z.zeliDecodeHuffmanSpecGetBufSize_JPEG_8u, bound(z.zeliDecodeHuffmanSpecInit_JPEG_8u),
                bound(z.zeliDecodeHuffmanSpecInitAlloc_JPEG_8u), z.zeliDecodeHuffmanSpecFree_JPEG_8u, expected);
    checkRecord(1024, z.zeliEncodeHuffmanSpecGetBufSize_JPEG_8u, bound(z.zeliEncodeHuffmanSpecInit_JPEG_8u),
                bound(z.zeliEncodeHuffmanSpecInitAlloc_JPEG_8u), z.zeliEncodeHuffmanSpecFree_JPEG_8u, expected);
  }
  checkRecord(24, z.zeliDecodeHuffmanStateGetBufSize_JPEG_8u, z.zeliDecodeHuffmanStateInit_JPEG_8u,
              z.zeliDecodeHuffmanStateInitAlloc_JPEG_8u, z.zeliDecodeHuffmanStateFree_JPEG_8u, zelStsNoErr);
  checkRecord(1048, z.zeliEncodeHuffmanStateGetBufSize_JPEG_8u, z.zeliEncodeHuffmanStateInit_JPEG_8u,
              z.zeliEncodeHuffmanStateInitAlloc_JPEG_8u, z.zeliEncodeHuffmanStateFree_JPEG_8u, zelStsNoErr);
  ZeliDecodeHuffmanState reading;
  ZeliEncodeHuffmanState writing;
  std::memset(&reading, 0xEE, sizeof reading);
  std::memset(&writing, 0xEE, sizeof writing);
  z.zeliDecodeHuffmanStateInit_JPEG_8u(&reading);
  z.zeliEncodeHuffmanStateInit_JPEG_8u(&writing);
  const Bytes zeros(sizeof writing);
  EXPECT_EQ(0, std::memcmp(zeros.data(), &reading, sizeof reading));
  EXPECT_EQ(0, std::memcmp(zeros.data(), &writing, sizeof writing));
}

TEST_F(Checks, HuffmanTables) {
  const auto* const description = bytes;
  expectChecks(z.zeliDecodeHuffmanSpecInit_JPEG_8u, std::tuple(description, description, as<ZeliDecodeHuffmanSpec*>()),
               null<0>(), null<1>(), null<2>());
  expectChecks(z.zeliEncodeHuffmanSpecInit_JPEG_8u, std::tuple(description, description, as<ZeliEncodeHuffmanSpec*>()),
               null<0>(), null<1>(), null<2>());
  expectChecks(z.zeliDecodeHuffmanSpecInitAlloc_JPEG_8u,
               std::tuple(description, description, as<ZeliDecodeHuffmanSpec**>()), null<0>(), null<1>(), null<2>());
  expectChecks(z.zeliEncodeHuffmanSpecInitAlloc_JPEG_8u,
               std::tuple(description, description, as<ZeliEncodeHuffmanSpec**>()), null<0>(), null<1>(), null<2>());
  expectChecks(z.zeliDecodeHuffmanStateInit_JPEG_8u, std::tuple(as<ZeliDecodeHuffmanState*>()), null<0>());
  expectChecks(z.zeliEncodeHuffmanStateInit_JPEG_8u, std::tuple(as<ZeliEncodeHuffmanState*>()), null<0>());
  expectChecks(z.zeliDecodeHuffmanStateInitAlloc_JPEG_8u, std::tuple(as<ZeliDecodeHuffmanState**>()), null<0>());
  expectChecks(z.zeliEncodeHuffmanStateInitAlloc_JPEG_8u, std::tuple(as<ZeliEncodeHuffmanState**>()), null<0>());
  expectChecks(z.zeliEncodeHuffmanRawTableInit_JPEG_8u, std::tuple(as<int*>(), bytes, bytes), null<0>(), null<1>(),
               null<2>());
}

// The coded size is the least possible (the sum of all merges of the two rarest) where no code needs limiting; always a
// prefix code of every counted symbol that leaves the code of ones free.
TEST(HuffmanTables, OptimalDescriptions) {
  Random r(2);
  for (int trial = 0; trial < 400; ++trial) {
    std::vector<int32_t> counts(256);
    const int symbols = 1 + r.below(256), shape = r.below(4);
    for (int i = 0; i < symbols; ++i)  // powers of two make deep trees
      counts[size_t(r.below(256))] = shape < 3 ? 1 + r.below(shape == 0 ? 3 : 20000) : 1 << r.below(20 + i % 5);
    Guarded<uint8_t> bits(16);
    const auto coded = std::count_if(counts.begin(), counts.end(), [](int32_t c) { return c != 0; });
    Guarded<uint8_t> values{size_t(coded)};  // not one value more is written
    if (zel().zeliEncodeHuffmanRawTableInit_JPEG_8u(counts.data(), bits.data(), values.data()) != 0) continue;
    ZeliEncodeHuffmanSpec spec;
    ASSERT_EQ(zelStsNoErr, zel().zeliEncodeHuffmanSpecInit_JPEG_8u(bits.data(), values.data(), &spec));
    int64_t size = 1, least = 0, longest = 0, total = 1;
    std::priority_queue<int64_t, std::vector<int64_t>, std::greater<int64_t>> trees;
    trees.push(1);
    for (size_t i = 0; i < 256; ++i) {
      ASSERT_EQ(counts[i] != 0, spec.codes[i] != 0);
      size += int64_t(counts[i]) * (spec.codes[i] >> 16);
      longest = std::max<int64_t>(longest, spec.codes[i] >> 16);
      total += counts[i];
      if (counts[i]) trees.push(counts[i]);
    }
    while (trees.size() > 1) {
      const int64_t a = trees.top();
      trees.pop();
      const int64_t b = a + trees.top();
      trees.pop();
      trees.push(b);
      least += b;
    }
    if (longest < 16 && total < 1000000000) ASSERT_EQ(least, size + longest - 1) << "the reserved symbol has count 1";
  }
  const auto describe = [](std::vector<int32_t> counts) {
    counts.resize(256);
    Bytes bits(16), values(256, 0xEE);
    EXPECT_EQ(zelStsNoErr, zel().zeliEncodeHuffmanRawTableInit_JPEG_8u(counts.data(), &bits[0], &values[0]));
    bits.insert(bits.end(), values.begin(), values.begin() + 4);
    return bits;
  };
  const auto described = [](Bytes bits, Bytes values) {
    bits.resize(16), values.resize(4, 0xEE);
    bits.insert(bits.end(), values.begin(), values.end());
    return bits;
  };
  EXPECT_EQ(described({}, {}), describe({}));
  EXPECT_EQ(described({1}, {3}), describe({0, 0, 0, 9}));
  EXPECT_EQ(described({1, 1, 1}, {1, 2, 0}), describe({2, 4, 4}));  // ties go to the larger symbol
  EXPECT_EQ(described({1, 1}, {0, 1}), describe({1000000000, 5}));  // the bound itself is chosen
  EXPECT_EQ(described({1}, {1}), describe({1000000001, 5}));        // above it, never
  std::vector<int32_t> deep(256);
  deep[0] = 1, deep[1] = 2;  // Fibonacci's numbers: one code of every length
  for (size_t i = 2; i < 40; ++i) deep[i] = deep[i - 1] + deep[i - 2];
  Bytes bits(16, 0xEE), values(256, 0xEE);
  EXPECT_EQ(zelStsJPEGHuffTableErr, zel().zeliEncodeHuffmanRawTableInit_JPEG_8u(deep.data(), &bits[0], &values[0]));
  EXPECT_EQ(std::make_pair(Bytes(16, 0xEE), Bytes(256, 0xEE)), std::make_pair(bits, values));
}
