// Names of options on the command line and in what info prints.
#pragma once

#include <map>
#include <string>

#include "dds/dds.h"
#include "jpeg2000/jpeg2000.h"

namespace zelcodec {

using zelcodecs::CodeBlockStyle;
using zelcodecs::Progression;
using zelcodecs::TextureFormat;

inline const std::map<std::string, CodeBlockStyle> kStyles = {
    {"bypass", zelcodecs::kBypass},           {"reset", zelcodecs::kReset},
    {"terminate", zelcodecs::kTerminate},     {"causal", zelcodecs::kCausal},
    {"predictable", zelcodecs::kPredictable}, {"segmentation", zelcodecs::kSegmentation}};
inline const std::map<std::string, Progression> kProgressions = {{"lrcp", Progression::lrcp},
                                                                 {"rlcp", Progression::rlcp},
                                                                 {"rpcl", Progression::rpcl},
                                                                 {"pcrl", Progression::pcrl},
                                                                 {"cprl", Progression::cprl}};
inline const std::map<std::string, TextureFormat> kTextureFormats = {{"dxt1", TextureFormat::dxt1},
                                                                     {"dxt3", TextureFormat::dxt3},
                                                                     {"dxt5", TextureFormat::dxt5},
                                                                     {"ycocg", TextureFormat::ycocg}};

}  // namespace zelcodec
