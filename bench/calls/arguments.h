// Arguments by their types: buffers of data for pointers, and numbers in the order in which a function takes them.
#pragma once

#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <tuple>
#include <type_traits>

#include "calls.h"

namespace calls {

constexpr int kWidth = 256, kHeight = 32, kStep = 3200;  // planes below the size that is divided among threads
constexpr ZeliSize kPlane = {kWidth, kHeight};

// What one call of a function works on; it lives as long as the call may be made.
class Data {
 public:
  // Samples of a picture, whatever their type: neither all alike nor noise, and small enough for every transform.
  template <class T>
  T* buffer() {
    buffers_.emplace_back(static_cast<char*>(std::aligned_alloc(64, kBytes)));
    T* const p = reinterpret_cast<T*>(buffers_.back().get());
    uint32_t state = uint32_t(buffers_.size());
    for (size_t i = 0; i < kBytes / sizeof(T); ++i) {
      state = state * 1664525u + 1013904223u;
      p[i] = T((i / 7 * 3 + (state >> 28)) & 0xFF);
    }
    return p + kBefore / sizeof(T);
  }
  template <class T>
  T** planes() {
    pointers_.push_back({});
    for (void*& p : pointers_.back().of) {
      p = buffer<std::remove_const_t<T>>();
      // Changed in place again and again, other numbers would become infinite, or too small for full speed.
      if (std::is_same_v<T, float>) std::memset(buffers_.back().get(), 0, kBytes);
    }
    return const_cast<T**>(reinterpret_cast<std::remove_const_t<T>**>(pointers_.back().of));
  }
  template <class T>
  T* one(T value) {
    values_.push_back({});
    static_assert(sizeof value <= sizeof values_.back().room);
    std::memcpy(values_.back().room, &value, sizeof value);
    return reinterpret_cast<T*>(values_.back().room);
  }

 private:
  // Wavelets look at up to four rows, and columns, before the first, and resampling at one; and as far behind the last.
  static constexpr size_t kBefore = 4 * kStep + 64, kBytes = kBefore + size_t{kStep} * (kHeight + 8);

  struct Free {
    void operator()(char* p) const { std::free(p); }
  };
  struct Pointers {
    void* of[4] = {};
  };
  struct Value {
    alignas(16) char room[64] = {};
  };
  std::vector<std::unique_ptr<char, Free>> buffers_;
  std::deque<Pointers> pointers_;
  std::deque<Value> values_;
};

// The numbers of a call: its integers and its sizes, in order; the last of each serves all that follow.
struct Numbers {
  std::vector<int> integers = {kStep};
  std::vector<ZeliSize> sizes = {kPlane};
};

class Arguments {
 public:
  Arguments(Data& data, const Numbers& numbers) : data_(data), numbers_(numbers) {}

  template <class P>
  P next() {
    if constexpr (std::is_same_v<P, ZeliSize>) {
      return take(numbers_.sizes, size_);
    } else if constexpr (std::is_same_v<P, int> || std::is_same_v<P, uint32_t>) {
      return P(take(numbers_.integers, integer_));
    } else if constexpr (std::is_same_v<P, int16_t>) {
      return 128;
    } else if constexpr (std::is_same_v<P, uint8_t>) {
      return uint8_t(++bytes_ == 1 ? 0 : 255);
    } else if constexpr (std::is_same_v<P, const ZeliRect*>) {
      return data_.one(ZeliRect{0, 0, kWidth, kHeight});
    } else {
      using Target = std::remove_pointer_t<P>;
      if constexpr (std::is_pointer_v<std::remove_const_t<Target>>)
        return data_.planes<std::remove_pointer_t<std::remove_const_t<Target>>>();
      else
        return data_.buffer<std::remove_const_t<Target>>();
    }
  }

 private:
  template <class T>
  static T take(const std::vector<T>& from, size_t& at) {
    return at + 1 < from.size() ? from[at++] : from.back();
  }
  Data& data_;
  const Numbers& numbers_;
  size_t integer_ = 0, size_ = 0;
  int bytes_ = 0;
};

// A call with arguments of these types. A number that a call changes, such as a position, begins at 0 each time (and so
// does the first of samples of that type). What is changed in place is one of eight blocks in turn, so that no call
// waits for the stores of the one before; those of 16 bits are renewed from time to time, as their transform looks for
// zeros. What becomes of the others, call by call, makes no difference to the time it takes.
template <class... P>
std::function<void()> callOf(const char* name, ZelStatus (*f)(P...), const Numbers& numbers) {
  auto data = std::make_shared<Data>();
  Arguments arguments(*data, numbers);
  std::tuple<P...> args{arguments.next<P>()...};  // in order, as braces say
  const auto call = [f](P... a) {
    const auto begin = [](auto value) {
      if constexpr (std::is_same_v<decltype(value), int*>) *value = 0;
    };
    (begin(a), ...);
    return f(a...);
  };
  mustHold(std::apply(call, args), name);
  using First = std::tuple_element_t<0, std::tuple<P...>>;
  if constexpr (std::is_same_v<First, int16_t*> || std::is_same_v<First, int32_t*>) {
    constexpr int kBlocks = 8, kApart = 64;
    const First blocks = std::get<0>(args);
    std::vector<int16_t> kept(kBlocks * kApart);
    for (int i = 0; i < kBlocks * kApart; ++i) kept[size_t(i)] = int16_t(i % 64 < 12 ? 40 - 7 * (i % 64) : 0);
    return [data, call, args, blocks, kept, calls = 0]() mutable {
      if (sizeof *blocks == 2 && calls % kBlocks == 0) std::memcpy(blocks, kept.data(), kept.size() * 2);
      std::get<0>(args) = blocks + calls++ % kBlocks * kApart;
      std::apply(call, args);
    };
  }
  return [data, call, args] { std::apply(call, args); };
}

}  // namespace calls
