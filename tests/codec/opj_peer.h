// An independent JPEG 2000 implementation beside ours.
#pragma once

#include <openjpeg.h>

#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

#include "jpeg2000/jpeg2000.h"

namespace peer {

using Bytes = std::vector<uint8_t>;

struct Memory {
  Bytes bytes;
  size_t at = 0;
};

inline std::unique_ptr<opj_stream_t, void (*)(void*)> streamOn(Memory* memory, bool reading) {
  opj_stream_t* s = opj_stream_create(1 << 16, reading);
  opj_stream_set_user_data(s, memory, nullptr);
  opj_stream_set_user_data_length(s, memory->bytes.size());
  opj_stream_set_read_function(s, [](void* to, OPJ_SIZE_T n, void* m) -> OPJ_SIZE_T {
    Memory& from = *static_cast<Memory*>(m);
    n = std::min<size_t>(n, from.bytes.size() - from.at);
    if (n == 0) return static_cast<OPJ_SIZE_T>(-1);
    std::memcpy(to, &from.bytes[from.at], n);
    from.at += n;
    return n;
  });
  opj_stream_set_write_function(s, [](void* data, OPJ_SIZE_T n, void* m) -> OPJ_SIZE_T {
    Memory& to = *static_cast<Memory*>(m);
    if (to.bytes.size() < to.at + n) to.bytes.resize(to.at + n);
    std::memcpy(&to.bytes[to.at], data, n);
    to.at += n;
    return n;
  });
  opj_stream_set_skip_function(s, [](OPJ_OFF_T n, void* m) -> OPJ_OFF_T {
    static_cast<Memory*>(m)->at += size_t(n);
    return n;
  });
  opj_stream_set_seek_function(s, [](OPJ_OFF_T n, void* m) -> OPJ_BOOL {
    static_cast<Memory*>(m)->at = size_t(n);
    return OPJ_TRUE;
  });
  return {s, [](void* p) { opj_stream_destroy(static_cast<opj_stream_t*>(p)); }};
}

// A codec with quiet messages.
using Codec = std::unique_ptr<opj_codec_t, void (*)(void*)>;
inline Codec quiet(opj_codec_t* c) {
  for (const auto set : {opj_set_error_handler, opj_set_warning_handler, opj_set_info_handler})
    set(
        c, [](const char*, void*) {}, nullptr);
  return {c, [](void* p) { opj_destroy_codec(static_cast<opj_codec_t*>(p)); }};
}

using Picture = std::unique_ptr<opj_image_t, void (*)(void*)>;
inline Picture owned(opj_image_t* i) {
  return {i, [](void* p) { opj_image_destroy(static_cast<opj_image_t*>(p)); }};
}

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
  for (const auto& c : in.components) {
    opj_image_cmptparm_t s = {};
    s.dx = OPJ_UINT32(c.dx);
    s.dy = OPJ_UINT32(c.dy);
    s.w = OPJ_UINT32(c.width);
    s.h = OPJ_UINT32(c.height);
    s.x0 = OPJ_UINT32(in.x0);
    s.y0 = OPJ_UINT32(in.y0);
    s.prec = OPJ_UINT32(c.precision);
    s.sgnd = c.isSigned;
    sizes.push_back(s);
  }
  const Picture image = owned(
      opj_image_create(OPJ_UINT32(sizes.size()), sizes.data(), sizes.size() >= 3 ? OPJ_CLRSPC_SRGB : OPJ_CLRSPC_GRAY));
  image->x0 = OPJ_UINT32(in.x0);
  image->y0 = OPJ_UINT32(in.y0);
  image->x1 = OPJ_UINT32(in.x1);
  image->y1 = OPJ_UINT32(in.y1);
  for (size_t c = 0; c < sizes.size(); ++c)
    std::memcpy(image->comps[c].data, in.components[c].samples.data(), in.components[c].samples.size() * 4);
  const Codec codec = quiet(opj_create_compress(OPJ_CODEC_J2K));
  require(opj_setup_encoder(codec.get(), &p, image.get()));
  Memory memory;
  const auto stream = streamOn(&memory, false);
  require(opj_start_compress(codec.get(), image.get(), stream.get()) && opj_encode(codec.get(), stream.get()) &&
          opj_end_compress(codec.get(), stream.get()));
  return memory.bytes;
}

// The components, of any file that the peer takes without complaint.
inline zelcodecs::Jpeg2000Components decode(const Bytes& file, int reduce = 0) {
  opj_dparameters_t p;
  opj_set_default_decoder_parameters(&p);
  p.cp_reduce = OPJ_UINT32(reduce);
  const Codec codec = quiet(opj_create_decompress(file[0] == 0xFF ? OPJ_CODEC_J2K : OPJ_CODEC_JP2));
  Memory memory = {file, 0};
  const auto stream = streamOn(&memory, true);
  opj_image_t* raw = nullptr;
  require(opj_setup_decoder(codec.get(), &p) && opj_decoder_set_strict_mode(codec.get(), OPJ_TRUE) &&
          opj_read_header(stream.get(), codec.get(), &raw));
  const Picture image = owned(raw);
  require(opj_decode(codec.get(), stream.get(), raw) && opj_end_decompress(codec.get(), stream.get()));
  zelcodecs::Jpeg2000Components out;
  for (OPJ_UINT32 c = 0; c < raw->numcomps; ++c) {
    zelcodecs::Jpeg2000Components::Component k;
    const opj_image_comp_t& from = raw->comps[c];
    k.width = int(from.w);
    k.height = int(from.h);
    k.precision = int(from.prec);
    k.isSigned = from.sgnd;
    k.samples.assign(from.data, from.data + size_t{from.w} * from.h);
    out.components.push_back(std::move(k));
  }
  return out;
}

}  // namespace peer
