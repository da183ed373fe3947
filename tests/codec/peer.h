// An independent JPEG library beside ours: files that it writes, coefficients and pixels that it reads.
#pragma once

#include <jpeglib.h>

#include <cstdio>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "jpeg.h"

namespace peer {

using Bytes = std::vector<uint8_t>;

// Failures become exceptions; in tests none is expected to cross the library's own frames.
inline jpeg_error_mgr* errors(jpeg_error_mgr* m) {
  jpeg_std_error(m);
  m->error_exit = [](j_common_ptr c) {
    char text[JMSG_LENGTH_MAX];
    c->err->format_message(c, text);
    throw std::runtime_error(text);
  };
  m->emit_message = [](j_common_ptr c, int level) {
    if (level < 0) ++c->err->num_warnings;
  };
  return m;
}

struct WriteOptions {
  J_COLOR_SPACE coding = JCS_YCbCr;
  std::vector<std::pair<int, int>> factors;  // h, v of each component; those that are missing 1, 1
  int quality = 90;
  bool optimise = false;
  int restart = 0;
  bool interleaved = true;
  std::vector<zelcodecs::JpegScan> script;  // overrides interleaved
};

inline Bytes write(const zelcodecs::Image& image, const WriteOptions& o) {
  jpeg_compress_struct c;
  jpeg_error_mgr m;
  c.err = errors(&m);
  jpeg_create_compress(&c);
  unsigned char* out = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&c, &out, &size);
  c.image_width = unsigned(image.width());
  c.image_height = unsigned(image.height());
  c.input_components = image.channels();
  c.in_color_space = image.channels() == 1 ? JCS_GRAYSCALE : image.channels() == 3 ? JCS_RGB : JCS_CMYK;
  jpeg_set_defaults(&c);
  jpeg_set_colorspace(&c, image.channels() == 1 ? JCS_GRAYSCALE : o.coding);
  jpeg_set_quality(&c, o.quality, TRUE);
  for (int i = 0; i < c.num_components; ++i) {
    const bool given = size_t(i) < o.factors.size();
    c.comp_info[i].h_samp_factor = given ? o.factors[size_t(i)].first : 1;
    c.comp_info[i].v_samp_factor = given ? o.factors[size_t(i)].second : 1;
  }
  c.optimize_coding = o.optimise;
  c.restart_interval = unsigned(o.restart);
  c.dct_method = JDCT_ISLOW;
  std::vector<jpeg_scan_info> scans;
  for (const zelcodecs::JpegScan& from : o.script) {
    jpeg_scan_info to = {int(from.components.size()), {}, from.ss, from.se, from.ah, from.al};
    std::copy(from.components.begin(), from.components.end(), to.component_index);
    scans.push_back(to);
  }
  for (int i = 0; i < c.num_components && o.script.empty() && !o.interleaved; ++i)
    scans.push_back({1, {i}, 0, 63, 0, 0});
  c.scan_info = scans.empty() ? nullptr : scans.data();
  c.num_scans = int(scans.size());
  jpeg_start_compress(&c, TRUE);
  while (c.next_scanline < c.image_height) {
    JSAMPROW row = const_cast<uint8_t*>(image.row(int(c.next_scanline)));
    jpeg_write_scanlines(&c, &row, 1);
  }
  jpeg_finish_compress(&c);
  Bytes bytes(out, out + size);
  jpeg_destroy_compress(&c);
  std::free(out);
  return bytes;
}

inline zelcodecs::JpegCoefficients coefficients(const Bytes& file) {
  jpeg_decompress_struct d;
  jpeg_error_mgr m;
  d.err = errors(&m);
  jpeg_create_decompress(&d);
  jpeg_mem_src(&d, file.data(), file.size());
  jpeg_read_header(&d, TRUE);
  jvirt_barray_ptr* arrays = jpeg_read_coefficients(&d);
  zelcodecs::JpegCoefficients out;
  out.width = int(d.image_width);
  out.height = int(d.image_height);
  out.components.resize(size_t(d.num_components));
  for (int i = 0; i < d.num_components; ++i) {
    zelcodecs::JpegCoefficients::Component& c = out.components[size_t(i)];
    c.id = d.comp_info[i].component_id;
    c.h = d.comp_info[i].h_samp_factor;
    c.v = d.comp_info[i].v_samp_factor;
    for (int k = 0; k < 64; ++k) c.quant[k] = d.comp_info[i].quant_table->quantval[k];
  }
  out.allocate();
  for (int i = 0; i < d.num_components; ++i) {
    zelcodecs::JpegCoefficients::Component& c = out.components[size_t(i)];
    for (int y = 0; y < c.blocksHigh; ++y) {
      JBLOCKARRAY rows =
          d.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&d), arrays[i], unsigned(y), 1, FALSE);
      int16_t* to = &c.values[64 * size_t(y * c.storedWide)];
      for (int k = 0; k < 64 * c.blocksWide; ++k) to[k] = rows[0][k / 64][k % 64];
    }
  }
  if (m.num_warnings) throw std::runtime_error("the peer warns about the file");
  jpeg_finish_decompress(&d);
  jpeg_destroy_decompress(&d);
  return out;
}

// Chroma replicated or interpolated, accurate transform. raw: the components as they are.
inline zelcodecs::Image read(const Bytes& file, bool smooth, bool raw = false) {
  jpeg_decompress_struct d;
  jpeg_error_mgr m;
  d.err = errors(&m);
  jpeg_create_decompress(&d);
  jpeg_mem_src(&d, file.data(), file.size());
  jpeg_read_header(&d, TRUE);
  d.do_fancy_upsampling = smooth;
  d.do_block_smoothing = FALSE;
  d.dct_method = JDCT_ISLOW;
  d.out_color_space = raw                     ? d.jpeg_color_space
                      : d.num_components == 1 ? JCS_GRAYSCALE
                      : d.num_components == 3 ? JCS_RGB
                                              : JCS_CMYK;
  jpeg_start_decompress(&d);
  zelcodecs::Image image(int(d.output_width), int(d.output_height),
                         d.num_components == 1   ? zelcodecs::ColourModel::grey
                         : d.num_components == 3 ? zelcodecs::ColourModel::rgb
                                                 : zelcodecs::ColourModel::cmyk);
  while (d.output_scanline < d.output_height) {
    JSAMPROW row = image.row(int(d.output_scanline));
    jpeg_read_scanlines(&d, &row, 1);
  }
  jpeg_finish_decompress(&d);
  jpeg_destroy_decompress(&d);
  return image;
}

// A picture with slopes, edges and a little noise: coefficients of every kind.
inline zelcodecs::Image picture(int width, int height, zelcodecs::ColourModel model, unsigned seed = 1) {
  zelcodecs::Image image(width, height, model);
  std::mt19937 r(seed);
  const int channels = image.channels();
  for (int y = 0; y < height; ++y)
    for (int i = 0; i < width * channels; ++i) {
      const int x = i / channels, c = i % channels;
      const int v = 60 + 5 * c * x % 90 + 3 * y % 70 + ((x / 5 + y / 7) % 3 == c % 3 ? 40 : 0) + int(r() % 12);
      image.row(y)[i] = uint8_t(v);
    }
  return image;
}

}  // namespace peer
