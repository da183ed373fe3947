#include <cstdlib>
#include <memory>

#include "records.h"

namespace calls {
namespace {

constexpr int kSide = 64, kRoom = 1 << 16;
constexpr ZeliSize kBlock = {kSide, kSide};

// A code block as the wavelet leaves one of a photograph: most coefficients small, some large along an edge. It is
// coded in one segment.
struct Tier1 {
  const zeltest::Api& z;
  int32_t samples[kSide * kSide], decoded[kSide * kSide];
  ZeliEncodeState_JPEG2K* encoder = nullptr;
  ZeliDecodeCBProgrState_JPEG2K* decoder = nullptr;
  uint8_t bytes[kRoom];
  int length = 0, planes = 0, passes = 0, segments = 0;

  explicit Tier1(const zeltest::Api& api) : z(api) {
    uint32_t random = 1;
    for (int i = 0; i < kSide * kSide; ++i) {
      random = random * 1664525u + 1013904223u;
      const int x = i % kSide, y = i / kSide, small = int(random >> 30) * int(random >> 29 & 1);
      samples[i] = (std::abs(x - y / 2 - 8) < 3 ? 20 + (x * 13 + y * 7) % 40 : small) | int32_t(random & 0x80000000u);
    }
    mustHold(z.zeliEncodeInitAlloc_JPEG2K(&encoder, kBlock), "tier-1 encoder");
    mustHold(z.zeliDecodeCBProgrInitAlloc_JPEG2K(&decoder, kBlock), "tier-1 decoder");
    mustHold(store(), "tier-1 encoder");
    mustHold(attach(), "tier-1 decoder");
  }
  ~Tier1() {
    z.zeliEncodeFree_JPEG2K(encoder);
    z.zeliDecodeCBProgrFree_JPEG2K(decoder);
  }
  ZelStatus load() {
    return z.zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(samples, 4 * kSide, kBlock, encoder, zeliSubbandLL, 31,
                                                    zeliTerminationFlush, 0, 0, &planes, &passes, &segments);
  }
  ZelStatus store() {
    int more;
    length = kRoom;
    const ZelStatus status = load();
    return status ? status : z.zeliEncodeStoreBits_JPEG2K_1u(bytes, &length, encoder, &more);
  }
  ZelStatus attach() {
    return z.zeliDecodeCBProgrAttach_JPEG2K_32s_C1R(decoded, 4 * kSide, kBlock, decoder, zeliSubbandLL, planes, 0);
  }
  ZelStatus step() {
    const ZelStatus status = attach();
    if (status) return status;
    z.zeliDecodeCBProgrSetPassCounter_JPEG2K(passes, decoder);
    return z.zeliDecodeCBProgrStep_JPEG2K(bytes, length, decoder);
  }
};

}  // namespace

std::vector<Call> tier1Calls(const zeltest::Api& z) {
  List list;
  const auto t = std::make_shared<Tier1>(z);
  const auto size = [](auto make) { return [=](auto** made) { return make(made, kBlock); }; };
  list.pair<ZeliEncodeState_JPEG2K>("zeliEncodeInitAlloc_JPEG2K", "zeliEncodeFree_JPEG2K",
                                    size(z.zeliEncodeInitAlloc_JPEG2K), z.zeliEncodeFree_JPEG2K);
  list.pair<ZeliDecodeCBProgrState_JPEG2K>("zeliDecodeCBProgrInitAlloc_JPEG2K", "zeliDecodeCBProgrFree_JPEG2K",
                                           size(z.zeliDecodeCBProgrInitAlloc_JPEG2K), z.zeliDecodeCBProgrFree_JPEG2K);
  list.add("zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R", "sample", kSide * kSide, [t] { return t->load(); });
  list.add("zeliEncodeStoreBits_JPEG2K_1u", "sample, loaded too", kSide * kSide, [t] { return t->store(); });
  list.add("zeliEncodeGetRate_JPEG2K", "call", 1,
           [=, &z, rate = 0]() mutable { return z.zeliEncodeGetRate_JPEG2K(t->encoder, t->passes - 1, &rate); });
  list.add("zeliEncodeGetDist_JPEG2K", "call", 1, [=, &z, distortion = 0.0]() mutable {
    return z.zeliEncodeGetDist_JPEG2K(t->encoder, t->passes - 1, &distortion);
  });
  list.add("zeliEncodeGetTermPassLen_JPEG2K", "call", 1, [=, &z, length = 0]() mutable {
    return z.zeliEncodeGetTermPassLen_JPEG2K(t->encoder, t->segments - 1, &length);
  });
  list.add("zeliDecodeCodeBlock_JPEG2K_1u32s_C1R", "sample", kSide * kSide, [=, &z] {
    return z.zeliDecodeCodeBlock_JPEG2K_1u32s_C1R(t->bytes, t->decoded, 4 * kSide, kBlock, zeliSubbandLL, t->planes,
                                                  t->passes, &t->length, 1, 0, nullptr, t->decoder);
  });
  int bytes = 0;
  mustHold(z.zeliDecodeCBProgrGetStateSize_JPEG2K(kBlock, &bytes), "tier-1 state");
  list.add("zeliDecodeCBProgrInit_JPEG2K", "call", 1, [&z, room = std::vector<uint64_t>(size_t(bytes))]() mutable {
    return z.zeliDecodeCBProgrInit_JPEG2K(reinterpret_cast<ZeliDecodeCBProgrState_JPEG2K*>(room.data()));
  });
  list.add("zeliDecodeCBProgrAttach_JPEG2K_32s_C1R", "sample", kSide * kSide, [t] { return t->attach(); });
  list.add("zeliDecodeCBProgrStep_JPEG2K", "sample, attached too", kSide * kSide, [t] { return t->step(); });
  list.add("zeliDecodeCBProgrSetPassCounter_JPEG2K", "call", 1,
           [=, &z] { return z.zeliDecodeCBProgrSetPassCounter_JPEG2K(t->passes, t->decoder); });
  list.add("zeliDecodeCBProgrGetPassCounter_JPEG2K", "call", 1,
           [=, &z, passes = 0]() mutable { return z.zeliDecodeCBProgrGetPassCounter_JPEG2K(t->decoder, &passes); });
  list.add("zeliDecodeCBProgrGetCurBitPlaneNum_JPEG2K", "call", 1,
           [=, &z, plane = 0]() mutable { return z.zeliDecodeCBProgrGetCurBitPlaneNum_JPEG2K(t->decoder, &plane); });
  return std::move(list.calls);
}

std::vector<Call> otherCalls(const zeltest::Api& z) {
  List list;
  list.add("zeljGetLibVersion", "call", 1,
           [&z] { return z.zeljGetLibVersion()->major == 6 ? zelStsNoErr : zelStsBadArgErr; });

  // Runs of equal bytes and literals in turn.
  struct Row {
    uint8_t bytes[256], packed[512], unpacked[256];
    int length = 0;
  };
  const auto row = std::make_shared<Row>();
  for (int i = 0; i < 256; ++i) row->bytes[i] = uint8_t(i / 40 % 2 ? i : i / 40);
  mustHold(z.zeliPackBitsRow_TIFF_8u_C1(row->bytes, 256, row->packed, &row->length, sizeof row->packed), "packed row");
  list.add("zeliUnpackBitsRow_TIFF_8u_C1", "byte", 256, [=, &z] {
    int position = 0;
    return z.zeliUnpackBitsRow_TIFF_8u_C1(row->packed, &position, row->length, row->unpacked, 256);
  });
  return std::move(list.calls);
}

}  // namespace calls
