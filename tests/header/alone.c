/* The public header alone, as C99: it declares what it uses. */
#include "zelj.h"

/* Records have the sizes that callers may rely on. */
typedef char specIs1644[sizeof(ZeliDecodeHuffmanSpec) == 1644 ? 1 : -1];
typedef char specIs1024[sizeof(ZeliEncodeHuffmanSpec) == 1024 ? 1 : -1];
typedef char stateIs24[sizeof(ZeliDecodeHuffmanState) == 24 ? 1 : -1];
typedef char stateIs1048[sizeof(ZeliEncodeHuffmanState) == 1048 ? 1 : -1];
typedef char statusIs32Bits[sizeof(ZelStatus) == 4 ? 1 : -1];

const ZelLibraryVersion* (*const versionQuery)(void) = zeljGetLibVersion;
