// Writers of the C interface.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

#include "any/transfer.h"
#include "c/boundary.h"

using namespace zelcodecs;
using namespace zelcodecs::boundary;

namespace {

// A file in memory that C can free.
class BufferSink : public Sink {
 public:
  ~BufferSink() override { std::free(bytes_); }

  void write(const uint8_t* data, size_t size) override {
    if (size == 0) return;
    if (size > room_ - size_) grow(size);
    std::memcpy(bytes_ + size_, data, size);
    size_ += size;
  }
  uint64_t position() const override { return size_; }
  bool canPatch() const override { return true; }
  void patch(uint64_t at, const uint8_t* data, size_t size) override {
    if (size) std::memcpy(bytes_ + at, data, size);
  }
  void commit() override {}

  // The bytes are the caller's then.
  void take(void** data, size_t* size) {
    *data = bytes_;
    *size = size_;
    bytes_ = nullptr;
    size_ = room_ = 0;
  }

 private:
  void grow(size_t more) {
    const size_t room = std::max({size_ + more, 2 * room_, size_t{4096}});
    void* const p = room < size_ ? nullptr : std::realloc(bytes_, room);
    if (!p) throw std::bad_alloc();
    bytes_ = static_cast<uint8_t*>(p);
    room_ = room;
  }

  uint8_t* bytes_ = nullptr;
  size_t size_ = 0, room_ = 0;
};

}  // namespace

struct ZelcWriter {
  enum class State { open, finished, broken };

  PictureFormat picture;  // what is taken
  int rowsLeft = 0;
  std::vector<std::string> warnings;
  std::unique_ptr<Sink> sink;
  BufferSink* buffer = nullptr;          // the sink of a file in memory
  std::unique_ptr<Converter> converter;  // null where the encoder takes the caller's rows
  std::unique_ptr<Spare> spare;
  std::unique_ptr<Encoder> encoder;
  State state = State::open;
};

namespace {

using State = ZelcWriter::State;
using Writer = std::unique_ptr<ZelcWriter>;

Metadata metadataOf(const ZelcMetadata* m) {
  Metadata out;
  if (!m) return out;
  const auto copy = [](std::vector<uint8_t>* to, const void* data, size_t size) {
    demand(data || size == 0, "a pointer is null");
    const auto* const p = static_cast<const uint8_t*>(data);
    to->assign(p, p + size);
  };
  copy(&out.icc, m->icc, m->iccBytes);
  copy(&out.exif, m->exif, m->exifBytes);
  copy(&out.xmp, m->xmp, m->xmpBytes);
  for (const char* const* c = m->comments; c && *c; ++c) out.comments.emplace_back(*c);
  for (const double resolution : {m->pixelsPerMetreX, m->pixelsPerMetreY})
    demand(std::isfinite(resolution) && resolution >= 0, "a resolution is 0 or more");
  out.pixelsPerMetreX = m->pixelsPerMetreX;
  out.pixelsPerMetreY = m->pixelsPerMetreY;
  demand(m->orientation >= 0 && m->orientation <= 8, "an orientation is 1 to 8");
  out.orientation = std::max(m->orientation, 1);
  return out;
}

// A writer to a file, or to memory where path is null.
Writer createWriter(const char* path, const ZelcPicture* picture, const ZelcMetadata* given, const char* const* list) {
  present(picture);
  Writer w = std::make_unique<ZelcWriter>();
  w->picture = formatOf(*picture);
  w->rowsLeft = w->picture.height;
  Metadata metadata = metadataOf(given);
  const Settings settings = settingsOf(list, kWriting);
  const std::string ending = path ? endingOf(path) : "";
  const std::optional<Format> told = settings.asked().format, format = told ? told : formatOfEnding(ending);
  if (!format)
    throw Error(ErrorKind::argument, path ? std::string(path) + ": no format has this ending; " + allEndings() +
                                                " are known, and the setting format"
                                          : "a file in memory needs the setting format");
  Asked asked = settings.settle(*format);
  if (!told) asked.encode.jpeg2000.jp2 = ending == "jp2";
  asked.encode.common.warnings = &w->warnings;
  const PictureFormat stored = storable(wished(w->picture, asked.wishes), *format, asked.encode);
  if (stored != w->picture) {
    const ConvertOptions options = {asked.wishes.background};
    w->converter = std::make_unique<Converter>(w->picture, stored.model, stored.bitDepth, metadata, options);
    metadata = w->converter->kept(metadata);
  }
  if (path) {
    w->sink = fileSink(path);
  } else {
    auto buffer = std::make_unique<BufferSink>();
    w->buffer = buffer.get();
    w->sink = std::move(buffer);
  }
  w->encoder = createAny(*w->sink, *format, stored, metadata, asked.encode);
  if (w->converter) w->spare = std::make_unique<Spare>(stored, w->encoder->bandRows());
  return w;
}

// Coders look values up in tables of 2^bits entries.
void checkSamples(ConstRows rows, const PictureFormat& f) {
  if (f.bitDepth == 8 || f.bitDepth == 16) return;
  const auto top = [&](const auto* row) {
    return int(*std::max_element(row, row + size_t(f.width) * size_t(f.channels())));
  };
  for (int y = 0; y < rows.count; ++y)
    demand((f.bitDepth > 8 ? top(reinterpret_cast<const uint16_t*>(rows.row(y))) : top(rows.row(y))) <= f.maxValue(),
           "a sample is above the largest value");
}

void writeRows(ZelcWriter* w, ConstRows from) {
  checkSamples(from, w->picture);
  w->state = State::broken;  // until all has gone well
  const int count = from.count;
  if (!w->converter) {
    forRows(from, w->picture.rowBytes(), [&](const ConstRows& rows) { w->encoder->write(rows); });
  } else {
    while (from.count > 0) {
      const Rows some = w->spare->rows().part(0, std::min(from.count, w->spare->rows().count));
      w->converter->convert(from.part(0, some.count), some);
      w->encoder->write(asConst(some));
      from = from.part(some.count, from.count - some.count);
    }
  }
  w->rowsLeft -= count;
  w->state = State::open;
}

void finish(ZelcWriter* w) {
  demand(w->rowsLeft == 0, "rows of the picture are missing");
  w->state = State::broken;
  w->encoder->finish();
  w->sink->commit();
  w->state = State::finished;
}

void stillOpen(const ZelcWriter* w) {
  demand(w->state != State::broken, "writing has failed before");
  demand(w->state == State::open, "the file is finished");
}

// A whole picture; its writer, for what is in memory.
Writer writeWhole(const char* path, const ZelcPicture* picture, const ZelcMetadata* metadata, const void* samples,
                  size_t step, const char* const* settings) {
  present(picture);
  checkRows(samples, step, picture->height, formatOf(*picture));
  Writer w = createWriter(path, picture, metadata, settings);
  writeRows(w.get(), {static_cast<const uint8_t*>(samples), step, picture->height});
  finish(w.get());
  return w;
}

}  // namespace

// ---- Exported ------------------------------------------------------------------------------------------------------

ZelcStatus zelcCreateFile(const char* path, const ZelcPicture* picture, const ZelcMetadata* metadata,
                          const char* const* settings, ZelcWriter** writer) {
  return guarded([&] {
    present(writer);
    *writer = nullptr;
    present(path);
    *writer = createWriter(path, picture, metadata, settings).release();
  });
}

ZelcStatus zelcCreateMemory(const ZelcPicture* picture, const ZelcMetadata* metadata, const char* const* settings,
                            ZelcWriter** writer) {
  return guarded([&] {
    present(writer);
    *writer = nullptr;
    *writer = createWriter(nullptr, picture, metadata, settings).release();
  });
}

ZelcStatus zelcWriteRows(ZelcWriter* writer, const void* rows, size_t step, int count) {
  return guarded([&] {
    present(writer);
    stillOpen(writer);
    checkRows(rows, step, count, writer->picture);
    demand(count <= writer->rowsLeft, "more rows are given than the picture has");
    writeRows(writer, {static_cast<const uint8_t*>(rows), step, count});
  });
}

ZelcStatus zelcFinish(ZelcWriter* writer) {
  return guarded([&] {
    present(writer);
    stillOpen(writer);
    finish(writer);
  });
}

ZelcStatus zelcTakeBytes(ZelcWriter* writer, void** data, size_t* size) {
  return guarded([&] {
    present(data);
    *data = nullptr;
    present(size);
    present(writer);
    demand(writer->state == State::finished && writer->buffer, "no finished file in memory is there to be taken");
    writer->buffer->take(data, size);
    writer->buffer = nullptr;
  });
}

const char* zelcWriterWarning(const ZelcWriter* writer, int number) {
  return writer && number >= 0 && size_t(number) < writer->warnings.size() ? writer->warnings[size_t(number)].c_str()
                                                                           : nullptr;
}

void zelcCloseWriter(ZelcWriter* writer) { delete writer; }

ZelcStatus zelcWriteFile(const char* path, const ZelcPicture* picture, const ZelcMetadata* metadata,
                         const void* samples, size_t step, const char* const* settings) {
  return guarded([&] {
    present(path);
    writeWhole(path, picture, metadata, samples, step, settings);
  });
}

ZelcStatus zelcWriteMemory(const ZelcPicture* picture, const ZelcMetadata* metadata, const void* samples, size_t step,
                           const char* const* settings, void** data, size_t* size) {
  return guarded([&] {
    present(data);
    *data = nullptr;
    present(size);
    writeWhole(nullptr, picture, metadata, samples, step, settings)->buffer->take(data, size);
  });
}
