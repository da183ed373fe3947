// Files that we write, read by an independent library, and the other way round: the same coefficients, and pixels
// within what two exact enough decoders may differ.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "error.h"
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
    ASSERT_EQ(p.id, q.id) << what;
    ASSERT_EQ(p.h, q.h) << what;
    ASSERT_EQ(p.v, q.v) << what;
    ASSERT_EQ(p.storedWide, q.storedWide) << what;
    ASSERT_TRUE(std::equal(p.quant, p.quant + 64, q.quant)) << what << ", table of component " << i;
    for (int y = 0; y < p.blocksHigh; ++y) {  // stored blocks outside the picture are the encoder's own affair
      const size_t row = 64 * size_t(y * p.storedWide);
      for (size_t k = row; k < row + 64 * size_t(p.blocksWide); ++k)
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
void expectSamePixels(const Bytes& file, bool smooth, const std::string& what) {
  JpegDecodeOptions options;
  options.smooth = smooth;
  const Image ours = decodeJpeg(file.data(), file.size(), options);
  const Image theirs = peer::read(file, smooth), raw = peer::read(file, smooth, true);
  ASSERT_EQ(ours.width(), theirs.width()) << what;
  ASSERT_EQ(ours.height(), theirs.height()) << what;
  ASSERT_EQ(ours.model(), theirs.model()) << what;
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
  ASSERT_LE(clamped, size_t(ours.width()) * size_t(ours.height()) / 4) << what;
}

JpegCoefficients coefficients(const Bytes& file) { return readJpegCoefficients(file.data(), file.size()); }

void expectSameReading(const Bytes& file, const std::string& what) {
  expectSameCoefficients(coefficients(file), peer::coefficients(file), what);
  for (const bool smooth : {false, true}) expectSamePixels(file, smooth, what + (smooth ? ", smooth" : ""));
}

TEST(JpegInterop, PeerReadsWhatWeWrite) {
  for (const ColourModel model : {ColourModel::grey, ColourModel::rgb, ColourModel::cmyk})
    for (const Sampling s : {Sampling::s444, Sampling::s422, Sampling::s420})
      for (const int quality : {1, 30, 75, 95, 100})
        for (const auto& [w, h] : std::vector<std::pair<int, int>>{{1, 1}, {7, 33}, {16, 16}, {17, 15}, {100, 41}}) {
          JpegEncodeOptions o;
          o.sampling = s;
          o.quality = quality;
          o.restartInterval = w == 100 ? quality % 4 : 0;
          o.chromaByPlane = w == 17;
          o.ycck = h != 33;
          const Bytes file = encodeJpeg(peer::picture(w, h, model), o);
          const std::string what = "quality " + std::to_string(quality) + ", width " + std::to_string(w);
          expectSameReading(file, what);
          // The same blocks, whatever they are coded by.
          for (const bool progressive : {false, true})
            for (const int rows : {0, 1}) {
              o.process = progressive ? JpegProcess::progressive : JpegProcess::baseline;
              o.optimiseTables = !progressive;
              o.restartInterval = 0;
              o.restartRows = rows;
              const Bytes other = encodeJpeg(peer::picture(w, h, model), o);
              expectSameCoefficients(peer::coefficients(other), coefficients(file), what);
              expectSameCoefficients(coefficients(other), coefficients(file), what);
            }
        }
}

// Chroma averaged in planes is what the peer does: the same samples, and so nearly the same coefficients.
TEST(JpegInterop, ChromaByPlaneIsThePeersOwn) {
  for (const Sampling s : {Sampling::s422, Sampling::s420}) {
    const Image image = peer::picture(80, 64, ColourModel::rgb);
    JpegEncodeOptions o;
    o.sampling = s;
    o.quality = 100;
    o.chromaByPlane = true;
    peer::WriteOptions p;
    p.factors = {{2, s == Sampling::s420 ? 2 : 1}};
    p.quality = 100;
    const JpegCoefficients ours = coefficients(encodeJpeg(image, o)),
                           theirs = peer::coefficients(peer::write(image, p));
    for (size_t c = 0; c < 3; ++c)
      for (size_t k = 0; k < ours.components[c].values.size(); ++k)
        ASSERT_NEAR(ours.components[c].values[k], theirs.components[c].values[k], 5) << "component " << c << ", " << k;
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
    for (const Image& back : {decodeJpeg(file.data(), file.size()), peer::read(file, true)})
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
      for (int variation = 0; variation < 6; ++variation) {
        peer::WriteOptions o;
        o.factors = f;
        o.optimise = variation & 1;
        o.restart = variation == 2 ? 1 + w % 3 : 0;
        o.interleaved = variation != 3;
        if (variation > 3) o.script = defaultScanScript(3, variation == 4);
        if (variation == 5) o.restart = 1 + w % 5;
        o.quality = 60 + 8 * variation;
        const std::string what = std::to_string(f[0].first) + "x" + std::to_string(f[0].second) + " of " +
                                 std::to_string(f.size()) + ", " + std::to_string(w) + "x" + std::to_string(h) +
                                 ", variation " + std::to_string(variation);
        expectSameReading(peer::write(peer::picture(w, h, ColourModel::rgb), o), what);
      }
}

// An MCU of an interleaved scan has at most 10 blocks. A frame whose scans have one component each may have factors
// that would make up to 64.
TEST(JpegInterop, FactorsThatNoInterleavedScanCouldHave) {
  for (const Factors& f : {Factors{{2, 2}, {2, 2}, {2, 2}}, Factors{{4, 2}, {4, 2}, {1, 1}},
                           Factors{{4, 4}, {4, 4}, {4, 4}}, Factors{{4, 4}, {4, 4}, {4, 4}, {4, 4}}})
    for (const bool progressive : {false, true}) {
      const int components = int(f.size());
      peer::WriteOptions o;
      o.factors = f;
      o.coding = components == 4 ? JCS_CMYK : JCS_YCbCr;
      for (int i = 0; i < components; ++i) {
        if (!progressive) {
          o.script.push_back({{i}, 0, 63, 0, 0});
          continue;
        }
        o.script.push_back({{i}, 0, 0, 0, 0});
        o.script.push_back({{i}, 1, 63, 0, 0});
      }
      const ColourModel model = components == 4 ? ColourModel::cmyk : ColourModel::rgb;
      expectSameReading(peer::write(peer::picture(75, 50, model), o),
                        std::to_string(f[0].first) + "x" + std::to_string(f[0].second) + " of " +
                            std::to_string(components) + (progressive ? ", progressive" : ""));
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

// Spectral selection alone, successive approximation alone, both; scans that leave bits or positions out.
const char* const kScripts[] = {
    "0; 1 2;",
    "0,1,2: 0-0, 0, 0; 0: 1-2, 0, 0; 0: 3-5, 0, 0; 1: 1-63, 0, 0; 2: 1-63, 0, 0; 0: 6-9, 0, 0; 0: 10-63, 0, 0;",
    "0,1,2: 0-0, 0, 1; 0: 1-5, 0, 2; 2: 1-63, 0, 1; 1: 1-63, 0, 1; 0: 6-63, 0, 2; 0: 1-63, 2, 1; 0,1,2: 0-0, 1, 0;"
    "2: 1-63, 1, 0; 1: 1-63, 1, 0; 0: 1-63, 1, 0",
    "0 2: 0 0 0 3; # cyan is late\n 1: 0-0,0,0; 0 2: 0-0, 3, 2; 0 2: 0-0 2 1; 1: 63-63, 0, 5; 1: 63-63, 5, 4; 0: 0-0, "
    "1, 0"};

std::vector<JpegScan> randomScript(std::mt19937* r) {
  const auto below = [&](int n) { return int((*r)() % unsigned(n)); };
  std::vector<JpegScan> dc, ac;
  const int dcBits = below(4);
  const bool together = below(2);
  for (int al = dcBits; al >= 0; --al)
    for (int c = 0; c < (together ? 1 : 3); ++c)
      dc.push_back({together ? std::vector<int>{0, 1, 2} : std::vector<int>{c}, 0, 0, al == dcBits ? 0 : al + 1, al});
  for (int c = 0; c < 3; ++c)
    for (int ss = 1, se; ss < 64; ss = se + 1) {
      se = std::min(63, ss + below(30));
      const int top = below(5), bottom = below(4) ? 0 : std::min(1, top);
      for (int al = top; al >= bottom; --al) ac.push_back({{c}, ss, se, al == top ? 0 : al + 1, al});
    }
  // Any order in which each sequence of its own stays: DC begins, the rest is mixed.
  std::vector<JpegScan> script;
  size_t d = 0, a = 0;
  while (d < dc.size() || a < ac.size()) {
    const bool begun = d >= (together ? 1u : 3u);
    if (d < dc.size() && (!begun || a == ac.size() || below(4) == 0))
      script.push_back(dc[d++]);
    else
      script.push_back(ac[a++]);
  }
  return script;
}

TEST(JpegInterop, EveryScanScriptBothWays) {
  std::mt19937 r(5);
  std::vector<std::vector<JpegScan>> scripts;
  for (const char* s : kScripts) scripts.push_back(parseScanScript(s));
  while (scripts.size() < 60) scripts.push_back(randomScript(&r));
  for (size_t i = 0; i < scripts.size(); ++i) {
    const std::string what = "script " + std::to_string(i);
    const Image image = peer::picture(40 + int(r() % 60), 20 + int(r() % 40), ColourModel::rgb, 9);
    JpegEncodeOptions o;
    o.process = i ? JpegProcess::progressive : JpegProcess::baseline;
    o.quality = 50 + int(r() % 51);
    o.script = scripts[i];
    o.restartInterval = r() % 2 ? int(r() % 9) : 0;
    const Bytes ours = encodeJpeg(image, o);
    expectSameCoefficients(peer::coefficients(ours), coefficients(ours), what + ", ours");
    peer::WriteOptions p;
    p.script = scripts[i];
    p.quality = o.quality;
    p.restart = o.restartInterval;
    p.factors = {{1 + int(r() % 2), 1 + int(r() % 2)}};
    expectSameReading(peer::write(image, p), what + ", the peer's");
    // The picture from the scans that are there, where a file ends early.
    const JpegInfo info = readJpegInfo(ours.data(), ours.size());
    size_t dc = 0, left = 3;
    for (; left > 0; ++dc)
      if (info.scans[dc].ss == 0 && info.scans[dc].ah == 0) left -= info.scans[dc].components.size();
    const JpegInfo::Scan& last = info.scans[dc - 1 + r() % (info.scans.size() - dc + 1)];
    Bytes part(ours.begin(), ours.begin() + long(last.offset + last.bytes));
    part.insert(part.end(), {0xFF, 0xD9});
    expectSameCoefficients(peer::coefficients(part), coefficients(part), what + ", in part");
    if (i) expectSamePixels(part, true, what + ", in part");
  }
}

TEST(JpegInterop, ScriptsThatCannotBeAreRefused) {
  const Image image = peer::picture(8, 8, ColourModel::rgb);
  for (const char* s :
       {"", "0;1", "0,1,2: 0-0,0,0; 0: 1-63", "0,1,2: 0-5,0,0", "0,1,2: 0-0,0,1; 0,1: 1-63,0,0",
        "0: 1-63,0,0; 0,1,2: 0-0,0,0", "0,1,2: 0-0,0,2; 0: 0-0,2,0", "0,1,2: 0-0,0,0; 0,1,2: 0-0,0,0", "0,1,2: 0-0,1,0",
        "0,1,2: 0-0,0,14", "0,1,3: 0-0,0,0", "1,0,2: 0-0,0,0", "0,1,2: 0-0,0,0 0", "0,1,2: 0-0,0,999", "x"}) {
    JpegEncodeOptions o;
    o.process = JpegProcess::progressive;
    EXPECT_THROW(
        {
          o.script = parseScanScript(s);
          if (o.script.empty()) throw Error(ErrorKind::argument, "none");
          encodeJpeg(image, o);
        },
        Error)
        << s;
  }
}

// Tables fitted to the same coefficients are the peer's, code for code: so is the whole scan.
TEST(JpegInterop, FittedTablesAreThePeersOwn) {
  for (const int quality : {20, 75, 95, 100}) {
    peer::WriteOptions o;
    o.quality = quality;
    o.optimise = true;
    const Bytes theirs = peer::write(peer::picture(200, 100, ColourModel::grey), o);
    JpegWriteOptions w;
    w.optimiseTables = true;
    const Bytes ours = writeJpegCoefficients(coefficients(theirs), w);
    const auto tables = [](const Bytes& b) {
      const Bytes marker = {0xFF, 0xC4};
      return Bytes(std::search(b.begin(), b.end(), marker.begin(), marker.end()), b.end());
    };
    ASSERT_EQ(tables(theirs), tables(ours)) << "quality " << quality;
  }
}

// Files and pictures are the same for any number of threads; restart intervals, scans and rows are divided.
TEST(JpegInterop, ThreadsChangeNothing) {
  const Image image = peer::picture(150, 130, ColourModel::rgb);
  for (int kind = 0; kind < 12; ++kind) {
    JpegEncodeOptions o;
    o.process = kind % 3 == 0   ? JpegProcess::baseline
                : kind % 3 == 1 ? JpegProcess::progressive
                                : JpegProcess::lossless;
    o.restartRows = kind / 3 % 2 * 2;
    o.optimiseTables = kind >= 6;
    o.sampling = kind < 6 ? Sampling::s420 : Sampling::s444;
    o.threads = 1;
    const Bytes file = encodeJpeg(image, o);
    Bytes damaged = file;
    damaged[file.size() * 2 / 3] ^= 0x55;
    JpegDecodeOptions d;
    const auto picture = [&](const Bytes& f) {
      try {
        const Image i = decodeJpeg(f.data(), f.size(), d);
        return std::string(i.data(), i.data() + i.sizeBytes());
      } catch (const Error& e) {
        return std::string(e.what());
      }
    };
    d.threads = 1;
    const std::string whole = picture(file), broken = picture(damaged);
    for (const int threads : {2, 3, 5}) {
      o.threads = d.threads = threads;
      ASSERT_EQ(encodeJpeg(image, o), file) << "kind " << kind << ", " << threads << " threads";
      ASSERT_EQ(picture(file), whole) << "kind " << kind << ", " << threads << " threads";
      ASSERT_EQ(picture(damaged), broken) << "kind " << kind << ", " << threads << " threads";
    }
  }
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
