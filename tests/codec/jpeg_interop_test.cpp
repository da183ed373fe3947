// Files that we write, read by an independent library, and the other way round: the same coefficients, and pixels
// within what two exact enough decoders may differ.
#include <tuple>

#include "peer.h"

using namespace zelcodecs;
using peer::Bytes;
using zeltest::picture;

namespace {

void expectSameCoefficients(const JpegCoefficients& a, const JpegCoefficients& b, int bound = 0) {
  ASSERT_EQ(a.components.size(), b.components.size());
  ASSERT_EQ(std::tie(a.width, a.height), std::tie(b.width, b.height));
  for (size_t i = 0; i < a.components.size(); ++i) {
    const auto &p = a.components[i], &q = b.components[i];
    ASSERT_EQ(std::tie(p.id, p.h, p.v, p.storedWide), std::tie(q.id, q.h, q.v, q.storedWide));
    ASSERT_TRUE(std::equal(p.quant, p.quant + 64, q.quant)) << "table of component " << i;
    for (int y = 0; y < p.blocksHigh; ++y) {  // stored blocks outside the picture are the encoder's own affair
      const size_t row = 64 * size_t(y * p.storedWide);
      for (size_t k = row; k < row + 64 * size_t(p.blocksWide); ++k)
        ASSERT_NEAR(p.values[k], q.values[k], bound)
            << "component " << i << ", block row " << y << ", value " << k - row;
    }
  }
}

// Both inverse transforms are within 1 of the exact one rounded, and then differ by at most 1 (two roundings of nearly
// the same number). So Y, Cb and Cr differ by 1 each at the most: R by 1 + 1.402, G by 1 + 0.344 + 0.714, B by 1
// + 1.772, and with each side's own rounding by less than 1 more: 3. The peer clamps components to 0..255 before it
// converts them, we only at the end, so pixels with a clamped component are left out; they must be few. Grey and
// unconverted components: 1.
void expectSamePixels(const Bytes& file, bool smooth) {
  JpegDecodeOptions options;
  options.smooth = smooth;
  const Image ours = decodeJpeg(file.data(), file.size(), options);
  const Image theirs = peer::read(file, smooth), raw = peer::read(file, smooth, true);
  ASSERT_EQ(std::make_tuple(ours.width(), ours.height(), ours.model()),
            std::make_tuple(theirs.width(), theirs.height(), theirs.model()));
  const JpegInfo info = readJpegInfo(file.data(), file.size());
  const int bound = info.colour == "YCbCr" || info.colour == "YCCK" ? 3 : 1, channels = ours.channels();
  int clamped = 0;
  for (int y = 0; y < ours.height(); ++y)
    for (int x = 0; x < ours.width(); ++x) {
      const uint8_t *at = raw.row(y) + x * channels, *const end = at + channels;
      if (std::any_of(at, end, [](int v) { return v == 0 || v == 255; })) {
        ++clamped;
        continue;
      }
      for (int i = x * channels; i < (x + 1) * channels; ++i) {
        const int expected = ours.model() == ColourModel::cmyk ? 255 - theirs.row(y)[i] : theirs.row(y)[i];
        ASSERT_NEAR(ours.row(y)[i], expected, bound) << "at " << x << ", " << y << ", smooth " << smooth;
      }
    }
  ASSERT_LE(clamped, ours.width() * ours.height() / 4);
}

JpegCoefficients coefficients(const Bytes& file) { return readJpegCoefficients(file.data(), file.size()); }

void expectSameReading(const Bytes& file) {
  expectSameCoefficients(coefficients(file), peer::coefficients(file));
  for (const bool smooth : {false, true}) expectSamePixels(file, smooth);
}

TEST(JpegInterop, PeerReadsWhatWeWrite) {
  for (const ColourModel model : {ColourModel::grey, ColourModel::rgb, ColourModel::cmyk})
    for (const Sampling s : {Sampling::s444, Sampling::s422, Sampling::s420})
      for (const int quality : {1, 30, 75, 95, 100})
        for (const auto& [w, h] : std::vector<std::pair<int, int>>{{1, 1}, {7, 33}, {16, 16}, {17, 15}, {100, 41}}) {
          SCOPED_TRACE("quality " + std::to_string(quality) + ", width " + std::to_string(w));
          JpegEncodeOptions o;
          o.sampling = s;
          o.quality = quality;
          o.restartInterval = w == 100 ? quality % 4 : 0;
          o.chromaByPlane = w == 17;
          o.ycck = h != 33;
          const Bytes file = encodeJpeg(picture(w, h, model), o);
          expectSameReading(file);
          // The same blocks, whatever they are coded by.
          for (const bool progressive : {false, true})
            for (const int rows : {0, 1}) {
              o.process = progressive ? JpegProcess::progressive : JpegProcess::baseline;
              o.optimiseTables = !progressive;
              o.restartInterval = 0;
              o.restartRows = rows;
              const Bytes other = encodeJpeg(picture(w, h, model), o);
              expectSameCoefficients(peer::coefficients(other), coefficients(file));
              expectSameCoefficients(coefficients(other), coefficients(file));
            }
        }
}

// Chroma averaged in planes is what the peer does: nearly the same coefficients, behind edges continued as its own.
// From full-precision differences they are within a rounding of chroma more.
TEST(JpegInterop, SamplesAreThePeersOwn) {
  for (const char* factors : {"11", "21", "22"})
    for (const auto& [w, h] : {std::make_pair(80, 64), std::make_pair(19, 11)})
      for (const bool byPlane : {true, false}) {
        SCOPED_TRACE(factors);
        const Image image = picture(w, h, ColourModel::rgb);
        JpegEncodeOptions o;
        o.sampling = factors[0] == '1' ? Sampling::s444 : factors[1] == '1' ? Sampling::s422 : Sampling::s420;
        o.quality = 100;
        o.chromaByPlane = byPlane;
        peer::WriteOptions p;
        p.factors = factors;
        p.quality = 100;
        expectSameCoefficients(coefficients(encodeJpeg(image, o)), peer::coefficients(peer::write(image, p)), 5);
      }
}

TEST(JpegInterop, WeReadEverySamplingThatThePeerWrites) {
  for (const char* factors :
       {"11", "21", "12", "22", "41", "14", "42", "24", "22 21 12", "22 12 12", "11 22 11", "21 21 21", "41 21 11"})
    for (const auto& [w, h] : std::vector<std::pair<int, int>>{{1, 1}, {8, 8}, {33, 9}, {31, 33}, {16, 32}})
      for (int variation = 0; variation < 6; ++variation) {
        SCOPED_TRACE(std::string(factors) + ", width " + std::to_string(w) + ", " + std::to_string(variation));
        peer::WriteOptions o;
        o.factors = factors;
        o.optimise = variation & 1;
        o.restart = variation == 2 ? 1 + w % 3 : variation == 5 ? 1 + w % 5 : 0;
        if (variation == 3) o.script = parseScanScript("0; 1; 2");
        if (variation > 3) o.script = defaultScanScript(3, variation == 4);
        o.quality = 60 + 8 * variation;
        expectSameReading(peer::write(picture(w, h, ColourModel::rgb), o));
      }
}

// An MCU of an interleaved scan has at most 10 blocks. A frame whose scans have one component each may have factors
// that would make up to 64.
TEST(JpegInterop, FactorsThatNoInterleavedScanCouldHave) {
  for (const std::string factors : {"22 22 22", "42 42 11", "44 44 44", "44 44 44 44"})
    for (const bool progressive : {false, true}) {
      SCOPED_TRACE(factors + (progressive ? ", progressive" : ""));
      const bool ink = factors.size() > 8;
      peer::WriteOptions o;
      o.factors = factors;
      o.coding = ink ? JCS_CMYK : JCS_YCbCr;
      for (int i = 0; i < 3 + ink; ++i) {
        o.script.push_back({{i}, 0, progressive ? 0 : 63, 0, 0});
        if (progressive) o.script.push_back({{i}, 1, 63, 0, 0});
      }
      expectSameReading(peer::write(picture(75, 50, ink ? ColourModel::cmyk : ColourModel::rgb), o));
    }
}

TEST(JpegInterop, WeReadEveryColourCoding) {
  for (const J_COLOR_SPACE coding : {JCS_GRAYSCALE, JCS_RGB, JCS_YCbCr, JCS_CMYK, JCS_YCCK})
    for (const char* factors : {"", "21 11 11 21", "22 11 11 22"}) {  // of a single component they mean nothing
      SCOPED_TRACE(std::to_string(coding) + ", " + factors);
      peer::WriteOptions o;
      o.coding = coding;
      o.factors = factors;
      o.optimise = true;
      o.restart = o.factors.empty() ? 0 : 7;
      const ColourModel model = coding == JCS_GRAYSCALE                    ? ColourModel::grey
                                : coding == JCS_RGB || coding == JCS_YCbCr ? ColourModel::rgb
                                                                           : ColourModel::cmyk;
      expectSameReading(peer::write(picture(301, 203, model), o));
    }
}

// Without the Adobe marker CMYK is as it stands: 0 is no ink.
TEST(JpegInterop, CmykWithoutAdobeMarkerIsNotInverted) {
  peer::WriteOptions o;
  o.coding = JCS_CMYK;
  const Bytes file = peer::write(picture(24, 16, ColourModel::cmyk), o);
  JpegCoefficients c = coefficients(file);
  ASSERT_EQ(c.adobeTransform, 0);
  c.adobeTransform = -1;
  const Bytes plain = writeJpegCoefficients(c);
  const Image a = decodeJpeg(file.data(), file.size()), b = decodeJpeg(plain.data(), plain.size());
  for (size_t i = 0; i < a.sizeBytes(); ++i) ASSERT_EQ(a.data()[i], 255 - b.data()[i]);
}

// A baseline file in two scans; scans that leave bits or positions out.
const char* const kScripts[] = {
    "0; 1 2;",
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
  // DC begins; then any order in which each sequence of its own stays.
  std::vector<JpegScan> script(dc.begin(), dc.begin() + (together ? 1 : 3));
  size_t d = script.size(), a = 0;
  while (d < dc.size() || a < ac.size()) {
    const bool refineDc = a == ac.size() || (d < dc.size() && below(4) == 0);
    script.push_back(refineDc ? dc[d++] : ac[a++]);
  }
  return script;
}

TEST(JpegInterop, EveryScanScriptBothWays) {
  std::mt19937 r(5);
  std::vector<std::vector<JpegScan>> scripts;
  for (const char* s : kScripts) scripts.push_back(parseScanScript(s));
  while (scripts.size() < 60) scripts.push_back(randomScript(&r));
  for (size_t i = 0; i < scripts.size(); ++i) {
    SCOPED_TRACE("script " + std::to_string(i));
    const Image image = picture(40 + int(r() % 60), 20 + int(r() % 40), ColourModel::rgb);
    JpegEncodeOptions o;
    o.process = i ? JpegProcess::progressive : JpegProcess::baseline;
    o.quality = 50 + int(r() % 51);
    o.script = scripts[i];
    o.restartInterval = r() % 2 ? int(r() % 9) : 0;
    const Bytes ours = encodeJpeg(image, o);
    const JpegCoefficients c = coefficients(ours);
    expectSameCoefficients(peer::coefficients(ours), c);
    JpegWriteOptions w;  // and written back in another order
    w.optimiseTables = i & 1;
    w.interleaved = i & 2;
    w.restartInterval = int(i / 4 % 3 * 3);
    const Bytes again = writeJpegCoefficients(c, w);
    expectSameCoefficients(peer::coefficients(again), c);
    expectSameCoefficients(coefficients(again), c);
    peer::WriteOptions p;
    p.script = scripts[i];
    p.quality = o.quality;
    p.restart = o.restartInterval;
    p.factors = std::to_string(11 + r() % 2 * 10 + r() % 2);
    expectSameReading(peer::write(image, p));
    // The picture from the scans that are there, where a file ends early.
    const JpegInfo info = readJpegInfo(ours.data(), ours.size());
    size_t dc = 0, left = 3;
    for (; left > 0; ++dc)
      if (info.scans[dc].ss == 0 && info.scans[dc].ah == 0) left -= info.scans[dc].components.size();
    const JpegInfo::Scan& last = info.scans[dc - 1 + r() % (info.scans.size() - dc + 1)];
    const Bytes early = zeltest::joined({zeltest::part(ours, 0, last.offset + last.bytes), {0xFF, 0xD9}});
    expectSameCoefficients(peer::coefficients(early), coefficients(early));
    if (i) expectSamePixels(early, true);
  }
}

// Tables fitted to the same coefficients are the peer's, code for code: so is the whole scan.
TEST(JpegInterop, FittedTablesAreThePeersOwn) {
  for (const int quality : {20, 75, 95, 100}) {
    peer::WriteOptions o;
    o.quality = quality;
    o.optimise = true;
    const Bytes theirs = peer::write(picture(200, 100, ColourModel::grey), o);
    JpegWriteOptions w;
    w.optimiseTables = true;
    const Bytes ours = writeJpegCoefficients(coefficients(theirs), w);
    const auto tables = [marker = Bytes{0xFF, 0xC4}](const Bytes& b) {
      return Bytes(std::search(b.begin(), b.end(), marker.begin(), marker.end()), b.end());
    };
    ASSERT_EQ(tables(theirs), tables(ours)) << "quality " << quality;
  }
}

// Restart intervals, scans and rows are divided: intervals that end with rows, with every third row, and with hardly
// any, shorter and longer than a row. The picture is large enough for that.
TEST(JpegInterop, ThreadsChangeNothing) {
  for (const JpegProcess process : {JpegProcess::baseline, JpegProcess::progressive, JpegProcess::lossless})
    for (int kind = 0; kind < 7; ++kind) {
      SCOPED_TRACE("kind " + std::to_string(kind));
      JpegEncodeOptions o;
      o.process = process;
      o.quality = kind == 6 ? 98 : 85;
      o.restartRows = kind < 6 ? kind % 2 * 2 : 0;
      if (kind > 3 && process != JpegProcess::lossless) o.restartInterval = kind == 4 ? 9 : kind == 5 ? 100 : 400;
      o.optimiseTables = kind == 2 || kind == 3;
      o.chromaByPlane = kind == 4;
      o.sampling = kind > 1 ? Sampling::s444 : Sampling::s420;
      const ColourModel model = kind == 5 ? ColourModel::cmyk : kind == 6 ? ColourModel::grey : ColourModel::rgb;
      const Image image = picture(1201, 330, model);
      zeltest::expectThreadsChangeNothing(image, encodeJpeg, o, decodeJpeg, 3000);
    }
}

// Threads begin in the midst of the data, and meet: all the same they see what one thread sees, of whole files and of
// damaged ones, up to the damage and behind it. Where all components have the same tables, most never meet.
TEST(JpegInterop, ThreadsSeeTheSameDamage) {
  std::vector<Bytes> files = {peer::write(picture(640, 500, ColourModel::grey), {})};
  const auto add = [&](const char* factors, int quality, J_COLOR_SPACE coding, const char* script) {
    peer::WriteOptions o;
    o.factors = factors;
    o.quality = quality;
    o.coding = coding;
    o.script = parseScanScript(script);
    files.push_back(peer::write(picture(640, 500, ColourModel::rgb), o));
  };
  add("11", 98, JCS_YCbCr, "");
  add("22", 80, JCS_YCbCr, "");
  add("22 21 12", 60, JCS_YCbCr, "");
  add("21", 80, JCS_YCbCr, "0; 1, 2");
  add("11", 80, JCS_RGB, "");
  add("22", 80, JCS_YCbCr, "0,1,2: 0-0,0,1; 0: 1-63,0,1; 1: 1-63,0,0; 2: 1-63,0,0; 0: 1-63,1,0; 0,1,2: 0-0,1,0");
  std::mt19937 r(5);
  for (const Bytes& file : files)
    for (int i = 0; i < 24; ++i) {
      SCOPED_TRACE(std::to_string(&file - files.data()) + ", damage " + std::to_string(i));
      Bytes damaged = file;
      const JpegInfo::Scan scan = readJpegInfo(file.data(), file.size()).scans[0];
      const size_t at = i == 0 ? scan.offset + scan.bytes : 700 + r() % (file.size() - 702);
      if (i == 0) damaged.insert(damaged.begin() + long(at), {0xFF, 0xD3});
      if (i % 4 == 1) damaged[at] ^= uint8_t(1U << r() % 8);
      if (i % 4 == 2) damaged.resize(at);
      if (i % 4 == 3) damaged.insert(damaged.begin() + long(at), {0xFF, uint8_t(0xC0 + r() % 32)});
      std::vector<std::string> first;
      for (const int threads : {1, 2, 3, 16}) {
        std::vector<std::string> seen;
        for (const bool keepGoing : {false, true}) {
          JpegDecodeOptions d;
          d.threads = threads;
          d.keepGoing = keepGoing;
          d.warnings = &seen;
          if (i > 20) d.region = {100, 200, 300, 150};
          try {
            const Image image = decodeJpeg(damaged.data(), damaged.size(), d);
            seen.emplace_back(image.data(), image.data() + image.sizeBytes());
          } catch (const Error& e) {
            seen.emplace_back(e.what());
          }
        }
        if (threads == 1) first = seen;
        ASSERT_TRUE(seen == first) << threads << " threads";
      }
    }
}

}  // namespace
