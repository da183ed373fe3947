// Readers of the C interface.
#include <algorithm>
#include <cstdlib>
#include <new>

#include "any/transfer.h"
#include "c/boundary.h"

using namespace zelcodecs;
using namespace zelcodecs::boundary;

struct ZelcReader {
  std::unique_ptr<Source> source;
  Format format{};
  std::vector<std::string> warnings;
  std::unique_ptr<Decoder> decoder;
  std::unique_ptr<Converter> converter;  // null where the decoder's rows are those that are wanted
  PictureFormat picture;                 // what is given
  std::unique_ptr<Spare> spare;
  Metadata metadata;
  std::vector<const char*> comments;
  bool broken = false;
};

namespace {

using Reader = std::unique_ptr<ZelcReader>;

Reader openReader(std::unique_ptr<Source> source, const Settings& settings) {
  Reader r = std::make_unique<ZelcReader>();
  r->source = std::move(source);
  r->format = formatOf(r->source->peek(kBytesForFormat));
  Asked asked = settings.settle(r->format);
  asked.decode.common.warnings = &r->warnings;
  r->decoder = openAny(*r->source, r->format, asked.decode);
  if (asked.autoOrient) r->decoder = upright(std::move(r->decoder));
  const PictureFormat& decoded = r->decoder->format();
  r->metadata = r->decoder->metadata();
  r->picture = wished(decoded, asked.wishes);
  if (r->picture != decoded) {
    r->converter = std::make_unique<Converter>(decoded, r->picture.model, r->picture.bitDepth, r->metadata);
    r->metadata = r->converter->kept(r->metadata);
    r->spare = std::make_unique<Spare>(decoded, r->decoder->bandRows());
  }
  for (const std::string& c : r->metadata.comments) r->comments.push_back(c.c_str());
  r->comments.push_back(nullptr);
  return r;
}
Reader openFile(const char* path, const char* const* list) {
  present(path);
  const Settings settings = settingsOf(list, kReading);
  return openReader(fileSource(path), settings);
}
Reader openMemory(const void* data, size_t size, const char* const* list) {
  demand(data || size == 0, "a pointer is null");
  const Settings settings = settingsOf(list, kReading);
  return openReader(memorySource(static_cast<const uint8_t*>(data), size), settings);
}

void readRows(ZelcReader* r, Rows to) {
  r->broken = true;  // until all has gone well
  if (!r->converter) {
    forRows(to, r->picture.rowBytes(), [&](const Rows& rows) { r->decoder->read(rows); });
  } else {
    while (to.count > 0) {
      const Rows some = r->spare->rows().part(0, std::min(to.count, r->spare->rows().count));
      r->decoder->read(some);
      r->converter->convert(asConst(some), to.part(0, some.count));
      to = to.part(some.count, to.count - some.count);
    }
  }
  r->broken = false;
}

ZelcInfo infoOf(const ZelcReader& r) {
  const PictureFormat& p = r.picture;
  return {formatOf(r.format), pictureOf(p),          p.channels(), hasOpacity(p.model),
          p.bytesPerSample(), r.decoder->bandRows(), p.rowBytes()};
}

ZelcParts partsOf(const ZelcReader& r) {
  ZelcParts parts = {1, 1, 1, 1};
  const auto all = [&] { return r.source->all(); };
  if (r.format == Format::tiff) {
    parts.pages = int(readTiffInfo(all().data, all().size).pages.size());
  } else if (r.format == Format::dds) {
    const DdsInfo d = readDdsInfo(all().data, all().size);
    parts.faces = d.faces;
    parts.elements = int(std::min<uint32_t>(d.pictures, INT_MAX));
    parts.resolutions = int(d.levels.size());
  } else if (r.format == Format::jpeg2000) {
    parts.resolutions = readJpeg2000Info(all().data, all().size).levels + 1;
  }
  return parts;
}

// All rows, in memory that C can free.
void readWhole(ZelcReader* r, ZelcInfo* info, void** samples) {
  size_t size = 0;
  if (__builtin_mul_overflow(r->picture.rowBytes(), size_t(r->picture.height), &size)) throw std::bad_alloc();
  std::unique_ptr<void, void (*)(void*)> memory(std::malloc(size), std::free);
  if (!memory) throw std::bad_alloc();
  readRows(r, {static_cast<uint8_t*>(memory.get()), r->picture.rowBytes(), r->picture.height});
  *info = infoOf(*r);
  *samples = memory.release();
}

}  // namespace

// ---- Exported ------------------------------------------------------------------------------------------------------

ZelcStatus zelcOpenFile(const char* path, const char* const* settings, ZelcReader** reader) {
  return guarded([&] {
    present(reader);
    *reader = nullptr;
    *reader = openFile(path, settings).release();
  });
}

ZelcStatus zelcOpenMemory(const void* data, size_t size, const char* const* settings, ZelcReader** reader) {
  return guarded([&] {
    present(reader);
    *reader = nullptr;
    *reader = openMemory(data, size, settings).release();
  });
}

ZelcStatus zelcReaderInfo(const ZelcReader* reader, ZelcInfo* info) {
  return guarded([&] {
    present(reader);
    present(info);
    *info = infoOf(*reader);
  });
}

ZelcStatus zelcReaderParts(const ZelcReader* reader, ZelcParts* parts) {
  return guarded([&] {
    present(reader);
    present(parts);
    *parts = partsOf(*reader);
  });
}

ZelcStatus zelcReaderMetadata(const ZelcReader* reader, ZelcMetadata* metadata) {
  return guarded([&] {
    present(reader);
    present(metadata);
    const Metadata& m = reader->metadata;
    const auto bytes = [](const std::vector<uint8_t>& v) { return v.empty() ? nullptr : v.data(); };
    *metadata = {bytes(m.icc),
                 m.icc.size(),
                 bytes(m.exif),
                 m.exif.size(),
                 bytes(m.xmp),
                 m.xmp.size(),
                 m.comments.empty() ? nullptr : reader->comments.data(),
                 m.pixelsPerMetreX,
                 m.pixelsPerMetreY,
                 m.orientation};
  });
}

ZelcStatus zelcReadRows(ZelcReader* reader, void* rows, size_t step, int count, int* given) {
  return guarded([&] {
    present(reader);
    present(given);
    checkRows(rows, step, count, reader->picture);
    demand(!reader->broken, "reading has failed before");
    const int now = std::min(count, reader->decoder->rowsLeft());
    if (now > 0) readRows(reader, {static_cast<uint8_t*>(rows), step, now});
    *given = now;
  });
}

const char* zelcReaderWarning(const ZelcReader* reader, int number) {
  return reader && number >= 0 && size_t(number) < reader->warnings.size() ? reader->warnings[size_t(number)].c_str()
                                                                           : nullptr;
}

void zelcCloseReader(ZelcReader* reader) { delete reader; }

ZelcStatus zelcReadFile(const char* path, const char* const* settings, ZelcInfo* info, void** samples) {
  return guarded([&] {
    present(info);
    present(samples);
    *samples = nullptr;
    readWhole(openFile(path, settings).get(), info, samples);
  });
}

ZelcStatus zelcReadMemory(const void* data, size_t size, const char* const* settings, ZelcInfo* info, void** samples) {
  return guarded([&] {
    present(info);
    present(samples);
    *samples = nullptr;
    readWhole(openMemory(data, size, settings).get(), info, samples);
  });
}
