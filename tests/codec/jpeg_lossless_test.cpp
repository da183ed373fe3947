// Lossless files: every sample comes back, here and in an independent implementation, and what that writes is read.
#include <gtest/gtest.h>

#include <random>

#include "error.h"
#include "jpeg.h"
#include "lossless_peer.h"
#include "metrics.h"

using namespace zelcodecs;
using Bytes = std::vector<uint8_t>;

namespace {

// Slopes, noise and, with full, every value that a sample can have next to any other.
Image picture(int width, int height, ColourModel model, int bits, bool full) {
  Image image(width, height, model, bits);
  std::mt19937 r(unsigned(width + bits));
  for (int y = 0; y < height; ++y)
    for (int i = 0; i < width * image.channels(); ++i) {
      const int slope = ((i * 3 + y * 5 + int(r() % 8)) << bits >> 9) & image.maxValue();
      const int extreme = r() % 2 ? int(r()) & image.maxValue() : r() % 2 ? image.maxValue() : 0;
      image.setSample(y, i, full ? extreme : slope);
    }
  return image;
}

Image shifted(const Image& image, int bits) {
  Image out = image.clone();
  for (int y = 0; y < out.height(); ++y)
    for (int i = 0; i < out.width() * out.channels(); ++i) out.setSample(y, i, out.sample(y, i) >> bits << bits);
  return out;
}

int peerSample(const AVFrame& f, int x, int y, int c) {
  const AVComponentDescriptor d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(f.format))->comp[c];
  const uint8_t* at = f.data[d.plane] + y * f.linesize[d.plane] + x * d.step + d.offset;
  return d.depth > 8 ? *reinterpret_cast<const uint16_t*>(at) : *at;
}

TEST(JpegLossless, EverySampleComesBackHereAndInThePeer) {
  peer::LosslessDecoder decoder;
  av_log_set_level(AV_LOG_ERROR);
  int compared = 0;
  for (const ColourModel model : {ColourModel::grey, ColourModel::rgb, ColourModel::cmyk})
    for (const int bits : {2, 7, 8, 10, 12, 15, 16})
      for (int predictor = 1; predictor <= 7; ++predictor)
        for (const bool full : {false, true})
          for (const int variation : {0, 1, 2}) {
            const Image image = picture(variation ? 37 : 1, 23, model, bits, full);
            JpegEncodeOptions o;
            o.process = JpegProcess::lossless;
            o.predictor = predictor;
            o.pointTransform = variation == 2 ? bits / 3 : 0;
            o.restartRows = variation == 1 ? 5 : 0;
            o.optimiseTables = predictor % 2;
            const Bytes file = encodeJpeg(image, o);
            const Image expected = shifted(image, o.pointTransform), back = decodeJpeg(file.data(), file.size());
            const std::string what = std::to_string(bits) + " bits, predictor " + std::to_string(predictor) +
                                     ", variation " + std::to_string(variation);
            ASSERT_EQ(back.model(), model) << what;
            ASSERT_EQ(back.bitDepth(), bits) << what;
            ASSERT_EQ(difference(expected, back).differing, 0u) << what;
            // The peer knows one and three components and scales samples of other depths. It reads 16 bits behind a
            // difference of -32768, which has none (T.81 H.1.2.2).
            if (model == ColourModel::cmyk || (bits != 8 && (bits != 16 || full))) continue;
            const peer::Freed<AVFrame> frame = decoder.decode(file);
            for (int y = 0; y < image.height(); ++y)
              for (int x = 0; x < image.width(); ++x)
                for (int c = 0; c < image.channels(); ++c)
                  ASSERT_EQ(peerSample(*frame, x, y, c), expected.sample(y, x * image.channels() + c))
                      << what << " at " << x << ", " << y << ", channel " << c << ", full " << full;
            ++compared;
          }
  EXPECT_GT(compared, 100);
}

TEST(JpegLossless, WhatThePeerWritesIsRead) {
  for (const AVPixelFormat format : {AV_PIX_FMT_YUVJ444P, AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_YUVJ420P})
    for (const int predictor : {1, 2, 3})
      for (const auto& [w, h] : std::vector<std::pair<int, int>>{{64, 32}, {37, 23}}) {
        peer::LosslessEncoder encoder(w, h, format, predictor);
        AVFrame* const f = encoder.frame();
        const int across = format == AV_PIX_FMT_YUVJ444P ? 1 : 2, down = format == AV_PIX_FMT_YUVJ420P ? 2 : 1;
        for (int c = 0; c < 3; ++c)
          for (int y = 0; y < (c ? (h + down - 1) / down : h); ++y)
            for (int x = 0; x < (c ? (w + across - 1) / across : w); ++x)
              f->data[c][y * f->linesize[c] + x] = uint8_t(x * (c + 3) + y * 7 + (x * y % 5) * 40);
        const Bytes file = encoder.encode();
        JpegDecodeOptions o;
        o.smooth = o.convertColour = false;
        const Image image = decodeJpeg(file.data(), file.size(), o);
        ASSERT_EQ(image.width(), w);
        ASSERT_EQ(image.height(), h);
        ASSERT_EQ(image.channels(), 3);
        for (int y = 0; y < h; ++y)
          for (int x = 0; x < w; ++x)
            for (int c = 0; c < 3; ++c)
              ASSERT_EQ(image.row(y)[3 * x + c], f->data[c][y / (c ? down : 1) * f->linesize[c] + x / (c ? across : 1)])
                  << av_get_pix_fmt_name(format) << ", predictor " << predictor << " at " << x << ", " << y;
      }
}

TEST(JpegLossless, WhatCannotBeEncodedIsRefused) {
  const Image image = picture(20, 10, ColourModel::grey, 8, false);
  const auto refused = [&](const std::function<void(JpegEncodeOptions*)>& change) {
    JpegEncodeOptions o;
    o.process = JpegProcess::lossless;
    change(&o);
    EXPECT_THROW(encodeJpeg(image, o), Error);
  };
  refused([](JpegEncodeOptions* o) { o->predictor = 0; });
  refused([](JpegEncodeOptions* o) { o->predictor = 8; });
  refused([](JpegEncodeOptions* o) { o->pointTransform = 8; });
  refused([](JpegEncodeOptions* o) { o->restartInterval = 30; });  // one and a half rows
  refused([](JpegEncodeOptions* o) { o->restartRows = 4000; });
}

}  // namespace
