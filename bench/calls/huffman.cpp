#include <cstring>
#include <memory>

#include "arguments.h"
#include "records.h"

namespace calls {
namespace {

constexpr int kBlocks = 16, kRow = 64, kRoom = 1 << 14;

// A code for each of 256 symbols, blocks as photographs have them (some low coefficients), and a row of differences.
struct Huffman {
  ZeliDecodeHuffmanSpec decoder;
  ZeliEncodeHuffmanSpec encoder;
  int16_t blocks[kBlocks][64] = {}, decoded[64], row[kRow], decodedRow[kRow];
  uint8_t bits[16] = {0, 1, 1, 2, 2, 3, 3, 5, 6, 8, 10, 100, 0, 60, 0, 55}, symbols[256];
  int32_t counts[2][256];

  explicit Huffman(const zeltest::Api& z) {
    for (int i = 0; i < 256; ++i) symbols[i] = uint8_t(i);
    mustHold(z.zeliDecodeHuffmanSpecInit_JPEG_8u(bits, symbols, &decoder), "decoder's table");
    mustHold(z.zeliEncodeHuffmanSpecInit_JPEG_8u(bits, symbols, &encoder), "encoder's table");
    for (int b = 0; b < kBlocks; ++b) {
      static const int kAt[] = {0, 1, 8, 16, 9, 2, 10, 24, 17, 33, 4};
      for (int i = 0; i < 11 - b % 5; ++i) blocks[b][kAt[i]] = int16_t((b * 7 + i * 5) % 23 - 11 + 40 * (i == 0));
    }
    for (int i = 0; i < kRow; ++i) row[i] = int16_t(i * 37 % 29 - 14);
  }
};

class Coders : public List {
 public:
  explicit Coders(const zeltest::Api& api) : h(std::make_shared<Huffman>(api)), z(api) {}

  // Pieces of coded data (blocks, differences) one after the other with a flush at the end, and the same decoded again.
  // encode(piece, destination, &position, &predictor, &state, flush), decode(source, length, &position, piece,
  // &predictor, &marker, &state). A refinement is decoded into what the scans before it gave: multiples of `known`.
  template <class Encode, class Decode>
  void coder(const char* encoder, const char* decoder, const char* unit, int pieces, int16_t known, Encode encode,
             Decode decode) {
    struct Stream {
      uint8_t bytes[kRoom];
      int length = 0;
    };
    auto stream = std::make_shared<Stream>();
    const auto piece = [h = h, pieces](int i) { return pieces == kBlocks ? h->blocks[i] : h->row + i; };
    add(encoder, unit, pieces, [=] {
      ZeliEncodeHuffmanState state = {};
      int16_t predictor = 0;
      stream->length = 0;
      ZelStatus status = zelStsNoErr;
      for (int i = 0; i <= pieces && !status; ++i)
        status = encode(piece(i % pieces), stream->bytes, &stream->length, &predictor, &state, i == pieces);
      return status;
    });
    std::vector<int16_t> before(size_t(pieces) * 64);
    if (known != 0)
      for (int i = 0; i < pieces * 64; ++i) before[size_t(i)] = int16_t(h->blocks[i / 64][i % 64] / known * known);
    add(decoder, unit, pieces, [=, h = h, decoded = before]() mutable {
      if (known != 0) decoded = before;
      ZeliDecodeHuffmanState state = {};
      int16_t predictor = 0;
      int position = 0, marker = 0;
      ZelStatus status = zelStsNoErr;
      for (int i = 0; i < pieces && !status; ++i) {
        int16_t* const to = known != 0 ? &decoded[size_t(i) * 64] : h->decoded;
        status = decode(stream->bytes, stream->length, &position, to, &predictor, &marker, &state);
      }
      return status;
    });
  }

  // count(block, &predictor, &state, flush) for all blocks, or for the first sample of each.
  template <class Count>
  void statistics(const char* name, Count count, const char* unit = "block") {
    add(name, unit, kBlocks, [=, h = h] {
      ZeliEncodeHuffmanState state = {};
      int16_t predictor = 0;
      std::memset(h->counts, 0, sizeof h->counts);
      ZelStatus status = zelStsNoErr;
      for (int i = 0; i < kBlocks && !status; ++i) status = count(h->blocks[i], &predictor, &state, i + 1 == kBlocks);
      return status;
    });
  }

  std::shared_ptr<Huffman> h;
  const zeltest::Api& z;
};

void tables(Coders& list) {
  const auto h = list.h;
  const zeltest::Api& z = list.z;
  list.add("zeliDecodeHuffmanSpecInit_JPEG_8u", "call", 1,
           [=, &z] { return z.zeliDecodeHuffmanSpecInit_JPEG_8u(h->bits, h->symbols, &h->decoder); });
  list.add("zeliEncodeHuffmanSpecInit_JPEG_8u", "call", 1,
           [=, &z] { return z.zeliEncodeHuffmanSpecInit_JPEG_8u(h->bits, h->symbols, &h->encoder); });
  list.pair<ZeliDecodeHuffmanSpec>(
      "zeliDecodeHuffmanSpecInitAlloc_JPEG_8u", "zeliDecodeHuffmanSpecFree_JPEG_8u",
      [=, &z](auto** made) { return z.zeliDecodeHuffmanSpecInitAlloc_JPEG_8u(h->bits, h->symbols, made); },
      z.zeliDecodeHuffmanSpecFree_JPEG_8u);
  list.pair<ZeliEncodeHuffmanSpec>(
      "zeliEncodeHuffmanSpecInitAlloc_JPEG_8u", "zeliEncodeHuffmanSpecFree_JPEG_8u",
      [=, &z](auto** made) { return z.zeliEncodeHuffmanSpecInitAlloc_JPEG_8u(h->bits, h->symbols, made); },
      z.zeliEncodeHuffmanSpecFree_JPEG_8u);
  list.pair<ZeliDecodeHuffmanState>("zeliDecodeHuffmanStateInitAlloc_JPEG_8u", "zeliDecodeHuffmanStateFree_JPEG_8u",
                                    z.zeliDecodeHuffmanStateInitAlloc_JPEG_8u, z.zeliDecodeHuffmanStateFree_JPEG_8u);
  list.pair<ZeliEncodeHuffmanState>("zeliEncodeHuffmanStateInitAlloc_JPEG_8u", "zeliEncodeHuffmanStateFree_JPEG_8u",
                                    z.zeliEncodeHuffmanStateInitAlloc_JPEG_8u, z.zeliEncodeHuffmanStateFree_JPEG_8u);
  list.add("zeliDecodeHuffmanStateInit_JPEG_8u", "call", 1,
           [&z, state = ZeliDecodeHuffmanState()]() mutable { return z.zeliDecodeHuffmanStateInit_JPEG_8u(&state); });
  list.add("zeliEncodeHuffmanStateInit_JPEG_8u", "call", 1,
           [&z, state = ZeliEncodeHuffmanState()]() mutable { return z.zeliEncodeHuffmanStateInit_JPEG_8u(&state); });
  list.add("zeliEncodeHuffmanRawTableInit_JPEG_8u", "call", 1, [=, &z] {
    uint8_t bits[16], symbols[256];
    for (int i = 0; i < 256; ++i) h->counts[0][i] = i < 160 ? 1 + i * i % 97 : 0;
    return z.zeliEncodeHuffmanRawTableInit_JPEG_8u(h->counts[0], bits, symbols);
  });
}

void blocks(Coders& list) {
  const zeltest::Api& z = list.z;
  const ZeliEncodeHuffmanSpec* const e = &list.h->encoder;
  const ZeliDecodeHuffmanSpec* const d = &list.h->decoder;
  using Encoder = ZeliEncodeHuffmanState;
  using Decoder = ZeliDecodeHuffmanState;
  list.coder(
      "zeliEncodeHuffman8x8_JPEG_16s1u_C1", "zeliDecodeHuffman8x8_JPEG_1u16s_C1", "block", kBlocks, 0,
      [=, &z](const int16_t* src, uint8_t* dst, int* pos, int16_t* dc, Encoder* state, int flush) {
        return z.zeliEncodeHuffman8x8_JPEG_16s1u_C1(src, dst, kRoom, pos, dc, e, e, state, flush);
      },
      [=, &z](const uint8_t* src, int length, int* pos, int16_t* dst, int16_t* dc, int* marker, Decoder* state) {
        return z.zeliDecodeHuffman8x8_JPEG_1u16s_C1(src, length, pos, dst, dc, marker, d, d, state);
      });
  list.coder(
      "zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1", "zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1", "block", kBlocks, 0,
      [=, &z](const int16_t* src, uint8_t* dst, int* pos, int16_t* dc, Encoder* state, int flush) {
        return z.zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(src, dst, kRoom, pos, dc, 1, e, state, flush);
      },
      [=, &z](const uint8_t* src, int length, int* pos, int16_t* dst, int16_t* dc, int* marker, Decoder* state) {
        return z.zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(src, length, pos, dst, dc, marker, 1, d, state);
      });
  list.coder(
      "zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1", "zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1", "block", kBlocks, 2,
      [&z](const int16_t* src, uint8_t* dst, int* pos, int16_t*, Encoder* state, int flush) {
        return z.zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(src, dst, kRoom, pos, 0, state, flush);
      },
      [&z](const uint8_t* src, int length, int* pos, int16_t* dst, int16_t*, int* marker, Decoder* state) {
        return z.zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(src, length, pos, dst, marker, 0, state);
      });
  list.coder(
      "zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1", "zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1", "block", kBlocks, 0,
      [=, &z](const int16_t* src, uint8_t* dst, int* pos, int16_t*, Encoder* state, int flush) {
        return z.zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(src, dst, kRoom, pos, 1, 63, 1, e, state, flush);
      },
      [=, &z](const uint8_t* src, int length, int* pos, int16_t* dst, int16_t*, int* marker, Decoder* state) {
        return z.zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(src, length, pos, dst, marker, 1, 63, 1, d, state);
      });
  list.coder(
      "zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1", "zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1", "block", kBlocks, 2,
      [=, &z](const int16_t* src, uint8_t* dst, int* pos, int16_t*, Encoder* state, int flush) {
        return z.zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(src, dst, kRoom, pos, 1, 63, 0, e, state, flush);
      },
      [=, &z](const uint8_t* src, int length, int* pos, int16_t* dst, int16_t*, int* marker, Decoder* state) {
        return z.zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(src, length, pos, dst, marker, 1, 63, 0, d, state);
      });
  list.coder(
      "zeliEncodeHuffmanOne_JPEG_16s1u_C1", "zeliDecodeHuffmanOne_JPEG_1u16s_C1", "difference", kRow, 0,
      [=, &z](const int16_t* src, uint8_t* dst, int* pos, int16_t*, Encoder* state, int flush) {
        return z.zeliEncodeHuffmanOne_JPEG_16s1u_C1(src, dst, kRoom, pos, e, state, flush);
      },
      [=, &z](const uint8_t* src, int length, int* pos, int16_t* dst, int16_t*, int* marker, Decoder* state) {
        return z.zeliDecodeHuffmanOne_JPEG_1u16s_C1(src, length, pos, dst, marker, d, state);
      });

  list.statistics("zeliGetHuffmanStatistics8x8_JPEG_16s_C1", [&z, h = list.h](auto* src, int16_t* dc, Encoder*, int) {
    return z.zeliGetHuffmanStatistics8x8_JPEG_16s_C1(src, h->counts[0], h->counts[1], dc);
  });
  list.statistics(
      "zeliGetHuffmanStatisticsOne_JPEG_16s_C1",
      [&z, h = list.h](auto* src, int16_t*, Encoder*, int) {
        return z.zeliGetHuffmanStatisticsOne_JPEG_16s_C1(src, h->counts[0]);
      },
      "difference");
  list.statistics("zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1",
                  [&z, h = list.h](auto* src, int16_t* dc, Encoder*, int) {
                    return z.zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(src, h->counts[0], dc, 1);
                  });
  list.statistics("zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1",
                  [&z, h = list.h](auto* src, int16_t*, Encoder* state, int flush) {
                    return z.zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(src, h->counts[0], 1, 63, 1, state, flush);
                  });
  list.statistics("zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1", [&z, h = list.h](auto* src, int16_t*,
                                                                                       Encoder* state, int flush) {
    return z.zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(src, h->counts[0], 1, 63, 0, state, flush);
  });
}

// The coders whose calls have a form of their own: a row of differences, and blocks without a record of their state.
void others(Coders& list) {
  const zeltest::Api& z = list.z;
  struct Stream {
    uint8_t bytes[kRoom];
    int length;
  };
  const auto h = list.h;
  const auto row = std::make_shared<Stream>(), direct = std::make_shared<Stream>();
  list.add("zeliEncodeHuffmanRow_JPEG_16s1u_P4C1", "difference", kRow, [=, &z] {
    ZeliEncodeHuffmanState state = {};
    const int16_t* const rows[4] = {h->row};
    const ZeliEncodeHuffmanSpec* const specs[4] = {&h->encoder};
    row->length = 0;
    const auto code = [&](int flush) {
      return z.zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(rows, kRow, 1, row->bytes, kRoom, &row->length, specs, &state,
                                                    flush);
    };
    const ZelStatus status = code(0);
    return status ? status : code(1);
  });
  list.add("zeliDecodeHuffmanRow_JPEG_1u16s_C1P4", "difference", kRow, [=, &z] {
    ZeliDecodeHuffmanState state = {};
    int16_t* const rows[4] = {h->decodedRow};
    const ZeliDecodeHuffmanSpec* const specs[4] = {&h->decoder};
    int position = 0, marker = 0;
    return z.zeliDecodeHuffmanRow_JPEG_1u16s_C1P4(row->bytes, row->length, &position, rows, kRow, 1, &marker, specs,
                                                  &state);
  });
  list.add("zeliEncodeHuffman8x8_Direct_JPEG_16s1u_C1", "block", kBlocks, [=, &z] {
    int16_t dc = 0;
    direct->length = 0;
    direct->bytes[0] = 0;
    ZelStatus status = zelStsNoErr;
    for (int i = 0; i < kBlocks && !status; ++i)
      status = z.zeliEncodeHuffman8x8_Direct_JPEG_16s1u_C1(h->blocks[i], direct->bytes, &direct->length, &dc,
                                                           &h->encoder, &h->encoder);
    const int end = (direct->length + 7) / 8;
    direct->bytes[end] = 0xFF;
    direct->bytes[end + 1] = 0xD9;
    return status;
  });
  list.add("zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1", "block", kBlocks, [=, &z] {
    int16_t dc = 0;
    int position = 0, marker = 0, valid = 0;
    uint32_t prefetched = 0;
    ZelStatus status = zelStsNoErr;
    for (int i = 0; i < kBlocks && !status; ++i)
      status = z.zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1(direct->bytes, &position, h->decoded, &dc, &marker,
                                                           &prefetched, &valid, &h->decoder, &h->decoder);
    return status;
  });
}

}  // namespace

std::vector<Call> huffmanCalls(const zeltest::Api& api) {
  Coders list(api);
  tables(list);
  blocks(list);
  others(list);
  return std::move(list.calls);
}

}  // namespace calls
