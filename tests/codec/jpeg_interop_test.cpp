// Files that we write, read by an independent library, and the other way round: the same coefficients, and pixels
// within what two exact enough decoders may differ.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "peer.h"
#include "png_file.h"

using namespace zelcodecs;
using peer::Bytes;

namespace {

using Factors = std::vector<std::pair<int, int>>;

void expectSameCoefficients(const JpegCoefficients& a, const JpegCoefficients& b, const std::string& what) {
  ASSERT_EQ(a.components.size(), b.components.size()) << what;
  ASSERT_EQ(std::make_pair(a.width, a.height), std::make_pair(b.width, b.height)) << what;
  for (size_t i = 0; i < a.components.size(); ++i) {
    const auto &p = a.components[i], &q = b.components[i];
    ASSERT_TRUE(p.id == q.id && p.h == q.h && p.v == q.v && p.storedWide == q.storedWide) << what;
    ASSERT_TRUE(std::equal(p.quant, p.quant + 64, q.quant)) << what << ", table of component " << i;
    for (int y = 0; y < p.blocksHigh; ++y) {  // stored blocks outside the picture are the encoder's own affair
      const size_t row = 64 * static_cast<size_t>(y * p.storedWide);
      for (size_t k = row; k < row + 64 * static_cast<size_t>(p.blocksWide); ++k)
        ASSERT_EQ(p.values[k], q.values[k])
            << what << ", component " << i << ", block row " << y << ", value " << k - row;
    }
  }
}

// Both inverse transforms are within 1 of the exact one rounded, and then differ by at most 1 (two roundings of nearly
// the same number). So Y, Cb and Cr differ by 1 each at the most: R by 1 + 1.402, G by 1 + 0.344 + 0.714, B by 1
// + 1.772, and with each side's own rounding by less than 1 more: 3. The peer clamps components to 0..255 before it
// converts them, we only at the end, so pixels with a clamped component are left out; they must be few. Grey and
// unconverted components: 1.
void expectSamePixels(const Bytes& file, const Image& ours, const std::string& what) {
  const Image theirs = peer::read(file), raw = peer::read(file, true);
  ASSERT_TRUE(ours.width() == theirs.width() && ours.height() == theirs.height() && ours.model() == theirs.model())
      << what;
  const JpegInfo info = readJpegInfo(file.data(), file.size());
  const int bound = info.colour == "YCbCr" || info.colour == "YCCK" ? 3 : 1, channels = ours.channels();
  size_t clamped = 0;
  for (int y = 0; y < ours.height(); ++y)
    for (int x = 0; x < ours.width(); ++x) {
      const int i = x * channels;
      bool inside = true;
      for (int c = 0; c < channels; ++c) inside &= raw.row(y)[i + c] > 0 && raw.row(y)[i + c] < 255;
      clamped += !inside;
      for (int c = 0; c < channels && inside; ++c) {
        const int expected = ours.model() == ColourModel::cmyk ? 255 - theirs.row(y)[i + c] : theirs.row(y)[i + c];
        ASSERT_NEAR(ours.row(y)[i + c], expected, bound) << what << " at " << x << ", " << y << ", channel " << c;
      }
    }
  ASSERT_LE(clamped, static_cast<size_t>(ours.width()) * static_cast<size_t>(ours.height()) / 4) << what;
}

void expectSameReading(const Bytes& file, const std::string& what) {
  expectSameCoefficients(readJpegCoefficients(file.data(), file.size()), peer::coefficients(file), what);
  expectSamePixels(file, decodeJpeg(file.data(), file.size()), what);
}

TEST(JpegInterop, PeerReadsWhatWeWrite) {
  for (const ColourModel model : {ColourModel::grey, ColourModel::rgb})
    for (const Sampling s : {Sampling::s444, Sampling::s422, Sampling::s420})
      for (const int quality : {1, 30, 75, 95, 100})
        for (const auto& [w, h] : std::vector<std::pair<int, int>>{{1, 1}, {7, 33}, {16, 16}, {17, 15}, {100, 41}}) {
          JpegEncodeOptions o;
          o.sampling = s;
          o.quality = quality;
          o.restartInterval = w == 100 ? quality % 4 : 0;
          const Bytes file = encodeJpeg(peer::picture(w, h, model), o);
          const std::string what = "quality " + std::to_string(quality) + ", width " + std::to_string(w);
          expectSameCoefficients(readJpegCoefficients(file.data(), file.size()), peer::coefficients(file), what);
          expectSamePixels(file, decodeJpeg(file.data(), file.size()), what);
        }
}

// Edges must be continued by replication: nothing of the padding shows, and a flat picture stays flat.
TEST(JpegInterop, FlatPicturesStayFlat) {
  for (const Sampling s : {Sampling::s444, Sampling::s422, Sampling::s420}) {
    Image image(19, 11, ColourModel::rgb);
    for (size_t i = 0; i < image.sizeBytes(); ++i) image.data()[i] = i % 3 == 0 ? 200 : i % 3 == 1 ? 90 : 30;
    JpegEncodeOptions o;
    o.sampling = s;
    o.quality = 100;
    const Bytes file = encodeJpeg(image, o);
    for (const Image& back : {decodeJpeg(file.data(), file.size()), peer::read(file)})
      for (size_t i = 0; i < image.sizeBytes(); ++i) ASSERT_NEAR(back.data()[i], image.data()[i], 2);
  }
}

TEST(JpegInterop, WeReadEverySamplingThatThePeerWrites) {
  const std::vector<Factors> samplings = {{{1, 1}},
                                          {{2, 1}},
                                          {{1, 2}},
                                          {{2, 2}},
                                          {{4, 1}},
                                          {{1, 4}},
                                          {{4, 2}},
                                          {{2, 4}},
                                          {{2, 2}, {2, 1}, {1, 2}},
                                          {{2, 2}, {1, 2}, {1, 2}},
                                          {{1, 1}, {2, 2}, {1, 1}},
                                          {{2, 1}, {2, 1}, {2, 1}},
                                          {{4, 1}, {2, 1}, {1, 1}}};
  const std::vector<std::pair<int, int>> sizes = {{1, 1}, {8, 8}, {33, 9}, {31, 33}, {16, 32}};
  for (const Factors& f : samplings)
    for (const auto& [w, h] : sizes)
      for (int variation = 0; variation < 4; ++variation) {
        peer::WriteOptions o;
        o.factors = f;
        o.optimise = variation & 1;
        o.restart = variation == 2 ? 1 + w % 3 : 0;
        o.interleaved = variation != 3;
        o.quality = 60 + 10 * variation;
        const std::string what = std::to_string(f[0].first) + "x" + std::to_string(f[0].second) + " of " +
                                 std::to_string(f.size()) + ", " + std::to_string(w) + "x" + std::to_string(h) +
                                 ", variation " + std::to_string(variation);
        expectSameReading(peer::write(peer::picture(w, h, ColourModel::rgb), o), what);
      }
}

TEST(JpegInterop, WeReadEveryColourCoding) {
  for (const J_COLOR_SPACE coding : {JCS_RGB, JCS_YCbCr, JCS_CMYK, JCS_YCCK})
    for (const Factors& f :
         {Factors{}, Factors{{2, 1}, {1, 1}, {1, 1}, {2, 1}}, Factors{{2, 2}, {1, 1}, {1, 1}, {2, 2}}}) {
      peer::WriteOptions o;
      o.coding = coding;
      o.factors = f;
      o.optimise = true;
      const bool ink = coding == JCS_CMYK || coding == JCS_YCCK;
      const Bytes file = peer::write(peer::picture(45, 37, ink ? ColourModel::cmyk : ColourModel::rgb), o);
      expectSameReading(file, "coding " + std::to_string(coding));
    }
  for (const Factors& f : {Factors{}, Factors{{2, 2}}}) {  // the factors of a single component mean nothing
    peer::WriteOptions o;
    o.factors = f;
    expectSameReading(peer::write(peer::picture(45, 37, ColourModel::grey), o), "grey");
  }
}

// Without the Adobe marker CMYK is as it stands: 0 is no ink.
TEST(JpegInterop, CmykWithoutAdobeMarkerIsNotInverted) {
  peer::WriteOptions o;
  o.coding = JCS_CMYK;
  const Bytes file = peer::write(peer::picture(24, 16, ColourModel::cmyk), o);
  JpegCoefficients c = readJpegCoefficients(file.data(), file.size());
  ASSERT_EQ(c.adobeTransform, 0);
  c.adobeTransform = -1;
  const Bytes plain = writeJpegCoefficients(c);
  const Image a = decodeJpeg(file.data(), file.size()), b = decodeJpeg(plain.data(), plain.size());
  for (size_t i = 0; i < a.sizeBytes(); ++i) ASSERT_EQ(a.data()[i], 255 - b.data()[i]);
}

TEST(JpegInterop, Photographs) {
  std::ifstream in(ZELJ_IMAGES "/coffee.png", std::ios::binary);
  const Bytes png{std::istreambuf_iterator<char>(in), {}};
  const Image photo = readPng(png.data(), png.size());
  for (const Factors& f : {Factors{}, Factors{{2, 1}}, Factors{{2, 2}}, Factors{{1, 2}}}) {
    peer::WriteOptions o;
    o.factors = f;
    o.restart = f.empty() ? 0 : 7;
    expectSameReading(peer::write(photo, o), "coffee");
  }
  const Bytes ours = encodeJpeg(photo);
  expectSameReading(ours, "coffee, ours");
}

// Coefficients written back, in other tables, orders and with markers, are the same coefficients.
TEST(JpegInterop, CoefficientsSurviveRewriting) {
  const Bytes file = encodeJpeg(peer::picture(77, 50, ColourModel::rgb));
  const JpegCoefficients c = readJpegCoefficients(file.data(), file.size());
  for (const bool optimise : {false, true})
    for (const bool interleaved : {false, true})
      for (const int restart : {0, 1, 5}) {
        JpegWriteOptions o;
        o.optimiseTables = optimise;
        o.interleaved = interleaved;
        o.restartInterval = restart;
        const Bytes again = writeJpegCoefficients(c, o);
        expectSameCoefficients(peer::coefficients(again), c, "rewritten");
        expectSameCoefficients(readJpegCoefficients(again.data(), again.size()), c, "rewritten");
        if (optimise && !restart) {
          EXPECT_LT(again.size(), file.size());
        }
      }
}

}  // namespace
