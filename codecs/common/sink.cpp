// Files are written beside what stands there, and take its place when they are whole.
#include "common/sink.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "common/error.h"

namespace zelcodecs {
namespace {

class MemorySink : public Sink {
 public:
  explicit MemorySink(std::vector<uint8_t>* out) : out_(out), begin_(out->size()) {}
  // Not more than some memory is taken before there are bytes for it: a picture may end early.
  void expect(uint64_t size) override { out_->reserve(begin_ + size_t(std::min(size, kMostExpected))); }
  void write(const uint8_t* data, size_t size) override { out_->insert(out_->end(), data, data + size); }
  uint64_t position() const override { return out_->size() - begin_; }
  bool canPatch() const override { return true; }
  void patch(uint64_t at, const uint8_t* data, size_t size) override {
    if (size) std::memcpy(out_->data() + begin_ + at, data, size);
  }
  void commit() override {}

 private:
  static constexpr uint64_t kMostExpected = uint64_t{64} << 20;
  std::vector<uint8_t>* const out_;
  const size_t begin_;
};

class FileSink : public Sink {
 public:
  explicit FileSink(const std::string& path) : name_(path) {
    buffer_.reserve(kBuffer);
    struct stat about;
    if (path == "-") {
      file_ = STDOUT_FILENO;
    } else if (const bool there = stat(path.c_str(), &about) == 0; there && !S_ISREG(about.st_mode)) {
      file_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);  // a device, a pipe; a directory is refused by the system
      if (file_ < 0) fail();
    } else {
      openBeside(path, there ? about.st_mode & 07777 : 0666 & ~processMask());
      replaces_ = there;
    }
  }
  ~FileSink() override {
    if (file_ > STDERR_FILENO) close(file_);
    if (!beside_.empty()) unlink(beside_.c_str());
  }

  void write(const uint8_t* data, size_t size) override {
    position_ += size;
    if (buffer_.size() + size > kBuffer || size >= kWorthACall) flush();
    if (size >= kWorthACall)
      put(data, size);
    else
      buffer_.insert(buffer_.end(), data, data + size);
  }
  uint64_t position() const override { return position_; }
  bool canPatch() const override { return !beside_.empty(); }
  void patch(uint64_t at, const uint8_t* data, size_t size) override {
    flush();
    while (size) {
      const ssize_t n = pwrite(file_, data, size, off_t(at));
      if (n < 0 && errno != EINTR) fail();
      if (n > 0) data += n, at += uint64_t(n), size -= size_t(n);
    }
  }
  void commit() override {
    flush();
    if (file_ == STDOUT_FILENO) return;
    const int file = file_;
    file_ = -1;
    if (close(file) != 0) fail();
    if (beside_.empty()) return;
    if (rename(beside_.c_str(), target_.c_str()) != 0) fail();
    beside_.clear();
  }

 private:
  static constexpr size_t kBuffer = size_t{128} << 10;
  static constexpr off_t kBegin = off_t{1} << 20;
  static constexpr size_t kWorthACall = size_t{32} << 10;  // written from where it stands; less is gathered first

  static mode_t processMask() {
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
  }
  [[noreturn]] void fail() const { throw FileError(name_, errno); }

  // A link stays a link: what it points to is replaced.
  void openBeside(const std::string& path, mode_t mode) {
    char* const real = realpath(path.c_str(), nullptr);
    target_ = real ? real : path;
    std::free(real);
    std::string name = target_ + "." + std::string(6, 'X');
    file_ = mkostemp(&name[0], O_CLOEXEC);
    if (file_ < 0) fail();
    beside_ = name;
    if (fchmod(file_, mode) != 0) fail();
  }
  void flush() {
    put(buffer_.data(), buffer_.size());
    buffer_.clear();
  }
  void put(const uint8_t* data, size_t size) {
    while (size) {
      const ssize_t n = ::write(file_, data, size);
      if (n < 0 && errno != EINTR) fail();
      if (n > 0) data += n, size -= size_t(n), written_ += n;
    }
    if (replaces_ && written_ - begun_ >= kBegin) beginToStore();
  }
  // Where a file takes the place of another, file systems store its contents before the name, and the caller waits at
  // the rename. What is written by then is asked to be stored already; it is no error if it is not.
  void beginToStore() {
    sync_file_range(file_, begun_, written_ - begun_, SYNC_FILE_RANGE_WRITE);
    begun_ = written_;
  }

  const std::string name_;
  std::string target_, beside_;
  int file_ = -1;
  uint64_t position_ = 0;
  std::vector<uint8_t> buffer_;
  bool replaces_ = false;
  off_t written_ = 0, begun_ = 0;  // bytes; to be stored
};

}  // namespace

std::unique_ptr<Sink> memorySink(std::vector<uint8_t>* out) { return std::make_unique<MemorySink>(out); }
std::unique_ptr<Sink> fileSink(const std::string& path) { return std::make_unique<FileSink>(path); }

}  // namespace zelcodecs
