// The boxes of a JP2 file around its codestream (T.800 Annex I): what the components mean, and metadata.
#pragma once

#include "common/bytes.h"
#include "common/metadata.h"
#include "common/picture.h"
#include "common/sink.h"
#include "common/warnings.h"

namespace zelcodecs::jpeg2000 {

// Enumerated colour spaces (T.800 Table I.10, T.801 Table M.25).
enum ColourSpace : int { kCmyk = 12, kCieLab = 14, kSrgb = 16, kGreyscale = 17, kSycc = 18, kEsycc = 24 };

// What a JP2 file says beside its codestream.
struct Boxes {
  bool present = false;
  int colourSpace = 0;                     // enumerated; 0 where it is not given
  std::vector<uint32_t> colourParameters;  // the seven numbers of CIELab, where the box has them
  struct Palette {
    int columns = 0;
    std::vector<int> depths;
    std::vector<bool> isSigned;
    std::vector<int32_t> entries;  // of all columns, one row after the other
  } palette;
  struct Mapping {
    int component, type, column;
  };
  std::vector<Mapping> mappings;
  struct Channel {
    int index, type, association;
  };
  std::vector<Channel> channels;
  Metadata metadata;
  size_t codestream = 0, codestreamBytes = 0;
};

Boxes readBoxes(ByteView file, Warnings* warnings);

// Writes all boxes before the codestream, and the head of its own. The length of that is 0, "to the end of the file"
// (T.800 I.4). Returns where it stands, to be patched.
uint64_t writeBoxes(const PictureFormat& format, const Metadata& metadata, Warnings* warnings, Sink* sink);

}  // namespace zelcodecs::jpeg2000
