// The tier-1 coder of the library, with what files need besides: codeword segments that end in other ways, and bytes
// that are handed out in pieces.
#include "jpeg2000/blocks.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "common/error.h"
#include "jpeg2000/packet_reader.h"

namespace zelcodecs::jpeg2000 {
namespace {

// The option bits of the tier-1 primitives for a code-block style.
int coderFlags(int style) {
  return (style & kCausal ? zeliCodeBlockVerticallyCausal : 0) | (style & kBypass ? zeliCodeBlockBypass : 0) |
         (style & kTerminate ? zeliCodeBlockTerminateAll : 0) | (style & kReset ? zeliCodeBlockResetContexts : 0) |
         (style & kSegmentation ? zeliCodeBlockSegmentationSymbols : 0);
}

// The sub-band code that chooses their contexts.
int coderBand(int kind) {
  constexpr int bands[4] = {zeliSubbandLL, zeliSubbandHL, zeliSubbandLH, zeliSubbandHH};
  return bands[kind];
}

// ---- Decoding -------------------------------------------------------------------------------------------------------

using State = std::vector<uint8_t>;
ZeliDecodeCBProgrState_JPEG2K* record(State* s) { return reinterpret_cast<ZeliDecodeCBProgrState_JPEG2K*>(s->data()); }

// Raw segments end in ways that the primitive does not take for intact. Other encoders fill the last byte with other
// bits, and leave out a last byte of ones, of which a decoder reads as many as it likes behind the end (a byte behind
// 0xFF has seven bits). The primitive wants what is not read of the last byte to be the low bits of 0x55. Each number
// of such bits is tried, without and with one or two bytes of ones behind the segment, until one fits: no bit that the
// decoder reads is changed then.
template <class Try>
bool tryEndings(const uint8_t* segment, size_t length, const Try& attempt) {
  constexpr uint8_t kOnes[2] = {0xFF, 0x7F};
  for (int more = 0; more <= 2; ++more)
    for (int low = 0; low < 8; ++low) {
      std::vector<uint8_t> ended(segment, segment + length);
      ended.insert(ended.end(), kOnes, kOnes + more);
      if (ended.empty()) break;
      const int mask = (1 << low) - 1;
      ended.back() = uint8_t((ended.back() & ~mask) | (0x55 & mask));
      if (ended.back() == 0xFF) ended.push_back(0x55);
      if (attempt(ended)) return true;
    }
  return false;
}

// Segment by segment, with the state and the samples kept so that a raw segment can be decoded again.
bool decodeWithOtherEndings(const CodedBlock& block, int passes, int sfBits, int flags, State* state, int32_t* words) {
  const size_t count = size_t(block.size.width) * size_t(block.size.height);
  require(zeliDecodeCBProgrInit_JPEG2K(record(state)));
  require(zeliDecodeCBProgrAttach_JPEG2K_32s_C1R(words, block.size.width * 4, block.size, record(state),
                                                 coderBand(block.bandKind), sfBits, flags));
  require(zeliDecodeCBProgrSetPassCounter_JPEG2K(passes, record(state)));
  const uint8_t* data = block.data;
  for (const int length : *block.segments) {
    const State before = *state;
    const std::vector<int32_t> wordsBefore(words, words + count);
    const auto step = [&](const std::vector<uint8_t>& segment) {
      *state = before;
      std::memcpy(words, wordsBefore.data(), count * 4);
      const uint8_t none = 0;
      return zeliDecodeCBProgrStep_JPEG2K(segment.empty() ? &none : segment.data(), int(segment.size()),
                                          record(state)) == zelStsNoErr;
    };
    if (!step({data, data + length}) && !tryEndings(data, size_t(length), step)) return false;
    data += length;
  }
  return true;
}

}  // namespace

BlockState BlockDecoder::decode(const CodedBlock& block, int blockStyle, bool halves, int32_t* words) {
  const int significant = block.planes - block.zeroPlanes, sfBits = significant + halves;
  if (sfBits > 31) throw Error(ErrorKind::unsupported, "a code block of more than 31 bit planes");
  const int passes = std::min(block.passes, std::max(0, 3 * significant - 2));
  const BlockState good = passes < block.passes ? BlockState::surplus : BlockState::whole;
  if (passes == 0) {
    std::memset(words, 0, size_t(block.size.width) * size_t(block.size.height) * 4);
    return good;
  }
  int flags = coderFlags(blockStyle) | zeliDecodeKeepHalfBits;
  if (blockStyle & kPredictable) flags |= zeliDecodeCheckTermination;
  int bytes = 0;
  require(zeliDecodeGetBufSize_JPEG2K(block.size, &bytes));
  if (state_.size() < size_t(bytes)) state_.resize(size_t(bytes));
  const ZelStatus status = zeliDecodeCodeBlock_JPEG2K_1u32s_C1R(
      block.data, words, block.size.width * 4, block.size, coderBand(block.bandKind), sfBits, passes,
      block.segments->data(), int(block.segments->size()), flags, nullptr, record(&state_));
  if (status == zelStsNoErr) return good;
  if (status != zelStsJPEG2KDamagedCBErr) require(status);
  if (!(blockStyle & kBypass)) return BlockState::damaged;
  return decodeWithOtherEndings(block, passes, sfBits, flags, &state_, words) ? good : BlockState::damaged;
}

// ---- Encoding -------------------------------------------------------------------------------------------------------

BlockEncoder::BlockEncoder(int blockWidth, int blockHeight) {
  if (zeliEncodeInitAlloc_JPEG2K(&state_, {blockWidth, blockHeight}) != zelStsNoErr) throw std::bad_alloc();
}

BlockEncoder::~BlockEncoder() { zeliEncodeFree_JPEG2K(state_); }

void BlockEncoder::encode(const int32_t* words, ZeliSize size, int planes, int bandKind, int blockStyle, bool lossless,
                          EncodedBlock* block, std::vector<double>* distortions) {
  int sfBits = 0, passes = 0, segments = 0;
  const int flags = coderFlags(blockStyle) | (lossless ? zeliEncodeLowestPlaneIsLast : 0);
  const int termination = blockStyle & kPredictable ? zeliTerminationPredictable : zeliTerminationFlush;
  require(zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(words, size.width * 4, size, state_, coderBand(bandKind), planes,
                                                 termination, 0, flags, &sfBits, &passes, &segments));
  block->zeroPlanes = passes ? 31 - sfBits : planes;
  block->passes = passes;
  size_t used = 0;
  for (int more = passes > 0; more;) {
    if (buffer_.size() < used + 4096) buffer_.resize(2 * buffer_.size() + 16384);
    int n = int(buffer_.size() - used);
    require(zeliEncodeStoreBits_JPEG2K_1u(buffer_.data() + used, &n, state_, &more));
    used += size_t(n);
  }
  block->data.assign(buffer_.begin(), buffer_.begin() + long(used));
  block->rates.resize(size_t(passes));
  if (distortions) distortions->resize(size_t(passes));
  // A segment ends where its bytes do; the rates inside are what a decoder needs of it.
  int segmentEnd = 0, segment = -1, left = 0;
  for (int p = 0; p < passes; ++p) {
    const size_t n = size_t(p);
    if (left == 0) {
      int length = 0;
      require(zeliEncodeGetTermPassLen_JPEG2K(state_, ++segment, &length));
      segmentEnd += length;
      left = std::min(segmentCapacity(segment, blockStyle), passes - p);
    }
    require(zeliEncodeGetRate_JPEG2K(state_, p, &block->rates[n]));
    if (distortions) require(zeliEncodeGetDist_JPEG2K(state_, p, &(*distortions)[n]));
    block->rates[n] = --left == 0 ? segmentEnd : std::min(block->rates[n], segmentEnd);
  }
}

}  // namespace zelcodecs::jpeg2000
