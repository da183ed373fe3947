// Each row of a channel is fetched from a component, brought to the place of the pixels, through the palette and to the
// picture's depth; then the rows are interleaved.
#include "jpeg2000/picture.h"

#include <cmath>
#include <cstring>

namespace zelcodecs::jpeg2000 {

// ---- Channels -------------------------------------------------------------------------------------------------------

Picture::Picture(const Grid& grid, const Boxes& boxes, bool colourTransform, int reduce, Warnings* warnings)
    : grid_(grid), boxes_(boxes), reduce_(reduce) {
  chooseChannels(colourTransform, warnings);
  chooseColours(warnings);
  // Pixels stand where the samples of the finest component do.
  dx_ = dy_ = 255;
  for (const Channel& k : channels_) {
    dx_ = std::min(dx_, grid.components[size_t(k.component)].dx);
    dy_ = std::min(dy_, grid.components[size_t(k.component)].dy);
    format_.bitDepth = std::max(&k == &channels_[0] ? 1 : format_.bitDepth, std::min(16, k.precision));
  }
  const Rect pixels = reduced(scaled(grid.image, dx_, dy_), reduce);
  if (pixels.empty()) throw Error(ErrorKind::damaged, "a picture without samples", boxes.codestream);
  left_ = pixels.x0;
  top_ = pixels.y0;
  format_.width = pixels.width();
  format_.height = pixels.height();
}

Picture::Channel Picture::channelOf(int component, int column) const {
  if (size_t(component) >= grid_.components.size())
    throw Error(ErrorKind::damaged, "a channel of a component that does not exist", 0);
  const ComponentSize& c = grid_.components[size_t(component)];
  if (column < 0) return {component, column, c.precision, c.isSigned ? 1 << (c.precision - 1) : 0};
  if (column >= boxes_.palette.columns) throw Error(ErrorKind::damaged, "a palette column that does not exist", 0);
  const int depth = boxes_.palette.depths[size_t(column)];
  return {component, column, depth, boxes_.palette.isSigned[size_t(column)] ? 1 << (depth - 1) : 0};
}

// Before their definitions: components, or what a palette makes of them.
std::vector<Picture::Channel> Picture::allChannels() const {
  std::vector<Channel> all;
  if (boxes_.palette.columns && !boxes_.mappings.empty())
    for (const Boxes::Mapping& m : boxes_.mappings) all.push_back(channelOf(m.component, m.type == 1 ? m.column : -1));
  else
    for (size_t i = 0; i < grid_.components.size(); ++i) all.push_back(channelOf(int(i), -1));
  return all;
}

// The channels, colours first, in their order.
void Picture::chooseChannels(bool colourTransform, Warnings* warnings) {
  if (boxes_.palette.columns && boxes_.mappings.empty())
    warnings->add("a palette that no component is mapped to is left out");
  const std::vector<Channel> all = allChannels();
  if (boxes_.channels.empty()) {
    channels_ = all;
    if (!boxes_.present) guessOpacity(all, colourTransform, warnings);
  } else {
    defineChannels(all, warnings);
  }
}

// Colours in the order of their associations, then opacity (T.800 I.5.3.6).
void Picture::defineChannels(const std::vector<Channel>& all, Warnings* warnings) {
  std::vector<std::pair<int, Channel>> colours;
  std::vector<Channel> opacity;
  for (const Boxes::Channel& c : boxes_.channels) {
    if (c.index >= int(all.size())) continue;
    if (c.type == 0) colours.emplace_back(c.association, all[size_t(c.index)]);
    if (c.type != 1 && c.type != 2) continue;
    premultiplied_ = opacity.empty() ? c.type == 2 : premultiplied_;  // the first one counts
    opacity.push_back(all[size_t(c.index)]);
    opacity.back().opacity = true;
  }
  if (colours.empty()) {
    channels_ = all;
    return;
  }
  std::stable_sort(colours.begin(), colours.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  for (const auto& c : colours) channels_.push_back(c.second);
  if (!opacity.empty()) channels_.push_back(opacity[0]);
  if (channels_.size() < all.size()) warnings->add("channels that are neither colour nor opacity are left out");
}

// A codestream alone does not say what its components mean. Two, or four of which three have a colour transform, are
// colours and opacity by all that is usual.
void Picture::guessOpacity(const std::vector<Channel>& all, bool colourTransform, Warnings* warnings) {
  if (all.size() != 2 && (all.size() != 4 || !colourTransform)) return;
  channels_.back().opacity = true;
  warnings->add("the last component of the codestream is taken for opacity");
}

// The number of colours that the boxes tell, or 0.
int Picture::coloursSaid() const {
  const std::vector<uint8_t>& icc = boxes_.metadata.icc;
  if (boxes_.colourSpace == kCmyk) return 4;
  if (boxes_.colourSpace == kGreyscale) return 1;
  if (boxes_.colourSpace) return 3;
  if (icc.size() < 20) return 0;
  return std::memcmp(&icc[16], "GRAY", 4) == 0 ? 1 : std::memcmp(&icc[16], "CMYK", 4) == 0 ? 4 : 3;
}

void Picture::chooseColours(Warnings* warnings) {
  const bool opacity = channels_.back().opacity;
  const int have = int(channels_.size()) - opacity, said = coloursSaid();
  const int colours = said && said <= have ? said : have >= 3 ? 3 : 1;
  if (said > have) warnings->add("fewer components than the colour space has");
  if (colours < have) warnings->add("components beyond the colours are left out");
  channels_.erase(channels_.begin() + colours, channels_.end() - opacity);
  if (colours == 4 && opacity) {
    warnings->add("the opacity of a CMYK picture is left out");
    channels_.pop_back();
  }
  format_.model = colours == 4   ? ColourModel::cmyk
                  : colours == 3 ? opacity ? ColourModel::rgba : ColourModel::rgb
                  : opacity      ? ColourModel::greyAlpha
                                 : ColourModel::grey;
  if (colours != 3) return;
  const auto finer = [&](size_t i) {
    const ComponentSize &a = grid_.components[size_t(channels_[0].component)],
                        &b = grid_.components[size_t(channels_[i].component)];
    return b.dx > a.dx;
  };
  ycc_ = boxes_.colourSpace == kSycc || boxes_.colourSpace == kEsycc;
  if (!said && finer(1) && finer(2)) {
    ycc_ = true;
    warnings->add("components of which the second and third are coarser are taken for YCbCr");
  }
  if (boxes_.colourSpace == kCieLab)
    chooseLab(warnings);
  else if (said == 3 && boxes_.colourSpace && boxes_.colourSpace != kSrgb && !ycc_)
    warnings->add("colour space " + std::to_string(boxes_.colourSpace) + " is taken for sRGB");
}

// Ranges and offsets of L*, a* and b* are given in the box or those of T.801 M.11.7.4.1.
void Picture::chooseLab(Warnings* warnings) {
  constexpr uint32_t kD50 = 0x00443530;
  lab_.emplace();
  for (size_t i = 0; i < 3; ++i) {
    const int bits = channels_[i].precision;
    const float usualRanges[3] = {100, 170, 200};
    const float usualOffsets[3] = {0, std::ldexp(1.0f, bits - 1), std::ldexp(3.0f, bits - 3)};
    const bool given = !boxes_.colourParameters.empty();
    lab_->range[i] = given ? float(boxes_.colourParameters[2 * i]) : usualRanges[i];
    lab_->offset[i] =
        (given ? float(boxes_.colourParameters[2 * i + 1]) : usualOffsets[i]) / (std::ldexp(1.0f, bits) - 1);
  }
  if (!boxes_.colourParameters.empty() && boxes_.colourParameters[6] != kD50)
    warnings->add("the illuminant of CIELab colours is taken for D50");
}

// ---- Places ---------------------------------------------------------------------------------------------------------

Rect Picture::pixelsOf(const Rect& area) const {
  const Rect p = reduced(scaled(area, dx_, dy_), reduce_);
  return {p.x0 - left_, p.y0 - top_, p.x1 - left_, p.y1 - top_};
}

bool Picture::isDirect(const Channel& k) const {
  const ComponentSize& c = grid_.components[size_t(k.component)];
  return c.dx == dx_ && c.dy == dy_;
}

namespace {

// The sample of a component that stands at a pixel's place or before it, and in the tile.
int sampleAt(int pixel, int d, int componentD, int low, int high) {
  return int(std::clamp<int64_t>(int64_t{pixel} * d / componentD, low, high - 1));
}

}  // namespace

Rect Picture::sourceOf(const Tile& tile, const Channel& k, const Rect& pixels) const {
  const ComponentSize& c = grid_.components[size_t(k.component)];
  const Rect area = reduced(tile.componentArea(k.component), reduce_);
  if (area.empty() || pixels.empty()) return {};
  const auto x = [&](int pixel) { return sampleAt(pixel + left_, dx_, c.dx, area.x0, area.x1); };
  const auto y = [&](int pixel) { return sampleAt(pixel + top_, dy_, c.dy, area.y0, area.y1); };
  return {x(pixels.x0), y(pixels.y0), x(pixels.x1 - 1) + 1, y(pixels.y1 - 1) + 1};
}

std::map<int, Rect> Picture::wanted(const Tile& tile, const Rect& pixels) const {
  std::map<int, Rect> areas;
  for (const Channel& k : channels_) {
    const Rect r = sourceOf(tile, k, pixels);
    if (!r.empty()) areas[k.component] = r;
  }
  return areas;
}

// ---- Pixels ---------------------------------------------------------------------------------------------------------

// A row of a channel's samples, each at the place of a pixel.
void Picture::fetch(const Tile& tile, const TileDecoder& decoder, const Channel& k, const Rect& pixels, int y,
                    int32_t* to) const {
  const ComponentSize& c = grid_.components[size_t(k.component)];
  const Rect from = sourceOf(tile, k, pixels);
  if (from.empty()) return void(std::fill_n(to, pixels.width(), c.isSigned ? 0 : 1 << (c.precision - 1)));
  const int row = sampleAt(y + top_, dy_, c.dy, from.y0, from.y1);
  decoder.row(k.component, row, from.x0, from.width(), to);
  if (isDirect(k)) return;
  // From the right: each sample goes to its own place or behind it.
  for (int x = pixels.width() - 1; x >= 0; --x)
    to[x] = to[sampleAt(pixels.x0 + x + left_, dx_, c.dx, from.x0, from.x1) - from.x0];
}

// Through the palette, to values from 0 on, to the picture's depth.
void Picture::finish(const Channel& k, int count, int32_t* line) const {
  if (k.column >= 0) {
    const Boxes::Palette& p = boxes_.palette;
    const int entries = int(p.entries.size()) / p.columns;
    for (int x = 0; x < count; ++x)
      line[x] = p.entries[size_t(std::clamp(line[x], 0, entries - 1)) * size_t(p.columns) + size_t(k.column)];
  }
  if (k.offset)
    for (int x = 0; x < count; ++x) line[x] += k.offset;
  const int down = k.precision - format_.bitDepth, most = (1 << k.precision) - 1, top = format_.maxValue();
  if (down > 0)
    for (int x = 0; x < count; ++x) line[x] >>= down;
  if (down < 0)
    for (int x = 0; x < count; ++x) line[x] = (line[x] * top + most / 2) / most;
}

namespace {

template <int count, class T>
void interleave(const int32_t* lines, int width, T* to) {
  for (int x = 0; x < width; ++x)
    for (int c = 0; c < count; ++c) to[x * count + c] = T(lines[size_t(c) * size_t(width) + size_t(x)]);
}

template <class T>
void interleave(const int32_t* lines, int count, int width, T* to) {
  switch (count) {
    case 1:
      return interleave<1>(lines, width, to);
    case 2:
      return interleave<2>(lines, width, to);
    case 3:
      return interleave<3>(lines, width, to);
    default:
      return interleave<4>(lines, width, to);
  }
}

}  // namespace

// What is stored of each pixel, one channel behind the other, becomes grey, sRGB or CMYK.
void Picture::toColours(int width, int32_t* lines) const {
  const int top = format_.maxValue();
  const auto line = [&](int channel) { return lines + size_t(channel) * size_t(width); };
  const int opacity = int(channels_.size()) - 1;
  if (premultiplied_ && channels_.back().opacity)
    for (int i = 0; i < opacity; ++i) divideByOpacity(width, top, line(opacity), line(i));
  if (ycc_) yccToRgb(width, top, line(0), line(1), line(2));
  if (lab_) labToRgb(width, top, *lab_, line(0), line(1), line(2));
}

// lines: room for a line of each channel.
void Picture::paintRow(const Tile& tile, const TileDecoder& decoder, const Rect& pixels, int y, int32_t* lines,
                       uint8_t* to) const {
  const int width = pixels.width(), count = int(channels_.size());
  for (int i = 0; i < count; ++i) {
    int32_t* const line = lines + size_t(i) * size_t(width);
    fetch(tile, decoder, channels_[size_t(i)], pixels, y, line);
    finish(channels_[size_t(i)], width, line);
  }
  toColours(width, lines);
  if (format_.bytesPerSample() == 1)
    interleave(lines, count, width, to);
  else
    interleave(lines, count, width, reinterpret_cast<uint16_t*>(to));
}

void Picture::paint(const Tile& tile, TileDecoder* decoder, const Rect& pixels, Rows to, Team* team) const {
  if (pixels.empty()) return;
  const Rect needed = sourceOf(tile, channels_[0], pixels);
  int end = needed.y1;
  for (const Channel& k : channels_)
    if (k.component < 3) end = std::max(end, sourceOf(tile, k, pixels).y1);
  decoder->finishRows(end, team);
  // Pieces of rows, so that the lines between component and picture stay in the cache.
  constexpr int kRows = 8, kColumns = 4096;
  const int rows = decoder->blank() ? 1 : pixels.height();
  const int widest = std::min(pixels.width(), kColumns);
  team->forEach((rows + kRows - 1) / kRows, [&](int i) {
    const std::unique_ptr<int32_t[]> lines(new int32_t[size_t(widest) * channels_.size()]);
    for (int y = i * kRows; y < std::min(rows, (i + 1) * kRows); ++y)
      for (int x = 0; x < pixels.width(); x += kColumns) {
        const Rect piece = {pixels.x0 + x, pixels.y0, pixels.x0 + std::min(pixels.width(), x + kColumns), pixels.y1};
        paintRow(tile, *decoder, piece, pixels.y0 + y, lines.get(), to.row(y) + size_t(x) * format_.pixelBytes());
      }
  });
  for (int y = rows; y < pixels.height(); ++y)  // all rows are alike
    std::memcpy(to.row(y), to.row(0), size_t(pixels.width()) * format_.pixelBytes());
}

}  // namespace zelcodecs::jpeg2000
