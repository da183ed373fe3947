// From pixels to quantised blocks, MCU by MCU.
#pragma once

#include <memory>

#include "jpeg/format.h"

namespace zelcodecs::jpeg {

using Block = int16_t[64];

// The steps of a quality, and what the forward transform divides by.
struct QuantTables {
  uint16_t forward[64], inverse[64];
  QuantTables(const uint8_t* standard, int quality);
};

// How a picture becomes components: their sampling factors, and the quantisation table that each uses (0 or 1).
struct Layout {
  std::vector<Component> components;
  int adobeTransform = -1;  // -1 for a file with a JFIF marker instead
};
Layout layoutFor(const Image& image, const JpegEncodeOptions& options);

class BlockSource {
 public:
  virtual ~BlockSource() = default;
  // The blocks of an MCU of all components, in the order in which a scan codes them. Threads may call it at once.
  virtual void mcu(int x, int y, Block* blocks) const = 0;
};

// quant: the tables 0 and 1. The picture is only referred to.
std::unique_ptr<BlockSource> blockSource(const Image& image, const Frame& frame, const QuantTables* quant,
                                         const JpegEncodeOptions& options, int threads);

}  // namespace zelcodecs::jpeg
