// The marker segments of a JPEG file (T.81 Annex B): walks from scan to scan and keeps the tables in force.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "common/error.h"
#include "common/warnings.h"
#include "jpeg/format.h"
#include "jpeg/segments.h"

namespace zelcodecs::jpeg {

struct QuantTable {
  bool present = false;
  bool wide = false;          // of 16-bit entries
  uint16_t inverse[64] = {};  // natural order
};

using HuffmanTableInForce = std::shared_ptr<const ZeliDecodeHuffmanSpec>;

class Reader {
 public:
  // With skipJunk, bytes between segments that belong to none are passed over with a warning.
  Reader(const uint8_t* data, size_t size, const Limits& limits, bool skipJunk, Warnings* warnings);

  // Reads segments up to the next scan header, itself included; false at the end-of-image marker.
  bool nextScan(Scan* scan);
  // Where reading goes on: the caller's, once it has decoded a scan.
  void resumeAt(size_t position) { at_ = position; }
  // The position of the first marker at or after `from` that is no restart marker, or the end of the file.
  size_t endOfScan(size_t from) const;

  const uint8_t* data() const { return data_; }
  size_t size() const { return size_; }
  size_t position() const { return at_; }

  const Frame& frame() const { return frame_; }
  const QuantTable& quantTable(int i) const { return quant_[i]; }
  // Null where the file has not defined it. Who holds a table keeps it when the file defines another of its number.
  const HuffmanTableInForce& dcTable(int i) const { return dc_[i]; }
  const HuffmanTableInForce& acTable(int i) const { return ac_[i]; }
  int restartInterval() const { return restartInterval_; }
  bool jfif() const { return jfif_; }
  int adobeTransform() const { return adobeTransform_; }  // -1: no Adobe marker
  // Of the segments read so far, complete or not.
  Metadata metadata(Warnings* warnings) const { return metadata_.metadata(warnings); }

 private:
  int nextMarker();
  void readSegment(int marker, ByteView payload, size_t offset);
  void readFrame(int marker, const uint8_t* p, size_t length, size_t offset);
  void readScan(Scan* scan, const uint8_t* p, size_t length, size_t offset);
  void readQuantTables(const uint8_t* p, size_t length, size_t offset);
  void readHuffmanTables(const uint8_t* p, size_t length, size_t offset);
  void settleHeight(size_t scanBegin);

  const uint8_t* data_;
  size_t size_;
  Limits limits_;
  bool skipJunk_;
  Warnings* warnings_;
  size_t at_ = 0;
  int scans_ = 0;
  Frame frame_;
  QuantTable quant_[4];
  HuffmanTableInForce dc_[4], ac_[4];
  int restartInterval_ = 0;
  bool jfif_ = false;
  int adobeTransform_ = -1;
  MetadataReader metadata_;
};

// "FFD9" and the like, for messages.
std::string markerName(int code);

}  // namespace zelcodecs::jpeg
