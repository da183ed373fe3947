/* Every exported function as a pointer of its type, and a variable of every enumeration, so that debug information
 * describes what a caller is compiled with: names, parameters, records, enumerators. The library itself exports
 * indirect functions, which have no type there. */
#include <zelj.h>

#define ZEL_EXPORT(name)                           \
  extern __typeof__(&name) const described_##name; \
  __typeof__(&name) const described_##name = &name;
#include "exports.inc"

#define ENUMERATION(name) name values_##name;
#include "enumerations.inc"
