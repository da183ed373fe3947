// An independent JPEG library beside ours: files that it writes, coefficients and pixels that it reads.
#pragma once

#include <cstdio>

#include <jpeglib.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "files.h"
#include "jpeg/jpeg.h"

namespace peer {

using zeltest::Bytes;

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
  std::string factors;  // "21 11": the horizontal and the vertical one of each component; those that are missing 1, 1
  int quality = 90;
  bool optimise = false;
  int restart = 0;
  std::vector<zelcodecs::JpegScan> script;
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
    const size_t at = 3 * size_t(i);
    c.comp_info[i].h_samp_factor = at < o.factors.size() ? o.factors[at] - '0' : 1;
    c.comp_info[i].v_samp_factor = at < o.factors.size() ? o.factors[at + 1] - '0' : 1;
  }
  c.optimize_coding = o.optimise;
  c.restart_interval = unsigned(o.restart);
  c.dct_method = JDCT_ISLOW;
  std::vector<jpeg_scan_info> scans;
  for (const zelcodecs::JpegScan& from : o.script) {
    scans.push_back({int(from.components.size()), {}, from.ss, from.se, from.ah, from.al});
    std::copy(from.components.begin(), from.components.end(), scans.back().component_index);
  }
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

// A file behind its header.
struct Reader {
  jpeg_decompress_struct d;
  jpeg_error_mgr m;
  explicit Reader(const Bytes& file) {
    d.err = errors(&m);
    jpeg_create_decompress(&d);
    jpeg_mem_src(&d, file.data(), file.size());
    jpeg_read_header(&d, TRUE);
  }
  ~Reader() { jpeg_destroy_decompress(&d); }
};

inline zelcodecs::JpegCoefficients coefficients(const Bytes& file) {
  Reader reader(file);
  jpeg_decompress_struct& d = reader.d;
  jvirt_barray_ptr* arrays = jpeg_read_coefficients(&d);
  zelcodecs::JpegCoefficients out;
  out.width = int(d.image_width);
  out.height = int(d.image_height);
  out.components.resize(size_t(d.num_components));
  for (size_t i = 0; i < out.components.size(); ++i) {
    zelcodecs::JpegCoefficients::Component& c = out.components[i];
    c.id = d.comp_info[i].component_id;
    c.h = d.comp_info[i].h_samp_factor;
    c.v = d.comp_info[i].v_samp_factor;
    std::copy_n(d.comp_info[i].quant_table->quantval, 64, c.quant);
  }
  out.allocate();
  for (size_t i = 0; i < out.components.size(); ++i) {
    zelcodecs::JpegCoefficients::Component& c = out.components[i];
    for (int y = 0; y < c.blocksHigh; ++y) {
      const auto rows = d.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&d), arrays[i], unsigned(y), 1, FALSE);
      std::copy_n(rows[0][0], 64 * c.blocksWide, &c.values[64 * size_t(y * c.storedWide)]);
    }
  }
  if (reader.m.num_warnings) throw std::runtime_error("the peer warns about the file");
  jpeg_finish_decompress(&d);
  return out;
}

// Chroma replicated or interpolated, accurate transform. raw: the components as they are.
inline zelcodecs::Image read(const Bytes& file, bool smooth, bool raw = false) {
  Reader reader(file);
  jpeg_decompress_struct& d = reader.d;
  d.do_fancy_upsampling = smooth;
  d.do_block_smoothing = FALSE;
  d.dct_method = JDCT_ISLOW;
  if (raw) d.out_color_space = d.jpeg_color_space;
  jpeg_start_decompress(&d);
  using zelcodecs::ColourModel;
  const ColourModel models[] = {ColourModel::grey, ColourModel::rgb, ColourModel::rgb, ColourModel::cmyk};
  zelcodecs::Image image(int(d.output_width), int(d.output_height), models[d.num_components - 1]);
  while (d.output_scanline < d.output_height) {
    JSAMPROW row = image.row(int(d.output_scanline));
    jpeg_read_scanlines(&d, &row, 1);
  }
  jpeg_finish_decompress(&d);
  return image;
}

}  // namespace peer
