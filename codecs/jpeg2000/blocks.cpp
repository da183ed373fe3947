#include "jpeg2000/blocks.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "common/error.h"
#include "jpeg2000/packet.h"

namespace zelcodecs::jpeg2000 {

int coderFlags(int style) {
  return (style & kCausal ? zeliCodeBlockVerticallyCausal : 0) | (style & kBypass ? zeliCodeBlockBypass : 0) |
         (style & kTerminate ? zeliCodeBlockTerminateAll : 0) | (style & kReset ? zeliCodeBlockResetContexts : 0) |
         (style & kSegmentation ? zeliCodeBlockSegmentationSymbols : 0);
}

int coderBand(int kind) {
  constexpr int bands[4] = {zeliSubbandLL, zeliSubbandHL, zeliSubbandLH, zeliSubbandHH};
  return bands[kind];
}

// ---- Decoding -------------------------------------------------------------------------------------------------------

namespace {

using State = std::vector<uint8_t>;
ZeliDecodeCBProgrState_JPEG2K* record(State* s) { return reinterpret_cast<ZeliDecodeCBProgrState_JPEG2K*>(s->data()); }

// Raw segments end in ways that the primitive does not take for intact: other encoders fill the last byte with other
// bits, or leave out a last byte of 0xFF. Each way is tried in a copy, the shortest change first.
template <class Try>
bool tryEndings(const uint8_t* segment, size_t length, const Try& attempt) {
  std::vector<uint8_t> copy(segment, segment + length);
  for (int low = 0; low < 8; ++low) {
    std::vector<uint8_t> ended = copy;
    if (low) {
      if (ended.empty()) break;
      ended.back() = uint8_t((ended.back() & ~((1 << low) - 1)) | (0x55 & ((1 << low) - 1)));
    }
    if (!ended.empty() && ended.back() == 0xFF) ended.push_back(0x55);
    if (attempt(ended)) return true;
  }
  copy.insert(copy.end(), {0xFF, 0x55});
  return attempt(copy);
}

// Segment by segment, with the state and the samples kept so that a raw segment can be decoded again.
bool decodeWithOtherEndings(const CodeBlock& block, const uint8_t* data, ZeliSize size, int band, int sfBits, int flags,
                            State* state, int32_t* words) {
  const size_t bytes = size_t(size.width) * size_t(size.height) * 4;
  zeliDecodeCBProgrInit_JPEG2K(record(state));
  zeliDecodeCBProgrAttach_JPEG2K_32s_C1R(words, size.width * 4, size, record(state), band, sfBits, flags);
  zeliDecodeCBProgrSetPassCounter_JPEG2K(block.passes, record(state));
  for (size_t i = 0; i < block.segments.size(); ++i) {
    const size_t length = size_t(block.segments[i]);
    const State before = *state;
    const std::vector<int32_t> wordsBefore(words, words + bytes / 4);
    const auto step = [&](const std::vector<uint8_t>& segment) {
      *state = before;
      std::memcpy(words, wordsBefore.data(), bytes);
      const uint8_t none = 0;
      return zeliDecodeCBProgrStep_JPEG2K(segment.empty() ? &none : segment.data(), int(segment.size()),
                                          record(state)) == zelStsNoErr;
    };
    if (!step({data, data + length}) && !tryEndings(data, length, step)) return false;
    data += length;
  }
  return true;
}

}  // namespace

bool decodeBlock(const CodeBlock& block, int bandKind, int planes, int blockStyle, bool halves, int32_t* words) {
  const ZeliSize size = {block.area.width(), block.area.height()};
  const int significant = planes - block.zeroPlanes, sfBits = significant + halves;
  if (significant < 1 || block.passes > 3 * significant - 2)
    throw Error(ErrorKind::damaged, "a code block with more passes than bit planes");
  if (sfBits > 31) throw Error(ErrorKind::unsupported, "a code block of more than 31 bit planes");
  int flags = coderFlags(blockStyle) | zeliDecodeKeepHalfBits;
  if (blockStyle & kPredictable) flags |= zeliDecodeCheckTermination;
  static thread_local State state;
  int bytes = 0;
  zeliDecodeGetBufSize_JPEG2K(size, &bytes);
  if (state.size() < size_t(bytes)) state.resize(size_t(bytes));
  const uint8_t none = 0;
  const uint8_t* const data = block.data.empty() ? &none : block.data.data();
  const int band = coderBand(bandKind);
  const ZelStatus status = zeliDecodeCodeBlock_JPEG2K_1u32s_C1R(
      data, words, size.width * 4, size, band, sfBits, block.passes, block.segments.data(), int(block.segments.size()),
      flags, nullptr, record(&state));
  if (status == zelStsNoErr) return true;
  return (blockStyle & kBypass) && decodeWithOtherEndings(block, data, size, band, sfBits, flags, &state, words);
}

// ---- Encoding -------------------------------------------------------------------------------------------------------

BlockEncoder::BlockEncoder(int blockWidth, int blockHeight) {
  if (zeliEncodeInitAlloc_JPEG2K(&state_, {blockWidth, blockHeight}) != zelStsNoErr) throw std::bad_alloc();
}

BlockEncoder::~BlockEncoder() { zeliEncodeFree_JPEG2K(state_); }

void BlockEncoder::encode(const int32_t* words, int planes, int bandKind, int blockStyle, bool lossless,
                          CodeBlock* block, std::vector<double>* distortions) {
  const ZeliSize size = {block->area.width(), block->area.height()};
  int sfBits = 0, passes = 0, segments = 0;
  const int flags = coderFlags(blockStyle) | (lossless ? zeliEncodeLowestPlaneIsLast : 0);
  const int termination = blockStyle & kPredictable ? zeliTerminationPredictable : zeliTerminationFlush;
  zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(words, size.width * 4, size, state_, coderBand(bandKind), planes, termination,
                                         0, flags, &sfBits, &passes, &segments);
  block->zeroPlanes = passes ? 31 - sfBits : planes;
  block->passes = passes;
  block->data.clear();
  uint8_t buffer[8192];
  for (int more = passes > 0; more;) {
    int n = sizeof buffer;
    zeliEncodeStoreBits_JPEG2K_1u(buffer, &n, state_, &more);
    block->data.insert(block->data.end(), buffer, buffer + n);
  }
  block->rates.resize(size_t(passes));
  distortions->resize(size_t(passes));
  // A segment ends where its bytes do; the rates inside are what a decoder needs of it.
  int segmentEnd = 0, segment = -1, left = 0;
  for (int p = 0; p < passes; ++p) {
    const size_t n = size_t(p);
    if (left == 0) {
      int length = 0;
      zeliEncodeGetTermPassLen_JPEG2K(state_, ++segment, &length);
      segmentEnd += length;
      left = std::min(segmentCapacity(segment, blockStyle), passes - p);
    }
    zeliEncodeGetRate_JPEG2K(state_, p, &block->rates[n]);
    zeliEncodeGetDist_JPEG2K(state_, p, &(*distortions)[n]);
    block->rates[n] = --left == 0 ? segmentEnd : std::min(block->rates[n], segmentEnd);
  }
}

}  // namespace zelcodecs::jpeg2000
