// An independent implementation of lossless JPEG, frame by frame.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

namespace peer {

template <class T>
using Freed = std::unique_ptr<T, std::function<void(T*)>>;

inline Freed<AVFrame> newFrame() {
  return {av_frame_alloc(), [](AVFrame* f) { av_frame_free(&f); }};
}

inline Freed<AVPacket> newPacket() {
  return {av_packet_alloc(), [](AVPacket* p) { av_packet_free(&p); }};
}

inline Freed<AVCodecContext> context(const AVCodec* codec) {
  if (!codec) throw std::runtime_error("the peer lacks the codec");
  return {avcodec_alloc_context3(codec), [](AVCodecContext* c) { avcodec_free_context(&c); }};
}

inline void require(int status) {
  if (status < 0) throw std::runtime_error("the peer refuses");
}

// A decoder for many files of one kind.
class LosslessDecoder {
 public:
  LosslessDecoder() : context_(context(avcodec_find_decoder(AV_CODEC_ID_MJPEG))), packet_(newPacket()) {
    context_->thread_count = 1;
    context_->err_recognition = AV_EF_EXPLODE;
    require(avcodec_open2(context_.get(), context_->codec, nullptr));
  }
  Freed<AVFrame> decode(const std::vector<uint8_t>& file) {
    require(av_new_packet(packet_.get(), int(file.size())));
    std::copy(file.begin(), file.end(), packet_->data);
    require(avcodec_send_packet(context_.get(), packet_.get()));
    av_packet_unref(packet_.get());
    Freed<AVFrame> frame = newFrame();
    require(avcodec_receive_frame(context_.get(), frame.get()));
    return frame;
  }

 private:
  Freed<AVCodecContext> context_;
  Freed<AVPacket> packet_;
};

class LosslessEncoder {
 public:
  LosslessEncoder(int width, int height, AVPixelFormat format, int predictor)
      : context_(context(avcodec_find_encoder(AV_CODEC_ID_LJPEG))), frame_(newFrame()), packet_(newPacket()) {
    context_->width = width;
    context_->height = height;
    context_->pix_fmt = format;
    context_->time_base = {1, 25};
    context_->thread_count = 1;
    require(av_opt_set_int(context_->priv_data, "pred", predictor, 0));
    require(avcodec_open2(context_.get(), context_->codec, nullptr));
    frame_->width = width;
    frame_->height = height;
    frame_->format = format;
    require(av_frame_get_buffer(frame_.get(), 0));
  }
  AVFrame* frame() { return frame_.get(); }
  std::vector<uint8_t> encode() {
    require(avcodec_send_frame(context_.get(), frame_.get()));
    require(avcodec_receive_packet(context_.get(), packet_.get()));
    std::vector<uint8_t> file(packet_->data, packet_->data + packet_->size);
    av_packet_unref(packet_.get());
    return file;
  }

 private:
  Freed<AVCodecContext> context_;
  Freed<AVFrame> frame_;
  Freed<AVPacket> packet_;
};

}  // namespace peer
