// From pixels to quantised blocks, MCU by MCU.
#pragma once

#include <memory>

#include "common/team.h"
#include "jpeg/format.h"

namespace zelcodecs::jpeg {

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
Layout layoutFor(ColourModel model, const JpegEncodeOptions& options);

// Takes bands of the picture, of whole rows of MCUs but for the last one.
class BlockMaker {
 public:
  virtual ~BlockMaker() = default;
  // The rows stay the caller's, and where they are, until the band's blocks are made.
  virtual void begin(ConstRows band, Team* team) = 0;
  // The blocks of MCU x in row y of the band, of all components in the order in which a scan codes them. Threads may
  // call it at once.
  virtual void mcu(int x, int y, int16_t* const* blocks) const = 0;
};

// quant: the tables 0 and 1, which must stay. bandRows: rows of MCUs.
std::unique_ptr<BlockMaker> blockMaker(const PictureFormat& format, const Frame& frame, const QuantTables* quant,
                                       const JpegEncodeOptions& options, int bandRows);

}  // namespace zelcodecs::jpeg
