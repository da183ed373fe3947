#include "frame/support.h"
#include "zelcore.h"

namespace ZEL_VARIANT {

uint8_t* zelsMalloc_8u(int len) { return len < 1 ? nullptr : static_cast<uint8_t*>(zelMalloc(len)); }

void zelsFree(void* ptr) { zelFree(ptr); }

}  // namespace ZEL_VARIANT
