// What stands between C and the codecs: errors become status values, words become settings, records pictures.
#pragma once

#include <climits>
#include <memory>
#include <string>

#include "any/settings.h"
#include "zelcodecs.h"

namespace zelcodecs::boundary {

// The status of the exception that is being handled; its text is kept for zelcLastError().
ZelcStatus failed() noexcept;

// Does work, which may throw anything.
template <class Work>
ZelcStatus guarded(const Work& work) noexcept {
  try {
    work();
    return zelcOk;
  } catch (...) {
    return failed();
  }
}

// Throws Error(argument) unless the condition holds.
inline void demand(bool condition, const char* otherwise) {
  if (!condition) throw Error(ErrorKind::argument, otherwise);
}
inline void present(const void* pointer) { demand(pointer != nullptr, "a pointer is null"); }

// Texts "name=value" up to a null pointer.
Settings settingsOf(const char* const* list, SettingRole role);

ZelcFormat formatOf(Format format);
ZelcPicture pictureOf(const PictureFormat& format);
// Throws Error(argument) for what is no picture.
PictureFormat formatOf(const ZelcPicture& picture);

// Rows of the caller's. The codecs count steps in int where they call primitives: rows that are further apart than that
// go one by one.
template <class Byte, class Work>
void forRows(const RowsOf<Byte>& rows, size_t rowBytes, const Work& work) {
  if (rows.step <= size_t{INT_MAX}) return work(rows);
  for (int y = 0; y < rows.count; ++y) work(RowsOf<Byte>{rows.row(y), rowBytes, 1});
}
// Throws Error(argument) where the memory cannot hold such rows.
void checkRows(const void* rows, size_t step, int count, const PictureFormat& format);

// Rows on their way through a converter, some at a time.
class Spare {
 public:
  // A hundred kilobytes, or a band where that is more; enough to make the calls for it cheap.
  Spare(const PictureFormat& format, int bandRows);
  Rows rows() const { return {bytes_.get(), step_, count_}; }

 private:
  size_t step_;
  int count_;
  std::unique_ptr<uint8_t[]> bytes_;
};

}  // namespace zelcodecs::boundary
