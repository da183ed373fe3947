// Options by name and value, as words: what readers and writers of any format can be asked for.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "any/any.h"

namespace zelcodecs {

// Values by their names.
template <class Value>
struct Named {
  const char* name;
  Value value;
};
constexpr Named<Format> kFormatNames[] = {{"jpg", Format::jpeg},  {"jp2", Format::jpeg2000}, {"j2k", Format::jpeg2000},
                                          {"dds", Format::dds},   {"tif", Format::tiff},     {"png", Format::png},
                                          {"pnm", Format::netpbm}};
constexpr Named<CodeBlockStyle> kCodeBlockStyles[] = {{"bypass", kBypass},           {"reset", kReset},
                                                      {"terminate", kTerminate},     {"causal", kCausal},
                                                      {"predictable", kPredictable}, {"segmentation", kSegmentation}};
constexpr Named<Progression> kProgressions[] = {{"lrcp", Progression::lrcp},
                                                {"rlcp", Progression::rlcp},
                                                {"rpcl", Progression::rpcl},
                                                {"pcrl", Progression::pcrl},
                                                {"cprl", Progression::cprl}};

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
  const char* excludes = "";  // the setting that it cannot stand beside
  const char* needs = "";     // the one that it means nothing without
};

// Every setting, in the order in which a person would look for them.
struct SettingList {
  const Setting *first, *last;
  const Setting* begin() const { return first; }
  const Setting* end() const { return last; }
  size_t size() const { return size_t(last - first); }
};
SettingList allSettings();

// Settings that a caller gives one after the other.
class Settings {
 public:
  // dashes: before the names in messages, as the caller writes them.
  explicit Settings(SettingRole role, const char* dashes = "") : role_(role), dashes_(dashes) {}

  // Throws Error(argument) for a name that is not known in this role, one that was given before, and bad values.
  void give(const std::string& name, const std::string& value);
  // The result for a file of this format. Throws Error(argument) where a setting means nothing there, and for settings
  // that contradict each other.
  Asked settle(Format format) const;
  // What has been given so far, for what does not depend on the format.
  const Asked& asked() const { return asked_; }

 private:
  struct Given {
    const Setting* setting;
    bool on;  // not a switch that was given as no
  };
  bool given(const std::string& name) const;
  std::string shown(const char* name) const;

  const SettingRole role_;
  const char* const dashes_;
  Asked asked_;
  std::vector<Given> given_;
};

}  // namespace zelcodecs
