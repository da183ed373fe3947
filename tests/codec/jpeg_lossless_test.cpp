// Lossless files: every sample comes back, here and in an independent implementation, and what that writes is read.
#include "files.h"
#include "jpeg/jpeg.h"
#include "lossless_peer.h"

using namespace zelcodecs;
using zeltest::Bytes;

namespace {

// With full, every value that a sample can have next to any other. The lowest bits are zero.
Image picture(int width, ColourModel model, int bits, bool full, int zeros) {
  Image image = zeltest::picture(width, 23, model, bits);
  std::mt19937 r(unsigned(width + bits));
  for (int y = 0; y < 23; ++y)
    for (int i = 0; i < width * image.channels(); ++i) {
      const int extreme = r() % 2 ? int(r()) & image.maxValue() : r() % 2 ? image.maxValue() : 0;
      image.setSample(y, i, (full ? extreme : image.sample(y, i)) >> zeros << zeros);
    }
  return image;
}

int peerSample(const AVFrame& f, int x, int y, int c) {
  const AVComponentDescriptor d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(f.format))->comp[c];
  const uint8_t* at = f.data[d.plane] + y * f.linesize[d.plane] + x * d.step + d.offset;
  return d.depth > 8 ? *reinterpret_cast<const uint16_t*>(at) : *at;
}

TEST(JpegLossless, EverySampleComesBackHereAndInThePeer) {
  av_log_set_level(AV_LOG_ERROR);
  int compared = 0;
  for (const ColourModel model : {ColourModel::grey, ColourModel::rgb, ColourModel::cmyk})
    for (const int bits : {2, 7, 8, 10, 12, 15, 16})
      for (int predictor = 1; predictor <= 7; ++predictor)
        for (const bool full : {false, true})
          for (const int variation : {0, 1, 2}) {
            SCOPED_TRACE(std::to_string(bits) + " bits, predictor " + std::to_string(predictor) + ", variation " +
                         std::to_string(variation) + ", full " + std::to_string(full));
            const int width = variation ? 37 : 1, zeros = variation == 2 ? bits / 3 : 0;
            JpegEncodeOptions o;
            o.process = JpegProcess::lossless;
            o.predictor = predictor;
            o.pointTransform = zeros;
            o.restartRows = variation == 1 ? 5 : 0;
            o.optimiseTables = predictor % 2;
            const Bytes file = encodeJpeg(picture(width, model, bits, full, 0), o);
            const Image expected = picture(width, model, bits, full, zeros);
            zeltest::expectEqual(expected, decodeJpeg(file.data(), file.size()));
            // The peer knows one and three components and scales samples of other depths. It reads 16 bits behind a
            // difference of -32768, which has none (T.81 H.1.2.2).
            if (model == ColourModel::cmyk || (bits != 8 && (bits != 16 || full))) continue;
            peer::LosslessDecoder decoder;
            const AVFrame* const frame = decoder.decode(file);
            for (int y = 0; y < 23; ++y)
              for (int i = 0; i < width * expected.channels(); ++i)
                ASSERT_EQ(peerSample(*frame, i / expected.channels(), y, i % expected.channels()),
                          expected.sample(y, i))
                    << "at " << i << ", " << y;
            ++compared;
          }
  EXPECT_GT(compared, 100);
}

TEST(JpegLossless, WhatThePeerWritesIsRead) {
  for (const AVPixelFormat format : {AV_PIX_FMT_YUVJ444P, AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_YUVJ420P})
    for (const int predictor : {1, 2, 3})
      for (const auto& [w, h] : std::vector<std::pair<int, int>>{{64, 32}, {37, 23}}) {
        const int across = format == AV_PIX_FMT_YUVJ444P ? 1 : 2, down = format == AV_PIX_FMT_YUVJ420P ? 2 : 1;
        const auto sample = [](int c, int x, int y) { return uint8_t(x * (c + 3) + y * 7 + (x * y % 5) * 40); };
        const Bytes file = peer::encodeLossless(w, h, format, predictor, sample);
        JpegDecodeOptions o;
        o.smooth = o.convertColour = false;
        const Image image = decodeJpeg(file.data(), file.size(), o);
        ASSERT_EQ(image.width(), w);
        ASSERT_EQ(image.height(), h);
        ASSERT_EQ(image.channels(), 3);
        for (int y = 0; y < h; ++y)
          for (int x = 0; x < w; ++x)
            for (int c = 0; c < 3; ++c)
              ASSERT_EQ(image.row(y)[3 * x + c], sample(c, c ? x / across : x, c ? y / down : y))
                  << av_get_pix_fmt_name(format) << ", predictor " << predictor << " at " << x << ", " << y;
      }
}

}  // namespace
