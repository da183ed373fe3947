// An independent JPEG 2000 implementation beside ours.
#pragma once

#include <openjpeg.h>

#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>

#include "files.h"
#include "jpeg2000.h"

namespace peer {

using zeltest::Bytes;
using zeltest::TemporaryFile;

using Stream = std::unique_ptr<opj_stream_t, decltype(&opj_stream_destroy)>;
inline Stream streamOn(const TemporaryFile& file, bool reading) {
  return {opj_stream_create_default_file_stream(file.path.c_str(), reading), opj_stream_destroy};
}

// A codec with quiet messages.
using Codec = std::unique_ptr<opj_codec_t, decltype(&opj_destroy_codec)>;
inline Codec quiet(opj_codec_t* c) {
  const auto ignore = [](const char*, void*) {};
  for (const auto set : {opj_set_error_handler, opj_set_warning_handler, opj_set_info_handler}) set(c, ignore, nullptr);
  return {c, opj_destroy_codec};
}

using Picture = std::unique_ptr<opj_image_t, decltype(&opj_image_destroy)>;

inline void require(bool ok) {
  if (!ok) throw std::runtime_error("the peer refuses");
}

inline Bytes encode(const zelcodecs::Jpeg2000Components& in, const std::function<void(opj_cparameters_t*)>& change) {
  opj_cparameters_t p;
  opj_set_default_encoder_parameters(&p);
  p.tcp_numlayers = 1;
  p.cp_disto_alloc = 1;
  p.tcp_mct = in.components.size() >= 3;
  change(&p);
  std::vector<opj_image_cmptparm_t> sizes;
  for (const auto& c : in.components)
    sizes.push_back({unsigned(c.dx), unsigned(c.dy), unsigned(c.width), unsigned(c.height), unsigned(in.x0),
                     unsigned(in.y0), unsigned(c.precision), unsigned(c.precision), c.isSigned});
  const OPJ_COLOR_SPACE space = sizes.size() >= 3 ? OPJ_CLRSPC_SRGB : OPJ_CLRSPC_GRAY;
  const Picture image(opj_image_create(unsigned(sizes.size()), sizes.data(), space), opj_image_destroy);
  image->x0 = unsigned(in.x0);
  image->y0 = unsigned(in.y0);
  image->x1 = unsigned(in.x1);
  image->y1 = unsigned(in.y1);
  for (size_t c = 0; c < sizes.size(); ++c)
    std::memcpy(image->comps[c].data, in.components[c].samples.data(), in.components[c].samples.size() * 4);
  const Codec codec = quiet(opj_create_compress(OPJ_CODEC_J2K));
  require(opj_setup_encoder(codec.get(), &p, image.get()));
  const TemporaryFile file;
  Stream stream = streamOn(file, false);
  require(opj_start_compress(codec.get(), image.get(), stream.get()) && opj_encode(codec.get(), stream.get()) &&
          opj_end_compress(codec.get(), stream.get()));
  stream.reset();
  return zeltest::fileBytes(file.path);
}

// The components, of any file that the peer takes without complaint.
inline zelcodecs::Jpeg2000Components decode(const Bytes& file, int reduce = 0) {
  opj_dparameters_t p;
  opj_set_default_decoder_parameters(&p);
  p.cp_reduce = unsigned(reduce);
  const Codec codec = quiet(opj_create_decompress(file[0] == 0xFF ? OPJ_CODEC_J2K : OPJ_CODEC_JP2));
  const TemporaryFile there(file);
  const Stream stream = streamOn(there, true);
  opj_image_t* raw = nullptr;
  require(opj_setup_decoder(codec.get(), &p) && opj_decoder_set_strict_mode(codec.get(), OPJ_TRUE) &&
          opj_read_header(stream.get(), codec.get(), &raw));
  const Picture image(raw, opj_image_destroy);
  require(opj_decode(codec.get(), stream.get(), raw) && opj_end_decompress(codec.get(), stream.get()));
  zelcodecs::Jpeg2000Components out;
  for (OPJ_UINT32 c = 0; c < raw->numcomps; ++c) {
    const opj_image_comp_t& k = raw->comps[c];
    out.components.push_back(
        {int(k.w), int(k.h), 1, 1, int(k.prec), k.sgnd != 0, {k.data, k.data + size_t{k.w} * k.h}});
  }
  return out;
}

}  // namespace peer
