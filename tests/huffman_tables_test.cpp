// Huffman table records from descriptions, optimal descriptions from counts, and the memory of tables and states.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "support/checks.h"
#include "support/core_hooks.h"
#include "support/data.h"

namespace {

using namespace zeltest;
using Bytes = std::vector<uint8_t>;

// Random counts of code lengths, mostly valid, some that overflow.
Bytes randomLengths(Random& r) {
  Bytes bits;
  for (int length = 0, room = 1; length < 16; ++length) {
    room = std::min(room * 2, 1 << 16);
    const int n = r.below(3) == 0 ? 0 : r.below(1 + std::min(room, length == 0 ? 1 : 60)) + (r.below(40) == 0);
    bits.push_back(uint8_t(n));
    room = std::max(0, room - n);
  }
  return bits;
}

template <class Record>
Record filledWith(int byte) {
  Record record;
  std::memset(&record, byte, sizeof record);
  return record;
}

// T.81, Figure K.1, with the reserved symbol 256: of equal counts the last symbol is taken.
std::vector<int> codeSizes(const std::vector<int32_t>& counts) {
  std::vector<int64_t> freq(counts.begin(), counts.end());
  freq.push_back(1);
  std::vector<int> sizes(257), tree(257);
  for (int i = 0; i < 257; ++i) tree[size_t(i)] = i;
  const auto least = [&](int except) {
    int found = -1;
    for (int i = 0; i < 257; ++i) {
      const int64_t f = freq[size_t(i)];
      if (f != 0 && f <= 1000000000 && i != except && (found < 0 || f <= freq[size_t(found)])) found = i;
    }
    return found;
  };
  for (;;) {
    const int i = least(-1), j = least(i);
    if (j < 0) return sizes;
    freq[size_t(i)] += freq[size_t(j)];
    freq[size_t(j)] = 0;
    for (size_t k = 0; k < 257; ++k) {
      if (tree[k] != i && tree[k] != j) continue;
      tree[k] = i;
      ++sizes[k];
    }
  }
}

}  // namespace

// Every record field from the description, code by code; both records, or their errors.
TEST(HuffmanTables, RecordsFromDescriptions) {
  Random r(1);
  int decoderFailures = 0, encoderFailures = 0;
  for (int trial = 0; trial < 3000; ++trial) {
    const Guarded<uint8_t> bits(randomLengths(r));
    const size_t codes = std::accumulate(bits.data(), bits.data() + 16, size_t(0));
    const Guarded<uint8_t> values(r.vector<uint8_t>(std::max<size_t>(codes, 1)));
    auto dec = filledWith<ZeliDecodeHuffmanSpec>(0xEE), wantDec = filledWith<ZeliDecodeHuffmanSpec>(0);
    auto enc = filledWith<ZeliEncodeHuffmanSpec>(0xEE), wantEnc = filledWith<ZeliEncodeHuffmanSpec>(0);
    ZelStatus decStatus = codes > 256 ? zelStsJPEGHuffTableErr : zelStsNoErr, encStatus = decStatus;
    uint32_t code = 0;
    size_t k = 0;
    wantDec.lastCode[17] = 0xFFFF;
    for (uint32_t length = 1; length <= 16 && decStatus == 0; ++length, code *= 2) {
      const uint32_t n = bits.data()[length - 1];
      wantDec.firstCode[length] = uint16_t(n ? code : 0);
      wantDec.firstIndex[length] = uint16_t(n ? k : 0);
      wantDec.lastCode[length] = uint16_t(n ? code + n - 1 : 0xFFFF);
      for (uint32_t i = 0; i < n; ++i, ++k, ++code) {
        const uint8_t value = values.data()[k];
        wantDec.values[k] = value;
        wantEnc.codes[value] = code + (length << 16);
        for (uint32_t byte = 0; byte < 256 && length <= 8; ++byte)
          if (byte >> (8 - length) == code) wantDec.lookup[byte] = value + (length << 16);
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
  }
  EXPECT_GT(decoderFailures, 20);
  EXPECT_GT(encoderFailures, decoderFailures);
}

namespace {

// The size query, the initialisation of caller memory and of allocated memory, and the release of a record. init and
// initAlloc have the arguments before the record bound.
template <class Record, class Init, class InitAlloc>
Record checkRecord(int bytes, ZelStatus (*getBufSize)(int*), Init init, InitAlloc initAlloc, ZelStatus (*free)(Record*),
                   ZelStatus expected) {
  int size = 0;
  EXPECT_EQ(zelStsNoErr, getBufSize(&size));
  EXPECT_EQ(bytes, size);
  EXPECT_EQ(zelStsNullPtrErr, getBufSize(nullptr));
  EXPECT_EQ(zelStsNullPtrErr, free(nullptr));
  CoreHooks* const hooks = zeltest::hooks();
  const int before = hooks ? int(hooks->liveAllocations) : 0;
  auto record = filledWith<Record>(0xEE);
  Record* allocated = nullptr;
  if (hooks) {
    hooks->allocationsUntilFailure = 0;
    EXPECT_EQ(zelStsNullPtrErr, initAlloc(&allocated));
    EXPECT_EQ(nullptr, allocated);
    hooks->reset();
  }
  EXPECT_EQ(expected, init(&record));
  EXPECT_EQ(expected, initAlloc(&allocated));
  EXPECT_NE(nullptr, allocated);
  if (!allocated) return record;
  EXPECT_EQ(0, std::memcmp(&record, allocated, sizeof record));
  if (hooks) EXPECT_EQ(before + 1, hooks->liveAllocations);
  EXPECT_EQ(zelStsNoErr, free(allocated));
  if (hooks) EXPECT_EQ(before, hooks->liveAllocations);
  return record;
}

template <class Record>
void expectZeros(const Record& record) {
  const auto zeros = filledWith<Record>(0);
  EXPECT_EQ(0, std::memcmp(&zeros, &record, sizeof record));
}

}  // namespace

TEST(HuffmanTables, AllocationAndSizes) {
  const Api& z = zel();
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
  expectZeros(checkRecord(24, z.zeliDecodeHuffmanStateGetBufSize_JPEG_8u, z.zeliDecodeHuffmanStateInit_JPEG_8u,
                          z.zeliDecodeHuffmanStateInitAlloc_JPEG_8u, z.zeliDecodeHuffmanStateFree_JPEG_8u,
                          zelStsNoErr));
  expectZeros(checkRecord(1048, z.zeliEncodeHuffmanStateGetBufSize_JPEG_8u, z.zeliEncodeHuffmanStateInit_JPEG_8u,
                          z.zeliEncodeHuffmanStateInitAlloc_JPEG_8u, z.zeliEncodeHuffmanStateFree_JPEG_8u,
                          zelStsNoErr));
}

TEST_F(Checks, HuffmanTables) {
  const auto described = [&](auto... f) { (check(f, null<0, 1, 2>()), ...); };
  const auto zeroed = [&](auto... f) { (check(f, null<0>()), ...); };
  described(z.zeliDecodeHuffmanSpecInit_JPEG_8u, z.zeliEncodeHuffmanSpecInit_JPEG_8u,
            z.zeliDecodeHuffmanSpecInitAlloc_JPEG_8u, z.zeliEncodeHuffmanSpecInitAlloc_JPEG_8u,
            z.zeliEncodeHuffmanRawTableInit_JPEG_8u);
  zeroed(z.zeliDecodeHuffmanStateInit_JPEG_8u, z.zeliEncodeHuffmanStateInit_JPEG_8u,
         z.zeliDecodeHuffmanStateInitAlloc_JPEG_8u, z.zeliEncodeHuffmanStateInitAlloc_JPEG_8u);
}

// The symbols by the sizes of Figure K.1, which are those of their codes where none needs limiting; always a prefix
// code of every counted symbol that leaves the code of ones free.
TEST(HuffmanTables, OptimalDescriptions) {
  Random r(2);
  for (int trial = 0; trial < 400; ++trial) {
    std::vector<int32_t> counts(256);
    const int symbols = 1 + r.below(256), shape = r.below(4);
    for (int i = 0; i < symbols; ++i)  // powers of two make deep trees
      counts[size_t(r.below(256))] = shape < 3 ? 1 + r.below(shape == 0 ? 3 : 20000) : 1 << r.below(20 + i % 5);
    const auto coded = 256 - std::count(counts.begin(), counts.end(), 0);
    Guarded<uint8_t> bits(16), values{size_t(coded)};  // not one value more is written
    if (zel().zeliEncodeHuffmanRawTableInit_JPEG_8u(counts.data(), bits.data(), values.data()) != 0) continue;
    ZeliEncodeHuffmanSpec spec;
    ASSERT_EQ(zelStsNoErr, zel().zeliEncodeHuffmanSpecInit_JPEG_8u(bits.data(), values.data(), &spec));
    for (size_t i = 0; i < 256; ++i) ASSERT_EQ(counts[i] != 0, spec.codes[i] != 0);
    const std::vector<int> sizes = codeSizes(counts);
    std::vector<uint8_t> listed;
    for (int size = 1; size <= 32; ++size)
      for (size_t i = 0; i < 256; ++i)
        if (sizes[i] == size) listed.push_back(uint8_t(i));
    ASSERT_EQ(listed, values.copy());
    if (*std::max_element(sizes.begin(), sizes.end()) > 16) continue;
    for (size_t i = 0; i < 256; ++i) ASSERT_EQ(sizes[i], int(spec.codes[i] >> 16));
  }
}

TEST(HuffmanTables, ChosenDescriptions) {
  const auto describe = [](std::vector<int32_t> counts, Bytes bits, Bytes values, ZelStatus expected = zelStsNoErr) {
    counts.resize(256);
    bits.resize(16, expected ? 0xEE : 0);
    values.resize(256, 0xEE);
    Bytes gotBits(16, 0xEE), gotValues(256, 0xEE);
    EXPECT_EQ(expected, zel().zeliEncodeHuffmanRawTableInit_JPEG_8u(counts.data(), &gotBits[0], &gotValues[0]));
    EXPECT_EQ(bits, gotBits);
    EXPECT_EQ(values, gotValues);
  };
  describe({}, {}, {});
  describe({0, 0, 0, 9}, {1}, {3});
  describe({1000000000, 5}, {1, 1}, {0, 1});  // the bound itself is chosen
  describe({1000000001, 5}, {1}, {1});        // above it, never
  std::vector<int32_t> deep = {1, 2};         // Fibonacci's numbers: one code of every length
  for (size_t i = 2; i < 40; ++i) deep.push_back(deep[i - 1] + deep[i - 2]);
  describe(deep, {}, {}, zelStsJPEGHuffTableErr);
}
