// Rows of samples in guarded memory, as the functions on planes, regions and tiles take them.
#pragma once

#include <memory>
#include <vector>

#include "support/data.h"
#include "zelj.h"

namespace zeltest {

constexpr uint8_t clamp8(int x) { return uint8_t(x < 0 ? 0 : x > 255 ? 255 : x); }

// A plane: height rows of width elements, step bytes apart; the last one ends slack bytes before an unreadable page.
// The bytes between rows and around the plane hold a pattern, which must still stand at the end. Steps and slacks may
// be odd, so samples are read and written through get and set.
template <class T>
class Plane {
 public:
  Plane(int width, int height, int pad = 0, int slack = 0)
      : width_(width),
        height_(height),
        step_(width * int(sizeof(T)) + pad),
        memory_(size_t(step_) * size_t(height - 1) + size_t(width) * sizeof(T), size_t(slack)) {}

  ~Plane() {
    for (int y = 0; y + 1 < height_; ++y)
      for (const uint8_t* p = at(width_, y); p < at(0, y + 1); ++p)
        if (*p != memory_.kPattern) ADD_FAILURE() << "a byte behind row " << y << " was written";
  }

  T* data() { return reinterpret_cast<T*>(memory_.data()); }
  int step() const { return step_; }
  int width() const { return width_; }
  int height() const { return height_; }
  ZeliSize size() const { return {width_, height_}; }

  T get(int x, int y) const {
    T value;
    std::memcpy(&value, at(x, y), sizeof value);
    return value;
  }
  void set(int x, int y, T value) { std::memcpy(at(x, y), &value, sizeof value); }
  std::vector<T> row(int y) const {
    std::vector<T> values(size_t(width_), T{});
    std::memcpy(values.data(), at(0, y), size_t(width_) * sizeof(T));
    return values;
  }
  std::vector<T> samples() const {
    std::vector<T> all;
    for (int y = 0; y < height_; ++y)
      for (const T sample : row(y)) all.push_back(sample);
    return all;
  }
  // sample(x, y) for every place.
  template <class Sample>
  void fill(Sample sample) {
    for (int y = 0; y < height_; ++y)
      for (int x = 0; x < width_; ++x) set(x, y, sample(x, y));
  }
  void fill(Random& random) {
    const std::vector<T> values = random.vector<T>(size_t(width_) * size_t(height_));
    fill([&](int x, int y) { return values[size_t(y) * size_t(width_) + size_t(x)]; });
  }

 private:
  uint8_t* at(int x, int y) const { return memory_.data() + int64_t(y) * step_ + int64_t(x) * int64_t(sizeof(T)); }

  int width_, height_, step_;
  Guarded<uint8_t> memory_;
};

// Several planes of one size and step, with the arrays of pointers that planar functions take.
template <class T>
class Picture {
 public:
  Picture(int planes, int width, int height, int pad = 0, int slack = 0) {
    for (int i = 0; i < planes; ++i) {
      planes_.push_back(std::make_unique<Plane<T>>(width, height, pad, slack));
      pointers_.push_back(planes_.back()->data());
      constPointers_.push_back(planes_.back()->data());
    }
  }
  Plane<T>& operator[](int i) { return *planes_[size_t(i)]; }
  const Plane<T>& operator[](int i) const { return *planes_[size_t(i)]; }
  T* const* pointers() const { return pointers_.data(); }
  const T* const* constPointers() const { return constPointers_.data(); }
  int step() const { return planes_[0]->step(); }
  ZeliSize size() const { return planes_[0]->size(); }
  void fill(Random& random) {
    for (const auto& plane : planes_) plane->fill(random);
  }

 private:
  std::vector<std::unique_ptr<Plane<T>>> planes_;
  std::vector<T*> pointers_;
  std::vector<const T*> constPointers_;
};

}  // namespace zeltest
