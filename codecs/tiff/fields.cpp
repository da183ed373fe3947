// Directories as bytes (TIFF 6.0, section 2).
#include "tiff/fields.h"

#include <algorithm>

namespace zelcodecs::tiff {

void Fields::put(uint64_t v, size_t bytes, Bytes* to) const {
  for (size_t i = 0; i < bytes; ++i) to->push_back(uint8_t(v >> 8 * (bigEndian_ ? bytes - 1 - i : i)));
}

// A rational is two numbers of 32 bits that count as one value (TIFF 6.0, section 2, "Types").
void Fields::numbers(int tag, Type type, const std::vector<uint64_t>& values) {
  Value v = {type, type == kRational ? values.size() / 2 : values.size(), {}};
  const size_t each = type == kRational ? 4 : bytesOfType(type);
  v.bytes.reserve(values.size() * each);
  for (const uint64_t number : values) put(number, each, &v.bytes);
  values_[tag] = std::move(v);
}

void Fields::bytes(int tag, Type type, const uint8_t* data, size_t size) {
  values_[tag] = {type, size, Bytes(data, data + size)};
}

// A field of another file, as it stands there. Types of several bytes are turned round where the two files differ in
// their order of bytes; a rational is turned as its two halves.
void Fields::copy(int tag, const Directory& from, const Directory::Field& field) {
  const ByteView view = from.bytesOf(static_cast<Tag>(tag));
  Value v = {field.type, field.count, Bytes(view.begin(), view.end())};
  const bool quotient = field.type == kRational || field.type == kSignedRational;
  const size_t each = quotient ? 4 : bytesOfType(field.type);
  if (from.file().bigEndian() != bigEndian_)
    for (size_t i = 0; i + each <= v.bytes.size(); i += each)
      std::reverse(v.bytes.begin() + ptrdiff_t(i), v.bytes.begin() + ptrdiff_t(i + each));
  values_[tag] = std::move(v);
}

// The map keeps entries in ascending order of their tags, as readers may expect. Values of up to four bytes (eight in
// BigTIFF) stand in their entries, at the front; the others follow the directory in the order of the entries, each at
// an even place. The link behind the entries is 0, "no further page", until another page is written.
Bytes Fields::directoryAt(uint64_t at) const {
  Bytes out;
  put(values_.size(), form_.countBytes(), &out);
  const size_t inside = form_.offsetBytes();
  uint64_t next = linkOf(at) + inside;
  for (const auto& [tag, v] : values_) {
    put(uint64_t(tag), 2, &out);
    put(uint64_t(v.type), 2, &out);
    put(v.count, inside, &out);
    // The first pass writes the entries, and counts where the second one is going to put what stands elsewhere.
    if (v.bytes.size() > inside) {
      put(next, inside, &out);
      next += v.bytes.size() + v.bytes.size() % 2;
    } else {
      out.insert(out.end(), v.bytes.begin(), v.bytes.end());
      out.insert(out.end(), inside - v.bytes.size(), 0);
    }
  }
  put(0, inside, &out);
  for (const auto& [tag, v] : values_) {
    if (v.bytes.size() <= inside) continue;
    out.insert(out.end(), v.bytes.begin(), v.bytes.end());
    if (v.bytes.size() % 2) out.push_back(0);
  }
  return out;
}

}  // namespace zelcodecs::tiff
