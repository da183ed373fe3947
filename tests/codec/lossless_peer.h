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

class LosslessDecoder {
 public:
  LosslessDecoder() : codec_(avcodec_find_decoder(AV_CODEC_ID_MJPEG)) {
    codec_.context->err_recognition = AV_EF_EXPLODE;
    require(avcodec_open2(codec_.context.get(), nullptr, nullptr));
  }
  // The frame is the decoder's, until the next one.
  const AVFrame* decode(const std::vector<uint8_t>& file) {
    require(av_new_packet(codec_.packet.get(), int(file.size())));
    std::copy(file.begin(), file.end(), codec_.packet->data);
    require(avcodec_send_packet(codec_.context.get(), codec_.packet.get()));
    av_packet_unref(codec_.packet.get());
    require(avcodec_receive_frame(codec_.context.get(), codec_.frame.get()));
    return codec_.frame.get();
  }

 private:
  LosslessCodec codec_;
};

class LosslessEncoder {
 public:
  LosslessEncoder(int width, int height, AVPixelFormat format, int predictor)
      : codec_(avcodec_find_encoder(AV_CODEC_ID_LJPEG)) {
    frame()->width = codec_.context->width = width;
    frame()->height = codec_.context->height = height;
    frame()->format = codec_.context->pix_fmt = format;
    codec_.context->time_base = {1, 25};
    require(av_opt_set_int(codec_.context->priv_data, "pred", predictor, 0));
    require(avcodec_open2(codec_.context.get(), nullptr, nullptr));
    require(av_frame_get_buffer(frame(), 0));
  }
  AVFrame* frame() { return codec_.frame.get(); }  // to be filled before encode()
  std::vector<uint8_t> encode() {
    require(avcodec_send_frame(codec_.context.get(), frame()));
    require(avcodec_receive_packet(codec_.context.get(), codec_.packet.get()));
    return {codec_.packet->data, codec_.packet->data + codec_.packet->size};
  }

 private:
  LosslessCodec codec_;
};

// sample: of a plane, at a column and a row.
inline std::vector<uint8_t> encodeLossless(int width, int height, AVPixelFormat format, int predictor,
                                           uint8_t sample(int, int, int)) {
  LosslessEncoder encoder(width, height, format, predictor);
  const AVFrame& f = *encoder.frame();
  const AVPixFmtDescriptor& d = *av_pix_fmt_desc_get(format);
  for (int c = 0; c < 3; ++c)
    for (int y = 0; y < (c ? AV_CEIL_RSHIFT(height, d.log2_chroma_h) : height); ++y)
      for (int x = 0; x < (c ? AV_CEIL_RSHIFT(width, d.log2_chroma_w) : width); ++x)
        f.data[c][y * f.linesize[c] + x] = sample(c, x, y);
  return encoder.encode();
}

}  // namespace peer
