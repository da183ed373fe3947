// Baseline Huffman coding of photographs' coefficients beside libjpeg-turbo, MCU by MCU with the same tables and order.
// Two rows each way: the peer's coefficient interface as a program calls it (header, memory and virtual arrays
// included; "header" shows how little the header alone takes), and its entropy coder alone, called for each MCU as its
// coefficient controller calls it.
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

// The peer's header needs size_t and FILE.
#include <jpeglib.h>

#include "ratios.h"

// The first members of the peer's coder objects, as its own controllers see them.
struct jpeg_entropy_encoder {
  void (*start_pass)(j_compress_ptr cinfo, boolean gather);
  boolean (*encode_mcu)(j_compress_ptr cinfo, JBLOCKROW* mcu);
  void (*finish_pass)(j_compress_ptr cinfo);
};
struct jpeg_entropy_decoder {
  void (*start_pass)(j_decompress_ptr cinfo);
  boolean (*decode_mcu)(j_decompress_ptr cinfo, JBLOCKROW* mcu);
};

namespace {

struct Tables {
  ZeliDecodeHuffmanSpec decoder;
  ZeliEncodeHuffmanSpec encoder;
};

struct Image {
  std::vector<uint8_t> jpeg;     // the whole file
  size_t scan = 0, scanEnd = 0;  // its entropy-coded bytes
  std::vector<int16_t> blocks;   // in the order of the scan
  std::vector<int16_t> decoded;
  std::vector<int> component;  // of each block of an MCU
  int mcus = 0;
  size_t count() const { return blocks.size() / 64; }
  Tables dc[2], ac[2];
  std::vector<uint8_t> out;
};

std::vector<uint8_t> compress(const bench::Photo& photo, int quality, bool subsampled) {
  jpeg_compress_struct c;
  jpeg_error_mgr errors;
  c.err = jpeg_std_error(&errors);
  jpeg_create_compress(&c);
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&c, &bytes, &size);
  c.image_width = JDIMENSION(photo.width / 16 * 16);
  c.image_height = JDIMENSION(photo.height / 16 * 16);
  c.input_components = 3;
  c.in_color_space = JCS_RGB;
  jpeg_set_defaults(&c);
  jpeg_set_quality(&c, quality, TRUE);
  if (!subsampled) c.comp_info[0].h_samp_factor = c.comp_info[0].v_samp_factor = 1;
  jpeg_start_compress(&c, TRUE);
  while (c.next_scanline < c.image_height) {
    JSAMPROW row = const_cast<uint8_t*>(&photo.rgb[size_t(c.next_scanline) * size_t(photo.width) * 3]);
    jpeg_write_scanlines(&c, &row, 1);
  }
  jpeg_finish_compress(&c);
  jpeg_destroy_compress(&c);
  std::vector<uint8_t> file(bytes, bytes + size);
  std::free(bytes);
  return file;
}

void makeTables(const JHUFF_TBL& table, Tables* t) {
  const zeltest::Api& api = zeltest::variants()[0].api;
  api.zeliDecodeHuffmanSpecInit_JPEG_8u(table.bits + 1, table.huffval, &t->decoder);
  api.zeliEncodeHuffmanSpecInit_JPEG_8u(table.bits + 1, table.huffval, &t->encoder);
}

// A decompressor on the file, with its header read.
struct Decompress {
  jpeg_decompress_struct d;
  jpeg_error_mgr errors;
  explicit Decompress(const Image& image) {
    d.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&d);
    jpeg_mem_src(&d, image.jpeg.data(), static_cast<unsigned long>(image.jpeg.size()));
    jpeg_read_header(&d, TRUE);
  }
  ~Decompress() { jpeg_destroy_decompress(&d); }
};

ZelStatus decode(const zeltest::Api& api, Image& image) {
  ZeliDecodeHuffmanState state;
  api.zeliDecodeHuffmanStateInit_JPEG_8u(&state);
  int pos = 0, marker = 0;
  int16_t predictor[3] = {};
  int16_t* block = image.decoded.data();
  for (int mcu = 0; mcu < image.mcus; ++mcu)
    for (const int c : image.component) {
      const ZelStatus s = api.zeliDecodeHuffman8x8_JPEG_1u16s_C1(
          &image.jpeg[image.scan], int(image.scanEnd - image.scan), &pos, block, &predictor[c], &marker,
          &image.dc[c > 0].decoder, &image.ac[c > 0].decoder, &state);
      if (s) return s;
      block += 64;
    }
  return zelStsNoErr;
}

size_t encode(const zeltest::Api& api, Image& image) {
  ZeliEncodeHuffmanState state;
  api.zeliEncodeHuffmanStateInit_JPEG_8u(&state);
  int pos = 0;
  const int length = int(image.out.size());
  int16_t predictor[3] = {};
  const int16_t* block = image.blocks.data();
  for (int mcu = 0; mcu < image.mcus; ++mcu)
    for (const int c : image.component) {
      if (api.zeliEncodeHuffman8x8_JPEG_16s1u_C1(block, image.out.data(), length, &pos, &predictor[c],
                                                 &image.dc[c > 0].encoder, &image.ac[c > 0].encoder, &state, 0))
        return 0;
      block += 64;
    }
  return api.zeliEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, image.out.data(), length, &pos, nullptr, nullptr, nullptr,
                                                &state, 1)
             ? 0
             : size_t(pos);
}

std::shared_ptr<Image> imageOf(const std::string& name, int quality, bool subsampled) {
  auto image = std::make_shared<Image>();
  image->jpeg = compress(bench::photo(name), quality, subsampled);
  Decompress source(*image);
  jpeg_decompress_struct& d = source.d;
  image->scan = image->jpeg.size() - d.src->bytes_in_buffer;
  image->scanEnd = image->jpeg.size();  // the end marker stays in: it ends the data
  for (int i = 0; i < 2; ++i) {
    makeTables(*d.dc_huff_tbl_ptrs[i], &image->dc[i]);
    makeTables(*d.ac_huff_tbl_ptrs[i], &image->ac[i]);
  }
  image->component = subsampled ? std::vector<int>{0, 0, 0, 0, 1, 2} : std::vector<int>{0, 1, 2};
  jvirt_barray_ptr* arrays = jpeg_read_coefficients(&d);
  const JDIMENSION side = subsampled ? 16 : 8, across = d.image_width / side, down = d.image_height / side;
  image->mcus = int(across * down);
  for (JDIMENSION y = 0; y < down; ++y)
    for (JDIMENSION x = 0; x < across; ++x)
      for (int c = 0; c < 3; ++c) {
        const JDIMENSION n = c == 0 ? side / 8 : 1;
        for (JDIMENSION v = 0; v < n; ++v) {
          JBLOCKARRAY row =
              d.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&d), arrays[c], y * n + v, 1, FALSE);
          for (JDIMENSION h = 0; h < n; ++h) {
            const int16_t* block = row[0][x * n + h];
            image->blocks.insert(image->blocks.end(), block, block + 64);
          }
        }
      }
  image->decoded.resize(image->blocks.size());
  image->out.resize(image->jpeg.size() + 1000);

  // Both sides give the same coefficients and the same bytes.
  for (const zeltest::Variant& v : zeltest::variants()) {
    if (!v.supported) continue;
    const bool decodes = decode(v.api, *image) == zelStsNoErr &&
                         std::memcmp(image->decoded.data(), image->blocks.data(), image->blocks.size() * 2) == 0;
    const size_t bytes = encode(v.api, *image);
    const bool encodes = bytes + 2 == image->scanEnd - image->scan &&
                         std::memcmp(&image->jpeg[image->scan], image->out.data(), bytes) == 0;
    if (!decodes || !encodes) {
      std::fprintf(stderr, "Huffman %s: decoding %s, encoding %s the peer\n", v.name,
                   decodes ? "matches" : "DIFFERS FROM", encodes ? "matches" : "DIFFERS FROM");
      std::exit(1);
    }
  }
  return image;
}

// ---- The peer -------------------------------------------------------------------------------------------------------

void peerHeader(const Image& image) { Decompress source(image); }

void peerReadCoefficients(const Image& image) {
  Decompress source(image);
  jpeg_read_coefficients(&source.d);
}

void peerDecodeMcus(Image& image) {
  Decompress source(image);
  source.d.raw_data_out = TRUE;  // no colour conversion to set up
  jpeg_start_decompress(&source.d);
  JBLOCKROW mcu[6];
  auto* block = reinterpret_cast<JBLOCKROW>(image.decoded.data());
  const size_t n = image.component.size();
  for (int i = 0; i < image.mcus; ++i, block += n) {
    for (size_t b = 0; b < n; ++b) mcu[b] = block + b;
    std::memset(block, 0, n * sizeof(JBLOCK));  // the peer's decoder wants cleared blocks
    source.d.entropy->decode_mcu(&source.d, mcu);
  }
}

// A compressor with the parameters of a decompressor whose coefficients stay readable, writing to memory.
struct Transcoder {
  Decompress source;
  jvirt_barray_ptr* arrays;
  std::vector<uint8_t> out;
  explicit Transcoder(const Image& image)
      : source(image), arrays(jpeg_read_coefficients(&source.d)), out(image.jpeg.size() + 1000) {}

  // Sets a compressor up and lets `code` write the scan.
  template <class Code>
  void run(Code code) {
    jpeg_compress_struct c;
    jpeg_error_mgr errors;
    c.err = jpeg_std_error(&errors);
    jpeg_create_compress(&c);
    unsigned char* bytes = out.data();
    unsigned long size = static_cast<unsigned long>(out.size());
    jpeg_mem_dest(&c, &bytes, &size);
    jpeg_copy_critical_parameters(&source.d, &c);
    code(&c);
    jpeg_destroy_compress(&c);
    if (bytes != out.data()) std::abort();
  }
};

void peerEncodeMcus(Transcoder& t, Image& image) {
  t.run([&](j_compress_ptr c) {
    c->raw_data_in = TRUE;  // no colour conversion to set up
    jpeg_start_compress(c, TRUE);
    JBLOCKROW mcu[6];
    auto* block = reinterpret_cast<JBLOCKROW>(image.blocks.data());
    const size_t n = image.component.size();
    for (int i = 0; i < image.mcus; ++i, block += n) {
      for (size_t b = 0; b < n; ++b) mcu[b] = block + b;
      c->entropy->encode_mcu(c, mcu);
    }
    c->entropy->finish_pass(c);
  });
}

bench::Suite suite([] {
  for (const char* name : {"dandelion", "canyon"})
    for (const bool subsampled : {true, false})
      for (const int quality : {75, 90}) {
        const auto image = imageOf(name, quality, subsampled);
        const auto transcoder = std::make_shared<Transcoder>(*image);
        const std::string where =
            std::string(", ") + name + (subsampled ? " 4:2:0" : " 4:4:4") + " q" + std::to_string(quality);
        const double blocks = double(image->count());
        const auto add = [&](const std::string& work, bool encoding, bench::Work peer) {
          auto row = bench::ours([&](const zeltest::Api& api) -> bench::Work {
            if (encoding) return [&api, image] { encode(api, *image); };
            return [&api, image] { decode(api, *image); };
          });
          row.push_back({"libjpeg-turbo", peer});
          bench::compare(work + where, blocks, "block", {encoding ? 1.35 : 1.3, 1.6}, row);
        };
        add("Huffman decode, per block", false, [image] { peerReadCoefficients(*image); });
        add("Huffman decode, entropy decoder alone", false, [image] { peerDecodeMcus(*image); });
        add("Huffman encode, per block", true, [transcoder] {
          transcoder->run([&](j_compress_ptr c) {
            jpeg_write_coefficients(c, transcoder->arrays);
            jpeg_finish_compress(c);
          });
        });
        add("Huffman encode, entropy coder alone", true, [image, transcoder] { peerEncodeMcus(*transcoder, *image); });
        if (quality == 75 && subsampled)
          bench::compare(std::string("header") + where, blocks, "block", {0, 0},
                         {{"libjpeg-turbo", [image] { peerHeader(*image); }}});
      }
});

}  // namespace
