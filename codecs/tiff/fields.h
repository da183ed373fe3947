// The fields of a directory that is being made, and the bytes that they become.
#pragma once

#include <map>
#include <vector>

#include "tiff/directory.h"

namespace zelcodecs::tiff {

using Bytes = std::vector<uint8_t>;

class Fields {
 public:
  Fields(bool bigEndian, Form form) : bigEndian_(bigEndian), form_(form) {}

  // Whole numbers; pairs of them for quotients.
  void numbers(int tag, Type type, const std::vector<uint64_t>& values);
  // Offsets or lengths of which there can be many.
  void offsets(int tag, const std::vector<uint64_t>& values) { numbers(tag, form_.big ? kLong8 : kLong, values); }
  // A type whose values are bytes.
  void bytes(int tag, Type type, const uint8_t* data, size_t size);
  // A field of another file, brought into the byte order of this one.
  void copy(int tag, const Directory& from, const Directory::Field& field);

  // The directory for position at, which must be even: the entries in the order of their tags, a link of zeros, and the
  // values that do not fit into entries.
  Bytes directoryAt(uint64_t at) const;
  // Where its link stands.
  uint64_t linkOf(uint64_t at) const { return at + form_.countBytes() + values_.size() * form_.entryBytes(); }

 private:
  struct Value {
    int type;
    uint64_t count;
    Bytes bytes;
  };
  void put(uint64_t v, size_t bytes, Bytes* to) const;

  bool bigEndian_;
  Form form_;
  std::map<int, Value> values_;
};

}  // namespace zelcodecs::tiff
