// Errors, versions and settings of the C interface.
#include "c/boundary.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "common/error.h"

namespace zelcodecs::boundary {
namespace {

// Of the calling thread. Kept in place: no memory is needed to say that there is none.
struct Failure {
  char text[1024] = "";
  int code = 0;
  uint64_t offset = UINT64_MAX;
};
thread_local Failure lastFailure;

ZelcStatus keep(ZelcStatus status, const char* text, int code = 0, uint64_t offset = UINT64_MAX) noexcept {
  std::snprintf(lastFailure.text, sizeof lastFailure.text, "%s", text);
  lastFailure.code = code;
  lastFailure.offset = offset;
  return status;
}

ZelcStatus statusOf(ErrorKind kind) noexcept {
  switch (kind) {
    case ErrorKind::damaged:
      return zelcDamaged;
    case ErrorKind::unsupported:
      return zelcUnsupported;
    case ErrorKind::limit:
      return zelcLimit;
    case ErrorKind::argument:
      return zelcUsage;
    case ErrorKind::file:
      return zelcFile;
    case ErrorKind::internal:
      break;
  }
  return zelcInternal;
}

}  // namespace

ZelcStatus failed() noexcept {
  try {
    throw;
  } catch (const FileError& e) {
    return keep(zelcFile, e.what(), e.code());
  } catch (const Error& e) {
    return keep(statusOf(e.kind()), e.what(), 0, e.offset() == Error::kNowhere ? UINT64_MAX : e.offset());
  } catch (const std::bad_alloc&) {
    return keep(zelcMemory, "out of memory");
  } catch (const std::exception& e) {
    return keep(zelcInternal, e.what());
  } catch (...) {
    return keep(zelcInternal, "an unknown fault");
  }
}

Settings settingsOf(const char* const* list, SettingRole role) {
  Settings settings(role);
  for (; list && *list; ++list) {
    const std::string text = *list;
    const size_t equals = text.find('=');
    settings.give(text.substr(0, equals), equals == std::string::npos ? "yes" : text.substr(equals + 1));
  }
  return settings;
}

// The values of the header follow those of the codecs, one higher.
static_assert(zelcJpeg == int(Format::jpeg) + 1 && zelcJpeg2000 == int(Format::jpeg2000) + 1 &&
              zelcDds == int(Format::dds) + 1 && zelcTiff == int(Format::tiff) + 1 && zelcPng == int(Format::png) + 1 &&
              zelcNetpbm == int(Format::netpbm) + 1);
static_assert(zelcGrey == int(ColourModel::grey) + 1 && zelcGreyAlpha == int(ColourModel::greyAlpha) + 1 &&
              zelcRgb == int(ColourModel::rgb) + 1 && zelcRgba == int(ColourModel::rgba) + 1 &&
              zelcCmyk == int(ColourModel::cmyk) + 1);

ZelcFormat formatOf(Format format) { return ZelcFormat(int(format) + 1); }

ZelcPicture pictureOf(const PictureFormat& f) { return {f.width, f.height, ZelcColours(int(f.model) + 1), f.bitDepth}; }

PictureFormat formatOf(const ZelcPicture& picture) {
  int colours;  // any value of the caller's, also one that the enumeration does not have
  static_assert(sizeof colours == sizeof picture.colours);
  std::memcpy(&colours, &picture.colours, sizeof colours);
  demand(picture.width >= 1 && picture.height >= 1, "a picture has at least one pixel");
  demand(colours >= zelcGrey && colours <= zelcCmyk, "no such colours");
  demand(picture.bits >= 1 && picture.bits <= 16, "a sample has 1 to 16 bits");
  return {picture.width, picture.height, ColourModel(colours - 1), picture.bits};
}

void checkRows(const void* rows, size_t step, int count, const PictureFormat& format) {
  present(rows);
  demand(count >= 1, "a number of rows below 1");
  demand(step >= format.rowBytes(), "the step between rows is below the bytes of a row");
  const bool even = reinterpret_cast<uintptr_t>(rows) % 2 == 0 && step % 2 == 0;
  demand(format.bytesPerSample() == 1 || even, "rows of two bytes a sample begin at even addresses");
}

Spare::Spare(const PictureFormat& format, int bandRows)
    : step_(format.rowBytes()),
      count_(std::min(format.height, std::max(bandRows, int((size_t{128} << 10) / step_ + 1)))),
      bytes_(new uint8_t[step_ * size_t(count_)]) {}

}  // namespace zelcodecs::boundary

// ---- Exported ------------------------------------------------------------------------------------------------------

using namespace zelcodecs;

#define ZELC_TEXT_OF(number) #number
#define ZELC_TEXT(number) ZELC_TEXT_OF(number)

const char* zelcVersion() {
  return ZELC_TEXT(ZELC_VERSION_MAJOR) "." ZELC_TEXT(ZELC_VERSION_MINOR) "." ZELC_TEXT(ZELC_VERSION_PATCH);
}

const char* zelcLastError() { return boundary::lastFailure.text; }
int zelcLastErrno() { return boundary::lastFailure.code; }
uint64_t zelcLastOffset() { return boundary::lastFailure.offset; }

const char* zelcFormatName(ZelcFormat format) {
  const int number = int(format);
  return number >= zelcJpeg && number <= zelcNetpbm ? nameOf(Format(number - 1)) : nullptr;
}

ZelcStatus zelcSetting(int number, ZelcSetting* setting) {
  return boundary::guarded([&] {
    boundary::present(setting);
    const SettingList all = allSettings();
    boundary::demand(number >= 0 && size_t(number) < all.size(), "no setting has this number");
    const Setting& s = all.first[number];
    *setting = {s.name, s.values, s.help, (s.roles & kReading) != 0, (s.roles & kWriting) != 0, s.formats << 1};
  });
}

void zelcFree(void* memory) { std::free(memory); }
