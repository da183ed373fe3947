/* The codecs' header alone, as C99: it declares what it uses, and its records are plain. */
#include "zelcodecs.h"

typedef char valuesAre32Bits[sizeof(ZelcStatus) == 4 && sizeof(ZelcColours) == 4 && sizeof(ZelcFormat) == 4 ? 1 : -1];
typedef char pictureIs16[sizeof(ZelcPicture) == 16 ? 1 : -1];
typedef char infoIs48[sizeof(ZelcInfo) == 48 ? 1 : -1];
typedef char metadataIs80[sizeof(ZelcMetadata) == 80 ? 1 : -1];

const char* (*const codecsVersion)(void) = zelcVersion;
