// Bytes in memory, in a mapped file, or read from front to back.
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

[[noreturn]] void fail(const std::string& path) { throw FileError(path, errno); }

class MemorySource : public Source {
 public:
  MemorySource(const uint8_t* data, size_t size) : bytes_{data, size} {}
  ByteView peek(size_t count) override { return {bytes_.data, std::min(count, bytes_.size)}; }
  ByteView all() override { return bytes_; }
  ByteView inMemory() override { return bytes_; }
  void release(size_t) override {}
  ByteView next(size_t count) override {
    const ByteView piece = {bytes_.data + at_, std::min(count, bytes_.size - at_)};
    at_ += piece.size;
    return piece;
  }
  size_t read(uint8_t* to, size_t count) override {
    const ByteView piece = next(count);
    if (piece.size) std::memcpy(to, piece.data, piece.size);
    return piece.size;
  }

 private:
  const ByteView bytes_;
  size_t at_ = 0;
};

// A regular file or a pipe. What has been read and not been given yet is held; all bytes are mapped where that can be.
class FileSource : public Source {
 public:
  // size: of a regular file; 0 for any other.
  FileSource(int file, std::string path, size_t size) : file_(file), path_(std::move(path)), size_(size) {}
  ~FileSource() override {
    if (map_) munmap(map_, size_);
    if (file_ != STDIN_FILENO) close(file_);
  }

  ByteView peek(size_t count) override {
    if (map_) return {map_, std::min(count, size_)};
    fill(count);
    return {held_.data(), std::min(count, end_)};
  }
  ByteView all() override {
    if (!map_ && size_ && !ended_) mapAll();
    if (map_) return {map_, size_};
    while (fill(std::max(kChunk, end_ * 2))) {
    }
    return {held_.data(), end_};
  }
  ByteView inMemory() override {
    if (!map_ && size_) mapAll();
    return {map_, map_ ? size_ : 0};
  }
  // Gives back the pages, a few megabytes at a time; they stay in the system's cache.
  void release(size_t before) override {
    const size_t end = std::min(before, size_) / kStep * kStep;
    if (end < released_) released_ = 0;  // the reader has gone back, and brought the pages in again
    if (!map_ || end == released_) return;
    madvise(map_ + released_, end - released_, MADV_DONTNEED);
    released_ = end;
  }
  ByteView next(size_t count) override {
    dropTaken();
    fill(count);
    taken_ = std::min(count, end_);
    return {held_.data(), taken_};
  }
  size_t read(uint8_t* to, size_t count) override {
    dropTaken();
    const size_t held = std::min(count, end_);
    if (held) std::memcpy(to, held_.data(), held);
    taken_ = held;
    size_t got = held;
    while (got < count && !ended_) got += readSome(to + got, count - got);
    return got;
  }

 private:
  static constexpr size_t kChunk = size_t{64} << 10, kStep = size_t{2} << 20;

  void mapAll() {
    void* const map = mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, file_, 0);
    if (map == MAP_FAILED) return;
    madvise(map, size_, MADV_SEQUENTIAL);
    map_ = static_cast<uint8_t*>(map);
  }
  size_t readSome(uint8_t* to, size_t count) {
    for (;;) {
      const ssize_t n = ::read(file_, to, count);
      if (n > 0) return size_t(n);
      if (n == 0) {
        ended_ = true;
        return 0;
      }
      if (errno != EINTR) fail(path_);
    }
  }
  // Reads until count bytes are held; false at the end of the file.
  bool fill(size_t count) {
    if (ended_) return false;
    if (held_.size() < count) held_.resize(std::max(count, kChunk));
    while (end_ < count) {
      const size_t n = readSome(held_.data() + end_, held_.size() - end_);
      if (n == 0) return false;
      end_ += n;
    }
    return true;
  }
  void dropTaken() {
    if (taken_ == 0) return;
    std::memmove(held_.data(), held_.data() + taken_, end_ - taken_);
    end_ -= taken_;
    taken_ = 0;
  }

  const int file_;
  const std::string path_;
  const size_t size_;
  uint8_t* map_ = nullptr;
  size_t released_ = 0;
  std::vector<uint8_t> held_;  // stays where it is once the file has ended
  bool ended_ = false;
  size_t end_ = 0;    // of the bytes in held_
  size_t taken_ = 0;  // of them, those that have been given
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
  const bool mappable = S_ISREG(about.st_mode) && about.st_size > 0 && atStart;
  return std::make_unique<FileSource>(file, path, mappable ? size_t(about.st_size) : 0);
}

}  // namespace zelcodecs
