// Options by name and value, as words: what readers and writers of any format can be asked for.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "any/any.h"

namespace zelcodecs {

// What of the picture is wanted besides the format's own options.
struct Wishes {
  bool grey = false;  // the luminance alone
  int depth = 0;      // bits a sample, 8 or 16; 0 for those that there are
  std::optional<std::array<int, 3>> background;
};

// The picture that comes of the wishes for colours and depth.
PictureFormat wished(const PictureFormat& picture, const Wishes& wishes);
// The nearest one that a file of this format and kind can hold. Throws Error(argument) where bits would be lost that
// nobody has given up.
PictureFormat storable(const PictureFormat& picture, Format format, const AnyEncodeOptions& options);

// What the settings that were given come to.
struct Asked {
  AnyDecodeOptions decode;
  AnyEncodeOptions encode;
  Wishes wishes;
  bool autoOrient = false, lossless = false, progressive = false;
  std::optional<Format> format;  // of what is written, where its name does not tell
};

enum SettingRole : unsigned { kReading = 1, kWriting = 2 };

struct Setting {
  const char* name;    // in small letters, with dashes between words
  const char* values;  // what it takes; empty for a switch, which takes yes or no
  const char* help;
  unsigned roles;    // of SettingRole
  unsigned formats;  // a bit 1 << Format for each that knows it; 0 for all
  // Throws Error(argument) for a value that it does not take.
  void (*apply)(Asked* asked, const Setting& self, const std::string& value);
};

// Every setting, in the order in which a person would look for them.
const std::vector<Setting>& allSettings();

// Settings that a caller gives one after the other.
class Settings {
 public:
  explicit Settings(SettingRole role) : role_(role) {}

  // Throws Error(argument) for a name that is not known in this role, one that was given before, and bad values.
  void give(const std::string& name, const std::string& value);
  // The result for a file of this format. Throws Error(argument) where a setting means nothing there, and for settings
  // that contradict each other.
  Asked settle(Format format) const;
  // Of what is written, as far as a setting tells it.
  std::optional<Format> format() const { return asked_.format; }

 private:
  bool given(const char* name) const;

  const SettingRole role_;
  Asked asked_;
  std::vector<const Setting*> given_;
};

}  // namespace zelcodecs
