#include "common/source.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace zelcodecs {
namespace {

[[noreturn]] void fail(const std::string& path) { throw Error(ErrorKind::file, path + ": " + std::strerror(errno)); }

// All bytes are in memory, the system's or the caller's.
class MemorySource : public Source {
 public:
  MemorySource(const uint8_t* data, size_t size) : bytes_{data, size} {}
  ByteView peek(size_t count) override { return {bytes_.data, std::min(count, bytes_.size)}; }
  ByteView all() override { return bytes_; }
  void release(size_t) override {}
  ByteView next(size_t count) override {
    release(at_);
    const ByteView piece = {bytes_.data + at_, std::min(count, bytes_.size - at_)};
    at_ += piece.size;
    return piece;
  }

 protected:
  ByteView bytes_;
  size_t at_ = 0;
};

class MappedSource : public MemorySource {
 public:
  MappedSource(void* map, size_t size) : MemorySource(static_cast<const uint8_t*>(map), size), map_(map) {
    madvise(map, size, MADV_SEQUENTIAL);
  }
  ~MappedSource() override { munmap(map_, bytes_.size); }
  // Gives back the pages, a few megabytes at a time; they stay in the system's cache.
  void release(size_t before) override {
    const size_t end = std::min(before, bytes_.size) / kStep * kStep;
    if (end < released_) released_ = 0;  // the reader has gone back, and brought the pages in again
    if (end == released_) return;
    madvise(static_cast<uint8_t*>(map_) + released_, end - released_, MADV_DONTNEED);
    released_ = end;
  }

 private:
  static constexpr size_t kStep = size_t{2} << 20;
  void* const map_;
  size_t released_ = 0;
};

class PipeSource : public Source {
 public:
  PipeSource(int file, std::string path) : file_(file), path_(std::move(path)) {}
  ~PipeSource() override {
    if (file_ != STDIN_FILENO) close(file_);
  }
  ByteView peek(size_t count) override {
    fill(count);
    return {held_.data(), std::min(count, end_)};
  }
  ByteView all() override {
    while (fill(std::max(kChunk, end_ * 2))) {
    }
    return {held_.data(), end_};
  }
  void release(size_t) override {}
  ByteView next(size_t count) override {
    std::memmove(held_.data(), held_.data() + taken_, end_ - taken_);
    end_ -= taken_;
    fill(count);
    taken_ = std::min(count, end_);
    return {held_.data(), taken_};
  }

 private:
  static constexpr size_t kChunk = size_t{256} << 10;
  // Reads until count bytes are held; false at the end of the file.
  bool fill(size_t count) {
    if (ended_) return false;
    if (held_.size() < count) held_.resize(std::max(count, kChunk));
    while (end_ < count) {
      const ssize_t n = read(file_, held_.data() + end_, held_.size() - end_);
      if (n == 0) {
        ended_ = true;
        return false;
      }
      if (n < 0 && errno != EINTR) fail(path_);
      if (n > 0) end_ += size_t(n);
    }
    return true;
  }

  const int file_;
  const std::string path_;
  std::vector<uint8_t> held_;  // stays where it is once the file has ended
  bool ended_ = false;
  size_t end_ = 0;    // of the bytes in held_
  size_t taken_ = 0;  // of them, those that the last call of next() gave
};

}  // namespace

std::unique_ptr<Source> memorySource(const uint8_t* data, size_t size) {
  return std::make_unique<MemorySource>(data, size);
}

std::unique_ptr<Source> fileSource(const std::string& path) {
  const bool standard = path == "-";
  const int file = standard ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat about;
  if (file < 0 || fstat(file, &about) != 0) fail(path);
  if (S_ISDIR(about.st_mode)) {
    if (!standard) close(file);
    errno = EISDIR;
    fail(path);
  }
  const bool atStart = !standard || lseek(file, 0, SEEK_CUR) == 0;
  if (S_ISREG(about.st_mode) && about.st_size > 0 && atStart) {
    const size_t size = size_t(about.st_size);
    void* const map = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
    if (map != MAP_FAILED) {
      if (!standard) close(file);
      return std::make_unique<MappedSource>(map, size);
    }
  }
  return std::make_unique<PipeSource>(file, path);
}

}  // namespace zelcodecs
