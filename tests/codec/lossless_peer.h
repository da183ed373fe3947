// An independent implementation of lossless JPEG, frame by frame.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

namespace peer {

template <class T>
using Freed = std::unique_ptr<T, std::function<void(T*)>>;

inline void require(int status) {
  if (status < 0) throw std::runtime_error("the peer refuses");
}

// A codec's state with a packet and a frame.
struct LosslessCodec {
  explicit LosslessCodec(const AVCodec* codec)
      : context(avcodec_alloc_context3(codec), [](AVCodecContext* c) { avcodec_free_context(&c); }),
        packet(av_packet_alloc(), [](AVPacket* p) { av_packet_free(&p); }),
        frame(av_frame_alloc(), [](AVFrame* f) { av_frame_free(&f); }) {
    if (!codec) throw std::runtime_error("the peer lacks the codec");
    context->thread_count = 1;
  }
  Freed<AVCodecContext> context;
  Freed<AVPacket> packet;
  Freed<AVFrame> frame;
};

inline Freed<AVFrame> decodeLossless(const std::vector<uint8_t>& file) {
  LosslessCodec codec(avcodec_find_decoder(AV_CODEC_ID_MJPEG));
  codec.context->err_recognition = AV_EF_EXPLODE;
  require(avcodec_open2(codec.context.get(), nullptr, nullptr));
  require(av_new_packet(codec.packet.get(), int(file.size())));
  std::copy(file.begin(), file.end(), codec.packet->data);
  require(avcodec_send_packet(codec.context.get(), codec.packet.get()));
  require(avcodec_receive_frame(codec.context.get(), codec.frame.get()));
  return std::move(codec.frame);
}

// sample: of a plane, at a column and a row.
inline std::vector<uint8_t> encodeLossless(int width, int height, AVPixelFormat format, int predictor,
                                           uint8_t sample(int, int, int)) {
  LosslessCodec codec(avcodec_find_encoder(AV_CODEC_ID_LJPEG));
  AVFrame& f = *codec.frame;
  f.width = codec.context->width = width;
  f.height = codec.context->height = height;
  f.format = codec.context->pix_fmt = format;
  codec.context->time_base = {1, 25};
  require(av_opt_set_int(codec.context->priv_data, "pred", predictor, 0));
  require(avcodec_open2(codec.context.get(), nullptr, nullptr));
  require(av_frame_get_buffer(&f, 0));
  const AVPixFmtDescriptor& d = *av_pix_fmt_desc_get(format);
  for (int c = 0; c < 3; ++c)
    for (int y = 0; y < (c ? AV_CEIL_RSHIFT(height, d.log2_chroma_h) : height); ++y)
      for (int x = 0; x < (c ? AV_CEIL_RSHIFT(width, d.log2_chroma_w) : width); ++x)
        f.data[c][y * f.linesize[c] + x] = sample(c, x, y);
  require(avcodec_send_frame(codec.context.get(), &f));
  require(avcodec_receive_packet(codec.context.get(), codec.packet.get()));
  return {codec.packet->data, codec.packet->data + codec.packet->size};
}

}  // namespace peer
