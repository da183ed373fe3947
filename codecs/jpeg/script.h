// Scan scripts: which scans a file has, and whether they are allowed (T.81 B.2.3, G.1.1.1).
#pragma once

#include "jpeg/format.h"

namespace zelcodecs::jpeg {

// The scans with their Huffman tables: 0, or 1 for the components whose table is that. Throws where the script breaks
// the standard's rules or does not code every component.
std::vector<Scan> scansOf(const std::vector<JpegScan>& script, const Frame& frame, bool progressive,
                          const std::vector<int>& tableOf);

}  // namespace zelcodecs::jpeg
