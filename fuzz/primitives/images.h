// Regions of samples for functions that are told them by pointer and step, made from the types of their arguments.
#pragma once

#include "primitives.h"

namespace fuzz {

template <class Pointer>
using Pointee = std::remove_const_t<std::remove_pointer_t<Pointer>>;

// Rows of so many elements, the last one up to the unreadable page, with a gap between rows or none.
template <class T>
Pair<T> rows(Run& z, int elements, int height, int step) {
  return z.take<T>(size_t(height - 1) * (size_t(step) / sizeof(T)) + size_t(elements));
}

// What an argument of this type takes, one region or an array of planes; *step is chosen for it.
template <class Pointer>
auto region(Run& z, int elements, int height, int* step) {
  if constexpr (std::is_pointer_v<Pointee<Pointer>>) {
    using T = Pointee<Pointee<Pointer>>;
    *step = (elements + z.below(4)) * int(sizeof(T));
    Planes<T> planes;
    for (int i = 0; i < 4; ++i) planes.set(i, rows<T>(z, elements, height, *step));
    return planes;
  } else {
    using T = Pointee<Pointer>;
    *step = (elements + z.below(4)) * int(sizeof(T));
    return rows<T>(z, elements, height, *step);
  }
}

// A target's list of functions: offer() calls the one whose number the input has chosen.
class Chosen {
 public:
  explicit Chosen(int number) : number_(number) {}
  template <class Call>
  void offer(Call call) {
    if (count_++ == number_) call();
  }
  int count() const { return count_; }

 private:
  int number_, count_ = 0;
};

// One for each target, also where several are in one program: each counts its own list.
static int runChosen(const uint8_t* data, size_t size, void each(Run&, Chosen&)) {
  Run z(data, size);
  static const int count = [&] {
    Chosen none(-1);
    each(z, none);
    return none.count();
  }();
  Chosen chosen(z.below(count));
  each(z, chosen);
  return 0;
}

}  // namespace fuzz
