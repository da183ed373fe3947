// The size query, allocation and release of a record: the same for the two tables and the two bit-stream states.
#pragma once

#include "frame/checks.h"
#include "frame/support.h"

namespace ZEL_VARIANT {
namespace {

template <class Record>
ZelStatus sizeOfRecord(int* size) {
  if (const ZelStatus s = present(size)) return s;
  *size = int(sizeof(Record));
  return zelStsNoErr;
}

// Where the allocation fails, *record stays as it was.
template <class Record>
ZelStatus allocateRecord(Record** record) {
  auto* p = reinterpret_cast<Record*>(zelsMalloc_8u(int(sizeof(Record))));
  if (p) *record = p;
  return present(p);
}

inline ZelStatus freeRecord(void* record) {
  if (const ZelStatus s = present(record)) return s;
  zelsFree(record);
  return zelStsNoErr;
}

}  // namespace
}  // namespace ZEL_VARIANT
