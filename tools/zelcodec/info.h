// What a file says about itself, on standard output.
#ifndef ZELCODEC_INFO_H
#define ZELCODEC_INFO_H

#include <cstdint>
#include <vector>

namespace zelcodec {

// As lines for people, or as JSON.
void printInfo(const std::vector<uint8_t>& bytes, bool json);

}  // namespace zelcodec

#endif
