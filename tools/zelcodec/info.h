// What a file says about itself, on standard output.
#pragma once

#include <cstdint>
#include <vector>

namespace zelcodec {

// As lines for people, or as JSON.
void printInfo(const std::vector<uint8_t>& bytes, bool json);

}  // namespace zelcodec
