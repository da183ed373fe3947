// What a JPEG file says about itself.
#include "jpeg/planes.h"

namespace zelcodecs {

using namespace jpeg;

namespace {

void tellFrame(const Reader& reader, JpegInfo* info) {
  const Frame& f = reader.frame();
  info->process = processName(f.process);
  info->width = f.width;
  info->height = f.height;
  info->precision = f.precision;
  for (const Component& c : f.components) info->components.push_back({c.id, c.h, c.v, c.quantTable});
  if (f.components.size() == 2) {
    info->colour = "two components";
  } else {
    static const char* const names[] = {"grey", "YCbCr", "RGB", "CMYK", "YCCK"};
    info->colour = names[int(codingOf(reader))];
  }
  info->restartInterval = reader.restartInterval();
  info->jfif = reader.jfif();
  info->adobe = reader.adobeTransform() >= 0;
}

void tellMetadata(const Metadata& m, JpegInfo* info) {
  info->iccBytes = m.icc.size();
  info->exifBytes = m.exif.size();
  info->xmpBytes = m.xmp.size();
  info->pixelsPerMetreX = m.pixelsPerMetreX;
  info->pixelsPerMetreY = m.pixelsPerMetreY;
  info->orientation = m.orientation;
  info->comments = m.comments;
}

}  // namespace

JpegInfo readJpegInfo(const uint8_t* data, size_t size, const Limits& limits) {
  Warnings warnings(nullptr);
  Reader reader(data, size, limits, true, &warnings);
  JpegInfo info;
  try {
    Scan scan;
    while (reader.nextScan(&scan)) {
      const size_t end = reader.endOfScan(scan.begin);
      JpegInfo::Scan s{{}, scan.ss, scan.se, scan.ah, scan.al, scan.begin, end - scan.begin};
      for (int i = 0; i < scan.count; ++i) s.components.push_back(scan.parts[i].component);
      info.scans.push_back(s);
      reader.resumeAt(end);
    }
    info.complete = true;
    info.trailingBytes = size - reader.position();
  } catch (const Error&) {
    // What has been read is told; without a frame there is nothing to tell.
    if (reader.frame().mcusWide == 0) throw;
  }
  tellFrame(reader, &info);
  tellMetadata(reader.metadata(&warnings), &info);
  return info;
}

}  // namespace zelcodecs
