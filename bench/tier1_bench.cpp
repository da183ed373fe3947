// The tier-1 coder of JPEG 2000 beside OpenJPEG's, on 64x64 code blocks of a photograph after three levels of the 5/3
// wavelet, without loss.
//
// The peer's coder is internal. So the coefficients are given to it as the samples of an image with one component and
// one resolution: its wavelet has nothing to do, and what it does besides tier-1 coding (tags, packets, its copies of
// the image) is small beside it; the rows on zeros show how much it is. All blocks are of band LL for both. We convert
// between two's complement and sign and magnitude, as the peer does.
#include <openjpeg.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "ratios.h"

namespace {

constexpr int kSize = 512, kBlock = 64;
constexpr int kBlocks = (kSize / kBlock) * (kSize / kBlock);

// One line of the reversible 5/3 transform (ITU-T T.800, F.4.8.1), low half first.
void analyse(int32_t* line, int n, int stride) {
  std::vector<int32_t> x(size_t(n), 0);
  for (int i = 0; i < n; ++i) x[size_t(i)] = line[i * stride];
  const auto at = [&](int i) -> int32_t& { return x[size_t(i < 0 ? -i : i >= n ? 2 * n - 2 - i : i)]; };
  for (int i = 1; i < n; i += 2) at(i) -= (at(i - 1) + at(i + 1)) >> 1;
  for (int i = 0; i < n; i += 2) at(i) += (at(i - 1) + at(i + 1) + 2) >> 2;
  for (int i = 0; i < n; ++i) line[(i % 2 * n / 2 + i / 2) * stride] = x[size_t(i)];
}

std::vector<int32_t> coefficients() {
  const bench::Photo& photo = bench::photo("canyon");
  std::vector<int32_t> c(size_t(kSize * kSize));
  for (int y = 0; y < kSize; ++y)
    for (int x = 0; x < kSize; ++x) c[size_t(y * kSize + x)] = photo.rgb[size_t((y * photo.width + x) * 3 + 1)] - 128;
  for (int n = kSize; n > kSize / 8; n /= 2) {
    for (int x = 0; x < n; ++x) analyse(&c[size_t(x)], n, kSize);
    for (int y = 0; y < n; ++y) analyse(&c[size_t(y * kSize)], n, 1);
  }
  return c;
}

// ---- Ours -----------------------------------------------------------------------------------------------------------

struct Block {
  std::vector<uint8_t> bytes;
  int planes, passes;
};

struct Coder {
  Coder(const zeltest::Api& z_, const std::vector<int32_t>& source) : z(z_), plane(source), out(source.size()) {
    z.zeliEncodeInitAlloc_JPEG2K(&encoder, {kBlock, kBlock});
    z.zeliDecodeCBProgrInitAlloc_JPEG2K(&decoder, {kBlock, kBlock});
    blocks.resize(kBlocks);
    encode();
    decode();
    if (out != plane) std::fprintf(stderr, "tier-1: the decoder does not return what was coded\n"), std::exit(1);
  }
  ~Coder() {
    z.zeliEncodeFree_JPEG2K(encoder);
    z.zeliDecodeCBProgrFree_JPEG2K(decoder);
  }
  static size_t offset(int i) { return size_t(i / (kSize / kBlock) * kBlock * kSize + i % (kSize / kBlock) * kBlock); }

  void encode() {
    int32_t samples[kBlock * kBlock];
    for (int i = 0; i < kBlocks; ++i) {
      const int32_t* const from = &plane[offset(i)];
      for (int y = 0; y < kBlock; ++y)
        for (int x = 0; x < kBlock; ++x) {
          const int32_t v = from[y * kSize + x], sign = v >> 31;
          samples[y * kBlock + x] = ((v ^ sign) - sign) | int32_t(uint32_t(sign) << 31);
        }
      Block& b = blocks[size_t(i)];
      b.bytes.resize(2 * sizeof samples);
      int segments, length = int(b.bytes.size()), more;
      z.zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(samples, 4 * kBlock, {kBlock, kBlock}, encoder, zeliSubbandLL, 31,
                                               zeliTerminationFlush, 0, 0, &b.planes, &b.passes, &segments);
      z.zeliEncodeStoreBits_JPEG2K_1u(b.bytes.data(), &length, encoder, &more);
      b.bytes.resize(size_t(length));
    }
  }
  void decode() {
    int32_t samples[kBlock * kBlock];
    for (int i = 0; i < kBlocks; ++i) {
      const Block& b = blocks[size_t(i)];
      const int length = int(b.bytes.size());
      z.zeliDecodeCodeBlock_JPEG2K_1u32s_C1R(b.bytes.data(), samples, 4 * kBlock, {kBlock, kBlock}, zeliSubbandLL,
                                             b.planes, b.passes, &length, 1, 0, nullptr, decoder);
      int32_t* const to = &out[offset(i)];
      for (int y = 0; y < kBlock; ++y)
        for (int x = 0; x < kBlock; ++x) {
          const int32_t v = samples[y * kBlock + x], sign = v >> 31;
          to[y * kSize + x] = ((v & 0x7FFFFFFF) ^ sign) - sign;
        }
    }
  }

  const zeltest::Api& z;
  std::vector<int32_t> plane, out;
  std::vector<Block> blocks;
  ZeliEncodeState_JPEG2K* encoder;
  ZeliDecodeCBProgrState_JPEG2K* decoder;
};

// ---- The peer -------------------------------------------------------------------------------------------------------

struct Memory {
  std::vector<uint8_t> bytes;
  size_t at = 0;
};

opj_stream_t* streamOn(Memory* m, bool reading) {
  opj_stream_t* s = opj_stream_create(1 << 20, reading);
  opj_stream_set_user_data(s, m, nullptr);
  opj_stream_set_user_data_length(s, m->bytes.size());
  opj_stream_set_read_function(s, [](void* to, OPJ_SIZE_T n, void* user) -> OPJ_SIZE_T {
    auto* const m = static_cast<Memory*>(user);
    n = std::min(n, m->bytes.size() - m->at);
    if (n == 0) return OPJ_SIZE_T(-1);
    std::memcpy(to, m->bytes.data() + m->at, n);
    m->at += n;
    return n;
  });
  opj_stream_set_write_function(s, [](void* from, OPJ_SIZE_T n, void* user) -> OPJ_SIZE_T {
    auto* const m = static_cast<Memory*>(user);
    if (m->at + n > m->bytes.size()) m->bytes.resize(m->at + n);
    std::memcpy(m->bytes.data() + m->at, from, n);
    m->at += n;
    return n;
  });
  opj_stream_set_seek_function(s, [](OPJ_OFF_T to, void* user) -> OPJ_BOOL {
    static_cast<Memory*>(user)->at = size_t(to);
    return OPJ_TRUE;
  });
  opj_stream_set_skip_function(s, [](OPJ_OFF_T n, void* user) -> OPJ_OFF_T {
    static_cast<Memory*>(user)->at += size_t(n);
    return n;
  });
  return s;
}

struct Peer {
  explicit Peer(const std::vector<int32_t>& source) : plane(source) {
    encode();
    opj_image_t* const image = decode();
    if (std::memcmp(image->comps[0].data, plane.data(), plane.size() * 4) != 0)
      std::fprintf(stderr, "tier-1: the peer does not return what was coded\n"), std::exit(1);
    opj_image_destroy(image);
  }
  void encode() {
    opj_cparameters_t p;
    opj_set_default_encoder_parameters(&p);
    p.numresolution = 1;
    p.tcp_numlayers = 1;
    p.cp_disto_alloc = 1;
    opj_image_cmptparm_t component = {};
    component.dx = component.dy = 1;
    component.w = component.h = kSize;
    component.prec = 12;
    component.sgnd = 1;
    opj_image_t* const image = opj_image_create(1, &component, OPJ_CLRSPC_GRAY);
    image->x1 = image->y1 = kSize;
    std::memcpy(image->comps[0].data, plane.data(), plane.size() * 4);
    opj_codec_t* const codec = opj_create_compress(OPJ_CODEC_J2K);
    coded.at = 0;
    coded.bytes.clear();
    opj_stream_t* const stream = streamOn(&coded, false);
    if (!opj_setup_encoder(codec, &p, image) || !opj_start_compress(codec, image, stream) ||
        !opj_encode(codec, stream) || !opj_end_compress(codec, stream))
      std::fprintf(stderr, "tier-1: the peer cannot encode\n"), std::exit(1);
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    opj_image_destroy(image);
  }
  opj_image_t* decode() {
    opj_dparameters_t p;
    opj_set_default_decoder_parameters(&p);
    opj_codec_t* const codec = opj_create_decompress(OPJ_CODEC_J2K);
    coded.at = 0;
    opj_stream_t* const stream = streamOn(&coded, true);
    opj_image_t* image = nullptr;
    if (!opj_setup_decoder(codec, &p) || !opj_read_header(stream, codec, &image) || !opj_decode(codec, stream, image))
      std::fprintf(stderr, "tier-1: the peer cannot decode\n"), std::exit(1);
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    return image;
  }
  std::vector<int32_t> plane;
  Memory coded;
};

const bench::Suite suite([] {
  for (const bool zeros : {false, true}) {
    const std::vector<int32_t> source = zeros ? std::vector<int32_t>(size_t(kSize * kSize)) : coefficients();
    const auto peer = std::make_shared<Peer>(source);
    for (const bool encodes : {true, false}) {
      std::vector<bench::Contender> contenders = bench::ours([&](const zeltest::Api& z) {
        const auto coder = std::make_shared<Coder>(z, source);
        return [coder, encodes] { encodes ? coder->encode() : coder->decode(); };
      });
      contenders.push_back({"openjpeg", [peer, encodes] {
                              if (encodes)
                                peer->encode();
                              else
                                opj_image_destroy(peer->decode());
                            }});
      bench::compare(std::string("tier-1 ") + (encodes ? "encode" : "decode") + (zeros ? " zeros" : ""), kSize * kSize,
                     "sample",
                     zeros     ? bench::Target{0, 0}
                     : encodes ? bench::Target{1.8, 2.2}
                               : bench::Target{1.5, 1.8},
                     contenders);
    }
  }
});

}  // namespace
