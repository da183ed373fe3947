// reload LIBRARY: opens the library, divides a plane among threads and closes it, again and again. This program is
// linked neither with the library nor with its runtime: nothing else keeps them.
#include <dlfcn.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <vector>

#include "zelj.h"

int main(int argc, char** argv) {
  alarm(60);
  constexpr int kSide = 300;
  const std::vector<uint8_t> source(kSide * kSide, 200);
  for (int i = 0; argc == 2 && i < 100; ++i) {
    std::vector<int16_t> result(kSide * kSide);
    void* const library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    void* const symbol = library ? dlsym(library, "zeliSub128_JPEG_8u16s_C1R") : nullptr;
    if (!symbol) return std::puts(dlerror()), 1;
    const auto sub128 = reinterpret_cast<decltype(&zeliSub128_JPEG_8u16s_C1R)>(symbol);
    if (sub128(source.data(), kSide, result.data(), 2 * kSide, {kSide, kSide}) != zelStsNoErr) return 1;
    for (const int16_t value : result)
      if (value != 72) return 1;
    dlclose(library);
    usleep(1000);  // threads that go to sleep do it in code that must still be there
  }
  return argc == 2 ? 0 : 1;
}
